#!/usr/bin/python3
# SPDX-License-Identifier: MIT
# The .deb as a user gets it: cpack builds it from this build tree into a scratch directory, the
# Debian tools judge it, and the app and hook unpacked from it work from their installed paths
# with the real Claude Code. Inside tests/support/isolated.sh (it owns /tmp/hollowmere.sock).

import glob
import gzip
import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

BUILD = os.environ["HOLLOWMERE_BUILD_DIR"]
SOURCE = os.environ["HOLLOWMERE_SOURCE_DIR"]
VERSION = os.environ["HOLLOWMERE_VERSION"]
sys.path.insert(0, os.path.join(SOURCE, "tests", "e2e"))
import claude_env  # noqa: E402
from claude_env import Responder, wait_until  # noqa: E402

APP_ID = "app.hollowmere.Hollowmere"
SOCKET = "/tmp/hollowmere.sock"
EVENTS = ("PreToolUse", "Notification", "Stop")


def run(*command, **kwargs):
    return subprocess.run(command, capture_output=True, text=True, timeout=600, **kwargs)


def stop(process):
    if process.poll() is None:
        process.terminate()
        process.wait(30)


def managed_commands(settings_path, event):
    with open(settings_path, encoding="utf-8") as f:
        groups = json.load(f)["hooks"][event]
    return [g["hooks"][0]["command"] for g in groups if g.get("hollowmere-managed") is True]


class DebianPackage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = os.path.realpath(tempfile.mkdtemp(prefix="hollowmere-deb-"))
        built = run("cpack", "-G", "DEB", "--config", os.path.join(BUILD, "CPackConfig.cmake"),
                    "-B", cls.scratch)
        if built.returncode != 0:
            shutil.rmtree(cls.scratch, True)
            raise AssertionError("cpack failed:\n" + built.stdout + built.stderr)
        cls.arch = run("dpkg", "--print-architecture").stdout.strip()
        cls.deb = os.path.join(cls.scratch, "hollowmere_%s_%s.deb" % (VERSION, cls.arch))
        cls.root = os.path.join(cls.scratch, "root")
        subprocess.run(["dpkg-deb", "-x", cls.deb, cls.root], check=True)
        cls.bin = os.path.join(cls.root, "usr", "bin")

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.scratch, True)

    def test_control_fields_dependencies_and_lintian(self):
        def field(name):
            return run("dpkg-deb", "--field", self.deb, name).stdout.strip()
        # Name, version and architecture: the file's name, which cpack takes from them.
        depends = [d.strip() for d in field("Depends").split(",")]
        names = {d.split()[0] for d in depends}
        # dpkg-shlibdeps: linked libraries, with the versions the binaries need.
        for library in ("libc6", "libqt6core6", "libqt6gui6", "libpulse0", "libsimdjson14"):
            self.assertIn(library, names, depends)
        self.assertTrue(any(d.startswith("libqt6core6 (>=") for d in depends), depends)
        # qmlimportscanner and dpkg: what Qt loads at run time.
        for module in ("qml6-module-qtquick", "qml6-module-qtquick-shapes", "libqt6svg6"):
            self.assertIn(module, names, depends)
        self.assertIn("pulseaudio-utils", field("Recommends"))

        checked = run("lintian", "--tag-display-limit", "0", self.deb)
        # Warnings too: a desktop entry naming /usr/local was one.
        errors = [line for line in checked.stdout.splitlines() if line[:2] in ("E:", "W:")]
        self.assertEqual(errors, [], checked.stdout + checked.stderr)

    def test_desktop_entry_and_metainfo(self):
        share = os.path.join(self.root, "usr", "share")
        # Its syntax and Exec are lintian's and installed_layout's; the icon is named as below.
        entry = Path(share, "applications", "hollowmere.desktop").read_text(encoding="utf-8")
        self.assertIn("\nIcon=hollowmere\n", entry)

        metainfo = os.path.join(share, "metainfo", APP_ID + ".metainfo.xml")
        checked = run("appstreamcli", "validate", "--no-net", "--explain", metainfo)
        self.assertEqual(checked.returncode, 0, checked.stdout + checked.stderr)
        text = Path(metainfo).read_text(encoding="utf-8")
        self.assertIn('<launchable type="desktop-id">hollowmere.desktop</launchable>', text)
        # The newest release is this version, with the notes CHANGELOG.md gives it.
        first_release = text.index("<release ")
        self.assertTrue(text.startswith('<release version="%s" date="' % VERSION, first_release))
        self.assertIn("<li>", text[first_release:])

    def test_icons_and_docs_are_where_desktops_look(self):
        usr = os.path.join(self.root, "usr")
        hicolor = os.path.join(usr, "share", "icons", "hicolor")
        sizes = sorted(int(os.path.basename(os.path.dirname(os.path.dirname(p))).split("x")[0])
                       for p in glob.glob(os.path.join(hicolor, "*x*", "apps", "hollowmere.png")))
        self.assertEqual(sizes, [16, 22, 24, 32, 48, 64, 128, 256, 512])
        self.assertTrue(os.path.isfile(os.path.join(hicolor, "scalable", "apps", "hollowmere.svg")))
        # Manual pages and the user unit: lintian's and installed_layout's.

        doc = os.path.join(usr, "share", "doc", "hollowmere")
        with gzip.open(os.path.join(doc, "changelog.gz"), "rt") as f:
            self.assertEqual(f.readline(), "hollowmere (%s) unstable; urgency=medium\n" % VERSION)
        copyright_text = Path(doc, "copyright").read_text(encoding="utf-8")
        # Every bundled symbol icon is accounted for under its own licence.
        symbols = glob.glob(os.path.join(SOURCE, "Hollowmere", "Platform", "Linux", "symbols",
                                         "*.svg"))
        self.assertTrue(symbols)
        for svg in symbols:
            name = os.path.basename(svg)
            if name != "bolt-symbolic.svg":
                self.assertIn("Hollowmere/Platform/Linux/symbols/" + name, copyright_text)
        self.assertIn("License: CC-BY-SA-3.0 or LGPL-3", copyright_text)
        self.assertIn("License: Expat", copyright_text)

    def test_the_unpacked_app_installs_its_own_hook_and_claude_code_reaches_the_app(self):
        version = run(os.path.join(self.bin, "hollowmere"), "--version")
        self.assertEqual((version.returncode, version.stdout), (0, "Hollowmere %s\n" % VERSION))

        project = os.path.join(self.scratch, "project")
        os.makedirs(project)
        home = claude_env.prepare_home(os.path.join(self.scratch, "home"), [project])
        hook = os.path.join(self.bin, "hollowmere-hook")
        installed = run(os.path.join(self.bin, "hollowmere"), "hooks", "install",
                        env=dict(os.environ, HOME=home))
        self.assertEqual(installed.returncode, 0, installed.stdout + installed.stderr)

        app = Responder(home, "approve", os.path.join(self.scratch, "app.jsonl"))
        self.addCleanup(app.stop)
        script = [[{"type": "text", "text": "Nothing to do."}]]
        with claude_env.StandIn(script, tempfile.mkdtemp(dir=self.scratch)) as api:
            claude = claude_env.run_claude(home, project, api.port, "Say hello.")
        self.assertEqual(claude.returncode, 0, claude.describe())
        session_id = claude.result["session_id"]
        self.assertTrue(wait_until(lambda: ("stop", "") in app.events(session_id)), app.lines())
        self.assertEqual(claude_env.hook_errors(home, project, session_id), [])
        ran = [info.get("command")
               for line in claude_env.transcript_lines(home, project, session_id)
               if line.get("subtype") == "stop_hook_summary" for info in line["hookInfos"]]
        self.assertEqual(ran, [hook])

    def test_a_hook_entry_of_a_build_tree_is_replaced_when_the_installed_app_starts(self):
        home = os.path.join(self.scratch, "upgraded-home")
        config = os.path.join(home, ".config", "Hollowmere")
        os.makedirs(config)
        with open(os.path.join(config, "Hollowmere.conf"), "w") as f:
            f.write("[General]\nonboarding.completed=true\n")
        stale = "/home/dev/src/hollowmere/build/bin/hollowmere-hook"
        users = {"hooks": [{"type": "command", "command": "/usr/local/bin/audit-tool"}]}
        settings = os.path.join(home, ".claude", "settings.json")
        os.makedirs(os.path.dirname(settings))
        with open(settings, "w") as f:
            json.dump({"hooks": {e: [users, {"hollowmere-managed": True, "hooks": [
                {"type": "command", "command": stale}]}] for e in EVENTS}}, f)

        env = {k: v for k, v in os.environ.items()
               if k not in ("XDG_CONFIG_HOME", "DISPLAY", "WAYLAND_DISPLAY")}
        env.update(HOME=home, QT_QPA_PLATFORM="offscreen")
        log_path = os.path.join(self.scratch, "installed-app.log")
        with open(log_path, "w") as log:
            app = subprocess.Popen([os.path.join(self.bin, "hollowmere")], env=env, stdout=log,
                                   stderr=subprocess.STDOUT)
        self.addCleanup(stop, app)

        hook = os.path.join(self.bin, "hollowmere-hook")
        self.assertTrue(wait_until(lambda: "hook server listening" in Path(log_path).read_text()
                                   or app.poll() is not None, 60))
        self.assertIn("Hollowmere: installed hooks → " + hook, Path(log_path).read_text())
        with open(settings, encoding="utf-8") as f:
            hooks = json.load(f)["hooks"]
        for event in EVENTS:
            self.assertEqual(hooks[event][0], users)
            self.assertEqual(managed_commands(settings, event), [hook])


if __name__ == "__main__":
    unittest.main(verbosity=2)
