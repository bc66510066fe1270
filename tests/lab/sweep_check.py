#!/usr/bin/python3
"""Holds the recorded frames of one pass over one /24 against what a sweep has to send, in which order and at which pace.

  sweep_check.py PREFIX SENSOR [FILE]      PREFIX such as 192.168.77; one fault a line, exit code 1 when there is any

Records are those of capture.py. The kernel has to know the MAC of all addresses of the /24 beforehand: a datagram to one that does not answer ARP
never leaves the machine, and one that waits for the answer may be overtaken. ARP frames, and TCP frames other than the first of a connection, are exempt.
"""

import json
import sys

UDP_PORTS = (9, 7, 53, 137, 161, 5353)
TCP_PORTS = (80, 443)
HOSTS = range(1, 255)
# Between the first probes of two hosts: a pause of 100 ms and one of 1 ms after each of the two connections, in seconds. Clocks of the kernel are
# exact to some microseconds.
PACE = 0.102
CLOCK_ERROR = 0.0002
X = "58"
BROADCAST_PORTS = (137, 5355, 9)
GROUPS = (("224.0.0.251", 5353), ("239.255.255.250", 1900), ("224.0.0.252", 5355))
ZEROS = "00" * 32
COMMON = (1, 254, 2, 100)


def name_of(frame):
    """A probe in short words: what has to follow each other in one order."""
    if frame["protocol"] == "icmp":
        return f"icmp {frame['type']}/{frame['code']} sequence {frame['sequence']}, {frame['length']} bytes"
    if frame["protocol"] == "udp":
        return f"udp {frame['target_port']} {frame['payload']}"
    return f"tcp {frame['target_port']} {frame['flags']}"


def wanted(icmp):
    """The probes of one host, in their order."""
    first = ["icmp 8/0 sequence 1, 8 bytes"] if icmp else []
    return first + [f"udp {port} {X}" for port in UDP_PORTS] + [f"tcp {port} S" for port in TCP_PORTS]


def is_ping(frame):
    """An echo request of the ping program: more than the bare head that the sweep sends."""
    return frame["protocol"] == "icmp" and frame["type"] == 8 and frame["length"] > 8


class Pass:
    """The frames of one pass, in three parts: before the sweep, the sweep, and after it."""

    def __init__(self, records, prefix, sensor):
        self.prefix = prefix
        frames = [frame for frame in records if "at" in frame]
        self.frames = [frame for frame in frames if frame["protocol"] in ("icmp", "udp") or frame.get("flags") == "S"]
        self.hosts = [number for number in HOSTS if f"{prefix}.{number}" != sensor]
        self.starts = first_times(frames, prefix)
        self.first = next((i for i, frame in enumerate(self.frames) if self.is_probe(frame)), len(self.frames))
        self.last = self.last_probe()

    def number(self, frame):
        head, _, last = frame["target"].rpartition(".")
        return int(last) if head == self.prefix else 0

    def is_probe(self, frame):
        """Whether a frame could belong to the sweep: to a single host, and not of the ping program."""
        return self.number(frame) in HOSTS and not is_ping(frame)

    def last_probe(self):
        """The last host's last connection ends the sweep; without it, the last frame of its kind does."""
        last = [i for i, frame in enumerate(self.frames) if self.number(frame) == self.hosts[-1] and name_of(frame) == f"tcp {TCP_PORTS[-1]} S"]
        others = [i for i, frame in enumerate(self.frames) if self.is_probe(frame) and name_of(frame) == f"tcp {TCP_PORTS[-1]} S"]
        return (last or others or [len(self.frames) - 1])[0 if last else -1]

    def before(self):
        return self.frames[:self.first]

    def sweep(self):
        return self.frames[self.first:self.last + 1]

    def after(self):
        return self.frames[self.last + 1:]


def first_times(frames, prefix):
    """{host number: time of the first frame on its behalf}. An ARP request counts: the kernel sends it at the moment of the first probe."""
    times = {}
    for frame in frames:
        head, _, last = frame.get("target", "").rpartition(".")
        if head == prefix and not is_ping(frame):
            times.setdefault(int(last), frame["at"])
    return times


def faults_of(records, prefix, sensor, icmp=True):
    """All faults of a recorded pass, in words."""
    whole = Pass(records, prefix, sensor)
    return before_faults(whole) + sweep_faults(whole, icmp) + pace_faults(whole) + after_faults(whole)


def before_faults(whole):
    faults = []
    broadcast = f"{whole.prefix}.255"
    pings = [frame for frame in whole.before() if is_ping(frame)]
    if not [frame for frame in pings if frame["target"] == broadcast]:
        faults.append(f"no ping of {broadcast} before the sweep")
    return faults + [f"{frame['target']} is pinged before the sweep" for frame in pings if frame["target"] != broadcast]


def sweep_faults(whole, icmp):
    """Each host in its turn, each probe in its order, and nothing else."""
    faults = []
    by_host, order = {}, []
    for frame in whole.sweep():
        number = whole.number(frame)
        if not whole.is_probe(frame):
            faults.append(f"in the middle of the sweep: {name_of(frame)} to {frame['target']}")
            continue
        if not order or order[-1] != number:
            order.append(number)
        by_host.setdefault(number, []).append(name_of(frame))
    for number in whole.hosts:
        faults += probe_faults(f"{whole.prefix}.{number}", by_host.pop(number, []), wanted(icmp))
    faults += [f"{whole.prefix}.{number} is probed" for number in by_host]
    if order != sorted(set(order)):
        behind = next((b, a) for a, b in zip(order, order[1:]) if b <= a)
        faults.append(f"host {behind[0]} is probed after host {behind[1]}")
    return faults


def probe_faults(host, seen, right):
    if seen == right:
        return []
    if not seen:
        return [f"{host} is not probed"]
    missing = [probe for probe in right if probe not in seen]
    extra = [probe for i, probe in enumerate(seen) if probe not in right or probe in seen[:i]]
    faults = [f"{host} lacks {probe}" for probe in missing] + [f"{host} gets {probe}" + (" again" if probe in right else "") for probe in extra]
    return faults or [f"{host} gets its probes in another order: {'; '.join(seen)}"]


def pace_faults(whole):
    """Never faster than the pace, and on the whole not much slower: that would be another sweep."""
    times = [(number, whole.starts[number]) for number in whole.hosts if number in whole.starts]
    faults = []
    for (a, begun), (b, then) in zip(times, times[1:]):
        if b == a + 1 and then - begun < PACE - CLOCK_ERROR:
            faults.append(f"host {b} is probed {1000 * (then - begun):.1f} ms after host {a}")
    pauses = sorted(then - begun for (_, begun), (_, then) in zip(times, times[1:]))
    if pauses and pauses[len(pauses) // 2] > 1.5 * PACE:
        faults.append(f"half of the pauses are longer than {1000 * pauses[len(pauses) // 2]:.1f} ms")
    return faults


def after_faults(whole):
    faults = []
    frames = whole.after()
    for number in COMMON:
        host = f"{whole.prefix}.{number}"
        count = sum(1 for frame in frames if is_ping(frame) and frame["target"] == host)
        if count != 2 and number in whole.hosts:
            faults.append(f"{host} is pinged {count} times after the sweep")
    strangers = {frame["target"] for frame in frames if is_ping(frame)} - {f"{whole.prefix}.{number}" for number in COMMON}
    faults += [f"{host} is pinged after the sweep" for host in sorted(strangers)]
    broadcast = [frame for frame in frames if frame["protocol"] == "udp" and frame["target"] == f"{whole.prefix}.255"]
    seen = [(frame["target_port"], frame["payload"]) for frame in broadcast]
    if seen != [(port, X) for port in BROADCAST_PORTS]:
        faults.append(f"to the broadcast address go {seen}")
    groups = [frame for frame in frames if frame["protocol"] == "udp" and frame["payload"] == ZEROS]
    seen = [(frame["target"], frame["target_port"]) for frame in groups]
    if seen != list(GROUPS):
        faults.append(f"32 zero bytes go to {seen}")
    faults += [f"a datagram to {frame['target']} may live for {frame['ttl']} hops" for frame in groups if frame["ttl"] != 1]
    if broadcast and groups and broadcast[-1]["at"] > groups[0]["at"]:
        faults.append("the groups are spoken to before the broadcast address")
    return faults


def main(words):
    with open(words[2], encoding="utf-8") if len(words) > 2 else sys.stdin as file:
        faults = faults_of([json.loads(line) for line in file], words[0], words[1])
    print("\n".join(faults) or "a right sweep")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
