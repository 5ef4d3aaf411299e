#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Starts Hollowmere from the build tree. Without a display it runs on Qt's offscreen platform.
set -euo pipefail
build="${1:-build}"
if [ -z "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ] && [ "$(uname -s)" = Linux ]; then
    export QT_QPA_PLATFORM="${QT_QPA_PLATFORM:-offscreen}"
fi
exec "$build/bin/hollowmere"
