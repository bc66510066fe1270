"""The desktop program's windows in a lab: opened from the real panel, worked by mouse and keyboard, with what comes of it in panel and settings."""

import shutil
import subprocess
import unittest

from accessibility import LAUNCHER, Windows
from program_case import ADDRESS, WAN_ADDRESS, ProgramCase

PREFERENCES = "Lanterna Prefs (6.36)"


class WindowsTest(ProgramCase):
    kind = "xfce-label"

    @classmethod
    def setUpClass(cls):
        if not shutil.which(LAUNCHER):
            raise unittest.SkipTest(f"not installed: {LAUNCHER}")
        super().setUpClass()

    @classmethod
    def open_session(cls):
        super().open_session()
        cls.windows = Windows(cls.session)
        cls.addClassCleanup(lambda: cls.windows.close())

    def focused(self):
        done = subprocess.run(["xdotool", "getwindowfocus", "getwindowname"], env=self.session.env, capture_output=True, text=True, check=False, timeout=10)
        return done.stdout.strip()

    def open_preferences(self):
        self.choose("Preferences…")
        self.windows.wait("frame", PREFERENCES)
        self.eventually(lambda: self.focused() == PREFERENCES, "the focus on the preferences")

    def test_display_mode_chosen_in_the_window_is_in_the_panel(self):
        self.start()
        self.wait_for_label(ADDRESS)
        self.wait_for_wan(WAN_ADDRESS)
        self.open_preferences()
        self.session.run(["xdotool", "key", "--delay", "60", "Up"])  # the picker has the focus; the row above is the WAN address
        self.wait_for_label(WAN_ADDRESS)
        self.assertEqual(self.settings.read()["whichIP"], 2)
        self.windows.wait("check box", "Display interface name").click()
        self.eventually(lambda: self.settings.read().get("showInterfaceName") is True, "the interface name in the settings")

    def test_open_window_follows_the_command_line_and_the_menu(self):
        self.start()
        self.wait_for_label(ADDRESS)
        self.open_preferences()
        picker = self.windows.wait("combo box", "Display in menubar:")
        self.ctl("settings", "set", "whichIP", "4")
        self.eventually(lambda: picker.description == "Icon Only (no IP)", "the command line's mode in the window")
        self.choose("Show in Panel", "Primary LAN IP")
        self.eventually(lambda: picker.description == "Primary LAN IP", "the menu's mode in the window")

    def test_second_start_brings_the_preferences_to_the_front(self):
        self.start()
        self.assertEqual(self.run_program("lanterna").returncode, 0)
        self.windows.wait("frame", PREFERENCES)
        self.session.run(["xdotool", "key", "Escape"])
        self.windows.wait_gone("frame", PREFERENCES)
        self.assertEqual(self.run_program("lanterna").returncode, 0)
        self.windows.wait("frame", PREFERENCES)

    def test_copy_from_the_menu_leaves_the_focus_where_it_is(self):
        self.start()
        self.wait_for_label(ADDRESS)
        self.open_preferences()
        self.session.start(["display", "-title", "Other", "xc:white[200x100]"])
        self.eventually(lambda: self.focused() == "Other", "the focus on another program's window")
        self.choose(ADDRESS)
        self.eventually(lambda: self.clipboard() == ADDRESS, "the address on the clipboard")
        self.assertEqual(self.focused(), "Other")

    def test_program_ends_at_once_with_a_window_open(self):
        self.start()
        self.wait_for_label(ADDRESS)
        self.open_preferences()
        self.choose("Quit")
        self.assertEqual(self.program.wait(10), 0)


del ProgramCase

if __name__ == "__main__":
    unittest.main(verbosity=2)
