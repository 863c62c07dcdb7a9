#!/usr/bin/env bash
# The measurements: ./dev bench [NAME...]. The status is 1 if a goal was missed or a measurement failed. With --check
# before the names: only whether there are such measurements. "stream --gnome" is the stream in a headless GNOME session.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

all=(encode channel capture stream delay halves touch input wifi menu rotation soak)
# Those that need packages which nothing else does are asked for by name.
others=(peers decoders)
only_check=
if [ "${1:-}" = --check ]; then
  only_check=yes
  shift
fi
if [ $# -eq 0 ]; then set -- "${all[@]}"; fi
if [ "$*" = "stream --gnome" ]; then
  set -- stream_gnome
  all+=(stream_gnome)
fi
for name in "$@"; do
  case " ${all[*]} ${others[*]} " in
    *" $name "*) ;;
    *)
      echo "bench: no measurement is called '$name'; there are: ${all[*]} ${others[*]}" >&2
      exit 2
      ;;
  esac
done
if [ -n "$only_check" ]; then exit 0; fi

# google NAME SECONDS REPETITIONS: alternating, so that both sides see the same drift of the machine
google() {
  "build/release/$1_benchmark" --benchmark_min_time="$2" --benchmark_repetitions="$3" \
    --benchmark_enable_random_interleaving=true --benchmark_format=json 2>/dev/null
}

measure() (
  set -euo pipefail
  case "$1" in
    encode)
      figures=$(google encode 0.3 9)
      bench/ratios.py bareLibrary ourEncoder time 0.6 <<<"$figures"
      bench/ratios.py ourEncoder ourEncoderAtTyping time 0.083 <<<"$figures"
      bench/ratios.py ourEncoder ourEncoderAtTypingRested time <<<"$figures"
      ;;
    channel) google channel 0.3 9 | bench/ratios.py bareWriteAndRead framedChannel rate 0.8 ;;
    wifi)
      # More and shorter repetitions: on few cores, the scheduler decides much.
      figures=$(google wifi 0.2 31)
      bench/ratios.py bareSocket wifiLink rate 0.8 <<<"$figures"
      bench/ratios.py bareSocketHandedOver wifiLinkHandedOver rate 0.8 <<<"$figures"
      bench/wifi.py
      ;;
    capture)
      # shellcheck source=bench/private-xorg.sh
      . bench/private-xorg.sh
      directory=$(mktemp -d)
      trap 'stop "${xorg_pid:-}"; rm -r "$directory"' EXIT
      start_private_xorg "$directory"
      build/release/capture_benchmark
      ;;
    *) "bench/$1.py" ;;
  esac
)

figures=$(mktemp)
trap 'rm -f "$figures"' EXIT
failed=()
for name in "$@"; do
  set +e
  measure "$name" | tee "$figures"
  status=${PIPESTATUS[0]}
  set -e
  if [ "$status" -ne 0 ] || grep -qE ' (MISSED|FAULTS)( |$)' "$figures"; then failed+=("$name"); fi
done
if [ ${#failed[@]} -gt 0 ]; then
  echo "bench: a goal was missed, or the measurement failed: ${failed[*]}" >&2
  exit 1
fi
