#!/usr/bin/env python3
"""A desktop session for tests: an X server without a screen, a message bus of its own and a real panel, with screenshots.

    with Session("xfce-label") as session:
        program = session.start(["panel_probe", "192.168.1.20"], stdin=subprocess.PIPE)
        session.wait_for_item()
        session.screenshot("panel.png", session.panel_box)

Kinds: "xfce-label" (xfce4-panel with the indicator plugin: draws label texts), "xfce-tray" (its own tray: draws icons only), "none" (no panel).
All state lies in one temporary folder; every process is ended by its id. Standard library only; needs xvfb, dbus, xfce4-panel, xfce4-indicator-plugin,
ayatana-indicator-application, imagemagick (import, convert), xdotool for clicks.

By hand: panels.py KIND FILE.png -- COMMAND... starts the command in the session and takes one screenshot of the panel.
"""

import os
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent / "panels"
AYATANA = "/usr/libexec/ayatana-indicator-application/ayatana-indicator-application-service"
NEEDS = {
    "none": ["Xvfb", "dbus-daemon", "import", "convert"],
    "xfce-tray": ["Xvfb", "dbus-daemon", "import", "convert", "xfce4-panel"],
    "xfce-label": ["Xvfb", "dbus-daemon", "import", "convert", "xfce4-panel", AYATANA],
}


def missing_programs(kind):
    """The programs that this kind of session needs and the machine lacks."""
    return [name for name in NEEDS[kind] if not shutil.which(name)]


def free_display():
    """A display number that nobody on this machine uses.

    Left to choose, the server asks its network namespace only: in a lab it would take the number of the person's own display, and replace its socket.
    """
    # Past the numbers of desktops and of remote logins, from a place of its own so that sessions that start together do not meet.
    first = 100 + random.randrange(10000)
    return next(n for n in range(first, first + 10000) if not any(os.path.lexists(p) for p in (f"/tmp/.X11-unix/X{n}", f"/tmp/.X{n}-lock")))


class Session:
    """One X server, one bus, one panel at the top edge."""

    def __init__(self, kind="xfce-label", screen=(800, 600), panel_size=28, icon_size=22, dark=True, window_manager=False, compositor=False):
        self.kind, self.screen, self.panel_size, self.icon_size, self.dark = kind, screen, panel_size, icon_size, dark
        self.window_manager, self.compositor = window_manager, compositor
        self.processes = []
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="lanterna-panel-"))
        self.env = {}
        self.empty_panel = None

    @property
    def panel_box(self):
        """Left, top, width and height of the panel in pixels."""
        return (0, 0, self.screen[0], self.panel_size)

    def __enter__(self):
        try:
            self._start_display()
            self._start_bus()
            self._start_panel()
        except BaseException:
            self.stop()
            raise
        return self

    def __exit__(self, *_):
        self.stop()

    def stop(self):
        """Ends everything that was started here, last first, and removes the folder."""
        for process in reversed(self.processes):
            if process.poll() is None:
                process.terminate()
            try:
                process.wait(5)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()
        self.processes.clear()
        shutil.rmtree(self.folder, ignore_errors=True)

    def start(self, command, **options):
        """Starts a program inside the session; it is ended with it. Its output goes to NAME.log in the folder unless stdout or stderr are given."""
        name = pathlib.Path(command[0]).name
        log = open(self.folder / f"{name}.log", "ab")
        options.setdefault("stdout", log)
        options.setdefault("stderr", log)
        options.setdefault("stdin", subprocess.DEVNULL)
        options.setdefault("env", self.env)
        process = subprocess.Popen(command, **options)
        log.close()
        self.processes.append(process)
        return process

    def log(self, name):
        """What the program of this name wrote so far."""
        path = self.folder / f"{name}.log"
        return path.read_text(errors="replace") if path.exists() else ""

    def run(self, command, **options):
        """Runs a program inside the session to its end and returns its output."""
        return subprocess.run(command, env=self.env, check=True, capture_output=True, timeout=30, **options).stdout

    def screenshot(self, target, box=None, scale=1):
        """Writes a PNG of the screen or of a box of it, enlarged without smoothing."""
        left, top, width, height = box or (0, 0, *self.screen)
        crop = ["-crop", f"{width}x{height}+{left}+{top}", "+repage"]
        self.run(["import", "-window", "root", *crop, "-filter", "point", "-resize", f"{100 * scale}%", str(target)])

    def pixels(self, box=None):
        """The box as (width, height, bytes): three bytes (red, green, blue) a pixel, row by row."""
        left, top, width, height = box or (0, 0, *self.screen)
        data = self.run(["import", "-window", "root", "-crop", f"{width}x{height}+{left}+{top}", "+repage", "-depth", "8", "rgb:-"])
        return width, height, data

    def wait_for(self, condition, what, seconds=15):
        """Looks at the condition until it holds and returns its value; TimeoutError names `what`."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            value = condition()
            if value:
                return value
            time.sleep(0.05)
        raise TimeoutError(f"{what}: not within {seconds} s")

    def wait_until_still(self, box=None, different_from=None, what="the panel"):
        """Waits until two pictures in a row are equal, and differ from the given one. Returns the pixels."""
        box = box or self.panel_box
        last = [None]

        def still():
            now = self.pixels(box)
            settled = now == last[0] and now != different_from
            last[0] = now
            return now if settled else None

        return self.wait_for(still, f"{what} stands still")

    def wait_for_item(self):
        """Waits until the panel shows something that it did not show when it was started."""
        return self.wait_until_still(different_from=self.empty_panel, what="the panel with an item")

    def click(self, x, y, button=1):
        """A mouse click at this place of the screen."""
        self.run(["xdotool", "mousemove", str(x), str(y), "click", str(button)])

    def item_position(self):
        """A place on the panel's last item: the panel is empty but for the items at its right end."""
        return self.screen[0] - self.icon_size // 2 - 4, self.panel_size // 2

    def _start_display(self):
        reading, writing = os.pipe()
        size = f"{self.screen[0]}x{self.screen[1]}x24"
        command = ["Xvfb", f":{free_display()}", "-displayfd", str(writing), "-screen", "0", size, "-nolisten", "tcp", "-noreset"]
        self.env = {"PATH": os.environ.get("PATH", "/usr/bin:/bin")}
        self.start(command, pass_fds=[writing])
        os.close(writing)
        with os.fdopen(reading) as answer:
            number = answer.readline().strip()
        if not number:
            raise RuntimeError(f"Xvfb did not start: {self.log('Xvfb')}")
        self._set_environment(DISPLAY=f":{number}", XDG_SESSION_TYPE="x11", XDG_CURRENT_DESKTOP="XFCE", QT_QPA_PLATFORM="xcb")

    def _set_environment(self, **display):
        """What programs of the session find: folders of their own, and the display as given."""
        for name in ("home", "config", "data", "cache", "run"):
            (self.folder / name).mkdir(mode=0o700)
        self.env.update({
            "HOME": str(self.folder / "home"),
            "XDG_CONFIG_HOME": str(self.folder / "config"),
            "XDG_DATA_HOME": str(self.folder / "data"),
            "XDG_CACHE_HOME": str(self.folder / "cache"),
            "XDG_RUNTIME_DIR": str(self.folder / "run"),
            "LANG": "C.UTF-8",
            "GSETTINGS_BACKEND": "memory",
            "NO_AT_BRIDGE": "1",
            **display,
        })

    def _start_bus(self):
        services = self.folder / "services"
        services.mkdir()
        # Nothing but the panel's own settings service can be started by a message.
        settings = pathlib.Path("/usr/share/dbus-1/services/org.xfce.Xfconf.service")
        if settings.exists():
            shutil.copy(settings, services)
        config = self.folder / "bus.conf"
        config.write_text((HERE / "bus.conf").read_text().replace("@FOLDER@", str(self.folder)))
        daemon = self.start(["dbus-daemon", f"--config-file={config}", "--nofork", "--print-address=1"], stdout=subprocess.PIPE)
        address = daemon.stdout.readline().decode().strip()
        daemon.stdout.close()
        if not address:
            raise RuntimeError(f"the message bus did not start: {self.log('dbus-daemon')}")
        self.env["DBUS_SESSION_BUS_ADDRESS"] = address
        # No panel may reach the machine's own services.
        self.env["DBUS_SYSTEM_BUS_ADDRESS"] = address

    def _start_panel(self):
        if self.window_manager:
            self.start(["xfwm4", f"--compositor={'on' if self.compositor else 'off'}"])
        if self.kind == "none":
            return
        plugin = {"xfce-label": "indicator", "xfce-tray": "systray"}[self.kind]
        text = (HERE / "xfce4-panel.xml").read_text()
        values = {"@PLUGIN@": plugin, "@SIZE@": str(self.panel_size), "@ICON@": str(self.icon_size), "@DARK@": str(self.dark).lower()}
        for key, value in values.items():
            text = text.replace(key, value)
        folder = self.folder / "config/xfce4/xfconf/xfce-perchannel-xml"
        folder.mkdir(parents=True)
        (folder / "xfce4-panel.xml").write_text(text)
        if self.kind == "xfce-label":
            self.start([AYATANA])
            self.wait_for(lambda: self.has_name("org.kde.StatusNotifierWatcher"), "the indicator service")
        blank = self.pixels(self.panel_box)
        self.start(["xfce4-panel", "--disable-wm-check"])
        if self.kind == "xfce-tray":
            self.wait_for(lambda: self.has_name("org.kde.StatusNotifierWatcher"), "the tray")
        self.empty_panel = self.wait_until_still(different_from=blank)

    def has_name(self, name):
        """Whether a program on the bus owns the name."""
        command = ["dbus-send", "--session", "--print-reply=literal", "--dest=org.freedesktop.DBus", "/org/freedesktop/DBus",
                   "org.freedesktop.DBus.NameHasOwner", f"string:{name}"]
        return b"true" in self.run(command)


def main(arguments):
    kind, target, separator, *command = arguments
    if separator != "--" or not command:
        raise SystemExit("usage: panels.py KIND FILE.png -- COMMAND...")
    with Session(kind) as session:
        session.start(command, stdin=subprocess.PIPE)
        session.wait_for_item()
        session.screenshot(target, session.panel_box)


if __name__ == "__main__":
    main(sys.argv[1:])
