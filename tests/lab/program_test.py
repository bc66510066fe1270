"""The desktop program inside a lab: how it follows the network, its menu over the bus, the WAN lookup, starting twice and ending."""

import contextlib
import os
import pathlib
import re
import shutil
import signal
import socket
import time
import unittest

from program_case import ADDRESS, LAB, NETWORK, SECOND, SERVER, WAN_ADDRESS, FakeNotifications, ProgramCase, checker_page, lab, page, requests

OTHER = "192.168.77.11"


class NetworkTest(ProgramCase):
    """Addresses that come and go. The regular look at the network is a minute away, so whatever is followed here was noticed."""

    def setUp(self):
        super().setUp()
        self.start()
        self.wait_for_label(ADDRESS)
        self.wait_for_wan(WAN_ADDRESS)

    def undo(self, *words):
        """Takes a change back at the end of the test, when it is still there."""
        def take_back():
            with contextlib.suppress(Exception):
                lab(*words)
        self.addCleanup(take_back)

    def test_label_follows_another_address(self):
        self.undo("addr", "add", "sensor", "eth0", f"{ADDRESS}/24")
        self.undo("addr", "del", "sensor", "eth0", f"{OTHER}/24")
        lab("addr", "add", "sensor", "eth0", f"{OTHER}/24")
        lab("addr", "del", "sensor", "eth0", f"{ADDRESS}/24")
        self.wait_for_label(OTHER)
        lab("addr", "add", "sensor", "eth0", f"{ADDRESS}/24")
        lab("addr", "del", "sensor", "eth0", f"{OTHER}/24")
        self.wait_for_label(ADDRESS)

    def test_second_interface_gets_its_row_and_goes_again(self):
        self.undo("link", "del", "sensor", "eth1")
        lab("link", "add", "sensor", "eth1", "lan")
        lab("addr", "add", "sensor", "eth1", f"{SECOND}/24")
        self.eventually(lambda: SECOND in self.rows(), "the row of the second address")
        self.assertEqual(self.rows()[2:5], [ADDRESS, SECOND, WAN_ADDRESS])
        self.assertEqual([row["label"] for row in self.row("All Addresses")["children"]], [f"eth0: {ADDRESS}", f"eth1: {SECOND}"])
        self.ctl("settings", "set", "whichIP", "3")
        self.wait_for_label(SECOND)
        lab("link", "del", "sensor", "eth1")
        self.wait_for_label(ADDRESS)
        self.assertEqual(self.rows()[2:5], [ADDRESS, WAN_ADDRESS, "*"])

    def test_odd_interface_name_is_shown_as_it_is(self):
        name = "wl'0;é"
        self.undo("link", "del", "sensor", name)
        lab("link", "add", "sensor", name, "lan")
        lab("addr", "add", "sensor", name, f"{SECOND}/24")
        self.eventually(lambda: SECOND in self.rows(), "the row of the second address")
        self.ctl("settings", "set", "showInterfaceName", "yes")
        self.ctl("settings", "set", "whichIP", "3")
        self.wait_for_label(f"{name}: {SECOND}")

    def test_without_any_address_it_says_offline(self):
        self.undo("route", "add", "sensor", "default", "via", "192.168.77.1")
        self.undo("addr", "add", "sensor", "eth0", f"{ADDRESS}/24")
        lab("addr", "del", "sensor", "eth0", f"{ADDRESS}/24")
        self.wait_for_label("offline")
        self.assertFalse(self.row("offline").get("enabled", True))
        lab("addr", "add", "sensor", "eth0", f"{ADDRESS}/24")
        self.wait_for_label(ADDRESS)

    def test_interface_that_goes_down_is_left_out(self):
        self.undo("route", "add", "sensor", "default", "via", "192.168.77.1")
        self.undo("link", "up", "sensor", "eth0")
        lab("link", "down", "sensor", "eth0")
        self.wait_for_label("offline")
        lab("link", "up", "sensor", "eth0")
        self.wait_for_label(ADDRESS)

    def test_pulled_cable_counts_as_gone(self):
        self.undo("plug", "sensor")
        lab("unplug", "sensor")
        self.wait_for_label("offline")
        lab("plug", "sensor")
        self.wait_for_label(ADDRESS)


class MenuTest(ProgramCase):
    def setUp(self):
        super().setUp()
        self.start()
        self.wait_for_label(ADDRESS)
        self.wait_for_wan(WAN_ADDRESS)

    def test_rows_stand_in_their_order(self):
        self.eventually(lambda: self.rows()[0] != "gathering...", "the network's name")
        self.assertEqual(self.rows(), [NETWORK, "", ADDRESS, WAN_ADDRESS, "*", "", "All Addresses", "Copy Displayed Address", "Show in Panel",
                                       "Toggle Display", "Refresh Now", "", "Preferences…", "", "Quit"])

    def test_rows_copy_their_address(self):
        for titles, text in (((ADDRESS,), ADDRESS), ((WAN_ADDRESS,), WAN_ADDRESS), (("All Addresses", f"eth0: {ADDRESS}"), ADDRESS)):
            self.choose(*titles)
            self.eventually(lambda text=text: self.clipboard() == text, f"{titles} on the clipboard")

    def test_copy_displayed_address_follows_the_mode(self):
        self.choose("Copy Displayed Address")
        self.eventually(lambda: self.clipboard() == ADDRESS, "the local address on the clipboard")
        self.choose("Show in Panel", "WAN IP")
        self.wait_for_label(WAN_ADDRESS)
        self.choose("Copy Displayed Address")
        self.eventually(lambda: self.clipboard() == WAN_ADDRESS, "the public address on the clipboard")

    def test_show_in_panel_sets_the_mode_and_marks_it(self):
        for title, mode, label in (("WAN IP", 2, WAN_ADDRESS), ("Icon Only (no IP)", 4, ""), ("Primary LAN IP", 1, ADDRESS)):
            self.choose("Show in Panel", title)
            self.wait_for_label(label)
            radios = [row for row in self.row("Show in Panel")["children"] if row.get("toggle-type") == "radio"]
            marked = [row["label"] for row in radios if row.get("toggle-state") == 1]
            self.assertEqual((marked, self.settings.read()["whichIP"]), ([title], mode))

    def test_interface_names_are_shown_and_hidden(self):
        self.choose("Show in Panel", "Interface Names")
        self.wait_for_label(f"eth0: {ADDRESS}")
        self.assertEqual(self.row("Show in Panel", "Interface Names").get("toggle-state"), 1)
        self.assertEqual(self.rows()[2:4], [f"eth0: {ADDRESS}", f"wan: {WAN_ADDRESS}"])
        self.choose("Show in Panel", "Interface Names")
        self.wait_for_label(ADDRESS)
        self.assertEqual(self.row("Show in Panel", "Interface Names").get("toggle-state", 0), 0)

    def test_toggle_display_goes_to_the_wan_address_and_back(self):
        self.choose("Toggle Display")
        self.wait_for_label(WAN_ADDRESS)
        self.choose("Toggle Display")
        self.wait_for_label(f"eth0: {ADDRESS}")  # the stored text; the next update of the display takes the name away
        self.choose("Show in Panel", "Primary LAN IP")
        self.wait_for_label(ADDRESS)

    def test_a_row_that_is_off_does_nothing(self):
        self.choose("*")
        self.choose("Preferences…")
        self.choose("Toggle Display")
        self.wait_for_label(WAN_ADDRESS)

    def test_quit_ends_it_within_a_second(self):
        begun = time.monotonic()
        self.choose("Quit")
        self.assert_ends_in_time(self.program, begun)

    def test_preference_changed_elsewhere_shows_at_once(self):
        self.ctl("settings", "set", "whichIP", "2")
        self.wait_for_label(WAN_ADDRESS)
        self.ctl("settings", "set", "showInterfaceName", "yes")
        self.wait_for_label(f"wan: {WAN_ADDRESS}")
        self.eventually(lambda: self.row("Show in Panel", "WAN IP").get("toggle-state") == 1, "the mark in the menu")


class WanTest(ProgramCase):
    def setUp(self):
        super().setUp()
        # Here the update that follows the answer must not be dropped, also on a busy machine.
        page("wait=1")

    def refresh(self, *pairs):
        """Changes the checker's page and asks for a fresh lookup."""
        page(*pairs)
        before = requests("/ip")
        self.choose("Refresh Now")
        self.eventually(lambda: requests("/ip") > before, "the request")

    def test_each_answer_gives_its_row(self):
        self.start(whichIP=2)
        self.wait_for_wan(WAN_ADDRESS)
        self.wait_for_label(WAN_ADDRESS)
        self.wait_for_a_pass()  # one that fell together with an answer could take the answer's place
        address = "198.51.100.9"
        good = ["mode=ok", "status=200", checker_page(address)]
        for pairs, word in ((["status=502", "body=<html>502 Bad Gateway</html>"], "offline"), (good, address), (["mode=empty"], "offline"),
                            (good, address), (["mode=reset"], "offline"), (["mode=ok", "body=<html>no markers here.</html>"], "unavailable"),
                            (["mode=close"], "offline"), (["mode=ok", "body=Current IP Address: nowhere</body>"], "unavailable"),
                            (["mode=garbage"], "offline"), (["mode=binary"], "unavailable"), (good, address)):
            self.refresh(*pairs)
            self.wait_for_wan(word)
            self.wait_for_label(word)

    def test_refusing_checker_is_offline(self):
        self.addCleanup(lab, "http", "start", "gateway")
        self.start()
        self.wait_for_wan(WAN_ADDRESS)
        lab("http", "stop", "gateway")
        self.choose("Refresh Now")
        self.wait_for_wan("offline")

    def test_interface_names_stand_before_it(self):
        self.start(whichIP=2, showInterfaceName=True)
        self.wait_for_label(f"wan: {WAN_ADDRESS}")

    def test_huge_reply_is_read_as_far_as_it_goes(self):
        self.start()
        self.wait_for_wan(WAN_ADDRESS)
        self.refresh("mode=huge", "size=64", checker_page("198.51.100.10"))
        self.wait_for_wan("198.51.100.10")


class SilenceTest(ProgramCase):
    """Which packets leave the machine."""

    def listen(self):
        """Sees every frame that leaves the machine from here on."""
        self.tap = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(0x0003))  # ETH_P_ALL of linux/if_ether.h
        self.tap.setblocking(False)
        self.addCleanup(self.tap.close)

    def sent(self):
        """What went out: "arp ADDRESS", "icmp ADDRESS", "tcp ADDRESS:PORT", "udp ADDRESS:PORT" or the frame in hexadecimal digits."""
        frames = set()
        with contextlib.suppress(BlockingIOError):
            while True:
                frame, where = self.tap.recvfrom(65536)
                if where[0] != "lo" and where[2] == socket.PACKET_OUTGOING:
                    frames.add(describe(frame))
        return frames

    def assert_stays_in_the_network(self, frames):
        """Nothing but the probes of a sweep, its look-ups, and what goes to the name server and the web server, which are the gateway here."""
        allowed = re.compile(r"""(arp|icmp)\ 192\.168\.77\.\d+
            | tcp\ 192\.168\.77\.\d+:(80|443|62078|5000) | udp\ 192\.168\.77\.\d+:(9|7|53|137|161|5353)
            | udp\ 192\.168\.77\.255:5355 | udp\ 224\.0\.0\.251:5353 | udp\ 239\.255\.255\.250:1900 | udp\ 224\.0\.0\.252:5355
            | igmp\ 224\.0\.0\.22""", re.VERBOSE)
        self.assertEqual({frame for frame in frames if not allowed.fullmatch(frame)}, set())

    def test_only_the_own_network_and_the_checker_are_spoken_to(self):
        self.listen()
        self.start()
        self.wait_for_label(ADDRESS)
        self.wait_for_wan(WAN_ADDRESS)
        self.choose("Refresh Now")
        self.wait_for_a_pass()
        frames = self.sent()
        self.assertIn("tcp 192.168.77.1:80", frames)
        self.assert_stays_in_the_network(frames)

    def test_switched_off_lookup_asks_nobody(self):
        before = requests("/lanterna.txt"), requests("/ip")
        self.listen()
        self.start(WANLookupEnabled=False, whichIP=2)
        self.wait_for_label("offline")
        self.choose("Refresh Now")
        self.choose("Show in Panel", "Primary LAN IP")
        self.wait_for_label(ADDRESS)
        self.wait_for_a_pass()
        self.assertEqual(self.settings.read()["WANIP"], "offline")
        self.assertEqual((requests("/lanterna.txt"), requests("/ip")), before)
        self.assert_stays_in_the_network(self.sent())

    def still(self):
        """Whether nothing leaves for longer than the kernel pauses between two questions for one address."""
        self.sent()
        time.sleep(1.5)
        return not self.sent()

    def test_an_ignored_interface_is_not_swept(self):
        self.listen()
        self.eventually(self.still, "the end of what an earlier sweep left to the kernel")
        self.start(WANLookupEnabled=False, ignoredInterfaces=["eth*"])
        self.wait_for_label(ADDRESS)
        self.wait_for_a_pass()
        # Services are browsed for all the same.
        self.assertEqual(self.sent() - {"udp 224.0.0.251:5353", "igmp 224.0.0.22"}, set())


def describe(frame):
    kind = frame[12:14]
    if kind == b"\x08\x06":
        return "arp " + socket.inet_ntoa(frame[38:42])
    if kind == b"\x08\x00" and frame[23] == socket.IPPROTO_TCP:
        start = 14 + 4 * (frame[14] & 15)
        return f"tcp {socket.inet_ntoa(frame[30:34])}:{int.from_bytes(frame[start + 2:start + 4], 'big')}"
    if kind == b"\x08\x00" and frame[23] == socket.IPPROTO_UDP:
        start = 14 + 4 * (frame[14] & 15)
        return f"udp {socket.inet_ntoa(frame[30:34])}:{int.from_bytes(frame[start + 2:start + 4], 'big')}"
    if kind == b"\x08\x00" and frame[23] in (socket.IPPROTO_ICMP, socket.IPPROTO_IGMP):
        return f"{'icmp' if frame[23] == socket.IPPROTO_ICMP else 'igmp'} {socket.inet_ntoa(frame[30:34])}"
    return frame.hex()


class SecondStartTest(ProgramCase):
    def setUp(self):
        super().setUp()
        self.notifications = FakeNotifications(self.session.env["DBUS_SESSION_BUS_ADDRESS"])
        self.addCleanup(self.notifications.stop)

    def test_it_tells_the_addresses_and_leaves(self):
        self.start()
        self.wait_for_label(ADDRESS)
        self.wait_for_wan(WAN_ADDRESS)
        done = self.run_program("lanterna")
        self.assertEqual((done.returncode, done.stdout), (0, ""), done.stderr)
        self.eventually(lambda: self.notifications.notices, "a notification")
        title, body = self.notifications.notices[-1]
        self.assertEqual(title, ADDRESS)
        self.assertIn(f"eth0: {ADDRESS}", body)
        self.assertIn(f"wan: {WAN_ADDRESS}", body)
        self.assertIsNone(self.program.poll())

    def test_missing_panel_is_told_once(self):
        self.start()
        self.eventually(lambda: self.notifications.notices, "the notification about the missing panel", 90)
        self.assertEqual(self.notifications.notices[0][0], "Lanterna is running")

    def test_another_instance_name_runs_beside(self):
        self.start()
        self.wait_for_label(ADDRESS)
        environment = {**self.session.env, "LANTERNA_INSTANCE": "other", "XDG_CONFIG_HOME": self.session.env["XDG_DATA_HOME"]}
        other = self.session.start([self.program.args[0]], env=environment)
        self.eventually(lambda: self.bus.call_daemon("NameHasOwner", "s", "org.lanterna.Lanterna.i_other"), "the other instance")
        other.terminate()
        self.assertEqual(other.wait(10), 0)
        self.assertIsNone(self.program.poll())

    def test_headless_core_and_program_exclude_each_other(self):
        self.start()
        done = self.run_program("lanternactl", "run")
        self.assertEqual(done.returncode, 1)
        self.assertIn(str(self.program.pid), done.stderr)
        self.end_program()
        core = self.session.start([self.program.args[0] + "ctl", "run"])
        self.eventually(lambda: f"process {core.pid}" in self.ctl("status"), "the headless core")
        done = self.run_program("lanterna")
        self.assertIn(str(core.pid), done.stderr)
        self.assertIsNone(core.poll())
        core.terminate()
        self.assertEqual(core.wait(10), 0)


class ResetTest(ProgramCase):
    def test_escape_keeps_everything(self):
        self.start()
        self.wait_for_wan(WAN_ADDRESS)
        before = self.settings.read()
        self.assertEqual(self.run_program("lanterna", "--reset-prefs").returncode, 0)
        self.press("Escape")
        self.eventually(lambda: not self.window(), "the end of the window")
        self.assertEqual(self.settings.read(), before)
        self.assertIsNone(self.program.poll())

    def test_question_is_asked_at_a_first_start_too(self):
        self.start("--reset-prefs")
        self.press("Escape")
        self.eventually(lambda: not self.window(), "the end of the window")
        self.wait_for_label(ADDRESS)
        self.assertEqual(self.settings.read()["configurationURL"], f"{SERVER}/lanterna.txt")

    def test_open_question_does_not_hold_up_the_end(self):
        self.start("--reset-prefs")
        self.eventually(self.window, "the window")
        begun = time.monotonic()
        self.program.terminate()
        self.assert_ends_in_time(self.program, begun)

    def test_reset_empties_the_settings_and_quits(self):
        self.start("--reset-prefs", showInterfaceName=True)
        question = self.press("Tab", "space")
        self.eventually(lambda: self.window() not in (None, question), "the second window")
        self.press("Return")
        self.assertEqual(self.program.wait(10), 0)
        self.assertNotIn("showInterfaceName", self.settings.read())


class EndTest(ProgramCase):
    # Set while a program runs; not to be found by the next one.
    PASSING = {"currentWiFiName": "Attic", "currentDisplayedWiFiName": "Attic", "AppleTVNetwork": "yes", "MACAddressesByNetworkSegment": "{}"}

    def test_signals_end_it_within_a_second_and_passing_keys_go(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            self.start()
            self.wait_for_label(ADDRESS)
            for key, value in self.PASSING.items():
                self.ctl("settings", "set", key, value)
            self.assertLessEqual(self.PASSING.keys(), self.settings.read().keys())
            begun = time.monotonic()
            self.program.send_signal(number)
            self.assert_ends_in_time(self.program, begun)
            self.assertEqual(self.PASSING.keys() & self.settings.read().keys(), set())

    def test_killed_program_is_no_hindrance_to_the_next(self):
        self.start()
        self.wait_for_label(ADDRESS)
        self.program.kill()
        self.program.wait()
        self.eventually(lambda: self.label() is None, "the end of the item")
        self.start()
        self.wait_for_label(ADDRESS)
        self.end_program()
        self.assertEqual(list(pathlib.Path(self.session.env["XDG_RUNTIME_DIR"]).glob("lanterna/*")), [])

    def test_it_ends_in_time_while_the_configuration_hangs(self):
        page("mode=hang", path="/slow.txt")
        self.start(configurationURL=f"{SERVER}/slow.txt")
        self.wait_for_label(ADDRESS)
        self.assertIn("gathering...", self.rows())
        begun = time.monotonic()
        self.program.terminate()
        self.assert_ends_in_time(self.program, begun)

    def test_it_ends_in_time_while_the_checker_hangs(self):
        page("mode=hang")
        self.start()
        self.eventually(lambda: requests("/ip"), "the request")
        begun = time.monotonic()
        self.program.terminate()
        self.assert_ends_in_time(self.program, begun)


class LostBusTest(ProgramCase):
    def test_program_survives_its_session_bus(self):
        self.start()
        self.wait_for_label(ADDRESS)
        self.wait_for_wan(WAN_ADDRESS)
        daemon = next(process for process in self.session.processes if process.args[0] == "dbus-daemon")
        daemon.kill()
        daemon.wait()
        # The core goes on: an address that comes is in the settings.
        lab("addr", "del", "sensor", "eth0", f"{ADDRESS}/24")
        self.addCleanup(lab, "addr", "add", "sensor", "eth0", f"{ADDRESS}/24")
        self.eventually(lambda: self.settings.read().get("currentTitle") == "offline", "the title in the settings")
        self.assertIsNone(self.program.poll())
        begun = time.monotonic()
        self.program.terminate()
        self.assert_ends_in_time(self.program, begun)

    def test_program_runs_without_a_session_bus(self):
        environment = {**self.session.env, "DBUS_SESSION_BUS_ADDRESS": f"unix:path={LAB}/nowhere"}
        self.program = self.session.start([f"{os.environ['LANTERNA_PROGRAMS']}/lanterna"], env=environment)
        self.eventually(lambda: self.settings.read().get("currentTitle") == ADDRESS, "the title in the settings")
        begun = time.monotonic()
        self.program.terminate()
        self.assert_ends_in_time(self.program, begun)


class ClipboardAtTheEndTest(ProgramCase):
    """What becomes of a copied address when the program ends."""

    def end_after_a_copy(self):
        self.start()
        self.wait_for_label(ADDRESS)
        self.choose(ADDRESS)
        self.eventually(lambda: self.clipboard() == ADDRESS, "the address on the clipboard")
        begun = time.monotonic()
        self.program.send_signal(signal.SIGTERM)
        self.assert_ends_in_time(self.program, begun)

    def test_without_a_clipboard_manager_it_goes_with_the_program(self):
        self.end_after_a_copy()
        self.assertIsNone(self.clipboard())

    def test_clipboard_manager_keeps_it(self):
        manager = shutil.which("xfsettingsd")
        if not manager:
            self.skipTest("not installed: xfsettingsd")
        running = self.session.start([manager, "--no-daemon", "--replace", "--disable-wm-check"])
        self.addCleanup(running.wait, 10)
        self.addCleanup(running.terminate)

        def kept():
            self.end_after_a_copy()
            return self.clipboard() == ADDRESS
        self.eventually(kept, "a copy that the clipboard manager kept, once it runs", 30)


del ProgramCase

if __name__ == "__main__":
    unittest.main(verbosity=2)
