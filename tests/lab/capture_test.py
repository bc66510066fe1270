"""The recorder's reading of frames, and the check of a sweep on made-up records. Needs neither a lab nor the program."""

import socket
import struct
import unittest

import capture
import sweep_check
from lanternalab import raw_crowd

PREFIX, SENSOR = "192.168.77", "192.168.77.10"
BROADCAST = f"{PREFIX}.255"


def ip_frame(protocol, inner, target="192.168.77.20", ttl=64):
    head = struct.pack(">BBHHHBBH", 0x45, 0, 20 + len(inner), 0, 0, ttl, protocol, 0) + socket.inet_aton(SENSOR) + socket.inet_aton(target)
    # Ethernet fills short frames up; what is filled in belongs to nobody.
    return (b"\2" * 12 + b"\x08\x00" + head + inner).ljust(60, b"\xee")


class DecodeTest(unittest.TestCase):
    def test_udp_ends_where_it_says(self):
        frame = capture.decode(ip_frame(17, struct.pack(">4H", 40000, 9, 9, 0) + b"X", ttl=1))
        self.assertEqual(frame, {"protocol": "udp", "source": SENSOR, "target": "192.168.77.20", "ttl": 1, "source_port": 40000, "target_port": 9,
                                 "payload": "58"})

    def test_icmp(self):
        frame = capture.decode(ip_frame(1, struct.pack(">BBHHH", 8, 0, 0, 77, 1)))
        self.assertEqual((frame["type"], frame["code"], frame["sequence"], frame["length"]), (8, 0, 1, 8))

    def test_tcp_flags_have_letters(self):
        for bits, letters in ((0x02, "S"), (0x12, "SA"), (0x04, "R")):
            frame = capture.decode(ip_frame(6, struct.pack(">HHIIBBHHH", 40000, 443, 0, 0, 80, bits, 0, 0, 0)))
            self.assertEqual((frame["target_port"], frame["flags"]), (443, letters))

    def test_arp_request(self):
        frame = b"\xff" * 6 + b"\2" * 6 + b"\x08\x06" + struct.pack(">HHBBH", 1, 0x0800, 6, 4, 1) + b"\2" * 6 + socket.inet_aton(SENSOR) + bytes(6)
        self.assertEqual(capture.decode(frame + socket.inet_aton("192.168.77.9")),
                         {"protocol": "arp", "operation": 1, "source": SENSOR, "target": "192.168.77.9"})

    def test_cut_and_foreign_frames_keep_their_kind(self):
        whole = ip_frame(17, struct.pack(">4H", 40000, 9, 9, 0) + b"X")
        for length in range(34):
            self.assertIn("protocol", capture.decode(whole[:length]))
        self.assertEqual(capture.decode(b"\2" * 12 + b"\x86\xdd" + bytes(40)), {"protocol": "0x86dd"})

    def test_refusal_of_a_crowd_is_a_right_frame(self):
        syn = ip_frame(6, struct.pack(">HHIIBBHHH", 40000, 443, 7, 0, 80, 2, 0, 0, 0))
        reply = raw_crowd.refusal(syn)
        frame = capture.decode(reply)
        self.assertEqual((frame["source"], frame["source_port"], frame["target_port"], frame["flags"]), ("192.168.77.20", 443, 40000, "RA"))
        self.assertEqual(raw_crowd.checksum(reply[14:34]), b"\0\0")
        self.assertEqual(raw_crowd.checksum(reply[26:34] + struct.pack(">BBH", 0, 6, 20) + reply[34:]), b"\0\0")


def probe(at, number, **more):
    return {"at": at, "target": f"{PREFIX}.{number}", "source": SENSOR, "ttl": 64, **more}


def ping(at, target):
    return {"at": at, "target": target, "protocol": "icmp", "type": 8, "code": 0, "sequence": 1, "length": 64, "ttl": 64}


def right_sweep():
    """The records of a pass as it has to be, with ARP and refused connections in between."""
    records = [{"ready": True}, ping(0.0, BROADCAST)]
    for number in sweep_check.HOSTS:
        at = 2 + number * 0.1025
        if f"{PREFIX}.{number}" == SENSOR:
            continue
        records.append(probe(at, number, protocol="arp", operation=1))
        records.append(probe(at + 0.0002, number, protocol="icmp", type=8, code=0, sequence=1, length=8))
        records += [probe(at + 0.0003, number, protocol="udp", target_port=port, payload="58") for port in sweep_check.UDP_PORTS]
        records += [probe(at + 0.0004, number, protocol="tcp", target_port=port, flags="S") for port in sweep_check.TCP_PORTS]
        records.append(probe(at + 0.0005, number, protocol="tcp", target_port=80, flags="R"))
    records += [ping(30 + i / 5, f"{PREFIX}.{number}") for i in range(2) for number in sweep_check.COMMON]
    records += [probe(30.01, 255, protocol="udp", target_port=port, payload="58") for port in sweep_check.BROADCAST_PORTS]
    records += [{**probe(30.02, 0, protocol="udp", target_port=port, payload="00" * 32), "target": group, "ttl": 1}
                for group, port in sweep_check.GROUPS]
    # Names, tests of hosts and the browser come later.
    records += [probe(34, 20, protocol="udp", target_port=5353, payload="0001"), probe(34, 20, protocol="tcp", target_port=80, flags="S"),
                {**probe(35, 0, protocol="udp", target_port=5353, payload="0002"), "target": "224.0.0.251", "ttl": 255}]
    return records


class SweepCheckTest(unittest.TestCase):
    def setUp(self):
        self.records = right_sweep()

    def find(self, number, **values):
        """The place of the first frame to a host with these values."""
        values["target"] = f"{PREFIX}.{number}"
        return next(i for i, r in enumerate(self.records) if values.items() <= r.items())

    def assert_faults(self, *patterns, **more):
        faults = sweep_check.faults_of(self.records, PREFIX, SENSOR, **more)
        self.assertEqual(len(faults), len(patterns), faults)
        for fault, pattern in zip(faults, patterns):
            self.assertRegex(fault, pattern)

    def test_right_sweep_has_no_fault(self):
        self.assert_faults()

    def test_nothing_at_all_is_many_faults(self):
        self.assertGreater(len(sweep_check.faults_of([{"ready": True}], PREFIX, SENSOR)), 250)

    def test_a_probe_that_is_missing_is_named(self):
        del self.records[self.find(20, target_port=161)]
        self.assert_faults(r"77\.20 lacks udp 161 58")

    def test_a_host_that_is_left_out_is_named(self):
        self.records = [r for r in self.records if r.get("target") != f"{PREFIX}.33"]
        self.assert_faults(r"77\.33 is not probed")

    def test_the_last_host_counts(self):
        self.records = [r for r in self.records if r.get("target") != f"{PREFIX}.254" or r["at"] > 29]
        self.assert_faults(r"77\.254 is not probed")

    def test_a_probe_too_many_is_named(self):
        i = self.find(20, target_port=161)
        self.records.insert(i, dict(self.records[i]))
        self.assert_faults(r"77\.20 gets udp 161 58 again")
        self.records[i]["target_port"] = 162
        self.assert_faults(r"77\.20 gets udp 162 58$")

    def test_another_payload_is_named(self):
        self.records[self.find(20, target_port=161)]["payload"] = "5858"
        self.assert_faults(r"77\.20 lacks udp 161 58", r"77\.20 gets udp 161 5858")

    def test_another_echo_is_named(self):
        for change in ({"type": 13}, {"code": 1}, {"sequence": 2}):
            self.records = right_sweep()
            self.records[self.find(20, protocol="icmp")].update(change)
            self.assert_faults(r"77\.20 lacks icmp 8/0", r"77\.20 gets icmp")

    def test_ports_in_another_order_are_named(self):
        i, j = self.find(20, target_port=9), self.find(20, target_port=7)
        self.records[i], self.records[j] = self.records[j], self.records[i]
        self.assert_faults(r"77\.20 gets its probes in another order: icmp[^;]*; udp 7 ")

    def test_hosts_in_another_order_are_named(self):
        for record in self.records[3:]:
            if record["target"] in (f"{PREFIX}.20", f"{PREFIX}.21") and record["at"] < 29:
                number = 41 - int(record["target"][-2:])
                record.update(target=f"{PREFIX}.{number}", at=record["at"])
        self.assertTrue([f for f in sweep_check.faults_of(self.records, PREFIX, SENSOR) if "host 20 is probed after host 21" in f])

    def test_a_hurry_is_named(self):
        start = 2 + 20 * 0.1025
        for record in self.records[3:]:
            if start <= record["at"] < 29:
                record["at"] -= 0.001
        self.assert_faults(r"host 20 is probed 101\.5 ms after host 19")

    def test_the_moment_of_the_arp_request_counts(self):
        for record in self.records[3:]:  # answers to host 19 took 5 ms
            if record["target"] == f"{PREFIX}.19" and record["protocol"] != "arp":
                record["at"] += 0.005
        self.assert_faults()

    def test_dawdling_is_named(self):
        for record in self.records[3:]:
            record["at"] *= 3
        self.assert_faults(r"half of the pauses are longer than 307\.5 ms")

    def test_a_probe_of_the_sensor_or_the_network_is_named(self):
        self.records.insert(200, probe(3, 10, protocol="udp", target_port=9, payload="58"))
        self.assertTrue([f for f in sweep_check.faults_of(self.records, PREFIX, SENSOR) if f.endswith(".10 is probed")])
        self.records[200]["target"] = f"{PREFIX}.0"
        self.assert_faults(r"in the middle of the sweep: udp 9 58 to 192\.168\.77\.0")

    def test_a_silent_start_is_named(self):
        del self.records[1]
        self.assert_faults(r"no ping of 192\.168\.77\.255")

    def test_closed_icmp_leaves_the_rest(self):
        self.records = [r for r in self.records if r.get("length") != 8]
        self.assert_faults(icmp=False)

    def test_each_part_of_the_end_is_looked_at(self):
        for change, fault in (
                (lambda rs: rs.pop(self.find(100, length=64)), r"77\.100 is pinged 1 times"),
                (lambda rs: rs.append(ping(31, f"{PREFIX}.3")), r"77\.3 is pinged after"),
                (lambda rs: rs.pop(self.find(255, target_port=5355)), r"to the broadcast address go \[\(137, '58'\), \(9, '58'\)\]"),
                (lambda rs: rs[self.find(255, target_port=9)].update(payload="59"), r"to the broadcast address go"),
                (lambda rs: next(r for r in rs if r.get("target") == "239.255.255.250").update(ttl=4), r"239\.255\.255\.250 may live for 4 hops"),
                (lambda rs: next(r for r in rs if r.get("target") == "224.0.0.252").update(payload="00"), r"32 zero bytes go to"),
                (lambda rs: [r.update(at=30.03) for r in rs if r.get("target") == BROADCAST and r["protocol"] == "udp"], "groups are spoken to before")):
            self.records = right_sweep()
            change(self.records)
            self.assert_faults(fault)


if __name__ == "__main__":
    unittest.main()
