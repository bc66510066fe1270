#!/usr/bin/env python3
"""How long another host waits for the news of a snapshot: from the call that stores it to the packet with the new "rev" at that host.

  LANTERNA_PROGRAMS=PROGRAMS tests/lab/lab.py run tests/lab/scenes/publishing.json -- tests/bench/announce_bench.py [ROUNDS]

PROGRAMS is the folder of a build's `lanternactl`. Another process stores the snapshots, so its start and the notice of the change are in the time.
"""

import json
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import threading
import time

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "lab"))
from lanternalab import control  # noqa: E402  (the path comes first)

PROGRAMS, LAB = os.environ["LANTERNA_PROGRAMS"], os.environ["LANTERNA_LAB"]
# Tells when which revision comes by, as the multicast packets that the host's browsers hear.
LISTEN = """
import re, socket, struct, sys, time
end = time.time() + float(sys.argv[1])
listener = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEPORT, 1)
listener.bind(("224.0.0.251", 5353))
listener.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, socket.inet_aton("224.0.0.251") + socket.inet_aton("192.168.77.20"))
while (left := end - time.time()) > 0:
    listener.settimeout(left)
    try:
        packet = listener.recv(9000)
    except TimeoutError:
        break
    for revision in re.findall(rb"rev=(\\d+)", packet):
        print(time.time(), revision.decode())
"""
PAUSE = 2.0


def main():
    rounds = int(sys.argv[1]) if len(sys.argv) > 1 else 10
    with tempfile.TemporaryDirectory(dir=LAB) as folder:
        environment = {**os.environ, "XDG_CONFIG_HOME": f"{folder}/config", "XDG_DATA_HOME": f"{folder}/data"}

        def ctl(*words):
            subprocess.run([f"{PROGRAMS}/lanternactl", *words], env=environment, check=True, stdout=subprocess.DEVNULL)
        ctl("settings", "set", "first_run", "TRUE")
        program = subprocess.Popen([f"{PROGRAMS}/lanternactl", "run"], env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        seen = []
        looker = threading.Thread(target=lambda: seen.append(
            control.request(LAB, ["exec", "laptop", "--", sys.executable, "-c", LISTEN, str(8 + rounds * (PAUSE + 0.5))])["out"]))
        looker.start()
        time.sleep(5)
        stored = {}
        for number in range(1, rounds + 1):
            stored[str(number)] = time.time()
            ctl("settings", "set", "latestLocalSnapshot", json.dumps({"dateEpoch": number}))
            time.sleep(PAUSE)
        looker.join()
        program.terminate()
        program.wait(10)
    heard = [line.split() for line in seen[0].splitlines()]
    times = [1000 * (min(float(at) for at, revision in heard if revision == number) - begun) for number, begun in stored.items()]
    print(f"{len(times)} snapshots: {statistics.median(times):.0f} ms median, {min(times):.0f} to {max(times):.0f} ms")


main()
