"""Each window in light, dark and at twice the size, with long and right-to-left names. What is tested is that nothing is cut off and nothing is blank;
how it looks is for eyes: with LANTERNA_PICTURES=FOLDER the pictures are left there, named WINDOW-light.png, WINDOW-dark.png and WINDOW-double.png.
"""

import os
import pathlib
import unittest

from window_case import PREFERENCES, WindowCase

PICTURES = os.environ.get("LANTERNA_PICTURES")
# As wide as a network's name can be, and one that reads from right to left.
WIDE = "W" * 32
RIGHT_TO_LEFT = "שבת שלום"


class Pictures(WindowCase):
    look = "light"
    suffix = "light"

    @staticmethod
    def colours(picture):
        data = picture[2]
        return len({data[at:at + 3] for at in range(0, len(data), 3)})

    def picture(self, name, role, title):
        """Takes the picture of a window whose accessible role and title are given, and looks whether all it holds is inside."""
        frame = self.windows.wait(role, title)
        left, top, width, height = frame.box
        box = tuple(round(side * self.scale) for side in (left, top, width, height))
        self.session.wait_for(lambda: self.colours(self.session.wait_until_still(box, what=title)) > 8, f"a picture of '{title}' that is not blank")
        for element in self.inside(frame):
            x, y, w, h = element.box
            self.assertTrue(left <= x and top <= y and x + w <= left + width and y + h <= top + height,
                            f"{element.role} '{element.name}' at {element.box} sticks out of {frame.box}")
        if PICTURES:
            self.session.screenshot(pathlib.Path(PICTURES) / f"{name}-{self.suffix}.png", box)

    def inside(self, frame):
        waiting = list(frame.children)
        while waiting:
            element = waiting.pop()
            if element.has("showing"):
                yield element
                waiting += element.children

    def begin(self, **settings):
        self.start(**settings)
        self.tell(f"look {self.look}")

    def test_preferences(self):
        self.begin(whichIP=1)
        self.open_preferences()
        self.picture("preferences", "frame", PREFERENCES)

    def test_alert(self):
        self.begin()
        self.tell("alert")
        self.windows.wait("push button", "Reset")
        self.picture("alert", "frame", "Lanterna")


class LightTest(Pictures):
    pass


class DarkTest(Pictures):
    look = "dark"
    suffix = "dark"


class DoubleTest(Pictures):
    scale = 2
    suffix = "double"


del Pictures, WindowCase

if __name__ == "__main__":
    unittest.main(verbosity=2)
