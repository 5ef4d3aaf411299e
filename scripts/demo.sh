#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Renders pictures of the views into BUILD/demo, for a person to look at. Linux renders the notch
# on a private X server (Xvfb) at twice the scale, with a compositing manager, so shadows and
# blurs take the desktop path.
#   scripts/demo.sh [BUILD_DIR]
set -euo pipefail
build="${1:-build}"
out="$build/demo"
mkdir -p "$out"

render() {
    if [ "$(uname -s)" = Linux ]; then
        QT_QPA_PLATFORM=xcb QT_SCALE_FACTOR=2 \
            xvfb-run -a -s "-screen 0 3840x2160x24" sh -c 'xcompmgr & exec "$@"' render "$@"
    else
        "$@"
    fi
}

# HUD: the compact volume, brightness and low-battery views.
"$build/bin/hollowmere-hud-demo" "$out"

# NotchKit: notch and floating styles, compact and expanded.
render "$build/bin/notchkit-demo" "$out"

# Prompt card: Bash, Edit, Write, a question, a notification with suggestions, and a stop.
render "$build/bin/hollowmere-promptcard-demo" "$out"

# Onboarding steps and settings tabs.
render "$build/bin/hollowmere-windows-demo" "$out"

# Session notch: the real controller and views, compact in each status, the list with a row open,
# a prompt, and the HUD in its place.
render "$build/bin/hollowmere-notch-demo" "$out"
