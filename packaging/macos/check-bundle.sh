#!/bin/bash
# SPDX-License-Identifier: MIT
# Checks a built Hollowmere.app as a user's Mac would meet it: the plist, the hook beside the main
# executable, every library found inside the bundle or the system, a valid signature, and the
# installed paths at work (`--version`, `hooks install` into a scratch HOME).
#   check-bundle.sh Hollowmere.app VERSION
set -euo pipefail
app="$1" version="$2"
contents="$app/Contents"
fail() { echo "check-bundle: $*" >&2; exit 1; }

plutil -lint "$contents/Info.plist" >/dev/null || fail "Info.plist does not parse"
read_plist() { /usr/libexec/PlistBuddy -c "Print :$1" "$contents/Info.plist"; }
[ "$(read_plist CFBundleShortVersionString)" = "$version" ] || fail "version is not $version"
[ "$(read_plist LSUIElement)" = true ] || fail "not a menu-bar agent (LSUIElement)"
[ -x "$contents/MacOS/hollowmere" ] || fail "no main executable"
[ -x "$contents/MacOS/hollowmere-hook" ] || fail "hollowmere-hook is not beside the main executable"
[ -f "$contents/Resources/hollowmere.icns" ] || fail "no icon"

# Every Mach-O file links only the system and what the bundle holds.
problems=0
while IFS= read -r -d '' file; do
    file -b "$file" | grep -q Mach-O || continue
    while read -r lib; do
        case "$lib" in
        /System/* | /usr/lib/*) ;;
        @rpath/* | @executable_path/* | @loader_path/*)
            name="${lib#@*/}"
            [ -e "$contents/Frameworks/$name" ] || [ -e "$contents/MacOS/$name" ] ||
                [ -e "$(dirname "$file")/$name" ] || {
                echo "check-bundle: $file needs $lib, not in the bundle" >&2
                problems=$((problems + 1))
            }
            ;;
        *)
            echo "check-bundle: $file links $lib outside the bundle" >&2
            problems=$((problems + 1))
            ;;
        esac
    done < <(otool -L "$file" | tail -n +2 | awk '{print $1}')
done < <(find "$contents" -type f -print0)
[ "$problems" -eq 0 ] || fail "$problems library references left the bundle"

codesign --verify --deep --strict "$app" || fail "the signature does not verify"

[ "$("$contents/MacOS/hollowmere" --version)" = "Hollowmere $version" ] || fail "--version"
home="$(mktemp -d)"
trap 'rm -rf "$home"' EXIT
hook="$(cd "$contents/MacOS" && pwd -P)/hollowmere-hook"
out="$(HOME="$home" "$contents/MacOS/hollowmere" hooks install)" || fail "hooks install: $out"
grep -q "\"command\": \"$hook\"" "$home/.claude/settings.json" ||
    grep -q "\"command\": \"'$hook'\"" "$home/.claude/settings.json" ||
    fail "settings.json does not name the bundle's hook"
echo "check-bundle: ok"
