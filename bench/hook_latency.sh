#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Whole-process timings of hollowmere-hook with hyperfine, each against spawning /bin/true in the
# same run: with no app (the hook must give up at once) and a stop event answered by the app.
# Runs itself with a private /tmp, so the socket it uses is its own.
#   bench/hook_latency.sh [BUILD_DIR]
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
build="$(cd "${1:-$here/build}" && pwd)"
if [ "${HOLLOWMERE_ISOLATED:-}" != 1 ]; then
    exec "$here/tests/support/isolated.sh" "$0" "$build"
fi
runs="${HOOK_BENCH_RUNS:-1000}"
feed="$build/bin/feed_stdin"
hook="$build/bin/hollowmere-hook"
work="$(mktemp -d)"
server=""
cleanup() {
    [ -n "$server" ] && kill "$server" 2>/dev/null && wait "$server" 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT

cat >"$work/pre.json" <<'JSON'
{"session_id":"bench","transcript_path":"/nowhere/bench.jsonl","cwd":"/work/bench","permission_mode":"default","hook_event_name":"PreToolUse","tool_name":"Bash","tool_input":{"command":"ls -la","description":"List files"},"tool_use_id":"toolu_bench"}
JSON
cat >"$work/stop.json" <<'JSON'
{"session_id":"bench","transcript_path":"/nowhere/bench.jsonl","cwd":"/work/bench","permission_mode":"default","hook_event_name":"Stop","stop_hook_active":false}
JSON

summary() { # NAME JSON: the hook's mean against the reference's (first command)
    python3 - "$1" "$2" <<'PY'
import json, sys
name, path = sys.argv[1], sys.argv[2]
r = json.load(open(path))["results"]
ref, hook = r[0], r[1]
ms = lambda x: x * 1000
print(f"{name}: hook {ms(hook['mean']):.2f} ms (median {ms(hook['median']):.2f}), "
      f"reference {ms(ref['mean']):.2f} ms (median {ms(ref['median']):.2f}), "
      f"ratio {hook['mean'] / ref['mean']:.2f} (medians {hook['median'] / ref['median']:.2f})")
PY
}

echo "== hook with no app running"
rm -f /tmp/hollowmere.sock
hyperfine -N --warmup 50 --runs "$runs" --export-json "$work/none.json" \
    "$feed $work/pre.json /bin/true" "$feed $work/pre.json $hook"

# The app as shipped, then the app without a sound player on its PATH: every stop starts the
# chime player, whose start-up competes with the next runs for the cores.
mkdir -p "$work/home"
round_trip() { # NAME PATH-FOR-THE-APP
    echo "== hook round trip, stop event, answered by the app ($1)"
    rm -f /tmp/hollowmere.sock
    HOME="$work/home" PATH="$2" QT_QPA_PLATFORM=offscreen "$build/bin/hollowmere" \
        >"$work/app.log" 2>&1 &
    server=$!
    for _ in $(seq 100); do [ -S /tmp/hollowmere.sock ] && break; sleep 0.1; done
    if [ ! -S /tmp/hollowmere.sock ]; then
        echo "hook_latency: the app did not open /tmp/hollowmere.sock within 10 s" >&2
        cat "$work/app.log" >&2
        exit 1
    fi
    hyperfine -N --warmup 50 --runs "$runs" --export-json "$work/$1.json" \
        "$feed $work/stop.json /bin/true" "$feed $work/stop.json $hook"
    kill "$server"
    wait "$server" 2>/dev/null || true
    server=""
}
round_trip chime "$PATH"
round_trip silent /nonexistent

echo "== summary (reference: /bin/true through the same stdin feeder)"
summary "no app" "$work/none.json"
summary "stop round trip, app with chime" "$work/chime.json"
summary "stop round trip, app without sound player" "$work/silent.json"
