#!/usr/bin/env python3
"""What the windows cost: time to their first picture, memory with them and after them. Prints a table.

  window_bench.py [--openings N] BUILD_FOLDER

BUILD_FOLDER holds tests/window_probe. Runs in a session of its own; nothing of it touches a network.
"""

import pathlib
import re
import statistics
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "lab"))
sys.dont_write_bytecode = True

from panels import Session  # noqa: E402  (the path comes first)

STARTS = 10
WARM = 20
# A request and the title of its window.
WINDOWS = [("preferences", "Lanterna Prefs (6.36)"), ("welcome", "Welcome to Lanterna"), ("message 500 192.168.1.20", "Lanterna")]


class Probe:
    def __init__(self, session, path):
        self.session = session
        folder = session.folder / "config/lanterna"
        folder.mkdir(exist_ok=True)
        (session.folder / "window_probe.log").unlink(missing_ok=True)
        self.process = session.start([str(path), str(folder)], stdin=subprocess.PIPE)
        session.wait_for(lambda: "ready" in session.log("window_probe"), "the probe")

    def tell(self, command):
        self.process.stdin.write(command.encode() + b"\n")
        self.process.stdin.flush()

    def times(self, title):
        return [int(ms) for ms in re.findall(rf"visible {re.escape(title)} after (\d+) ms", self.session.log("window_probe"))]

    def show(self, command, title):
        """Milliseconds until the window of this title is seen."""
        before = len(self.times(title))
        self.tell(command)
        self.session.wait_for(lambda: len(self.times(title)) > before, title)
        return self.times(title)[-1]

    def close_windows(self):
        self.tell("close")
        self.session.wait_for(lambda: not self.visible(), "closed windows")

    def visible(self):
        done = subprocess.run(["xdotool", "search", "--onlyvisible", "--pid", str(self.process.pid)], env=self.session.env, capture_output=True, check=False)
        return done.stdout.split()

    def memory(self):
        """Proportional set size in 10^6 bytes."""
        text = pathlib.Path(f"/proc/{self.process.pid}/smaps_rollup").read_text()
        return int(re.search(r"^Pss:\s+(\d+)", text, re.MULTILINE)[1]) * 1024 / 1e6

    def end(self):
        self.process.stdin.close()
        self.process.terminate()
        self.process.wait(10)


def main(words):
    openings = 200
    if words[:1] == ["--openings"]:
        openings, words = int(words[1]), words[2:]
    path = pathlib.Path(words[0]) / "tests/window_probe"
    with Session("none", screen=(1000, 760), window_manager=True) as session:
        for command, title in WINDOWS:
            first, warm = [], []
            for start in range(STARTS + 1):
                probe = Probe(session, path)
                took = probe.show(command, title)
                first += [took] if start else []  # the first start fills the page cache
                probe.end()
            probe = Probe(session, path)
            probe.show(command, title)
            for _ in range(WARM):
                probe.close_windows()
                warm.append(probe.show(command, title))
            probe.end()
            print(f"{command}: first {statistics.median(first):.0f} ms ({min(first)} to {max(first)}), "
                  f"again {statistics.median(warm):.0f} ms ({min(warm)} to {max(warm)})", flush=True)
        probe = Probe(session, path)
        print(f"memory before a window: {probe.memory():.1f} MB")
        grown = []
        for opening in range(openings):
            for command, title in WINDOWS:
                probe.show(command, title)
                if opening == 0:
                    print(f"memory with {command}: {probe.memory():.1f} MB")
                probe.close_windows()
            if opening in (0, openings // 2, openings - 1):
                grown.append(f"{probe.memory():.1f} after {opening + 1}")
        print("memory with all closed: " + ", ".join(grown) + " MB", flush=True)
        probe.end()


if __name__ == "__main__":
    main(sys.argv[1:])
