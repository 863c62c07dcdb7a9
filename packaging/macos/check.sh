#!/usr/bin/env bash
# Compiles what is built on a Mac (the application, the companion, the tests) on Linux, warnings being errors, links the
# application into build/macos-check/Tandemview.app and has clang's static analyser look at the adapters. MACOS_SDK names a
# macOS SDK tree (14 or later). The result proves that the sources compile and link; it is not for running.
#   arm64    file by file, with the libraries that this machine has
#   x86_64   as a unity build, which users make; the application's libraries from Debian's unstable suite, as new as
#            Homebrew's
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/../.."
: "${MACOS_SDK:?names no macOS SDK tree}"
export MACOS_SDK

out=$PWD/build/macos-check
newest=$out/newest

# What the core is compiled with that macOS doesn't have, by its Debian packages.
packages=(libfmt-dev libexpected-dev nlohmann-json3-dev libplist-dev libutf8proc-dev)

# fetch_newest: unpacks the newest packages into $newest, once; fails if they can't be had
fetch_newest() {
  [ -f "$newest/versions" ] && return
  rm -rf "$newest"
  mkdir -p "$newest/apt/lists/partial" "$newest/apt/cache/archives/partial" "$newest/packages"
  echo "deb [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] http://deb.debian.org/debian sid main" \
    >"$newest/apt/sources.list"
  touch "$newest/apt/status"
  local options=(-q -o "Dir::Etc::sourcelist=$newest/apt/sources.list" -o Dir::Etc::sourceparts=-
    -o "Dir::State::lists=$newest/apt/lists" -o "Dir::State::status=$newest/apt/status" -o "Dir::Cache=$newest/apt/cache"
    -o APT::Sandbox::User= -o Acquire::http::Timeout=20)
  apt-get "${options[@]}" update -o APT::Update::Error-Mode=any >"$newest/apt/log" 2>&1 || return
  (cd "$newest/packages" && apt-get "${options[@]}" download "${packages[@]}" >>"$newest/apt/log" 2>&1) || return
  local package
  for package in "$newest"/packages/*.deb; do dpkg-deb --extract "$package" "$newest/root" || return; done
  rm -r "$newest/apt"
  (cd "$newest/packages" && printf '%s\n' *.deb | sed 's/_[a-z0-9]*\.deb$//; s/%3a/:/; s/_/ /' | paste -sd, | sed 's/,/, /g') \
    >"$newest/versions"
}

# header_library PACKAGE DIRECTORY TARGET [DEFINITION]: a library of headers alone, ours for the check
header_library() {
  ln -s "$headers/$2" "$libraries/include/$2"
  mkdir "$libraries/lib/cmake/$1"
  cat >"$libraries/lib/cmake/$1/$1Config.cmake" <<TEXT
add_library($3 INTERFACE IMPORTED)
set_target_properties($3 PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "$libraries/include"
  INTERFACE_COMPILE_DEFINITIONS "${4:-}")
TEXT
}

# stubbed_library MODULE LIBRARY [FLAG]: to link with, a list of the names that the Linux library has
stubbed_library() {
  local symbols
  symbols=$(nm -D --defined-only "$(pkg-config --variable=libdir "$1")/lib$2.so" |
    awk '{sub(/@.*/, "", $3); print "_" $3}' | sort -u | paste -sd,)
  cat >"$libraries/lib/lib$2.tbd" <<TEXT
--- !tapi-tbd
tbd-version:     4
targets:         [ x86_64-macos, arm64-macos ]
install-name:    '/usr/local/lib/lib$2.dylib'
exports:
  - targets:         [ x86_64-macos, arm64-macos ]
    symbols:         [ $symbols ]
...
TEXT
  cat >"$libraries/lib/pkgconfig/$1.pc" <<TEXT
Name: $1
Description: $1 for the check
Version: $(pkg-config --modversion "$1")
Cflags: -I$libraries/include ${3:-}
Libs: -L$libraries/lib -l$2
TEXT
}

# lay_out HEADERS: the application's libraries with these headers, in $libraries
lay_out() {
  local headers=$1
  rm -rf "$libraries"
  mkdir -p "$libraries/include" "$libraries/lib/pkgconfig" "$libraries/lib/cmake"
  header_library fmt fmt fmt::fmt-header-only FMT_HEADER_ONLY
  header_library tl-expected tl tl::expected
  header_library nlohmann_json nlohmann nlohmann_json::nlohmann_json
  ln -s "$headers/plist" "$headers/utf8proc.h" "$libraries/include"
  stubbed_library libplist-2.0 plist-2.0
  stubbed_library libutf8proc utf8proc
}

# lay_out_tests: what the companion and the tests need besides, with this machine's headers
lay_out_tests() {
  local headers=/usr/include specific
  specific=$headers/$(gcc -print-multiarch)
  ln -s $headers/{asio,asio.hpp,jpeglib.h,jmorecfg.h,turbojpeg.h} "$specific/jconfig.h" "$libraries/include"
  header_library CLI11 CLI CLI11::CLI11
  stubbed_library libjpeg jpeg
  stubbed_library libturbojpeg turbojpeg
  mkdir "$libraries/include/SDL2"
  ln -s $headers/SDL2/* "$libraries/include/SDL2"
  grep -v INTRIN "$specific/SDL2/_real_SDL_config.h" >"$libraries/include/SDL2/_real_SDL_config.h" # this processor's
  stubbed_library sdl2 SDL2 "-I$libraries/include/SDL2"
  mkdir "$libraries/lib/cmake/GTest"
  cat >"$libraries/lib/cmake/GTest/GTestConfig.cmake" <<'TEXT'
set(CMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE PRE_TEST) # they can't be run here
set(BUILD_GMOCK OFF CACHE BOOL "")
set(INSTALL_GTEST OFF CACHE BOOL "")
add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
TEXT
}

# build ARCHITECTURE HEADERS UNITY
build() {
  local architecture=$1 libraries=$out/libraries-$1
  lay_out "$2"
  lay_out_tests
  PKG_CONFIG_LIBDIR=$libraries/lib/pkgconfig cmake --log-level=WARNING -G Ninja -S . -B "$out/$architecture" \
    -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/macos-check.cmake" -DMACOS_ARCH="$architecture" \
    -DMACOS_LIBRARIES="$libraries" -DCMAKE_PREFIX_PATH="$libraries" \
    -DCMAKE_UNITY_BUILD="$3" -DTANDEMVIEW_WERROR=ON
  cmake --build "$out/$architecture"
}

# analyse ARCHITECTURE: every adapter, by the commands that it was compiled with
analyse() {
  python3 - "$out/$1/compile_commands.json" <<'PYTHON' | xargs -0 -P "$(nproc)" -n 1 sh -c
import json, re, shlex, sys
checkers = "osx,nullability,core,cplusplus,deadcode"
for unit in json.load(open(sys.argv[1])):
    if not unit["file"].endswith(".mm"):
        continue
    compile = re.sub(r" -o \S+ -c ", " --analyze ", unit["command"])
    print(f"cd {shlex.quote(unit['directory'])} && {compile} -Xclang -analyzer-checker={checkers} "
          "-Xclang -analyzer-werror --analyzer-output text", end="\0")
PYTHON
}

echo "macos-check: libplist, libutf8proc, libjpeg, libturbojpeg and SDL2 are linked as stubs: macOS doesn't have them"
echo "macos-check: arm64, file by file, with this machine's libraries"
build arm64 /usr/include OFF
if fetch_newest; then
  echo "macos-check: x86_64, unity build, with $(cat "$newest/versions")"
  build x86_64 "$newest/root/usr/include" ON
else
  echo "macos-check: Debian's unstable suite can't be reached: not checked with the newest libraries"
  echo "macos-check: x86_64, unity build, with this machine's libraries"
  build x86_64 /usr/include ON
fi

echo "macos-check: static analysis of the adapters"
analyse arm64

application=$out/Tandemview.app
rm -rf "$application"
cp -R "$out/arm64/Tandemview.app" "$application"
llvm-lipo-19 -create -output "$application/Contents/MacOS/Tandemview" \
  "$out"/{arm64,x86_64}/Tandemview.app/Contents/MacOS/Tandemview
echo "macos-check: ${application#"$PWD/"} is linked for: $(llvm-lipo-19 -archs "$application/Contents/MacOS/Tandemview")"
