#!/usr/bin/env python3
"""What the whole program costs: time to its panel item, memory, work while idle, and how soon a new address is shown. Prints a table.

  program_bench.py [--only start|memory|idle|address] [--minute SECONDS] [--beside NAME=COMMAND]... PROGRAMS

PROGRAMS is the folder of `lanterna` and, from a build with LANTERNA_BENCHMARKS, `bare_gui` (or its tests/ folder). --beside measures the memory
and idle work of another program in the same session (with "idle"). Runs itself inside a lab, under an X server and a message bus of its own; the
panel is a watcher that answers at once. Needs openssl for the server of the https request.
"""

import os
import pathlib
import socket
import ssl
import statistics
import subprocess
import sys
import tempfile
import threading
import time

HERE = pathlib.Path(__file__).resolve().parent
LAB = HERE.parent / "lab"
sys.path.insert(0, str(LAB))
sys.dont_write_bytecode = True

from bus_client import Bus, BusError  # noqa: E402  (the path comes first)
from lanternalab import control  # noqa: E402
from panels import Session  # noqa: E402

STARTS = 10
ADDRESSES = 6
# What only Qt programs map: a part of the path.
QT_FILES = ("libQt6", "/qt6/", "libicu", "libpcre2-16", "libdouble-conversion")
# The pause that the program makes after a change, in seconds.
PAUSE = 3
# Start-up work, the pass five seconds after it included, is over.
SETTLED = 8
PATIENCE = 30
HTTP = "http://192.168.77.1/ip"
HTTPS = "https://127.0.0.1:8443/ip"


class Watcher:
    """A status notifier watcher with a host. `items` holds (time, sender) of each registration."""

    def __init__(self, address):
        self.items = []
        self.came = threading.Condition()
        self.bus = Bus(address)
        self.bus.own("org.kde.StatusNotifierWatcher", self.handle)
        threading.Thread(target=self.serve, daemon=True).start()

    def handle(self, message):
        member = message.fields["member"]
        if member == "RegisterStatusNotifierItem":
            with self.came:
                self.items.append((time.monotonic(), message.fields["sender"]))
                self.came.notify()
            return "", []
        values = {"IsStatusNotifierHostRegistered": ("b", True), "ProtocolVersion": ("i", 0), "RegisteredStatusNotifierItems": ("as", [])}
        if member == "Get":
            return "v", [values[message.values[1]]]
        if member == "GetAll":
            return "a{sv}", [values]
        raise BusError("org.freedesktop.DBus.Error.UnknownMethod")

    def serve(self):
        try:
            while True:
                self.bus.receive(3600)
        except BusError:
            pass  # the session is over

    def next_item(self, count):
        """The time of the registration after this many."""
        with self.came:
            if not self.came.wait_for(lambda: len(self.items) > count, PATIENCE):
                raise TimeoutError("no item was registered")
            return self.items[count][0]


class Bench:
    def __init__(self, session, programs, minute):
        self.session, self.programs, self.minute = session, programs, minute
        self.watcher = Watcher(session.env["DBUS_SESSION_BUS_ADDRESS"])
        self.bare = next((path for path in (programs / "bare_gui", programs / "tests/bare_gui") if path.exists()), None)
        self.rows = []

    def row(self, what, value, bound="", beside=""):
        self.rows.append((what, value, bound, beside))
        print(f"{what}: {value} {bound} {beside}", file=sys.stderr, flush=True)

    def write_settings(self, **more):
        folder = pathlib.Path(self.session.env["XDG_CONFIG_HOME"]) / "lanterna"
        folder.mkdir(exist_ok=True)
        words = ",".join(f'"{key}": {value}' for key, value in {"first_run": '"TRUE"', "whichIP": 1, **more}.items())
        (folder / "settings.json").write_text("{" + words + "}")

    def configuration(self, url):
        file = self.session.folder / "endpoint.txt"
        file.write_text(f"{url}||Current IP Address: ||</body>\n")
        return f'"file://{file}"'

    def start(self):
        """(process, seconds from its start to the registered item)."""
        count = len(self.watcher.items)
        begun = time.monotonic()
        process = self.session.start([str(self.programs / "lanterna")])
        return process, self.watcher.next_item(count) - begun

    def start_bare(self, *arguments):
        """(process, seconds from its start to its event loop)."""
        begun = time.monotonic()
        process = self.session.start([str(self.bare), *arguments], stdout=subprocess.PIPE)
        word = process.stdout.readline()
        took = time.monotonic() - begun
        if word != b"ready\n":
            raise RuntimeError(f"bare_gui says {word}")
        return process, took

    def end(self, process):
        process.terminate()
        process.wait(PATIENCE)

    # Measures

    def start_up(self):
        self.write_settings(WANLookupEnabled="false")
        taken = {"program": [], "bare": []}
        for _ in range(STARTS + 1):  # the first fills the page cache
            process, seconds = self.start()
            taken["program"].append(seconds)
            self.end(process)
            if self.bare:
                process, seconds = self.start_bare()
                taken["bare"].append(seconds)
                self.end(process)
        first, *others = taken["program"]
        bare = f"{milliseconds(taken['bare'][1:])} to the event loop" if self.bare else ""
        self.row("start to registered item", milliseconds(others), "80 ms", bare)

    def memory(self):
        server = TlsServer(self.session.folder)
        cases = (("memory, no request", None, "22 MB"), ("memory after http", HTTP, ""), ("memory after https", HTTPS, "28 MB"))
        for what, url, bound in cases:
            arguments = [url] if url else []
            self.write_settings(**({"configurationURL": self.configuration(url)} if url else {"WANLookupEnabled": "false"}))
            before = requests_of(server)
            process, _ = self.start()
            time.sleep(SETTLED)
            made = [after - earlier > 0 for after, earlier in zip(requests_of(server), before)]
            if made != ["https" in what, what.endswith("http")]:
                raise RuntimeError(f"{what}: requests (https, http) {made}")
            own = memory_of(process.pid)
            self.end(process)
            bare = ""
            if self.bare:
                process, _ = self.start_bare(*arguments)
                if arguments:
                    process.stdout.readline()
                time.sleep(1)
                bare = memory_of(process.pid)
                self.end(process)
            self.row(what, own, bound, bare)

    def idle(self, process):
        before = work_of(process.pid)
        threads = dict(before)
        end = time.monotonic() + self.minute
        while time.monotonic() < end:
            time.sleep(0.2)
            threads.update(work_of(process.pid))  # a thread that ends keeps what was seen of it last
        wakes, nanoseconds = (sum(work[i] for work in threads.values()) - sum(work[i] for work in before.values()) for i in range(2))
        return f"{nanoseconds / self.minute / 1e7:.3f} % CPU, {wakes / self.minute:.2f} wake-ups/s"

    def idle_program(self, beside):
        self.write_settings(configurationURL=self.configuration(HTTP))
        process, _ = self.start()
        time.sleep(SETTLED)
        mine = self.idle(process)
        self.end(process)
        bare = ""
        if self.bare:
            process, _ = self.start_bare()
            time.sleep(1)
            bare = self.idle(process)
            self.end(process)
        self.row(f"idle for {self.minute} s", mine, "0.1 %", bare)
        for name, command in beside:
            process = self.session.start(command.split())
            time.sleep(SETTLED)
            if process.poll() is not None:
                self.row(name, "ended at once: " + self.session.log(pathlib.Path(command.split()[0]).name)[-200:])
                continue
            self.row(name, f"{memory_of(process.pid)}, {self.idle(process)}")
            self.end(process)

    def new_address(self):
        self.write_settings(configurationURL=self.configuration(HTTP))
        process, _ = self.start()
        time.sleep(SETTLED)
        bus = Bus(self.session.env["DBUS_SESSION_BUS_ADDRESS"])
        bus.watch(member="XAyatanaNewLabel")
        late = []
        for number in range(ADDRESSES):
            verb, label = ("add", "192.168.77.99") if number % 2 == 0 else ("del", "192.168.77.10")
            begun = time.monotonic()
            subprocess.run(["ip", "addr", verb, "192.168.77.99/24", "dev", "eth0"], check=True)
            while not any(signal.values[:1] == (label,) for signal in bus.signals):
                if bus.receive(PATIENCE) is None:
                    raise TimeoutError(f"the label {label} did not come")
            late.append(time.monotonic() - begun - PAUSE)
            bus.signals.clear()
        self.end(process)
        self.row(f"`ip addr` to label, beyond {PAUSE} s", milliseconds(late), "200 ms", f"longest {max(late) * 1000:.0f} ms")


def requests_of(server):
    """Requests so far: to the server with https, and to the lab's with http."""
    return server.greetings, control.request(os.environ["LANTERNA_LAB"], ["http", "count", "gateway", "/ip"])


def milliseconds(seconds):
    return f"{statistics.median(seconds) * 1000:.0f} ms ({min(seconds) * 1000:.0f} to {max(seconds) * 1000:.0f})"


def memory_of(pid):
    """Proportional set size, and what of it is private, in MB (10^6 bytes).

    A second Qt program on the machine would take half of the libraries upon itself, so the mappings of Qt's own files count in full. What Qt needs of
    other projects is not told apart: the highest number is seen while no other Qt program runs.
    """
    total = private = 0
    library = False
    for line in pathlib.Path(f"/proc/{pid}/smaps").read_text().splitlines():
        name, _, value = line.partition(":")
        if "-" in name.split(" ")[0]:  # the head of a mapping: addresses, rights, file
            library = any(part in line for part in QT_FILES)
        elif name == ("Rss" if library else "Pss"):
            total += int(value.split()[0]) * 1024
        elif name in ("Private_Clean", "Private_Dirty"):
            private += int(value.split()[0]) * 1024
    return f"{total / 1e6:.1f} MB (of it {private / 1e6:.1f} private)"


def work_of(pid):
    """By thread: (times that it went to sleep, nanoseconds of processor time), so far."""
    work = {}
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        try:
            sleeps = int((task / "status").read_text().split("\nvoluntary_ctxt_switches:")[1].split()[0])
            work[task.name] = sleeps, int((task / "schedstat").read_text().split()[0])
        except (FileNotFoundError, ProcessLookupError):
            pass  # it has just ended
    return work


class TlsServer:
    """A server whose certificate nobody knows: the client loads all that TLS needs, says hello, and refuses."""

    def __init__(self, folder):
        files = [str(folder / "tls.key"), str(folder / "tls.crt")]
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=127.0.0.1", "-keyout", files[0], "-out", files[1]],
                       check=True, capture_output=True)
        self.context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        self.context.load_cert_chain(files[1], files[0])
        self.greetings = 0
        self.listener = socket.create_server(("127.0.0.1", 8443))
        threading.Thread(target=self.serve, daemon=True).start()

    def serve(self):
        while True:
            connection, _ = self.listener.accept()
            self.greetings += 1
            try:
                with connection:
                    connection.settimeout(PATIENCE)
                    self.context.wrap_socket(connection, server_side=True).close()
            except OSError:
                pass  # it does not know the certificate


def main(words):
    minute, beside, only = 60, [], None
    while words and words[0].startswith("--"):
        option = words.pop(0)
        if option == "--minute":
            minute = int(words.pop(0))
        elif option == "--only":
            only = words.pop(0)
        elif option == "--beside":
            beside.append(words.pop(0).split("=", 1))
        else:
            raise SystemExit(__doc__)
    if len(words) != 1:
        raise SystemExit(__doc__)
    programs = pathlib.Path(words[0]).resolve()
    tempfile.tempdir = os.environ["LANTERNA_LAB"]
    with Session("none") as session:
        bench = Bench(session, programs, minute)
        measures = {"start": bench.start_up, "memory": bench.memory, "idle": lambda: bench.idle_program(beside), "address": bench.new_address}
        for name, measure in measures.items():
            if only in (None, name):
                measure()
    print("| | lanterna | bound | bare Qt process |\n|---|---|---|---|")
    for row in bench.rows:
        print("| " + " | ".join(row) + " |")


if __name__ == "__main__":
    if os.environ.get("LANTERNA_LAB"):
        main(sys.argv[1:])
    else:
        sys.exit(subprocess.run([LAB / "lab.py", "run", LAB / "scenes/small.json", "--", sys.executable, "-B", __file__, *sys.argv[1:]],
                                check=False).returncode)
