#!/usr/bin/python3
"""Runs scans inside the sensor of a lab, as a plan says, and prints what came of each step as one JSON list.

  scan_driver.py PLAN.json

A plan is a list of steps, taken one after the other:
  {"scan": [words], "changes": [[seconds, [words]], ...], "interrupt": seconds, "capture": true}
      `lanternactl scan WORDS`. Meanwhile the LAN changes, in the words of `lab.py ctl`, so long after the start; or Ctrl-C comes.
      Gives {"status", "out", "err", "seconds", "after_interrupt", "frames"}
  {"together": [[words], [words]]}       several scans at once; a list of such results
  {"run": {settings}, "snapshots": N}    `lanternactl run` until it has saved so many snapshots: {"status", "snapshots", "err", "seconds"}
  {"ctl": [words]}                       a change in between: null
"""

import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import threading
import time

from lanternalab import control
from lanternalab.errors import LabError

HERE = os.path.dirname(os.path.abspath(__file__))
LAB = os.environ["LANTERNA_LAB"]
PROGRAM = f"{os.environ['LANTERNA_PROGRAMS']}/lanternactl"
# No step of a plan may take longer than a pass over five /24 on a busy machine, in seconds.
LIMIT = 480
# How often the running program's settings are looked at, in seconds.
LOOK = 1.0


class Home:
    """A person's folders, empty at first."""

    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(dir=LAB))
        self.environment = {**os.environ, "HOME": str(self.folder)}
        for variable in ("XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR"):
            (self.folder / variable).mkdir(mode=0o700)
            self.environment[variable] = str(self.folder / variable)
        self.environment.pop("DBUS_SESSION_BUS_ADDRESS", None)

    def write_settings(self, values):
        file = self.folder / "XDG_CONFIG_HOME/lanterna/settings.json"
        file.parent.mkdir(mode=0o700)
        file.write_text(json.dumps(values), encoding="utf-8")

    def start(self, *words):
        """`lanternactl` with its output in files, so that no full pipe holds it up."""
        out, err = (open(self.folder / name, "wb") for name in ("out", "err"))
        with out, err:
            return subprocess.Popen([PROGRAM, *words], env=self.environment, stdin=subprocess.DEVNULL, stdout=out, stderr=err)

    def text(self, name):
        return (self.folder / name).read_text(encoding="utf-8", errors="replace")


class Recorder:
    """capture.py beside a scan."""

    def __enter__(self):
        self.output = tempfile.TemporaryFile("w+", dir=LAB)
        self.process = subprocess.Popen([sys.executable, "-B", f"{HERE}/capture.py"], stdin=subprocess.PIPE, stdout=self.output)
        while not os.fstat(self.output.fileno()).st_size and self.process.poll() is None:
            time.sleep(0.01)
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        self.process.wait(10)

    def frames(self):
        self.output.seek(0)
        return [json.loads(line) for line in self.output]


def scan(words, changes=(), interrupt=None):
    home = Home()
    begun = time.monotonic()
    process = home.start("scan", *words)
    errors = []
    told = threading.Thread(target=make_changes, args=(begun, changes, errors), daemon=True)
    told.start()
    after = None
    if interrupt is not None:
        time.sleep(interrupt)
        process.send_signal(signal.SIGINT)
        after = time.monotonic()
    status = ended(process)
    now = time.monotonic()
    told.join()
    if errors:
        raise errors[0]
    return {"status": status, "out": home.text("out"), "err": home.text("err"), "seconds": now - begun, "after_interrupt": after and now - after}


def ended(process):
    """The exit code; a process that goes on for ever is killed."""
    try:
        return process.wait(LIMIT)
    except subprocess.TimeoutExpired:
        process.kill()
        return process.wait()


def make_changes(begun, changes, errors):
    try:
        for seconds, words in changes:
            time.sleep(max(0, begun + seconds - time.monotonic()))
            control.request(LAB, words)
    except LabError as error:
        errors.append(error)


def run(settings, count):
    """Passes of the running program, by the snapshots that it saves."""
    home = Home()
    home.write_settings(settings)
    begun = time.monotonic()
    process = home.start("run")
    snapshots = []
    while len(snapshots) < count and process.poll() is None and time.monotonic() < begun + LIMIT:
        time.sleep(LOOK)
        done = subprocess.run([PROGRAM, "settings", "get", "latestLocalSnapshot"], env=home.environment, capture_output=True, text=True, check=False)
        if done.returncode == 0 and done.stdout.startswith("{"):
            snapshot = json.loads(done.stdout)
            if snapshot not in snapshots:
                snapshots.append(snapshot)
    seconds = time.monotonic() - begun
    process.terminate()
    return {"status": ended(process), "snapshots": snapshots, "err": home.text("err"), "seconds": seconds}


def together(lists):
    results = [None] * len(lists)

    def one(i):
        results[i] = scan(lists[i])
    threads = [threading.Thread(target=one, args=(i,)) for i in range(len(lists))]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    return results


def take(step):
    if "ctl" in step:
        result = control.request(LAB, step["ctl"])
        if isinstance(result, dict) and result.get("status"):
            raise LabError(f"{step['ctl']}: {result['err']}")
        return None
    if "together" in step:
        return together(step["together"])
    if "run" in step:
        return run(step["run"], step["snapshots"])
    if not step.get("capture"):
        return scan(step["scan"], step.get("changes", ()), step.get("interrupt"))
    with Recorder() as recorder:
        result = scan(step["scan"], step.get("changes", ()), step.get("interrupt"))
    return {**result, "frames": recorder.frames()}


def main(words):
    with open(words[0], encoding="utf-8") as file:
        print(json.dumps([take(step) for step in json.load(file)]))


if __name__ == "__main__":
    main(sys.argv[1:])
