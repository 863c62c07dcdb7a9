#!/usr/bin/env bash
# Pictures of the status item and its menu in two trays that others wrote, into out/: xfce4-panel on a private X server
# and waybar in a sway that shows itself on one, each with the menu closed and open, without and with a phone. And of
# what stands for the menu where there is no tray: the notification and the choice of the quality, by xfce4-notifyd.
#   bench/tray-pictures.sh [DIRECTORY WITH THE PROGRAMS]
# Needs, besides what the demo needs: xfce4-panel xfce4-notifyd xfconf xdotool imagemagick waybar sway
# adwaita-icon-theme librsvg2-common.
set -uo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
. bench/private-xorg.sh
programs=${1:-build/release}
notifyd=/usr/lib/x86_64-linux-gnu/xfce4/notifyd/xfce4-notifyd
for tool in dbus-daemon xfce4-panel $notifyd xdotool import sway waybar; do
  command -v "$tool" >/dev/null || { echo "tray-pictures: $tool is missing"; exit 1; }
done

directory=$(mktemp -d)
chmod 755 "$directory"
xorg_pid= bus_pid= tray_pid= program_pid= phone_pid= scene_pid= sway_pid=
stop_all() {
  stop "$phone_pid" "$scene_pid" "$program_pid" "$tray_pid" "$sway_pid" "$bus_pid" "$xorg_pid"
  xorg_pid= bus_pid= tray_pid= program_pid= phone_pid= scene_pid= sway_pid=
}
finish() {
  stop_all
  rm -rf "$directory"
}
trap finish EXIT
mkdir -p out

# until_true SECONDS COMMAND...: waits until the command succeeds.
until_true() {
  local tries=$(($1 * 20))
  shift
  until "$@" >/dev/null 2>&1; do
    tries=$((tries - 1))
    [ $tries -gt 0 ] || { echo "tray-pictures: gave up on: $*"; return 1; }
    sleep 0.05
  done
}

# A session of its own: neither the user's settings nor a copy that runs already.
export HOME=$directory XDG_CONFIG_HOME=$directory/config XDG_RUNTIME_DIR=$directory/runtime GTK_THEME=Adwaita
export XDG_CACHE_HOME=$directory/cache NO_AT_BRIDGE=1 GSETTINGS_BACKEND=memory
mkdir -p "$XDG_RUNTIME_DIR" "$XDG_CONFIG_HOME"
chmod 700 "$XDG_RUNTIME_DIR"

start_session() {
  rm -f "$directory/display" "$directory/bus"
  start_private_xorg "$directory" || return 1
  dbus-daemon --session --nofork --nopidfile --address="unix:path=$directory/bus" >"$directory/bus.log" 2>&1 &
  bus_pid=$!
  export DBUS_SESSION_BUS_ADDRESS=unix:path=$directory/bus
  export DBUS_SYSTEM_BUS_ADDRESS=unix:path=$directory/no-system-bus
  until_true 5 test -S "$directory/bus"
}
start_program() {
  "$programs/tandemview" --usbmuxd-socket "$directory/usbmuxd" >"$directory/program.log" 2>&1 &
  program_pid=$!
}
connect_phone() {
  "$programs/tandemview-companion" --mux "$directory/usbmuxd" --size 1170x2532 --seconds 60 >"$directory/phone.log" 2>&1 &
  phone_pid=$!
  "$programs/scene" >"$directory/scene.log" 2>&1 &
  scene_pid=$!
}
tray_is_there() {
  gdbus call --session -d org.kde.StatusNotifierWatcher -o /StatusNotifierWatcher \
    -m org.freedesktop.DBus.Properties.Get org.kde.StatusNotifierWatcher RegisteredStatusNotifierItems |
    grep -q StatusNotifierItem
}
item_is() { # connected or not: by the icon that the program names
  local owner
  owner=$(gdbus call --session -d org.kde.StatusNotifierWatcher -o /StatusNotifierWatcher \
    -m org.freedesktop.DBus.Properties.Get org.kde.StatusNotifierWatcher RegisteredStatusNotifierItems |
    grep -o ':[0-9]*\.[0-9]*' | head -1)
  gdbus call --session -d "$owner" -o /StatusNotifierItem \
    -m org.freedesktop.DBus.Properties.Get org.kde.StatusNotifierItem IconName | grep -q "'$1'"
}

# differ PICTURE PICTURE AREA PIXELS: whether more than so many pixels of the area (as in 24x24+0+0) differ.
differ() {
  local count
  count=$(compare -metric AE -fuzz 20% -extract "$3" "$1" "$2" null: 2>&1)
  [ "$count" -gt "$4" ] || { echo "tray-pictures: $1 and $2 show the same"; return 1; }
}

# pictures TRAY: the two pictures without a phone, then the two with one. The item is in the upper left corner.
pictures() {
  local tray=$1 state
  until_true 20 tray_is_there || { cat "$directory"/*.log; return 1; }
  for state in disconnected connected; do
    if [ $state = connected ]; then
      connect_phone
      until_true 30 item_is tandemview-connected-symbolic || return 1
      sleep 4 # for frames, whose figures the menu shows
    fi
    sleep 2 # the tray draws when it likes, and tells nobody
    take "out/tray-$tray-$state-closed.png"
    xdotool mousemove 12 12 click 1
    sleep 2
    take "out/tray-$tray-$state-open.png"
    xdotool mousemove 600 400 click 1
    # The menu covers a good part of the picture.
    differ "out/tray-$tray-$state-closed.png" "out/tray-$tray-$state-open.png" 300x300+20+30 1000 || return 1
  done
  # The phone in the item's picture is filled.
  differ "out/tray-$tray-disconnected-closed.png" "out/tray-$tray-connected-closed.png" 24x24+0+0 10
}

take() { import -window root -crop 640x480+0+0 +repage "$1"; }

under_xfce() {
  start_session || return 1
  mkdir -p "$XDG_CONFIG_HOME/xfce4/xfconf/xfce-perchannel-xml"
  cat >"$XDG_CONFIG_HOME/xfce4/xfconf/xfce-perchannel-xml/xfce4-panel.xml" <<'XML'
<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-panel" version="1.0">
  <property name="configver" type="int" value="2"/>
  <property name="panels" type="array">
    <value type="int" value="1"/>
    <property name="panel-1" type="empty">
      <property name="position" type="string" value="p=6;x=0;y=0"/>
      <property name="length" type="uint" value="100"/>
      <property name="position-locked" type="bool" value="true"/>
      <property name="size" type="uint" value="26"/>
      <property name="plugin-ids" type="array"><value type="int" value="1"/></property>
    </property>
  </property>
  <property name="plugins" type="empty">
    <property name="plugin-1" type="string" value="systray"/>
  </property>
</channel>
XML
  xfce4-panel --disable-wm-check >"$directory/panel.log" 2>&1 &
  tray_pid=$!
  start_program
  pictures xfce
}

under_waybar() {
  start_session || return 1
  printf 'xwayland disable\noutput * background #204060 solid_color\n' >"$directory/sway"
  printf '{"layer": "top", "height": 28, "modules-left": ["tray"], "tray": {"icon-size": 20}}' >"$directory/waybar"
  printf '* { font-family: sans-serif; font-size: 13px; } window { background: #e0e0e0; }' >"$directory/waybar.css"
  local as_user=
  if [ "$(id -u)" = 0 ]; then # sway refuses to run as root
    as_user="setpriv --reuid nobody --regid nogroup --clear-groups"
    chown nobody "$XDG_RUNTIME_DIR"
  fi
  WLR_BACKENDS=x11 WLR_RENDERER=pixman $as_user sway -c "$directory/sway" >"$directory/sway.log" 2>&1 &
  sway_pid=$!
  until_true 20 test -S "$XDG_RUNTIME_DIR/wayland-1" || { cat "$directory/sway.log"; return 1; }
  WAYLAND_DISPLAY=wayland-1 GDK_BACKEND=wayland waybar -c "$directory/waybar" -s "$directory/waybar.css" \
    >"$directory/panel.log" 2>&1 &
  tray_pid=$!
  start_program
  pictures waybar
}

# A notification fills the upper right corner; its first button is where the widths of these texts put it.
without_tray() {
  start_session || return 1
  $notifyd >"$directory/panel.log" 2>&1 &
  tray_pid=$!
  start_program
  until_true 5 grep -q "The menu is not shown" "$directory/program.log" || return 1
  take_corner "out/tray-none-before.png"
  sleep 13 # a tray may be late for ten seconds, and the notification fades in
  take_corner "out/tray-none-notification.png"
  xdotool mousemove 1023 156
  sleep 1
  xdotool click 1
  sleep 2
  take_corner "out/tray-none-quality.png"
  differ out/tray-none-before.png out/tray-none-notification.png 400x180+300+10 1000 &&
    differ out/tray-none-notification.png out/tray-none-quality.png 400x180+300+10 1000
}

take_corner() { import -window root -crop 720x200+560+0 +repage "$1"; }

status=0
without_tray || status=1
stop_all
under_xfce || status=1
stop_all
under_waybar || status=1
stop_all
[ $status -eq 0 ] && echo "tray-pictures: worked" && ls out/tray-*.png
exit $status
