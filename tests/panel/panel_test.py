#!/usr/bin/env python3
"""The status item in real panels, by eye and by mouse: panel_test.py PATH_OF_panel_probe. Exits with 77 where a panel is not installed."""

import pathlib
import subprocess
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "lab"))

import panel_digits
import panels

PROBE = None


class InAPanel(unittest.TestCase):
    kind = None

    def setUp(self):
        self.session = panels.Session(self.kind, window_manager=True).__enter__()
        self.addCleanup(self.session.stop)
        self.probe = self.session.start([PROBE, "10.0.0.5"], stdin=subprocess.PIPE)
        self.addCleanup(self.probe.stdin.close)
        self.shown = self.session.wait_for_item()

    def tell(self, command):
        self.probe.stdin.write(command.encode() + b"\n")
        self.probe.stdin.flush()

    def show(self, command):
        """Sends a command that changes what the panel shows, and returns the new picture."""
        self.tell(command)
        self.shown = self.session.wait_until_still(different_from=self.shown)
        return self.shown

    def wait_for_line(self, line):
        self.session.wait_for(lambda: line in self.session.log("panel_probe").splitlines(), f"the line {line!r}")

    def open_menu(self):
        """Clicks the item and returns the box below the panel once the menu stands there."""
        below = (0, self.session.panel_size, self.session.screen[0], self.session.screen[1] - self.session.panel_size)
        empty = self.session.pixels(below)
        self.session.click(*self.session.item_position())
        self.session.wait_until_still(below, different_from=empty, what="the menu")

    def choose_last(self):
        """Takes the last row of the open menu, which is where Up leads from the top."""
        self.session.run(["xdotool", "key", "--delay", "60", "Up", "Return"])


class MenuTests:
    def test_left_click_opens_the_menu_and_a_row_is_clicked(self):
        self.tell("clear")
        self.tell("row First_Row")
        self.tell("row Second Row")
        self.open_menu()
        self.choose_last()
        self.wait_for_line("clicked Second Row")

    def test_row_that_comes_later_is_in_the_menu(self):
        self.tell("row Later Row")
        self.open_menu()
        self.choose_last()
        self.wait_for_line("clicked Later Row")

    def test_middle_click_reaches_the_program(self):
        self.session.click(*self.session.item_position(), button=2)
        self.wait_for_line("middle")

    def test_warning_is_orange(self):
        picture = self.show("warning")
        orange = sum(red > 230 and 120 < green < 180 and blue < 60 for row in panel_digits.colours(picture) for red, green, blue in row)
        self.assertGreater(orange, 60)


class LabelPanel(MenuTests, InAPanel):
    kind = "xfce-label"

    def test_address_stands_in_the_panel_as_text(self):
        reader = panel_digits.LabelReader()
        reader.learn(self.show("title " + reader.lesson))
        for address in ("192.168.1.20", "203.0.113.74", "10.56.89.233"):
            text = reader.read(self.show("title " + address))
            self.assertTrue(text.endswith(address), text)


class TrayPanel(MenuTests, InAPanel):
    kind = "xfce-tray"

    def icon(self, picture):
        width, height, _ = picture
        rows = panel_digits.colours(picture)
        plate = (0x20, 0x24, 0x2c)
        columns = [x for x in range(width) if sum(row[x] == plate for row in rows) > 1]
        left, right = min(columns), max(columns)
        lines = [y for y in range(height) if rows[y][(left + right) // 2] == plate]
        top, bottom = min(lines), max(lines)
        data = bytes(value for y in range(top, bottom + 1) for x in range(left, right + 1) for value in rows[y][x])
        return right - left + 1, bottom - top + 1, data

    def test_address_stands_in_the_icon(self):
        for address in ("192.168.1.20", "203.0.113.74", "10.56.89.233"):
            picture = self.icon(self.show("title eth0: " + address))
            self.assertEqual(panel_digits.read_icon(picture), address.split("."))

    def test_last_octets_fill_the_icon(self):
        self.show("title 192.168.145.236")
        self.assertEqual(panel_digits.read_icon(self.show("setting lastOctets")), ["145", "236"])


class DesktopTests(InAPanel):
    kind = "xfce-tray"

    def test_copied_text_can_be_pasted_elsewhere(self):
        for text in ("192.168.1.20", "Grüße → x"):
            self.tell("copy " + text)
            self.session.wait_for(lambda: self.pasted() == text, "the text in the clipboard")
        self.wait_for_line("copied 1")

    def test_copy_that_the_display_refused_is_not_claimed(self):
        self.tell("copy first")
        self.session.wait_for(lambda: self.pasted() == "first", "the text in the clipboard")
        self.tell("copy-late second")
        self.wait_for_line("copied late 0")

    def pasted(self):
        return subprocess.run(["xclip", "-o", "-selection", "clipboard"], env=self.session.env, capture_output=True, check=False, timeout=10).stdout.decode()

    def test_held_keys_are_known(self):
        for key, flags in (("Alt_L", "80000"), ("Super_L", "100000"), ("Control_L", "40000")):
            self.session.run(["xdotool", "keydown", key])
            self.tell("modifiers")
            self.wait_for_line("modifiers " + flags)
            self.session.run(["xdotool", "keyup", key])

    def test_quit_ends_the_program_and_its_icon_folder(self):
        self.tell("quit")
        self.assertEqual(self.probe.wait(5), 0)
        self.assertFalse((self.session.folder / "run" / "lanterna").exists())


class WindowTests(InAPanel):
    kind = "xfce-label"

    def ask(self):
        self.tell("alert")
        window = self.session.wait_for(self.alert_window, "the alert window")
        self.session.run(["xdotool", "windowfocus", "--sync", window])

    def alert_window(self):
        found = subprocess.run(
            ["xdotool", "search", "--onlyvisible", "--name", "^Lanterna$"], env=self.session.env, capture_output=True, check=False).stdout.split()
        return found[0].decode() if found else None

    def answers(self):
        return [line.split()[1] for line in self.session.log("panel_probe").splitlines() if line.startswith("answer")]

    def test_escape_cancels_and_keys_choose(self):
        for keys, answer in ((["Escape"], "1"), (["Return"], "1"), (["Tab", "space"], "0")):
            before = len(self.answers())
            self.ask()
            self.session.run(["xdotool", "key", "--delay", "60", *keys])
            self.session.wait_for(lambda: len(self.answers()) > before, f"the answer to {keys}")
            self.assertEqual(self.answers()[-1], answer)
            self.session.wait_for(lambda: not self.alert_window(), "the end of the window")


if __name__ == "__main__":
    PROBE = sys.argv.pop(1)
    missing = sorted({name for kind in ("xfce-label", "xfce-tray") for name in panels.missing_programs(kind)})
    if missing:
        print("skipped: not installed:", ", ".join(missing))
        raise SystemExit(77)
    del InAPanel
    unittest.main(verbosity=2)
