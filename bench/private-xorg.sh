# Sourced: start_private_xorg DIRECTORY starts an X server of our own with 16 outputs on the first free display, sets
# DISPLAY and xorg_pid. It listens on nothing but its local socket; the caller ends it by its process ID.
start_private_xorg() {
  local directory=$1
  cat >"$directory/xorg.conf" <<'CONF'
Section "ServerFlags"
  Option "AutoAddDevices" "false"
  Option "AutoEnableDevices" "false"
  Option "AllowMouseOpenFail" "true"
  Option "DontVTSwitch" "true"
EndSection
Section "Device"
  Identifier "device"
  Driver "dummy"
  VideoRam 262144
EndSection
Section "Monitor"
  Identifier "monitor"
  HorizSync 5.0-1000.0
  VertRefresh 5.0-200.0
EndSection
Section "Screen"
  Identifier "screen"
  Device "device"
  Monitor "monitor"
  DefaultDepth 24
  SubSection "Display"
    Depth 24
    Virtual 8192 8192
    Modes "1280x800"
  EndSubSection
EndSection
CONF
  /usr/lib/xorg/Xorg -displayfd 3 -config "$directory/xorg.conf" -logfile "$directory/xorg.log" -noreset \
    -nolisten tcp -novtswitch -sharevts 3>"$directory/display" >"$directory/xorg.out" 2>&1 &
  xorg_pid=$!
  local waited=0
  until [ -s "$directory/display" ]; do
    kill -0 "$xorg_pid" 2>/dev/null && [ $waited -lt 100 ] || { cat "$directory/xorg.out"; return 1; }
    sleep 0.05
    waited=$((waited + 1))
  done
  DISPLAY=:$(cat "$directory/display")
  export DISPLAY
}

# stop PID...: ends processes that we started, and waits for them.
stop() {
  local pid
  for pid in "$@"; do
    [ -n "$pid" ] && kill "$pid" 2>/dev/null
  done
  for pid in "$@"; do
    [ -n "$pid" ] && wait "$pid" 2>/dev/null
  done
  return 0
}
