#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Runs the benchmarks of a build tree; each prints its figures beside a reference measured in the
# same run (docs/PERFORMANCE.md records them).
#   scripts/bench.sh [BUILD_DIR]
set -euo pipefail
build="${1:-build}"
bin="$build/bin"

run() {
    local name="$1"
    shift
    if [ -x "$bin/$name" ]; then
        echo "== $name"
        "$bin/$name" "$@"
    else
        echo "== $name: not built (Google Benchmark missing?)" >&2
    fi
}

# Polls while idle: one walk of the process table with 1,000 extra processes, and one brightness
# poll over a sysfs backlight folder, each against the bare reads it needs.
run bench_polls --benchmark_repetitions=5 --benchmark_report_aggregates_only=true

# Whole hook processes timed by hyperfine against /bin/true.
"$(dirname "$0")/../bench/hook_latency.sh" "$build"

# Session scanner: first read of a 100 MB transcript, a 1 KB append on top of it and passes over
# 50 project folders, beside plain reads and listings of the same files; then the whole app's CPU
# while a live 100 MB transcript grows by 1 KB every 100 ms, beside the same app idle.
run bench_sessionscanner --benchmark_repetitions=3 --benchmark_report_aggregates_only=true
"$(dirname "$0")/../bench/scanner_cpu.py" "$build"

# Package: the .deb's size, and the installed app's start until its hook server listens, cold and
# warm, beside the same executable answering --version.
if [ "$(uname -s)" = Linux ]; then
    "$(dirname "$0")/../bench/package_start.py" "$build"
fi

# Notch: resident memory across 1,000 hover changes of an expanded notch, on Xvfb with a
# compositing manager (the shadow's GL path), beside the same moves over a notch that draws no
# hover change.
if [ "$(uname -s)" = Linux ] && [ -x "$bin/bench_notch" ]; then
    echo "== bench_notch hover"
    QT_QPA_PLATFORM=xcb xvfb-run -a -s "-screen 0 1920x1080x24" \
        sh -c 'xcompmgr & exec "$@"' bench "$bin/bench_notch" hover 1000
fi

# Session notch: hook connection to the prompt card's first frame beside a bare Qt Quick window's
# first frame; memory over 1,000 hover changes and 1,000 prompts; then CPU and memory with 10
# idle sessions and with one working, beside a bare window idle on the same X server.
if [ "$(uname -s)" = Linux ] && [ -x "$bin/bench_notch" ]; then
    echo "== bench_notch"
    "$(dirname "$0")/../tests/support/isolated.sh" xvfb-run -a -s "-screen 0 1920x1080x24" \
        env QT_QPA_PLATFORM=xcb sh -c "'$bin/bench_notch' first-frame 20 && '$bin/bench_notch' growth 1000 && '$bin/bench_notch' idle 30"
fi
