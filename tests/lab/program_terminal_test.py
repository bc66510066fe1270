"""`lanternactl` inside a lab: the core in a terminal and in a pipe, and the commands that answer at once; and both programs' arguments."""

import contextlib
import json
import os
import re
import signal
import subprocess
import tempfile
import termios
import time
import unittest

from program_case import ADDRESS, NETWORK, PROGRAMS, SECOND, SERVER, WAN_ADDRESS, ProgramCase, lab, page
from terminal import Terminal

# A request that is never answered is given up after 30 s, by a timer that may be off by a twentieth; the lookup as a whole after 60 s.
GIVEN_UP = (28, 45)


class ScanTest(ProgramCase):
    """`lanternactl scan` on a screen of 80 columns and 24 lines."""

    def scan(self, *options):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.temporary = temporary.name
        terminal = Terminal([f"{PROGRAMS}/lanternactl", "scan", *options], env={**self.session.env, "TERM": "xterm", "TMPDIR": temporary.name})
        self.addCleanup(terminal.close)
        return terminal

    def assert_interrupted(self, terminal):
        """SIGINT, which Ctrl-C would send to a program in the foreground, ends it within a second and leaves nothing behind."""
        begun = time.monotonic()
        terminal.process.send_signal(signal.SIGINT)
        self.assertEqual(terminal.process.wait(10), 130)
        self.assertLess(time.monotonic() - begun, 1)
        lines = terminal.read()
        self.assertEqual((lines, terminal.screen.column, terminal.modes_changed(), terminal.screen.unknown), ([""] * 24, 0, False, []))
        self.assertEqual(os.listdir(self.temporary), [])

    def test_the_first_ping_may_be_interrupted(self):
        terminal = self.scan()
        terminal.wait_for(lambda lines: "Sweeping 192.168.77.x" in lines[0], "the sweep")
        self.assertNotIn("host", terminal.screen.text()[0])
        self.assert_interrupted(terminal)

    def test_the_sweep_may_be_interrupted(self):
        terminal = self.scan()
        terminal.wait_for(lambda lines: re.search(r"Sweeping 192\.168\.77\.x, host \d+ of 254 … 0:\d\d left", lines[0]), "a host of the sweep")
        self.assert_interrupted(terminal)

    def test_browsing_may_be_interrupted(self):
        terminal = self.scan("--no-sweep")
        terminal.wait_for(lambda lines: "Bonjour" in lines[0], "the browsing")
        self.assert_interrupted(terminal)

    def test_the_table_takes_the_place_of_the_progress(self):
        gateway = SERVER.removeprefix("http://")
        subprocess.run(["ping", "-c", "1", "-W", "1", gateway], stdout=subprocess.DEVNULL, check=True)
        terminal = self.scan("--no-sweep")
        terminal.wait_for(lambda lines: any("answer" in line for line in lines), "the last line")
        self.assertEqual(terminal.process.wait(10), 0)
        lines = terminal.read()
        self.assertRegex(lines[0], r"^ADDRESS +MAC +NAME +TYPE +SERVICES +ANSWERS")
        self.assertTrue(any(line.startswith(gateway + " ") for line in lines), lines)
        self.assertTrue(all(len(line) <= 80 for line in lines))
        self.assertEqual((terminal.screen.unknown, os.listdir(self.temporary)), ([], []))

    def test_a_terminal_that_is_held_does_not_hold_the_end(self):
        terminal = self.scan()
        terminal.wait_for(lambda lines: "Sweeping" in lines[0], "the sweep")
        termios.tcflow(terminal.slave, termios.TCOOFF)  # what Ctrl-S does
        time.sleep(1)  # several drawings
        begun = time.monotonic()
        terminal.process.send_signal(signal.SIGTERM)
        self.assertEqual(terminal.process.wait(10), 143)
        self.assertLess(time.monotonic() - begun, 1)
        termios.tcflow(terminal.slave, termios.TCOON)


class TerminalTest(ProgramCase):
    """On a screen of 80 columns and 24 lines."""

    def setUp(self):
        super().setUp()
        self.terminal = Terminal([f"{PROGRAMS}/lanternactl", "run"], env={**self.session.env, "TERM": "xterm"})
        self.addCleanup(self.terminal.close)

    def times(self, text):
        """How often a line with this text, and nothing else but marks and blanks, is on the screen or scrolled away."""
        return sum(re.sub(r"^ *([(\[][o x][)\]] )?", "", line) == text for line in self.terminal.screen.history + self.terminal.screen.text())

    def wait_until_shown(self, title, row):
        self.terminal.wait_for(lambda lines: title in lines and f"  {row}" in lines, f"the title '{title}' and the row '{row}'")

    def test_block_is_drawn_in_place(self):
        self.wait_until_shown(ADDRESS, WAN_ADDRESS)
        self.ctl("settings", "set", "whichIP", "2")
        self.wait_until_shown(WAN_ADDRESS, ADDRESS)
        for text in ("Toggle Display", "Quit", "Interface Names", "Icon Only (no IP)"):
            self.assertEqual(self.times(text), 1, "\n".join(self.terminal.screen.history + self.terminal.screen.text()))
        self.assertEqual(self.terminal.screen.unknown, [])

    def test_more_rows_than_the_screen_leave_no_litter(self):
        self.addCleanup(self.undo, "link", "del", "sensor", "eth1")
        self.wait_until_shown(ADDRESS, WAN_ADDRESS)
        lab("link", "add", "sensor", "eth1", "lan")
        for number in range(10):
            lab("addr", "add", "sensor", "eth1", f"10.20.30.{10 + number}/24")
            lab("link", "add", "sensor", f"eth{2 + number}", "lan")
            self.addCleanup(self.undo, "link", "del", "sensor", f"eth{2 + number}")
            lab("addr", "add", "sensor", f"eth{2 + number}", f"10.20.{40 + number}.10/24")
        self.terminal.wait_for(lambda lines: any(f"eth1: {SECOND}" in line or "10.20." in line for line in lines), "the second address")
        for mode, title in ((2, WAN_ADDRESS), (1, ADDRESS), (2, WAN_ADDRESS), (1, ADDRESS)):
            self.ctl("settings", "set", "whichIP", str(mode))
            self.terminal.wait_for(lambda lines, title=title: title in lines, f"the title '{title}'")
        self.assertEqual(self.times("All Addresses"), 1, "\n".join(self.terminal.screen.history + self.terminal.screen.text()))

    def undo(self, *words):
        with contextlib.suppress(Exception):
            lab(*words)

    def test_ctrl_c_ends_it_and_leaves_the_terminal_as_it_was(self):
        self.wait_until_shown(ADDRESS, WAN_ADDRESS)
        begun = time.monotonic()
        # The terminal is not the program's controlling one here: what Ctrl-C would send.
        self.terminal.process.send_signal(signal.SIGINT)
        self.assert_ends_in_time(self.terminal.process, begun)
        self.terminal.read()
        self.assertEqual((self.terminal.screen.column, self.terminal.modes_changed(), self.terminal.screen.unknown), (0, False, []))
        self.assertEqual(self.times("Quit"), 1)

    def test_log_lines_stand_above_the_block(self):
        self.wait_until_shown(ADDRESS, WAN_ADDRESS)
        everything = self.terminal.screen.history + self.terminal.screen.text()
        last = max(i for i, line in enumerate(everything) if "lanternactl: " in line)
        self.assertLess(last, everything.index(ADDRESS))


class PipeTest(ProgramCase):
    def test_each_change_is_a_line(self):
        core = self.session.start([f"{PROGRAMS}/lanternactl", "run"], stdout=subprocess.PIPE)
        self.addCleanup(core.stdout.close)
        os.set_blocking(core.stdout.fileno(), False)
        text = [""]

        def printed(line):
            text[0] += (core.stdout.read() or b"").decode()
            return line in text[0].splitlines()
        self.eventually(lambda: printed(f"title: {ADDRESS}") and printed(f"row 3: {WAN_ADDRESS}"), "the lines of title and WAN row")
        self.ctl("settings", "set", "whichIP", "2")
        self.eventually(lambda: printed(f"title: {WAN_ADDRESS}"), "the line of the new title")
        begun = time.monotonic()
        core.terminate()
        self.assert_ends_in_time(core, begun)
        self.assertNotIn("\x1b", text[0])

    def test_reader_that_goes_away_does_not_hurt_it(self):
        core = self.session.start([f"{PROGRAMS}/lanternactl", "run"], stdout=subprocess.PIPE)
        self.eventually(lambda: core.stdout.readline().startswith(b"title: "), "the first line")
        core.stdout.close()
        self.ctl("settings", "set", "whichIP", "2")
        self.eventually(lambda: self.settings.read().get("currentTitle") == WAN_ADDRESS or core.poll() is not None, "the new title")
        self.assertIn(core.poll(), (None, 0))


class CommandTest(ProgramCase):
    def test_addresses(self):
        self.assertEqual(self.ctl("addresses"), f"eth0: {ADDRESS}\n")
        entry = {"interface": "eth0", "address": ADDRESS, "prefixLength": 24, "broadcast": None}
        self.assertEqual([{**found, "broadcast": None} for found in json.loads(self.ctl("addresses", "--json"))], [entry])

    def test_addresses_without_any(self):
        lab("addr", "del", "sensor", "eth0", f"{ADDRESS}/24")
        self.addCleanup(lab, "route", "add", "sensor", "default", "via", "192.168.77.1")
        self.addCleanup(lab, "addr", "add", "sensor", "eth0", f"{ADDRESS}/24")
        self.assertEqual((self.ctl("addresses"), json.loads(self.ctl("addresses", "--json"))), ("", []))

    def test_wan(self):
        self.assertEqual(self.ctl("wan"), f"{WAN_ADDRESS}\n")
        page("body=nothing to see.")
        self.assertEqual(self.ctl("wan", code=1), "unavailable\n")
        page("mode=reset")
        self.assertEqual(self.ctl("wan", code=1), "offline\n")

    def test_wan_that_is_switched_off_asks_nobody(self):
        self.settings.write(self.usual_settings(WANLookupEnabled=False))
        before = [lab("http", "count", "gateway", path) for path in ("/lanterna.txt", "/ip")]
        self.assertEqual(self.ctl("wan", code=1), "offline\n")
        self.assertEqual([lab("http", "count", "gateway", path) for path in ("/lanterna.txt", "/ip")], before)

    def test_status_before_and_while_it_runs(self):
        self.assertIn("Running:  no", self.ctl("status"))
        self.start(whichIP=2)
        self.wait_for_wan(WAN_ADDRESS)
        self.eventually(lambda: "Network:" in self.ctl("status"), "the network's name")
        text = self.ctl("status")
        self.assertEqual(text.splitlines(), [f"Title:    {WAN_ADDRESS}", f"Network:  {NETWORK}", f"Address:  eth0: {ADDRESS}", f"WAN:      {WAN_ADDRESS}",
                                             f"Running:  yes, process {self.program.pid}"])
        self.assertEqual(json.loads(self.ctl("status", "--json")), {
            "title": WAN_ADDRESS, "mode": 2, "addresses": [f"eth0: {ADDRESS}"], "wan": WAN_ADDRESS, "network": NETWORK, "running": True,
            "pid": self.program.pid})
        self.assertEqual(json.loads(self.ctl("status", "--waybar"))["text"], WAN_ADDRESS)

    def test_settings_are_listed_set_and_unset(self):
        self.ctl("settings", "set", "showInterfaceName", "yes")
        self.assertEqual(self.ctl("settings", "get", "showInterfaceName"), "true\n")
        self.assertIn("showInterfaceName = true\n", self.ctl("settings", "list"))
        self.ctl("settings", "unset", "showInterfaceName")
        self.assertEqual(self.ctl("settings", "get", "showInterfaceName", code=1), "")
        self.ctl("settings", "set", "whichIP", "several", code=2)
        self.ctl("settings", "reset", code=1)
        self.assertEqual(self.settings.read(), self.usual_settings())
        self.ctl("settings", "reset", "--yes")
        self.assertEqual(self.settings.read(), {})

    def test_arguments(self):
        for name in ("lanterna", "lanternactl"):
            with self.subTest(name):
                version, helped, unknown = (self.run_program(name, word) for word in ("--version", "--help", "--attic"))
                self.assertEqual([done.returncode for done in (version, helped, unknown)], [0, 0, 2])
                self.assertRegex(version.stdout, rf"^{name} \d+\.\d+\.\d+\n$")
                self.assertIn("Usage: " + name, helped.stdout)
                self.assertEqual(unknown.stdout, "")
                self.assertIn("Usage: " + name, unknown.stderr)

    def test_full_output_device_is_a_failure(self):
        with open("/dev/full", "wb") as full:
            done = subprocess.run([f"{PROGRAMS}/lanternactl", "addresses"], stdout=full, stderr=subprocess.PIPE, env=self.session.env, timeout=15,
                                  check=False)
        self.assertEqual(done.returncode, 1)

    def test_without_a_display_it_points_to_the_terminal(self):
        environment = {key: value for key, value in self.session.env.items() if key not in ("DISPLAY", "QT_QPA_PLATFORM")}
        done = self.run_program("lanterna", env=environment)
        self.assertEqual(done.returncode, 1)
        self.assertIn("lanternactl run", done.stderr)


def setUpModule():
    """Begins what takes its time, so that the other tests fill it."""
    if not os.environ.get("LANTERNA_LAB") or not os.access(f"{PROGRAMS}/lanternactl", os.X_OK):
        return
    page("mode=hang", path="/hang")
    page(f"body={SERVER}/hang||Current IP Address: ||</body>", path="/hang.txt")
    HangTest.begin()


class HangTest(unittest.TestCase):
    """A checker that takes the request and never answers. The test with the longest wait is the last."""

    lookup = None

    @classmethod
    def begin(cls):
        import tempfile
        folder = tempfile.TemporaryDirectory()
        unittest.addModuleCleanup(folder.cleanup)
        os.mkdir(f"{folder.name}/lanterna", 0o700)
        with open(f"{folder.name}/lanterna/settings.json", "w", encoding="utf-8") as file:
            json.dump({"configurationURL": f"{SERVER}/hang.txt"}, file)
        # The shell notes the end, whenever the test gets round to look.
        script = f"{PROGRAMS}/lanternactl wan > {folder.name}/out 2> {folder.name}/log; echo $? $(date +%s.%N) >> {folder.name}/out"
        cls.began, cls.out = time.time(), f"{folder.name}/out"
        cls.lookup = subprocess.Popen(["sh", "-c", script], env={**os.environ, "XDG_CONFIG_HOME": folder.name})
        unittest.addModuleCleanup(cls.lookup.wait)

    def test_it_is_given_up_after_half_a_minute(self):
        if not self.lookup:
            self.skipTest("this runs inside a lab only")
        self.lookup.wait(60)
        with open(self.out, encoding="utf-8") as file:
            word, code, ended = file.read().split()
        self.assertEqual((word, code), ("offline", "1"))
        self.assertTrue(GIVEN_UP[0] <= float(ended) - self.began <= GIVEN_UP[1], f"{float(ended) - self.began} s")


def load_tests(loader, _, __):
    """The waiting test last."""
    return unittest.TestSuite(loader.loadTestsFromTestCase(case) for case in (TerminalTest, PipeTest, CommandTest, HangTest))


if __name__ == "__main__":
    unittest.main(verbosity=2)
