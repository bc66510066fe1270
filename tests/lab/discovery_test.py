"""The service discovery inside a lab: with an avahi-daemon and without, and with daemons and devices that come, go, hang and lie.

Runs in the sensor of the scene "discovery". LANTERNA_DISCOVERY_PROBE names the program that makes the passes.
"""

import contextlib
import json
import os
import queue
import signal
import subprocess
import sys
import tempfile
import threading
import time
import unittest

import discovery_responder
from lanternalab import control

PROBE = os.environ.get("LANTERNA_DISCOVERY_PROBE", "")
LAB = os.environ.get("LANTERNA_LAB", "")
RESPONDER = os.path.abspath(discovery_responder.__file__)
# Bounded waits, in seconds; ten times what an idle machine needs.
PATIENCE = 20
SENSOR = "192.168.77.10"
CROWD_ADDRESS = "192.168.77.23"
LIAR_ADDRESS = "192.168.77.24"
# What the scene's devices announce: (name, type): (host, address).
ANNOUNCED = {
    ("Hall Printer", "_ipp._tcp."): ("printer.local.", "192.168.77.20"),
    ("Hall Printer", "_http._tcp."): ("printer.local.", "192.168.77.20"),
    ("Dachboden: größer \\ besser. (1)", "_smb._tcp."): ("nas.local.", "192.168.77.21"),
    ("nas", "_http._tcp."): ("nas.local.", "192.168.77.21"),
    ("nas", "_ssh._tcp."): ("nas.local.", "192.168.77.21"),
    ("484E00170000@Kitchen", "_raop._tcp."): ("speaker.local.", "192.168.77.22"),
    ("Sleeper", "_sleep-proxy._udp."): ("speaker.local.", "192.168.77.22"),
}
TYPES = sorted({kind for _, kind in ANNOUNCED})
# A pass of the program takes 4 s and resolves for 3 s; these are shorter where nothing depends on it.
PASS = 2
TIMEOUT = 3000
# How long the main thread may be busy at a time, in ms. It does nothing that takes longer than printing a line; the rest is for busy machines.
LONGEST_TURN = 150


def lab(*words):
    return control.request(LAB, list(words))


def processes(name):
    """The ids of the processes of this network with a name."""
    here = os.stat("/proc/self/ns/net").st_ino
    for entry in os.listdir("/proc"):
        with contextlib.suppress(OSError, ValueError):
            if os.stat(f"/proc/{int(entry)}/ns/net").st_ino == here:
                with open(f"/proc/{entry}/comm", encoding="utf-8") as file:
                    if file.read().strip() == name:
                        yield int(entry)


class Probe:
    """The probe program, and what it has said."""

    def __init__(self):
        self.process = subprocess.Popen([PROBE], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.lines = queue.Queue()
        threading.Thread(target=self.read, daemon=True).start()

    def read(self):
        for line in self.process.stdout:
            self.lines.put(json.loads(line))
        self.lines.put(None)

    def begin(self, *words):
        self.process.stdin.write(" ".join(str(w) for w in words) + "\n")
        self.process.stdin.flush()

    def events(self, *, until):
        """What it says up to an event of this kind."""
        said = []
        deadline = time.monotonic() + PATIENCE
        while not said or said[-1]["event"] != until:
            try:
                line = self.lines.get(timeout=max(0.01, deadline - time.monotonic()))
            except queue.Empty:
                raise AssertionError(f"no event '{until}' in time, but {said[-10:]}") from None
            if line is None:
                raise AssertionError(f"the probe ended with {self.process.wait()}: {self.process.stderr.read()}")
            said.append(line)
        return said

    def first_found(self):
        """The next event, which must be a service."""
        line = self.lines.get(timeout=PATIENCE)
        if not line or line["event"] != "found":
            raise AssertionError(f"no service, but {line}")
        return line

    def make_pass(self, types, seconds=PASS, timeout=TIMEOUT):
        self.begin("pass", seconds, timeout, *types)
        return self.events(until="end")

    def sockets(self):
        """What its descriptors lead to."""
        found = []
        for entry in os.listdir(f"/proc/{self.process.pid}/fd"):
            with contextlib.suppress(FileNotFoundError):
                found.append(os.readlink(f"/proc/{self.process.pid}/fd/{entry}"))
        return found

    def is_on_mdns(self):
        """Whether it listens to multicast DNS itself: a UDP socket of its own on port 5353."""
        with open(f"/proc/{self.process.pid}/net/udp", encoding="ascii") as file:
            inodes = {f"socket:[{line.split()[9]}]" for line in file if ":14E9 " in line}
        return bool(inodes & set(self.sockets()))

    def threads(self):
        return len(os.listdir(f"/proc/{self.process.pid}/task"))

    def close(self):
        """Ends it; answers its exit status and what it wrote beside its events."""
        with contextlib.suppress(OSError):
            self.process.stdin.close()
        try:
            status = self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            status = self.process.wait()
        with self.process.stderr:
            return status, self.process.stderr.read()


def pairs(events, kind):
    return [(e["name"], e["type"]) for e in events if e["event"] == kind]


class DiscoveryCase(unittest.TestCase):
    """A sensor with bus and daemon, and a fresh probe. Nothing that the probe prints beside its events is right."""

    daemon = True

    def setUp(self):
        lab("bus", "start")
        lab("mdns", "stop", "sensor")
        if self.daemon:
            lab("mdns", "start", "sensor")  # afresh: it remembers for minutes what the test before has let it hear
        self.probe = Probe()
        self.addCleanup(self.end_probe)

    def end_probe(self):
        self.assertEqual(self.probe.close(), (0, ""))

    def start_responder(self, *kinds, host="liar", address=LIAR_ADDRESS):
        """Starts the responder of many and of bad services on a device; answers the folder with what it saw, and how to end it before the test does."""
        folder = tempfile.mkdtemp(dir=LAB)
        words = ["exec", host, "--", sys.executable, "-B", RESPONDER, folder, address, *kinds]
        threading.Thread(target=lambda: contextlib.suppress(Exception) and lab(*words), daemon=True).start()
        deadline = time.monotonic() + PATIENCE
        while not os.path.exists(f"{folder}/responder.pid"):
            self.assertLess(time.monotonic(), deadline, "the responder did not start")
            time.sleep(0.02)
        with open(f"{folder}/responder.pid", encoding="ascii") as file:
            responder = int(file.read())
        end = contextlib.ExitStack()
        end.callback(os.kill, responder, signal.SIGKILL)
        self.addCleanup(end.close)
        return folder, end.close

    def add_late_printer(self, number):
        """Plugs in a device that announces "Late Printer"; answers that in the form of ANNOUNCED. The end of the test takes it away."""
        lab("device", "add", json.dumps({
            "name": f"late-{number}", "segment": "lan", "mac": f"02:4c:41:4e:01:{number}", "ipv4": f"192.168.77.{number}/24",
            "mdns": {"host": f"late-{number}", "services": [{"name": "Late Printer", "type": "_ipp._tcp", "port": 631}]}}))
        self.addCleanup(lab, "device", "del", f"late-{number}")
        return {("Late Printer", "_ipp._tcp."): (f"late-{number}.local.", f"192.168.77.{number}")}

    def assert_all_announced(self, events, announced=None):
        announced = announced or ANNOUNCED
        self.assertEqual(sorted(pairs(events, "found")), sorted(announced))
        resolved = {(e["name"], e["type"]): (e["host"], *e["addresses"]) for e in events if e["event"] == "resolved"}
        self.assertEqual(resolved, announced)
        self.assertEqual([e for e in events if e["event"] in ("unresolved", "didNotSearch")], [])
        self.assertLess(events[-1]["longestTurn"], LONGEST_TURN)

    def wait_until_on_mdns(self, wanted):
        deadline = time.monotonic() + PATIENCE
        while self.probe.is_on_mdns() != wanted:
            self.assertLess(time.monotonic(), deadline, f"on multicast DNS itself: not {wanted}")
            time.sleep(0.01)


class BothWays:
    """What must be the same with and without a daemon."""

    def test_all_services_are_found_and_resolved(self):
        self.assert_all_announced(self.probe.make_pass(TYPES))

    def test_program_is_on_the_network_itself_only_without_daemon_and_only_in_a_pass(self):
        self.probe.begin("pass", PASS, TIMEOUT, *TYPES)
        self.probe.first_found()
        self.assertEqual(self.probe.is_on_mdns(), not self.daemon)
        self.probe.events(until="end")
        self.wait_until_on_mdns(False)

    def test_service_of_a_device_that_went_away_is_none_at_the_timeout(self):
        self.start_responder("_mute")
        events = self.probe.make_pass(["_mute._tcp."], seconds=4, timeout=2500)
        self.assertEqual(pairs(events, "found"), [("Nobody there", "_mute._tcp.")])
        self.assertEqual(pairs(events, "unresolved"), [("Nobody there", "_mute._tcp.")])
        waited = events[1]["at"] - events[0]["at"]
        self.assertTrue(2490 <= waited < 3000, f"{waited} ms")

    def test_timeout_may_be_longer_than_avahis_own(self):
        number = 30 + self.daemon
        self.probe.begin("resolve", 15000, "_ipp._tcp.", "Late Printer")
        time.sleep(6)  # Avahi's own time-out is 5 s
        self.add_late_printer(number)
        events = self.probe.events(until="end")
        self.assertEqual(events[0]["event"], "resolved")
        self.assertEqual(events[0]["addresses"], [f"192.168.77.{number}"])

    def test_thousand_services_are_resolved(self):
        self.start_responder("_http", host="crowd", address=CROWD_ADDRESS)
        events = self.probe.make_pass(["_http._tcp."], seconds=8)
        crowd = {e["name"]: e for e in events if e["event"] == "resolved" and e["name"].startswith("Service ")}
        self.assertEqual(len(crowd), discovery_responder.CROWD)
        self.assertEqual({tuple(e["addresses"]) for e in crowd.values()}, {(CROWD_ADDRESS,)})
        self.assertEqual(crowd["Service 0042"]["host"], "host-0042.local.")
        self.assertEqual(pairs(events, "unresolved"), [])
        print(f"1,000 services {'with' if self.daemon else 'without'} a daemon: {max(e['at'] for e in crowd.values())} ms,"
              f" longest turn of the main thread {events[-1]['longestTurn']} ms", file=sys.stderr)
        self.assertLess(events[-1]["longestTurn"], LONGEST_TURN)

    def test_no_descriptor_and_no_thread_is_left_behind(self):
        self.probe.make_pass(TYPES, seconds=1)
        self.wait_until_on_mdns(False)
        before = self.settled()
        for _ in range(20):
            self.assertTrue(pairs(self.probe.make_pass(TYPES, seconds=1), "found"))
        self.wait_until_on_mdns(False)
        self.assertEqual(self.settled(), before)

    def settled(self):
        """Numbers of descriptors and threads once they stand still."""
        last = None
        deadline = time.monotonic() + PATIENCE
        while last != (last := (len(self.probe.sockets()), self.probe.threads())):
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.2)
        return last

    def test_lies_are_not_passed_on(self):
        self.start_responder("_lies")
        events = self.probe.make_pass(["_lies._tcp."])
        names = sorted(f"Lie {lie}" for lie in discovery_responder.LIES)
        self.assertEqual(sorted(name for name, _ in pairs(events, "found")), names)
        self.assertEqual(sorted(name for name, _ in pairs(events, "resolved")), names)
        self.assertEqual([e["addresses"] for e in events if e["event"] == "resolved"], [[]] * 4)

    def test_odd_names_are_passed_on_or_dropped_whole(self):
        self.start_responder("_odd")
        events = self.probe.make_pass(["_odd._tcp."], seconds=4)
        self.assertEqual(sorted(name for name, _ in pairs(events, "found")), sorted([discovery_responder.ODD, "long host"]))
        hosts = {e["name"]: (e["host"], e["addresses"]) for e in events if e["event"] == "resolved"}
        self.assertEqual(hosts[discovery_responder.ODD], ("host ödd..local.", [LIAR_ADDRESS]))
        self.assertLessEqual(len(hosts.get("long host", ("",))[0].encode()), 256)
        self.assert_all_announced(self.probe.make_pass(TYPES))

    def test_number_of_invented_services_is_bounded(self):
        kinds = ["_flood", "_flood2", "_flood3"]
        _, end_flood = self.start_responder(*kinds)
        events = self.probe.make_pass([f"{kind}._tcp." for kind in kinds], seconds=4)
        end_flood()
        found = pairs(events, "found")
        for kind in kinds:
            self.assertLessEqual(len([name for name, of in found if of == f"{kind}._tcp."]), 4096)
        self.assertLessEqual(len(found), 8192)
        self.assertLess(events[-1]["longestTurn"], LONGEST_TURN)
        if not self.daemon:
            # A daemon is busy for seconds with so many, and its memory stays full of them; the embedded stack begins anew with each pass.
            self.assertGreater(len(found), 1000)
            # The devices have heard the flood as well, and answer late while they digest it.
            self.assert_all_announced(self.probe.make_pass(TYPES, seconds=4))


class WithDaemonTest(BothWays, DiscoveryCase):
    daemon = True

    def test_end_of_the_daemon_costs_the_pass_nothing(self):
        self.start_responder("_mute")
        self.probe.begin("pass", 5, 3500, *TYPES, "_mute._tcp.")
        events = [self.probe.first_found()]
        while events[-1].get("name") != "Nobody there":
            events.append(self.probe.lines.get(timeout=PATIENCE))
        lab("mdns", "kill", "sensor")
        self.wait_until_on_mdns(True)
        announced = {**ANNOUNCED, **self.add_late_printer(32)}  # no daemon of the sensor has ever heard of it
        events += self.probe.events(until="end")
        mute = [e for e in events if e.get("name") == "Nobody there"]
        self.assertEqual([e["event"] for e in mute], ["found", "unresolved"])
        waited = mute[1]["at"] - mute[0]["at"]
        self.assertTrue(3490 <= waited < 4000, f"the time-out must run on: {waited} ms")
        self.assert_all_announced([e for e in events if e not in mute], announced)
        # The next pass goes its own way, and the one after the daemon's return goes back.
        self.probe.begin("pass", PASS, TIMEOUT, *TYPES)
        self.wait_until_on_mdns(True)
        self.assert_all_announced(self.probe.events(until="end"), announced)
        lab("mdns", "start", "sensor")
        self.probe.begin("pass", PASS, TIMEOUT, *TYPES)
        first = self.probe.first_found()
        self.assertFalse(self.probe.is_on_mdns())
        self.assert_all_announced([first, *self.probe.events(until="end")], announced)

    def test_daemon_killed_at_the_first_service_costs_no_other(self):
        self.probe.begin("pass", 4, TIMEOUT, *TYPES)
        first = self.probe.first_found()
        lab("mdns", "kill", "sensor")
        self.assert_all_announced([first, *self.probe.events(until="end")])

    def test_resolution_under_way_is_answered_after_the_end_of_the_daemon(self):
        self.probe.begin("resolve", 15000, "_ipp._tcp.", "Late Printer")
        time.sleep(1)  # the daemon has long been asked
        self.assertFalse(self.probe.is_on_mdns())
        lab("mdns", "kill", "sensor")
        self.wait_until_on_mdns(True)
        self.add_late_printer(33)
        events = self.probe.events(until="end")
        self.assertEqual([(e["event"], e.get("addresses")) for e in events], [("resolved", ["192.168.77.33"]), ("end", None)])

    def test_what_ends_the_daemon_does_not_end_the_program(self):
        self.start_responder("_alias")
        # Debian 12's daemon does not survive this.
        self.assert_all_announced(self.probe.make_pass(["_alias._tcp.", *TYPES], seconds=4))
        self.assert_all_announced(self.probe.make_pass(TYPES))

    def test_end_of_the_bus_costs_the_pass_nothing(self):
        self.probe.begin("pass", 4, 3500, *TYPES)
        first = self.probe.first_found()
        lab("bus", "stop")
        self.assert_all_announced([first, *self.probe.events(until="end")])
        lab("mdns", "stop", "sensor")
        self.assert_all_announced(self.probe.make_pass(TYPES))

    def test_daemon_that_hangs_holds_nobody_up(self):
        [daemon, *_] = processes("avahi-daemon")
        os.kill(daemon, signal.SIGSTOP)
        self.addCleanup(os.kill, daemon, signal.SIGCONT)
        events = self.probe.make_pass(TYPES)
        self.assertEqual(pairs(events, "found"), [])
        self.assertLess(events[-1]["longestTurn"], LONGEST_TURN)
        os.kill(daemon, signal.SIGCONT)
        self.assert_all_announced(self.probe.make_pass(TYPES))

    def test_daemon_that_hangs_in_mid_pass_lets_resolutions_end_at_their_timeouts(self):
        self.start_responder("_mute")
        [daemon, *_] = processes("avahi-daemon")
        self.probe.begin("pass", 3, 1500, "_mute._tcp.")
        found = self.probe.first_found()
        os.kill(daemon, signal.SIGSTOP)
        self.addCleanup(os.kill, daemon, signal.SIGCONT)
        events = self.probe.events(until="end")
        self.assertEqual(pairs(events, "unresolved"), [("Nobody there", "_mute._tcp.")])
        self.assertLess(events[0]["at"] - found["at"], 2000)
        self.assertLess(events[-1]["longestTurn"], LONGEST_TURN)
        os.kill(daemon, signal.SIGCONT)


class WithoutDaemonTest(BothWays, DiscoveryCase):
    daemon = False

    def test_without_a_bus_there_is_no_daemon_either(self):
        lab("bus", "stop")
        self.assert_all_announced(self.probe.make_pass(TYPES))

    def test_bus_that_hangs_costs_two_seconds(self):
        [bus] = processes("dbus-daemon")
        os.kill(bus, signal.SIGSTOP)
        self.addCleanup(os.kill, bus, signal.SIGCONT)
        events = self.probe.make_pass(TYPES, seconds=5)
        self.assert_all_announced(events)
        self.assertTrue(1900 <= events[0]["at"] < 3500, f"{events[0]['at']} ms")

    def test_bus_does_not_start_a_daemon_that_was_stopped(self):
        mark = f"{LAB}/hosts/sensor/avahi-activated"
        with contextlib.suppress(FileNotFoundError):
            os.unlink(mark)
        self.assert_all_announced(self.probe.make_pass(TYPES))
        self.assertFalse(os.path.exists(mark))
        # The same bus, when somebody calls the daemon without asking first.
        call = ["--dest=org.freedesktop.Avahi", "/", "org.freedesktop.DBus.Peer.Ping"]
        subprocess.run(["dbus-send", "--system", "--print-reply", "--reply-timeout=500", *call], capture_output=True, check=False)
        self.assertTrue(os.path.exists(mark))

    def test_nothing_is_published(self):
        folder, _ = self.start_responder("_mute")
        self.probe.make_pass([*TYPES, "_mute._tcp."])
        self.assertNotIn(SENSOR, self.answered(folder))
        # The same questions, when a daemon is there to answer.
        lab("mdns", "start", "sensor")
        self.probe.make_pass([*TYPES, "_mute._tcp."])
        self.assertIn(SENSOR, self.answered(folder))

    def answered(self, folder):
        with open(f"{folder}/answered", encoding="ascii") as file:
            return file.read().split()

    def test_aliases_do_not_end_the_program(self):
        self.start_responder("_alias")
        for _ in range(3):
            events = self.probe.make_pass(["_alias._tcp.", *TYPES])
            self.assert_all_announced(events)


def load_tests(loader, _tests, _pattern):
    """The order in which they stand; the shared ones are no test case of their own."""
    return unittest.TestSuite(loader.loadTestsFromTestCase(case) for case in (WithDaemonTest, WithoutDaemonTest))


if __name__ == "__main__":
    unittest.main(verbosity=2)
