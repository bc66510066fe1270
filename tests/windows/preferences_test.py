"""The preferences window, worked by mouse and by keyboard."""

import subprocess
import unittest

from window_case import PREFERENCES, THE_PAIR, WindowCase


class PreferencesTest(WindowCase):
    def shown(self, picker):
        return self.windows.wait("combo box", picker).description

    def wait_for_shown(self, picker, text):
        self.session.wait_for(lambda: self.shown(picker) == text, f"'{text}' in the picker '{picker}'")

    def test_each_control_works_by_mouse(self):
        self.start()
        self.open_preferences()
        self.windows.wait("check box", "Display interface name").click()
        self.wait_for_lines(*THE_PAIR)
        self.assertIs(self.stored()["showInterfaceName"], True)
        self.windows.wait("check box", "Launch at login").click()
        self.wait_for_lines(*THE_PAIR, "applied 0")
        self.assertIs(self.stored()["launchAtLogin"], False)
        for count, (picker, row, key, value) in enumerate((("Display in menubar:", 1, "whichIP", 1), ("WAN update frequency (mins)", 2, "updateFrequencyWAN", "60"),
                                                           ("LAN update frequency (secs)", 0, "updateFrequencyLAN", "30"))):
            self.choose_by_mouse(picker, row)
            self.wait_for_lines(*THE_PAIR, "applied 0", *THE_PAIR * (count + 1))
            self.assertEqual(self.stored()[key], value)

    def choose_by_mouse(self, picker, row):
        """Opens the list below the picker and clicks a row of it; rows are as high as the picker."""
        element = self.windows.wait("combo box", picker)
        left, top, width, height = element.box
        below = (left, top + height, width, 4 * height)
        closed = self.session.pixels(below)
        element.click()
        self.session.wait_until_still(below, different_from=closed, what="the open list")
        self.session.click(left + width // 2, top + height + 6 + round((row + 0.5) * height))
        self.session.wait_for(lambda: self.session.pixels(below)[2][-30:] == closed[2][-30:], "the end of the list")

    def test_each_control_works_by_keyboard(self):
        self.start()
        self.open_preferences()
        self.press("Up")  # the first picker has the focus: a step without opening
        self.wait_for_lines(*THE_PAIR)
        self.assertEqual(self.stored()["whichIP"], 3)
        self.press("Tab", "space")
        self.wait_for_lines(*THE_PAIR * 2)
        self.assertIs(self.stored()["showInterfaceName"], True)
        self.press("Tab", "space", "Down", "Down", "Return")  # opens the list, walks in it, takes the row
        self.wait_for_lines(*THE_PAIR * 3)
        self.assertEqual(self.stored()["updateFrequencyWAN"], "60")
        self.press("Tab", "space", "Up", "Escape")  # leaves the list as it was, and the window open
        self.press("Tab", "space")
        self.wait_for_lines(*THE_PAIR * 3, "applied 0")
        self.assertNotIn("updateFrequencyLAN", self.stored())
        self.press("Tab")
        self.session.wait_for(lambda: self.windows.wait("push button", "Configure LAN data sharing").has("focused"), "the focus on the button")

    def test_closed_window_comes_back_with_the_focus(self):
        self.start()
        self.open_preferences()
        self.press("Escape")
        self.windows.wait_gone("frame", PREFERENCES)
        self.open_preferences()
        self.tell("preferences")
        self.wait_for_focus(PREFERENCES)

    def test_open_window_follows_another_process(self):
        self.start(whichIP=1)
        self.open_preferences()
        self.wait_for_shown("Display in menubar:", "Primary LAN IP")
        other = self.folder / "other.json"
        other.write_text('{"whichIP": 2, "launchAtLogin": false, "updateFrequencyLAN": 45}')
        other.rename(self.folder / "settings.json")
        self.wait_for_shown("Display in menubar:", "WAN IP")
        self.wait_for_shown("LAN update frequency (secs)", "")
        self.session.wait_for(lambda: not self.windows.wait("check box", "Launch at login").has("checked"), "the box without its mark")
        self.assertEqual(self.said(), [])

    def test_no_key_shows_what_is_not_chosen(self):
        self.start(whichIP=3)
        self.open_preferences()
        self.press("p", "i")  # first letters of rows
        self.assertEqual(self.shown("Display in menubar:"), "Secondary LAN IP")
        self.assertEqual(self.said(), [])
        self.press("End")
        self.wait_for_lines(*THE_PAIR)
        self.assertEqual(self.stored()["whichIP"], 4)
        self.wait_for_shown("Display in menubar:", "Icon Only (no IP)")
        self.press("space", "Home", "KP_Enter")
        self.wait_for_lines(*THE_PAIR * 2)
        self.assertEqual(self.stored()["whichIP"], 2)

    def open_list(self):
        """Opens the first picker's list: the box of the screen that it covers, and what stood there."""
        picker = self.windows.wait("combo box", "Display in menubar:")
        left, top, width, height = picker.box
        below = (left, top + height, width, 4 * height)
        closed = self.session.pixels(below)
        picker.click()
        self.session.wait_until_still(below, different_from=closed, what="the open list")
        return below, closed

    def lists(self):
        """Windows without a title: the list is one, while it is open."""
        found = subprocess.run(["xdotool", "search", "--onlyvisible", "--pid", str(self.probe.pid)], env=self.session.env, capture_output=True, text=True, check=False)
        return len(found.stdout.split())

    def test_open_list_goes_when_its_window_moves_or_loses_the_focus(self):
        self.start()
        self.open_preferences()
        before = self.lists()
        window = self.session.run(["xdotool", "search", "--onlyvisible", "--name", "Lanterna Prefs"]).decode().split()[-1]
        self.open_list()
        self.assertEqual(self.lists(), before + 1)
        self.session.run(["xdotool", "windowmove", window, "20", "40"])
        self.session.wait_for(lambda: self.lists() == before, "the end of the list")
        self.open_list()
        self.tell("alert")
        self.session.wait_for(lambda: self.focused() == "Lanterna", "the focus on a question")
        self.session.wait_for(lambda: self.lists() == before + 1, "the end of the list beside the question")

    def test_open_list_goes_with_a_click_outside(self):
        self.start()
        self.open_preferences()
        below, closed = self.open_list()
        self.session.click(5, 5)
        self.session.wait_for(lambda: self.session.pixels(below) == closed, "the end of the list")
        self.assertEqual(self.said(), [])


del WindowCase

if __name__ == "__main__":
    unittest.main(verbosity=2)
