#!/usr/bin/env bash
# install-packages.sh PACKAGE...: installs Debian packages without their recommends, as root; tells before how many come
# and how large they are, and its progress on one line. Of the services that come, none is started, and Avahi is not left
# enabled: nobody has asked for it, the tests have daemons of their own.
set -euo pipefail
export LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive

scratch=$(mktemp -d)
policy=/usr/sbin/policy-rc.d
made_policy=
finish() {
  status=$?
  if [ -n "$made_policy" ]; then rm -f "$policy"; fi
  if [ $status -ne 0 ]; then
    printf '\n' >&2
    if [ -s "$scratch/log" ]; then tail -n 20 "$scratch/log" >&2; fi
    echo "install-packages: the packages are not installed (status $status); this can simply be run again" >&2
  fi
  rm -rf "$scratch"
  exit $status
}
trap finish EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# Reads APT's status lines ("pmstatus:package:12.3:what it does"): one line on a terminal, one line a quarter elsewhere.
show_progress() {
  local kind percent text quarter=-1
  while IFS=: read -r kind _ percent text; do
    case "$kind" in dlstatus | pmstatus) ;; *) continue ;; esac
    percent=${percent%%.*}
    if [ -t 1 ]; then
      printf '\r\033[K%3s %% %.70s' "$percent" "$text"
    elif [ $((percent / 25)) -ne $quarter ]; then
      quarter=$((percent / 25))
      printf '%3s %% %s\n' "$percent" "$text"
    fi
  done
  if [ -t 1 ]; then printf '\r\033[K'; fi
}

apt() {
  apt-get -o APT::Status-Fd=3 -o Dpkg::Use-Pty=0 "$@" 3>&1 >"$scratch/log" 2>&1 </dev/null | show_progress
}

# What an interrupted installation has left half done comes first: APT refuses to work before.
dpkg --configure -a >"$scratch/log" 2>&1 </dev/null || true
had_avahi=$(dpkg-query -W -f='${db:Status-Status}' avahi-daemon 2>/dev/null || true)
echo "Asking Debian for its newest packages"
apt -o APT::Update::Error-Mode=any update
apt-get install --fix-broken --no-install-recommends --assume-no "$@" >"$scratch/plan" 2>"$scratch/log" </dev/null || true
grep -E '^[0-9]+ upgraded' "$scratch/plan" >/dev/null || { cat "$scratch/plan"; false; }
printf 'Installing %s packages (%s)\n' "$(sed -nE 's/^[0-9]+ upgraded, ([0-9]+) newly.*/\1/p' "$scratch/plan")" \
  "$(sed -nE 's/^Need to get (.*) of archives\./\1 to load/p; s/^After this operation, (.*) of additional.*/\1 on the disk/p' \
    "$scratch/plan" | paste -sd, | sed 's/,/, /')"

if [ ! -e "$policy" ]; then
  made_policy=yes
  printf '#!/bin/sh\nexit 101\n' >"$policy"
  chmod +x "$policy"
fi
apt install -y --fix-broken --no-install-recommends "$@"
if [ "$had_avahi" != installed ] && [ -e /lib/systemd/system/avahi-daemon.service ]; then
  if command -v systemctl >/dev/null; then
    systemctl disable --quiet avahi-daemon.service avahi-daemon.socket 2>>"$scratch/log" || true
  fi
  update-rc.d avahi-daemon disable 2>>"$scratch/log" || true
fi
for package in "$@"; do
  dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed ||
    { echo "install-packages: $package is missing still" >&2; false; }
done
echo "The packages are installed"
