#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# An installed Hollowmere finds its hook: `cmake --install` into a scratch prefix, then
# `hollowmere hooks install` from there registers the hook installed beside it. (The .deb is
# checked by tests/packaging/test_deb.py.)
#   installed_layout.sh BUILD_DIR
set -euo pipefail
build="$1"
scratch="$(mktemp -d)"
trap 'rm -rf "$scratch"' EXIT
cmake --install "$build" --prefix "$scratch/prefix" >/dev/null
export HOME="$scratch/home"
mkdir -p "$HOME"
bin="$scratch/prefix/bin"
# On macOS the installation is the app bundle, the hook beside the main executable.
[ "$(uname -s)" = Darwin ] && bin="$scratch/prefix/Hollowmere.app/Contents/MacOS"
fail() { echo "installed_layout: $*" >&2; exit 1; }

[ -x "$bin/hollowmere-hook" ] || fail "hollowmere-hook not installed beside hollowmere"
out="$("$bin/hollowmere" hooks install)" || fail "hooks install failed: $out"
[ "$out" = "installed hooks → $bin/hollowmere-hook" ] || fail "unexpected status: $out"
grep -q "\"command\": \"$bin/hollowmere-hook\"" "$HOME/.claude/settings.json" ||
    fail "settings.json does not name the installed hook"
if [ "$(uname -s)" = Linux ]; then
    desktop="$scratch/prefix/share/applications/hollowmere.desktop"
    unit="$scratch/prefix/lib/systemd/user/hollowmere.service"
    grep -q '^Exec=/.*/hollowmere$' "$desktop" || fail "desktop file has no absolute Exec"
    out="$(desktop-file-validate "$desktop")" && [ -z "$out" ] || fail "desktop file: $out"
    grep -q '^ExecStart=/.*/hollowmere$' "$unit" || fail "user unit has no absolute ExecStart"
fi
echo "installed_layout: ok"
