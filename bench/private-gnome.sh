# Sourced: start_private_gnome DIRECTORY [shell] starts GNOME's compositor, or GNOME Shell as a whole, without hardware,
# for Wayland's clients and X11's, on a bus and with a PipeWire of its own; sets what its programs go by, gnome_pids and
# compositor_pid. The caller ends these by their process IDs. stop is private-xorg.sh's.
start_private_gnome() {
  local directory=$1 waited=0 compositor=(mutter)
  if [ "${2:-}" = shell ]; then compositor=(gnome-shell --unsafe-mode); fi
  export XDG_RUNTIME_DIR=$directory XDG_CONFIG_HOME=$directory XDG_CACHE_HOME=$directory HOME=$directory
  export XDG_SESSION_TYPE=wayland XDG_CURRENT_DESKTOP=GNOME GSETTINGS_BACKEND=memory
  export DBUS_SESSION_BUS_ADDRESS=unix:path=$directory/bus DBUS_SYSTEM_BUS_ADDRESS=unix:path=$directory/bus
  unset DISPLAY WAYLAND_DISPLAY
  chmod 700 "$directory"
  cat >"$directory/bus.conf" <<XML
<busconfig>
  <listen>$DBUS_SESSION_BUS_ADDRESS</listen>
  <auth>EXTERNAL</auth>
  <policy context="default"><allow own="*"/><allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/></policy>
</busconfig>
XML
  dbus-daemon --config-file="$directory/bus.conf" --nofork --nopidfile >"$directory/bus.log" 2>&1 &
  gnome_pids=$!
  until_there "$directory/bus" || return 1
  pipewire >"$directory/pipewire.log" 2>&1 &
  gnome_pids="$! $gnome_pids"
  until_there "$directory/pipewire-0" || return 1
  cp -r "${BASH_SOURCE[0]%/*}/wireplumber" "$directory"
  wireplumber >"$directory/wireplumber.log" 2>&1 &
  gnome_pids="$! $gnome_pids"
  # A system without it (a container) gets one that Xwayland can't use, from the compositor, which heeds the mask.
  mkdir -m 1777 /tmp/.X11-unix 2>/dev/null || true
  "${compositor[@]}" --headless --wayland --virtual-monitor 1280x800 >"$directory/compositor.log" 2>&1 &
  compositor_pid=$!
  gnome_pids="$compositor_pid $gnome_pids"
  until grep -q 'Using Wayland display name' "$directory/compositor.log" &&
    gdbus call --session -d org.gnome.Mutter.ScreenCast -o /org/gnome/Mutter/ScreenCast \
      -m org.freedesktop.DBus.Peer.Ping >/dev/null 2>&1; do
    kill -0 "$compositor_pid" 2>/dev/null && [ $waited -lt 200 ] || { cat "$directory/compositor.log"; return 1; }
    sleep 0.05
    waited=$((waited + 1))
  done
  WAYLAND_DISPLAY=wayland-0
  DISPLAY=$(sed -n 's/.*Using public X11 display \(:[0-9]*\).*/\1/p' "$directory/compositor.log")
  XAUTHORITY=$(echo "$directory"/.mutter-Xwaylandauth.*)
  export WAYLAND_DISPLAY DISPLAY XAUTHORITY
}

# until_there PATH
until_there() {
  local waited=0
  until [ -e "$1" ]; do
    [ $waited -lt 100 ] || { echo "$1 does not appear" >&2; return 1; }
    sleep 0.05
    waited=$((waited + 1))
  done
}
