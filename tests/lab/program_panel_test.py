"""The desktop program in real panels inside a lab: what stands in the picture, and what the mouse does.

With LANTERNA_PICTURES=FOLDER the pictures of the README are written there.
"""

import contextlib
import os
import pathlib
import signal
import subprocess
import unittest

import panel_digits
import panel_menu
from program_case import ADDRESS, ProgramCase, checker_page, page

PICTURES = os.environ.get("LANTERNA_PICTURES")
# Every digit apart from its neighbours, as an "address" that the checker may answer with and the title does not shorten.
LESSON = ". " + " ".join(panel_digits.LEARNED)
# A click that a menu takes closes it within this time, in seconds; so often it is tried.
CLICK_TIME = 5
CLICKS = 3


class PanelCase(ProgramCase):
    def setUp(self):
        super().setUp()
        # The program before this one, and the pointer's glow with it, have gone.
        self.session.run(["xdotool", "mousemove", "5", "500"])
        self.eventually(lambda: self.session.pixels(self.session.panel_box) == self.session.empty_panel, "an empty panel")

    def picture(self):
        return self.session.wait_until_still()

    def keep(self, name, box):
        """Leaves a picture for the README, when asked to."""
        if PICTURES:
            self.session.screenshot(pathlib.Path(PICTURES) / name, box, scale=2)

    def wait_for_digits(self, read, wanted):
        """Reads pictures of the panel until they show what is wanted; fails with what they show instead."""
        seen = [None]

        def shown():
            seen[0] = read(self.session.pixels(self.session.panel_box))
            return seen[0] == wanted
        try:
            self.eventually(shown, "the digits")
        except TimeoutError:
            self.fail(f"the panel shows {seen[0]}, not {wanted}\n{self.session.log('lanterna')[-3000:]}")


class MouseTests:
    """In every panel."""

    def below(self):
        return (0, self.session.panel_size, self.session.screen[0], self.session.screen[1] - self.session.panel_size)

    def open_menu(self):
        """Clicks the item; the box of the menu on the screen and the heights of its rows by their titles."""
        self.bare = self.session.pixels(self.below())
        self.session.click(*self.session.item_position())
        picture = self.session.wait_until_still(self.below(), different_from=self.bare, what="the menu")
        left, top, width, height = box = panel_menu.changed_box(self.bare, picture)
        centres = panel_menu.row_centres(panel_menu.cut(picture, box))
        titles = [row["label"] for row in self.menu() if row.get("type") != "separator"]
        self.assertEqual(len(centres), len(titles), f"{titles} in the menu, {len(centres)} lines of text on the screen")
        top += self.session.panel_size
        return (left, top, width, height), {title: top + centre for title, centre in zip(titles, centres)}

    def click_row(self, title):
        """Clicks a row once the menu takes the mouse, and waits until the menu is gone.

        A menu on the screen may not take clicks yet: on a busy machine its panel comes to that later. Then it stays open, and the click is repeated.
        """
        (left, _, width, height), heights = self.open_menu()
        self.assertIn(title, heights)
        place = left + width // 2, heights[title]
        self.wait_for_glow(place, width)
        lower = (left, self.session.panel_size + height // 2, width, height // 2)  # below the bubble that a copy shows
        was = panel_menu.cut(self.bare, (left, height // 2, width, height // 2))
        for _ in range(CLICKS):
            self.session.click(*place)
            with contextlib.suppress(TimeoutError):
                self.eventually(lambda: self.session.pixels(lower) == was, "the end of the menu", CLICK_TIME)
                return
        self.fail(f"the menu stays open after {CLICKS} clicks on '{title}'")

    def wait_for_glow(self, place, width):
        """Moves the mouse onto a row, and waits until the menu shows that it noticed."""
        row = (place[0] - width // 2, place[1] - 1, width, 3)
        plain = self.session.pixels(row)
        self.session.run(["xdotool", "mousemove", *(str(n) for n in place)])
        self.eventually(lambda: self.session.pixels(row) != plain, "the glow of the row under the mouse")

    def test_address_row_is_copied_by_mouse(self):
        self.start()
        self.wait_for_label(ADDRESS)
        self.picture()
        self.click_row(ADDRESS)
        self.eventually(lambda: self.clipboard() == ADDRESS, "the address on the clipboard")

    def test_copy_is_said_in_a_bubble_under_the_item(self):
        self.session.run(["xsetroot", "-solid", "#46627f"])  # or the bubble is black on black
        self.addCleanup(self.session.run, ["xsetroot", "-solid", "black"])
        self.start()
        self.wait_for_label(ADDRESS)
        self.picture()
        focused = self.focus()
        self.click_row(ADDRESS)
        window = self.eventually(self.window, "the bubble")
        lines = self.session.run(["xdotool", "getwindowgeometry", "--shell", window]).decode().splitlines()
        box = {name: int(value) for name, value in (line.split("=") for line in lines)}
        self.session.wait_until_still((box["X"], box["Y"], box["WIDTH"], box["HEIGHT"]), what="the bubble")
        if self.kind == "xfce-label":
            self.keep("tooltip.png", (box["X"] - 90, 0, box["WIDTH"] + 100, box["Y"] + box["HEIGHT"] + 8))
        self.assertEqual(self.focus(), focused)
        # Under the panel with the line at its lower edge; the item is at the right end, where the bubble is moved inside.
        self.assertAlmostEqual(box["Y"], self.session.panel_size + 5, delta=2)
        self.assertEqual(box["X"] + box["WIDTH"], self.session.screen[0] - 10)
        self.eventually(lambda: not self.window(), "the end of the bubble")

    def focus(self):
        return subprocess.run(["xdotool", "getwindowfocus"], env=self.session.env, capture_output=True, text=True, check=False, timeout=10).stdout

    def test_wan_row_is_copied_by_mouse(self):
        page(checker_page("198.51.100.23"))
        self.start()
        self.wait_for_wan("198.51.100.23")
        self.picture()
        self.click_row("198.51.100.23")
        self.eventually(lambda: self.clipboard() == "198.51.100.23", "the address on the clipboard")

    def test_middle_click_copies_the_shown_address(self):
        self.start()
        self.wait_for_label(ADDRESS)
        self.picture()
        self.session.click(*self.session.item_position(), button=2)
        self.eventually(lambda: self.clipboard() == ADDRESS, "the address on the clipboard")

    def test_quit_by_mouse_empties_the_panel(self):
        self.start()
        self.wait_for_label(ADDRESS)
        self.picture()
        self.click_row("Quit")
        self.assertEqual(self.program.wait(10), 0)


class LabelPanelTest(MouseTests, PanelCase):
    kind = "xfce-label"

    def test_address_stands_in_the_panel_as_text(self):
        page(checker_page(LESSON))
        self.start(whichIP=2)
        self.wait_for_label(LESSON)
        reader = panel_digits.LabelReader()
        reader.learn(self.picture())
        self.ctl("settings", "set", "whichIP", "1")
        self.wait_for_digits(lambda picture: reader.read(picture)[-len(ADDRESS):], ADDRESS)
        self.assertEqual(self.label(), ADDRESS)
        self.picture()
        self.keep("panel-label.png", (self.session.screen[0] - 200, 0, 200, self.session.panel_size))

    def test_menu_is_shown_with_its_rows(self):
        self.start()
        self.wait_for_wan("203.0.113.7")
        self.picture()
        (left, top, width, height), rows = self.open_menu()
        self.assertEqual(list(rows)[-1], "Quit")
        self.keep("menu.png", (left, 0, width, top + height))

    def test_interface_name_is_in_the_label(self):
        self.start(showInterfaceName=True)
        self.wait_for_label(f"eth0: {ADDRESS}")


class TrayPanelTest(MouseTests, PanelCase):
    kind = "xfce-tray"

    def octets(self, picture):
        """What the item's icon says; nothing while there is no icon."""
        box = panel_digits.icon_box(picture)
        return panel_digits.read_icon(panel_menu.cut(picture, box)) if box else None

    def test_address_is_drawn_into_the_icon(self):
        self.start()
        self.wait_for_digits(self.octets, ADDRESS.split("."))
        self.picture()
        self.keep("panel-tray.png", (self.session.screen[0] - 200, 0, 200, self.session.panel_size))

    def test_full_title_is_in_the_tooltip(self):
        self.start(showInterfaceName=True)
        self.wait_for_label(f"eth0: {ADDRESS}")
        self.assertEqual(self.item("ToolTip")[2], f"eth0: {ADDRESS}")

    def test_item_comes_back_with_a_new_panel(self):
        self.start()
        self.wait_for_digits(self.octets, ADDRESS.split("."))
        panel = next(process for process in self.session.processes if "xfce4-panel" in process.args[0])
        panel.send_signal(signal.SIGKILL)
        panel.wait()
        self.eventually(lambda: not self.session.has_name("org.kde.StatusNotifierWatcher"), "the end of the panel's tray")
        self.session.start(panel.args)
        self.wait_for_digits(self.octets, ADDRESS.split("."))


del PanelCase, ProgramCase

if __name__ == "__main__":
    unittest.main(verbosity=2)
