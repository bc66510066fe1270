#!/usr/bin/env python3
"""What `lanternactl history` costs. Prints a table.

  history_bench.py [--only NAME] [--runs N] [--folder FOLDER] PROGRAMS

PROGRAMS is the folder of a release build's `lanternactl`. The histories are made in FOLDER (a temporary one), and go afterwards; two GB are enough.
  quarter   90 days of 96 lines of 254 devices, some of which change from line to line: about 260 MB
  repeated  the same without any change
  minutes   a table and pings that change each minute: 1,440 lines a day. Ten days, about 450 MB, for time; 40 days, four times as much, for memory
  plot      the quarter with a chart
Times are of runs with a warm cache; the processor time is of all threads and does not hang on what else runs.
"""

import argparse
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

sys.dont_write_bytecode = True
import history_scene  # noqa: E402

SCENES = {"quarter": (90, 96, "some", []), "repeated": (90, 96, "none", []), "minutes": (10, 1440, "all", []), "minutes x4": (40, 1440, "all", []),
          "plot": (90, 96, "some", ["--plot", "chart.svg"])}


def run(program, data, options):
    """Wall and processor seconds, and the largest memory in 10^6 bytes, of one run."""
    begun = time.monotonic()
    process = subprocess.Popen([program, "history", *options], env={**os.environ, "XDG_DATA_HOME": str(data)}, cwd=data, stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    wall = time.monotonic() - begun
    if status:
        sys.exit(f"lanternactl history ended with {os.waitstatus_to_exitcode(status)}")
    return wall, usage.ru_utime + usage.ru_stime, usage.ru_maxrss * 1024 / 1e6


def measure(name, program, folder, runs):
    days, lines, change, options = SCENES[name]
    with tempfile.TemporaryDirectory(dir=folder) as data:
        end = int(time.time())
        history = pathlib.Path(data) / "group.Rangefinder" / "SnapshotHistory"
        size = history_scene.write(history, history_scene.bulk(end, days, lines, 254, change))
        run(program, data, options)  # fills the cache
        walls, works, memories = zip(*(run(program, data, options) for _ in range(runs)))
    print(f"| {name} | {size / 1e6:.0f} MB | {min(walls):.2f} / {statistics.median(walls):.2f} s | {statistics.median(works):.2f} s | {max(memories):.0f} MB |",
          flush=True)


def main():
    arguments = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    arguments.add_argument("--only", choices=SCENES)
    arguments.add_argument("--runs", type=int, default=7)
    arguments.add_argument("--folder", default=None)
    arguments.add_argument("programs", type=pathlib.Path)
    given = arguments.parse_args()
    program = (given.programs / "lanternactl").resolve()
    print("| history | size | wall, best / median | processor, median | memory |\n|---|---|---|---|---|")
    for name in [given.only] if given.only else SCENES:
        measure(name, program, given.folder, given.runs)


if __name__ == "__main__":
    main()
