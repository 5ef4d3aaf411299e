#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""CPU of the whole app while a live 100 MB transcript grows by 1 KB every 100 ms.

    bench/scanner_cpu.py BUILD_DIR [SECONDS]

Runs build/bin/hollowmere (store, scanner, hook server) with a temporary HOME whose projects
folder holds one 100 MB transcript, beside a process named `claude` working in that project, so
the session is live. Measures the app's CPU time from /proc/<pid>/stat: first idle (the
reference, same run, same length), then while the transcript grows. Re-runs itself under
tests/support/isolated.sh so the app's socket is private.
"""

import os
import shutil
import subprocess
import sys
import tempfile
import time

from benchlib import cpu_seconds, isolate, stand_in_claude


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
        deadline = time.monotonic() + 120
        while "Scanner: discovered 1 sessions" not in open(log, errors="replace").read():
            if time.monotonic() > deadline:
                sys.exit("the app never reported the live session; see " + log)
            time.sleep(0.1)
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
        scans = open(log, errors="replace").read().count("Scanner: discovered")
    finally:
        app.terminate()
        app.wait(10)
        claude.kill()
        claude.wait()
        shutil.rmtree(work, ignore_errors=True)

    print("scanner_cpu: transcript growing %.2f%% of one core (%d appends, %d scans), app idle "
          "(reference) %.2f%%, ratio %.1f" % (growing * 100, n, scans, idle * 100,
                                              growing / idle if idle > 0 else float("inf")))


if __name__ == "__main__":
    isolate(os.path.abspath(sys.argv[1]), *sys.argv[2:])
    measure(os.path.abspath(sys.argv[1]), float(sys.argv[2]) if len(sys.argv) > 2 else 30)
