#!/usr/bin/env bash
# GNOME Shell's lock screen takes our display away and gives it back, and its user stops the sharing in the panel. Apart
# from the tests, because this wants more packages (gnome-shell, gjs) than those. Without hardware the shell has no login
# screen, and forbids nobody to share a locked screen: both are added by its own interpreter, as its main.js has them.
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

fail() {
  echo "gnome-lock: FAILED: $*" >&2
  cat "$directory/program.log" >&2
  exit 1
}
# within SECONDS COMMAND...
within() {
  local end=$((SECONDS + $1))
  shift
  until "$@"; do
    [ $SECONDS -lt $end ] || fail "$*"
    sleep 0.02
  done
}
now() { date +%s%3N; }
count() { grep -c "$1" "$directory/program.log" || true; }
printed() { [ "$(count "$1")" -ge "${2:-1}" ]; }
pictures() { grep -c '<- video frame' "$directory/phone.log" || true; }
came() { [ "$(pictures)" -gt "$1" ]; }
shell() {
  gdbus call --session -d org.gnome.Shell -o /org/gnome/Shell -m org.gnome.Shell.Eval "$1" | grep -q '^(true' ||
    fail "GNOME Shell: $1"
}
shell_says() {
  gdbus call --session -d org.gnome.Shell -o /org/gnome/Shell -m org.gnome.Shell.Eval "$2" 2>/dev/null | grep -q "'$1'"
}
screen_saver() {
  gdbus call --session -d org.gnome.ScreenSaver -o /org/gnome/ScreenSaver -m "org.gnome.ScreenSaver.$1" "${@:2}"
}

start_private_gnome "$directory" shell || { echo "gnome-lock: GNOME Shell does not start" >&2; exit 1; }
# It may end by a fault if it is given a lock screen while it starts.
within 30 shell_says true 'Main.layoutManager._startingUp === false'
shell 'Main.screenShield = new imports.ui.screenShield.ScreenShield(); 1'
shell 'const access = global.backend.get_remote_access_controller();
       let isInhibited = false;
       Main.sessionMode.connect("updated", () => {
         if (Main.sessionMode.allowScreencast === !isInhibited) return;
         isInhibited = !isInhibited;
         if (isInhibited) access.inhibit_remote_access(); else access.uninhibit_remote_access();
       }); 1'
gjs /usr/share/gnome-shell/org.gnome.ScreenSaver >"$directory/screensaver.log" 2>&1 &
gnome_pids="$! $gnome_pids"
within 10 sh -c 'gdbus wait --session --timeout 1 org.gnome.ScreenSaver'

build/release/tandemview-companion --mux "$directory/usbmuxd" --size 1288x2796 --seconds 180 --trace >"$directory/phone.log" 2>&1 &
companion_pid=$!
build/release/tandemview --usbmuxd-socket "$directory/usbmuxd" >"$directory/program.log" 2>&1 &
program_pid=$!
within 30 printed '✅ Capture started'
sleep 2

for round in 1 2 3; do
  screen_saver Lock >/dev/null
  within 10 printed '📺 GNOME has ended the display: the screen is locked' "$round"
  within 10 printed '🔒' "$round"
  lines=$(wc -l <"$directory/program.log")
  sleep 15
  lines=$(($(wc -l <"$directory/program.log") - lines))
  before=$(pictures)
  unlocked=$(now)
  screen_saver SetActive false >/dev/null
  within 60 came "$before"
  echo "gnome-lock: locked for 15 s with $lines lines; unlocked, and a picture came after $(($(now) - unlocked)) ms"
done

before=$(count '✅ Capture started')
shell 'Main.panel.statusArea.screenSharing._stopSharing(); 1'
within 10 printed '📺 GNOME has ended the display: sharing was stopped'
within 10 printed '✋'
sleep 15
screen_saver Lock >/dev/null
screen_saver SetActive false >/dev/null
sleep 5
[ "$(count '✅ Capture started')" -eq "$before" ] || fail "the stream has come back although the user had stopped it"
echo "gnome-lock: sharing stopped in the panel, and nothing has come back, not even by locking and unlocking"
