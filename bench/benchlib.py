# SPDX-License-Identifier: MIT
"""What the benchmark scripts share: the source tree, a private /tmp, /proc readings and a
stand-in `claude` process."""

import os
import shutil
import subprocess
import sys

SOURCE = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def isolate(*args):
    """Re-runs the calling script with `args` under tests/support/isolated.sh (a private /tmp
    for the app's socket, loopback only), unless already inside it."""
    if os.environ.get("HOLLOWMERE_ISOLATED") != "1":
        script = os.path.join(SOURCE, "tests", "support", "isolated.sh")
        os.execv(script, [script, sys.executable, os.path.abspath(sys.argv[0]), *map(str, args)])


def cpu_seconds(pid):
    with open("/proc/%d/stat" % pid) as f:
        fields = f.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def stand_in_claude(work, cwd):
    """A process named `claude` working in `cwd`: all the app looks at is its name and folder."""
    fake = os.path.join(work, "bin", "claude")
    if not os.path.exists(fake):
        os.makedirs(os.path.dirname(fake), exist_ok=True)
        shutil.copy("/bin/sleep", fake)
    return subprocess.Popen([fake, "100000"], cwd=cwd)
