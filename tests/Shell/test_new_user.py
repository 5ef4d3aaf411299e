#!/usr/bin/python3
# SPDX-License-Identifier: MIT
# Hollowmere as a new user meets it on a private desktop with a tray (tests/support/desktop.py):
# the onboarding walked through by clicking controls found by their accessible names, the real
# Claude Code showing up on its demo step, the tray menu driven with the keyboard, a second
# launch, and the Connection tab over a settings file that others edit. Pictures land in
# HOLLOWMERE_PICTURES (default: the test's folder). One case per process, under
# tests/support/isolated.sh with /usr/bin/python3.

import configparser
import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(os.path.dirname(HERE), "support"))
sys.path.insert(0, os.path.join(os.path.dirname(HERE), "e2e"))
import claude_env  # noqa: E402
from desktop import Desktop, FocusLog, wait_until  # noqa: E402

BIN_DIR = os.path.realpath(os.environ.get("HOLLOWMERE_BIN_DIR", ""))
APP = os.path.join(BIN_DIR, "hollowmere")
HOOK = os.path.join(BIN_DIR, "hollowmere-hook")
WAIT = 45  # a busy 2-core machine starts Qt Quick, the AT-SPI bridge and Node slowly

# The user's own settings, which Hollowmere must keep byte for byte until asked to change them.
USERS_SETTINGS = b'{\n  "theme": "dark",\n  "permissions": {"allow": ["Read"]}\n}\n'


class NewUserTest(unittest.TestCase):
    def setUp(self):
        self.assertTrue(os.access(APP, os.X_OK), "%s is not built" % APP)
        self.root = os.path.realpath(tempfile.mkdtemp(prefix="hollowmere-newuser-"))
        self.addCleanup(shutil.rmtree, self.root, ignore_errors=True)
        self.pictures = os.environ.get("HOLLOWMERE_PICTURES") or self.root
        os.makedirs(self.pictures, exist_ok=True)
        self.home = os.path.join(self.root, "home")
        self.project = os.path.join(self.root, "project")
        os.makedirs(self.project)
        claude_env.prepare_home(self.home, [self.project])
        self.settings = os.path.join(self.home, ".claude", "settings.json")
        with open(self.settings, "wb") as f:
            f.write(USERS_SETTINGS)
        self.config = os.path.join(self.home, ".config")
        self.conf = os.path.join(self.config, "Hollowmere", "Hollowmere.conf")
        self.desk = Desktop(tray=True, size="1280x800")
        self.desk.start()
        self.addCleanup(self.desk.stop)

    def start_app(self, name="app", completed=False):
        if completed:
            os.makedirs(os.path.dirname(self.conf))
            with open(self.conf, "w") as f:
                f.write("[General]\nonboarding.completed=true\n")
        app = self.desk.start_hollowmere(APP, self.home, notch=None,
                                         log=os.path.join(self.root, name + ".log"))
        self.addCleanup(app.stop)
        return app

    def command(self, *args):
        done = subprocess.run([APP, *args], capture_output=True, text=True, timeout=WAIT,
                              env=self.desk.env(HOME=self.home, XDG_CONFIG_HOME=self.config))
        self.assertEqual(done.returncode, 0, done.stderr)

    def open_tray_menu(self):
        # Right-clicks the docked icon; the focus log reads the menu's items.
        focus = FocusLog(self.desk)
        x, y, width, height = self.desk.tray_icons()[0]
        self.desk.click_at(x + width // 2, y + height // 2, button=3)
        return focus

    def prefs(self):
        parser = configparser.RawConfigParser()
        parser.optionxform = str
        parser.read(self.conf)
        return dict(parser["General"]) if parser.has_section("General") else {}

    def settings_json(self):
        return Path(self.settings).read_bytes()

    def snap(self, name):
        self.desk.screenshot(os.path.join(self.pictures, "newuser-%s.png" % name))

    def press(self, app, name, role="push button"):
        self.desk.click(app.settled(name, role, WAIT))

    @staticmethod
    def see(app, *names):
        for name in names:
            app.find(name, timeout=WAIT)

    def gone(self, app, name):
        return wait_until(lambda: not app.showing(lambda c: c.name == name), WAIT)

    # First start: the onboarding, and hooks only once the user asks for them.
    def test_first_start_walks_through_onboarding(self):
        app = self.start_app()
        app.find("Welcome to Hollowmere", timeout=WAIT)
        self.snap("1-welcome")
        self.press(app, "Get started")

        self.see(app, "Connect to Claude Code", "PreToolUse", "Notification", "Stop", HOOK)
        self.snap("2-hooks")
        self.assertEqual(self.settings_json(), USERS_SETTINGS)
        self.press(app, "Install hooks")

        app.find("Permissions & preferences", timeout=WAIT)
        settings = json.loads(self.settings_json())
        self.assertEqual(settings["theme"], "dark")
        for event in ("PreToolUse", "Notification", "Stop"):
            self.assertIn(HOOK, [h["command"] for entry in settings["hooks"][event]
                                 for h in entry["hooks"]], event)
        self.assertTrue(os.path.exists(self.settings + ".hollowmere-backup"))
        # X11 needs no grant: the row says so and the way on is open.
        app.find("Granted", timeout=WAIT)
        self.assertIsNone(app.showing(lambda c: c.name == "Open System Settings"))
        self.snap("3-permissions")
        self.press(app, "Continue")

        self.see(app, "Try it out", "Waiting for Claude…", "I'll do this later")
        self.snap("4-demo-waiting")
        # The user opens a terminal and starts Claude Code there; it stays open.
        script = [[{"type": "text", "text": "Hello from the stand-in."}]]
        api = claude_env.StandIn(script, self.root).__enter__()
        self.addCleanup(api.__exit__, None, None, None)
        tmux, _ = claude_env.start_tmux(self.root, self.home, self.project, api.port, "Say hello.")
        self.addCleanup(subprocess.run, tmux + ["kill-server"], capture_output=True)
        app.find("Session detected", timeout=90)
        self.see(app, "1 session detected", "You're all set!")
        self.snap("5-demo-detected")
        self.assertNotIn("onboarding.completed", self.prefs())
        self.press(app, "Open Hollowmere")

        self.assertTrue(self.gone(app, "You're all set!"), "the onboarding window stayed")
        self.assertTrue(wait_until(lambda: self.prefs().get("onboarding.completed") == "true"))
        app.process.terminate()
        self.assertEqual(app.process.wait(WAIT), 0, app.log())

        again = self.start_app("again")
        self.assertTrue(wait_until(
            lambda: "Hollowmere: ok: hooks already installed" in again.log(), WAIT), again.log())
        self.assertNotIn("onboarding opened", again.log())
        self.assertIsNone(again.showing(lambda c: c.name == "Welcome to Hollowmere"))

    # The tray menu with the keyboard, a tray host that comes and goes, a second launch, and
    # the Connection tab following the settings file as others edit it.
    def test_tray_menu_second_launch_and_connection_tab(self):
        app = self.start_app(completed=True)
        backup = self.settings + ".hollowmere-backup"
        self.assertTrue(wait_until(lambda: os.path.exists(backup), WAIT), app.log())
        self.assertTrue(wait_until(lambda: "tray icon shown" in app.log(), WAIT), app.log())

        # A panel that restarts: the icon goes with it and docks again in the new one.
        self.desk.stop_tray()
        self.assertTrue(wait_until(lambda: "no tray host" in app.log(), WAIT), app.log())
        self.desk.start_tray()
        self.assertTrue(wait_until(lambda: app.log().count("tray icon shown") == 2, WAIT),
                        app.log())
        self.assertTrue(wait_until(self.desk.tray_icons, WAIT), "no icon docked in trayer")
        self.snap("tray")

        autostart = os.path.join(self.config, "autostart", "hollowmere.desktop")
        self.assertFalse(os.path.exists(autostart))
        for title, after in (("Start at login", True), ("Disable start at login", False)):
            focus = self.open_tray_menu()
            # Items are read as they take focus; the first is Settings, then start at login.
            self.desk.key("Down")
            first = focus.wait_for("Settings", "menu item")
            self.desk.key("Down")
            focus.wait_for(title, "menu item", after=first)
            if after:
                self.snap("tray-menu")
            self.desk.key("Return")
            focus.stop()
            self.assertTrue(wait_until(lambda: os.path.exists(autostart) == after, WAIT), title)
        self.assertIsNone(app.process.poll())

        self.command()  # a second launch hands over to the running app
        app.find("Settings", "heading", timeout=WAIT)
        self.snap("settings-from-second-launch")
        self.press(app, "Connection", "page tab")
        app.find("Uninstall hooks", "push button", timeout=WAIT)

        rule = "Bash(git status:*)"
        self.command("rules", "add", rule)
        self.assertTrue(wait_until(lambda: len(self.rows(app, rule)) == 1, WAIT),
                        app.controls())
        # The same rule once more, by hand in an editor: one row, and one Revoke, for each.
        settings = json.loads(self.settings_json())
        settings["permissions"]["allow"].append(rule)
        with open(self.settings, "w") as f:
            json.dump(settings, f, indent=2)
        self.assertTrue(wait_until(lambda: len(self.rows(app, rule)) == 2, WAIT),
                        app.controls())
        self.snap("connection-rules")
        row = self.rows(app, rule)[-1]
        revoke = min((c for c in app.controls() if c.name == "Revoke"),
                     key=lambda c: abs(c.centre()[1] - row.centre()[1]))
        self.desk.click(revoke)
        self.assertTrue(wait_until(lambda: len(self.rows(app, rule)) == 1, WAIT))
        allow = json.loads(self.settings_json())["permissions"]["allow"]
        self.assertEqual(allow.count(rule), 1)

        in_tab = app.settled("Restore", "push button", WAIT)
        self.desk.click(in_tab)
        app.find("Restore Claude Code settings from backup?", timeout=WAIT)
        self.snap("connection-restore-confirm")
        confirm = [c for c in app.controls() if c.name == "Restore" and c.role == "push button"
                   and c.centre() != in_tab.centre()]
        self.assertEqual(len(confirm), 1, app.controls())
        self.desk.click(confirm[0])
        self.assertTrue(self.gone(app, "Restore original settings.json"))
        self.assertEqual(self.settings_json(), USERS_SETTINGS)
        self.assertFalse(os.path.exists(backup))
        app.find("Install hooks", "push button", timeout=WAIT)
        self.snap("connection-restored")

        # Quit from the menu: an orderly end, the preferences whole.
        focus = self.open_tray_menu()
        for title in ("Settings", "Start at login", "Quit Hollowmere"):
            self.desk.key("Down")
            focus.wait_for(title, "menu item")
        self.desk.key("Return")
        focus.stop()
        self.assertEqual(app.process.wait(WAIT), 0, app.log())
        self.assertEqual(self.prefs().get("onboarding.completed"), "true")

    @staticmethod
    def rows(app, rule):
        return [c for c in app.controls() if c.name == rule]


if __name__ == "__main__":
    unittest.main(verbosity=2)
