"""A terminal for tests: runs a program in a pseudo terminal and knows what its screen shows."""

import fcntl
import os
import pty
import re
import select
import struct
import subprocess
import termios
import time

# What the programs may use of ECMA-48: cursor up (CUU), erase to the end of the screen (ED) and to that of the line (EL).
SEQUENCE = re.compile(r"\x1b\[(\d*)([AJK])")


class Screen:
    """Rows of text, a cursor, scrolling at the bottom. Lines that scroll away are kept in `history`."""

    def __init__(self, columns, rows):
        self.columns, self.rows = columns, rows
        self.lines = [""] * rows
        self.history = []
        self.row = self.column = 0
        self.unknown = []  # control characters and sequences that a plain terminal program has no need of

    def feed(self, text):
        at = 0
        while at < len(text):
            sequence = SEQUENCE.match(text, at)
            if sequence:
                self.control(sequence[2], int(sequence[1] or 1))
                at = sequence.end()
                continue
            self.put(text[at])
            at += 1

    def control(self, letter, count):
        if letter == "A":
            self.row = max(0, self.row - count)
        else:
            self.lines[self.row] = self.lines[self.row][:self.column]
        if letter == "J":
            self.lines[self.row + 1:] = [""] * (self.rows - self.row - 1)

    def put(self, character):
        if character == "\r":
            self.column = 0
        elif character == "\n":
            self.line_feed()
        elif character < " ":
            self.unknown.append(character)
        else:
            if self.column == self.columns:
                self.column = 0
                self.line_feed()
            line = self.lines[self.row].ljust(self.column)
            self.lines[self.row] = line[:self.column] + character + line[self.column + 1:]
            self.column += 1

    def line_feed(self):
        if self.row + 1 < self.rows:
            self.row += 1
        else:
            self.history.append(self.lines.pop(0))
            self.lines.append("")

    def text(self):
        return [line.rstrip() for line in self.lines]


class Terminal:
    """A program on a screen of this size. `read` takes in what it wrote."""

    def __init__(self, command, columns=80, rows=24, **options):
        self.screen = Screen(columns, rows)
        self.master, slave = pty.openpty()
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))
        self.modes = termios.tcgetattr(slave)
        self.process = subprocess.Popen(command, stdin=slave, stdout=slave, stderr=slave, start_new_session=True, **options)
        self.slave = slave
        self.pending = b""

    def read(self, seconds=0.05):
        """What came, within a moment; the screen is up to date afterwards."""
        while select.select([self.master], [], [], seconds)[0]:
            self.pending += os.read(self.master, 65536)
            text = self.pending.decode(errors="ignore")
            self.pending = self.pending[len(text.encode()):]
            self.screen.feed(text)
            seconds = 0
        return self.screen.text()

    def type(self, text):
        os.write(self.master, text.encode())

    def wait_for(self, condition, what, seconds=15):
        """Waits until the screen's lines fulfil a condition."""
        deadline = time.monotonic() + seconds
        while not condition(self.read()):
            if time.monotonic() > deadline:
                raise AssertionError(f"{what}: not within {seconds} s. The screen:\n" + "\n".join(self.screen.text()))

    def modes_changed(self):
        return termios.tcgetattr(self.slave) != self.modes

    def close(self):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        os.close(self.slave)
        os.close(self.master)
