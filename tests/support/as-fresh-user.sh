#!/bin/bash
# as-fresh-user.sh [--with FILE] PROGRAM [ARGUMENT...]: runs PROGRAM as a user of its own, with a private HOME,
# XDG_RUNTIME_DIR and control group, all of it gone afterwards with every process started there; systemd --user can be
# started in it. A copy of FILE lies beside the program that runs. The exit status is PROGRAM's; 77, with the reason,
# where this machine doesn't let us; 124 after 90 s, so that it is this script that ends it, and cleans up.
set -euo pipefail

skip() {
  echo "skipped: $*"
  exit 77
}

[ "$(id -u)" -eq 0 ] || skip "only root can make a user's control group"
[ -x /lib/systemd/systemd ] || skip "systemd is not installed"
exec 9</run # one at a time: runs share the mark of a booted machine
flock 9

companion=
if [ "$1" = --with ]; then
  companion=$2
  shift 2
fi

uid=$((200000 + $$))
if [ -d /sys/fs/cgroup/systemd ]; then
  groups=("/sys/fs/cgroup/systemd/user-$uid")
  [ ! -d /sys/fs/cgroup/unified ] || groups+=("/sys/fs/cgroup/unified/user-$uid")
else
  groups=("/sys/fs/cgroup/user-$uid")
fi
folder=$(mktemp -d)
made_booted_mark=

end_processes() {
  local group=$1 pid
  while pid=$(find "$group" -name cgroup.procs -exec cat {} + | grep -m 1 .); do kill -KILL "$pid" 2>/dev/null || true; done
}

clean_up() {
  local group
  for group in "${groups[@]}"; do
    [ -d "$group" ] || continue
    end_processes "$group"
    find "$group" -depth -type d -exec rmdir {} +
  done
  rm -rf "$folder"
  [ -z "$made_booted_mark" ] || rmdir -p --ignore-fail-on-non-empty /run/systemd/system
}
trap clean_up EXIT

for group in "${groups[@]}"; do
  mkdir "$group" 2>/dev/null || skip "no control group can be made at $group"
  chown -R "$uid:$uid" "$group"
done
if [ ! -d /run/systemd/system ]; then # what systemd --user takes for a machine booted with systemd
  mkdir -p /run/systemd/system
  made_booted_mark=yes
fi
chmod 755 "$folder"
mkdir -m 700 "$folder/home" "$folder/runtime"
[ -z "$companion" ] || cp "$companion" "$folder/"
cp "$1" "$folder/program" # the build tree may be closed to other users
chown -R "$uid:$uid" "$folder/home" "$folder/runtime"
shift

(
  for group in "${groups[@]}"; do echo "$BASHPID" >"$group/cgroup.procs"; done
  cd "$folder/home"
  exec 9>&-
  exec timeout --kill-after=5 90 setpriv --reuid "$uid" --regid "$uid" --clear-groups \
    env -i PATH="$PATH" HOME="$folder/home" XDG_RUNTIME_DIR="$folder/runtime" "$folder/program" "$@"
)
