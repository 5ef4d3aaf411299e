#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""CPU and memory of the whole app with its notch on screen: 10 idle sessions in the compact
notch, then one of them working (its halo and typing dots move).

    bench/notch_idle.py BUILD_DIR [--seconds S]

Runs build/bin/hollowmere on a private X server (tests/support/desktop.py) with a temporary HOME
whose projects folder holds 10 live transcripts, each beside a process named `claude` working in
its project, and the notch drawn as on a notched laptop. Reads the app's CPU time and resident
memory from /proc. Reference, same run and length: `bench_notch bare-window`, one bare Qt Quick
window on the same server. Re-runs itself under tests/support/isolated.sh (the app's socket).
"""

import argparse
import json
import os
import shutil
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE = os.path.dirname(HERE)
sys.path.insert(0, os.path.join(SOURCE, "tests", "support"))
from desktop import Desktop, wait_until  # noqa: E402

SESSIONS = 10


def cpu_seconds(pid):
    with open("/proc/%d/stat" % pid) as f:
        fields = f.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def resident_mb(pid):
    with open("/proc/%d/status" % pid) as f:
        for line in f:
            if line.startswith("VmRSS:"):
                return int(line.split()[1]) / 1024.0
    return 0.0


def cpu_share(pid, seconds):
    start = cpu_seconds(pid)
    time.sleep(seconds)
    return (cpu_seconds(pid) - start) / seconds * 100


def transcript_line(kind, cwd, text):
    if kind == "user":
        return {"type": "user", "cwd": cwd, "message": {"role": "user", "content": text}}
    return {"type": "assistant", "cwd": cwd,
            "message": {"id": "m-" + text[:8], "role": "assistant", "model": "claude-sonnet-4-5",
                        "stop_reason": "end_turn", "content": [{"type": "text", "text": text}]}}


def make_sessions(work, home):
    """Ten projects, each with a finished turn and a stand-in `claude` in it."""
    fake = os.path.join(work, "bin", "claude")
    os.makedirs(os.path.dirname(fake))
    shutil.copy("/bin/sleep", fake)
    transcripts, processes = [], []
    for i in range(SESSIONS):
        project = os.path.join(home, "code", "project-%02d" % i)
        os.makedirs(project)
        folder = os.path.join(home, ".claude", "projects",
                              "".join(c if c.isalnum() else "-" for c in project))
        os.makedirs(folder)
        path = os.path.join(folder, "0000000%d-aaaa-4bbb-8ccc-dddddddddddd.jsonl" % i)
        with open(path, "w") as f:
            f.write(json.dumps(transcript_line("user", project, "Tidy module %d" % i)) + "\n")
            f.write(json.dumps(transcript_line("assistant", project, "Tidied %d." % i)) + "\n")
        transcripts.append((path, project))
        processes.append(subprocess.Popen([fake, "100000"], cwd=project))
    return transcripts, processes


def measure(build, seconds):
    work = tempfile.mkdtemp(prefix="notch-idle-")
    home = os.path.join(work, "home")
    transcripts, processes = make_sessions(work, home)
    try:
        with Desktop(accessibility=False) as desk:
            bare = desk.spawn([os.path.join(build, "bin", "bench_notch"), "bare-window"],
                              stdout=subprocess.PIPE, text=True)
            bare.stdout.readline()
            app = desk.start_hollowmere(os.path.join(build, "bin", "hollowmere"), home)
            if not wait_until(lambda: "Scanner: discovered %d sessions" % SESSIONS in app.log(),
                              120):
                sys.exit("the app never saw the %d sessions:\n%s" % (SESSIONS, app.log()[-3000:]))
            time.sleep(5)  # the notch has opened and settled

            bare_cpu = cpu_share(bare.pid, seconds)
            idle_cpu = cpu_share(app.process.pid, seconds)
            bare_mb, idle_mb = resident_mb(bare.pid), resident_mb(app.process.pid)

            # One session starts working: a new prompt with no answer yet, seen by the
            # scanner's next pass.
            path, project = transcripts[0]
            passes = app.log().count("Scanner: discovered")
            with open(path, "a") as f:
                f.write(json.dumps(transcript_line("user", project, "And the tests")) + "\n")
            wait_until(lambda: app.log().count("Scanner: discovered") > passes, 30)
            time.sleep(2)
            working_cpu = cpu_share(app.process.pid, seconds)
            working_mb = resident_mb(app.process.pid)
    finally:
        for p in processes:
            p.kill()
            p.wait()
        shutil.rmtree(work, ignore_errors=True)

    print("notch_idle: bare Qt Quick window, idle (reference)  %.2f%% of one core, %.1f MB"
          % (bare_cpu, bare_mb))
    print("notch_idle: app, %d idle sessions in the notch      %.2f%% of one core, %.1f MB"
          % (SESSIONS, idle_cpu, idle_mb))
    print("notch_idle: app, one session working                %.2f%% of one core, %.1f MB"
          % (working_cpu, working_mb))
    print("notch_idle: resident memory, app / bare window      %.2f" % (idle_mb / bare_mb))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build")
    parser.add_argument("--seconds", type=float, default=30)
    args = parser.parse_args()
    if os.environ.get("HOLLOWMERE_ISOLATED") != "1":
        script = os.path.join(SOURCE, "tests", "support", "isolated.sh")
        os.execv(script, [script, "/usr/bin/python3", os.path.abspath(__file__),
                          os.path.abspath(args.build), "--seconds", str(args.seconds)])
    measure(os.path.abspath(args.build), args.seconds)


if __name__ == "__main__":
    main()
