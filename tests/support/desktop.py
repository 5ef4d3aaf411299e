#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""A desktop without a screen, for tests that drive windows as a user does.

It starts a private X server (Xvfb, on a free display), a window manager (openbox: real focus and
_NET_ACTIVE_WINDOW), a private session D-Bus with the AT-SPI accessibility bus on it, and, when
asked, a tray host (trayer). Run it with /usr/bin/python3: pyatspi is a module of the system
Python only.

    with Desktop(tray=False) as desk:
        env = desk.env()                       # DISPLAY, the bus, QT_QPA_PLATFORM=xcb, ...
        term = desk.spawn(["xterm", "-T", "one"])
        window = desk.wait_for_window(pid=term.pid)
        node = desk.find("Approve", role="push button", app="hollowmere")
        desk.click(node)                       # XTest, at the centre of its extents
        desk.key("Return"); desk.type_text("hello")
        assert desk.active_window() == window
        desk.screenshot("after.png")

The real app runs on it in a temporary HOME and XDG_CONFIG_HOME of the test's own, with a
PulseAudio daemon (one null sink) when the test wants sound:

    desk.start_pulseaudio()                    # before the app, which then finds it
    app = desk.start_hollowmere(BIN_DIR + "/hollowmere", home)
    desk.click(app.find("Approve", role="push button"))

As a command, it runs one program on such a desktop and exits with its status:

    desktop.py [--tray] [--size 1920x1080] -- PROGRAM [ARGS...]

pyatspi binds to the bus of the first desktop that asks it for something: one desktop per test
process when controls are looked up by name.
"""

import argparse
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

# Generous bounds: the machine may be busy building; nothing here asserts on time.
READY_TIMEOUT = 30.0


def wait_until(predicate, timeout=READY_TIMEOUT, interval=0.05):
    """Calls predicate until it returns something true or the time is up; returns its last
    value."""
    deadline = time.monotonic() + timeout
    while True:
        value = predicate()
        if value or time.monotonic() >= deadline:
            return value
        time.sleep(interval)


class Accessible:
    """A control found through AT-SPI: its name, role and extents in screen pixels."""

    def __init__(self, name, role, x, y, width, height, node=None):
        self.name, self.role = name, role
        self.x, self.y, self.width, self.height = x, y, width, height
        self.node = node

    def centre(self):
        return self.x + self.width // 2, self.y + self.height // 2

    def __repr__(self):
        return "<%s %r at %d,%d %dx%d>" % (self.role, self.name, self.x, self.y, self.width,
                                            self.height)


class Desktop:
    def __init__(self, tray=False, size="1920x1080", wm=True, accessibility=True):
        self.tray = tray
        self.size = size
        self.with_wm = wm
        self.with_accessibility = accessibility
        self.display = None
        self.bus_address = None
        self.runtime_dir = None
        self._dir = None
        self._daemons = []  # started by the fixture, stopped last
        self._children = []  # started by the test through spawn()

    # Life cycle

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *exc):
        self.stop()

    def start(self):
        """Starts everything; one part that does not come up stops the parts that did."""
        try:
            self._start()
        except BaseException:
            self.stop()
            raise

    def _start(self):
        self._dir = tempfile.mkdtemp(prefix="hollowmere-desktop-")
        # The accessibility bus lives in the runtime folder, named after the display number
        # (else in ~/.cache, shared by every desktop on ":0" of every private /tmp): its own.
        self.runtime_dir = os.path.join(self._dir, "runtime")
        os.mkdir(self.runtime_dir, 0o700)
        self._start_x()
        self._start_bus()
        if self.with_accessibility:
            self._daemon(["/usr/libexec/at-spi-bus-launcher", "--launch-immediately"])
            if not wait_until(lambda: self._root_property("AT_SPI_BUS")):
                raise RuntimeError("the AT-SPI bus did not come up")
        if self.with_wm:
            self._daemon(["openbox", "--sm-disable"])
            if not wait_until(lambda: self._root_property("_NET_SUPPORTING_WM_CHECK")):
                raise RuntimeError("openbox did not take the screen")
        if self.tray:
            self.start_tray()

    def stop(self):
        for process in list(reversed(self._children)) + list(reversed(self._daemons)):
            _stop(process)
        self._children, self._daemons = [], []
        if self._dir:
            shutil.rmtree(self._dir, ignore_errors=True)
            self._dir = self.runtime_dir = None

    def _start_x(self):
        read_end, write_end = os.pipe()
        width, height = self.size.split("x")
        # -noreset: with no client left (the launcher lets go of the display once it has set
        # AT_SPI_BUS), the server would start over and lose the root window's properties.
        self._daemon(["Xvfb", "-displayfd", str(write_end), "-screen", "0",
                      "%sx%sx24" % (width, height), "-nolisten", "tcp", "-noreset",
                      "-fbdir", self._dir],
                     pass_fds=(write_end,), env_extra={})
        os.close(write_end)
        number = b""
        deadline = time.monotonic() + READY_TIMEOUT
        while not number.endswith(b"\n") and time.monotonic() < deadline:
            chunk = os.read(read_end, 16)
            if not chunk:
                break
            number += chunk
        os.close(read_end)
        if not number.strip():
            raise RuntimeError("Xvfb did not report its display")
        self.display = ":" + number.decode().strip()

    def _start_bus(self):
        bus = self._daemon(["dbus-daemon", "--session", "--nofork", "--print-address=1"],
                           stdout=subprocess.PIPE)
        self.bus_address = bus.stdout.readline().decode().strip()
        if not self.bus_address:
            raise RuntimeError("the session bus did not start")

    def _daemon(self, command, pass_fds=(), stdout=subprocess.DEVNULL, env_extra=None):
        env = self.env() if env_extra is None else dict(os.environ, **env_extra)
        process = subprocess.Popen(command, env=env, stdout=stdout, stderr=subprocess.DEVNULL,
                                   stdin=subprocess.DEVNULL, pass_fds=pass_fds,
                                   start_new_session=True)
        self._daemons.append(process)
        return process

    # What children need

    def env(self, **extra):
        """The environment for programs on this desktop: the test's own, pointed at this
        display and bus, with Qt on X11 and its accessibility always on."""
        env = dict(os.environ)
        for key in ("WAYLAND_DISPLAY", "XAUTHORITY", "AT_SPI_BUS_ADDRESS"):
            env.pop(key, None)
        if self.display:
            env["DISPLAY"] = self.display
        if self.bus_address:
            env["DBUS_SESSION_BUS_ADDRESS"] = self.bus_address
        if self.runtime_dir:
            env["XDG_RUNTIME_DIR"] = self.runtime_dir
        env["QT_QPA_PLATFORM"] = "xcb"
        env["QT_LINUX_ACCESSIBILITY_ALWAYS_ON"] = "1"
        env["NO_AT_BRIDGE"] = "0"
        env.update(extra)
        return env

    def spawn(self, command, env=None, **popen_args):
        """Starts a program on this desktop; it is stopped with the desktop (or earlier by the
        caller)."""
        process = subprocess.Popen(command, env=env or self.env(), start_new_session=True,
                                   **popen_args)
        self._children.append(process)
        return process

    def run(self, command, timeout=READY_TIMEOUT, check=True):
        """Runs a short command on this desktop; returns its standard output."""
        done = subprocess.run(command, env=self.env(), capture_output=True, text=True,
                              timeout=timeout)
        if check and done.returncode != 0:
            raise RuntimeError("%s failed: %s" % (command[0], done.stderr.strip()))
        return done.stdout

    # Windows

    def _root_property(self, name):
        done = subprocess.run(["xprop", "-root", "-notype", name], env=self.env(),
                              capture_output=True, text=True, timeout=READY_TIMEOUT)
        text = done.stdout.strip()
        if done.returncode != 0 or "not found" in text or "no such atom" in text:
            return None
        return text.split(":", 1)[1].strip() if ":" in text else None

    def _window_property(self, window, name):
        done = subprocess.run(["xprop", "-id", str(window), "-notype", name], env=self.env(),
                              capture_output=True, text=True, timeout=READY_TIMEOUT)
        text = done.stdout.strip()
        if done.returncode != 0 or "=" not in text:
            return None
        return text.split("=", 1)[1].strip()

    def active_window(self):
        """The window the window manager calls active (_NET_ACTIVE_WINDOW), 0 for none."""
        value = self._root_property("_NET_ACTIVE_WINDOW")
        if not value:
            return 0
        return int(value.split("#")[-1].split(",")[0].strip(), 16)

    def windows(self):
        """The windows the window manager manages (_NET_CLIENT_LIST), oldest first."""
        value = self._root_property("_NET_CLIENT_LIST")
        if not value or "#" not in value:
            return []
        return [int(w.strip(), 16) for w in value.split("#", 1)[1].split(",") if w.strip()]

    def window_pid(self, window):
        value = self._window_property(window, "_NET_WM_PID")
        return int(value) if value and value.isdigit() else None

    def window_title(self, window):
        value = self._window_property(window, "_NET_WM_NAME") or \
            self._window_property(window, "WM_NAME")
        return value.strip('"') if value else None

    def windows_of_class(self, name):
        done = subprocess.run(["xdotool", "search", "--class", name], env=self.env(),
                              capture_output=True, text=True, timeout=READY_TIMEOUT)
        return [int(w) for w in done.stdout.split()]

    def wait_for_window(self, pid=None, title=None, timeout=READY_TIMEOUT):
        """The first managed window whose _NET_WM_PID is pid and/or whose title contains
        title; raises when none appears in time."""
        def match():
            for window in self.windows():
                if pid is not None and self.window_pid(window) != pid:
                    continue
                if title is not None and title not in (self.window_title(window) or ""):
                    continue
                return window
            return None
        window = wait_until(match, timeout)
        if not window:
            raise RuntimeError("no window for pid %s, title %r" % (pid, title))
        return window

    def activate(self, window):
        """Asks the window manager to activate a window, as a pager does, and waits for it."""
        self.run(["xdotool", "windowactivate", "--sync", str(window)])
        return wait_until(lambda: self.active_window() == window)

    # The tray host, which may come and go while the app runs

    def start_tray(self):
        """Starts trayer (an XEmbed tray host) at the top right, if it is not running."""
        if getattr(self, "_tray", None) and self._tray.poll() is None:
            return
        self._tray = self._daemon(["trayer", "--edge", "top", "--align", "right", "--widthtype",
                                   "request", "--height", "24", "--SetDockType", "true"])
        if not wait_until(lambda: self.windows_of_class("trayer")):
            raise RuntimeError("trayer did not start")

    def stop_tray(self):
        """Ends the tray host as a crashing or restarting panel would."""
        tray = getattr(self, "_tray", None)
        if tray:
            _stop(tray)
            self._daemons.remove(tray)
            self._tray = None
            wait_until(lambda: not self.windows_of_class("trayer"))

    def tray_icons(self):
        """The icons docked in the tray: (x, y, width, height) in screen pixels, left to
        right."""
        icons = []
        for window in self.windows_of_class("trayer"):
            done = subprocess.run(["xwininfo", "-id", str(window), "-children"], env=self.env(),
                                  capture_output=True, text=True, timeout=READY_TIMEOUT)
            for line in done.stdout.splitlines():
                # "  0xa00026 (has no name): ()  22x22+1+1  +1897+1"
                fields = line.split()
                if len(fields) < 2 or not fields[0].startswith("0x") or "x" not in fields[-2]:
                    continue
                size = fields[-2].split("+")[0]
                width, height = (int(v) for v in size.split("x"))
                x, y = (int(v) for v in fields[-1].lstrip("+").split("+"))
                if width > 1 and height > 1:
                    icons.append((x, y, width, height))
        return sorted(icons)

    # Input, as a user gives it (XTest)

    def click_at(self, x, y, button=1):
        self.run(["xdotool", "mousemove", "--sync", str(x), str(y), "click", str(button)])

    def click(self, target, button=1):
        """Clicks the centre of an Accessible (or of a window id's geometry)."""
        if isinstance(target, Accessible):
            self.click_at(*target.centre(), button=button)
        else:
            self.run(["xdotool", "mousemove", "--window", str(target), "--sync", "10", "10",
                      "click", str(button)])

    def key(self, *keys):
        self.run(["xdotool", "key", *keys])

    def type_text(self, text):
        self.run(["xdotool", "type", "--delay", "20", text])

    # Accessibility (AT-SPI)

    def _registry(self):
        os.environ["DISPLAY"] = self.display
        os.environ["DBUS_SESSION_BUS_ADDRESS"] = self.bus_address
        try:
            import pyatspi  # noqa: PLC0415: bound to the bus set just above
        except ImportError as error:
            raise RuntimeError("pyatspi is missing: run with /usr/bin/python3 after "
                               "scripts/install-deps.sh") from error
        return pyatspi

    def accessibles(self, app=None, showing=True):
        """Every control of every application (or of the one named app) as Accessible."""
        pyatspi = self._registry()
        found = []

        def visit(node, depth):
            if node is None or depth > 40:
                return
            try:
                states = node.getState()
                if not showing or states.contains(pyatspi.STATE_SHOWING):
                    box = node.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
                    found.append(Accessible(node.name, node.getRoleName(), box.x, box.y,
                                            box.width, box.height, node))
                for child in node:
                    visit(child, depth + 1)
            except Exception:  # a node that went away while we walked
                return

        desktop = pyatspi.Registry.getDesktop(0)
        for application in desktop:
            if application is None or (app and application.name != app):
                continue
            for child in application:
                visit(child, 1)
        return found

    def find(self, name, role=None, app=None, timeout=READY_TIMEOUT):
        """The first showing control with this accessible name (and role); raises when none
        appears in time."""
        def match():
            for node in self.accessibles(app):
                if node.name == name and (role is None or node.role == role):
                    return node
            return None
        node = wait_until(match, timeout, interval=0.2)
        if not node:
            raise RuntimeError("no control %r (%s) in %s" % (name, role, app or "any app"))
        return node

    def focus_log(self):
        """Starts reading, in a process of its own, which control takes the keyboard focus, as a
        screen reader follows popup menus that are not in the application's tree. Returns a
        FocusLog; stop it with stop()."""
        return FocusLog(self)

    # Sound

    def start_pulseaudio(self, sink="hollowmere_speakers"):
        """A PulseAudio daemon for this desktop's programs (found through XDG_RUNTIME_DIR) with
        one null sink as the default output; returns the sink's name."""
        home = os.path.join(self._dir, "pulse-home")
        os.makedirs(home, exist_ok=True)
        self._daemon(["pulseaudio", "--daemonize=no", "--exit-idle-time=-1", "-n",
                      "--use-pid-file=no", "--disable-shm=yes", "--log-target=stderr",
                      "--load=module-native-protocol-unix auth-anonymous=1",
                      "--load=module-null-sink sink_name=%s" % sink],
                     env_extra=dict(self.env(), HOME=home))
        if not wait_until(lambda: self.pactl("get-default-sink", check=False).strip() == sink):
            raise RuntimeError("PulseAudio did not start")
        return sink

    def pactl(self, *args, check=True):
        return self.run(["pactl", *args], check=check)

    def sink_volume(self, sink):
        """The first channel's volume of a sink, in percent."""
        text = self.pactl("get-sink-volume", sink)
        return int(text.split("/")[1].strip().rstrip("%"))

    # The app

    def start_hollowmere(self, binary, home, notch="200x32", log=None, **env):
        """The real hollowmere app on this desktop, its HOME and XDG_CONFIG_HOME inside `home`,
        drawing its notch on a simulated notched screen of that size (None: the screen as it
        is); waits until its hook server listens on /tmp/hollowmere.sock, so run the test
        under tests/support/isolated.sh."""
        app = HollowmereApp(self, binary, home, notch, log, env)
        app.start()
        return app

    # Pictures

    def screenshot(self, path):
        """Writes the whole screen as a PNG (from Xvfb's frame buffer file)."""
        with open(os.path.join(self._dir, "Xvfb_screen0"), "rb") as f:
            xwd = f.read()
        width, height, rows = _xwd_rows(xwd)
        _write_png(path, width, height, rows)
        return path


class FocusLog:
    """Names and roles of the controls that took focus, oldest first, as reported on the AT-SPI
    bus ("object:state-changed:focused")."""

    def __init__(self, desk):
        self._lines = []
        self._process = desk.spawn([sys.executable, os.path.abspath(__file__), "--focus-log"],
                                   stdout=subprocess.PIPE, text=True)
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()
        if not wait_until(lambda: self._lines and self._lines[0] == "ready"):
            raise RuntimeError("the focus listener did not start")

    def _read(self):
        for line in self._process.stdout:
            self._lines.append(line.rstrip("\n"))

    def focused(self):
        """(name, role) of each control that took focus since the log started."""
        return [tuple(json.loads(line)) for line in self._lines[1:]]

    def wait_for(self, name, role=None, after=0):
        """Waits until a control of that name (and role) takes focus, among the entries after
        the first `after`; returns its index."""
        def match():
            for index, (n, r) in enumerate(self.focused()[after:], after):
                if n == name and (role is None or r == role):
                    return index + 1
            return 0
        index = wait_until(match)
        if not index:
            raise RuntimeError("%r never took focus; seen: %r" % (name, self.focused()[after:]))
        return index - 1

    def stop(self):
        _stop(self._process)


def _print_focus_events():
    import pyatspi  # noqa: PLC0415: only in this helper process, on the desktop's bus

    def on_focus(event):
        if event.detail1:
            print(json.dumps([event.source.name, event.source.getRoleName()]), flush=True)

    pyatspi.Registry.registerEventListener(on_focus, "object:state-changed:focused")
    print("ready", flush=True)
    pyatspi.Registry.start()


class HollowmereApp:
    """The app as start_hollowmere() started it: its process, its log, its controls."""

    name = "Hollowmere"  # the application's name on the accessibility bus
    socket = "/tmp/hollowmere.sock"

    def __init__(self, desk, binary, home, notch, log, env):
        self.desk, self.binary, self.home = desk, binary, home
        self.log_path = log or os.path.join(home, "hollowmere.log")
        self.extra = dict(env, HOME=home, XDG_CONFIG_HOME=os.path.join(home, ".config"))
        if notch:
            self.extra["HOLLOWMERE_SIMULATE_NOTCH"] = notch
        self.process = None

    def start(self):
        if os.path.exists(self.socket):
            raise RuntimeError("%s exists: run under tests/support/isolated.sh" % self.socket)
        with open(self.log_path, "ab") as log:
            self.process = self.desk.spawn([self.binary], env=self.desk.env(**self.extra),
                                           stdout=log, stderr=subprocess.STDOUT)
        if not wait_until(lambda: "hook server listening" in self.log()
                          or self.process.poll() is not None):
            raise RuntimeError("hollowmere did not start:\n" + self.log())
        if self.process.poll() is not None:
            raise RuntimeError("hollowmere exited with %d:\n%s" % (self.process.returncode,
                                                                   self.log()))

    def stop(self):
        _stop(self.process)

    def log(self):
        with open(self.log_path, errors="replace") as f:
            return f.read()

    def find(self, name, role=None, timeout=READY_TIMEOUT):
        """One of the app's showing controls by accessible name (and role)."""
        return self.desk.find(name, role, app=self.name, timeout=timeout)

    def controls(self):
        return self.desk.accessibles(self.name)

    def showing(self, predicate):
        """The first showing control for which predicate(control) holds, or None."""
        return next((c for c in self.controls() if predicate(c)), None)


def _stop(process):
    if process.poll() is not None:
        return
    try:
        os.killpg(process.pid, signal.SIGTERM)
    except ProcessLookupError:
        return
    try:
        process.wait(timeout=5)
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        process.wait(timeout=5)


def _xwd_rows(xwd):
    """RGB rows of a 24-bit TrueColor XWD image (what Xvfb's -fbdir keeps)."""
    fields = struct.unpack(">25I", xwd[:100])
    header_size, width, height = fields[0], fields[4], fields[5]
    bits_per_pixel, bytes_per_line, ncolors = fields[11], fields[12], fields[19]
    byte_order = fields[7]
    if bits_per_pixel != 32:
        raise RuntimeError("unexpected XWD depth %d" % bits_per_pixel)
    start = header_size + ncolors * 12
    rows = []
    for y in range(height):
        line = xwd[start + y * bytes_per_line:start + y * bytes_per_line + width * 4]
        if byte_order == 0:  # LSBFirst: B G R X
            rgb = bytearray(width * 3)
            rgb[0::3], rgb[1::3], rgb[2::3] = line[2::4], line[1::4], line[0::4]
        else:  # MSBFirst: X R G B
            rgb = bytearray(width * 3)
            rgb[0::3], rgb[1::3], rgb[2::3] = line[1::4], line[2::4], line[3::4]
        rows.append(bytes(rgb))
    return width, height, rows


def _write_png(path, width, height, rows):
    def chunk(kind, data):
        body = kind + data
        return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body))

    raw = b"".join(b"\x00" + row for row in rows)
    with open(path, "wb") as f:
        f.write(b"\x89PNG\r\n\x1a\n")
        f.write(chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)))
        f.write(chunk(b"IDAT", zlib.compress(raw, 6)))
        f.write(chunk(b"IEND", b""))


def main():
    if sys.argv[1:] == ["--focus-log"]:
        _print_focus_events()
        return 0
    parser = argparse.ArgumentParser(description="Run a program on a private desktop.")
    parser.add_argument("--tray", action="store_true", help="start a tray host (trayer)")
    parser.add_argument("--size", default="1920x1080")
    parser.add_argument("command", nargs=argparse.REMAINDER)
    args = parser.parse_args()
    command = args.command[1:] if args.command[:1] == ["--"] else args.command
    if not command:
        parser.error("no program to run")
    with Desktop(tray=args.tray, size=args.size) as desk:
        return subprocess.run(command, env=desk.env()).returncode


if __name__ == "__main__":
    sys.exit(main())
