"""The owner's document in each of its three stores: a sensor's pass over a lab, the owner's other device, and a second sensor.

The three labs of the module run side by side; each waits more than it works. LANTERNA_PROGRAMS names the folder of `lanternactl`,
LANTERNA_CLOUDKIT_PROBE the server that plays iCloud. What the programs logged is printed, for whoever looks for secrets in the logs of all tests.
"""

import concurrent.futures
import json
import os
import re
import subprocess
import sys
import tempfile
import unittest

import ground_truth
import snapshot
from cloud_stores import STORES
from lab_case import HERE, LAB, scene_value
from lanternalab import scene as scenes
from never_logged import holds_secret

PROGRAMS = os.environ.get("LANTERNA_PROGRAMS", "")
SCENE = "small"
NETWORK = "Subnet 192.168.77.x"
# A lab takes most of three minutes; the rest is for busy machines and sanitizers, in seconds.
PATIENCE = 800
# What only a member that is passed on as bytes survives: a number of 64 bits and more, one beyond all doubles, a key twice, escapes, blanks.
OTHERS = [rb'"customOrder":[ "Reading Lamp","Ada\u0027s Laptop" ]', rb'"numbers":{"big":12345678901234567890, "far":1e400, "twice":1,"twice":2}',
          '"\\u00e9t\\u00e9":"\\/ \\ud83d é"'.encode()]
# Names that the owner gave on another device; that of the lamp is without most fields, with its address in small letters.
PHONE = json.dumps({"devices": "\"Ada's Laptop\"|*|MacBook|*|192.168.77.20|*|02:4C:41:4E:00:14|*|UNKNOWN|*|laptop.lan|*|\"Analytical Engines\"\n***"
                               "\"Reading Lamp\"|*|Lamp|*|192.168.77.99|*|02:4c:41:4e:00:15\n"})
CUSTOMISED = {"192.168.77.20": ("Ada's Laptop", "MacBook", "Analytical Engines"), "192.168.77.21": ("Reading Lamp", "Lamp", "UNKNOWN")}
ATTIC = {"10.9.8.7": "02:00:00:00:00:77", "lastUpdate": "11!15!2026_14*05 +"}
# A network without a device, which the next update takes out.
TABLES = {"Attic": ATTIC, "Empty": {"lastUpdate": "11!15!2026_14*05 +"}}


def document():
    """What the other device has put into the store."""
    members = [OTHERS[0], b'"MACAddressesByNetworkSegment":' + json.dumps(TABLES).encode(), OTHERS[1],
               b'"CurrentNetworkStatus_Phone":' + PHONE.encode(), OTHERS[2]]
    return b"{" + b" , ".join(members) + b"}\n"


def run_lab(store):
    """What cloud_driver.py says of a store."""
    with tempfile.TemporaryDirectory() as folder:
        with open(f"{folder}/document", "wb") as file:
            file.write(document())
        with open(f"{folder}/scene.json", "w", encoding="utf-8") as file:
            json.dump(scene_value(SCENE), file)
        command = [LAB, "run", f"{folder}/scene.json", "--", sys.executable, "-B", f"{HERE}/cloud_driver.py", store, f"{folder}/document"]
        done = subprocess.run(command, capture_output=True, text=True, timeout=PATIENCE, check=False)
    if done.returncode:
        raise AssertionError(f"the driver ended with {done.returncode}: {done.stderr[-3000:]}")
    return json.loads(done.stdout)


class Labs:
    """Labs that run side by side, each once. Those of a whole module start together, those of single tests when they are asked for."""

    pool = concurrent.futures.ThreadPoolExecutor(len(STORES))
    started = {}

    @classmethod
    def start(cls, store):
        if store not in cls.started:
            cls.started[store] = cls.pool.submit(run_lab, store)
        return cls.started[store]


class StoreCase(unittest.TestCase):
    """What holds for every store; each has a class of its own below."""

    store = None

    @classmethod
    def setUpClass(cls):
        if not os.access(f"{PROGRAMS}/lanternactl", os.X_OK):
            raise AssertionError(f"LANTERNA_PROGRAMS ('{PROGRAMS}') holds no program")
        cls.result = Labs.start(cls.store).result()
        if "missing" in cls.result:
            raise unittest.SkipTest(cls.result["missing"])
        cls.scene = scenes.parse(scene_value(SCENE))
        cls.addClassCleanup(cls.print_logs)

    @classmethod
    def print_logs(cls):
        print(f"--- {cls.store}: what the sensors logged")
        print("\n".join(cls.result["log"] + cls.result["refusal_log"]))
        for name, text in cls.result["store_logs"].items():
            print(f"--- {cls.store}: the server's {name} log\n{text}")
        print(f"--- {cls.store}: a pass and its saves, in seconds after the start\n{cls.times()}", flush=True)

    @classmethod
    def times(cls):
        wanted = ("Found ", "CKMacSync: updating", "CKMacSync: save successful")
        begun = cls.result["run"][0][0]
        return "\n".join(f"{at - begun:8.3f} {line[:40]}" for at, line in cls.result["run"] if line.startswith(wanted))

    def members(self, when):
        return json.loads(self.result[when].encode("latin-1"))

    def test_a_pass_files_the_addresses_of_the_lan_in_the_document(self):
        tables = self.members("after_pass")["MACAddressesByNetworkSegment"]
        self.assertEqual(tables.keys(), {"Attic", NETWORK}, "the one of before stays, the empty one goes")
        self.assertEqual(tables["Attic"], ATTIC)
        table = tables[NETWORK]
        self.assertRegex(table.pop("lastUpdate"), r"\A\d\d!\d\d!\d{4}_\d\d\*\d\d \+\Z")
        self.assertEqual(table, {device.ip: min(device.macs) for device in ground_truth.expect(self.scene).values()})
        self.assertEqual(len(table), 3)

    def test_members_of_others_come_back_byte_for_byte(self):
        for when in ("after_pass", "after_push"):
            stored = self.result[when].encode("latin-1")
            for member in (*OTHERS, b'"CurrentNetworkStatus_Phone":' + PHONE.encode()):
                self.assertEqual(stored.count(member), 1, f"{member} in {stored}")
            self.assertLess(stored.index(OTHERS[0]), stored.index(OTHERS[1]))
            self.assertLess(stored.index(OTHERS[1]), stored.index(OTHERS[2]))

    def test_a_second_sensor_names_the_devices_as_the_owner_does(self):
        scan = self.result["scan"]
        self.assertEqual(scan["status"], 0, scan["err"])
        self.assert_named(json.loads(scan["out"]))

    def test_the_snapshot_is_published_with_these_names(self):
        self.assert_named(self.members("after_push")["CurrentNetworkStatus_Lanterna"])

    def assert_named(self, value):
        lines, faults = snapshot.read(value)
        self.assertEqual(faults, [])
        self.assertEqual({line.ip for line in lines}, {device.ip for device in ground_truth.expect(self.scene).values()})
        found = {line.ip: (line.name, line.type, line.vendor) for line in lines}
        self.assertEqual({ip: found[ip] for ip in CUSTOMISED}, CUSTOMISED)
        self.assertEqual(found["192.168.77.1"][0], "gateway.lan", "whom nobody gave a name")

    def test_every_save_succeeds_and_the_programs_end_well(self):
        self.assertEqual(self.result["statuses"], [0, 0])
        lines = "\n".join(self.result["log"])
        self.assertIn("CKMacSync: save successful. modificationDate: ", lines)
        self.assertEqual(re.findall(r".*(?:CKMacSync: Error|cloud Error).*", lines), [])
        self.assertEqual("".join(self.result["outputs"]).count("Last error: none"), 2)
        self.assertEqual(re.findall(r".*(?:Sanitizer|runtime error).*", "".join(self.result["outputs"])), [])

    def test_nothing_secret_is_logged_or_printed(self):
        for line in (*self.result["log"], *self.result["refusal_log"], *self.result["outputs"], *self.result["store_logs"].values()):
            self.assertFalse(holds_secret(line), "a secret in a log or on a screen")
        # So that it is known to have been looked for in what the programs did log.
        for line in ("getCustomDictFromCloudKit", "CKMacSync: updating"):
            self.assertTrue(any(each.startswith(line) for each in self.result["log"]), line)


class EmbeddedTest(StoreCase):
    store = "embedded"

    def test_no_secret_is_kept(self):
        self.assertEqual(self.result["secrets"], [None, None])


class ServerCase(StoreCase):
    """A store that is asked over a network and wants to know who asks."""

    def test_who_is_not_let_in_and_a_server_that_is_gone_are_told_in_words(self):
        refused, gone, status = self.result["refusals"]
        for text in (refused, gone):
            self.assertRegex(text, r"\Alanternactl: the document cannot be saved: .{20,}\n\Z")
        self.assertNotEqual(refused, gone)
        self.assertIn(f"Last error: {gone.partition('saved: ')[2]}", status)
        self.assertEqual(len([line for line in self.result["refusal_log"] if line.startswith("CKMacSync: Error saving: ")]), 2)

    def test_idle_it_is_not_asked(self):
        self.assertGreaterEqual(self.result["idle_seconds"], 60)
        self.assertEqual(self.result["asked_while_idle"], 0)

    def test_its_secret_lies_in_a_file_of_the_owner_alone(self):
        for mode, content in self.result["secrets"]:
            self.assertEqual(mode, 0o600)
            self.assertTrue(holds_secret(content))


class WebDAVTest(ServerCase):
    store = "webdav"

    def test_settings_hold_no_password(self):
        for settings in self.result["settings"]:
            self.assertFalse(holds_secret(settings))

    def test_the_server_was_asked_by_the_user_and_for_nothing_that_it_fails_at(self):
        access = self.result["store_logs"]["access"]
        self.assertRegex(access, r"(?m)^\d+ 20[14] PUT /lanterna/userCustomizationsDict\.record HTTP/1\.1 ada Lanterna/")
        self.assertNotRegex(access, r"(?m)^\d+ 5")

    def test_nothing_but_the_record_is_left_in_the_folder(self):
        self.assertEqual(self.result["left"], ["userCustomizationsDict.record"])


class CloudKitTest(ServerCase):
    store = "cloudkit"

    def test_settings_hold_no_session(self):
        for settings in self.result["settings"]:
            self.assertNotIn("106__", settings)

    def test_the_strict_server_has_nothing_to_complain_about(self):
        self.assertEqual(self.result["told"]["complaints"], [])
        self.assertEqual(self.result["told"]["mostInFlight"], 1)
        self.assertGreater(self.result["told"]["requests"], 10)


def load_tests(_loader, tests, _pattern):
    """Asked for when the module runs as a whole."""
    if os.access(f"{PROGRAMS}/lanternactl", os.X_OK):
        for store in STORES:
            Labs.start(store)
    return tests


del StoreCase, ServerCase

if __name__ == "__main__":
    unittest.main(verbosity=2)
