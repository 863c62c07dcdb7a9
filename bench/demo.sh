#!/usr/bin/env bash
# The main job without a desktop: a phone on the cable, a virtual display for it, its picture streamed. See ./dev demo.
# On a private X server, or with --gnome in a headless GNOME session.
# With --check before its option: only whether it could run.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
# shellcheck source=bench/private-xorg.sh
. bench/private-xorg.sh
# shellcheck source=bench/private-gnome.sh
. bench/private-gnome.sh

fail() {
  echo "demo: $*" >&2
  exit 1
}

only_check=
if [ "${1:-}" = --check ]; then
  only_check=yes
  shift
fi
# The phone's window belongs to the desktop that we were started on.
phone_desktop=(env DISPLAY="${DISPLAY:-}" XAUTHORITY="${XAUTHORITY:-}" WAYLAND_DISPLAY="${WAYLAND_DISPLAY:-}"
  XDG_RUNTIME_DIR="${XDG_RUNTIME_DIR:-}")
companion_options=() is_gnome=
for option in "$@"; do
  case "$option" in
    --gnome) is_gnome=yes ;;
    --window)
      [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ] || fail "--window needs a desktop (DISPLAY is not set)"
      companion_options+=(--window)
      ;;
  esac
done
mkdir -p out && : >out/summary.json && rm -f out/last.jpg out/summary.json || fail "the folder out/ can't be written"
if [ -n "$only_check" ]; then exit 0; fi

directory=$(mktemp -d)
xorg_pid= gnome_pids= scene_pid= companion_pid= program_pid=
finish() {
  local status=$?
  trap '' INT TERM
  # shellcheck disable=SC2086 # several, or none
  stop "$companion_pid" "$program_pid" "$scene_pid" "$xorg_pid" $gnome_pids
  rm -rf "$directory"
  if [ "$status" -gt 128 ]; then echo "demo: interrupted"; fi
  exit "$status"
}
trap finish EXIT
trap 'exit 130' INT
trap 'exit 143' TERM
set +e # from here on, each status is looked at

if [ -n "$is_gnome" ]; then
  start_private_gnome "$directory" || fail "the private GNOME session did not start"
  echo "demo: a headless GNOME session, a phone of 1290x2796 on the cable"
else
  start_private_xorg "$directory" || fail "the private X server did not start"
  echo "demo: a private X server on $DISPLAY, a phone of 1290x2796 on the cable"
fi
build/release/scene >"$directory/scene.log" 2>&1 &
scene_pid=$!
# The phone and its daemon first: the program asks a daemon that isn't there again only after 2 seconds.
"${phone_desktop[@]}" build/release/tandemview-companion --mux "$directory/usbmuxd" --size 1290x2796 --seconds 15 \
  --save out --save-every 0 --json out/summary.json "${companion_options[@]}" &
companion_pid=$!
until [ -S "$directory/usbmuxd" ] || ! kill -0 "$companion_pid" 2>/dev/null; do sleep 0.02; done
# A session of its own: neither the user's settings, cache and network nor a copy that runs already.
XDG_CONFIG_HOME=$directory XDG_CACHE_HOME=$directory XDG_RUNTIME_DIR=$directory \
  DBUS_SESSION_BUS_ADDRESS=unix:path=$directory/bus DBUS_SYSTEM_BUS_ADDRESS=unix:path=$directory/bus \
  build/release/tandemview --usbmuxd-socket "$directory/usbmuxd" &
program_pid=$!

wait "$companion_pid"
companion_status=$?
companion_pid=
kill "$program_pid"
wait "$program_pid"
program_status=$?
program_pid=
if [ $companion_status -ne 0 ] || [ $program_status -ne 0 ] || [ ! -s out/last.jpg ]; then
  fail "FAILED (companion $companion_status, program $program_status)"
fi
echo "demo: worked. What the phone showed last: out/last.jpg; the figures: out/summary.json"
