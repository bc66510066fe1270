"""The desktop program's windows in a lab: opened from the real panel, worked by mouse and keyboard, with what comes of it in panel and settings."""

import shutil
import subprocess
import time
import unittest

from accessibility import LAUNCHER, Windows
from program_case import ADDRESS, PROGRAMS, WAN_ADDRESS, ProgramCase

PREFERENCES = "Lanterna Prefs (6.36)"
CARD = "Welcome to Lanterna"


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

    def first_launch(self):
        self.settings.write({"configurationURL": self.usual_settings()["configurationURL"]})
        self.program = self.session.start([f"{PROGRAMS}/lanterna"])
        self.windows.wait("push button", "Open Preferences")
        self.eventually(lambda: self.focused() == CARD, "the focus on the welcome card")

    def test_first_launch_welcomes_and_leads_to_the_preferences(self):
        self.first_launch()
        self.assertNotIn("hasShownWelcomePopover", self.settings.read())
        self.session.run(["xdotool", "key", "Return"])
        self.windows.wait("frame", PREFERENCES)
        self.windows.wait_gone("frame", CARD)
        self.assertIs(self.settings.read()["hasShownWelcomePopover"], True)

    def test_card_that_was_acknowledged_does_not_come_again(self):
        self.first_launch()
        self.windows.wait("push button", "Continue").click()
        self.windows.wait_gone("frame", CARD)
        self.assertIs(self.settings.read()["hasShownWelcomePopover"], True)
        self.end_program()
        self.program = self.session.start([f"{PROGRAMS}/lanterna"])
        self.eventually(lambda: self.label() is not None, "the item on the bus")
        self.open_preferences()  # by then a card would have come
        self.assertIsNone(self.windows.find("frame", CARD))

    def test_every_window_is_reached_from_the_menu_by_keyboard(self):
        self.start()
        self.open_preferences()
        # What is pressed in the window before, and the window that it leads to.
        for keys, title in (("shift+Tab space", "LAN Data Sharing"), ("Tab Tab Tab space", "Recent Activity"), ("Escape", "LAN Data Sharing"),
                            ("Tab space", "Lanterna"), ("Escape", "LAN Data Sharing"), ("Tab space", "Lanterna"), ("Return", "Create WiFi Stub"),
                            ("Escape", "LAN Data Sharing"), ("Escape", PREFERENCES)):
            self.session.run(["xdotool", "key", "--delay", "60", *keys.split()])
            self.eventually(lambda title=title: self.focused() == title, f"the focus on '{title}'")

    def test_copy_from_the_menu_leaves_the_focus_where_it_is(self):
        self.start()
        self.wait_for_label(ADDRESS)
        self.open_preferences()
        self.session.start(["display", "-title", "Other", "xc:white[200x100]"])
        self.eventually(lambda: self.focused() == "Other", "the focus on another program's window")
        self.choose(ADDRESS)
        self.eventually(lambda: self.clipboard() == ADDRESS, "the address on the clipboard")
        self.assertEqual(self.focused(), "Other")

    def test_box_for_the_login_undoes_what_the_desktop_switched_off(self):
        self.session.env["LANTERNA_LOGIN_ITEM"] = "1"
        self.addCleanup(self.session.env.pop, "LANTERNA_LOGIN_ITEM")
        entry = self.settings.config / "autostart/lanterna.desktop"
        self.start()
        self.eventually(entry.exists, "the login item")
        self.end_program()
        entry.write_text(entry.read_text() + "Hidden=true\n")
        self.start()
        self.wait_for_label(ADDRESS)
        self.assertIn("Hidden=true", entry.read_text())  # the person's own choice stands
        self.open_preferences()
        box = self.windows.wait("check box", "Launch at login")
        box.click()
        self.eventually(lambda: self.settings.read()["launchAtLogin"] is False, "the setting")
        box.click()
        self.eventually(lambda: entry.exists() and "Hidden=true" not in entry.read_text(), "a login item that counts")
        self.ctl("settings", "set", "launchAtLogin", "no")  # another process's choice counts as well
        self.eventually(lambda: not entry.exists(), "the end of the login item")
        self.eventually(lambda: not box.has("checked"), "the box without its mark")

    def test_program_ends_at_once_with_the_welcome_card_open(self):
        self.first_launch()
        begun = time.monotonic()
        self.choose("Quit")
        self.assert_ends_in_time(self.program, begun)

    def test_program_ends_at_once_while_a_copy_is_confirmed(self):
        self.start()
        self.wait_for_label(ADDRESS)
        self.choose(ADDRESS)
        self.eventually(self.window, "the bubble")
        begun = time.monotonic()
        self.choose("Quit")
        self.assert_ends_in_time(self.program, begun)

    def test_program_ends_at_once_with_a_window_open(self):
        self.start()
        self.wait_for_label(ADDRESS)
        self.open_preferences()
        self.choose("Quit")
        self.assertEqual(self.program.wait(10), 0)


del ProgramCase

if __name__ == "__main__":
    unittest.main(verbosity=2)
