"""What the running program tells its LAN, as another host of a lab sees it with tools that are not ours: avahi-browse and a plain TCP client.

Runs in the sensor of the scene "publishing". LANTERNA_PROGRAMS names the folder of the programs.
"""

import contextlib
import json
import os
import pathlib
import socket
import subprocess
import tempfile
import time
import unittest

from lanternalab import control

PROGRAMS = os.environ.get("LANTERNA_PROGRAMS", "")
LAB = os.environ.get("LANTERNA_LAB", "")
ADDRESS, NETWORK = "192.168.77.10", "192.168.77"
SNAPSHOTS, PRESENCE = "_rgfscanmac._tcp", "_Lanterna._tcp"
# Bounded waits, in seconds; ten times what an idle machine needs.
PATIENCE = 20
# The presence is announced anew each 30 s, and first when the addresses are known.
PRESENCE_PATIENCE = 50
# Reads until the server closes, without sending anything.
CLIENT = """
import socket, sys
with socket.create_connection((sys.argv[1], int(sys.argv[2])), 10) as connection:
    connection.settimeout(10)
    while piece := connection.recv(65536):
        sys.stdout.buffer.write(piece)
"""

if LAB:
    tempfile.tempdir = LAB  # ends with the lab


def lab(*words):
    return control.request(LAB, list(words))


def on_laptop(*command):
    """What a command on another host prints."""
    done = lab("exec", "laptop", "--", *command)
    if done["status"] != 0:
        raise AssertionError(f"{command} ended with {done['status']}: {done['err']}")
    return done["out"]


def unescaped(text):
    """A name as avahi-browse writes it, with its \\DDD taken back."""
    found, rest = b"", text.encode()
    while rest:
        if rest[:1] == b"\\" and rest[1:4].isdigit():
            found, rest = found + bytes([int(rest[1:4])]), rest[4:]
        elif rest[:1] == b"\\":
            found, rest = found + rest[1:2], rest[2:]
        else:
            found, rest = found + rest[:1], rest[1:]
    return found.decode()


def browse(kind):
    """The services of a type, as the laptop finds them: (name, address, port, TXT) of each."""
    lines = on_laptop("avahi-browse", "-rpt", kind).splitlines()
    fields = [line.split(";", 9) for line in lines if line.startswith("=;")]
    return [(unescaped(f[3]), f[7], int(f[8]), f[9]) for f in fields]


class PublishTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        if not LAB:
            raise unittest.SkipTest("this runs inside a lab only")

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.environment = {**os.environ, "XDG_CONFIG_HOME": f"{self.folder}/config", "XDG_DATA_HOME": f"{self.folder}/data", "LC_ALL": "C.UTF-8"}
        for key, value in (("first_run", "TRUE"), ("configurationURL", "http://192.168.77.1/lanterna.txt"), ("showCurrentUser", "no"),
                           ("nics", f'["eth0: {ADDRESS}"]')):
            self.ctl("settings", "set", key, value)

    def start(self):
        with open(self.folder / "log", "wb") as log:
            self.program = subprocess.Popen([f"{PROGRAMS}/lanternactl", "run"], env=self.environment, stdin=subprocess.DEVNULL, stdout=log,
                                            stderr=log)
        self.addCleanup(self.end)
        self.eventually(lambda: browse(SNAPSHOTS), "the service on the network")

    def end(self):
        if self.program.poll() is None:
            self.program.terminate()
            self.assertEqual(self.program.wait(PATIENCE), 0, self.log())
        self.assertNotIn("Sanitizer", self.log())
        self.assertNotIn("runtime error", self.log())

    def log(self):
        return (self.folder / "log").read_text(errors="replace")

    def ctl(self, *arguments):
        done = subprocess.run([f"{PROGRAMS}/lanternactl", *arguments], env=self.environment, capture_output=True, text=True, timeout=60, check=False)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        return done.stdout

    def eventually(self, condition, what, seconds=PATIENCE):
        deadline = time.monotonic() + seconds
        while not (found := condition()):
            self.assertLess(time.monotonic(), deadline, f"{what}\n{self.log()[-3000:]}")
            time.sleep(0.1)
        return found

    def save_snapshot(self):
        """Has another process save a snapshot, and answers the revision that stands for it."""
        for device in ("192.168.77.20", "192.168.77.21"):  # so that the kernel knows somebody
            subprocess.run(["ping", "-c", "1", "-W", "5", device], stdout=subprocess.DEVNULL, check=True)
        self.ctl("scan", "--save", "--no-sweep")
        return str(int(json.loads(self.ctl("snapshot"))["dateEpoch"]))

    def wait_for_revision(self, revision):
        """The one service that the laptop finds, once it has this revision."""
        def found():
            services = browse(SNAPSHOTS)
            return services if [s[3] for s in services] == [f'"rev={revision}"'] else None
        return self.eventually(found, f"the revision {revision}")[0]

    def fetch(self, service, address=ADDRESS):
        return on_laptop("python3", "-c", CLIENT, address, str(service[2]))

    def test_another_host_finds_the_snapshot_and_reads_it_to_the_end_of_the_stream(self):
        revision = self.save_snapshot()
        self.start()
        service = self.wait_for_revision(revision)
        self.assertEqual(service[:2], (socket.gethostname().split(".")[0], ADDRESS))
        self.assertEqual(json.loads(self.fetch(service)), {**json.loads(self.ctl("snapshot")), "source": "Lanterna"})
        self.assertIn(f"MacSnapshotBonjourPublisher: advertising {SNAPSHOTS} rev={revision}\n", self.log())

    def test_the_revision_changes_with_the_next_snapshot(self):
        self.start()
        service = self.wait_for_revision("0")
        self.assertEqual(json.loads(self.fetch(service)), {"source": "Lanterna"})
        for _ in range(2):
            revision = self.save_snapshot()
            self.assertEqual(self.wait_for_revision(revision)[2], service[2], "another port")
            self.assertIn(f"MacSnapshotBonjourPublisher: updated advertised rev={revision}\n", self.log())
            time.sleep(1.1)  # the revision counts whole seconds

    def test_every_saved_snapshot_is_in_the_history(self):
        self.save_snapshot()
        files = list((self.folder / "data/group.Rangefinder/SnapshotHistory").glob("snap-*.jsonl"))
        self.assertEqual(len(files), 1)
        line = json.loads(files[0].read_text())
        self.assertEqual((line["v"], line["src"], line["subnet"]), (1, "LTN", NETWORK))

    def test_a_snapshot_of_another_network_is_withheld(self):
        self.save_snapshot()
        self.start()
        service = browse(SNAPSHOTS)[0]
        undo = [("addr", "del", "laptop", "eth0", "10.20.30.20/24"), ("addr", "add", "sensor", "eth0", f"{ADDRESS}/24"),
                ("route", "add", "sensor", "default", "via", "192.168.77.1"), ("addr", "del", "sensor", "eth0", "10.20.30.10/24")]
        for words in undo:
            self.addCleanup(self.undo, words)
        lab("addr", "add", "laptop", "eth0", "10.20.30.20/24")
        lab("addr", "add", "sensor", "eth0", "10.20.30.10/24")
        self.assertIn("devices", json.loads(self.fetch(service, "10.20.30.10")), "while the sensor is in both networks")
        lab("addr", "del", "sensor", "eth0", f"{ADDRESS}/24")
        self.wait_for_revision("0")
        self.assertIn(f"Network changed — invalidating stale snapshot (subnet '{NETWORK}' no longer local)", self.log())
        self.assertEqual(json.loads(self.fetch(service, "10.20.30.10")), {"source": "Lanterna"})
        # One that is stored all the same is announced, and not served.
        self.ctl("settings", "set", "latestLocalSnapshot", json.dumps({"subnet": NETWORK, "dateEpoch": 1731680000.9}))
        self.wait_for_revision("1731680000")
        self.assertEqual(json.loads(self.fetch(service, "10.20.30.10")), {"source": "Lanterna"})
        self.assertIn(f"MacSnapshotBonjourPublisher: withholding snapshot — subnet '{NETWORK}' is not local", self.log())

    @staticmethod
    def undo(words):
        with contextlib.suppress(Exception):
            lab(*words)

    def test_the_presence_carries_host_user_and_address_and_goes_with_the_program(self):
        self.start()
        name = f"{socket.gethostname()}, Unknown: eth0: {ADDRESS}"
        self.eventually(lambda: browse(PRESENCE) == [(name, ADDRESS, 12341, "")], f"the presence '{name}'", PRESENCE_PATIENCE)
        self.assertIn("Found: Living Room\n", self.log())
        self.assertIn("true", self.ctl("settings", "get", "AppleTVNetwork"))
        self.program.terminate()
        self.program.wait(PATIENCE)
        self.eventually(lambda: browse(PRESENCE) == [] and browse(SNAPSHOTS) == [], "the goodbye")


if __name__ == "__main__":
    unittest.main()
