"""The parts of a scene that mean no good, at work: crowds that answer late or seldom, a name server and responders that lie."""

import unittest

from lab_case import HERE, LabCase, scene_value
from lanternalab import hostile_mdns

INSIDE = f"{HERE}/inside.py"


def crowd(**raw):
    scene = scene_value("small")
    scene["allow_duplicates"] = True
    scene["crowds"] = [{"name": "crowd", "segment": "lan", "first": "192.168.77.100/24", "count": 100, "mac": "02:00:00:00:01:00", "raw": raw}]
    return scene


class RawCrowdTest(LabCase):
    def neighbours(self, scene, *addresses, seconds=1):
        return self.in_lab(scene, f"for a in {' '.join(addresses)}; do {INSIDE} neighbour 192.168.77.$a {seconds}; done").split()

    def test_each_member_has_its_own_mac(self):
        self.assertEqual(self.neighbours(crowd(), "100", "199", "200"), ["02:00:00:00:01:00", "02:00:00:00:01:63", "nobody"])

    def test_all_may_have_one_mac(self):
        self.assertEqual(self.neighbours(crowd(same_mac=True), "100", "199"), ["02:00:00:00:01:00"] * 2)

    def test_a_late_answer_counts(self):
        self.assertEqual(self.neighbours(crowd(late_ms=1500), "100"), ["nobody"])
        self.assertEqual(self.neighbours(crowd(late_ms=1500), "100", seconds=5), ["02:00:00:00:01:00"])

    def test_a_dozing_member_is_found_the_second_time(self):
        # The kernel asks three times, a second apart.
        self.assertEqual(self.neighbours(crowd(answers_every=4), "100", "100", seconds=3.5), ["nobody", "02:00:00:00:01:00"])

    def test_connections_are_refused_or_left_alone(self):
        script = f"{INSIDE} connect 192.168.77.101 80"
        self.assertEqual(self.in_lab(crowd(refuses=True), script).strip(), "refused")
        self.assertEqual(self.in_lab(crowd(), script).strip(), "silent")


class GarbageNamesTest(LabCase):
    def test_no_question_is_answered_rightly(self):
        scene = scene_value("small")
        scene["gateway"]["dns"] = "garbage"
        script = ("echo 'options timeout:1 attempts:1' >> /etc/resolv.conf; "
                  "for i in 1 2 3 4 5 6; do getent hosts 192.168.77.20 | grep -a laptop; done; cat $LANTERNA_LAB/hosts/gateway/garbage_dns.log")
        self.assertEqual(self.in_lab(scene, script).strip(), "ready")


class HostileResponderTest(LabCase):
    def heard(self, way, kind="_http._tcp", seconds=1):
        """What the sensor hears when it asks for a type: one packet each."""
        scene = scene_value("small")
        scene["devices"][0]["hostile"] = {"ways": [way], "victims": ["192.168.77.21"], "rate": 50}
        out = self.in_lab(scene, f"{INSIDE} heard {kind} {seconds}; cat $LANTERNA_LAB/hosts/laptop/hostile_mdns.log")
        self.assertTrue(out.endswith("ready\n"), out[-500:])
        return [bytes.fromhex(line) for line in out.split()[:-1]]

    def test_a_flood_keeps_to_its_rate(self):
        packets = self.heard("flood", "_nobody._tcp", 2)
        self.assertTrue(50 < len(packets) <= 102, len(packets))
        self.assertEqual(len(set(packets)), len(packets))

    def test_a_liar_points_to_its_victims(self):
        packets = self.heard("lies")
        for address in (b"\xc0\xa8\x4d\x15", bytes(4), b"\xe0\x00\x00\xfb", b"\x7f\x00\x00\x01"):
            self.assertTrue(any(packet.endswith(address) for packet in packets), address)

    def test_labels_break_every_rule(self):
        packets = self.heard("labels")
        self.assertEqual(len(packets), 10)
        self.assertTrue(any(b"\xff" + b"t" * 255 in packet for packet in packets))

    def test_controls_are_in_every_kind_of_name(self):
        packet = self.heard("controls")[0]
        self.assertEqual(packet.count(hostile_mdns.NASTY), 6)

    def test_what_vanishes_is_named_and_nowhere(self):
        packets = self.heard("vanish")
        self.assertEqual((len(packets), packets[0].count(b"gone")), (1, 8))

    def test_many_are_there_in_full(self):
        packets = self.heard("many")
        self.assertEqual(len(packets), hostile_mdns.MANY)

    def test_types_that_are_not_browsed_are_left_alone(self):
        self.assertEqual(self.heard("many", "_nobody._tcp"), [])


if __name__ == "__main__":
    unittest.main()
