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

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE = os.path.dirname(HERE)
SOCKET = "/tmp/hollowmere.sock"


def evict(paths):
    for path in paths:
        try:
            fd = os.open(path, os.O_RDONLY)
        except OSError:
            continue
        try:
            os.posix_fadvise(fd, 0, 0, os.POSIX_FADV_DONTNEED)
        finally:
            os.close(fd)


def mapped_files(pid):
    with open("/proc/%d/maps" % pid) as f:
        return sorted({line.split()[5] for line in f
                       if len(line.split()) >= 6 and line.split()[5].startswith("/")})


def listening():
    with socket.socket(socket.AF_UNIX) as s:
        return s.connect_ex(SOCKET) == 0


def start_until_listening(app, env, keep=None):
    """Seconds from the start of the process until the socket accepts, and the CPU seconds the
    process used by then (and to exit on SIGTERM)."""
    if os.path.lexists(SOCKET):
        os.unlink(SOCKET)
    start = time.perf_counter()
    process = subprocess.Popen([app], env=env, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
    while not listening():
        if process.poll() is not None:
            raise RuntimeError("the app exited with %d" % process.returncode)
        time.sleep(0.0005)
    elapsed = time.perf_counter() - start
    if keep is not None:
        keep.extend(mapped_files(process.pid))
    process.terminate()
    return elapsed, cpu_seconds(process)


def cpu_seconds(process):
    _, _, usage = os.wait4(process.pid, 0)
    process.returncode = 0
    return usage.ru_utime + usage.ru_stime


def version_time(app, env):
    start = time.perf_counter()
    process = subprocess.Popen([app, "--version"], env=env, stdout=subprocess.DEVNULL)
    cpu = cpu_seconds(process)
    return time.perf_counter() - start, cpu


def describe(name, samples):
    wall = [s[0] * 1000 for s in samples]
    cpu = [s[1] * 1000 for s in samples]
    return "%s: wall median %.1f ms (min %.1f), CPU median %.1f ms (%d runs)" % (
        name, statistics.median(wall), min(wall), statistics.median(cpu), len(samples))


def ratio(samples, reference, index):
    return (statistics.median(s[index] for s in samples) /
            statistics.median(s[index] for s in reference))


def main():
    build = os.path.abspath(sys.argv[1] if len(sys.argv) > 1 else os.path.join(SOURCE, "build"))
    runs = int(sys.argv[2]) if len(sys.argv) > 2 else 15
    if os.environ.get("HOLLOWMERE_ISOLATED") != "1":
        os.execv(os.path.join(SOURCE, "tests", "support", "isolated.sh"),
                 ["isolated.sh", sys.executable, os.path.abspath(__file__), build, str(runs)])

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

        files = []
        start_until_listening(app, env, files)  # learns what the app maps
        ours = [os.path.join(d, f) for d, _, names in os.walk(root) for f in names]
        cold, cold_ref, warm, warm_ref = [], [], [], []
        for _ in range(runs):
            evict(files + ours)
            cold_ref.append(version_time(app, env))
            evict(files + ours)
            cold.append(start_until_listening(app, env))
            warm_ref.append(version_time(app, env))
            warm.append(start_until_listening(app, env))
        print(describe("cold start to listening", cold))
        print(describe("cold --version (reference)", cold_ref))
        print(describe("warm start to listening", warm))
        print(describe("warm --version (reference)", warm_ref))
        print("ratio of medians to the reference, wall: cold %.2f, warm %.2f; "
              "CPU: cold %.2f, warm %.2f" % (ratio(cold, cold_ref, 0), ratio(warm, warm_ref, 0),
                                             ratio(cold, cold_ref, 1), ratio(warm, warm_ref, 1)))
    finally:
        shutil.rmtree(scratch, True)
        if os.path.lexists(SOCKET):
            os.unlink(SOCKET)


if __name__ == "__main__":
    main()
