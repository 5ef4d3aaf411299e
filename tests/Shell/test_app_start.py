#!/usr/bin/python3
# SPDX-License-Identifier: MIT
# The app as it starts without a command, over a temporary HOME, XDG_CONFIG_HOME and runtime
# folder: the onboarding decision, hooks written only once onboarding is done, files it cannot
# read or rewrite logged but never in its way, and one instance per user that survives a crash.
# Run under tests/support/isolated.sh (it owns /tmp/hollowmere.sock).

import configparser
import json
import os
import shutil
import socket
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

BIN_DIR = os.environ["HOLLOWMERE_BIN_DIR"]
SOCKET = "/tmp/hollowmere.sock"
WAIT = 30  # generous: start-up on a busy 2-core machine
COMPLETED = "[General]\nonboarding.completed=true\n"


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
    with socket.socket(socket.AF_UNIX) as s:
        s.settimeout(WAIT)
        s.connect(SOCKET)
        s.sendall(json.dumps(event).encode() + b"\n")
        return json.loads(s.makefile("rb").readline())


def listening():
    with socket.socket(socket.AF_UNIX) as s:
        return s.connect_ex(SOCKET) == 0


def write(path, data):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb" if isinstance(data, bytes) else "w") as f:
        f.write(data)


class AppStart(unittest.TestCase):
    def setUp(self):
        self.root = tempfile.mkdtemp(prefix="hollowmere-start-")
        self.addCleanup(shutil.rmtree, self.root, True)
        self.home, self.config, self.runtime = (os.path.join(self.root, name)
                                                for name in ("home", "config", "runtime"))
        os.mkdir(self.runtime, 0o700)
        self.settings = os.path.join(self.home, ".claude", "settings.json")
        self.conf = os.path.join(self.config, "Hollowmere", "Hollowmere.conf")
        self.apps = []
        self.fresh()

    def tearDown(self):
        for app in self.apps:
            if app.poll() is None:
                app.terminate()
                app.wait(WAIT)
        if os.path.isdir(SOCKET):
            shutil.rmtree(SOCKET)
        elif os.path.lexists(SOCKET):
            os.unlink(SOCKET)

    def env(self):
        env = {k: v for k, v in os.environ.items()
               if k not in ("DISPLAY", "WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS")}
        env.update(HOME=self.home, XDG_CONFIG_HOME=self.config, XDG_RUNTIME_DIR=self.runtime,
                   QT_QPA_PLATFORM="offscreen")
        return env

    def fresh(self):
        # No preferences and no Claude Code settings, for the next row of a table.
        shutil.rmtree(self.config, ignore_errors=True)
        shutil.rmtree(os.path.dirname(self.settings), ignore_errors=True)
        os.makedirs(os.path.dirname(self.conf))
        os.makedirs(os.path.dirname(self.settings))

    def start(self, name="app"):
        log = open(os.path.join(self.root, name + ".log"), "w+")
        self.addCleanup(log.close)
        app = subprocess.Popen([os.path.join(BIN_DIR, "hollowmere")], env=self.env(),
                               stdout=log, stderr=subprocess.STDOUT)
        app.log_path = log.name
        self.apps.append(app)
        return app

    def stop(self, app):
        app.terminate()
        self.assertEqual(app.wait(WAIT), 0, self.logged(app))

    @staticmethod
    def logged(app):
        with open(app.log_path) as f:
            return f.read()

    def prefs(self):
        parser = configparser.RawConfigParser()
        parser.optionxform = str
        parser.read(self.conf)
        return dict(parser["General"]) if parser.has_section("General") else {}

    def settings_bytes(self):
        return Path(self.settings).read_bytes() if os.path.exists(self.settings) else None

    # The onboarding decision where test_new_user does not go: what is on disk before, and what
    # start-up does. Before onboarding completes, the settings file is never touched.
    def test_onboarding_decision_table(self):
        autostart = os.path.join(self.config, "autostart", "hollowmere.desktop")
        rows = [
            # conf, hooks already installed, autostart file, onboarding step, completed, log line
            ("", True, True, None, "true", "Hollowmere: ok: hooks already installed"),
            ("", True, False, 0, None, None),
            ("onboarding.completed=true\nonboarding.resumeAt=2\n", False, False, 2, "true", None),
        ]
        for row, (conf, hooks, agent, step, completed, line) in enumerate(rows):
            with self.subTest(row=row):
                self.fresh()
                write(self.conf, "[General]\n" + conf)
                if hooks:
                    done = subprocess.run([os.path.join(BIN_DIR, "hollowmere"), "hooks",
                                           "install"], env=self.env(), capture_output=True)
                    self.assertEqual(done.returncode, 0, done.stderr)
                if agent:
                    write(autostart, "[Desktop Entry]\nType=Application\nName=x\nExec=true\n")
                before = self.settings_bytes()

                app = self.start("row-%d" % row)
                wait_for(listening, "the hook server", app)
                if step is None:
                    self.assertNotIn("onboarding opened", self.logged(app))
                else:
                    wait_for(lambda: "onboarding opened at step %d" % step in self.logged(app),
                             "onboarding", app)
                if line:
                    wait_for(lambda: line in self.logged(app), line, app)
                self.stop(app)
                prefs = self.prefs()
                self.assertEqual(prefs.get("onboarding.completed"), completed)
                self.assertNotIn("onboarding.resumeAt", prefs)  # read once and removed
                self.assertEqual(self.settings_bytes(), before)

    def test_blocked_socket_is_logged_and_the_app_keeps_running(self):
        os.makedirs(os.path.join(SOCKET, "in-the-way"))
        app = self.start()
        wait_for(lambda: "Hollowmere: failed to start hook server: " in self.logged(app),
                 "the failure line", app)
        wait_for(lambda: "onboarding opened" in self.logged(app), "onboarding", app)
        self.assertIsNone(app.poll(), self.logged(app))

    # Files it cannot read or rewrite: one line each, the file as it was, and the app starts.
    def test_unreadable_files_never_stop_start_up(self):
        rows = [
            ("preferences that do not parse", b"\x00\xff[[[ broken\n=\n[General\nonboarding.c",
             None, "do not parse; kept them as"),
            ("preferences that are a folder", None, None, "cannot read the preferences"),
            ("nested too deep to rewrite", COMPLETED,
             '{"x": ' + "[" * 100000 + "]" * 100000 + "}", "nests deeper than 64 levels"),
        ]
        for name, conf, settings, line in rows:
            with self.subTest(name):
                self.fresh()
                if conf is None:
                    os.mkdir(self.conf)
                else:
                    write(self.conf, conf)
                if settings:
                    write(self.settings, settings)
                app = self.start(name.replace(" ", "-"))
                wait_for(lambda: line in self.logged(app), repr(line), app)
                wait_for(listening, "the hook server", app)
                self.stop(app)
                self.assertEqual(self.settings_bytes(), settings and settings.encode())
                if settings:
                    lines = [n for n in self.logged(app).splitlines() if "settings.json" in n]
                    self.assertEqual(len(lines), 1, self.logged(app))
                    self.assertIn("Hollowmere: failed to write settings: ", lines[0])
                if isinstance(conf, bytes):
                    kept = [n for n in os.listdir(os.path.dirname(self.conf))
                            if n.startswith("Hollowmere.conf.unreadable-")]
                    self.assertEqual(len(kept), 1)

    # One instance: it answers from the user's rules, and a crash leaves nothing that blocks the
    # next start (handing over to a running one is test_new_user's).
    def test_one_instance_answers_hands_over_and_survives_a_crash(self):
        write(self.settings, json.dumps({"permissions": {"allow": ["Read"]}, "theme": "dark"}))
        first = self.start("first")
        wait_for(listening, "the hook server", first)
        read = {"kind": "permissionRequest", "sessionId": "s1", "cwd": "/tmp", "tool": "Read",
                "toolInput": json.dumps({"file_path": "/etc/hosts"}), "timestamp": 0}
        self.assertEqual(exchange(read), {"decision": "approve"})
        stop = {"kind": "stop", "sessionId": "s1", "cwd": "/tmp", "timestamp": 1}
        self.assertEqual(exchange(stop), {"decision": "passthrough"})

        first.kill()
        first.wait(WAIT)
        for name in ("hollowmere.lock", "hollowmere.instance"):
            self.assertTrue(os.path.exists(os.path.join(self.runtime, name)), name)
        os.unlink(SOCKET)
        again = self.start("again")
        wait_for(listening, "the hook server", again)
        third = self.start("third")  # handed over to the new one, which keeps running
        self.assertEqual(third.wait(WAIT), 0, self.logged(third))
        self.assertNotIn("hook server", self.logged(third))
        self.assertIsNone(again.poll())


if __name__ == "__main__":
    unittest.main(verbosity=2)
