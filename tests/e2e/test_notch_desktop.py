#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""The notch as a user meets it: the real hollowmere app on a private desktop (Xvfb, openbox, the
AT-SPI bus), the real Claude Code in tmux in interactive mode with our hooks installed by our
installer into a temporary HOME, answers given by clicking the notch's controls (found through
AT-SPI, clicked with XTest) or with its keys, a volume key against a real PulseAudio sink, and
the tray's menu opened by a right-click on the notch of a desktop without a tray.

Run inside tests/support/isolated.sh, one case per process:
    test_notch_desktop.py NotchDesktopTest.test_approve_deny_always_and_done
Needs HOLLOWMERE_BIN_DIR and HOLLOWMERE_SOURCE_DIR.
"""

import json
import os
import shutil
import subprocess
import sys
import tempfile
import threading
import time
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
sys.path.insert(0, os.path.join(os.path.dirname(HERE), "support"))
import claude_env  # noqa: E402
from desktop import Desktop, wait_until  # noqa: E402
from test_claude_code import ASK_COLOUR, BIN_DIR, E2ECase  # noqa: E402

# Long bounds: Claude Code, the app and the X server share two busy cores.
LONG = 90.0
KEY_FLASH = 1.8  # seconds the HUD stays after the last key


def bash(command):
    return [{"type": "tool_use", "name": "Bash",
             "input": {"command": command, "description": "Run " + command}}]


class NotchDesktopTest(E2ECase):
    def setUp(self):
        super().setUp()
        self.desk = Desktop()
        self.desk.start()
        self.addCleanup(self.desk.stop)
        self.addCleanup(self.save_screen, "at-end")

    def save_screen(self, name):
        """A picture of the screen beside the test's other files, for a person to look at."""
        if self.desk.display:
            self.desk.screenshot(os.path.join(self.root, name + ".png"))

    def start_app(self, **env):  # noqa: D102: the real app here, not the responder
        # A returning user: no onboarding window to take the screen's keys and controls.
        config = os.path.join(self.home, ".config", "Hollowmere")
        os.makedirs(config, exist_ok=True)
        with open(os.path.join(config, "Hollowmere.conf"), "w") as f:
            f.write("[General]\nonboarding.completed=true\n")
        self.app = self.desk.start_hollowmere(os.path.join(BIN_DIR, "hollowmere"), self.home,
                                              log=os.path.join(self.root, "hollowmere.log"),
                                              **env)
        return self.app

    def claude(self, script, prompt="Please do the task."):
        """The stand-in API and Claude Code in tmux; returns (api, tmux, screen)."""
        workdir = tempfile.mkdtemp(prefix="standin-", dir=self.root)
        api = claude_env.StandIn(script, workdir).__enter__()
        self.addCleanup(api.__exit__, None, None, None)
        tmux, screen = self.start_interactive_claude(api, prompt)
        return api, tmux, screen

    def click(self, name, role="push button"):
        # The notch grows into place: under load a button is reported while it still moves, and
        # a click at where it was misses. Click once two readings agree.
        def settled():
            first = self.app.find(name, role, timeout=LONG)
            time.sleep(0.3)
            second = self.app.find(name, role, timeout=LONG)
            same = (first.x, first.y, first.width, first.height) == \
                (second.x, second.y, second.width, second.height)
            return second if same else None
        self.desk.click(wait_until(settled, LONG))

    def done_row(self):
        """The session's row once the notch shows it done (it pops open on a stop)."""
        project = os.path.basename(self.project)
        return wait_until(lambda: self.app.showing(
            lambda c: c.name == project + ", Done"), LONG, 0.2)

    def test_approve_deny_always_and_done(self):
        self.start_app()
        api, _, screen = self.claude([bash("touch approved.txt"), bash("touch denied.txt"),
                                      bash("touch always.txt"), bash("touch again.txt"),
                                      [{"type": "text", "text": "All four tried."}]])
        self.click("Approve")
        self.assertTrue(wait_until(lambda: self.project_file("approved.txt"), LONG), screen())

        self.click("Deny")
        self.assertTrue(wait_until(lambda: len(api.tool_results()) >= 2, LONG), screen())
        denied = api.tool_results()[1]
        self.assertTrue(denied["is_error"], denied)
        self.assertIn("User denied", denied["text"])
        self.assertFalse(self.project_file("denied.txt"))

        # Always: the rule lands in the settings, and the next touch runs though nobody answers
        # (unanswered, Claude Code would stop at its own question in the terminal).
        self.click("Always")
        self.assertTrue(wait_until(lambda: self.project_file("always.txt"), LONG), screen())
        self.assertIn("Bash(touch:*)", self.settings()["permissions"]["allow"])
        self.assertTrue(wait_until(lambda: self.project_file("again.txt"), LONG), screen())
        # The file is there before Claude Code reports the tool's result to the model.
        self.assertTrue(wait_until(lambda: len(api.tool_results()) >= 4, LONG), screen())
        self.assertEqual([r["is_error"] for r in api.tool_results()], [False, True, False, False])

        # The stop: the notch opens on the finished session, its row reading "Done".
        self.assertIsNotNone(self.done_row(), self.app.controls())
        self.save_screen("done")

    def test_an_option_and_the_keyboard_answer(self):
        self.start_app()
        api, _, screen = self.claude(ASK_COLOUR[:1] + [bash("touch keyed.txt"),
                                                       [{"type": "text", "text": "Blue, keyed."}]])
        self.click("Blue")
        self.assertTrue(wait_until(lambda: api.tool_results(), LONG), screen())
        self.assertIn("Blue", api.tool_results()[0]["text"])
        self.assertNotIn("Red", api.tool_results()[0]["text"])

        # The keys act once the user clicked the notch: a click on the card, then A.
        self.app.find("Approve", "push button", timeout=LONG)
        card = self.app.showing(lambda c: c.name.startswith("Permission requested"))
        self.assertIsNotNone(card, self.app.controls())
        self.desk.click_at(card.x + card.width - 30, card.y + 12)
        # The window manager hands the panel the focus after the click: a key sent before that
        # would go to whatever still has it.
        app_active = lambda: self.desk.window_pid(self.desk.active_window()) == self.app.process.pid
        self.assertTrue(wait_until(app_active, LONG))
        self.desk.key("a")
        self.assertTrue(wait_until(lambda: self.project_file("keyed.txt"), LONG), screen())

    def test_typing_elsewhere_keeps_every_key(self):
        """A prompt that appears while the user types in another window takes none of the keys:
        they all land there, and the prompt still waits."""
        typed = os.path.join(self.root, "typed.txt")
        reader = 'while IFS= read -r l; do printf "%%s\\n" "$l" >> "%s"; done' % typed
        term = self.desk.spawn(["xterm", "-T", "elsewhere", "-e", "sh", "-c", reader])
        window = self.desk.wait_for_window(pid=term.pid)
        self.assertTrue(self.desk.activate(window))
        self.start_app()
        # Lines full of the card's keys (a, d, j), typed until the card has been up a while.
        lines, stop = [], threading.Event()

        def type_lines():
            while not stop.is_set():
                line = "ad ja line %d" % len(lines)
                self.desk.type_text(line + "\n")
                lines.append(line)

        typist = threading.Thread(target=type_lines)
        typist.start()
        try:
            _, _, screen = self.claude([bash("touch waited.txt"),
                                        [{"type": "text", "text": "Done."}]])
            self.app.find("Approve", "push button", timeout=LONG)
            time.sleep(2)
        finally:
            stop.set()
            typist.join()
        self.save_screen("typing")
        self.assertTrue(wait_until(lambda: os.path.exists(typed) and
                                   open(typed).read().splitlines() == lines, LONG),
                        (lines, open(typed).read() if os.path.exists(typed) else None))
        self.assertEqual(self.desk.active_window(), window)
        self.assertFalse(self.project_file("waited.txt"))
        self.click("Approve")
        self.assertTrue(wait_until(lambda: self.project_file("waited.txt"), LONG), screen())

    def test_a_volume_key_flashes_the_hud_in_place_of_the_sessions(self):
        sink = self.desk.start_pulseaudio()
        self.desk.pactl("set-sink-volume", sink, "50%")
        self.session_from_a_transcript()
        self.start_app()
        project = os.path.basename(self.project)
        compact = self.app.find("Claude Code, 1 session", "push button", timeout=LONG)
        self.assertIsNotNone(compact)

        self.desk.key("XF86AudioRaiseVolume")
        pressed = time.monotonic()
        hud = self.app.find("Volume 56%", timeout=LONG)
        self.assertIsNotNone(hud)
        self.assertEqual(self.desk.sink_volume(sink), 56)
        self.save_screen("hud")
        # The session notch makes way (its hide animation may still be running at this point).
        self.assertTrue(wait_until(lambda: self.app.showing(
            lambda c: c.name.startswith("Claude Code")) is None, KEY_FLASH / 2, 0.05),
            self.app.controls())
        # The session notch comes back once the flash is over, not before.
        back = wait_until(lambda: self.app.showing(
            lambda c: c.name == "Claude Code, 1 session"), LONG, 0.1)
        self.assertIsNotNone(back, self.app.controls())
        self.assertGreaterEqual(time.monotonic() - pressed, KEY_FLASH)
        self.assertIsNone(self.app.showing(lambda c: c.name.startswith("Volume")))
        self.assertTrue(project)

        # No tray host on this desktop: a right-click on the notch opens the tray's menu there,
        # its items read as the keyboard walks them.
        self.assertIn("no tray host", self.app.log())
        focus = self.desk.focus_log()
        self.desk.click(self.app.find("Claude Code, 1 session", "push button"), button=3)
        for title in ("Settings", "Start at login", "Quit Hollowmere"):
            self.desk.key("Down")
            focus.wait_for(title, "menu item")
        self.save_screen("notch-menu")
        self.desk.key("Escape")
        focus.stop()
        self.assertIsNone(self.app.process.poll())

    def session_from_a_transcript(self):
        """A live idle session as the scanner finds one: a transcript with a finished turn and
        a process named claude working in the project."""
        folder = os.path.dirname(claude_env.transcript_path(self.home, self.project, "x"))
        os.makedirs(folder, exist_ok=True)
        lines = [
            {"type": "user", "cwd": self.project, "sessionId": "s-hud",
             "message": {"role": "user", "content": "Tidy the readme"}},
            {"type": "assistant", "cwd": self.project, "sessionId": "s-hud",
             "message": {"id": "m1", "role": "assistant", "model": "claude-sonnet-4-5",
                         "stop_reason": "end_turn",
                         "content": [{"type": "text", "text": "Tidied."}]}},
        ]
        with open(os.path.join(folder, "s-hud.jsonl"), "w", encoding="utf-8") as f:
            f.writelines(json.dumps(line) + "\n" for line in lines)
        fake = os.path.join(self.root, "bin", "claude")
        os.makedirs(os.path.dirname(fake), exist_ok=True)
        shutil.copy("/bin/sleep", fake)
        claude = subprocess.Popen([fake, "1000"], cwd=self.project)
        self.addCleanup(claude.wait)
        self.addCleanup(claude.kill)


if __name__ == "__main__":
    unittest.main()
