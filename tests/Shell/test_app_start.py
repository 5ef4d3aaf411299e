#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""The app as it starts without a command, over a temporary HOME, XDG_CONFIG_HOME and runtime
folder: the onboarding decision as a table, hooks written only once onboarding is done, a blocked
hook socket or unreadable files that are logged but never stop it, one instance per user that
survives a crash, and an orderly end on SIGTERM. Run under tests/support/isolated.sh (it owns
/tmp/hollowmere.sock)."""

import configparser
import json
import os
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import unittest

BIN_DIR = os.environ["HOLLOWMERE_BIN_DIR"]
SOCKET = "/tmp/hollowmere.sock"
WAIT = 30  # generous: start-up on a busy 2-core machine
HOOK = os.path.join(os.path.realpath(BIN_DIR), "hollowmere-hook")


def wait_for(predicate, what, app=None, timeout=WAIT):
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        if predicate():
            return
        if app is not None and app.poll() is not None:
            raise AssertionError("the app exited (%d) while waiting for %s" % (app.returncode, what))
        time.sleep(0.05)
    raise AssertionError("timed out waiting for " + what)


def exchange(event):
    with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as s:
        s.settimeout(WAIT)
        s.connect(SOCKET)
        s.sendall(json.dumps(event).encode() + b"\n")
        answer = b""
        while not answer.endswith(b"\n"):
            chunk = s.recv(4096)
            if not chunk:
                break
            answer += chunk
    return json.loads(answer)


def listening():
    try:
        with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as s:
            s.connect(SOCKET)
        return True
    except OSError:
        return False


class AppStart(unittest.TestCase):
    def setUp(self):
        self.root = tempfile.mkdtemp(prefix="hollowmere-start-")
        self.addCleanup(shutil.rmtree, self.root, True)
        self.home = os.path.join(self.root, "home")
        self.config = os.path.join(self.root, "config")
        self.runtime = os.path.join(self.root, "runtime")
        os.makedirs(os.path.join(self.home, ".claude"))
        os.makedirs(os.path.join(self.config, "Hollowmere"))
        os.mkdir(self.runtime, 0o700)
        self.settings = os.path.join(self.home, ".claude", "settings.json")
        self.conf = os.path.join(self.config, "Hollowmere", "Hollowmere.conf")
        self.apps = []

    def tearDown(self):
        for app in self.apps:
            if app.poll() is None:
                app.terminate()
                app.wait(WAIT)
        if os.path.lexists(SOCKET):
            if os.path.isdir(SOCKET):
                shutil.rmtree(SOCKET)
            else:
                os.unlink(SOCKET)

    def env(self):
        env = {k: v for k, v in os.environ.items()
               if k not in ("DISPLAY", "WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS")}
        env.update(HOME=self.home, XDG_CONFIG_HOME=self.config, XDG_RUNTIME_DIR=self.runtime,
                   QT_QPA_PLATFORM="offscreen")
        return env

    def start(self, name="app"):
        log = open(os.path.join(self.root, name + ".log"), "w+")
        self.addCleanup(log.close)
        app = subprocess.Popen([os.path.join(BIN_DIR, "hollowmere")], env=self.env(),
                               stdout=log, stderr=subprocess.STDOUT)
        app.log_path = log.name
        self.apps.append(app)
        return app

    def logged(self, app):
        with open(app.log_path) as f:
            return f.read()

    def command(self, *args):
        return subprocess.run([os.path.join(BIN_DIR, "hollowmere"), *args], env=self.env(),
                              capture_output=True, text=True, timeout=WAIT)

    def write_conf(self, text):
        with open(self.conf, "w") as f:
            f.write(text)

    def prefs(self):
        parser = configparser.RawConfigParser()
        parser.optionxform = str
        parser.read(self.conf)
        return dict(parser["General"]) if parser.has_section("General") else {}

    def settings_bytes(self):
        if not os.path.exists(self.settings):
            return None
        with open(self.settings, "rb") as f:
            return f.read()

    # The onboarding decision, row by row: what is on disk before, and what start-up does.
    def test_onboarding_decision_table(self):
        autostart = os.path.join(self.config, "autostart", "hollowmere.desktop")
        rows = [
            # name, conf, hooks already installed, autostart file, expected
            ("fresh, nothing set up", "", False, False,
             dict(onboarding=0, completed=None, hooks_written=False)),
            ("fresh, everything already set up", "", True, True,
             dict(onboarding=None, completed="true", log="Hollowmere: ok: hooks already installed")),
            ("hooks there, no start at login", "", True, False,
             dict(onboarding=0, completed=None, hooks_written=False)),
            ("completed", "onboarding.completed=true\n", False, False,
             dict(onboarding=None, completed="true", hooks_written=True,
                  log="Hollowmere: installed hooks → " + HOOK)),
            ("resume while completed", "onboarding.completed=true\nonboarding.resumeAt=2\n",
             False, False, dict(onboarding=2, completed="true", hooks_written=False)),
        ]
        for name, conf, hooks, agent, expected in rows:
            with self.subTest(name):
                for path in (self.settings, self.conf, autostart):
                    if os.path.exists(path):
                        os.remove(path)
                self.write_conf("[General]\n" + conf)
                if hooks:
                    self.assertEqual(self.command("hooks", "install").returncode, 0)
                if agent:
                    os.makedirs(os.path.dirname(autostart), exist_ok=True)
                    with open(autostart, "w") as f:
                        f.write("[Desktop Entry]\nType=Application\nName=x\nExec=true\n")
                before = self.settings_bytes()

                app = self.start(name.replace(" ", "-").replace(",", ""))
                wait_for(listening, "the hook server", app)
                log = self.logged(app)
                if expected["onboarding"] is None:
                    self.assertNotIn("onboarding opened", log)
                else:
                    wait_for(lambda: "onboarding opened at step %d" % expected["onboarding"]
                             in self.logged(app), "onboarding", app)
                if "log" in expected:
                    wait_for(lambda: expected["log"] in self.logged(app), expected["log"], app)
                app.terminate()
                self.assertEqual(app.wait(WAIT), 0)

                prefs = self.prefs()
                self.assertEqual(prefs.get("onboarding.completed"), expected["completed"])
                self.assertNotIn("onboarding.resumeAt", prefs)  # read once and removed
                if "hooks_written" in expected:
                    # Before onboarding completes, the settings file is never touched.
                    self.assertEqual(self.settings_bytes() != before, expected["hooks_written"])

    def test_store_answers_with_the_users_allow_rules(self):
        with open(self.settings, "w") as f:
            json.dump({"permissions": {"allow": ["Read"]}, "theme": "dark"}, f)
        app = self.start()
        wait_for(listening, "the hook server", app)
        read = {"kind": "permissionRequest", "sessionId": "s1", "cwd": "/tmp", "tool": "Read",
                "toolInput": json.dumps({"file_path": "/etc/hosts"}), "timestamp": 0}
        self.assertEqual(exchange(read), {"decision": "approve"})
        stop = {"kind": "stop", "sessionId": "s1", "cwd": "/tmp", "timestamp": 1}
        self.assertEqual(exchange(stop), {"decision": "passthrough"})
        self.assertIsNone(app.poll())

    def test_a_settings_file_it_cannot_rewrite_is_left_alone_with_one_line(self):
        self.write_conf("[General]\nonboarding.completed=true\n")
        deep = b'{"x": ' + b"[" * 100000 + b"]" * 100000 + b"}"
        with open(self.settings, "wb") as f:
            f.write(deep)
        app = self.start()
        wait_for(listening, "the hook server", app)
        stop = {"kind": "stop", "sessionId": "s1", "cwd": "/tmp", "timestamp": 1}
        self.assertEqual(exchange(stop), {"decision": "passthrough"})
        lines = [line for line in self.logged(app).splitlines() if "settings.json" in line]
        self.assertEqual(len(lines), 1, self.logged(app))
        self.assertIn("Hollowmere: failed to write settings: ", lines[0])
        self.assertIn("nests deeper than 64 levels", lines[0])
        self.assertEqual(self.settings_bytes(), deep)

    def test_blocked_socket_is_logged_and_the_app_keeps_running(self):
        os.makedirs(os.path.join(SOCKET, "in-the-way"))
        app = self.start()
        wait_for(lambda: "Hollowmere: failed to start hook server: " in self.logged(app),
                 "the failure line", app)
        wait_for(lambda: "onboarding opened" in self.logged(app), "onboarding", app)
        self.assertIsNone(app.poll(), self.logged(app))

    # Files that cannot be read: one line each, and the app starts.
    def test_unreadable_files_never_stop_start_up(self):
        rows = [
            ("preferences that do not parse", "conf-garbage",
             "do not parse; kept them as"),
            ("preferences that are a folder", "conf-folder", "cannot read the preferences"),
            ("settings with a number it cannot write back", "settings-number",
             "Hollowmere: failed to write settings: "),
        ]
        for name, kind, line in rows:
            with self.subTest(name):
                for path in (self.conf, self.settings):
                    if os.path.isdir(path):
                        shutil.rmtree(path)
                    elif os.path.exists(path):
                        os.remove(path)
                for stale in os.listdir(os.path.dirname(self.conf)):
                    os.remove(os.path.join(os.path.dirname(self.conf), stale))
                if kind == "conf-garbage":
                    with open(self.conf, "wb") as f:
                        f.write(b"\x00\xff[[[ broken\n=\n[General\nonboarding.completed")
                elif kind == "conf-folder":
                    os.mkdir(self.conf)
                else:
                    self.write_conf("[General]\nonboarding.completed=true\n")
                    with open(self.settings, "w") as f:
                        f.write('{"n": 123456789012345678901234567890}')
                before = self.settings_bytes()
                app = self.start(kind)
                wait_for(lambda: line in self.logged(app), repr(line), app)
                wait_for(listening, "the hook server", app)
                app.terminate()
                self.assertEqual(app.wait(WAIT), 0)
                self.assertEqual(self.settings_bytes(), before)
                if kind == "conf-garbage":
                    kept = [n for n in os.listdir(os.path.dirname(self.conf))
                            if n.startswith("Hollowmere.conf.unreadable-")]
                    self.assertEqual(len(kept), 1)

    # A second launch asks the running app to show Settings and leaves at once, exit 0.
    def test_second_launch_hands_over(self):
        first = self.start("first")
        wait_for(listening, "the hook server", first)
        second = self.start("second")
        self.assertEqual(second.wait(WAIT), 0, self.logged(second))
        self.assertNotIn("hook server", self.logged(second))
        self.assertIsNone(first.poll())

    # A crash leaves the lock and the socket behind: the next launch takes them over.
    def test_crash_leaves_nothing_that_blocks_the_next_start(self):
        crashed = self.start("crashed")
        wait_for(listening, "the hook server", crashed)
        crashed.kill()
        crashed.wait(WAIT)
        self.assertTrue(os.path.exists(os.path.join(self.runtime, "hollowmere.lock")))
        self.assertTrue(os.path.exists(os.path.join(self.runtime, "hollowmere.instance")))
        os.unlink(SOCKET)
        again = self.start("again")
        wait_for(listening, "the hook server", again)
        third = self.start("third")
        self.assertEqual(third.wait(WAIT), 0)  # and the new one answers later launches
        self.assertIsNone(again.poll())

    # SIGTERM (logout, systemctl stop) ends it as Quit does: exit 0, preferences whole.
    def test_terminate_is_an_orderly_quit(self):
        self.write_conf("[General]\nonboarding.completed=true\nsoundsEnabled=false\n")
        app = self.start()
        wait_for(listening, "the hook server", app)
        app.send_signal(signal.SIGTERM)
        self.assertEqual(app.wait(WAIT), 0)
        self.assertEqual(self.prefs().get("soundsEnabled"), "false")


if __name__ == "__main__":
    unittest.main(verbosity=2)
