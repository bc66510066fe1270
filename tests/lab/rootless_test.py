"""The lab as an ordinary user, through user namespaces. Run as root, it becomes nobody first."""

import os
import subprocess
import unittest

from lab_case import HERE, LAB, LabCase, scene_value

INSIDE = f"{HERE}/inside.py"
NOBODY = 65534


class RootlessTest(LabCase):
    @classmethod
    def setUpClass(cls):
        if os.getuid() == 0:
            os.setgroups([])
            os.setresgid(NOBODY, NOBODY, NOBODY)
            os.setresuid(NOBODY, NOBODY, NOBODY)
        done = subprocess.run([LAB, "can-run"], capture_output=True, text=True, check=False)
        if done.returncode:
            raise unittest.SkipTest(done.stderr.strip())

    def test_devices_names_and_services_are_there(self):
        out = self.in_lab("demo", f"{INSIDE} neighbour 192.168.77.20; getent hosts 192.168.77.20; {INSIDE} mdns 'Hall Printer._ipp._tcp.local'; "
                          f"{INSIDE} connect 192.168.77.102 80")
        self.assertEqual(out.split(), ["00:1b:a9:4e:00:14", "192.168.77.20", "printer.lan", "printer", "silent"])

    def test_crowds_without_kernels_and_hostile_responders_work(self):
        scene = scene_value("small")
        scene["crowds"] = [{"name": "crowd", "segment": "lan", "first": "192.168.77.100/24", "count": 9, "mac": "02:00:00:00:01:00", "raw": {}}]
        scene["devices"][0]["hostile"] = {"ways": ["vanish"]}
        out = self.in_lab(scene, f"{INSIDE} neighbour 192.168.77.108; {INSIDE} heard _http._tcp | wc -l")
        self.assertEqual(out.split(), ["02:00:00:00:01:08", "1"])

    def test_the_command_can_keep_its_own_user(self):
        out = self.in_lab("small", "id -u; ip addr add 192.0.2.1/24 dev eth0 2>/dev/null || echo powerless", options=["--user", f"{os.getuid()}:{os.getgid()}"])
        self.assertEqual(out.split(), [str(os.getuid()), "powerless"])

    def test_its_own_user_reaches_the_control_channel(self):
        out = self.in_lab("small", f"{LAB} ctl addr add sensor eth0 192.168.77.11/24; ip -o -4 addr", options=["--user", f"{os.getuid()}:{os.getgid()}"])
        self.assertIn("192.168.77.11/24", out)

    def test_nobody_else_can_be_had(self):
        self.in_lab("small", "true", options=["--user", "1:1"], status=2)

    def test_icmp_sockets_open_for_the_one_group_there_is(self):
        self.assertEqual(self.in_lab("demo", "cat /proc/sys/net/ipv4/ping_group_range").split(), ["0", "0"])


if __name__ == "__main__":
    unittest.main()
