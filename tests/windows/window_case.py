"""What the tests of the windows share: the real windows in a session with a real window manager, worked by mouse and keyboard, their outcome read
by other programs.

LANTERNA_WINDOW_PROBE names the program that shows them.
"""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "lab"))

import panels
from accessibility import LAUNCHER, Windows

PROBE = os.environ.get("LANTERNA_WINDOW_PROBE", "")
PREFERENCES = "Lanterna Prefs (6.36)"
THE_PAIR = ["posted PreferencesChanged", "posted updateMenubarData"]


class WindowCase(unittest.TestCase):
    """A session per class, a fresh probe with fresh settings per test."""

    kind = "none"  # of the session's panel
    scale = 1
    compositor = False

    @classmethod
    def setUpClass(cls):
        missing = panels.missing_programs(cls.kind) + [name for name in ("xdotool", "xfwm4", LAUNCHER) if not shutil.which(name)]
        if missing:
            raise unittest.SkipTest("not installed: " + ", ".join(missing))
        screen = (1000 * cls.scale, 760 * cls.scale)
        cls.session = panels.Session(cls.kind, screen=screen, window_manager=True, compositor=cls.compositor).__enter__()
        cls.addClassCleanup(lambda: cls.session.stop())
        if cls.scale != 1:
            cls.session.env["QT_SCALE_FACTOR"] = str(cls.scale)
        cls.windows = Windows(cls.session, cls.scale)
        cls.addClassCleanup(lambda: cls.windows.close())

    def setUp(self):
        self.folder = self.session.folder / "config/lanterna"
        shutil.rmtree(self.folder, ignore_errors=True)
        self.folder.mkdir(mode=0o700)
        (self.session.folder / "window_probe.log").unlink(missing_ok=True)
        self.probe = None

    def start(self, **settings):
        """Starts the probe with these settings."""
        (self.folder / "settings.json").write_text(json.dumps(settings), encoding="utf-8")
        self.probe = self.session.start([PROBE, str(self.folder)], stdin=subprocess.PIPE)
        self.addCleanup(self.end)

    def end(self):
        if self.probe.poll() is None:
            self.probe.stdin.close()
        self.probe.terminate()
        self.probe.wait(10)
        self.assertNotIn("runtime error", self.log())
        self.assertNotIn("Sanitizer", self.log())
        self.assertNotIn("qrc:/", self.log())  # an error in a view

    def tell(self, command):
        self.probe.stdin.write(command.encode() + b"\n")
        self.probe.stdin.flush()

    def log(self):
        return self.session.log("window_probe")

    def said(self):
        """What the probe told of posts and answers, oldest first."""
        return [line for line in self.log().splitlines() if line.split(" ")[0] in ("posted", "applied", "answer", "log")]

    def wait_for_lines(self, *lines):
        """Waits for exactly these lines."""
        try:
            self.session.wait_for(lambda: len(self.said()) >= len(lines), "what the windows tell")
        except TimeoutError:
            pass
        self.assertEqual(self.said(), list(lines), self.log())

    def stored(self):
        return json.loads((self.folder / "settings.json").read_text(encoding="utf-8"))

    def press(self, *keys):
        self.session.run(["xdotool", "key", "--delay", "60", *keys])

    def focused(self):
        """The title of the window that has the keyboard."""
        done = subprocess.run(["xdotool", "getwindowfocus", "getwindowname"], env=self.session.env, capture_output=True, text=True, check=False, timeout=10)
        return done.stdout.strip()

    def wait_for_focus(self, title):
        self.session.wait_for(lambda: self.focused() == title, f"the focus on '{title}'")

    def open_preferences(self):
        self.tell("preferences")
        self.windows.wait("frame", PREFERENCES)
        self.wait_for_focus(PREFERENCES)
