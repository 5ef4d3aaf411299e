#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Renders pictures of the views into BUILD/demo, for a person to look at.
#   scripts/demo.sh [BUILD_DIR]
set -euo pipefail
build="${1:-build}"
mkdir -p "$build/demo"

# HUD: the compact volume, brightness and low-battery views.
"$build/bin/hollowmere-hud-demo" "$build/demo"
