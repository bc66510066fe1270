"""What is expected of a scan, and the words in which a snapshot differs from it. Needs neither a lab nor the program."""

import copy
import ipaddress
import json
import time
import unittest

import ground_truth
import snapshot
from lab_case import scene_value
from lanternalab import scene
from random_scene import random_scene


def made_up(parsed):
    """The snapshot of a perfect scan: of several right values, the first."""
    now = 1700000000.25
    when = time.strftime(snapshot.DATE, time.localtime(now))
    lines, pairs = [], []
    devices = ground_truth.expect(parsed)
    for ip in sorted(devices, key=ipaddress.IPv4Address):
        device = devices[ip]
        mac = min(device.macs or {"02:00:00:00:00:01"})
        services = ",".join(kind for kind in snapshot.BROWSED if kind in device.services)
        lines.append("|*|".join([f'"{min(device.names)}"', min(device.types), ip, mac, "UNKNOWN", min(device.dns), '"UNKNOWN"', when,
                                 f"ping: {int(bool(device.ping))}", "", services, "No notes found"]) + "\n")
        pairs.append((ip, mac))
    prefix = ground_truth.home_prefix(parsed)
    return {"devices": "***".join(lines), "ssid": f"Subnet {prefix}.x", "subnet": prefix, "date": when, "dateEpoch": now, "source": "Lanterna",
            "macSig": snapshot.mac_signature(pairs)}


class SignatureTest(unittest.TestCase):
    def test_hash_is_the_published_one(self):
        for text, value in ((b"", 0xCBF29CE484222325), (b"a", 0xAF63DC4C8601EC8C), (b"foobar", 0x85944171F73967E8)):
            self.assertEqual(snapshot.fnv1a(text), value)

    def test_empty_table_gives_the_start_of_the_hash(self):
        self.assertEqual(snapshot.mac_signature([]), "cbf29ce484222325")

    def test_pairs_are_sorted_as_text_and_joined(self):
        pairs = [("10.0.0.9", "02:00:00:00:00:09"), ("10.0.0.10", "02:00:00:00:00:0a")]
        self.assertEqual(snapshot.mac_signature(pairs), f"{snapshot.fnv1a(b'10.0.0.10=02:00:00:00:00:0A;10.0.0.9=02:00:00:00:00:09'):x}")

    def test_empty_and_masked_addresses_do_not_count(self):
        self.assertEqual(snapshot.mac_signature([("10.0.0.1", "UNKNOWN"), ("10.0.0.2", "02:00:00:00:00:00"), ("10.0.0.3", "ff:ff:ff:ff:ff:ff")]),
                         snapshot.mac_signature([]))


class ExpectedTest(unittest.TestCase):
    def expect(self, value):
        return ground_truth.expect(scene.parse(value))

    def test_demo_holds_all_of_the_lan_and_nothing_behind_the_gateway(self):
        devices = self.expect(scene_value("demo"))
        self.assertEqual(sorted(int(ip.rpartition(".")[2]) for ip in devices), [1, *range(20, 27), *range(101, 106)])

    def test_types_of_the_demo(self):
        types = {ip.rpartition(".")[2]: min(device.types) for ip, device in self.expect(scene_value("demo")).items() if device.types != {"UNKNOWN"}}
        self.assertEqual(types, {"1": "Router", "20": "Printer", "21": "NetStorage", "22": "Chromecast", "26": "SmartPlug"})

    def test_bonjour_name_takes_the_place_of_the_dns_entry_and_not_of_the_name(self):
        printer = self.expect(scene_value("demo"))["192.168.77.20"]
        self.assertEqual((printer.names, printer.dns), ({"printer.lan"}, {"printer.local."}))

    def test_device_without_dns_names_itself(self):
        value = scene_value("demo")
        value["gateway"]["dns"] = "mute"
        devices = self.expect(value)
        self.assertEqual(devices["192.168.77.20"].names, {"printer.local"})
        self.assertEqual((devices["192.168.77.103"].names, devices["192.168.77.103"].dns), ({"192.168.77.103"}, {"UNKNOWN"}))

    def test_hosts_file_goes_before_dns(self):
        value = scene_value("small")
        value["sensor"]["hosts"] = {"192.168.77.20": "attic attic.example"}
        self.assertEqual(self.expect(value)["192.168.77.20"].names, {"attic"})

    def test_only_devices_that_answer_on_tcp_are_pingable(self):
        devices = self.expect(scene_value("demo"))
        self.assertEqual([devices[f"192.168.77.{n}"].ping for n in (101, 102, 103, 104)], [False, True, True, True])
        value = scene_value("small")
        value["devices"][0]["silent"] = [80, 5000, 62078]
        self.assertFalse(self.expect(value)["192.168.77.20"].ping)

    def test_both_subnets_are_swept(self):
        devices = self.expect(scene_value("two-subnets"))
        self.assertEqual(len([ip for ip in devices if ip.startswith("10.20.30.")]), 22)
        self.assertEqual(len(devices), 22 + 41)
        self.assertTrue(all(device.sure for device in devices.values()))

    def test_what_lies_outside_the_swept_part_of_a_wide_network_may_be_missed(self):
        value = scene_value("small")
        for place in (value["sensor"]["interfaces"][0], value["gateway"]["interfaces"][0], *value["devices"]):
            place["ipv4"] = place["ipv4"].replace("/24", "/16")
        value["devices"][0]["ipv4"] = "192.168.9.20/16"
        value["devices"][1]["ipv4"] = "192.168.255.21/16"
        devices = self.expect(value)
        self.assertFalse(devices["192.168.9.20"].sure)
        self.assertTrue(devices["192.168.255.21"].sure)  # the /24 of the broadcast address

    def test_other_half_of_a_narrow_network_is_out_of_reach(self):
        value = scene_value("small")
        value["sensor"]["interfaces"][0]["ipv4"] = "192.168.77.10/28"
        self.assertEqual(list(self.expect(value)), ["192.168.77.1"])

    def test_double_address_may_be_either(self):
        value = scene_value("small")
        value["allow_duplicates"] = True
        value["devices"][0]["ipv4"] = "192.168.77.21/24"
        self.assertEqual(self.expect(value)["192.168.77.21"].macs, {"02:4C:41:4E:00:14", "02:4C:41:4E:00:15"})

    def test_dozing_crowd_may_be_missed(self):
        value = scene_value("small")
        value["crowds"] = [{"name": "dozers", "segment": "lan", "first": "192.168.77.100/24", "count": 2, "mac": "02:00:00:00:09:00",
                            "raw": {"answers_every": 4}}]
        self.assertFalse(self.expect(value)["192.168.77.101"].sure)

    def test_rules_of_types(self):
        for services, name, dns, wanted in (
                (["_airplay._tcp.", "_raop._tcp."], "kitchen.lan", "kitchen.local.", "UNKNOWN"),
                (["_airplay._tcp.", "_raop._tcp."], "kitchen.lan", "homepod.local.", "HomePod"),
                (["_smb._tcp."], "diskstation.lan", "nas.local.", "UNKNOWN"), (["_smb._tcp."], "mynas.lan", "x.local.", "NetStorage"),
                (["_ipp._tcp.", "_googlecast._tcp."], None, "x.local.", "Printer"), ([], "jims-imac.lan", "jims-imac.lan", "iMac"),
                ([], "macbook-air.lan", "macbook-air.lan", "MacBook_Pro"), ([], "ipad-mini.lan", "ipad-mini.lan", "iPad_Air"),
                (["_appletv-v2._tcp."], "x", "x", "AppleTV"), ([], None, "my-xbox.local.", "UNKNOWN"), ([], "my-XBOX.lan", "x", "Xbox")):
            self.assertEqual(ground_truth.device_type(services, name, dns, "10.0.0.7"), wanted, (services, name, dns))
        self.assertEqual(ground_truth.device_type([], None, "UNKNOWN", "10.0.0.1"), "Router")
        self.assertEqual(ground_truth.device_type(["_googlecast._tcp."], None, "UNKNOWN", "10.0.0.1"), "Chromecast")


class RandomSceneTest(unittest.TestCase):
    def test_one_seed_gives_one_scene(self):
        self.assertEqual(random_scene(7), random_scene(7))
        self.assertNotEqual(random_scene(7), random_scene(8))

    def test_every_seed_gives_a_scene_that_is_understood(self):
        for seed in range(300):
            parsed = scene.parse(random_scene(seed))
            self.assertEqual(ground_truth.differences(parsed, made_up(parsed)), [], seed)


class DifferencesTest(unittest.TestCase):
    def setUp(self):
        self.scene = scene.parse(scene_value("demo"))
        self.value = made_up(self.scene)

    def differences(self, **more):
        return ground_truth.differences(self.scene, self.value, **more)

    def replace(self, old, new):
        self.assertIn(old, self.value["devices"])
        self.value["devices"] = self.value["devices"].replace(old, new, 1)

    def sign(self):
        """Gives a changed list its own right signature."""
        pairs = [(line.split("|*|")[2], line.split("|*|")[3]) for line in self.value["devices"].split("***") if line.count("|*|") == 11]
        self.value["macSig"] = snapshot.mac_signature(pairs)

    def assert_only(self, fault, **more):
        found = self.differences(**more)
        self.assertEqual(len(found), 1, found)
        self.assertRegex(found[0], fault)

    def lines(self):
        return self.value["devices"].split("***")

    def test_right_snapshot_of_every_ready_scene_is_right(self):
        for name in ("demo", "small", "two-subnets"):
            parsed = scene.parse(scene_value(name))
            self.assertEqual(ground_truth.differences(parsed, made_up(parsed)), [])

    def test_missing_device_is_named(self):
        self.value["devices"] = "***".join(line for line in self.lines() if "192.168.77.103" not in line)
        self.sign()
        self.assert_only(r"192\.168\.77\.103 \(camera\.lan\) is missing")

    def test_invented_device_is_named(self):
        self.value["devices"] += "***" + self.lines()[-1].replace("192.168.77.105", "192.168.77.200")
        self.sign()
        self.assert_only(r"192\.168\.77\.200 was never there")

    def test_sensor_in_the_list_is_named(self):
        lines = self.lines()
        self.value["devices"] = "***".join([lines[0], lines[-1].replace("77.105", "77.10"), *lines[1:]])
        self.sign()
        self.assert_only(r"192\.168\.77\.10 is the sensor itself")

    def test_wrong_values_are_named(self):
        for old, new, fault in (
                ('"printer.lan"', '"scanner.lan"', "192.168.77.20: name is 'scanner.lan', not 'printer.lan'"),
                ("printer.local.", "printer.lan", "192.168.77.20: DNS entry is 'printer.lan', not 'printer.local.'"),
                ("|*|Printer|*|", "|*|UNKNOWN|*|", "192.168.77.20: type is 'UNKNOWN', not 'Printer'"),
                (",_printer._tcp.", "", "192.168.77.20: service _printer._tcp. is missing"),
                ("_ipp._tcp.", "_ipp._tcp.,_sonos._tcp.", "192.168.77.20: service _sonos._tcp. was never there"),
                ("00:1B:A9:4E:00:14", "00:1B:A9:4E:00:99", "192.168.77.20: MAC is '00:1B:A9:4E:00:99'"),
                ("ping: 0", "ping: 1", "192.168.77.101 does not answer on TCP")):
            self.value = made_up(self.scene)
            self.replace(old, new)
            self.sign()
            self.assert_only(fault)

    def test_wrong_frame_is_named(self):
        for key, wrong, fault in (("ssid", "Attic", "called 'Attic'"), ("subnet", "10.0.0", "subnet is '10.0.0'"), ("source", "x", "source is 'x'"),
                                  ("date", "01-01-2000, 00:00", "is not the time"), ("macSig", "0", "signature is 0"),
                                  ("dateEpoch", "now", "wrong type")):
            self.value = made_up(self.scene)
            self.value[key] = wrong
            self.assertRegex("\n".join(self.differences()), fault)

    def test_torn_lines_are_named(self):
        for old, new, fault in (("\n***", "***", "no line end"), ('"printer.lan"', "printer.lan", "name of the line"),
                                ("|*|No notes found\n***", "\n***", "11 fields"), ("|*||*|_http", "|*|x|*|_http", "ninth field"),
                                ("00:1B:A9", "00:1b:a9", "MAC of the line"), ('"printer.lan"', '"printer\x1b[2J"', "control characters"),
                                ("_ipp._tcp.,", "_ipp._tcp.,_ipp._tcp.,", "services of the line"), ("ping: 1", "ping: yes", "ping of the line")):
            self.value = made_up(self.scene)
            self.replace(old, new)
            self.assertRegex("\n".join(self.differences()), fault)

    def test_disorder_and_doubles_are_named(self):
        lines = self.lines()
        self.value["devices"] = "***".join([lines[1], lines[0], *lines[2:]])
        self.assertRegex("\n".join(self.differences()), r"192\.168\.77\.1 stands behind 192\.168\.77\.20")
        self.value["devices"] = "***".join([lines[0], *lines])
        self.assertRegex("\n".join(self.differences()), "listed 2 times")

    def test_text_order_of_addresses_is_wrong(self):
        self.assertEqual(snapshot.order_faults(["10.0.0.10", "10.0.0.9"]), ["10.0.0.9 stands behind 10.0.0.10"])

    def test_what_left_and_what_changed_is_told_from_outside(self):
        self.assert_only(r"192\.168\.77\.103 has left", absent=["192.168.77.103"])
        self.assert_only(r"192\.168\.77\.103: MAC is 'B0.*not '02:", present={"192.168.77.103": "02:00:00:00:00:07"})
        self.assert_only(r"192\.168\.77\.77 \(\?\) is missing", present={"192.168.77.77": "02:00:00:00:00:07"})

    def test_devices_of_a_lost_network_may_be_missed(self):
        parsed = scene.parse(scene_value("two-subnets"))
        value = made_up(parsed)
        value["devices"] = "***".join(line for line in value["devices"].split("***") if "10.20.30.1" not in line)
        self.value = value
        self.sign()
        self.assertEqual(len(ground_truth.differences(parsed, value)), 21)
        self.assertEqual(ground_truth.differences(parsed, value, unsure=["10.20.30"]), [])

    def test_of_a_slandered_device_only_the_mac_counts(self):
        value = scene_value("demo")
        value["devices"].append({"name": "liar", "segment": "lan", "mac": "02:00:00:00:00:99", "ipv4": "192.168.77.99/24", "named": False,
                                 "hostile": {"ways": ["lies"], "victims": ["192.168.77.20"]}})
        self.scene = scene.parse(value)
        self.value = made_up(self.scene)
        self.replace('"printer.lan"', '"liar-1.local"')
        self.assertEqual(self.differences(), [])
        self.replace("00:1B:A9:4E:00:14", "00:1B:A9:4E:00:99")
        self.sign()
        self.assert_only("192.168.77.20: MAC is")

    def test_snapshot_of_any_other_shape_gives_words(self):
        whole = self.value
        for key in whole:
            for wrong in (None, 7, "x", [], {}, True):
                self.value = {**copy.deepcopy(whole), key: wrong}
                self.assertIsInstance(self.differences(), list)
        self.value = json.loads("{}")
        self.assertEqual(len([f for f in self.differences() if "is missing" in f and "key" in f]), 7)


if __name__ == "__main__":
    unittest.main()
