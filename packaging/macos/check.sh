#!/usr/bin/env bash
# Compiles the macOS application on Linux for both architectures, warnings being errors, and links it into
# build/macos-check/Tandemview.app. MACOS_SDK names a macOS SDK tree (14 or later). The result proves that the sources
# compile and link; it is not for running.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/../.."
: "${MACOS_SDK:?names no macOS SDK tree}"
export MACOS_SDK

out=$PWD/build/macos-check
libraries=$out/libraries
rm -rf "$libraries"
mkdir -p "$libraries/include" "$libraries/lib/pkgconfig" "$libraries/lib/cmake"

# header_library PACKAGE DIRECTORY TARGET [DEFINITION]: a library of headers alone, ours for the check
header_library() {
  ln -s "/usr/include/$2" "$libraries/include/$2"
  mkdir "$libraries/lib/cmake/$1"
  cat >"$libraries/lib/cmake/$1/$1-config.cmake" <<TEXT
add_library($3 INTERFACE IMPORTED)
set_target_properties($3 PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "$libraries/include"
  INTERFACE_COMPILE_DEFINITIONS "${4:-}")
TEXT
}

# stubbed_library MODULE HEADER LIBRARY: headers as they are; to link with, a list of the names that the Linux library has
stubbed_library() {
  ln -s "/usr/include/$2" "$libraries/include/$2"
  local symbols
  symbols=$(nm -D --defined-only "$(pkg-config --variable=libdir "$1")/lib$3.so" | awk '{print "_" $3}' | paste -sd,)
  cat >"$libraries/lib/lib$3.tbd" <<TEXT
--- !tapi-tbd
tbd-version:     4
targets:         [ x86_64-macos, arm64-macos ]
install-name:    '/usr/local/lib/lib$3.dylib'
exports:
  - targets:         [ x86_64-macos, arm64-macos ]
    symbols:         [ $symbols ]
...
TEXT
  cat >"$libraries/lib/pkgconfig/$1.pc" <<TEXT
Name: $1
Description: $1 for the check
Version: $(pkg-config --modversion "$1")
Cflags: -I$libraries/include
Libs: -L$libraries/lib -l$3
TEXT
  echo "macos-check: lib$3 is linked as a stub: macOS doesn't have it"
}

header_library fmt fmt fmt::fmt-header-only FMT_HEADER_ONLY
header_library tl-expected tl tl::expected
header_library nlohmann_json nlohmann nlohmann_json::nlohmann_json
stubbed_library libplist-2.0 plist plist-2.0
stubbed_library libutf8proc utf8proc.h utf8proc

for architecture in arm64 x86_64; do
  echo "macos-check: $architecture"
  PKG_CONFIG_LIBDIR=$libraries/lib/pkgconfig cmake --log-level=WARNING -G Ninja -S . -B "$out/$architecture" \
    -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/macos-check.cmake" -DMACOS_ARCH=$architecture \
    -DMACOS_LIBRARIES="$libraries" -DCMAKE_PREFIX_PATH="$libraries"
  cmake --build "$out/$architecture"
done

application=$out/Tandemview.app
rm -rf "$application"
cp -R "$out/arm64/Tandemview.app" "$application"
llvm-lipo-19 -create -output "$application/Contents/MacOS/Tandemview" \
  "$out"/{arm64,x86_64}/Tandemview.app/Contents/MacOS/Tandemview
echo "macos-check: ${application#"$PWD/"} is linked for: $(llvm-lipo-19 -archs "$application/Contents/MacOS/Tandemview")"
