#!/usr/bin/python3
"""Small probes for the lab's own tests, run inside the sensor. Each prints one line, or as said.

  inside.py connect ADDRESS PORT     open, refused or silent (within a second)
  inside.py fetch URL [SECONDS]      status, promised length and real length of a reply, and how it ended: end, reset, timeout or not-http
  inside.py body URL                 the body
  inside.py mdns NAME.TYPE.local     the host that a multicast query finds for a service instance
  inside.py heard TYPE [SECONDS]     every packet that comes to the group of multicast DNS after a question for a type, as hexadecimal digits
  inside.py neighbour ADDRESS [SECONDS]      the MAC that an ARP request finds
"""

import socket
import struct
import subprocess
import sys
import time
from urllib.parse import urlsplit


def connect(address, port):
    try:
        with socket.create_connection((address, int(port)), timeout=1):
            return "open"
    except ConnectionRefusedError:
        return "refused"
    except TimeoutError:
        return "silent"


def read_reply(url, seconds):
    """(all bytes, how it ended) of a GET request."""
    parts = urlsplit(url)
    data = b""
    with socket.create_connection((parts.hostname, parts.port or 80), timeout=float(seconds)) as client:
        client.sendall(f"GET {parts.path} HTTP/1.1\r\nHost: {parts.hostname}\r\n\r\n".encode())
        try:
            while True:
                more = client.recv(65536)
                if not more:
                    return data, "end"
                data += more
        except ConnectionResetError:
            return data, "reset"
        except TimeoutError:
            return data, "timeout"


def fetch(url, seconds="1"):
    data, end = read_reply(url, seconds)
    if not data.startswith(b"HTTP/"):
        return f"{len(data)} bytes, {end}"
    head, _, body = data.partition(b"\r\n\r\n")
    promised = [line.split(b":")[1].strip().decode() for line in head.split(b"\r\n") if line.lower().startswith(b"content-length")]
    return f"{head.split()[1].decode()}, promised {(promised or ['nothing'])[0]}, got {len(body)}, {end}"


def body(url):
    return read_reply(url, 5)[0].partition(b"\r\n\r\n")[2].decode()


def mdns(name):
    """Asks for the SRV record of an instance (RFC 6762, one question, unicast reply wanted) and waits two seconds."""
    instance, _, rest = name.partition("._")
    labels = [instance] + ("_" + rest).split(".")
    question = b"".join(bytes([len(label.encode())]) + label.encode() for label in labels) + b"\0"
    packet = struct.pack(">6H", 0, 0, 1, 0, 0, 0) + question + struct.pack(">2H", 33, 0x8001)
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as client:
        client.settimeout(0.2)
        deadline = time.monotonic() + 2
        while time.monotonic() < deadline:
            client.sendto(packet, ("224.0.0.251", 5353))
            try:
                reply = client.recv(9000)
            except TimeoutError:
                continue
            if struct.unpack(">H", reply[6:8])[0]:
                return host_of_srv(reply)
    return "nobody"


def host_of_srv(reply):
    """The first label of the target in the first record, which repeats or points to the question's name."""
    at = 12
    for _ in range(struct.unpack(">H", reply[4:6])[0]):
        at = skip_name(reply, at) + 4
    at = skip_name(reply, at)
    kind, _, _, _ = struct.unpack(">HHIH", reply[at:at + 10])
    target = at + 10 + 6
    return reply[target + 1:target + 1 + reply[target]].decode() if kind == 33 else f"record {kind}"


def skip_name(data, at):
    while data[at]:
        if data[at] >= 0xC0:
            return at + 2
        at += data[at] + 1
    return at + 1


def heard(kind, seconds="1"):
    question = b"".join(bytes([len(label)]) + label.encode() for label in f"{kind}.local".split(".")) + b"\0" + struct.pack(">2H", 12, 1)
    packets = []
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as client:
        client.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        client.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_LOOP, 0)
        client.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, socket.inet_aton("224.0.0.251") + socket.inet_aton("0.0.0.0"))
        client.bind(("", 5353))
        client.sendto(struct.pack(">6H", 0, 0, 1, 0, 0, 0) + question, ("224.0.0.251", 5353))
        deadline = time.monotonic() + float(seconds)
        while time.monotonic() < deadline:
            client.settimeout(max(0.001, deadline - time.monotonic()))
            try:
                packets.append(client.recv(9000).hex())
            except TimeoutError:
                break
    return "\n".join(packets)


def neighbour(address, seconds="1"):
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as client:
        client.sendto(b"x", (address, 9))
    for _ in range(int(float(seconds) * 50)):
        words = subprocess.run(["ip", "neigh", "show", "to", address], capture_output=True, text=True, check=True).stdout.split()
        if "lladdr" in words:
            return words[words.index("lladdr") + 1]
        time.sleep(0.02)
    return "nobody"


if __name__ == "__main__":
    print({f.__name__: f for f in (connect, fetch, body, mdns, heard, neighbour)}[sys.argv[1]](*sys.argv[2:]))
