# Sourced: start_private_xorg DIRECTORY starts an X server of our own with 16 outputs on the first free display, sets
# DISPLAY and xorg_pid. It listens on nothing but its abstract socket: that of the file system would replace the one of a
# server of the same number in another network, of which a container shares the files. The caller ends it by its process
# ID.
start_private_xorg() {
  local directory=$1
  local configuration
  configuration=$(readlink -f "${BASH_SOURCE[0]%/*}")/private-xorg.conf
  /usr/lib/xorg/Xorg -displayfd 3 -config "$configuration" -logfile "$directory/xorg.log" -noreset \
    -nolisten tcp -nolisten unix -novtswitch -sharevts 3>"$directory/display" >"$directory/xorg.out" 2>&1 &
  xorg_pid=$!
  local waited=0 number
  until read -r number 2>/dev/null <"$directory/display"; do  # not before its line is whole
    kill -0 "$xorg_pid" 2>/dev/null && [ $waited -lt 100 ] || { cat "$directory/xorg.out"; return 1; }
    sleep 0.05
    waited=$((waited + 1))
  done
  DISPLAY=:$number
  export DISPLAY
}

# stop PID...: ends processes that we started, and waits for them; one that doesn't hear within 5 seconds is killed.
stop() {
  local pid waited=0
  for pid in "$@"; do
    if [ -n "$pid" ]; then kill "$pid" 2>/dev/null || true; fi
  done
  for pid in "$@"; do
    if [ -z "$pid" ]; then continue; fi
    while kill -0 "$pid" 2>/dev/null && [ "$waited" -lt 100 ]; do
      sleep 0.05
      waited=$((waited + 1))
    done
    kill -KILL "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
  done
}
