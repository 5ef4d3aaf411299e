#!/usr/bin/python3
# SPDX-License-Identifier: MIT
# The notch as a user meets it: the real app on a private desktop (tests/support/desktop.py), the
# real Claude Code in tmux with our hooks installed into a temporary HOME, answers given by
# clicking the notch's controls (AT-SPI, XTest) or with its keys, a volume key against a real
# PulseAudio sink, and the tray's menu on the notch of a desktop without a tray. One case per
# process, inside tests/support/isolated.sh:
#     test_notch_desktop.py NotchDesktopTest.test_every_answer_from_the_notch

import json
import os
import shutil
import subprocess
import sys
import threading
import time
import unittest
from pathlib import Path

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
sys.path.insert(0, os.path.join(os.path.dirname(HERE), "support"))
import claude_env  # noqa: E402
from desktop import Desktop, FocusLog, wait_until  # noqa: E402
from test_claude_code import ASK_COLOUR, BIN_DIR, E2ECase, bash, text  # noqa: E402

LONG = 90.0  # Claude Code, the app and the X server share two busy cores
KEY_FLASH = 1.8  # seconds the HUD stays after the last key


class NotchDesktopTest(E2ECase):
    def setUp(self):
        super().setUp()
        self.desk = Desktop()
        self.desk.start()
        self.addCleanup(self.desk.stop)
        self.addCleanup(self.save_screen, "at-end")

    def save_screen(self, name):
        self.desk.screenshot(os.path.join(self.root, name + ".png"))

    def start_app(self):  # noqa: D102: the real app here, not the responder
        # A returning user: no onboarding window to take the screen's keys and controls.
        config = os.path.join(self.home, ".config", "Hollowmere")
        os.makedirs(config, exist_ok=True)
        with open(os.path.join(config, "Hollowmere.conf"), "w") as f:
            f.write("[General]\nonboarding.completed=true\n")
        self.app = self.desk.start_hollowmere(os.path.join(BIN_DIR, "hollowmere"), self.home,
                                              log=os.path.join(self.root, "hollowmere.log"))

    def claude(self, script):
        api = self.stand_in(script).__enter__()
        self.addCleanup(api.__exit__, None, None, None)
        return api, self.interactive_claude(api, "Please do the task.")[1]

    def click(self, name):
        self.desk.click(self.app.settled(name, "push button", LONG))

    def test_every_answer_from_the_notch(self):
        self.start_app()
        api, screen = self.claude(ASK_COLOUR[:1] + [
            bash("touch approved.txt"), bash("touch denied.txt"), bash("touch always.txt"),
            bash("touch again.txt"), bash("mkdir keyed"), text("All tried.")])
        self.click("Blue")
        self.assertTrue(wait_until(api.tool_results, LONG), screen())
        self.assertIn("Blue", api.tool_results()[0]["text"])
        self.assertNotIn("Red", api.tool_results()[0]["text"])

        self.click("Approve")
        self.assertTrue(wait_until(lambda: self.project_file("approved.txt"), LONG), screen())
        self.click("Deny")
        self.assertTrue(wait_until(lambda: len(api.tool_results()) >= 3, LONG), screen())
        self.assertIn("User denied", api.tool_results()[2]["text"])
        # Always: the rule lands in the settings, and the next touch runs though nobody answers
        # (unanswered, Claude Code would stop at its own question in the terminal).
        self.click("Always")
        self.assertTrue(wait_until(lambda: self.project_file("again.txt"), LONG), screen())
        self.assertIn("Bash(touch:*)", self.settings()["permissions"]["allow"])

        # The keys act once the user clicked the notch: a click on the card, then A.
        card = wait_until(lambda: self.app.showing(
            lambda c: c.name.startswith("Permission requested")), LONG, 0.2)
        self.assertIsNotNone(card, self.app.controls())
        card = self.app.settled(card.name, card.role, LONG)
        self.desk.click_at(card.x + card.width - 30, card.y + 12)
        # The window manager hands the panel the focus after the click: a key sent before that
        # would go to whatever still has it.
        self.assertTrue(wait_until(lambda: self.desk.window_pid(self.desk.active_window()) ==
                                   self.app.process.pid, LONG))
        self.desk.key("a")
        self.assertTrue(wait_until(lambda: self.project_file("keyed"), LONG), screen())
        self.assertTrue(wait_until(lambda: len(api.tool_results()) >= 6, LONG), screen())
        self.assertEqual([r["is_error"] for r in api.tool_results()],
                         [False, False, True, False, False, False])
        self.assertFalse(self.project_file("denied.txt"))

        # The stop: the notch opens on the finished session, its row reading "Done".
        project = os.path.basename(self.project)
        self.assertIsNotNone(wait_until(lambda: self.app.showing(
            lambda c: c.name == project + ", Done"), LONG, 0.2), self.app.controls())
        self.save_screen("done")

    def test_typing_elsewhere_keeps_every_key(self):
        # A prompt that appears while the user types in another window takes none of the keys:
        # they all land there, and the prompt still waits.
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
                lines.append("ad ja line %d" % len(lines))
                self.desk.run(["xdotool", "type", "--delay", "20", lines[-1] + "\n"])

        typist = threading.Thread(target=type_lines)
        typist.start()
        try:
            _, screen = self.claude([bash("touch waited.txt"), text("Done.")])
            self.app.find("Approve", "push button", timeout=LONG)
            time.sleep(2)
        finally:
            stop.set()
            typist.join()

        def typed_lines():
            return Path(typed).read_text().splitlines() if os.path.exists(typed) else None
        self.assertTrue(wait_until(lambda: typed_lines() == lines, LONG), (lines, typed_lines()))
        self.assertEqual(self.desk.active_window(), window)
        self.assertFalse(self.project_file("waited.txt"))
        self.click("Approve")
        self.assertTrue(wait_until(lambda: self.project_file("waited.txt"), LONG), screen())

    def test_a_volume_key_flashes_the_hud_in_place_of_the_sessions(self):
        sink = self.desk.start_pulseaudio()
        self.desk.pactl("set-sink-volume", sink, "50%")
        self.session_from_a_transcript()
        self.start_app()
        self.app.find("Claude Code, 1 session", "push button", timeout=LONG)

        self.desk.key("XF86AudioRaiseVolume")
        pressed = time.monotonic()
        self.app.find("Volume 56%", timeout=LONG)
        # The session notch makes way (its hide animation may still be running at this point)
        # and comes back once the flash is over, not before. Looked at first: the flash is short.
        self.assertTrue(wait_until(lambda: self.app.showing(
            lambda c: c.name.startswith("Claude Code")) is None, KEY_FLASH / 2, 0.05),
            self.app.controls())
        self.save_screen("hud")
        self.assertEqual(self.desk.pactl("get-sink-volume", sink).split("/")[1].strip(), "56%")
        back = wait_until(lambda: self.app.showing(
            lambda c: c.name == "Claude Code, 1 session"), LONG, 0.1)
        self.assertIsNotNone(back, self.app.controls())
        self.assertGreaterEqual(time.monotonic() - pressed, KEY_FLASH)
        self.assertIsNone(self.app.showing(lambda c: c.name.startswith("Volume")))

        # No tray host on this desktop: a right-click on the notch opens the tray's menu there,
        # its items read as the keyboard walks them.
        self.assertIn("no tray host", self.app.log())
        focus = FocusLog(self.desk)
        self.desk.click(back, button=3)
        for title in ("Settings", "Start at login", "Quit Hollowmere"):
            self.desk.key("Down")
            focus.wait_for(title, "menu item")
        self.save_screen("notch-menu")
        self.desk.key("Escape")
        focus.stop()
        self.assertIsNone(self.app.process.poll())

    def session_from_a_transcript(self):
        # As the scanner finds one: a finished turn, and a process named claude in the project.
        path = claude_env.transcript_path(self.home, self.project, "s-hud")
        os.makedirs(os.path.dirname(path), exist_ok=True)
        lines = [
            {"type": "user", "message": {"role": "user", "content": "Tidy the readme"}},
            {"type": "assistant", "message": {
                "id": "m1", "role": "assistant", "model": "claude-sonnet-4-5",
                "stop_reason": "end_turn", "content": [{"type": "text", "text": "Tidied."}]}},
        ]
        with open(path, "w", encoding="utf-8") as f:
            f.writelines(json.dumps(dict(line, cwd=self.project, sessionId="s-hud")) + "\n"
                         for line in lines)
        fake = os.path.join(self.root, "bin", "claude")
        os.makedirs(os.path.dirname(fake))
        shutil.copy("/bin/sleep", fake)
        claude = subprocess.Popen([fake, "1000"], cwd=self.project)
        self.addCleanup(claude.wait)
        self.addCleanup(claude.kill)


if __name__ == "__main__":
    unittest.main()
