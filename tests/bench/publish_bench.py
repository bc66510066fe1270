#!/usr/bin/env python3
"""What serving the snapshot costs, beside a static file of the same size served by nginx. Prints tables. As root.

  publish_bench.py [--connections N] [--rounds N] [--skip-memory] [--unwatched] PROGRAMS

PROGRAMS is the folder of a bench build's `snapshot_server`. Everything runs in a network namespace of its own, on its loopback. 200 clients with
receive buffers of 2 KiB hold connections on which most of a 10 MB snapshot is unsent; then a snapshot of 254 devices is stored, and other clients
fetch that as fast as they may, then nginx's file. With --unwatched the server reads the interface list for each client, whether it has changed or not.
Needs nginx (NGINX names another one than that in the path), iproute2 and a C compiler, for stream_clients.c.
"""

import argparse
import os
import pathlib
import re
import shutil
import socket
import statistics
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
READERS = 200
LARGE = 10_000_000
DEVICES = 254
AT_ONCE = 32
MEMORY_CONNECTIONS = 100_000
INSIDE = "LANTERNA_PUBLISH_BENCH_INSIDE"
# A machine with one network, in which the server's snapshots are taken.
NETWORK = "link set lo up\nlink add eth0 type veth peer name far0\nlink set eth0 up\nlink set far0 up\naddress add 192.168.77.10/24 dev eth0\n"


def processor(pid):
    """Seconds of all its threads: (user, system)."""
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
    return tuple(int(ticks) / os.sysconf("SC_CLK_TCK") for ticks in fields[11:13])


class Server:
    def __init__(self, program, *words):
        self.process = subprocess.Popen([program, *words], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.port = int(self.process.stdout.readline())

    def store(self, words):
        """Stores a snapshot and returns what clients get of it."""
        print(words, file=self.process.stdin, flush=True)
        if self.process.stdout.readline() != "stored\n":
            raise RuntimeError("the server does not obey")
        with socket.create_connection(("127.0.0.1", self.port)) as client:
            return b"".join(iter(lambda: client.recv(1 << 20), b""))

    def processor(self):
        return processor(self.process.pid)

    def memory(self):
        """(PSS, anonymous) in bytes."""
        text = pathlib.Path(f"/proc/{self.process.pid}/smaps_rollup").read_text()
        return tuple(int(re.search(rf"^{name}:\s+(\d+) kB", text, re.MULTILINE)[1]) * 1024 for name in ("Pss", "Anonymous"))

    def end(self):
        self.process.stdin.close()
        self.process.wait(10)


class Readers:
    """Clients that read nothing; makes sure that the server has bytes for each of them that it could not send."""

    def __init__(self, program, port):
        self.port = port
        self.process = subprocess.Popen([program, "hold", str(port), str(READERS)], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        if self.process.stdout.readline() != "held\n":
            raise RuntimeError("the readers could not connect")
        time.sleep(1)
        self.check()

    def check(self):
        """The bytes that the server's system holds for each, at the least; and each has far more that even the system could not take."""
        lines = subprocess.run(["ss", "-Htn", "state", "established", "state", "fin-wait-1", f"sport = :{self.port}"], check=True,
                               capture_output=True, text=True).stdout.splitlines()
        queues = [int(line.split()[2 if not line.split()[0].isdigit() else 1]) for line in lines]
        unsent = [queue for queue in queues if 0 < queue < LARGE / 2]
        if len(unsent) < READERS:
            raise RuntimeError(f"only {len(unsent)} of {READERS} readers have unsent bytes")
        return min(unsent)

    def end(self):
        taken = [int(number) for number in self.process.communicate("")[0].split()]
        if len(taken) != READERS or max(taken) > 10_000:
            raise RuntimeError(f"the readers were not slow: {taken}")
        return max(taken)


class Nginx:
    def __init__(self, program, folder, document):
        (folder / "document").write_bytes(document)
        os.chmod(folder, 0o755)
        # Relative paths count from the folder.
        temporary = " ".join(f"{kind}_temp_path tmp;" for kind in ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
        (folder / "nginx.conf").write_text(
            "worker_processes auto; daemon off; user root; error_log stderr; pid nginx.pid; events { worker_connections 1024; }\n"
            f"http {{ access_log off; sendfile on; tcp_nopush on; keepalive_timeout 0; open_file_cache max=10; {temporary}\n"
            f"server {{ listen 127.0.0.1:8080; root {folder}; }} }}\n")
        self.process = subprocess.Popen([program, "-p", str(folder), "-c", "nginx.conf"], cwd=folder, stderr=subprocess.DEVNULL)
        for _ in range(200):
            try:
                socket.create_connection(("127.0.0.1", 8080)).close()
                return
            except ConnectionRefusedError:
                time.sleep(0.02)
        raise RuntimeError("nginx does not run")

    def processor(self):
        """That of its workers."""
        pids = pathlib.Path(f"/proc/{self.process.pid}/task/{self.process.pid}/children").read_text().split()
        return tuple(map(sum, zip(*(processor(pid) for pid in pids))))

    def end(self):
        self.process.terminate()
        self.process.wait(10)


class Rates:
    """Measures a server again and again."""

    def __init__(self, server):
        self.server = server
        self.rates, self.costs = [], []

    def measure(self, connections, program, port, size, *path):
        before = self.server.processor()
        self.rates.append(clients(program, port, connections, size, *path))
        self.costs.append([(now - then) / connections * 1e6 for now, then in zip(self.server.processor(), before)])

    def row(self):
        return middle(self.rates), *(f"{statistics.median(part):.0f} µs" for part in zip(*self.costs))


def clients(program, port, connections, size, *path):
    """Connections per second."""
    words = [program, "many", str(port), str(connections), str(AT_ONCE), str(size), *path]
    return connections / float(subprocess.run(words, check=True, capture_output=True, text=True).stdout)


def middle(values):
    return f"{statistics.median(values):,.0f} ({min(values):,.0f} to {max(values):,.0f})"


def table(*rows):
    for number, row in enumerate(rows):
        print("| " + " | ".join(row) + " |")
        if number == 0:
            print("|" + "---|" * len(row))
    print(flush=True)


def speed(arguments, program, server, folder):
    server.store(f"bytes {LARGE}")
    readers = Readers(program, server.port)
    document = server.store(f"devices {DEVICES}")
    nginx = Nginx(os.environ.get("NGINX", "nginx"), folder, document)
    own, peer = Rates(server), Rates(nginx)
    for _ in range(arguments.rounds):
        own.measure(arguments.connections, program, server.port, len(document))
        peer.measure(arguments.connections, program, 8080, len(document), "/document")
    held, load = readers.check(), os.getloadavg()[0]
    taken = readers.end()
    nginx.end()
    print(f"{READERS} readers held: the server's system kept {held:,} bytes or more for each of {LARGE:,}, their own had taken {taken:,} at the most. "
          f"{arguments.rounds} rounds of {arguments.connections:,} connections of {len(document):,} bytes, {AT_ONCE} at once; load {load:.1f}.\n")
    ratio = statistics.median(one / other for one, other in zip(own.rates, peer.rates))
    table(("", "connections per second, median", "processor time for each: user", "system"),
          ("the snapshot of 254 devices, locality check included", *own.row()), ("nginx, the same bytes as a file", *peer.row()),
          ("ratio", f"{ratio:.2f}", "", ""))


def memory(_arguments, program, server, _folder):
    """Of a server that has had nothing else to do."""
    size = len(server.store(f"devices {DEVICES}"))
    clients(program, server.port, 1000, size)
    rows = [("", "PSS", "of it anonymous"), ("after 1,000 connections", *(f"{value / 1e6:.2f} MB" for value in server.memory()))]
    clients(program, server.port, MEMORY_CONNECTIONS, size)
    rows.append((f"after {MEMORY_CONNECTIONS:,} more", *(f"{value / 1e6:.2f} MB" for value in server.memory())))
    table(*rows)


def measure(arguments):
    subprocess.run(["ip", "-batch", "-"], input=NETWORK, text=True, check=True)
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        program = str(folder / "stream_clients")
        subprocess.run([os.environ.get("CC", "cc"), "-O2", "-o", program, HERE / "stream_clients.c"], check=True)
        for part in (speed, memory):
            if part is memory and arguments.skip_memory:
                continue
            words = ["unwatched"] if arguments.unwatched else []
            server = Server(str(pathlib.Path(arguments.programs) / "tests" / "snapshot_server"), *words)
            part(arguments, program, server, folder)
            server.end()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--connections", type=int, default=30_000)
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--skip-memory", action="store_true")
    parser.add_argument("--unwatched", action="store_true")
    parser.add_argument("programs")
    arguments = parser.parse_args()
    if not shutil.which(os.environ.get("NGINX", "nginx")):
        sys.exit("publish_bench.py: nginx is not installed")
    if INSIDE not in os.environ:
        os.environ[INSIDE] = "1"
        # Whatever it starts ends with it.
        os.execvp("unshare", ["unshare", "-n", "--pid", "--fork", "--kill-child", "--mount-proc", sys.executable, __file__, *sys.argv[1:]])
    measure(arguments)


if __name__ == "__main__":
    main()
