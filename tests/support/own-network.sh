#!/bin/sh
# own-network.sh [--or-skip] COMMAND...: with a loopback of its own where the system allows that, so that fixed ports
# are free and stay so. Elsewhere the command runs in the network as it is or, if it must not, is skipped by exit 77.
or_skip=
[ "$1" != --or-skip ] || or_skip=yes
[ -z "$or_skip" ] || shift
alone='ip link set lo up && exec "$@"'
if unshare --net true 2>/dev/null; then exec unshare --net sh -c "$alone" sh "$@"; fi
if unshare --map-root-user --net true 2>/dev/null; then exec unshare --map-root-user --net sh -c "$alone" sh "$@"; fi
[ -z "$or_skip" ] || { echo "skipped: no network of one's own" && exit 77; }
exec "$@"
