#!/usr/bin/env python3
"""What a pass over the network costs, beside other programs of the kind. Prints tables.

  scan_bench.py [--only pass|pace|five|run] [--passes N] PROGRAMS

PROGRAMS is the folder of a release build's `lanternactl`. Each measure runs in a lab of its own: a /24 in which 253 other addresses answer ARP, or
five such networks.
  pass   one pass over the /24: processor time with its `ping` children's, wall time, memory; beside it nmap, arp-scan, and the bare probes
  pace   the sweep by the frames that leave, beside a loop that does nothing but pause
  five   one pass over the five networks
  run    `lanternactl run` before and after three passes: memory, threads, descriptors
Needs nmap, arp-scan and a C compiler, for bare_sweep.c.
"""

import json
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
LAB = HERE.parent / "lab"
sys.path.insert(0, str(LAB))
sys.dont_write_bytecode = True

import scan_scenes  # noqa: E402  (the path comes first)
import snapshot  # noqa: E402
from sweep_check import first_times  # noqa: E402

PREFIX = scan_scenes.SENSOR.rpartition(".")[0]
PEER_RUNS = 5
# How often a program's memory is looked at, in seconds.
LOOK = 0.1
# The pauses of a sweep over one /24: for each of 254 hosts 1 ms after each of two connections and 100 ms after all, in seconds.
IDEAL = 254 * 0.102
# What the sweep starts, as (times in a pass, words).
PINGS = ((1, ["ping", "-b", "-c", "3", "-w", "1", f"{PREFIX}.255"]),
         *((1, ["ping", "-c", "2", "-i", "0.2", "-w", "1", f"{PREFIX}.{host}"]) for host in (1, 254, 2, 100)))
PEERS = {"nmap": ["nmap", "-sn", "-n", f"{PREFIX}.0/24"], "arp-scan": ["arp-scan", "--localnet"]}
# The running program, in seconds. The first pass begins five after the start; a pass and the scan for its snapshot take 70; threads of the pool that
# have nothing to do end after ten. The next pass must not have begun by then.
STARTED = 3
INTERVAL = 90
RESTING = 13
PATIENCE = 150


class Cost:
    """What a program and all the children it waited for used. Waits for its end."""

    def __init__(self, process, begun):
        self.memory = 0
        while not self.has_ended(process):
            self.look_at_memory(process)
        self.wall = time.monotonic() - begun
        # Between its end and the wait that takes it away, the kernel still tells its own time from its children's, in ticks.
        fields = pathlib.Path(f"/proc/{process.pid}/stat").read_text().rpartition(")")[2].split()
        self.children = (int(fields[13]) + int(fields[14])) / os.sysconf("SC_CLK_TCK")
        _, status, used = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        self.user, self.system = used.ru_utime, used.ru_stime
        self.cpu = self.user + self.system

    def has_ended(self, process):
        end = time.monotonic() + LOOK
        while time.monotonic() < end:
            if os.waitid(os.P_PID, process.pid, os.WEXITED | os.WNOWAIT | os.WNOHANG):
                return True
            time.sleep(LOOK / 20)
        return False

    def look_at_memory(self, process):
        """The most so far. (The rusage of a process that this one has started never falls below this one's own size.)"""
        text = pathlib.Path(f"/proc/{process.pid}/status").read_text()
        if "VmHWM:" in text:
            self.memory = max(self.memory, int(text.split("VmHWM:")[1].split()[0]) * 1024)


def cost_of(command, **more):
    begun = time.monotonic()
    return Cost(subprocess.Popen(command, stdin=subprocess.DEVNULL, **more), begun)


def bare_sweep():
    """The path of the built bare_sweep."""
    program = str(pathlib.Path(os.environ["LANTERNA_LAB"]) / "bare_sweep")
    subprocess.run([os.environ.get("CC", "cc"), "-O2", "-o", program, HERE / "bare_sweep.c"], check=True)
    return program


def scan(words=("--json",)):
    """(cost, lines) of one pass."""
    home = Home()
    begun = time.monotonic()
    cost = Cost(home.start("scan", *words), begun)
    return cost, lines_of(home)


def lines_of(home):
    """The devices of a printed snapshot; a broken one is no result to measure."""
    lines, faults = snapshot.read(json.loads(home.text("out")))
    if faults:
        raise RuntimeError(f"the snapshot is broken: {faults[:3]}")
    return lines


def table(head, rows):
    print("| " + " | ".join(head) + " |\n|" + "---|" * len(head))
    for row in rows:
        print("| " + " | ".join(row) + " |")
    print(flush=True)


def middle(values, form="{:.3f}"):
    """Median, and in brackets the extremes."""
    return " ".join((form.format(statistics.median(values)), f"({form.format(min(values))} to {form.format(max(values))})"))


def row_of(name, costs, counts):
    return (name, middle([cost.cpu for cost in costs]) + " s", f"{statistics.mean(cost.user for cost in costs):.3f}",
            f"{statistics.mean(cost.system for cost in costs):.3f}", f"{statistics.median(cost.wall for cost in costs):.1f} s",
            f"{max(cost.memory for cost in costs) / 1e6:.1f} MB", ", ".join(sorted(set(map(str, counts)))))


HEAD = ("", "CPU, median", "user, mean", "system, mean", "wall", "peak memory", "devices")


# Measures; each runs inside its lab.

def whole_pass(passes):
    own = [scan() for _ in range(passes)]
    rows = [row_of("lanternactl scan", [cost for cost, _ in own], [len(lines) for _, lines in own])]
    children = statistics.mean(cost.children for cost, _ in own)
    still = scan(("--json", "--no-sweep"))
    rows.append(row_of("lanternactl scan --no-sweep", [still[0]], [len(still[1])]))
    for name, command in PEERS.items():
        costs, counts = [], []
        for _ in range(PEER_RUNS):
            with tempfile.TemporaryFile("w+") as out:
                costs.append(cost_of(command, stdout=out, stderr=subprocess.DEVNULL))
                out.seek(0)
                counts.append(found_by(name, out.read()))
        rows.append(row_of(" ".join(command), costs, counts))
    bare = [cost_of([bare_sweep(), "probes", PREFIX], stdout=subprocess.DEVNULL) for _ in range(passes)]
    rows.append(row_of("the probes alone", bare, ["-"]))
    table(HEAD, rows)
    pings = sum(times * statistics.mean(cost_of(words, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).cpu for _ in range(PEER_RUNS))
                for times, words in PINGS)
    print(f"`ping` children: {children:.3f} s of a pass by the kernel's account; the same five commands by themselves {pings:.3f} s\n")


def found_by(name, text):
    """How many devices another program lists, the sensor left out."""
    if name == "nmap":
        return sum(1 for line in text.splitlines() if line.startswith("Nmap scan report for ") and not line.endswith(f" {scan_scenes.SENSOR}"))
    return sum(1 for line in text.splitlines() if line.startswith(PREFIX + "."))


def pace(passes):
    """First probe to last pause: the frame after the last pause is the first datagram to the broadcast address."""
    loop = bare_sweep()
    taken, bare = [], []
    for _ in range(passes):
        peer = subprocess.Popen([loop, "pauses"], stdout=subprocess.PIPE)
        with Recorder() as recorder:
            scan()
        bare.append(float(peer.communicate()[0]))
        taken.append(sweep_time(recorder.frames()))
    table(("", "one sweep", "beyond the pauses themselves"),
          [(name, middle(times) + " s", f"{100 * (statistics.median(times) / IDEAL - 1):.2f} %")
           for name, times in (("lanternactl", taken), ("a loop in C with the same pauses", bare), ("the pauses", [IDEAL]))])


def sweep_time(frames):
    frames = [frame for frame in frames if "at" in frame]
    last = next(frame["at"] for frame in frames if frame["protocol"] == "udp" and frame["target"] == f"{PREFIX}.255")
    starts = first_times(frames, PREFIX)
    if not 250 < len(starts.keys() & set(range(1, 255))):
        raise RuntimeError(f"the recorder saw probes of {len(starts)} hosts only")
    return last - starts[1]


def five(passes):
    rows = []
    truth = sum(crowd["count"] for crowd in scan_scenes.five_networks()["crowds"])
    for _ in range(passes):
        cost, lines = scan()
        own = row_of("lanternactl scan", [cost], [f"{len(lines)} of {truth}"])
        rows.append((*own, f"{sum(line.ping for line in lines)}", f"{cost.children:.2f} s"))
    table((*HEAD, "answer the quick test", "`ping` children"), rows)


def run(passes):
    home = Home()
    home.write_settings({"first_run": "TRUE", "whichIP": 1, "WANLookupEnabled": "false", "updateFrequencyLAN": str(INTERVAL)})
    process = home.start("run")
    seen = {"null"}
    try:
        time.sleep(STARTED)
        rows = [("before the first pass", *state_of(process.pid))]
        for number in range(1, passes + 1):
            wait_for_snapshot(home, process, seen)
            time.sleep(RESTING)
            rows.append((f"at rest after pass {number}", *state_of(process.pid)))
    finally:
        process.terminate()
        process.wait(PATIENCE)
    table(("`lanternactl run`", "PSS", "of it anonymous", "RSS", "threads", "descriptors"), rows)


def wait_for_snapshot(home, process, seen):
    """Waits for one that is not among those seen, and adds it."""
    file = home.folder / "XDG_CONFIG_HOME/lanterna/settings.json"
    end = time.monotonic() + PATIENCE
    while time.monotonic() < end and process.poll() is None:
        stored = json.dumps(json.loads(file.read_text(encoding="utf-8")).get("latestLocalSnapshot"))
        if stored not in seen:
            seen.add(stored)
            return
        time.sleep(1)
    raise TimeoutError("no snapshot was saved")


def state_of(pid):
    """Sizes, threads and descriptors. Another Qt program, or a second one of these, takes half of what they share off the PSS, and nothing off the
    rest."""
    sizes = {}
    for line in pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text().splitlines()[1:]:
        name, value = line.split(":")
        sizes[name] = int(value.split()[0]) * 1024
    counts = (len(os.listdir(f"/proc/{pid}/{folder}")) for folder in ("task", "fd"))
    return (*(f"{sizes[name] / 1e6:.1f} MB" for name in ("Pss", "Pss_Anon", "Rss")), *map(str, counts))


def outside(words):
    """Runs each measure in its lab, one after the other: beside each other they would share processors and the kernel's neighbour table."""
    only, passes = None, None
    while words and words[0].startswith("--"):
        option = words.pop(0)
        if option == "--only" and words:
            only = words.pop(0)
        elif option == "--passes" and words:
            passes = int(words.pop(0))
        else:
            raise SystemExit(__doc__)
    if len(words) != 1 or only not in (None, *MEASURES):
        raise SystemExit(__doc__)
    environment = {**os.environ, "LANTERNA_PROGRAMS": str(pathlib.Path(words[0]).resolve())}
    for name, (make_scene, _, usual) in MEASURES.items():
        if only not in (None, name):
            continue
        with tempfile.NamedTemporaryFile("w", suffix=".json", encoding="utf-8") as file:
            json.dump(make_scene(), file)
            file.flush()
            inside = [sys.executable, "-B", __file__, name, str(passes or usual)]
            subprocess.run([LAB / "lab.py", "run", file.name, "--", *inside], env=environment, check=True)


# name: (scene, measure, passes)
MEASURES = {"pass": (scan_scenes.crowded, whole_pass, 3), "pace": (scan_scenes.crowded, pace, 3), "five": (scan_scenes.five_networks, five, 1),
            "run": (scan_scenes.crowded, run, 3)}

if __name__ == "__main__":
    if os.environ.get("LANTERNA_LAB"):
        from scan_driver import Home, Recorder  # which wants to be in a lab

        MEASURES[sys.argv[1]][1](int(sys.argv[2]))
    else:
        outside(sys.argv[1:])
