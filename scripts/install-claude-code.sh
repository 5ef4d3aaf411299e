#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs the pinned Claude Code used by the end-to-end tests into .tools/claude-code.
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
version="2.1.330"
dest="$here/.tools/claude-code"
if [ -x "$dest/node_modules/.bin/claude" ] &&
   grep -q "\"version\": \"$version\"" "$dest/node_modules/@anthropic-ai/claude-code/package.json" 2>/dev/null; then
    exit 0
fi
mkdir -p "$dest"
cd "$dest"
[ -f package.json ] || echo '{"name":"hollowmere-e2e-tools","private":true}' > package.json
echo "install-claude-code: installing @anthropic-ai/claude-code@$version"
npm install --no-audit --no-fund --loglevel=error "@anthropic-ai/claude-code@$version"
