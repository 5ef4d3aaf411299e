#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Runs a command in its own network and mount namespace: only loopback, and a private /tmp, so a
# test may own /tmp/hollowmere.sock without touching a Hollowmere the developer is running, and
# nothing it starts can reach beyond this machine. A checkout or build tree that itself lives under
# /tmp stays visible: its top folder is bound back into the private /tmp.
#   tests/support/isolated.sh COMMAND [ARGS...]
set -euo pipefail
if [ "${HOLLOWMERE_ISOLATED:-}" = 1 ]; then
    exec "$@"
fi
export HOLLOWMERE_ISOLATED=1

# First components under /tmp of every path the command needs from outside.
keep=()
for p in "$PWD" "$(cd "$(dirname "$0")" && pwd)" "${HOLLOWMERE_BIN_DIR:-}" \
         "${HOLLOWMERE_SOURCE_DIR:-}" "$@"; do
    case "$p" in
    /tmp/?*)
        top="${p#/tmp/}"
        keep+=("${top%%/*}")
        ;;
    esac
done

export HOLLOWMERE_KEEP="${keep[*]:-}"
exec unshare --mount --net --fork --propagation private -- bash -c '
    set -e
    ip link set lo up
    old=$(mktemp -d /dev/shm/hollowmere-tmp.XXXXXX)
    mount --bind /tmp "$old"
    mount -t tmpfs -o mode=1777 tmpfs /tmp
    for top in $HOLLOWMERE_KEEP; do
        [ -e "$old/$top" ] || continue
        mkdir -p "/tmp/$top"
        mount --bind "$old/$top" "/tmp/$top"
    done
    umount -l "$old" && rmdir "$old"
    cd "$PWD"
    exec "$@"
' isolated "$@"
