"""Reads addresses back from pictures of a panel, without knowing what should stand there.

`LabelReader` reads the panel's own font: it is shown each digit once and then tells them by their shape. `read_icon` reads the address drawn into an
icon: it looks where strokes run. Pictures are (width, height, bytes) as `panels.Session.pixels` returns them. Standard library only.
"""

from collections import Counter

LEARNED = "0123456789"


def colours(picture):
    """The picture as rows of (red, green, blue)."""
    width, height, data = picture
    return [[tuple(data[3 * (y * width + x):3 * (y * width + x) + 3]) for x in range(width)] for y in range(height)]


def grey(colour):
    return (299 * colour[0] + 587 * colour[1] + 114 * colour[2]) // 1000


def ink_levels(picture):
    """Rows of 0 to 255: how far each pixel is from the background, which is the most frequent colour."""
    rows = colours(picture)
    background = grey(Counter(colour for row in rows for colour in row).most_common(1)[0][0])
    return [[abs(grey(colour) - background) for colour in row] for row in rows]


def glyphs(levels):
    """Shapes separated by empty columns, left to right, each cut to its own columns."""
    found, current = [], []
    for column in zip(*levels):
        if max(column) > 24:
            current.append(column)
        elif current:
            found.append(current)
            current = []
    return found + ([current] if current else [])


def distance(left, right):
    """How different two shapes are; shapes of different width are tried at each offset."""
    narrow, wide = sorted((left, right), key=len)
    empty = (0,) * len(left[0])
    if len(wide) - len(narrow) > 2:
        return float("inf")
    return min(
        sum(abs(a - b) for x, column in enumerate(wide) for a, b in zip(column, narrow[x - shift] if 0 <= x - shift < len(narrow) else empty))
        for shift in range(len(wide) - len(narrow) + 1))


class LabelReader:
    """Knows the panel's digits after `learn`."""

    #: A title that shows every digit apart from its neighbours.
    lesson = "   ".join(LEARNED)

    def __init__(self):
        self.known = {}

    def learn(self, picture):
        """Takes a picture in which the last things shown are the digits of `lesson`."""
        shapes = glyphs(ink_levels(picture))[-len(LEARNED):]
        if len(shapes) != len(LEARNED):
            raise ValueError(f"the lesson shows {len(shapes)} shapes")
        self.known = dict(zip(LEARNED, shapes))

    def read(self, picture):
        """The digits and dots of the picture; anything else is a question mark."""
        return "".join(self._character(shape) for shape in glyphs(ink_levels(picture)))

    def _character(self, shape):
        top = next(y for y in range(len(shape[0])) if any(column[y] > 24 for column in shape))
        first = next(y for y in range(len(shape[0])) if any(column[y] > 24 for column in self.known["0"]))
        height = sum(any(column[y] > 24 for column in self.known["0"]) for y in range(len(shape[0])))
        if len(shape) <= 3 and top >= first + height - 4:
            return "."
        ink = sum(map(sum, shape))
        best = min(self.known, key=lambda digit: distance(self.known[digit], shape))
        return best if distance(self.known[best], shape) < 0.45 * ink else "?"


# The plate behind the digits of an icon.
PLATE = (0x20, 0x24, 0x2c)


def icon_box(picture):
    """(left, top, width, height) of the plate of an icon in a picture of a panel; None when there is none."""
    rows = colours(picture)
    columns = [x for x in range(picture[0]) if sum(row[x] == PLATE for row in rows) > 1]
    if not columns:
        return None
    left, right = columns[0], columns[-1]
    lines = [y for y, row in enumerate(rows) if row[(left + right) // 2] == PLATE]
    return (left, lines[0], right - left + 1, lines[-1] - lines[0] + 1) if lines else None


STROKES = {
    "1110111": "0", "1101001": "1", "1011101": "2", "1011011": "3", "0111010": "4",
    "1101011": "5", "1101111": "6", "1010010": "7", "1111111": "8", "1111011": "9",
}


def read_icon(picture):
    """The octets drawn into an icon, as a list of texts; the picture must hold the icon alone, unscaled or scaled by a whole number."""
    rows = colours(picture)
    bright = [[grey(colour) > 150 for colour in row] for row in rows]
    octets, y = [], 0
    while y < len(rows):
        end = y
        while end < len(rows) and any(bright[end]):
            end += 1
        if end - y >= 5:
            octets += read_line(rows, bright, y, end - y)
        y = max(end, y + 1)
    return octets


def read_line(rows, bright, top, height):
    """The octets of one line of digits; neighbours differ in colour."""
    unit = height // 7 if height % 7 == 0 else height // 5
    octets, last, x = [], None, 0
    while x + 3 * unit <= len(rows[0]):
        digit, colour = read_cell(rows, bright, x, top, height, unit)
        if digit is None:
            x += 1
            continue
        if colour == last:
            octets[-1] += digit
        else:
            octets.append(digit)
        last = colour
        x += 3 * unit
    return octets


def read_cell(rows, bright, x, top, height, unit):
    """The digit whose cell begins in this column, with its colour."""
    inked = [y for y in range(top, top + height) if bright[y][x]]
    if not inked:
        return None, None
    upper, lower = top + height * 3 // 10, top + height * 7 // 10
    places = [(1, top + unit // 2), (0, upper), (2, upper), (1, top + height // 2), (0, lower), (2, lower), (1, top + height - 1)]
    strokes = "".join("1" if bright[y][x + column * unit + unit // 2] else "0" for column, y in places)
    return STROKES.get(strokes), rows[inked[0]][x]
