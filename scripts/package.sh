#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds the package of this system from a build tree into BUILD/package: the .deb on Linux, the
# .dmg with Hollowmere.app on macOS. On Linux it also renders the screenshots the AppStream
# metainfo names (`make demo`) into BUILD/package/screenshots, to publish beside the release.
#   scripts/package.sh [BUILD_DIR]
set -euo pipefail
build="${1:-build}"
out="$build/package"
mkdir -p "$out"
cpack --config "$build/CPackConfig.cmake" -B "$out"

if [ "$(uname -s)" = Linux ]; then
    "$(dirname "$0")/demo.sh" "$build" >/dev/null
    metainfo="$build/packaging/linux/app.hollowmere.Hollowmere.metainfo.xml"
    mkdir -p "$out/screenshots"
    for picture in $(sed -n 's|.*<image>.*/\([^/<]*\)</image>.*|\1|p' "$metainfo"); do
        cp "$build/demo/$picture" "$out/screenshots/" ||
            { echo "package: make demo no longer draws $picture" >&2; exit 1; }
    done
fi
ls -l "$out"/*.deb "$out"/*.dmg 2>/dev/null || true
