#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""What each `hooks.askWhen` choice costs a session: the real Claude Code (print mode, scripted
model) makes 20 tool calls, 18 Reads of project files and 2 Bash commands that write a file, with
our hooks installed by `hollowmere hooks ask-when` and the app's real store and server answering
(e2e_responder approving each prompt, at once or after a user's second). Reference, same run: the
same session in a HOME without hooks; what a session spends waiting on hooks is its time beyond
that reference. Runs itself under tests/support/isolated.sh (the socket and the network).

    bench/ask_when.py [BUILD_DIR] [--runs N]
"""

import argparse
import json
import os
import shutil
import statistics
import subprocess
import sys
import tempfile

from benchlib import SOURCE, isolate

sys.path.insert(0, os.path.join(SOURCE, "tests", "e2e"))
import claude_env  # noqa: E402

READS, WRITES = 18, 2


def script(project):
    turns = [[{"type": "tool_use", "name": "Read",
               "input": {"file_path": os.path.join(project, "file%02d.txt" % i)}}]
             for i in range(READS)]
    # The writes come at the middle and the end, so neither mode can batch them.
    for n, at in enumerate((READS // 2, READS + 1)):
        turns.insert(at, [{"type": "tool_use", "name": "Bash",
                           "input": {"command": "touch written%d.txt" % n,
                                     "description": "Write a file"}}])
    return turns + [[{"type": "text", "text": "Done."}]]


def hollowmere(build, home, *args):
    env = dict(os.environ, HOME=home, XDG_CONFIG_HOME=os.path.join(home, ".config"))
    done = subprocess.run([os.path.join(build, "bin", "hollowmere"), *args], env=env,
                          capture_output=True, text=True, timeout=30)
    if done.returncode != 0:
        raise RuntimeError("hollowmere %s: %s" % (" ".join(args), done.stdout + done.stderr))


# A PreToolUse hook that reads its input and has no opinion: what any hook costs Claude Code.
NOOP = "noop"


def session(build, root, project, mode, delay_ms):
    """One session; returns (seconds, prompts in the app, tool calls that ran)."""
    home = claude_env.prepare_home(tempfile.mkdtemp(prefix="home-", dir=root), [project])
    if mode == NOOP:
        with open(os.path.join(home, ".claude", "settings.json"), "w", encoding="utf-8") as f:
            json.dump({"hooks": {"PreToolUse": [
                {"hooks": [{"type": "command", "command": "cat > /dev/null"}]}]}}, f)
    for name in os.listdir(project):
        if name.startswith("written"):
            os.remove(os.path.join(project, name))
    responder = None
    if mode and mode != NOOP:
        hollowmere(build, home, "hooks", "install")
        hollowmere(build, home, "hooks", "ask-when", mode)
        responder = claude_env.Responder(
            home, "approve", os.path.join(home, "app.jsonl"), delay_ms=delay_ms,
            program=os.path.join(build, "tests", "e2e_responder"), quiet=True)
    try:
        workdir = tempfile.mkdtemp(dir=root)
        with claude_env.StandIn(script(project), workdir) as api:
            run = claude_env.run_claude(home, project, api.port, "Read the files, write two.",
                                        timeout=600)
            if run.returncode != 0 or run.result is None:
                raise RuntimeError(run.describe())
            ran = sum(1 for r in api.tool_results() if not r["is_error"])
    finally:
        if responder:
            responder.stop()
    prompts = len(responder.lines("prompt")) if responder else 0
    return run.elapsed, prompts, ran


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build", nargs="?", default=os.path.join(SOURCE, "build"))
    parser.add_argument("--runs", type=int, default=3)
    args = parser.parse_args()
    build = os.path.abspath(args.build)
    isolate(build, "--runs", args.runs)

    root = tempfile.mkdtemp(prefix="ask-when-")
    try:
        project = os.path.join(root, "project")
        os.makedirs(project)
        for i in range(READS):
            with open(os.path.join(project, "file%02d.txt" % i), "w", encoding="utf-8") as f:
                f.write("line %d\n" % i)
        cases = [("no hooks (reference)", None, 0),
                 ("a PreToolUse hook of our own that does nothing", NOOP, 0)]
        for delay in (0, 1000):
            cases += [("every-tool, answer after %d ms" % delay, "every-tool", delay),
                      ("claude-asks, answer after %d ms" % delay, "claude-asks", delay)]
        results = {}
        for n in range(args.runs):
            for label, mode, delay in cases:  # interleaved, so load drifts hit every case
                results.setdefault(label, []).append(session(build, root, project, mode, delay))
        reference = statistics.median(r[0] for r in results[cases[0][0]])
        print("| case | tool calls that ran | reached the notch | session (median of %d) "
              "| waiting on hooks (beyond the reference) |" % args.runs)
        print("|---|---|---|---|---|")
        for label, mode, _ in cases:
            runs = results[label]
            seconds = statistics.median(r[0] for r in runs)
            print("| %s | %d | %d | %.2f s | %s |" % (
                label, runs[0][2], runs[0][1], seconds,
                "—" if mode is None else "%.2f s" % (seconds - reference)))
    finally:
        shutil.rmtree(root, ignore_errors=True)


if __name__ == "__main__":
    main()
