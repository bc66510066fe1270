"""The welcome card, worked by mouse and by keyboard, and what is seen around it with and without a compositor."""

import unittest

from window_case import PREFERENCES, WindowCase

CARD = "Welcome to Lanterna"
FLAG = "hasShownWelcomePopover"
BEHIND = (0x88, 0x99, 0xAA)


class Welcome(WindowCase):
    size = (480, 540)

    def open_card(self, **settings):
        """Shows the card without its entrance and returns its frame, once the window manager has brought up what the card asks for."""
        self.start(**settings)
        self.tell("look light")
        self.tell("still")

        def shown():
            self.tell("welcome")  # each time a new one
            frame = self.windows.wait("frame", CARD)
            return frame if frame.box[2:] == self.size else None

        frame = self.session.wait_for(shown, f"a card of {self.size}")
        self.wait_for_focus(CARD)
        return frame

    def wait_for_stored(self, value):
        self.session.wait_for(lambda: self.stored().get(FLAG) is value, f"{FLAG} {value}")

    def pixel(self, x, y):
        return tuple(self.session.pixels((x, y, 1, 1))[2])

    def test_card_stands_in_the_middle(self):
        left, top, width, height = self.open_card().box
        self.assertEqual((2 * left + width, 2 * top + height), self.session.screen)

    def test_open_preferences_by_mouse(self):
        self.open_card()
        self.windows.wait("push button", "Open Preferences").click()
        self.windows.wait("frame", PREFERENCES)
        self.windows.wait_gone("frame", CARD)
        self.wait_for_stored(True)
        self.wait_for_focus(PREFERENCES)

    def test_acknowledged_card_never_appears_again(self):
        self.open_card()
        self.windows.wait("push button", "Continue").click()
        self.windows.wait_gone("frame", CARD)
        self.wait_for_stored(True)
        self.assertIsNone(self.windows.find("frame", PREFERENCES))
        self.tell("welcome")
        self.tell("frames 1")  # its answer comes after the card would have
        self.session.wait_for(lambda: "frames " in self.log(), "the probe's answer")
        self.assertIsNone(self.windows.find("frame", CARD))

    def test_return_opens_the_preferences(self):
        self.open_card()
        self.press("Return")
        self.windows.wait("frame", PREFERENCES)
        self.wait_for_stored(True)

    def test_tab_and_space_reach_the_second_button(self):
        self.open_card()
        self.press("Tab")
        self.session.wait_for(lambda: self.windows.wait("push button", "Continue").has("focused"), "the focus on the second button")
        self.press("space")
        self.windows.wait_gone("frame", CARD)
        self.wait_for_stored(True)
        self.assertIsNone(self.windows.find("frame", PREFERENCES))

    def test_escape_and_the_window_manager_close_without_an_answer(self):
        for key in ("Escape", "alt+F4"):
            with self.subTest(key):
                self.open_card()
                self.press(key)
                self.windows.wait_gone("frame", CARD)
                self.assertNotIn(FLAG, self.stored())
                self.end()

    def test_corners_show_what_is_behind(self):
        self.session.start(["display", "-size", "900x700", "xc:#%02x%02x%02x" % BEHIND])
        self.session.wait_for(lambda: self.pixel(*(side // 2 for side in self.session.screen)) == BEHIND, "a window behind the card")
        left, top, width, height = self.open_card().box
        self.session.wait_until_still((left, top, width, height), what="the card")
        for x, y in ((left, top), (left + width - 1, top), (left, top + height - 1), (left + width - 1, top + height - 1)):
            self.assertEqual(self.pixel(x, y), BEHIND, (x, y))
        self.look_around(left, top, width, height)

    def look_around(self, left, top, width, height):
        for x in range(left, left + width, 8):
            self.assertGreater(min(self.pixel(x, top + height - 1)), 0x60, f"black at {x} of the lower edge")


class OpaqueTest(Welcome):
    pass


class TranslucentTest(Welcome):
    size = (520, 580)
    compositor = True

    def look_around(self, left, top, width, height):
        below = self.pixel(left + width // 2, top + height - 15)  # 5 under the card, where its shadow is
        for channel, behind in zip(below, BEHIND):
            self.assertLess(channel, behind - 10)
            self.assertGreater(channel, behind * 0.7)
        self.assertEqual(self.pixel(left + width // 2, top + height - 1), BEHIND)  # and ends inside the window


del Welcome, WindowCase

if __name__ == "__main__":
    unittest.main(verbosity=2)
