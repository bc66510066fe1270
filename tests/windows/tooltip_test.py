"""The bubble with a short message, on a desktop with a panel: where it stands, that it takes neither focus nor clicks, and that it goes. With
LANTERNA_PICTURES=FOLDER pictures for eyes are left there, tooltip-light.png and tooltip-double.png.
"""

import contextlib
import os
import pathlib
import shutil
import subprocess
import time
import unittest

from window_case import PREFERENCES, WindowCase

PICTURES = os.environ.get("LANTERNA_PICTURES")
MESSAGE = "the following text has been copied to your clipboard: \\n192.168.1.20"
HIGH = "many words " * 60
DISPLAY_TIME = 3.5  # seconds
# Between the panel and the bubble's window, and between that and the edge of the visible frame, in points.
PANEL_GAP, SIDE_GAP = 5, 10
RIM = 8  # of a bubble's window, around what is drawn
LEFT, RIGHT, BOTTOM = (f"p={corner};x=0;y=0" for corner in (6, 2, 8))  # of the panel: the corners at the top, and one below


class TooltipCase(WindowCase):
    kind = "xfce-tray"

    @classmethod
    def setUpClass(cls):
        missing = [name for name in ("xrandr", "xwininfo", "xprop", "xfconf-query") if not shutil.which(name)]
        if missing:
            raise unittest.SkipTest("not installed: " + ", ".join(missing))
        super().setUpClass()
        cls.width, cls.height = (side // cls.scale for side in cls.session.screen)

    def setUp(self):
        super().setUp()
        self.start()
        self.session.wait_for(lambda: "ready" in self.log(), "the probe")

    def screens(self):
        """(frame, visible frame) of each monitor, each as (left, top, width, height) in points."""
        before = self.log().count("end of screens")
        self.tell("screens")
        self.session.wait_for(lambda: self.log().count("end of screens") > before, "the list of monitors")
        lines = self.log().split("end of screens")[before].splitlines()
        found = [line.split() for line in lines if line.startswith("screen ")]
        return [(tuple(map(float, words[1:5])), tuple(map(float, words[6:10]))) for words in found]

    def wait_for_screens(self, condition, what):
        return self.session.wait_for(lambda: (lambda found: found if condition(found) else None)(self.screens()), what)

    def set_panel(self, name, value):
        self.session.run(["xfconf-query", "-c", "xfce4-panel", "-p", f"/panels/panel-1/{name}", "-s", str(value)])

    def bubbles(self):
        found = subprocess.run(["xdotool", "search", "--onlyvisible", "--name", "^Lanterna$"], env=self.session.env, capture_output=True, text=True, check=False)
        return found.stdout.split()

    def box(self, window):
        """Left, top, width, height of a window in points."""
        lines = self.session.run(["xdotool", "getwindowgeometry", "--shell", window]).decode().splitlines()
        values = dict(line.split("=") for line in lines)
        return tuple(int(values[name]) // self.scale for name in ("X", "Y", "WIDTH", "HEIGHT"))

    def show(self, x, message=MESSAGE):
        """Shows a message and returns the bubble's box once it stands there."""
        old = self.bubbles()
        self.tell(f"message {x} {message}")
        window = self.session.wait_for(lambda: next((found for found in self.bubbles() if found not in old), None), "the bubble")
        return self.box(window)

    def while_it_stands(self, show, act):
        """Shows a bubble and acts, again if the bubble was gone before the action's end: a busy machine may take longer than it stands."""
        for _ in range(3):
            show()
            act()
            if self.bubbles():
                return True
        return False

    def wait_until_gone(self):
        self.session.wait_for(lambda: not self.bubbles(), "the end of the bubble")


class OneMonitor(TooltipCase):
    suffix = "light"

    def test_bubble_stands_just_under_the_panel_with_its_middle_at_x(self):
        (_, visible), = self.screens()
        self.assertGreater(visible[1], 0)
        if PICTURES:
            self.session.run(["xsetroot", "-solid", "#7a94ad"])
        left, top, width, height = self.show(500)
        if PICTURES:
            box = tuple(self.scale * side for side in (left - 40, 0, width + 80, top + height + 20))
            self.session.wait_until_still(box, what="the bubble")
            self.session.screenshot(pathlib.Path(PICTURES) / f"tooltip-{self.suffix}.png", box)
        self.assertEqual(top, visible[1] + PANEL_GAP)
        self.assertAlmostEqual(left + width / 2, 500, delta=1)

    def test_near_the_edges_it_stays_inside(self):
        left, _, width, _ = self.show(self.width - 3)
        self.assertEqual(left + width, self.width - SIDE_GAP)
        left, *_ = self.show(2)
        self.assertEqual(left, SIDE_GAP)

    def test_it_goes_after_its_time(self):
        start = time.monotonic()
        self.show(500)
        self.wait_until_gone()
        self.assertGreater(time.monotonic() - start, DISPLAY_TIME)

    def test_second_message_replaces_the_first_and_stays_its_full_time(self):
        self.show(300, "first")
        time.sleep(DISPLAY_TIME / 2)
        start = time.monotonic()
        left, _, width, _ = self.show(600, "second")
        self.assertAlmostEqual(left + width / 2, 600, delta=1)
        self.assertEqual(len(self.bubbles()), 1)
        self.wait_until_gone()
        self.assertGreater(time.monotonic() - start, DISPLAY_TIME)

    def test_it_takes_neither_the_focus_nor_a_click(self):
        self.move_panel_to_the_bottom()  # windows may be moved down
        self.open_preferences()
        window = self.session.run(["xdotool", "search", "--onlyvisible", "--name", "Lanterna Prefs"]).split()[0].decode()
        box = self.windows.wait("check box", "Launch at login").box
        bubble = self.show(box[0] + 10, HIGH)
        self.wait_until_gone()
        down = bubble[1] + bubble[3] // 2 - box[1] - box[3] // 2
        self.assertGreater(down, 50)
        self.session.run(["xdotool", "windowmove", "--relative", window, "0", str(down * self.scale)])
        element = self.session.wait_for(lambda: self.standing_still_in(bubble), "the check box where the bubble will be")
        self.assertTrue(self.while_it_stands(lambda: self.show(box[0] + 10, HIGH), element.click), "the bubble was gone before the click")
        self.assertEqual(self.focused(), PREFERENCES)
        self.session.wait_for(lambda: "applied 0" in self.said(), "the click in the window below")

    def standing_still_in(self, bubble):
        """The check box once its middle is inside the bubble's frame; decorations may put it off by some pixels."""
        element = self.windows.wait("check box", "Launch at login")
        _, top, _, height = element.box
        return element if bubble[1] + 10 < top + height / 2 < bubble[1] + bubble[3] - 10 else None

    def move_panel_to_the_bottom(self):
        self.addCleanup(self.set_panel, "position", LEFT)
        self.set_panel("position", BOTTOM)
        return self.wait_for_screens(lambda found: found[0][1][1] == 0 and found[0][1][3] < self.height, "the panel at the bottom")

    def test_with_a_panel_at_the_bottom_it_stands_above_that(self):
        (_, visible), = self.move_panel_to_the_bottom()
        _, top, _, height = self.show(500)
        self.assertAlmostEqual(top + height, visible[3] - PANEL_GAP, delta=0.5)  # half a point is a pixel at twice the size

    def test_short_and_long_messages_have_their_widths(self):
        self.assertEqual(self.show(500, "hi")[2], 100)
        self.assertEqual(self.show(500, HIGH)[2], 400)


class DoubleSize(OneMonitor):
    scale = 2
    suffix = "double"


class TwoMonitors(TooltipCase):
    """The display is divided: 600 points left, the rest right, with the panel on one of them."""

    def setUp(self):
        super().setUp()
        self.addCleanup(self.remove, "LEFT")
        self.addCleanup(self.remove, "RIGHT")
        self.divide()

    def divide(self):
        for name, width, left, output in (("LEFT", 600, 0, "screen"), ("RIGHT", self.width - 600, 600, "none")):
            self.remove(name)
            self.session.run(["xrandr", "--setmonitor", name, f"{width}/160x{self.height}/200+{left}+0", output])
        self.wait_for_screens(lambda found: len(found) == 2, "two monitors")

    def remove(self, monitor):
        with contextlib.suppress(subprocess.CalledProcessError):  # it may not be there
            self.session.run(["xrandr", "--delmonitor", monitor])

    def put_panel(self, at):
        """Puts the panel on this monitor, as long as that is wide, and waits until it reserves an edge there and nowhere else."""
        self.set_panel("length", (60, 40)[at])
        self.set_panel("position", (LEFT, RIGHT)[at])
        return self.wait_for_screens(lambda found: found[at][1][1] > 0 and found[1 - at][1][1] == 0, f"the panel on monitor {at} alone")

    def test_bubble_stands_at_the_top_of_the_monitor_that_spans_x(self):
        self.addCleanup(self.set_panel, "length", 100)
        self.addCleanup(self.set_panel, "position", LEFT)
        for at in (0, 1):
            screens = self.put_panel(at)
            for place, (frame, visible) in zip((300, 800), screens):
                left, top, width, _ = self.show(place)
                self.assertEqual(top, visible[1] + PANEL_GAP, f"panel on monitor {at}, bubble at {place}")
                self.assertTrue(frame[0] <= left and left + width <= frame[0] + frame[2], (left, width, frame))

    def test_desktop_that_draws_its_panel_itself_tells_what_it_leaves(self):
        name = "_GTK_WORKAREAS_D0"
        areas = f"0, 0, 600, {self.height}, 600, 50, {self.width - 600}, {self.height - 50}"
        self.session.run(["xprop", "-root", "-f", name, "32c", "-set", name, areas])
        self.addCleanup(self.session.run, ["xprop", "-root", "-remove", name])
        self.wait_for_screens(lambda found: found[1][1][1] == 50, "the area below the desktop's own panel")
        self.assertEqual(self.show(800)[1], 50 + PANEL_GAP)

    def test_bubble_stays_on_its_own_monitor_near_the_inner_edge(self):
        left, _, width, _ = self.show(598)
        self.assertEqual(left + width, 600 - SIDE_GAP)
        left, *_ = self.show(602)
        self.assertEqual(left, 600 + SIDE_GAP)

    def test_monitor_that_goes_leaves_the_bubble_on_the_other_one(self):
        def go():
            self.remove("RIGHT")
            self.wait_for_screens(lambda found: len(found) == 1, "one monitor")
            self.session.wait_for(lambda: all(sum(self.box(window)[::2]) == 600 - SIDE_GAP for window in self.bubbles()), "the bubble on the other monitor")
        self.assertTrue(self.while_it_stands(self.show_on_the_right, go), "the bubble was gone before the monitor")
        self.wait_until_gone()
        self.assertEqual(self.show(300)[1], self.screens()[0][1][1] + PANEL_GAP)

    def show_on_the_right(self):
        self.divide()
        self.assertGreater(self.show(800)[0], 600)


class WithoutACompositor(TooltipCase):
    depth = 24  # bits a pixel: a window that nothing shows through

    def show_in_this_depth(self, x):
        """The bubble's box; a compositor may still be on its way up."""
        for _ in range(5):
            box = self.show(x)
            window, = self.bubbles()
            if f"Depth: {self.depth}\n" in self.session.run(["xwininfo", "-id", window]).decode():
                return box
            self.wait_until_gone()
        raise AssertionError(f"no bubble with {self.depth} bits")

    def test_corners_are_not_black(self):
        """What is behind the bubble is light."""
        self.open_preferences()
        window = self.session.run(["xdotool", "search", "--onlyvisible", "--name", "Lanterna Prefs"]).split()[0].decode()
        frame = self.windows.wait("frame", PREFERENCES).box
        self.session.run(["xdotool", "windowmove", "--sync", window, str(frame[0]), str(self.session.panel_size + 2)])
        left, top, width, height = self.show_in_this_depth(frame[0] + frame[2] // 2)
        self.session.wait_for(lambda: self.brightness(left + width // 2, top + height - RIM - 4) < 60, "the bubble at its full strength")
        for x in (left + RIM, left + width - RIM - 1):
            for y in (top + RIM, top + height - RIM - 1):
                self.assertGreater(self.brightness(x, y), 150, (x, y))

    def brightness(self, x, y):
        return max(self.session.pixels((x, y, 1, 1))[2][:3])


class WithACompositor(WithoutACompositor):
    compositor = True
    depth = 32


if __name__ == "__main__":
    del WindowCase, TooltipCase
    unittest.main(verbosity=2)

del TooltipCase, WindowCase
