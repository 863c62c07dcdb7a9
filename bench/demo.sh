#!/usr/bin/env bash
# The main job without a desktop: a phone on the cable, a virtual display for it, its picture streamed. See ./dev demo.
set -uo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
. bench/private-xorg.sh

companion_options=()
phone_display=${DISPLAY:-}
if [ "${1:-}" = --window ]; then
  if [ -z "$phone_display" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
    echo "demo: --window needs a desktop (DISPLAY is not set)"
    exit 1
  fi
  companion_options+=(--window)
fi

directory=$(mktemp -d)
xorg_pid= scene_pid= program_pid=
finish() {
  stop "$program_pid" "$scene_pid" "$xorg_pid"
  rm -rf "$directory"
}
trap finish EXIT
mkdir -p out
rm -f out/last.jpg out/summary.json

start_private_xorg "$directory" || { echo "demo: the private X server did not start"; exit 1; }
echo "demo: a private X server on $DISPLAY, a phone of 1290x2796 on the cable"
build/release/scene >"$directory/scene.log" 2>&1 &
scene_pid=$!
# A session of its own: neither the user's settings and network nor a copy that runs already.
XDG_CONFIG_HOME=$directory XDG_RUNTIME_DIR=$directory DBUS_SESSION_BUS_ADDRESS=unix:path=$directory/bus \
  DBUS_SYSTEM_BUS_ADDRESS=unix:path=$directory/bus \
  build/release/tandemview --usbmuxd-socket "$directory/usbmuxd" &
program_pid=$!
DISPLAY=$phone_display build/release/tandemview-companion --mux "$directory/usbmuxd" --size 1290x2796 --seconds 15 \
  --save out --save-every 1000000 --json out/summary.json "${companion_options[@]}"
companion_status=$?

kill "$program_pid"
wait "$program_pid"
program_status=$?
program_pid=
if [ $companion_status -ne 0 ] || [ $program_status -ne 0 ] || [ ! -s out/last.jpg ]; then
  echo "demo: FAILED (companion $companion_status, program $program_status)"
  exit 1
fi
echo "demo: worked. What the phone showed last: out/last.jpg; the figures: out/summary.json"
