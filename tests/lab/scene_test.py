"""Reading scenes: what is understood, and the one line that each fault gives."""

import copy
import os
import unittest

from lab_case import SCENES, scene_value
from lanternalab import scene
from lanternalab.errors import SceneError
from lanternalab.pages import Page


class SceneTest(unittest.TestCase):
    def setUp(self):
        self.value = scene_value("small")

    def assert_refused(self, *words):
        with self.assertRaises(SceneError) as caught:
            scene.parse(self.value)
        line = str(caught.exception)
        self.assertNotIn("\n", line)
        for word in words:
            self.assertIn(word, line)

    def test_every_ready_scene_is_understood(self):
        for name in sorted(os.listdir(SCENES)):
            with self.subTest(name):
                self.assertTrue(scene.load(f"{SCENES}/{name}").sensor)

    def test_a_missing_file_is_named(self):
        with self.assertRaisesRegex(SceneError, "nowhere.json: No such file"):
            scene.load("nowhere.json")

    def test_text_that_is_no_json_is_refused(self):
        with self.assertRaisesRegex(SceneError, "not JSON"):
            scene.load(__file__)

    def test_a_list_is_no_scene(self):
        self.value = []
        self.assert_refused("scene: expected an object")

    def test_a_scene_needs_a_sensor(self):
        del self.value["sensor"]
        self.assert_refused("scene.sensor", "missing")

    def test_a_misspelt_key_is_named_with_its_place(self):
        self.value["devices"][1]["slepy"] = True
        self.assert_refused("scene.devices[1].slepy", "not known")

    def test_an_address_without_prefix_length_is_refused(self):
        self.value["devices"][0]["ipv4"] = "192.168.77.20"
        self.assert_refused("scene.devices[0].ipv4", "prefix length")

    def test_an_address_that_is_none_is_refused(self):
        self.value["devices"][0]["ipv4"] = "192.168.77.300/24"
        self.assert_refused("scene.devices[0].ipv4", "192.168.77.300")

    def test_a_group_mac_is_no_station(self):
        self.value["devices"][0]["mac"] = "01:00:5e:00:00:01"
        self.assert_refused("scene.devices[0].mac", "01:00:5e")

    def test_an_unknown_segment_is_named(self):
        self.value["devices"][0]["segment"] = "attic"
        self.assert_refused("laptop", "attic")

    def test_two_hosts_of_one_name_are_refused(self):
        self.value["devices"][0]["name"] = "lamp"
        self.assert_refused("two hosts", "lamp")

    def test_a_double_address_must_be_meant(self):
        self.value["devices"][0]["ipv4"] = "192.168.77.21/24"
        self.assert_refused("laptop and lamp", "192.168.77.21", "allow_duplicates")
        self.value["allow_duplicates"] = True
        self.assertEqual(len(scene.parse(self.value).devices), 2)

    def test_a_double_mac_must_be_meant(self):
        self.value["devices"][0]["mac"] = self.value["devices"][1]["mac"]
        self.assert_refused("laptop and lamp", "02:4c:41:4e:00:15")

    def test_a_port_is_a_whole_number_up_to_65535(self):
        for port in (0, 65536, "80", True, 1.5):
            self.value["devices"][0]["open"] = [port]
            self.assert_refused("scene.devices[0].open", "TCP port")

    def test_an_interface_name_longer_than_the_kernel_allows_is_refused(self):
        self.value["sensor"]["interfaces"][0]["name"] = "sixteencharacter"
        self.assert_refused("scene.sensor.interfaces[0].name")

    def test_an_odd_but_legal_interface_name_is_taken(self):
        self.value["sensor"]["interfaces"][0]["name"] = "wl'0;é"
        self.assertEqual(scene.parse(self.value).sensor.interfaces[0].name, "wl'0;é")

    def test_an_unknown_page_mode_is_refused(self):
        self.value["gateway"]["http"]["pages"] = {"/ip": {"mode": "grumpy"}}
        self.assert_refused("scene.gateway.http.pages./ip.mode", "grumpy")

    def test_a_crowd_must_fit_into_its_network(self):
        self.value["crowds"] = [{"name": "crowd", "segment": "lan", "first": "192.168.77.200/24", "count": 56, "mac": "02:00:00:00:01:00"}]
        self.assert_refused("scene.crowds[0].count", "do not fit")

    def test_crowd_members_count_up(self):
        self.value["crowds"] = [{"name": "c", "segment": "lan", "first": "192.168.77.200/24", "count": 3, "mac": "02:00:00:00:01:ff", "sleepy_every": 2}]
        members = [(n, str(a.ip), m, s) for n, a, m, s in scene.parse(self.value).crowds[0].members()]
        self.assertEqual(members, [("c-1", "192.168.77.200", "02:00:00:00:01:ff", False), ("c-2", "192.168.77.201", "02:00:00:00:02:00", True),
                                   ("c-3", "192.168.77.202", "02:00:00:00:02:01", False)])

    def test_a_raw_crowd_has_no_kernel_to_open_ports(self):
        self.value["crowds"] = [{"name": "c", "segment": "lan", "first": "192.168.77.200/24", "count": 3, "mac": "02:00:00:00:01:00",
                                 "raw": {"answers_every": 4, "late_ms": 1500, "refuses": True}}]
        self.assertEqual(scene.parse(self.value).crowds[0].raw.late_ms, 1500)
        self.value["crowds"][0]["open"] = [22]
        self.assert_refused("scene.crowds[0].raw", "no ports")

    def test_one_mac_for_a_crowd_must_be_meant(self):
        self.value["crowds"] = [{"name": "c", "segment": "lan", "first": "192.168.77.200/24", "count": 2, "mac": "02:00:00:00:01:00",
                                 "raw": {"same_mac": True}}]
        self.assert_refused("c-1 and c-2", "allow_duplicates")
        self.value["allow_duplicates"] = True
        self.assertEqual({mac for _, _, mac, _ in scene.parse(self.value).crowds[0].members()}, {"02:00:00:00:01:00"})

    def test_a_hostile_responder_is_described_in_known_words(self):
        self.value["devices"][0]["hostile"] = {"ways": ["lies", "flood"], "victims": ["192.168.77.21"], "rate": 50}
        self.assertEqual(scene.parse(self.value).devices[0].hostile.rate, 50)
        for change, words in (({"ways": ["charm"]}, ["ways", "charm"]), ({"victims": ["attic"]}, ["victims[0]", "attic"]),
                              ({"rate": 0}, ["rate"]), ({"rage": 1}, ["rage", "not known"])):
            kept = dict(self.value["devices"][0]["hostile"])
            self.value["devices"][0]["hostile"].update(change)
            self.assert_refused("scene.devices[0].hostile", *words)
            self.value["devices"][0]["hostile"] = kept

    def test_a_device_has_one_responder(self):
        self.value["devices"][0].update({"hostile": {"ways": ["many"]}, "mdns": {"host": "x"}})
        self.assert_refused("scene.devices[0].hostile", "one responder")

    def test_a_service_name_is_at_most_63_bytes(self):
        service = {"name": "é" * 32, "type": "_http._tcp", "port": 80}
        self.value["devices"][0]["mdns"] = {"host": "laptop", "services": [service]}
        self.assert_refused("services[0].name", "63 bytes")

    def test_any_single_value_of_a_wrong_type_gives_one_line(self):
        ready = scene_value("demo")
        for place in places(ready):
            for wrong in (None, 7.5, {"x": 1}, [[]], True):
                self.value = replaced(ready, place, wrong)
                try:
                    scene.parse(self.value)  # null or true may be right in that place
                except SceneError as error:
                    self.assertNotIn("\n", str(error))

    def test_fields_of_a_page_change_alone(self):
        page = Page(body="old").changed({"status": "502"}, "/ip")
        self.assertEqual((page.body, page.status), ("old", 502))


def places(value, path=()):
    """The paths of all values inside a JSON value."""
    if path:
        yield path
    items = value.items() if isinstance(value, dict) else enumerate(value) if isinstance(value, list) else ()
    for key, inner in items:
        yield from places(inner, (*path, key))


def replaced(value, path, new):
    result = copy.deepcopy(value)
    inner = result
    for key in path[:-1]:
        inner = inner[key]
    inner[path[-1]] = new
    return result


if __name__ == "__main__":
    unittest.main()
