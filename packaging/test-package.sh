#!/usr/bin/env bash
# test-package.sh BUILD_DIRECTORY: makes the Debian packages of a build, installs them into an empty root, uses what is
# there, and removes them again. Builds nothing and needs no privileges.
set -euo pipefail
export LC_ALL=C.UTF-8 # CPack drops what the locale's character set lacks from paths
build=$(realpath "$1")
cd "$(dirname "$(readlink -f "$0")")"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
root=$scratch/root
programs=(tandemview tandemview-companion)

fail() {
  echo "test-package: $*" >&2
  exit 1
}

expect_equal() { [ "$2" = "$3" ] || fail "$1 is \"$2\", not \"$3\""; }

# The libraries of this machine stand in for the dependencies, which the empty root lacks. A machine that is set to leave
# manuals and the like out keeps them here.
in_root() {
  PATH=$PATH:/usr/sbin:/sbin dpkg --root="$root" --path-include='/*' --force-not-root --force-depends --force-unsafe-io \
    "$@" 2>&1
}

cpack --config "$build/CPackConfig.cmake" -B "$scratch/packages" >"$scratch/cpack.log" 2>&1 ||
  { cat "$scratch/cpack.log"; fail "cpack failed"; }
lintian --allow-root --fail-on error,warning "$scratch"/packages/*.deb >"$scratch/lintian.log" 2>&1 ||
  { cat "$scratch/lintian.log"; fail "lintian finds fault with the packages"; }
mkdir -p "$root"/var/lib/dpkg/{info,updates}
touch "$root"/var/lib/dpkg/{available,status}
in_root --install "$scratch"/packages/*.deb >"$scratch/install.log" || { cat "$scratch/install.log"; fail "dpkg failed"; }

share=$root/usr/share
desktops=("$share"/applications/org.tandemview.{Tandemview,Companion}.desktop)
metainfo=$share/metainfo/org.tandemview.Tandemview.metainfo.xml
desktop-file-validate "${desktops[@]}"
appstreamcli validate --no-net "$metainfo"

version=$(dpkg-deb --field "$scratch"/packages/tandemview_*.deb Version)
for program in "${programs[@]}"; do
  said=$("$root/usr/bin/$program" --version)
  expect_equal "the version that $program tells" "${said##* }" "$version"
  changelog=$(zcat "$share/doc/$program/changelog.gz" | dpkg-parsechangelog -l- -S Version)
  expect_equal "the newest version in the changelog" "$changelog" "$version"
  # Every option that --help lists has its place in the manual.
  manual=$(zcat "$share/man/man1/$program.1.gz" | sed 's/\\-/-/g')
  for option in $("$root/usr/bin/$program" --help | grep -oE -- '--[a-z][a-z-]*'); do
    grep -qE -- "$option( |\"|$)" <<<"$manual" || fail "the manual of $program lacks $option"
  done
done
expect_equal "the newest release in the metainfo" "$(sed -nE '0,/<release /s/.*<release version="([^"]*)".*/\1/p' "$metainfo")" \
  "$version"

# What the desktop files and the program ask for by name.
for desktop in "${desktops[@]}"; do
  [ -x "$root/usr/bin/$(sed -n 's/^Exec=//p' "$desktop")" ] || fail "$desktop starts nothing"
done
icons=$({ sed -sn 's/^Icon=//p' "${desktops[@]}"; grep -rhoE '"tandemview[a-z-]*-symbolic"' ../src/platform/linux | tr -d '"'; })
for icon in $icons; do
  [ -n "$(find "$share/icons/hicolor" -name "$icon.svg")" ] || fail "there is no icon $icon"
done

in_root --purge "${programs[@]}" >"$scratch/purge.log" || { cat "$scratch/purge.log"; fail "the removal failed"; }
left=$(find "$root" -mindepth 1 -path "$root/var" -prune -o -print)
[ -z "$left" ] || fail "left behind: $left"
echo "test-package: version $version comes and goes"
