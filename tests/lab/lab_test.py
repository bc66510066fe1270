"""The lab in action: what the sensor finds in a scene, what the control channel changes, and that nothing stays behind."""

import json
import os
import signal
import subprocess
import time
import unittest

from lab_case import HERE, LAB, LabCase, scene_value

INSIDE = f"{HERE}/inside.py"


class SensorTest(LabCase):
    def test_exit_status_is_the_commands_own(self):
        self.in_lab("small", "exit 7", status=7)

    def test_a_killed_command_reads_like_in_a_shell(self):
        self.in_lab("small", "kill -9 $$", status=128 + signal.SIGKILL)

    def test_sees_its_own_interfaces_and_no_others(self):
        names = self.in_lab("small", "ls /sys/class/net; ip -o link | cut -d: -f2 | cut -d@ -f1").split()
        self.assertEqual(sorted(names), ["eth0", "eth0", "lo", "lo"])

    def test_without_network_there_is_the_loopback_only(self):
        self.assertEqual(self.in_lab("no-network", "ls /sys/class/net; ip route").split(), ["lo"])

    def test_is_in_another_network_than_the_machine(self):
        inside = self.in_lab("small", "readlink /proc/self/ns/net").strip()
        self.assertNotEqual(inside, os.readlink("/proc/self/ns/net"))

    def test_neither_proxies_nor_the_machines_daemons_reach_in(self):
        os.environ["http_proxy"] = "http://127.0.0.1:9"
        self.addCleanup(os.environ.pop, "http_proxy")
        script = "env | grep -i _proxy=; ls /run/dbus /run/avahi-daemon /run/systemd /run/nscd 2>/dev/null | grep -v :; echo $DBUS_SYSTEM_BUS_ADDRESS"
        self.assertEqual(self.in_lab("small", script).split(), ["unix:path=/run/dbus/system_bus_socket"])

    def test_resolver_files_are_the_scenes(self):
        scene = scene_value("small")
        scene["sensor"]["hosts"] = {"192.0.2.9": "attic attic.example"}
        out = self.in_lab(scene, "cat /etc/resolv.conf; getent hosts attic; head -c5 /etc/passwd; test -e /etc/os-release && echo whole")
        self.assertEqual(out.split(), "nameserver 192.168.77.1 search lan 192.0.2.9 attic attic.example root:whole".split())

    def test_icmp_sockets_are_closed_unless_the_scene_opens_them(self):
        script = "cat /proc/sys/net/ipv4/ping_group_range"
        self.assertEqual(self.in_lab("small", script).split(), ["1", "0"])
        self.assertEqual(self.in_lab("demo", script).split()[0], "0")

    def test_a_scene_without_default_route_has_none(self):
        scene = scene_value("small")
        scene["sensor"]["gateway"] = None
        self.assertNotIn("default", self.in_lab(scene, "ip route"))

    def test_an_own_user_can_be_had(self):
        uid, gid = os.getuid() or 65534, os.getgid() or 65534
        out = self.in_lab("small", f"id -u; id -g; {LAB} ctl addr add sensor eth0 192.168.77.11/24", options=["--user", f"{uid}:{gid}"])
        self.assertEqual(out.split(), [str(uid), str(gid)])

    def test_an_interface_name_may_be_odd(self):
        scene = scene_value("small")
        scene["sensor"]["interfaces"][0]["name"] = "wl'0;é"
        self.assertIn("192.168.77.10/24", self.in_lab(scene, "ip -br addr show dev \"wl'0;é\""))

    def test_system_bus_and_avahi_of_the_sensor_serve_clients(self):
        scene = scene_value("small")
        scene["sensor"].update({"system_bus": True, "mdns": {"host": "sensor", "services": []}})
        script = ("dbus-send --system --print-reply=literal --dest=org.freedesktop.Avahi / org.freedesktop.Avahi.Server.GetHostName")
        self.assertEqual(self.in_lab(scene, script).split(), ["sensor"])


class DeviceTest(LabCase):
    def test_every_device_answers_arp_with_its_own_mac(self):
        devices = [d for d in scene_value("demo")["devices"] if d["segment"] == "lan"]
        addresses = [d["ipv4"].split("/")[0] for d in devices]
        out = self.in_lab("demo", f"for a in {' '.join(addresses)}; do {INSIDE} neighbour $a; done")
        self.assertEqual(out.split(), [d["mac"] for d in devices])

    def test_a_free_address_answers_nothing(self):
        self.assertEqual(self.in_lab("small", f"{INSIDE} neighbour 192.168.77.99").strip(), "nobody")

    def test_a_device_answers_ping_and_a_sleepy_one_does_not(self):
        self.in_lab("small", "ping -q -c1 -W1 192.168.77.20")
        self.in_lab("small", "ping -q -c1 -W1 192.168.77.21", status=1)

    def test_ports_are_open_silent_or_refusing(self):
        out = self.in_lab("small", f"for p in 22 23 24; do {INSIDE} connect 192.168.77.20 $p; done")
        self.assertEqual(out.split(), ["open", "silent", "refused"])

    def test_names_resolve_forwards_and_backwards(self):
        out = self.in_lab("small", "getent hosts 192.168.77.20; getent ahostsv4 lamp | head -n1; getent hosts 192.168.77.77 || echo none")
        self.assertEqual(out.split(), ["192.168.77.20", "laptop.lan", "192.168.77.21", "STREAM", "lamp.lan", "none"])

    def test_a_service_is_visible_by_multicast(self):
        out = self.in_lab("demo", f"{INSIDE} mdns 'Hall Printer._ipp._tcp.local'; {INSIDE} mdns 'Laptop of Ada._companion-link._tcp.local'; "
                          f"{INSIDE} mdns 'Nobody._ipp._tcp.local'")
        self.assertEqual(out.split(), ["printer", "laptop", "nobody"])

    def test_a_crowd_answers_one_by_one_in_both_subnets(self):
        out = self.in_lab("two-subnets", f"for a in 192.168.77.100 192.168.77.104 192.168.77.139 10.20.30.119 10.20.30.20; do {INSIDE} neighbour $a; done; "
                          "ping -q -c1 -W1 192.168.77.103 >/dev/null && echo awake; ping -q -c1 -W1 192.168.77.104 >/dev/null || echo asleep")
        self.assertEqual(out.split(), ["02:4c:41:4e:11:00", "02:4c:41:4e:11:04", "02:4c:41:4e:11:27", "02:4c:41:4e:12:13", "02:4c:41:4e:02:14",
                                       "awake", "asleep"])

    def test_the_internet_lies_behind_the_gateway(self):
        self.assertIn("Current IP Address: 203.0.113.7</body>", self.in_lab("demo", f"{INSIDE} body http://203.0.113.80/ip"))


class RecorderTest(LabCase):
    def test_what_leaves_is_recorded_and_what_comes_is_not(self):
        script = (f"cd $LANTERNA_LAB; {HERE}/capture.py --seconds 2 > frames & cd $LANTERNA_LAB; until grep -q ready frames; do sleep 0.02; done; "
                  "ping -q -c1 -W1 192.168.77.20 >/dev/null; wait; cat frames")
        frames = [json.loads(line) for line in self.in_lab("small", script).splitlines()]
        self.assertEqual(frames[0], {"ready": True})
        self.assertEqual([(f["protocol"], f["interface"], f["target"], f.get("type")) for f in frames[1:]],
                         [("arp", "eth0", "192.168.77.20", None), ("icmp", "eth0", "192.168.77.20", 8)])
        self.assertLess(abs(frames[1]["at"] - time.time()), 60)

    def test_it_ends_with_its_input(self):
        out = self.in_lab("small", f"ping -q -c1 -W1 192.168.77.20 >/dev/null | {HERE}/capture.py eth7")
        self.assertEqual(out.splitlines(), ['{"ready": true}'])


class WebTest(LabCase):
    """Each way in which an endpoint can misbehave, as a client sees it."""

    PAGE = "http://192.168.77.1/ip"

    def ask(self, *pairs):
        """What a client sees after the page was changed."""
        return self.in_lab("small", f"{LAB} ctl http gateway /ip {' '.join(pairs)} && {INSIDE} fetch {self.PAGE}").strip()

    def test_configuration_text_names_the_endpoint_and_its_markers(self):
        self.assertEqual(self.in_lab("small", f"{INSIDE} body http://192.168.77.1/lanterna.txt").strip(),
                         "http://192.168.77.1/ip||Current IP Address: ||</body>")

    def test_an_unknown_path_is_not_found(self):
        self.assertTrue(self.in_lab("small", f"{INSIDE} fetch http://192.168.77.1/attic").startswith("404"))

    def test_a_status_and_a_body_can_be_set(self):
        self.assertEqual(self.ask("status=502", "body=oops"), "502, promised 4, got 4, end")

    def test_empty(self):
        self.assertEqual(self.ask("mode=empty"), "200, promised 0, got 0, end")

    def test_hang(self):
        self.assertEqual(self.ask("mode=hang"), "0 bytes, timeout")

    def test_hang_in_the_body(self):
        self.assertEqual(self.ask("mode=hang-body", "body=12345678"), "200, promised 8, got 4, timeout")

    def test_reset(self):
        self.assertEqual(self.ask("mode=reset"), "0 bytes, reset")

    def test_reset_in_the_body(self):
        self.assertEqual(self.ask("mode=reset-body", "body=12345678"), "200, promised 8, got 4, reset")

    def test_close(self):
        self.assertEqual(self.ask("mode=close"), "0 bytes, end")

    def test_content_length_too_long(self):
        self.assertEqual(self.ask("mode=longer", "body=12345678"), "200, promised 1008, got 8, end")

    def test_content_length_too_short(self):
        self.assertEqual(self.ask("mode=shorter", "body=12345678"), "200, promised 4, got 8, end")

    def test_no_content_length(self):
        self.assertEqual(self.ask("mode=no-length", "body=12345678"), "200, promised nothing, got 8, end")

    def test_huge(self):
        self.assertEqual(self.ask("mode=huge", "size=3"), f"200, promised {3 << 20}, got {3 << 20}, end")

    def test_binary(self):
        self.assertEqual(self.ask("mode=binary"), "200, promised 4096, got 4096, end")

    def test_garbage(self):
        self.assertEqual(self.ask("mode=garbage"), "1024 bytes, end")

    def test_redirect(self):
        self.assertEqual(self.ask("mode=redirect", "location=http://192.168.77.1/other"), "302, promised 0, got 0, end")

    def test_trickle_is_as_slow_as_told(self):
        script = f"{LAB} ctl http gateway /ip mode=trickle delay=0.02 body=12345678 && {INSIDE} fetch {self.PAGE} 1 && date +%s%N"
        before = int(self.in_lab("small", "date +%s%N"))
        words = self.in_lab("small", script).split("\n")
        self.assertEqual(words[0], "200, promised 8, got 8, end")
        self.assertGreater(int(words[1]) - before, 100 * 0.02e9)

    def test_a_stopped_server_refuses_and_a_started_one_answers(self):
        out = self.in_lab("small", f"{LAB} ctl http stop gateway; {INSIDE} connect 192.168.77.1 80; {LAB} ctl http start gateway; {INSIDE} fetch {self.PAGE}")
        self.assertRegex(out, r"^refused\n200, ")

    def test_requests_are_counted_by_path(self):
        out = self.in_lab("small", f"{INSIDE} body {self.PAGE}; {INSIDE} body {self.PAGE}; {LAB} ctl http count gateway /ip; {LAB} ctl http count gateway /attic")
        self.assertEqual(out.split()[-2:], ["2", "0"])

    def test_every_mode_has_an_answer(self):
        modes = json.loads(self.in_lab("small", f"{LAB} ctl modes"))
        script = "".join(f"{LAB} ctl http gateway /ip mode={m} size=1 delay=0.001 location=/x; {INSIDE} fetch {self.PAGE} 0.5; " for m in modes)
        self.assertEqual(len(self.in_lab("small", script).splitlines()), len(modes))


class ControlTest(LabCase):
    """Changes from inside."""

    def ctl(self, *requests, then, scene="small"):
        return self.in_lab(scene, "set -e; " + "".join(f"{LAB} ctl {r}; " for r in requests) + then)

    def test_addresses_come_and_go(self):
        out = self.ctl("addr add sensor eth0 192.168.77.11/24", "addr del sensor eth0 192.168.77.10/24", then="ip -o -4 addr show dev eth0")
        self.assertIn("192.168.77.11/24", out)
        self.assertNotIn("192.168.77.10/", out)

    def test_interfaces_come_and_go(self):
        out = self.ctl("link add sensor wlan0 lan 02:00:00:00:00:77", "addr add sensor wlan0 192.168.77.12/24", "link del sensor eth0", then="ip -o -4 addr")
        self.assertIn("wlan0", out)
        self.assertNotIn("eth0", out)

    def test_a_link_goes_down_and_up_again(self):
        state = "cat /sys/class/net/eth0/flags"
        down = int(self.ctl("link down sensor eth0", then=state), 16)
        up = int(self.ctl("link down sensor eth0", "link up sensor eth0", then=state), 16)
        self.assertEqual((down & 1, up & 1), (0, 1))  # IFF_UP

    def test_an_unplugged_device_is_gone_and_a_plugged_one_back(self):
        self.assertEqual(self.ctl("unplug laptop", then=f"{INSIDE} neighbour 192.168.77.20").strip(), "nobody")
        self.assertEqual(self.ctl("unplug laptop", "plug laptop", then=f"{INSIDE} neighbour 192.168.77.20").strip(), "02:4c:41:4e:00:14")

    def test_a_device_comes_with_mdns_and_goes(self):
        device = {"name": "guest", "segment": "lan", "mac": "02:00:00:00:00:99", "ipv4": "192.168.77.99/24", "open": [8080],
                  "mdns": {"host": "guest", "services": [{"type": "_http._tcp", "port": 8080}]}}
        out = self.ctl(f"device add '{json.dumps(device)}'", then=f"{INSIDE} connect 192.168.77.99 8080; {INSIDE} mdns guest._http._tcp.local; "
                       f"{LAB} ctl device del guest; ip neigh flush all; {INSIDE} neighbour 192.168.77.99")
        self.assertEqual(out.split(), ["open", "guest", "nobody"])

    def test_a_device_falls_asleep_and_wakes(self):
        out = self.ctl("sleep laptop", then=f"{INSIDE} connect 192.168.77.20 22; {LAB} ctl wake laptop; {INSIDE} connect 192.168.77.20 22; "
                       f"{INSIDE} connect 192.168.77.20 23")
        self.assertEqual(out.split(), ["silent", "open", "silent"])

    def test_a_device_changes_its_mac(self):
        self.assertEqual(self.ctl("link mac laptop eth0 02:00:00:00:00:55", then=f"{INSIDE} neighbour 192.168.77.20").strip(), "02:00:00:00:00:55")

    def test_a_port_opens_and_closes(self):
        out = self.ctl("port open laptop 8080", "port close laptop 22", then=f"{INSIDE} connect 192.168.77.20 8080; {INSIDE} connect 192.168.77.20 22")
        self.assertEqual(out.split(), ["open", "refused"])

    def test_names_end_with_the_name_server_and_return(self):
        ask = "getent hosts 192.168.77.20 || echo none"
        self.assertEqual(self.ctl("dns stop", then=f"{ask}; {LAB} ctl dns start; {ask}").split(), ["none", "192.168.77.20", "laptop.lan"])

    def test_a_stopped_responder_is_gone_and_a_started_one_back(self):
        ask = f"{INSIDE} mdns 'Attic NAS._smb._tcp.local'"
        self.assertEqual(self.ctl("mdns stop nas", then=f"{ask}; {LAB} ctl mdns start nas; {ask}", scene="demo").split(), ["nobody", "nas"])

    def test_the_resolver_file_changes_under_a_running_program(self):
        out = self.ctl("etc resolv.conf 'nameserver 192.0.2.53'", then="cat /etc/resolv.conf")
        self.assertEqual(out.strip(), "nameserver 192.0.2.53")

    def test_a_command_runs_on_another_host(self):
        out = self.ctl(then=f"{LAB} ctl exec laptop -- ip -o -4 addr show dev eth0; {LAB} ctl exec laptop sh -c 'exit 3' || echo $?")
        self.assertIn("192.168.77.20/24", out)
        self.assertTrue(out.endswith("3\n"))

    def test_the_ground_truth_can_be_read(self):
        self.assertEqual(json.loads(self.ctl("scene", then="")), scene_value("small"))

    def test_nonsense_gives_one_line(self):
        for words in ("", "fly", "addr add", "addr add nobody eth0 1.2.3.4/8", "link add sensor lo lan", "http gateway /ip mode=grumpy",
                      "http laptop /ip mode=ok", "device add {", "port open laptop 70000", "addr add sensor eth0 nonsense", "exec nobody true"):
            with self.subTest(words):
                out = self.in_lab("small", f"{LAB} ctl {words} 2>&1 || echo failed")
                self.assertEqual(out.splitlines()[1:], ["failed"], out)


class EndTest(LabCase):
    """However a lab ends, nothing of it stays."""

    def start(self, script):
        """Starts a lab and waits until its command has printed a line; the lab and everything under it."""
        before = subprocess.run(["ip", "-o", "link"], capture_output=True, text=True, check=True).stdout
        lab = subprocess.Popen([LAB, "run", self.scene_file("demo"), "--", "sh", "-c", f"echo up; {script}"], stdout=subprocess.PIPE, text=True)
        self.addCleanup(lab.stdout.close)
        self.assertEqual(lab.stdout.readline(), "up\n")
        family = descendants(lab.pid)
        self.assertGreater(len(family), 9)  # seven responders, the name server, the command
        return lab, family, before

    def assert_nothing_stays(self, family, before):
        self.eventually(lambda: not [p for p in family if os.path.exists(f"/proc/{p}")], "processes stay")
        self.assertEqual(subprocess.run(["ip", "-o", "link"], capture_output=True, text=True, check=True).stdout, before)
        self.assertFalse(os.path.exists("/mnt/control"))

    def test_after_its_command(self):
        lab, family, before = self.start("sleep 0.1")
        self.assertEqual(lab.wait(10), 0)
        self.assert_nothing_stays(family, before)

    def test_when_the_command_leaves_children_behind(self):
        lab, family, before = self.start("(trap '' TERM HUP; sleep 1000) & sleep 0.1")
        self.assertEqual(lab.wait(10), 0)
        self.assert_nothing_stays(family, before)

    def test_when_it_is_killed(self):
        lab, family, before = self.start("sleep 1000")
        lab.kill()
        lab.wait(10)
        self.assert_nothing_stays(family, before)

    def test_when_any_of_its_first_processes_is_killed(self):
        for index in (0, 1):
            lab, family, before = self.start("sleep 1000")
            os.kill(family[index], signal.SIGKILL)
            self.assertNotEqual(lab.wait(10), 0)
            self.assert_nothing_stays(family, before)

    def test_when_it_is_told_to_end_the_command_hears_of_it(self):
        lab, family, before = self.start("trap 'exit 9' TERM; while :; do sleep 0.1; done")
        lab.terminate()
        self.assertEqual(lab.wait(10), 9)
        self.assert_nothing_stays(family, before)

    def test_when_the_command_does_not_want_to_end(self):
        lab, family, before = self.start("trap '' TERM; while :; do sleep 1; done")
        lab.terminate()
        self.assertEqual(lab.wait(15), 128 + signal.SIGKILL)
        self.assert_nothing_stays(family, before)


class CommandLineTest(LabCase):
    def lab(self, *words):
        return subprocess.run([LAB, *words], capture_output=True, text=True, check=False, timeout=30)

    def test_bad_words_give_one_line_and_status_2(self):
        for words in (["run"], ["run", "nowhere.json", "true"], ["run", "--user", "x", "a", "b"], ["fly"], ["ctl", "scene"], ["run", self.scene_file("small")]):
            with self.subTest(words):
                done = self.lab(*words)
                self.assertEqual((done.returncode, len(done.stderr.splitlines()), done.stdout), (2, 1, ""), done.stderr)

    def test_a_command_that_is_not_there_says_so(self):
        done = self.lab("run", self.scene_file("no-network"), "--", "/nowhere/program")
        self.assertNotEqual(done.returncode, 0)
        self.assertIn("/nowhere/program", done.stderr)

    def test_a_lan_that_the_kernel_refuses_gives_one_line_and_status_70(self):
        scene = scene_value("small")
        scene["sensor"]["routes"] = ["10.0.0.0/8 via 172.16.0.1"]
        done = self.lab("run", self.scene_file(scene), "--", "true")
        self.assertEqual((done.returncode, len(done.stderr.splitlines())), (70, 1), done.stderr)


def descendants(pid):
    """All processes under one, in the order in which they were born."""
    found = []
    with open(f"/proc/{pid}/task/{pid}/children", encoding="ascii") as file:
        for child in file.read().split():
            found += [int(child), *descendants(int(child))]
    return found


if __name__ == "__main__":
    unittest.main()
