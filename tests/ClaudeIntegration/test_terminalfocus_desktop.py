#!/usr/bin/python3
# SPDX-License-Identifier: MIT
# Jump and typing with real terminals on a private desktop (tests/support/desktop.py): two
# xterms, and two kitty windows under remote control. Each runs a shell that appends the lines it
# reads to its own file, so what was typed where is read back. The focus code runs in focus_probe
# (HOLLOWMERE_FOCUS_PROBE), one process per action, as the app's worker would run it.

import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, os.path.join(os.environ.get("HOLLOWMERE_SOURCE_DIR", ""), "tests", "support"))
from desktop import Desktop, wait_until  # noqa: E402

PROBE = os.environ.get("HOLLOWMERE_FOCUS_PROBE", "")
# Typed literally: quotes, a backslash, upper case (Shift) and a letter the US keymap lacks.
LINE = 'Hello "notch" \\ café'


class TerminalFocusDesktopTest(unittest.TestCase):
    def setUp(self):
        self.assertTrue(os.access(PROBE, os.X_OK), "focus_probe is not built")
        self.root = tempfile.mkdtemp(prefix="hollowmere-focus-")
        self.addCleanup(shutil.rmtree, self.root, ignore_errors=True)
        self.project = os.path.join(self.root, "demo-app")
        os.makedirs(self.project)
        self.desk = Desktop(accessibility=False)
        self.desk.start()
        self.addCleanup(self.desk.stop)

    def reader(self, name):
        # A shell that records its pid (it stands in for claude) and appends each line it reads
        # to NAME.txt; returns its command and that file.
        pid_file, out = (os.path.join(self.root, name + ext) for ext in (".pid", ".txt"))
        script = 'echo $$ > "%s"; while IFS= read -r l; do printf "%%s\\n" "$l" >> "%s"; done' % (
            pid_file, out)
        return ["sh", "-c", script], out

    def pid(self, name):
        path = os.path.join(self.root, name + ".pid")
        return int(wait_until(lambda: os.path.exists(path) and Path(path).read_text().strip()))

    @staticmethod
    def typed(out):
        return Path(out).read_text(encoding="utf-8").splitlines() if os.path.exists(out) else []

    def probe(self, action, claude_pid, *text, bell=False):
        command = [PROBE, action, *text, "--claude-pid", str(claude_pid), "--cwd", self.project]
        if bell:
            command.append("--watch-bell")
        done = subprocess.run(command, env=self.desk.env(), capture_output=True, text=True,
                              timeout=60)
        self.assertEqual(done.returncode, 0, done.stderr)
        return json.loads(done.stdout)

    def test_xterm(self):
        windows, outs, pids = [], [], []
        for name in ("first", "second"):
            command, out = self.reader(name)
            term = self.desk.spawn(["xterm", "-u8", "-T", name, "-e", *command],
                                   stderr=subprocess.DEVNULL)
            windows.append(self.desk.wait_for_window(pid=term.pid))
            pids.append(self.pid(name))
            outs.append(out)
        self.assertTrue(self.desk.activate(windows[0]))

        jump = self.probe("jump", pids[1])
        self.assertEqual(jump, {"path": "x11", "window": windows[1], "certain": True,
                                "active": True})
        self.assertEqual(self.desk.active_window(), windows[1])

        # Typing raises the session's window first and reaches it alone.
        self.assertTrue(self.desk.activate(windows[0]))
        self.assertEqual(self.probe("send", pids[1], LINE + "\\r"), {"delivery": "xtest"})
        self.assertTrue(wait_until(lambda: self.typed(outs[1]) == [LINE]), self.typed(outs[1]))
        self.assertEqual(self.typed(outs[0]), [])

        # Through the app's service (its own worker thread) as the notch calls it.
        self.assertTrue(self.desk.activate(windows[0]))
        self.assertEqual(self.probe("service-jump", pids[1]), {"idle": True})
        self.assertEqual(self.desk.active_window(), windows[1])

        # A session whose process no window belongs to: nothing typed anywhere, the bell rings.
        self.assertTrue(self.desk.activate(windows[0]))
        orphan = self.desk.spawn(["sleep", "600"])
        self.assertEqual(self.probe("send", orphan.pid, "2\\r", bell=True),
                         {"delivery": "nothing", "bell": True})
        self.assertEqual(self.desk.active_window(), windows[0])
        self.assertEqual((self.typed(outs[0]), self.typed(outs[1])), ([], [LINE]))

    def test_kitty(self):
        socket = "unix:" + os.path.join(self.root, "kitty.sock")
        first, first_out = self.reader("first")
        second, second_out = self.reader("second")
        kitty = self.desk.spawn(["kitty", "-o", "allow_remote_control=yes", "--listen-on",
                                 socket, *first], stderr=subprocess.DEVNULL)
        self.desk.wait_for_window(pid=kitty.pid)
        self.desk.run(["kitty", "@", "--to", socket, "launch", "--type=os-window", *second])
        pids = [self.pid("first"), self.pid("second")]
        def kitty_windows():  # oldest first
            return [w for w in self.desk.windows() if self.desk.window_pid(w) == kitty.pid]
        windows = wait_until(lambda: len(kitty_windows()) == 2 and kitty_windows())
        self.assertTrue(windows, "kitty opened no second window")
        self.assertTrue(self.desk.activate(windows[0]))

        self.assertEqual(self.probe("jump", pids[1])["path"], "kitty")
        self.assertTrue(wait_until(lambda: self.desk.active_window() == windows[1]))
        # Typed by kitty itself, which reads backslashes as escapes: they must arrive as typed.
        self.assertEqual(self.probe("send", pids[1], LINE + "\\r"), {"delivery": "kitty"})
        self.assertTrue(wait_until(lambda: self.typed(second_out) == [LINE]),
                        self.typed(second_out))
        self.assertEqual(self.typed(first_out), [])


if __name__ == "__main__":
    unittest.main()
