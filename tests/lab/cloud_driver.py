#!/usr/bin/python3
"""The owner's document with two sensors and another device of the owner's, inside the sensor of a lab; prints what came of it as one JSON object.

  cloud_driver.py embedded|webdav|cloudkit DOCUMENT     DOCUMENT is a file: what the other device has put into the store before

  1. The first sensor (`lanternactl run`) starts, looks at the network and saves.           "after_pass": the document then, as Latin-1
  2. The second one, of another home folder, starts, reads the document and ends.
  3. It makes a scan, while nothing else happens for a minute.                              "scan", "idle_seconds", "asked_while_idle"
  4. `lanternactl cloud push` from the first sensor's settings, while that still runs.      "after_push"
  5. The same with a wrong password or session, and when the server is gone.                "refusals": what it printed; "refusal_log"
"""

import json
import os
import stat
import subprocess
import sys
import time

from cloud_stores import PATIENCE, STORES, Missing, wait_for
from played_log import PlayedSystemLog
from scan_driver import LAB, PROGRAM, Home, ended

# A pass over the network with its saves takes a good minute; the rest is for busy machines and sanitizers, in seconds.
PASS_PATIENCE = 300
# A minute, and a bit for what is not counted at its ends.
IDLE = 64
SETTINGS = {"first_run": "TRUE", "whichIP": 1, "showMACAddresses": True, "updateFrequencyLAN": "36000", "updateFrequencyWAN": "36000",
            "configurationURL": "http://192.168.77.1/lanterna.txt"}
PASS_BEGINS = "timerLAN"
PASS_ENDS = ("RGFCoreScanEngine: network snapshot saved successfully", "RGFCoreScanEngine: snapshot error: ")
TABLE_UPDATED = "CKMacSync: updating MACAddressesByNetworkSegment"
SAVE_ENDS = ("CKMacSync: save successful.", "CKMacSync: Error saving: ")
IMPORTED = "cloudKit downloaded initial dictionary with keys: "


class Sensor(Home):
    """A home folder in which the program runs, and all that it printed."""

    PROGRAM = PROGRAM

    def __init__(self, log, data=None):
        super().__init__()
        self.log = log
        self.outputs = []
        # The machine's own folder of temporary files may hold another user's.
        self.environment |= {"LC_ALL": "C.UTF-8", "TMPDIR": str(self.folder)}
        if data:
            self.environment["XDG_DATA_HOME"] = data
        self.write_settings(SETTINGS)

    def ctl(self, *words, status=0):
        """Runs `lanternactl` to its end, and answers all that it printed; fails when it ends with another exit code."""
        done = subprocess.run([PROGRAM, *words], env=self.environment, stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=PASS_PATIENCE,
                              check=False)
        self.outputs += [done.stdout, done.stderr]
        if done.returncode != status:
            raise AssertionError(f"lanternactl {words[0]} {words[1]} ended with {done.returncode}: {done.stderr}")
        return done.stdout + done.stderr

    def run(self):
        self.process = self.start("run")

    def said(self):
        """The lines of the running program, also those that the log had no room for."""
        prefix = "lanternactl: "
        return [line for _, line in self.log.of(self.process)] + [line.removeprefix(prefix) for line in self.text("err").splitlines()]

    def wait_for(self, condition, what, seconds):
        def ready():
            if self.process.poll() is not None:
                raise AssertionError(f"{what}: the program ended with {self.process.returncode}")
            return condition(self.said())
        wait_for(ready, what, seconds)

    def end(self):
        self.process.terminate()
        status = ended(self.process)
        self.outputs += [self.text("out"), self.text("err")]
        return status

    def write_secrets(self, values):
        folder = f"{self.environment['XDG_DATA_HOME']}/lanterna"
        os.makedirs(folder, mode=0o700, exist_ok=True)
        with open(os.open(f"{folder}/secrets.json", os.O_CREAT | os.O_WRONLY | os.O_TRUNC, 0o600), "w", encoding="utf-8") as file:
            json.dump(values, file)

    def secrets(self):
        """(mode, content) of the file of secrets; None without one."""
        path = f"{self.environment['XDG_DATA_HOME']}/lanterna/secrets.json"
        if not os.path.exists(path):
            return None
        with open(path, encoding="utf-8") as file:
            return stat.S_IMODE(os.stat(path).st_mode), file.read()

    def settings(self):
        with open(f"{self.environment['XDG_CONFIG_HOME']}/lanterna/settings.json", encoding="utf-8") as file:
            return file.read()


def is_saved(lines):
    """Whether every pass that began has ended, and the document was saved after the last table."""
    begun = lines.count(PASS_BEGINS)
    over = sum(line.startswith(PASS_ENDS) for line in lines)
    updates = [i for i, line in enumerate(lines) if line.startswith(TABLE_UPDATED)]
    saves = [i for i, line in enumerate(lines) if line.startswith(SAVE_ENDS)]
    return begun > 0 and over == begun and bool(updates) and bool(saves) and saves[-1] > updates[-1]


def scan_while_idle(sensor, store):
    """A scan of the one sensor; nothing is to be asked of the store for a minute."""
    begun, begin = time.monotonic(), store.moment()
    process = sensor.start("scan", "--json")
    status = ended(process)
    time.sleep(max(0, IDLE - (time.monotonic() - begun)))
    seconds, end = time.monotonic() - begun, store.moment()
    sensor.outputs += [sensor.text("out"), sensor.text("err")]
    return {"status": status, "out": sensor.text("out"), "err": sensor.text("err")}, seconds, (begin, end)


def refusals(sensor, store):
    """What the program prints when it cannot save, of which errors tell most; the store is stopped afterwards."""
    printed = []
    kept = sensor.secrets()
    if kept:
        sensor.write_secrets({name: f"wrong{secret}" for name, secret in json.loads(kept[1]).items()})
        printed.append(sensor.ctl("cloud", "push", status=1))
        sensor.write_secrets(json.loads(kept[1]))
    store.stop()
    if kept:
        printed.append(sensor.ctl("cloud", "push", status=1))
        printed.append(sensor.ctl("cloud", "status"))
    return printed


def drive(store, document):
    log = PlayedSystemLog(f"{LAB}/dev")
    first = Sensor(log)
    second = Sensor(log, first.environment["XDG_DATA_HOME"] if store.shared_data else None)
    for sensor in (first, second):
        store.choose(sensor)
    store.put(first, document)
    result = {}
    first.run()
    first.wait_for(is_saved, "the end of the passes", PASS_PATIENCE)
    result["after_pass"] = store.get(first).decode("latin-1")
    second.run()
    second.wait_for(lambda lines: any(line.startswith(IMPORTED) for line in lines), "the document", PATIENCE)
    wait_for(lambda: "LastImportedCloudKitDict" in second.settings(), "the document in the settings", PATIENCE)
    statuses = [second.end()]
    result["scan"], result["idle_seconds"], idle = scan_while_idle(second, store)
    first.ctl("cloud", "push")
    result["after_push"] = store.get(first).decode("latin-1")
    for sensor in (first, second):
        sensor.ctl("cloud", "status")
    statuses.append(first.end())
    lines_before = len(log.lines)
    result["refusals"] = refusals(first, store)
    lines = [line for _, _, line in log.lines]
    return {**result, "statuses": statuses, "asked_while_idle": store.asked_between(*idle), "run": log.of(first.process),
            "log": lines[:lines_before], "refusal_log": lines[lines_before:], "outputs": first.outputs + second.outputs, "store_logs": store.logs,
            "settings": [sensor.settings() for sensor in (first, second)], "secrets": [sensor.secrets() for sensor in (first, second)],
            "told": getattr(store, "told", None), "left": getattr(store, "left", None)}


def main(words):
    with open(words[1], "rb") as file:
        document = file.read()
    try:
        store = STORES[words[0]]()
    except Missing as reason:
        print(json.dumps({"missing": str(reason)}))
        return
    print(json.dumps(drive(store, document)))


if __name__ == "__main__":
    main(sys.argv[1:])
