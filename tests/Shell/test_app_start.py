#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""The app as it starts without a command: store with the user's allow rules, hooks installed
only after onboarding, the hook server on the real socket, and a blocked socket that is logged
but not fatal. Run under tests/support/isolated.sh (it owns /tmp/hollowmere.sock)."""

import json
import os
import shutil
import socket
import subprocess
import tempfile
import time
import unittest

BIN_DIR = os.environ["HOLLOWMERE_BIN_DIR"]
SOCKET = "/tmp/hollowmere.sock"
WAIT = 30  # generous: start-up on a busy 2-core machine


def wait_for(predicate, what, app=None):
    deadline = time.monotonic() + WAIT
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
        self.home = tempfile.mkdtemp(prefix="hollowmere-home-")
        self.addCleanup(shutil.rmtree, self.home, True)
        self.settings = os.path.join(self.home, ".claude", "settings.json")
        os.makedirs(os.path.dirname(self.settings))
        self.app = None

    def tearDown(self):
        if self.app and self.app.poll() is None:
            self.app.terminate()
            self.app.wait(WAIT)
        if os.path.lexists(SOCKET):
            if os.path.isdir(SOCKET):
                shutil.rmtree(SOCKET)
            else:
                os.unlink(SOCKET)

    def start(self):
        env = {k: v for k, v in os.environ.items()
               if k not in ("XDG_CONFIG_HOME", "DISPLAY", "WAYLAND_DISPLAY")}
        env.update(HOME=self.home, QT_QPA_PLATFORM="offscreen")
        self.log = open(os.path.join(self.home, "app.log"), "w+")
        self.addCleanup(self.log.close)
        self.app = subprocess.Popen([os.path.join(BIN_DIR, "hollowmere")], env=env,
                                    stdout=self.log, stderr=subprocess.STDOUT)

    def logged(self):
        with open(self.log.name) as f:
            return f.read()

    def write_settings(self, root):
        with open(self.settings, "w") as f:
            json.dump(root, f)

    def test_store_answers_with_the_users_allow_rules(self):
        self.write_settings({"permissions": {"allow": ["Read"]}, "theme": "dark"})
        with open(self.settings, "rb") as f:
            before = f.read()
        self.start()
        wait_for(listening, "the hook server", self.app)

        read = {"kind": "permissionRequest", "sessionId": "s1", "cwd": "/tmp", "tool": "Read",
                "toolInput": json.dumps({"file_path": "/etc/hosts"}), "timestamp": 0}
        self.assertEqual(exchange(read), {"decision": "approve"})
        stop = {"kind": "stop", "sessionId": "s1", "cwd": "/tmp", "timestamp": 1}
        self.assertEqual(exchange(stop), {"decision": "passthrough"})
        self.assertIsNone(self.app.poll())
        # Onboarding has not run: the settings file is not touched.
        with open(self.settings, "rb") as f:
            self.assertEqual(f.read(), before)
        self.assertIn("Hollowmere: onboarding not completed", self.logged())

    def test_hooks_installed_at_start_once_onboarding_is_done(self):
        config = os.path.join(self.home, ".config", "Hollowmere")
        os.makedirs(config)
        with open(os.path.join(config, "Hollowmere.conf"), "w") as f:
            f.write("[General]\nonboarding.completed=true\n")
        self.start()
        hook = os.path.join(os.path.realpath(BIN_DIR), "hollowmere-hook")
        wait_for(lambda: "Hollowmere: installed hooks → " + hook in self.logged(),
                 "the install line", self.app)
        with open(self.settings) as f:
            root = json.load(f)
        for event in ("PreToolUse", "Notification", "Stop"):
            self.assertEqual(root["hooks"][event][-1]["hooks"][0]["command"], hook)

    def test_blocked_socket_is_logged_and_the_app_keeps_running(self):
        os.makedirs(os.path.join(SOCKET, "in-the-way"))
        self.start()
        wait_for(lambda: "Hollowmere: failed to start hook server: " in self.logged(),
                 "the failure line", self.app)
        time.sleep(0.5)
        self.assertIsNone(self.app.poll(), self.logged())


if __name__ == "__main__":
    unittest.main(verbosity=2)
