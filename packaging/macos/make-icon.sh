#!/usr/bin/env bash
# make-icon.sh DRAWING.svg ICON.icns: the application's icon in all sizes that macOS asks for
set -euo pipefail
drawing=$1
icon=$2

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
iconset=$work/Tandemview.iconset
mkdir "$iconset"
for points in 16 32 128 256 512; do
  rsvg-convert --width $points --height $points "$drawing" --output "$iconset/icon_${points}x$points.png"
  rsvg-convert --width $((2 * points)) --height $((2 * points)) "$drawing" \
    --output "$iconset/icon_${points}x$points@2x.png"
done
iconutil --convert icns "$iconset" --output "$icon"
