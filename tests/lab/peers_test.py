"""`lanternactl peers` inside a lab: sensors that real daemons announce, some of which hang, flood or talk nonsense.

Runs in the sensor of the scene "peers", a host beside all the others. LANTERNA_PROGRAMS names the folder of `lanternactl`.
"""

import contextlib
import json
import os
import signal
import subprocess
import sys
import tempfile
import threading
import time
import unittest

import peer_server
from lanternalab import control
from terminal import Terminal

PROGRAMS = os.environ.get("LANTERNA_PROGRAMS", "")
LAB = os.environ.get("LANTERNA_LAB", "")
SERVER = os.path.abspath(peer_server.__file__)
# Bounded waits, in seconds; ten times what an idle machine needs.
PATIENCE = 40
# host: (service, port, way); nobody listens on "gone".
PEERS = {
    "sensor": ("Own", 40100, "withheld"),
    "lighthouse": ("Lighthouse", 40101, "good"),
    "shed": ("Shed", 40102, "withheld"),
    "mute": ("Mute", 40103, "mute"),
    "drip": ("Drip", 40104, "drip"),
    "flood": ("Flood", 40105, "text"),
    "deluge": ("Deluge", 40106, "blanks"),
    "door": ("Door", 40107, "garbage"),
    "well": ("Well", 40108, "deep"),
    "cut": ("Cut", 40109, "cut"),
    "gone": ("Gone", 40110, None),
    "attic": ("Attic \u202egpj.exe, a name of more than forty bytes", 40111, "good"),
}
PROBLEMS = {
    "Own": "withheld or none", "Lighthouse": None, "Shed": "withheld or none", "Mute": "no answer in 10 s", "Drip": "no end in 10 s",
    "Door": "no JSON", "Well": "no JSON", "Cut": "cut short", "Gone": "no connection", PEERS["attic"][0]: None,
}
# Which of the two bounds a flood meets first is a matter of the moment.
FLOODS = {"Flood", "Deluge"}
BOUNDS = {"over 64 MiB", "too much for all"}
# 64 MiB of bytes, in a buffer that doubles as it grows, and the program.
LARGEST_MEMORY = 256 * 1024  # KiB


def lab(*words):
    return control.request(LAB, list(words))


class PeersCase(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        if not LAB:
            raise unittest.SkipTest("this runs inside a lab only")
        cls.folder = tempfile.mkdtemp(dir=LAB)
        cls.env = {**os.environ, "XDG_CONFIG_HOME": cls.folder, "TERM": "xterm"}
        for host, (_, port, way) in PEERS.items():
            if way:
                cls.start_server(host, port, way)

    @classmethod
    def start_server(cls, host, port, way):
        words = ["exec", host, "--", sys.executable, "-B", SERVER, cls.folder, str(port), way]
        thread = threading.Thread(target=lab, args=words, daemon=True)
        thread.start()
        cls.addClassCleanup(thread.join, PATIENCE)  # after the kill
        deadline = time.monotonic() + PATIENCE
        while not os.path.exists(f"{cls.folder}/{port}.pid"):
            if time.monotonic() > deadline:
                raise AssertionError(f"the server of {host} did not start")
            time.sleep(0.02)
        with open(f"{cls.folder}/{port}.pid", encoding="ascii") as file:
            cls.addClassCleanup(os.kill, int(file.read()), signal.SIGKILL)

    def peers(self, *options):
        return subprocess.Popen([f"{PROGRAMS}/lanternactl", "peers", *options], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, env=self.env)

    def ended(self, process):
        out, error = process.communicate(timeout=PATIENCE)
        return process.returncode, out, error

    def test_each_peer_is_told_with_its_snapshot_or_what_is_wrong(self):
        begun = time.monotonic()
        process = self.peers("--json", "--timeout", "5")
        watched = MemoryWatch(process.pid)
        status, out, error = self.ended(process)
        took = time.monotonic() - begun
        self.assertEqual((status, error), (0, ""))
        peers = {peer["name"]: peer for peer in json.loads(out)}
        problems = {name: peer["problem"] for name, peer in peers.items()}
        self.assertEqual({name: problem for name, problem in problems.items() if name not in FLOODS}, PROBLEMS)
        self.assertLessEqual({problems[name] for name in FLOODS}, BOUNDS)
        lighthouse = peers["Lighthouse"]
        self.assertEqual((lighthouse["address"], lighthouse["port"], lighthouse["host"]), ("192.168.77.20", 40101, "lighthouse.local."))
        self.assertEqual(lighthouse["snapshot"], peer_server.snapshot() | {"dateEpoch": lighthouse["snapshot"]["dateEpoch"]})
        self.assertEqual(peers["Own"]["address"], "192.168.77.10")
        self.assertLess(took, 5 + 3 + 10 + 2, "search, resolution, fetch")
        self.assertGreater(took, 10, "the mute one was waited for")
        self.assertLess(watched.most(), LARGEST_MEMORY)
        for _, port, way in PEERS.values():
            if way:
                self.assertEqual(os.path.getsize(f"{self.folder}/{port}.received"), 0, "a client has nothing to say")

    def test_table_fits_a_terminal_and_obeys_no_name(self):
        terminal = Terminal([f"{PROGRAMS}/lanternactl", "peers"], env=self.env)
        self.addCleanup(terminal.close)
        self.assertEqual(terminal.process.wait(PATIENCE), 0)
        lines = [line for line in terminal.read() if line]
        self.assertRegex(lines[0], r"^NAME +ADDRESS +NETWORK +DEVICES +AGE$")
        self.assertEqual(lines[-1], "12 sensors, 2 with a snapshot")
        self.assertEqual(terminal.screen.unknown, [])
        self.assertTrue(all(len(line) <= 80 for line in lines), lines)
        rows = {line.split()[0]: line for line in lines[1:-1]}
        self.assertRegex(rows["Lighthouse"], r"^Lighthouse +192\.168\.77\.20:40101 +Harbour \\x1b\[\S* +3 +1 min$")
        self.assertRegex(rows["Shed"], r" 192\.168\.77\.21:40102 +- +- +withheld or none$")
        self.assertRegex(rows["Attic"], r"^Attic \\u202eg\S* ")

    def test_interrupting_ends_it_at_once(self):
        process = self.peers("--timeout", "60")
        time.sleep(3)  # the floods are coming in
        begun = time.monotonic()
        process.send_signal(signal.SIGINT)
        status, out, _ = self.ended(process)
        self.assertEqual((status, out), (130, ""))
        self.assertLess(time.monotonic() - begun, 1)

    def test_without_a_sensor_it_says_so(self):
        lab("mdns", "stop", "sensor")  # which remembers
        lab("unplug", "sensor")
        self.addCleanup(lab, "mdns", "start", "sensor")
        self.addCleanup(lab, "plug", "sensor")
        begun = time.monotonic()
        self.assertEqual(self.ended(self.peers("--timeout", "1")), (1, "", "lanternactl: no sensor was found in 1 s\n"))
        self.assertLess(time.monotonic() - begun, 3)
        self.assertEqual(self.ended(self.peers("--timeout", "1", "--json"))[:2], (1, "[]\n"))

    def test_without_a_daemon_the_others_are_found_too(self):
        lab("mdns", "stop", "sensor")
        self.addCleanup(lab, "mdns", "start", "sensor")
        status, out, _ = self.ended(self.peers("--json", "--timeout", "5"))
        problems = {peer["name"]: peer["problem"] for peer in json.loads(out)}
        self.assertEqual(status, 0)
        self.assertEqual(problems.keys(), (PROBLEMS.keys() | FLOODS) - {"Own"})
        self.assertIsNone(problems["Lighthouse"])


class MemoryWatch:
    """Reads how much memory a process has had at most, until it ends."""

    def __init__(self, pid):
        self.pid = pid
        self.peak = 0
        self.thread = threading.Thread(target=self.watch, daemon=True)
        self.thread.start()

    def watch(self):
        with contextlib.suppress(OSError, StopIteration):
            while True:
                with open(f"/proc/{self.pid}/status", encoding="ascii", errors="replace") as file:
                    self.peak = max(self.peak, int(next(line for line in file if line.startswith("VmHWM")).split()[1]))
                time.sleep(0.02)

    def most(self):
        """In KiB."""
        self.thread.join(PATIENCE)
        return self.peak


if __name__ == "__main__":
    unittest.main(verbosity=2)
