#!/bin/bash
# as-fresh-user.sh --with FILE PROGRAM: runs PROGRAM as a user of its own, with a private HOME, XDG_RUNTIME_DIR and
# control group, all of it gone afterwards with every process started there; systemd --user can be started in it. A copy
# of FILE, or of a folder, lies beside the program that runs. The exit status is PROGRAM's; 77, with the reason, where
# this machine doesn't let us; 124 after 90 s, so that it is this script that ends it, and cleans up.
set -euo pipefail

skip() {
  echo "skipped: $*"
  exit 77
}

[ "$(id -u)" -eq 0 ] || skip "only root can make a user's control group"
[ -x /lib/systemd/systemd ] || skip "systemd is not installed"
unshare --mount --pid --fork true 2>/dev/null || skip "no namespaces of one's own"

uid=$((200000 + $$))
folder=$(mktemp -d)
groups=()
clean_up() {
  for group in "${groups[@]}"; do find "$group" -depth -type d -exec rmdir {} +; done
  rm -rf "$folder"
}
trap clean_up EXIT
for parent in /sys/fs/cgroup/systemd /sys/fs/cgroup/unified /sys/fs/cgroup; do
  [ -e "$parent/cgroup.procs" ] || continue
  mkdir "$parent/user-$uid" 2>/dev/null || skip "no control group can be made in $parent"
  groups+=("$parent/user-$uid")
done
chmod 755 "$folder"
mkdir -m 700 "$folder/home" "$folder/runtime"
cp -r "$2" "$folder/"
cp "$3" "$folder/program" # the build tree may be closed to other users
chown -R "$uid:$uid" "${groups[@]}" "$folder/home" "$folder/runtime"

# Every process ends with the name space. /run/systemd/system is what systemd --user takes for a booted machine.
(
  for group in "${groups[@]}"; do echo "$BASHPID" >"$group/cgroup.procs"; done
  cd "$folder/home"
  exec unshare --mount --pid --fork --kill-child --mount-proc \
    sh -c 'mount -t tmpfs tmpfs /run && mkdir -p /run/systemd/system && exec "$@"' sh \
    timeout --kill-after=5 90 setpriv --reuid "$uid" --regid "$uid" --clear-groups \
    env -i PATH="$PATH" HOME="$folder/home" XDG_RUNTIME_DIR="$folder/runtime" "$folder/program"
)
