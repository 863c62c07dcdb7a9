#!/usr/bin/env bash
# GNOME Shell ends our display as its lock screen does, refuses another one, and lets it come back. Apart from the tests,
# because GNOME Shell wants more packages (gnome-shell) than those. Its private session has no login screen: what the
# lock screen forbids is forbidden and allowed by hand, through the shell's own interpreter.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
# shellcheck source=bench/private-xorg.sh
. bench/private-xorg.sh
# shellcheck source=bench/private-gnome.sh
. bench/private-gnome.sh

directory=$(mktemp -d)
gnome_pids= companion_pid= program_pid=
finish() {
  local status=$?
  # shellcheck disable=SC2086 # several, or none
  stop "$companion_pid" "$program_pid" $gnome_pids
  rm -rf "$directory"
  exit "$status"
}
trap finish EXIT

# within SECONDS COMMAND...
within() {
  local end=$((SECONDS + $1))
  shift
  until "$@"; do
    [ $SECONDS -lt $end ] || { echo "gnome-lock: FAILED: $*" >&2; cat "$directory/program.log" >&2; exit 1; }
    sleep 0.1
  done
}
count() { grep -c "$1" "$directory/program.log" || true; }
printed() { [ "$(count "$1")" -ge "${2:-1}" ]; }
remote_access() {
  gdbus call --session -d org.gnome.Shell -o /org/gnome/Shell -m org.gnome.Shell.Eval \
    "global.backend.get_remote_access_controller().$1()" >/dev/null
}

start_private_gnome "$directory" shell || { echo "gnome-lock: GNOME Shell does not start" >&2; exit 1; }
build/release/tandemview-companion --mux "$directory/usbmuxd" --size 1288x2796 --seconds 120 >"$directory/phone.log" 2>&1 &
companion_pid=$!
build/release/tandemview --usbmuxd-socket "$directory/usbmuxd" >"$directory/program.log" 2>&1 &
program_pid=$!
within 30 printed '✅ Capture started'
remote_access inhibit_remote_access
within 10 printed '📺 GNOME has ended the display'
within 30 printed '⚠️ GNOME makes no display now'
echo "gnome-lock: locked, and $(grep -m 1 '⚠️ GNOME makes' "$directory/program.log")"
remote_access uninhibit_remote_access
unlocked=$SECONDS
within 60 printed '✅ Capture started' 2
echo "gnome-lock: unlocked, and the stream is back after $((SECONDS - unlocked)) s"
