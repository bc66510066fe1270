"""Announcing services inside a lab, as another host's avahi-browse sees it: with an avahi-daemon and without, and with daemons that come and go.

Runs in the sensor of the scene "discovery". LANTERNA_DISCOVERY_PROBE names the program that announces.
"""

import contextlib
import json
import os
import signal
import sys
import threading
import time
import unittest

import discovery_test
from discovery_test import PATIENCE, lab, processes

HERE = os.path.dirname(os.path.abspath(__file__))
TYPE = "_rgfscanmac._tcp"
SENSOR = discovery_test.SENSOR
NAME = "Hall: größer \\ besser. (1)"
# Leaving takes 300 ms at most; the rest is for busy machines.
LONGEST_LEAVING = 450


def setUpModule():
    """The host that looks on. It is not in the scene: a daemon more there would slow down the crowds of other tests."""
    lab("device", "add", json.dumps({
        "name": "onlooker", "segment": "lan", "mac": "02:4c:41:4e:00:19", "ipv4": "192.168.77.25/24", "mdns": {"host": "onlooker"}, "system_bus": True}))


def unescaped(text):
    """What a field of avahi-browse stands for: odd bytes are \\DDD, dots and backslashes have one in front."""
    out, i = bytearray(), 0
    raw = text.encode()
    while i < len(raw):
        if raw[i:i + 1] == b"\\" and raw[i + 1:i + 4].isdigit():
            out.append(int(raw[i + 1:i + 4]))
            i += 4
        else:
            i += raw[i:i + 1] == b"\\"
            out += raw[i:i + 1]
            i += 1
    return out.decode()


def on_onlooker(*command):
    return lab("exec", "onlooker", "--", *command)["out"]


def resolved(lines):
    """{name: (host, address, port, [text])} of the resolved lines of avahi-browse -p."""
    fields = [line.split(";", 9) for line in lines.splitlines() if line.startswith("=")]
    return [(unescaped(f[3]), (f[6], f[7], int(f[8]), sorted(f[9].replace('"', "").split()))) for f in fields]


def browse():
    """What another host sees now, as a list: nothing may be there twice."""
    return sorted(resolved(on_onlooker("avahi-browse", "-rpt", TYPE)))


class PublishingCase(discovery_test.DiscoveryCase):
    def setUp(self):
        self.forget()
        super().setUp()

    @staticmethod
    def forget():
        """The onlooker forgets what it has heard; as much as the liars tell leaves no room for anything else."""
        lab("mdns", "stop", "onlooker")
        lab("mdns", "start", "onlooker")

    def publish(self, key="a", name=NAME, port=40123, text="rev=1"):
        self.probe.begin("publish", key, port, TYPE, text, name)

    def wait_until_seen(self, expected, seconds=PATIENCE):
        """Waits until another host sees exactly these: [(name, port, [text])]."""
        deadline = time.monotonic() + seconds
        while True:
            seen = [(name, port, text) for name, (_, _, port, text) in browse()]
            if seen == sorted(expected):
                return
            self.assertLess(time.monotonic(), deadline, f"seen is {seen}, not {expected}")

    def take_name(self, name=NAME):
        """Another host announces a service of this name first."""
        def announce():
            with contextlib.suppress(Exception):
                lab("exec", "onlooker", "--", "timeout", "60", "avahi-publish", "-s", name, TYPE, "9")
        threading.Thread(target=announce, daemon=True).start()
        self.addCleanup(self.end_publisher)
        self.wait_until_seen([(name, 9, [])])

    @staticmethod
    def end_publisher():
        on_onlooker("sh", "-c", "for p in /proc/[0-9]*; do read c < $p/comm && [ \"$c\" = avahi-publish ] "
                    "&& [ $p/ns/net -ef /proc/self/ns/net ] && kill ${p#/proc/}; done 2>/dev/null")

    def browse_meanwhile(self, seconds):
        """Starts a browser on the other host; answers the list that will have its output."""
        out = []
        command = ("timeout", str(seconds), "stdbuf", "-oL", "avahi-browse", "-rp", TYPE)
        watcher = threading.Thread(target=lambda: out.append(on_onlooker(*command)))
        watcher.start()
        self.addCleanup(watcher.join)
        return watcher, out


class BothWays:
    """What must be the same with and without a daemon."""

    def test_other_hosts_see_name_port_and_text(self):
        self.publish(text="rev=1,empty=,path=/x=y")
        self.wait_until_seen([(NAME, 40123, ["empty=", "path=/x=y", "rev=1"])])
        [(_, (host, address, _, _))] = browse()
        self.assertEqual(address, SENSOR)
        self.assertTrue(host.endswith(".local") and host != "localhost.local", host)
        self.assertEqual(self.probe.is_on_mdns(), not self.daemon)

    def test_text_is_replaced_in_place(self):
        self.publish()
        self.wait_until_seen([(NAME, 40123, ["rev=1"])])
        watcher, out = self.browse_meanwhile(6)
        time.sleep(1)
        for rev in (2, 3):
            self.probe.begin("text", "a", f"rev={rev}")
            time.sleep(1.5)
        self.wait_until_seen([(NAME, 40123, ["rev=3"])])
        watcher.join()
        self.assertEqual([line[0] for line in out[0].splitlines()], ["+", "="], out[0])

    def test_dropped_service_goes_away(self):
        self.publish()
        self.publish("b", "Other", 40124)
        self.wait_until_seen([(NAME, 40123, ["rev=1"]), ("Other", 40124, ["rev=1"])])
        self.probe.begin("withdraw", "a")
        self.wait_until_seen([("Other", 40124, ["rev=1"])], seconds=5)  # without a goodbye it would take over an hour
        self.probe.begin("withdraw", "b")
        self.wait_until_seen([], seconds=5)
        self.wait_until_on_mdns(False)

    def test_service_may_be_replaced_by_one_of_the_same_name(self):
        self.publish()
        self.wait_until_seen([(NAME, 40123, ["rev=1"])])
        self.publish(port=40124)  # the probe makes the new one before it drops the old one
        self.wait_until_seen([(NAME + " #2", 40124, ["rev=1"])])
        self.probe.begin("withdraw", "a")
        self.publish(port=40125)
        self.wait_until_seen([(NAME, 40125, ["rev=1"])])

    def test_name_that_is_taken_gets_a_number_and_keeps_it(self):
        self.take_name()
        self.publish()
        self.wait_until_seen([(NAME, 9, []), (NAME + " #2", 40123, ["rev=1"])])
        self.probe.begin("text", "a", "rev=2")
        self.wait_until_seen([(NAME, 9, []), (NAME + " #2", 40123, ["rev=2"])])

    def test_leaving_withdraws_everything_at_once(self):
        self.publish()
        self.wait_until_seen([(NAME, 40123, ["rev=1"])])
        self.probe.begin("leave")
        self.assertLess(self.probe.events(until="left")[-1]["took"], LONGEST_LEAVING)
        self.wait_until_seen([], seconds=5)
        self.assertFalse(self.probe.is_on_mdns())

    def test_what_cannot_be_announced_hurts_nobody(self):
        for i, (name, text) in enumerate((("x" * 64, "rev=1"), ("ä" * 32, "rev=1"), ("", "rev=1"))):
            self.publish(f"bad{i}", name, 1, text)
        self.publish("long", "Long", 2, f"long={'x' * 251},rev=1")
        self.publish()
        self.wait_until_seen([(NAME, 40123, ["rev=1"]), ("Long", 2, ["rev=1"])])

    def test_passes_and_resolutions_go_on_beside_announcements(self):
        self.publish()
        for _ in range(2):
            self.assert_all_announced(self.probe.make_pass(discovery_test.TYPES))
        self.wait_until_seen([(NAME, 40123, ["rev=1"])])


class WithDaemonTest(BothWays, PublishingCase):
    daemon = True

    def assert_announced_over_changes(self, end, expected_host="sensor.local"):
        self.publish()
        self.wait_until_seen([(NAME, 40123, ["rev=1"])])
        lab("mdns", end, "sensor")
        self.wait_until_on_mdns(True)
        self.probe.begin("text", "a", "rev=2")
        self.wait_until_seen([(NAME, 40123, ["rev=2"])])
        lab("mdns", "start", "sensor")
        self.wait_until_on_mdns(False)
        self.wait_until_seen([(NAME, 40123, ["rev=2"])])
        [(_, (host, address, _, _))] = browse()
        self.assertEqual((host, address), (expected_host, SENSOR))
        self.probe.begin("withdraw", "a")
        self.wait_until_seen([], seconds=5)

    def test_announcement_goes_on_without_the_daemon_and_back_to_it(self):
        self.assert_announced_over_changes("stop")

    def test_announcement_goes_on_after_the_daemons_sudden_end(self):
        self.assert_announced_over_changes("kill")

    def test_number_that_a_name_got_outlasts_the_daemon(self):
        self.take_name()
        self.publish()
        self.wait_until_seen([(NAME, 9, []), (NAME + " #2", 40123, ["rev=1"])])
        lab("mdns", "stop", "sensor")
        self.wait_until_on_mdns(True)
        self.wait_until_seen([(NAME, 9, []), (NAME + " #2", 40123, ["rev=1"])])
        lab("mdns", "start", "sensor")
        self.wait_until_on_mdns(False)
        self.wait_until_seen([(NAME, 9, []), (NAME + " #2", 40123, ["rev=1"])])

    def test_quick_restart_of_the_daemon_costs_its_host_name_nothing(self):
        self.publish()
        self.wait_until_seen([(NAME, 40123, ["rev=1"])])
        lab("mdns", "stop", "sensor")
        lab("mdns", "start", "sensor")
        self.wait_until_on_mdns(True)
        self.wait_until_on_mdns(False)
        self.wait_until_seen([(NAME, 40123, ["rev=1"])])
        self.assertEqual(browse()[0][1][0], "sensor.local")

    def test_standing_search_tells_each_service_once_whatever_becomes_of_the_daemon(self):
        self.probe.begin("watch", "_ipp._tcp.")
        self.assertEqual(self.watched(), "Hall Printer")
        lab("mdns", "stop", "sensor")
        self.wait_until_on_mdns(True)
        time.sleep(2)
        self.add_late_printer(40)
        self.assertEqual(self.watched(), "Late Printer")
        lab("mdns", "start", "sensor")
        self.wait_until_on_mdns(False)
        time.sleep(3)
        lab("mdns", "kill", "sensor")
        self.wait_until_on_mdns(True)
        time.sleep(3)
        self.assertTrue(self.probe.lines.empty(), "told twice")

    def watched(self):
        line = self.probe.lines.get(timeout=PATIENCE)
        self.assertEqual(line["event"], "watched")
        return line["name"]

    def test_end_of_the_bus_leaves_everything_announced(self):
        self.publish()
        self.wait_until_seen([(NAME, 40123, ["rev=1"])])
        lab("bus", "stop")
        self.wait_until_on_mdns(True)
        lab("mdns", "stop", "sensor")
        self.wait_until_seen([(NAME, 40123, ["rev=1"])])

    def test_daemon_that_hangs_holds_up_neither_the_main_thread_nor_the_end(self):
        [daemon, *_] = processes("avahi-daemon")
        os.kill(daemon, signal.SIGSTOP)
        self.addCleanup(os.kill, daemon, signal.SIGCONT)
        self.publish()
        self.probe.begin("text", "a", "rev=2")
        events = self.probe.make_pass(["_ipp._tcp."])
        self.assertLess(events[-1]["longestTurn"], discovery_test.LONGEST_TURN)
        self.probe.begin("leave")
        self.assertLess(self.probe.events(until="left")[-1]["took"], LONGEST_LEAVING)
        os.kill(daemon, signal.SIGCONT)

    def test_daemon_that_hung_announces_what_was_published_meanwhile(self):
        [daemon, *_] = processes("avahi-daemon")
        os.kill(daemon, signal.SIGSTOP)
        self.addCleanup(os.kill, daemon, signal.SIGCONT)
        self.publish()
        time.sleep(2)
        os.kill(daemon, signal.SIGCONT)
        self.wait_until_seen([(NAME, 40123, ["rev=1"])])


class WithoutDaemonTest(BothWays, PublishingCase):
    daemon = False

    def test_daemon_that_comes_takes_over(self):
        self.publish()
        self.wait_until_seen([(NAME, 40123, ["rev=1"])])
        lab("mdns", "start", "sensor")
        self.wait_until_on_mdns(False)
        self.wait_until_seen([(NAME, 40123, ["rev=1"])])
        self.assertEqual(browse()[0][1][0], "sensor.local")

    def test_announcing_needs_no_bus(self):
        lab("bus", "stop")
        self.publish()
        self.wait_until_seen([(NAME, 40123, ["rev=1"])])

    def test_hostile_questions_end_nothing_and_learn_nothing_of_the_loopback(self):
        self.publish()
        self.wait_until_seen([(NAME, 40123, ["rev=1"])])
        out = lab("exec", "liar", "--", sys.executable, "-B", f"{HERE}/hostile_asker.py", discovery_test.LIAR_ADDRESS, "8", NAME)
        result = json.loads(out["out"])
        self.assertGreater(result["sent"], 200)
        self.assertIn(f"{TYPE}.local", result["answered"])
        self.assertEqual([name for name in result["answered"] if "localhost" in name or "127.in-addr" in name or name.endswith("ip6.arpa")], [])
        self.wait_until_seen([(NAME, 40123, ["rev=1"])])

    def test_hostile_answers_end_nothing(self):
        self.publish()
        self.wait_until_seen([(NAME, 40123, ["rev=1"])])
        self.start_responder("_alias")
        lab("device", "add", json.dumps({
            "name": "villain", "segment": "lan", "mac": "02:4c:41:4e:01:50", "ipv4": "192.168.77.80/24",
            "hostile": {"ways": ["labels", "controls", "lies", "flood", "vanish"], "victims": [SENSOR], "rate": 200}}))
        for _ in range(2):
            events = self.probe.make_pass(["_alias._tcp.", "_http._tcp.", "_ipp._tcp."], seconds=3)
            self.assertIn(("Hall Printer", "_ipp._tcp."), discovery_test.pairs(events, "found"))
        lab("device", "del", "villain")
        self.forget()
        self.wait_until_seen([(NAME, 40123, ["rev=1"])])


if __name__ == "__main__":
    unittest.main(verbosity=2)
