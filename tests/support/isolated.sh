#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Runs a command in its own network and mount namespace: only loopback, and a private /tmp, so a
# test may own /tmp/hollowmere.sock without touching a Hollowmere the developer is running, and
# nothing it starts can reach beyond this machine.
#   tests/support/isolated.sh COMMAND [ARGS...]
set -euo pipefail
if [ "${HOLLOWMERE_ISOLATED:-}" = 1 ]; then
    exec "$@"
fi
export HOLLOWMERE_ISOLATED=1
exec unshare --mount --net --fork --propagation private -- bash -c '
    set -e
    ip link set lo up
    mount -t tmpfs -o mode=1777 tmpfs /tmp
    exec "$@"
' isolated "$@"
