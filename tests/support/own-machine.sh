#!/bin/bash
# own-machine.sh FOLDER COMMAND...: as root of a machine that looks like this one, with FOLDER in its place, a loopback
# and a /tmp of its own. Whatever is installed, written or started there is gone when the command ends. The exit
# status is the command's; 77, with the reason, where this machine doesn't let us.
set -euo pipefail

skip() {
  echo "skipped: $*"
  exit 77
}

# Everything below happens in namespaces of our own: the mounts end with them.
enter() {
  [ "$(id -u)" -eq 0 ] || skip "only root can install packages"
  unshare --mount --pid --net --fork true 2>/dev/null || skip "no namespaces of one's own"
  exec unshare --mount --pid --net --fork --kill-child "$0" --inside "$@"
}

lay_over() {
  local reason
  mount -t tmpfs tmpfs "$1"
  mkdir "$1/written" "$1/work" "$1/root"
  reason=$(mount -t overlay overlay -o "lowerdir=/,upperdir=$1/written,workdir=$1/work" "$1/root" 2>&1) ||
    skip "nothing can be laid over the root file system: $reason"
}

furnish() {
  local root=$1 folder=$2
  mount -t proc proc "$root/proc"
  mount --rbind /dev "$root/dev"
  mount -t tmpfs tmpfs "$root/tmp"
  mount -t tmpfs tmpfs "$root/run"
  mkdir -p "$root$folder"
  mount --rbind "$folder" "$root$folder"
  [ -x "$root/usr/bin/dpkg" ] || skip "/usr is not on the root file system"
}

if [ "$1" != --inside ]; then enter "$@"; fi
folder=$2
shift 2
place=$(mktemp -d)
trap 'umount -l "$place"; rmdir "$place"' EXIT
lay_over "$place"
furnish "$place/root" "$folder"
ip link set lo up
chroot "$place/root" "$@"
