#!/bin/bash
# own-machine.sh FOLDER COMMAND...: as root of a machine that looks like this one, with FOLDER in its place, a loopback
# and a /tmp of its own. Whatever is installed, written or started there is gone when the command ends. The exit
# status is the command's; 77, with the reason, where this machine doesn't let us.
set -euo pipefail

skip() {
  echo "skipped: $*"
  exit 77
}

# Everything happens in namespaces of our own: the mounts end with them.
if [ "$1" != --inside ]; then
  [ "$(id -u)" -eq 0 ] || skip "only root can install packages"
  unshare --mount --pid --net --fork true 2>/dev/null || skip "no namespaces of one's own"
  exec unshare --mount --pid --net --fork --kill-child "$0" --inside "$@"
fi
folder=$2
shift 2
place=$(mktemp -d)
trap 'umount -l "$place"; rmdir "$place"' EXIT
mount -t tmpfs tmpfs "$place"
root=$place/root
mkdir "$place/written" "$place/work" "$root"
reason=$(mount -t overlay overlay -o "lowerdir=/,upperdir=$place/written,workdir=$place/work" "$root" 2>&1) ||
  skip "nothing can be laid over the root file system: $reason"
mount -t proc proc "$root/proc"
mount --rbind /dev "$root/dev"
mount -t tmpfs tmpfs "$root/tmp"
mount -t tmpfs tmpfs "$root/run"
mkdir -p "$root$folder"
mount --rbind "$folder" "$root$folder"
[ -x "$root/usr/bin/dpkg" ] || skip "/usr is not on the root file system"
ip link set lo up
chroot "$root" "$@"
