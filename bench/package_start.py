#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""The .deb and the app installed from it: the package's size, and the time from starting the
unpacked `hollowmere` until its hook server accepts a connection (with no session there is no
notch frame to wait for), cold and warm. Reference, same runs: the same executable answering
`--version`, which loads the same libraries and exits before any window, socket or scanner.

Cold means the package's files, and every library of the app that no other process has mapped,
were dropped from the page cache (posix_fadvise DONTNEED) before each start; on a shared machine
libraries that other processes hold stay cached, as they would on a desktop.

Runs itself under tests/support/isolated.sh (a private /tmp for the socket).
    bench/package_start.py [BUILD_DIR] [RUNS]
"""

import os
import shutil
import socket
import statistics
import subprocess
import sys
import tempfile
import time

from benchlib import SOURCE, isolate

SOCKET = "/tmp/hollowmere.sock"


def evict(paths):
    for path in paths:
        try:
            fd = os.open(path, os.O_RDONLY)
        except OSError:
            continue
        os.posix_fadvise(fd, 0, 0, os.POSIX_FADV_DONTNEED)
        os.close(fd)


def listening():
    with socket.socket(socket.AF_UNIX) as s:
        return s.connect_ex(SOCKET) == 0


def start(command, env, until=None, mapped=None):
    """Wall and CPU seconds of `command`: until `until()` holds (then it is terminated), or until
    it exits. `mapped` collects the files the process has mapped by then."""
    began = time.perf_counter()
    process = subprocess.Popen(command, env=env, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
    if until:
        while not until():
            if process.poll() is not None:
                raise RuntimeError("%s exited with %d" % (command[0], process.returncode))
            time.sleep(0.0005)
        elapsed = time.perf_counter() - began
        if mapped is not None:
            with open("/proc/%d/maps" % process.pid) as f:
                mapped.extend({line.split()[5] for line in f if len(line.split()) >= 6})
        process.terminate()
    _, _, usage = os.wait4(process.pid, 0)
    process.returncode = 0
    if not until:
        elapsed = time.perf_counter() - began
    return elapsed, usage.ru_utime + usage.ru_stime


def main():
    build = os.path.abspath(sys.argv[1] if len(sys.argv) > 1 else os.path.join(SOURCE, "build"))
    runs = int(sys.argv[2]) if len(sys.argv) > 2 else 15
    isolate(build, runs)

    scratch = tempfile.mkdtemp(prefix="hollowmere-bench-")
    try:
        subprocess.run(["cpack", "-G", "DEB", "--config", os.path.join(build, "CPackConfig.cmake"),
                        "-B", scratch], check=True, stdout=subprocess.DEVNULL)
        deb = next(os.path.join(scratch, f) for f in os.listdir(scratch) if f.endswith(".deb"))
        installed_kib = subprocess.run(["dpkg-deb", "--field", deb, "Installed-Size"],
                                       capture_output=True, text=True).stdout.strip()
        print("%s: %.0f KiB, installed %s KiB" % (os.path.basename(deb),
                                                  os.path.getsize(deb) / 1024, installed_kib))
        root = os.path.join(scratch, "root")
        subprocess.run(["dpkg-deb", "-x", deb, root], check=True)
        app = os.path.join(root, "usr", "bin", "hollowmere")

        home = os.path.join(scratch, "home")
        os.makedirs(home)
        env = {k: v for k, v in os.environ.items()
               if k not in ("XDG_CONFIG_HOME", "DISPLAY", "WAYLAND_DISPLAY")}
        env.update(HOME=home, QT_QPA_PLATFORM="offscreen")

        files = [os.path.join(d, f) for d, _, names in os.walk(root) for f in names]
        start([app], env, listening, files)  # learns what the app maps
        times = {}
        for _ in range(runs):
            for case in ("cold", "warm"):
                for what, command, until in (("--version", [app, "--version"], None),
                                             ("until listening", [app], listening)):
                    if case == "cold":
                        evict(files)
                    if os.path.lexists(SOCKET):
                        os.unlink(SOCKET)
                    times.setdefault((case, what), []).append(start(command, env, until))
        for case in ("cold", "warm"):
            for i, what in enumerate(("wall", "CPU")):
                app_ms, ref_ms = (statistics.median(t[i] for t in times[case, w]) * 1000
                                  for w in ("until listening", "--version"))
                print("%s, %s: until listening %.1f ms, --version (reference) %.1f ms, ratio %.2f"
                      % (case, what, app_ms, ref_ms, app_ms / ref_ms))
    finally:
        shutil.rmtree(scratch, True)
        if os.path.lexists(SOCKET):
            os.unlink(SOCKET)


if __name__ == "__main__":
    main()
