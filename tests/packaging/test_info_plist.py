#!/usr/bin/python3
# SPDX-License-Identifier: MIT
# The macOS bundle's Info.plist as the shared CMake code writes it: the build's own copy, and the
# same code run with Sparkle's feed and key set, as a release build sets them.

import os
import plistlib
import subprocess
import tempfile
import unittest

BUILD = os.environ["HOLLOWMERE_BUILD_DIR"]
SOURCE = os.environ["HOLLOWMERE_SOURCE_DIR"]
VERSION = os.environ["HOLLOWMERE_VERSION"]
SCRIPT = os.path.join(SOURCE, "packaging", "macos", "InfoPlist.cmake")
SPARKLE_KEYS = {"SUFeedURL", "SUPublicEDKey", "SUEnableAutomaticChecks"}


def write_plist(**settings):
    with tempfile.TemporaryDirectory() as scratch:
        out = os.path.join(scratch, "Info.plist")
        defines = ["-D%s=%s" % item for item in settings.items()]
        subprocess.run(["cmake", "-DOUTPUT=" + out, *defines, "-P", SCRIPT], check=True)
        with open(out, "rb") as f:
            return plistlib.load(f)


class InfoPlist(unittest.TestCase):
    def test_the_builds_plist_describes_a_menu_bar_agent_of_this_version(self):
        with open(os.path.join(BUILD, "packaging", "macos", "Info.plist"), "rb") as f:
            plist = plistlib.load(f)
        self.assertEqual(plist["CFBundleShortVersionString"], VERSION)
        self.assertEqual(plist["CFBundleVersion"], VERSION)
        # QSettings' domain on macOS: the organisation domain reversed, then the app's name.
        self.assertEqual(plist["CFBundleIdentifier"], "app.hollowmere.Hollowmere")
        self.assertEqual(plist["CFBundleExecutable"], "hollowmere")
        self.assertIs(plist["LSUIElement"], True)
        usage = plist["NSAppleEventsUsageDescription"]
        for target in ("iTerm2", "Terminal", "System Events"):
            self.assertIn(target, usage)
        # The build's defaults: no feed and no key, so Sparkle has nothing to check.
        self.assertNotIn("SUFeedURL", plist)
        self.assertNotIn("SUPublicEDKey", plist)

    def test_sparkle_settings_come_from_the_build_settings_verbatim(self):
        url = "https://updates.example/appcast.xml?channel=beta&os=mac<arm>"
        key = "pfIShU4dEXqPd5ObYNfDBiQWcXozk7estwzTnF9BamQ="
        plist = write_plist(PROJECT_VERSION="2.3.4", HOLLOWMERE_APPCAST_URL=url,
                            HOLLOWMERE_SPARKLE_PUBLIC_KEY=key)
        self.assertEqual(plist["SUFeedURL"], url)
        self.assertEqual(plist["SUPublicEDKey"], key)
        self.assertEqual(plist["CFBundleShortVersionString"], "2.3.4")

        without = write_plist(PROJECT_VERSION="2.3.4")
        self.assertEqual(SPARKLE_KEYS & without.keys(), set())
        self.assertEqual(set(plist) - SPARKLE_KEYS, set(without))


if __name__ == "__main__":
    unittest.main(verbosity=2)
