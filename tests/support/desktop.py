#!/usr/bin/python3
# SPDX-License-Identifier: MIT
# A desktop without a screen for tests that drive windows as a user does: a private Xvfb, openbox
# (real focus, _NET_ACTIVE_WINDOW), a private session bus with AT-SPI on it, optionally a tray
# host (trayer), PulseAudio on request, and the real app in a temporary HOME. Run it with
# /usr/bin/python3 (pyatspi is the system Python's); pyatspi binds to the bus of the first
# desktop that asks, so one desktop per process when controls are found by name.
# As a command: desktop.py [--tray] [--size WxH] -- PROGRAM [ARGS...]

import dataclasses
import json
import os
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import threading
import time
import zlib

# Generous: the machine may be busy building; nothing here asserts on time.
READY_TIMEOUT = 30.0


def wait_until(predicate, timeout=READY_TIMEOUT, interval=0.05):
    deadline = time.monotonic() + timeout
    while True:
        value = predicate()
        if value or time.monotonic() >= deadline:
            return value
        time.sleep(interval)


@dataclasses.dataclass
class Accessible:
    name: str
    role: str
    x: int
    y: int
    width: int
    height: int

    def centre(self):
        return self.x + self.width // 2, self.y + self.height // 2


class Desktop:
    def __init__(self, tray=False, size="1920x1080", accessibility=True):
        self.tray, self.size, self.accessibility = tray, size, accessibility
        self.display = self.bus_address = self.runtime_dir = self._dir = self._tray = None
        self._processes = []  # stopped last first

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *exc):
        self.stop()

    def start(self):
        try:
            self._dir = tempfile.mkdtemp(prefix="hollowmere-desktop-")
            # The accessibility bus is named after the display in the runtime folder (else in
            # ~/.cache, shared by every ":0" of every private /tmp): its own.
            self.runtime_dir = os.path.join(self._dir, "runtime")
            os.mkdir(self.runtime_dir, 0o700)
            self._start_x()
            bus = self._daemon(["dbus-daemon", "--session", "--nofork", "--print-address=1"],
                               stdout=subprocess.PIPE)
            self.bus_address = bus.stdout.readline().decode().strip()
            if self.accessibility:
                self._daemon(["/usr/libexec/at-spi-bus-launcher", "--launch-immediately"])
                self._ready(lambda: self._property("-root", "AT_SPI_BUS"), "the AT-SPI bus")
            self._daemon(["openbox", "--sm-disable"])
            self._ready(lambda: self._property("-root", "_NET_SUPPORTING_WM_CHECK"), "openbox")
            if self.tray:
                self.start_tray()
        except BaseException:
            self.stop()
            raise

    def stop(self):
        for process in reversed(self._processes):
            _stop(process)
            if process.stdout:
                process.stdout.close()
        self._processes = []
        if self._dir:
            shutil.rmtree(self._dir, ignore_errors=True)
            self._dir = self.runtime_dir = None

    @staticmethod
    def _ready(predicate, what):
        if not wait_until(predicate):
            raise RuntimeError(what + " did not come up")

    def _start_x(self):
        read_end, write_end = os.pipe()
        # -noreset: once the launcher lets go of the display, the server would start over and
        # lose the root window's properties.
        self._daemon(["Xvfb", "-displayfd", str(write_end), "-screen", "0", self.size + "x24",
                      "-nolisten", "tcp", "-noreset", "-fbdir", self._dir], pass_fds=(write_end,))
        os.close(write_end)
        with os.fdopen(read_end, "rb") as f:
            number = f.readline().strip()
        if not number:
            raise RuntimeError("Xvfb did not report its display")
        self.display = ":" + number.decode()

    def _daemon(self, command, stdout=subprocess.DEVNULL, **popen_args):
        return self.spawn(command, stdout=stdout, stderr=subprocess.DEVNULL,
                          stdin=subprocess.DEVNULL, **popen_args)

    def env(self, **extra):
        # Qt on X11 with its accessibility always on.
        env = {k: v for k, v in os.environ.items()
               if k not in ("WAYLAND_DISPLAY", "XAUTHORITY", "AT_SPI_BUS_ADDRESS")}
        for key, value in (("DISPLAY", self.display), ("XDG_RUNTIME_DIR", self.runtime_dir),
                           ("DBUS_SESSION_BUS_ADDRESS", self.bus_address)):
            if value:
                env[key] = value
        env.update(QT_QPA_PLATFORM="xcb", QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", NO_AT_BRIDGE="0")
        env.update(extra)
        return env

    def spawn(self, command, env=None, **popen_args):
        # Each in a session of its own, so that stop() ends what it started too.
        process = subprocess.Popen(command, env=env or self.env(), start_new_session=True,
                                   **popen_args)
        self._processes.append(process)
        return process

    def run(self, command, check=True):
        done = subprocess.run(command, env=self.env(), capture_output=True, text=True,
                              timeout=READY_TIMEOUT)
        if check and done.returncode != 0:
            raise RuntimeError("%s failed: %s" % (command[0], done.stderr.strip()))
        return done.stdout

    # Windows

    def _property(self, window, name):
        text = self.run(["xprop", *([window] if window == "-root" else ["-id", str(window)]),
                         "-notype", name], check=False).strip()
        sep = ":" if window == "-root" else "="
        if sep not in text or "not found" in text or "no such atom" in text:
            return None
        return text.split(sep, 1)[1].strip()

    def active_window(self):
        value = self._property("-root", "_NET_ACTIVE_WINDOW")
        return int(value.split("#")[-1].split(",")[0], 16) if value else 0

    def windows(self):
        value = self._property("-root", "_NET_CLIENT_LIST") or ""
        return [int(w, 16) for w in value.partition("#")[2].split(",") if w.strip()]

    def window_pid(self, window):
        value = self._property(window, "_NET_WM_PID")
        return int(value) if value and value.isdigit() else None

    def wait_for_window(self, pid):
        window = wait_until(lambda: next(
            (w for w in self.windows() if self.window_pid(w) == pid), None))
        if not window:
            raise RuntimeError("no window for pid %s" % pid)
        return window

    def activate(self, window):
        self.run(["xdotool", "windowactivate", "--sync", str(window)])
        return wait_until(lambda: self.active_window() == window)

    # The tray host, which may come and go while the app runs

    def _trayers(self):
        return [int(w) for w in self.run(["xdotool", "search", "--class", "trayer"],
                                         check=False).split()]

    def start_tray(self):
        self._tray = self._daemon(["trayer", "--edge", "top", "--align", "right", "--widthtype",
                                   "request", "--height", "24", "--SetDockType", "true"])
        self._ready(self._trayers, "trayer")

    def stop_tray(self):
        # As a crashing or restarting panel would.
        _stop(self._tray)
        self._processes.remove(self._tray)
        wait_until(lambda: not self._trayers())

    def tray_icons(self):
        icons = []
        for window in self._trayers():
            for line in self.run(["xwininfo", "-id", str(window), "-children"]).splitlines():
                # "  0xa00026 (has no name): ()  22x22+1+1  +1897+1"
                fields = line.split()
                if len(fields) < 2 or not fields[0].startswith("0x") or "x" not in fields[-2]:
                    continue
                width, height = (int(v) for v in fields[-2].split("+")[0].split("x"))
                x, y = (int(v) for v in fields[-1].lstrip("+").split("+"))
                if width > 1 and height > 1:
                    icons.append((x, y, width, height))
        return sorted(icons)

    # Input, as a user gives it (XTest)

    def click_at(self, x, y, button=1):
        self.run(["xdotool", "mousemove", "--sync", str(x), str(y), "click", str(button)])

    def click(self, control, button=1):
        self.click_at(*control.centre(), button=button)

    def key(self, *keys):
        self.run(["xdotool", "key", *keys])

    # Accessibility (AT-SPI)

    def accessibles(self, app=None):
        os.environ.update(DISPLAY=self.display, DBUS_SESSION_BUS_ADDRESS=self.bus_address)
        import pyatspi  # noqa: PLC0415: bound to the bus set just above
        found = []

        def visit(node, depth):
            if node is None or depth > 40:
                return
            try:
                if node.getState().contains(pyatspi.STATE_SHOWING):
                    box = node.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
                    found.append(Accessible(node.name, node.getRoleName(), box.x, box.y,
                                            box.width, box.height))
                for child in node:
                    visit(child, depth + 1)
            except Exception:  # a node that went away while we walked
                return

        for application in pyatspi.Registry.getDesktop(0):
            if application is not None and (not app or application.name == app):
                for child in application:
                    visit(child, 1)
        return found

    def find(self, name, role=None, app=None, timeout=READY_TIMEOUT):
        node = wait_until(lambda: next((c for c in self.accessibles(app) if c.name == name and
                                        role in (None, c.role)), None), timeout, 0.2)
        if not node:
            raise RuntimeError("no control %r (%s) in %s" % (name, role, app or "any app"))
        return node

    # Sound

    def start_pulseaudio(self, sink="hollowmere_speakers"):
        # Found by the app through XDG_RUNTIME_DIR; one null sink, the default.
        home = os.path.join(self._dir, "pulse-home")
        os.makedirs(home, exist_ok=True)
        self._daemon(["pulseaudio", "--daemonize=no", "--exit-idle-time=-1", "-n",
                      "--use-pid-file=no", "--disable-shm=yes",
                      "--load=module-native-protocol-unix auth-anonymous=1",
                      "--load=module-null-sink sink_name=%s" % sink], env=self.env(HOME=home))
        self._ready(lambda: self.pactl("get-default-sink", check=False).strip() == sink,
                    "PulseAudio")
        return sink

    def pactl(self, *args, check=True):
        return self.run(["pactl", *args], check=check)

    def start_hollowmere(self, binary, home, notch="200x32", log=None, **env):
        # HOME and XDG_CONFIG_HOME inside `home`, the notch on a simulated notched screen (None:
        # the screen as it is). It owns /tmp/hollowmere.sock: run under isolated.sh.
        return HollowmereApp(self, binary, home, notch, log, env)

    def screenshot(self, path):
        # Xvfb's frame buffer is a 24-bit TrueColor XWD.
        with open(os.path.join(self._dir, "Xvfb_screen0"), "rb") as f:
            xwd = f.read()
        fields = struct.unpack(">25I", xwd[:100])
        width, height, per_line = fields[4], fields[5], fields[12]
        start = fields[0] + fields[19] * 12
        offsets = (2, 1, 0) if fields[7] == 0 else (1, 2, 3)  # B G R X or X R G B
        raw = bytearray()
        for y in range(height):
            line = xwd[start + y * per_line:start + y * per_line + width * 4]
            rgb = bytearray(width * 3)
            for channel, offset in enumerate(offsets):
                rgb[channel::3] = line[offset::4]
            raw += b"\x00" + rgb

        def chunk(kind, data):
            return struct.pack(">I", len(data)) + kind + data + \
                struct.pack(">I", zlib.crc32(kind + data))
        with open(path, "wb") as f:
            f.write(b"\x89PNG\r\n\x1a\n" +
                    chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)) +
                    chunk(b"IDAT", zlib.compress(bytes(raw), 6)) + chunk(b"IEND", b""))
        return path


class FocusLog:
    # (name, role) of each control that took focus, from a process of its own on the bus: as a
    # screen reader follows popup menus, which are not in the application's tree.

    def __init__(self, desk):
        self._lines = []
        self._process = desk.spawn([sys.executable, os.path.abspath(__file__), "--focus-log"],
                                   stdout=subprocess.PIPE, text=True)
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()
        desk._ready(lambda: self._lines[:1] == ["ready"], "the focus listener")

    def _read(self):
        for line in self._process.stdout:
            self._lines.append(line.rstrip("\n"))

    def wait_for(self, name, role=None, after=0):
        # Among the entries after the first `after`; returns the index of the match.
        def match():
            seen = [tuple(json.loads(line)) for line in self._lines[1:]]
            return next((i + 1 for i, (n, r) in enumerate(seen) if i >= after and n == name
                         and role in (None, r)), 0)
        index = wait_until(match)
        if not index:
            raise RuntimeError("%r never took focus; seen: %r" % (name, self._lines[after + 1:]))
        return index - 1

    def stop(self):
        _stop(self._process)
        self._reader.join(5)


class HollowmereApp:

    name = "Hollowmere"  # the application's name on the accessibility bus
    socket = "/tmp/hollowmere.sock"

    def __init__(self, desk, binary, home, notch, log, env):
        self.desk = desk
        self.log_path = log or os.path.join(home, "hollowmere.log")
        env = dict(env, HOME=home, XDG_CONFIG_HOME=os.path.join(home, ".config"))
        if notch:
            env["HOLLOWMERE_SIMULATE_NOTCH"] = notch
        if os.path.exists(self.socket):
            raise RuntimeError("%s exists: run under tests/support/isolated.sh" % self.socket)
        with open(self.log_path, "ab") as log_file:
            self.process = desk.spawn([binary], env=desk.env(**env), stdout=log_file,
                                      stderr=subprocess.STDOUT)
        wait_until(lambda: "hook server listening" in self.log() or self.process.poll() is not None)
        if "hook server listening" not in self.log() or self.process.poll() is not None:
            raise RuntimeError("hollowmere did not start (%s):\n%s" % (self.process.poll(),
                                                                       self.log()))

    def stop(self):
        _stop(self.process)

    def log(self):
        with open(self.log_path, errors="replace") as f:
            return f.read()

    def find(self, name, role=None, timeout=READY_TIMEOUT):
        return self.desk.find(name, role, app=self.name, timeout=timeout)

    def settled(self, name, role=None, timeout=READY_TIMEOUT):
        # Once two readings 0.3 s apart agree: a window still being placed, or a notch still
        # growing, reports where it was a moment ago, and a click there misses.
        def same():
            first = self.find(name, role, timeout)
            time.sleep(0.3)
            return first if first == self.find(name, role, timeout) else None
        return wait_until(same, timeout) or self.find(name, role, timeout)

    def controls(self):
        return self.desk.accessibles(self.name)

    def showing(self, predicate):
        return next((c for c in self.controls() if predicate(c)), None)


def _stop(process):
    if process.poll() is not None:
        return
    try:
        os.killpg(process.pid, signal.SIGTERM)
        process.wait(timeout=5)
    except ProcessLookupError:
        return
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        process.wait(timeout=5)


def _print_focus_events():
    import pyatspi  # noqa: PLC0415: only in this helper process, on the desktop's bus

    def on_focus(event):
        if event.detail1:
            print(json.dumps([event.source.name, event.source.getRoleName()]), flush=True)

    pyatspi.Registry.registerEventListener(on_focus, "object:state-changed:focused")
    print("ready", flush=True)
    pyatspi.Registry.start()


def main():
    if sys.argv[1:] == ["--focus-log"]:
        return _print_focus_events()
    sys.exit("usage: desktop.py --focus-log (the desktop's own focus listener)")


if __name__ == "__main__":
    sys.exit(main())
