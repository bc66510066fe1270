"""Finds the rows of an open menu in pictures, so that a test can click them with the mouse. Pictures as `panels.Session.pixels` returns them."""

from panel_digits import ink_levels

# What sets text off from the menu's plate, and the frame around a menu that is no text.
INK = 24
FRAME = 4
# A separator is a line of a pixel or two; text is higher.
SEPARATOR_HEIGHT = 3


def changed_box(before, after):
    """(left, top, width, height) of what differs between two pictures of one place."""
    width, height, old = before
    new = after[2]
    lines = [y for y in range(height) if old[3 * y * width:3 * (y + 1) * width] != new[3 * y * width:3 * (y + 1) * width]]
    places = ((x, 3 * (y * width + x)) for y in lines for x in range(width))
    differs = [x for x, at in places if old[at:at + 3] != new[at:at + 3]]
    return min(differs), lines[0], max(differs) - min(differs) + 1, lines[-1] - lines[0] + 1


def cut(picture, box):
    """The part of a picture that lies in a box."""
    width, _, data = picture
    left, top, columns, rows = box
    return columns, rows, b"".join(data[3 * (y * width + left):3 * (y * width + left + columns)] for y in range(top, top + rows))


def row_centres(menu):
    """Heights, from the top of the picture of a menu, of the middle of each row with text, from top to bottom."""
    inked = [any(level > INK for level in row[FRAME:-FRAME]) for row in ink_levels(menu)]
    inked[:FRAME] = inked[-FRAME:] = [False] * FRAME
    centres, start = [], None
    for y, ink in enumerate(inked):
        if ink and start is None:
            start = y
        elif not ink and start is not None:
            if y - start >= SEPARATOR_HEIGHT:
                centres.append((start + y) // 2)
            start = None
    return centres
