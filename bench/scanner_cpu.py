#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""CPU of the whole app while a live 100 MB transcript grows by 1 KB every 100 ms.

    bench/scanner_cpu.py BUILD_DIR [--seconds S]

Runs build/bin/hollowmere (store, scanner, hook server) with a temporary HOME whose projects
folder holds one 100 MB transcript, beside a process named `claude` working in that project, so
the session is live. Measures the app's CPU time from /proc/<pid>/stat: first idle (the
reference, same run, same length), then while the transcript grows. Re-runs itself under
tests/support/isolated.sh so the app's socket is private.
"""

import argparse
import os
import shutil
import subprocess
import sys
import tempfile
import time

from benchlib import cpu_seconds, isolate, stand_in_claude


def wait_for(path, text, timeout=120):
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        with open(path, errors="replace") as f:
            if text in f.read():
                return True
        time.sleep(0.1)
    return False


def measure(build, seconds):
    work = tempfile.mkdtemp(prefix="scanner-cpu-")
    home = os.path.join(work, "home")
    project = os.path.join(home, "work", "live")
    os.makedirs(project)
    folder = os.path.join(home, ".claude", "projects", project.replace("/", "-"))
    os.makedirs(folder)
    transcript = os.path.join(folder, "5f1c2a9e-3b4d-4e6f-8a7b-9c0d1e2f3a4b.jsonl")
    subprocess.run([os.path.join(build, "bin", "bench_sessionscanner"), "--write-transcript",
                    transcript, str(100 << 20), project], check=True)

    claude = stand_in_claude(work, project)

    env = dict(os.environ, HOME=home, QT_QPA_PLATFORM="offscreen",
               XDG_CONFIG_HOME=os.path.join(home, ".config"))
    log = os.path.join(work, "app.log")
    with open(log, "w") as out:
        app = subprocess.Popen([os.path.join(build, "bin", "hollowmere")], env=env,
                               stdout=out, stderr=subprocess.STDOUT)
    try:
        if not wait_for(log, "Scanner: discovered 1 sessions"):
            sys.exit("the app never reported the live session; see " + log)
        time.sleep(1)

        start = cpu_seconds(app.pid)
        time.sleep(seconds)
        idle = (cpu_seconds(app.pid) - start) / seconds

        line = ('{"type":"assistant","cwd":"%s","message":{"model":"m","content":[{"type":"text",'
                '"text":"%%s"}],"stop_reason":"end_turn"}}\n' % project)
        start, began, n = cpu_seconds(app.pid), time.monotonic(), 0
        with open(transcript, "a") as f:
            while time.monotonic() - began < seconds:
                n += 1
                f.write(line % (str(n) + "x" * (1024 - len(line) - 8)))
                f.flush()
                time.sleep(0.1)
        growing = (cpu_seconds(app.pid) - start) / (time.monotonic() - began)
        with open(log, errors="replace") as f:
            scans = f.read().count("Scanner: discovered")
    finally:
        app.terminate()
        app.wait(10)
        claude.kill()
        claude.wait()
        shutil.rmtree(work, ignore_errors=True)

    print("scanner_cpu: app idle            %.2f%% of one core (reference)" % (idle * 100))
    print("scanner_cpu: transcript growing  %.2f%% of one core, %d appends, %d scans in all"
          % (growing * 100, n, scans))
    print("scanner_cpu: growing / idle      %.1fx" % (growing / idle if idle > 0 else float("inf")))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build")
    parser.add_argument("--seconds", type=float, default=30)
    args = parser.parse_args()
    isolate(os.path.abspath(args.build), "--seconds", args.seconds)
    measure(os.path.abspath(args.build), args.seconds)


if __name__ == "__main__":
    main()
