#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Starts Hollowmere from the build tree. Without a display it runs on Qt's offscreen platform.
set -euo pipefail
build="${1:-build}"
if [ -z "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ] && [ "$(uname -s)" = Linux ]; then
    export QT_QPA_PLATFORM="${QT_QPA_PLATFORM:-offscreen}"
fi
# Linux screens have no notch, and the floating style shows nothing while compact: draw the notch
# as on a notched laptop so the sessions and the HUD stay in sight. An empty value turns it off.
if [ "$(uname -s)" = Linux ]; then
    export HOLLOWMERE_SIMULATE_NOTCH="${HOLLOWMERE_SIMULATE_NOTCH-200x32}"
fi
exec "$build/bin/hollowmere"
