"""The desktop program in a Wayland session inside a lab: a copy lands although nothing of the program has the focus, and is said in a notification,
since no program may place a window there."""

import json
import shutil
import subprocess
import unittest

import panels
from bus_client import Bus
from program_case import ADDRESS, FakeNotifications, ProgramCase, Settings

CLAIM = "the following text has been copied to your clipboard: \n"
DISPLAY_TIME = 3500  # milliseconds


class WaylandSession(panels.Session):
    """A compositor without a screen, and a bus of its own."""

    def __init__(self):
        super().__init__("none")

    def _start_display(self):
        self._set_environment(PATH="/usr/bin:/bin", XDG_SESSION_TYPE="wayland", XDG_CURRENT_DESKTOP="sway")
        config = self.folder / "sway.conf"
        config.write_text("output * resolution 800x600\nxwayland disable\n")
        drawing = {"WLR_BACKENDS": "headless", "WLR_RENDERER": "pixman", "WLR_LIBINPUT_NO_DEVICES": "1", "LIBSEAT_BACKEND": "noop"}
        # It refuses to run where it could become root: here nobody can, and to everybody else it is who started it.
        nobody = ["unshare", "--user", "--map-user=1000", "--map-group=1000"]
        self.start([*nobody, "sway", "--config", str(config)], env={**self.env, **drawing})
        run = self.folder / "run"
        self.env["WAYLAND_DISPLAY"] = self.wait_for(lambda: next((path.name for path in run.glob("wayland-?")), None), "the compositor")
        self.env["SWAYSOCK"] = str(self.wait_for(lambda: next(run.glob("sway-ipc.*"), None), "the compositor's socket"))

    def windows(self):
        """The titles of all windows."""
        def names(node):
            if node.get("pid"):
                yield node["name"]
            for child in node.get("nodes", []) + node.get("floating_nodes", []):
                yield from names(child)
        return list(names(json.loads(self.run(["swaymsg", "-t", "get_tree"]))))


class WaylandTest(ProgramCase):
    @classmethod
    def open_session(cls):
        missing = [name for name in ("sway", "wl-copy", "wl-paste") if not shutil.which(name)]
        if missing:
            raise unittest.SkipTest("not installed: " + ", ".join(missing))
        cls.session = WaylandSession().__enter__()
        cls.addClassCleanup(lambda: cls.session.stop())
        cls.bus = Bus(cls.session.env["DBUS_SESSION_BUS_ADDRESS"])
        cls.addClassCleanup(lambda: cls.bus.close())
        cls.settings = Settings(cls.session.env["XDG_CONFIG_HOME"])
        cls.notifications = FakeNotifications(cls.session.env["DBUS_SESSION_BUS_ADDRESS"])
        cls.addClassCleanup(lambda: cls.notifications.stop())

    def setUp(self):
        super().setUp()
        self.notifications.calls.clear()
        # It leaves a process behind that would hold our ends of a pipe.
        subprocess.run(["wl-copy", "something else"], env=self.session.env, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, timeout=10, check=True)
        self.assertEqual(self.pasted(), "something else")

    def pasted(self):
        return subprocess.run(["wl-paste", "--no-newline"], env=self.session.env, capture_output=True, text=True, timeout=10, check=False).stdout

    def types(self):
        """The types in which the clipboard's content is offered."""
        return subprocess.run(["wl-paste", "--list-types"], env=self.session.env, capture_output=True, text=True, timeout=10, check=True).stdout.split()

    def brief(self):
        """The notices that are kept nowhere, as (body, duration)."""
        return [(call[4], call[7]) for call in self.notifications.calls if call[6].get("transient")]

    def test_copied_row_can_be_pasted_and_is_said_in_a_notification(self):
        self.start()
        self.wait_for_label(ADDRESS)
        self.choose(ADDRESS)
        self.eventually(self.brief, "the notification")
        self.assertEqual(self.brief(), [(CLAIM + ADDRESS, DISPLAY_TIME)])
        self.assertEqual(self.pasted(), ADDRESS)
        self.assertLessEqual({"text/plain", "text/plain;charset=utf-8"}, set(self.types()))
        self.assertEqual(self.session.windows(), [])

    def test_copy_of_the_displayed_address_lands_without_a_notification(self):
        self.start()
        self.wait_for_label(ADDRESS)
        self.choose("Copy Displayed Address")
        self.eventually(lambda: self.pasted() == ADDRESS, "the address on the clipboard")
        self.assertEqual(self.brief(), [])

    def test_copy_that_cannot_be_made_is_not_claimed(self):
        path = self.session.env["PATH"]
        self.session.env["PATH"] = str(self.session.folder / "home")  # where no wl-copy is
        try:
            self.start()
        finally:
            self.session.env["PATH"] = path
        self.wait_for_label(ADDRESS)
        self.choose(ADDRESS)
        self.eventually(self.brief, "the notification")
        self.assertEqual(self.brief(), [("the clipboard could not be set", DISPLAY_TIME)])
        self.assertEqual(self.pasted(), "something else")


del ProgramCase

if __name__ == "__main__":
    unittest.main(verbosity=2)
