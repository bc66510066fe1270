"""The three stores that may hold the owner's document, inside the sensor of a lab, and the owner's other device, which reads and writes it there.

That device goes by the formats in docs/formats/ and knows nothing of the program's own ways. What all stores have: `choose` makes a sensor use the
store, `put` and `get` are the other device's, `moment` is taken at both ends of a time in which nothing may be asked, and `asked_between` tells, once
the store is stopped, how often it was asked in it (None: it cannot be asked). `logs` are the store's own.
"""

import base64
import hashlib
import json
import os
import pathlib
import socket
import sqlite3
import subprocess
import sys
import tempfile
import time
import urllib.request
import uuid

from terminal import Terminal

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, os.pardir, "support"))
from never_logged import MARK  # noqa: E402

RECORD, TYPE, ASSET, NAME = "userCustomizationsDict", "UserDictionary", "dictAsset", "currentCustomizationsDict"
# Bounded waits, in seconds; ten times what an idle machine needs.
PATIENCE = 60


class Missing(Exception):
    """A program that the store needs is not installed."""


class Embedded:
    """A file on this machine, which both sensors share."""

    shared_data = True

    def __init__(self):
        self.logs = {}

    def choose(self, sensor):
        """It is used unless another one is chosen."""

    def file(self, sensor):
        return f"{sensor.environment['XDG_DATA_HOME']}/lanterna/records.sqlite"

    def put(self, sensor, document):
        """The file is the program's to make; what is in it is written as docs/formats/records.md says."""
        with tempfile.NamedTemporaryFile(dir=sensor.folder) as file:
            file.write(b"{}")
            file.flush()
            sensor.ctl("cloud", "import", file.name)
        with sqlite3.connect(self.file(sensor), isolation_level=None) as connection:
            connection.execute("PRAGMA synchronous=FULL")
            connection.execute("BEGIN IMMEDIATE")
            connection.execute("UPDATE assets SET bytes = ? WHERE record = ? AND field = ?", (document, RECORD, ASSET))
            connection.execute("UPDATE records SET change_tag = ?, checksum = NULL WHERE name = ?", (uuid.uuid4().hex, RECORD))
            connection.execute("COMMIT")
        connection.close()

    def get(self, sensor):
        connection = sqlite3.connect(f"file:{self.file(sensor)}?mode=ro", uri=True, timeout=PATIENCE)
        rows = connection.execute("SELECT bytes FROM assets WHERE record = ? AND field = ?", (RECORD, ASSET)).fetchall()
        connection.close()
        return rows[0][0]

    def moment(self):
        return time.time()

    def asked_between(self, _begin, _end):
        return None

    def stop(self):
        pass


class WebDAV:
    """A real lighttpd with a password, on the sensor's loopback: elsewhere it would have to be https."""

    shared_data = False
    PROGRAM, MODULE = "/usr/sbin/lighttpd", "/usr/lib/lighttpd/mod_webdav.so"
    USER, PASSWORD = "ada", f"pä:ss {MARK} %41"

    def __init__(self):
        missing = [path for path in (self.PROGRAM, self.MODULE) if not os.path.exists(path)]
        if missing:
            raise Missing(f"{missing[0]} is not installed")
        self.logs = {}
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="files-"))
        self.port = free_port()
        self.url = f"http://127.0.0.1:{self.port}/lanterna/"
        for name in ("files/lanterna", "run"):
            (self.folder / name).mkdir(parents=True)
        (self.folder / "users").write_text(f"{self.USER}:{self.PASSWORD}\n", encoding="utf-8")
        (self.folder / "conf").write_text(f"""
            server.modules = ("mod_auth", "mod_authn_file", "mod_webdav", "mod_accesslog")
            server.document-root = "{self.folder}/files"
            server.upload-dirs = ("{self.folder}/run")
            server.errorlog = "{self.folder}/error.log"
            accesslog.filename = "{self.folder}/access.log"
            accesslog.format = "%{{%s}}t %s %r %u %{{User-Agent}}i"
            server.bind = "127.0.0.1"
            server.port = {self.port}
            webdav.activate = "enable"
            webdav.sqlite-db-name = "{self.folder}/run/locks.db"
            mimetype.assign = ("" => "application/octet-stream")
            auth.backend = "plain"
            auth.backend.plain.userfile = "{self.folder}/users"
            auth.require = ("" => ("method" => "basic", "realm" => "files", "require" => "valid-user"))
            """, encoding="utf-8")
        with open(self.folder / "output", "wb") as output:
            self.process = subprocess.Popen([self.PROGRAM, "-D", "-f", str(self.folder / "conf")], stdin=subprocess.DEVNULL, stdout=output,
                                            stderr=output)
        wait_for(lambda: accepts(self.port), "lighttpd")

    def choose(self, sensor):
        """As a person does it: in a terminal."""
        terminal = Terminal([sensor.PROGRAM, "cloud", "setup"], columns=120, env=sensor.environment)
        for question, answer in (("icloud)?", "webdav"), ("Address of the folder:", self.url), ("User:", self.USER), ("Password:", self.PASSWORD)):
            terminal.wait_for(lambda lines, question=question: question in "".join(lines), question, PATIENCE)
            terminal.type(answer + "\n")
        terminal.wait_for(lambda lines: "in that folder." in "".join(lines), "the end of the set-up", PATIENCE)
        sensor.outputs.append("\n".join(terminal.read()))
        terminal.close()

    def ask(self, method, body=None, **headers):
        login = base64.b64encode(f"{self.USER}:{self.PASSWORD}".encode()).decode()
        request = urllib.request.Request(f"{self.url}{RECORD}.record", data=body, method=method,
                                         headers={"Authorization": f"Basic {login}", "User-Agent": "another-device", **headers})
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        with opener.open(request, timeout=PATIENCE) as reply:
            return reply.read()

    def put(self, _sensor, document):
        """A new file, as docs/formats/webdav-records.md says."""
        head = {"assets": [{"name": ASSET, "sha256": hashlib.sha256(document).hexdigest(), "size": len(document)}], "format": 1,
                "modificationDate": "2026-03-01T12:30:05.250Z", "recordName": RECORD, "recordType": TYPE, "texts": {"dictName": NAME},
                "version": str(uuid.uuid4())}
        self.ask("PUT", json.dumps(head).encode() + b"\n" + document, **{"If-None-Match": "*"})

    def get(self, _sensor):
        head, document = self.ask("GET").split(b"\n", 1)
        head = json.loads(head)
        asset, = head["assets"]
        if (asset["name"], asset["size"], asset["sha256"]) != (ASSET, len(document), hashlib.sha256(document).hexdigest()):
            raise AssertionError(f"the file is not whole: {head}")
        if (head["format"], head["recordName"], head["recordType"], head["texts"]) != (1, RECORD, TYPE, {"dictName": NAME}):
            raise AssertionError(f"not as the format says: {head}")
        return document

    def moment(self):
        return time.time()

    def asked_between(self, begin, end):
        """By the server's own notes, in whole seconds and up to a second too early: the ends are not counted, for they were partly before and after."""
        times = [int(line.split()[0]) for line in self.logs["access"].splitlines()]
        return sum(int(begin) < at < int(end) - 1 for at in times)

    def stop(self):
        self.process.terminate()  # and it writes what it has yet to note
        self.process.wait(PATIENCE)
        self.logs = {name: (self.folder / file).read_text(encoding="utf-8", errors="replace")
                     for name, file in (("access", "access.log"), ("error", "error.log"), ("output", "output"))}
        self.left = sorted(os.listdir(self.folder / "files/lanterna"))


class CloudKit:
    """The strict server of the unit tests, in which every sensor is signed in by itself."""

    shared_data = False

    def __init__(self):
        self.process = subprocess.Popen([os.environ["LANTERNA_CLOUDKIT_PROBE"]], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.settings = json.loads(self.process.stdout.readline())
        self.sessions = {}
        self.logs = {}

    def ask(self, *words):
        self.process.stdin.write(" ".join(words) + "\n")
        self.process.stdin.flush()
        return json.loads(self.process.stdout.readline())

    def choose(self, sensor):
        for key, name in (("container", "cloudKitContainer"), ("environment", "cloudKitEnvironment"), ("apiToken", "cloudKitAPIToken"),
                          ("baseURL", "cloudKitBaseURL")):
            sensor.ctl("settings", "set", name, self.settings[key])
        sensor.ctl("settings", "set", "cloudBackend", "cloudkit")
        sensor.write_secrets({"cloudKitSession": self.ask("sign-in")["session"]})

    def put(self, _sensor, document):
        self.ask("put", RECORD, base64.b64encode(document).decode())

    def get(self, _sensor):
        return base64.b64decode(self.ask("get", RECORD)["document"])

    def moment(self):
        return self.ask("count")["requests"]

    def asked_between(self, begin, end):
        return end - begin

    def stop(self):
        self.told = self.ask("count")
        self.process.stdin.close()
        self.process.wait(PATIENCE)


STORES = {"embedded": Embedded, "webdav": WebDAV, "cloudkit": CloudKit}


def wait_for(condition, what, seconds=PATIENCE):
    """Waits for a condition of another process, which may also answer something."""
    deadline = time.monotonic() + seconds
    while not (found := condition()):
        if time.monotonic() > deadline:
            raise AssertionError(f"{what}: not within {seconds} s")
        time.sleep(0.1)
    return found


def free_port():
    with socket.socket() as candidate:
        candidate.bind(("127.0.0.1", 0))
        return candidate.getsockname()[1]


def accepts(port):
    try:
        socket.create_connection(("127.0.0.1", port), 1).close()
        return True
    except OSError:
        return False
