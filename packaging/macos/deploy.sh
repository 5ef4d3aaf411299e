#!/bin/bash
# SPDX-License-Identifier: MIT
# Makes an installed Hollowmere.app self-contained and signs it: macdeployqt copies Qt's frameworks,
# plugins and QML modules (and any other non-system library) into the bundle, then every piece of
# code is signed from the inside out, the app last.
#   deploy.sh APP MACDEPLOYQT IDENTITY ENTITLEMENTS QML_SOURCE_DIR...
# IDENTITY "-" signs ad hoc (runs on the machine that built it, and on others once the user has
# allowed it); a "Developer ID Application: …" identity signs for distribution, with the hardened
# runtime and a secure time stamp, ready for notarisation.
set -euo pipefail
app="$1" macdeployqt="$2" identity="$3" entitlements="$4"
shift 4
qml=()
for dir in "$@"; do qml+=("-qmldir=$dir"); done

"$macdeployqt" "$app" "${qml[@]}" -verbose=1

options=(--force --sign "$identity")
if [ "$identity" = "-" ]; then
    # Library validation would refuse ad hoc signed Qt frameworks under the hardened runtime.
    options+=(--timestamp=none)
else
    options+=(--options runtime --timestamp)
fi
sign() { codesign "${options[@]}" "$@"; }

contents="$app/Contents"
while IFS= read -r -d '' lib; do sign "$lib"; done < <(
    find "$contents/Frameworks" "$contents/PlugIns" "$contents/Resources" -type f -name '*.dylib' -print0 2>/dev/null)
sparkle="$contents/Frameworks/Sparkle.framework/Versions/B"
if [ -d "$sparkle" ]; then
    # Sparkle's own order: its XPC services and helpers before the framework itself.
    sign "$sparkle/XPCServices/Installer.xpc"
    sign --preserve-metadata=entitlements "$sparkle/XPCServices/Downloader.xpc"
    sign "$sparkle/Autoupdate"
    sign "$sparkle/Updater.app"
fi
for framework in "$contents"/Frameworks/*.framework; do
    [ -e "$framework" ] && sign "$framework"
done
sign "$contents/MacOS/hollowmere-hook"
sign --entitlements "$entitlements" "$app"
codesign --verify --deep --strict "$app"
