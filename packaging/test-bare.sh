#!/usr/bin/env bash
# test-bare.sh [PRESET...]: follows the README in a bare Debian 12, once as root and once as a user with sudo: the demos
# and ./dev test, with the presets given or else the README's. Run it before a release and whenever a list of packages
# changes: nothing else notices that a list lacks a package that developers' machines happen to have. It needs root,
# debootstrap and the network, and takes long: everything is downloaded and compiled twice. What is committed is tested.
set -Eeuo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

if [ "${1:-}" != --inside ]; then
  [ "$(id -u)" -eq 0 ] || { echo "test-bare: needs root, for chroot and mounts" >&2; exit 1; }
  command -v debootstrap >/dev/null || { echo "test-bare: needs debootstrap (apt-get install debootstrap)" >&2; exit 1; }
  scratch=$(mktemp -d /tmp/tandemview-bare.XXXXXX)
  # Whatever is mounted and started below ends with the namespaces, however this ends.
  trap 'rm -rf --one-file-system "$scratch"' EXIT
  unshare --mount --pid --fork --kill-child "$0" --inside "$scratch" "$@"
  exit
fi

trap 'echo "test-bare: FAILED"' ERR
scratch=$2
presets=("${@:3}")

# bare ROOT: the smallest system that a person can clone into
bare() {
  debootstrap --variant=minbase --include=ca-certificates,git,sudo bookworm "$1" >"$scratch/debootstrap.log" 2>&1 ||
    { tail -n 20 "$scratch/debootstrap.log"; false; }
  chroot "$1" useradd --create-home --shell /bin/bash tester
  echo 'tester ALL=(ALL) NOPASSWD: ALL' >"$1/etc/sudoers.d/tester"
}

# enter ROOT USER COMMAND: with what a running system mounts
enter() {
  chroot "$1" su --login "$2" --command "cd tandemview && $3" </dev/null
}

# follow USER: the README's commands, in a copy of the bare system
follow() {
  local root=$scratch/$1 home command log
  cp -a "$scratch/base" "$root"
  mount --bind "$root" "$root" # what is a mount itself can be unshared by the tests
  mount -t proc proc "$root/proc"
  mount -t sysfs -o ro sysfs "$root/sys"
  mount --rbind /dev "$root/dev"
  mount -t tmpfs -o mode=755 tmpfs "$root/run"
  cp -L /etc/resolv.conf "$root/etc/resolv.conf"
  home=$root$(chroot "$root" getent passwd "$1" | cut -d: -f6)
  git clone --quiet --no-hardlinks . "$home/tandemview"
  chroot "$root" chown -R "$1:" "${home#"$root"}/tandemview"
  for command in "./dev demo" "./dev demo --gnome" "./dev test ${presets[*]}"; do
    log="$scratch/$1.log"
    echo "== $1: $command"
    if ! enter "$root" "$1" "$command" >"$log" 2>&1; then
      tail -n 100 "$log"
      false
    fi
    grep -E '^demo: worked|tests passed' "$log"
  done
  sed -n '/^Left out of/,/^==/p' "$log" # what the tests left out, and why
  if [ -n "$(find "$root/etc/systemd/system" -name 'avahi*')" ]; then
    echo "test-bare: Avahi is left enabled, which nobody has asked for"
    false
  fi
  umount --lazy --recursive "$root"
  rm -rf --one-file-system "$root"
}

echo "== a bare system"
bare "$scratch/base"
follow root
follow tester
echo "test-bare: the README works in a bare system, as root and as a user with sudo"
