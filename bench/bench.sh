#!/usr/bin/env bash
# The measurements: ./dev bench [encode] [channel] [capture] [stream] [touch] [input] [wifi] [menu] [rotation] [soak]
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

names=("$@")
[ ${#names[@]} -eq 0 ] && names=(encode channel capture stream touch input wifi menu rotation soak)
for name in "${names[@]}"; do
  case "$name" in
    encode)
      # Alternating repetitions: both sides see the same drift of the machine.
      figures=$(build/release/encode_benchmark --benchmark_repetitions=9 --benchmark_enable_random_interleaving=true \
        --benchmark_min_time=0.3 --benchmark_format=json 2>/dev/null)
      bench/ratios.py bareLibrary ourEncoder time 0.6 <<<"$figures"
      bench/ratios.py ourEncoder ourEncoderAtTyping time 0.083 <<<"$figures"
      ;;
    channel)
      build/release/channel_benchmark --benchmark_repetitions=9 --benchmark_enable_random_interleaving=true \
        --benchmark_min_time=0.3 --benchmark_format=json 2>/dev/null |
        bench/ratios.py bareWriteAndRead framedChannel rate 0.8
      ;;
    wifi)
      # More and shorter repetitions: on few cores, the scheduler decides much.
      figures=$(build/release/wifi_benchmark --benchmark_repetitions=31 --benchmark_enable_random_interleaving=true \
        --benchmark_min_time=0.2 --benchmark_format=json)
      bench/ratios.py bareSocket wifiLink rate 0.8 <<<"$figures"
      bench/ratios.py bareSocketHandedOver wifiLinkHandedOver rate 0.8 <<<"$figures"
      bench/wifi.py
      ;;
    capture)
      # shellcheck source=bench/private-xorg.sh
      . bench/private-xorg.sh
      directory=$(mktemp -d)
      start_private_xorg "$directory"
      build/release/capture_benchmark || true
      stop "$xorg_pid"
      rm -r "$directory"
      ;;
    stream | touch | input | menu | rotation | soak) "bench/$name.py" ;;
    *) echo "bench: no measurement is called '$name'"; exit 2 ;;
  esac
done
