"""What the tests of the two programs share: they run in the sensor of a lab, with a bus and panel of their own, and look at what a person sees.

LANTERNA_PROGRAMS names the folder of `lanterna` and `lanternactl`. One session (display, bus, panel) per test class; a fresh program with fresh
settings per test.
"""

import json
import os
import pathlib
import shutil
import subprocess
import tempfile
import threading
import time
import unittest

import panels
from bus_client import Bus, BusError
from lanternalab import control

PROGRAMS = os.environ.get("LANTERNA_PROGRAMS", "")
LAB = os.environ.get("LANTERNA_LAB", "")
# The name behind which the program's item and menu are; each test class has a bus of its own.
NAME = "org.lanterna.Lanterna"
ITEM = "org.kde.StatusNotifierItem"
# The scene "small".
ADDRESS = "192.168.77.10"
NETWORK = "Subnet 192.168.77.x"  # by which a network without a name goes
# An address for a second interface.
SECOND = "10.20.30.10"
WAN_ADDRESS = "203.0.113.7"
SERVER = "http://192.168.77.1"
# The change itself takes 3 s (the pause after a burst of events); the rest is for busy machines and sanitizers.
NETWORK_PATIENCE = 15
# The checker answers later than a local answer would, in seconds: an address update within 0.2 s of the one before is dropped.
CHECKER_WAIT = 0.3
# What the program promises for its end, in seconds.
QUIT_TIME = 1.0

if LAB:
    tempfile.tempdir = LAB  # ends with the lab


def lab(*words):
    """A request to the lab, in the words of `lab.py ctl`."""
    return control.request(LAB, list(words))


def page(*pairs, path="/ip"):
    """Changes a page of the gateway's web server."""
    lab("http", "gateway", path, *pairs)


def checker_page(text):
    return f"body=<html><body>Current IP Address: {text}</body></html>"


def requests(path):
    return lab("http", "count", "gateway", path)


class FakeNotifications:
    """A notification service on the session bus, in a thread of its own."""

    def __init__(self, address):
        self.notices = []  # (title, body)
        self.calls = []  # of Notify, all arguments
        self.bus = Bus(address)
        self.bus.own("org.freedesktop.Notifications", self.handle)
        self.ended = False
        self.thread = threading.Thread(target=self.serve, daemon=True)
        self.thread.start()

    def handle(self, message):
        if message.fields["member"] != "Notify":
            raise BusError("org.freedesktop.DBus.Error.UnknownMethod")
        self.calls.append(message.values)
        self.notices.append((message.values[3], message.values[4]))
        return "u", [len(self.notices)]

    def serve(self):
        try:
            while not self.ended:
                self.bus.receive(0.2)
        except BusError:
            pass  # the session is over

    def stop(self):
        self.ended = True
        self.thread.join()
        self.bus.close()


class Settings:
    """A settings folder, seen from outside the program."""

    def __init__(self, config):
        self.config = pathlib.Path(config)
        self.file = self.config / "lanterna/settings.json"

    def write(self, values):
        shutil.rmtree(self.config / "lanterna", ignore_errors=True)
        self.file.parent.mkdir(parents=True, mode=0o700)
        self.file.write_text(json.dumps(values), encoding="utf-8")

    def read(self):
        return json.loads(self.file.read_text(encoding="utf-8")) if self.file.exists() else {}


class ProgramCase(unittest.TestCase):
    kind = "none"

    @classmethod
    def setUpClass(cls):
        if not LAB:
            raise unittest.SkipTest("this runs inside a lab only")
        if not os.access(f"{PROGRAMS}/lanterna", os.X_OK):
            raise AssertionError(f"LANTERNA_PROGRAMS ('{PROGRAMS}') holds no program")
        needed = ["xdotool", "xclip", "xfwm4"]
        missing = panels.missing_programs(cls.kind) + [name for name in needed if not shutil.which(name)]
        if missing:
            raise unittest.SkipTest("not installed: " + ", ".join(missing))
        cls.open_session()

    @classmethod
    def open_session(cls):
        cls.session = panels.Session(cls.kind, window_manager=True).__enter__()
        cls.addClassCleanup(lambda: cls.session.stop())
        cls.bus = Bus(cls.session.env["DBUS_SESSION_BUS_ADDRESS"])
        cls.addClassCleanup(lambda: cls.bus.close())
        cls.settings = Settings(cls.session.env["XDG_CONFIG_HOME"])

    def setUp(self):
        self.program = None
        page("mode=ok", "status=200", f"wait={CHECKER_WAIT}", checker_page(WAN_ADDRESS))
        self.settings.write(self.usual_settings())
        self.addCleanup(self.end_program)

    @staticmethod
    def usual_settings(**more):
        """Not the first launch; the first address in the panel."""
        return {"first_run": "TRUE", "whichIP": 1, "configurationURL": f"{SERVER}/lanterna.txt", **more}

    # The program

    def start(self, *arguments, **settings):
        """Starts `lanterna` and waits until its item is on the bus."""
        if settings:
            self.settings.write(self.usual_settings(**settings))
        self.program = self.session.start([f"{PROGRAMS}/lanterna", *arguments])
        self.eventually(lambda: self.label() is not None, "the item on the bus")

    def end_program(self):
        """Ends the program and says what it wrote when the test went wrong."""
        if self.program and self.program.poll() is None:
            self.program.terminate()
            self.assertEqual(self.program.wait(10), 0)
        self.assertNotIn("runtime error", self.session.log("lanterna"))
        self.assertNotIn("Sanitizer", self.session.log("lanterna"))
        self.assertNotIn("qrc:/", self.session.log("lanterna"))  # an error in a window's view

    def assert_ends_in_time(self, process, begun, code=0):
        process.wait(10)
        took = time.monotonic() - begun
        self.assertEqual(process.returncode, code)
        self.assertLess(took, QUIT_TIME)

    def run_program(self, name, *arguments, seconds=15, **options):
        """Runs one of the programs to its end: its completed process, with texts."""
        options = {"stdin": subprocess.DEVNULL, "env": self.session.env, **options}
        return subprocess.run([f"{PROGRAMS}/{name}", *arguments], capture_output=True, text=True, timeout=seconds, check=False, **options)

    def ctl(self, *arguments, code=0):
        """What `lanternactl` prints; fails when it ends with another code."""
        done = self.run_program("lanternactl", *arguments)
        self.assertEqual(done.returncode, code, done.stdout + done.stderr)
        return done.stdout

    def eventually(self, condition, what, seconds=NETWORK_PATIENCE):
        return self.session.wait_for(condition, what, seconds)

    # What it shows

    def item(self, name):
        """A property of the status item; None while there is no item."""
        try:
            return self.bus.get(NAME, "/StatusNotifierItem", ITEM, name)
        except BusError:
            return None

    def label(self):
        return self.item("XAyatanaLabel")

    def wait_for_label(self, text):
        try:
            self.eventually(lambda: self.label() == text, f"the label '{text}'")
        except TimeoutError as error:
            self.fail(f"{error}; it is '{self.label()}'\n{self.session.log('lanterna')[-3000:]}")

    def wait_for_wan(self, text):
        self.eventually(lambda: text in self.rows() and self.settings.read().get("WANIP") == text, f"the WAN row '{text}'")

    def wait_for_a_pass(self):
        """A pass over the network, begun by an address that comes, is over: the address is in the menu, and what it makes the program send is out.

        It takes the place of the one that would follow the start; the next is most of a minute away.
        """
        lab("link", "add", "sensor", "eth1", "lan")
        self.addCleanup(lab, "link", "del", "sensor", "eth1")
        lab("addr", "add", "sensor", "eth1", f"{SECOND}/24")
        self.eventually(lambda: SECOND in self.rows(), "the row of the second address")

    # Its menu, over the bus

    def menu(self):
        """The menu as nested rows: {"id", "label", "enabled", "type", "toggle-state", ..., "children"}."""
        def row(node):
            number, properties, children = node
            return {"id": number, "label": "", **properties, "children": [row(child) for child in children]}
        _, root = self.bus.call(NAME, "/MenuBar", "com.canonical.dbusmenu", "GetLayout", "iias", 0, -1, [])
        return row(root)["children"]

    def rows(self):
        """The titles of the top rows; separators are empty."""
        return [row["label"] for row in self.menu()]

    def row(self, *titles):
        """A row by its title and those of the menus it is in."""
        rows, found = self.menu(), None
        for title in titles:
            found = next((row for row in rows if row["label"] == title), None)
            self.assertIsNotNone(found, f"no row '{title}' in {[row['label'] for row in rows]}")
            rows = found["children"]
        return found

    def choose(self, *titles):
        """Clicks a row as a panel reports it."""
        self.bus.call(NAME, "/MenuBar", "com.canonical.dbusmenu", "Event", "isvu", self.row(*titles)["id"], "clicked", ("i", 0), 0)

    def clipboard(self):
        done = subprocess.run(["xclip", "-o", "-selection", "clipboard"], env=self.session.env, capture_output=True, text=True, timeout=10,
                              check=False)
        return done.stdout if done.returncode == 0 else None

    # Its windows

    def window(self, name="^Lanterna$"):
        """A visible window's number by its title; None when there is none."""
        found = subprocess.run(["xdotool", "search", "--onlyvisible", "--name", name], env=self.session.env, capture_output=True, text=True,
                               timeout=10, check=False).stdout.split()
        return found[0] if found else None

    def press(self, *keys):
        """Keys for the window that has the focus once there is one."""
        window = self.eventually(self.window, "the window")
        self.session.run(["xdotool", "windowfocus", "--sync", window])
        self.session.run(["xdotool", "key", "--delay", "60", *keys])
        return window
