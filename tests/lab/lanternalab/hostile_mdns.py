#!/usr/bin/python3
"""An mDNS responder that means no good. Binds to port 5353 of its host.

  hostile_mdns.py RESPONDER.json

RESPONDER.json: {"address": own address, "ways": [...], "rate": packets a second, "victims": [addresses], "seed": N}. Ways:

  flood     announces ever new instances of all browsed types, at the rate given, for at most FLOOD_TIME
  lies      instances that claim to be at the victims, at 0.0.0.0, at a group, at the broadcast address, at the loopback
  labels    names as long as the format allows and longer, compression loops, cut records, lengths beyond the end
  controls  control characters and escape sequences in names of instances and hosts, in TXT and in the name of its own address
  vanish    names instances, and is gone when asked where they are
  many      MANY instances of each browsed type, all true, of the host many.local

It says "ready" once it listens.
"""

import json
import random
import select
import socket
import struct
import sys
import time

GROUP, PORT = "224.0.0.251", 5353
A, PTR, TXT, SRV, ANY = 1, 12, 16, 33, 255
IN, FLUSH = 1, 0x8001
TTL = 120
# A flood ends by itself, in seconds: no test lasts longer.
FLOOD_TIME = 120
MANY = 40
NASTY = b"\x1b]0;owned\x07\x1b[2J\r\n\t\x08\x9b31m"
TYPES = ("_airplay._tcp", "_raop._tcp", "_companion-link._tcp", "_smb._tcp", "_afpovertcp._tcp", "_http._tcp", "_ipp._tcp", "_printer._tcp",
         "_pdl-datastream._tcp", "_scanner._tcp", "_ssh._tcp", "_rfb._tcp", "_homekit._tcp", "_hap._tcp", "_sleep-proxy._udp",
         "_apple-mobdev2._tcp", "_remotepairing._tcp", "_dacp._tcp", "_touch-able._tcp", "_appletv-v2._tcp", "_mediaremotetv._tcp",
         "_googlecast._tcp", "_spotify-connect._tcp", "_sonos._tcp")


def name(*labels):
    return b"".join(bytes([len(part)]) + part for part in labels) + b"\0"


def local(kind):
    return [part.encode() for part in kind.split(".")] + [b"local"]


def record(owner, kind, data, flush=True):
    return owner + struct.pack(">HHIH", kind, FLUSH if flush and kind != PTR else IN, TTL, len(data)) + data


def response(records):
    return struct.pack(">6H", 0, 0x8400, 0, len(records), 0, 0) + b"".join(records)


def service(kind, instance, host, address, txt=b"\0"):
    """All records of one instance: where it is, at which address, with which text."""
    whole = name(instance, *local(kind))
    records = [record(name(*local(kind)), PTR, whole), record(whole, SRV, struct.pack(">3H", 0, 0, 80) + host), record(whole, TXT, txt)]
    return records + ([record(host, A, socket.inet_aton(address))] if address else [])


def questions(packet):
    """(labels as one text, type) of a query's questions; none when it is not understood."""
    found = []
    try:
        _, flags, count = struct.unpack(">3H", packet[:6])
        at = 12
        for _ in range(0 if flags & 0x8000 else count):
            labels, at = labels_at(packet, at)
            found.append((b".".join(labels).decode("latin-1").lower(), struct.unpack(">H", packet[at:at + 2])[0]))
            at += 4
    except (struct.error, IndexError):
        pass
    return found


def labels_at(packet, at):
    labels, after = [], None
    for _ in range(64):
        length = packet[at]
        if length >= 0xC0:
            after = after or at + 2
            at = (length & 0x3F) << 8 | packet[at + 1]
        elif length == 0:
            return labels, after or at + 1
        else:
            labels.append(packet[at + 1:at + 1 + length])
            at += 1 + length
    raise IndexError


class Responder:
    def __init__(self, description):
        self.address = description["address"]
        self.ways = description["ways"]
        self.pause = 1 / description["rate"]
        self.victims = description["victims"]
        self.chance = random.Random(description["seed"])
        self.reverse = ".".join(reversed(self.address.split("."))) + ".in-addr.arpa"
        self.number = 0
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.socket.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_TTL, 255)
        self.socket.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_LOOP, 0)
        own = socket.inet_aton(self.address)
        self.socket.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, own)
        self.socket.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, socket.inet_aton(GROUP) + own)
        self.socket.bind(("", PORT))

    def run(self):
        ends = time.monotonic() + FLOOD_TIME
        due = time.monotonic()
        while True:
            floods = "flood" in self.ways and time.monotonic() < ends
            if select.select([self.socket], [], [], max(0, due - time.monotonic()) if floods else None)[0]:
                packet, sender = self.socket.recvfrom(9000)
                for what, kind in questions(packet):
                    self.answer(what, kind, sender)
            if floods and time.monotonic() >= due:
                due += self.pause
                self.send(self.flood())

    def send(self, packet, to=(GROUP, PORT)):
        try:
            self.socket.sendto(packet[:9000], to)
        except OSError:
            pass  # the cable may be out

    def answer(self, what, kind, sender):
        if kind in (PTR, ANY) and what == self.reverse and "controls" in self.ways:
            owner = name(*(part.encode() for part in what.split(".")))
            self.send(response([record(owner, PTR, name(NASTY, b"local"))]), sender if sender[1] != PORT else (GROUP, PORT))
            return
        asked = next((t for t in TYPES if what == f"{t}.local"), None)
        if not asked or kind not in (PTR, ANY):
            return
        for way in self.ways:
            for packet in getattr(self, f"way_{way}", lambda _: [])(asked):
                self.send(packet)

    def flood(self):
        """Instances that nobody heard of before, a few in each packet."""
        self.number += 1
        records = []
        for i in range(4):
            kind = self.chance.choice(TYPES)
            records += service(kind, b"flood-%d-%d" % (self.number, i), name(b"flood-%d" % self.number, b"local"), self.address)
        return response(records)

    def way_lies(self, kind):
        for i, address in enumerate([*self.victims, "0.0.0.0", GROUP, "255.255.255.255", "127.0.0.1", "240.0.0.1"]):
            yield response(service(kind, b"liar %d" % i, name(b"liar-%d" % i, b"local"), address))

    def way_labels(self, kind):
        long = name(*[b"x" * 63] * 3, b"y" * 61)
        whole = name(b"z" * 63, *local(kind))
        owner = name(*local(kind))
        yield response(service(kind, b"l" * 63, long, self.address, b"\xff" + b"t" * 255))
        yield response(service(kind, b"m" * 63, name(*[b"x" * 63] * 8), self.address))  # more than 255 bytes in all
        yield response([record(owner, PTR, bytes([255]) + b"w" * 255 + b"\0")])
        yield response([record(owner, PTR, bytes([0x7F]) + b"w" * 0x7F + b"\0")])  # 01 in front of a length: reserved
        yield response([record(owner, PTR, b"\xc0\x0c")]) + b"\xc0"
        yield struct.pack(">6H", 0, 0x8400, 0, 1, 0, 0) + b"\xc0\x0c" + struct.pack(">HHIH", PTR, IN, TTL, 2) + b"\xc0\x0c"  # names itself
        yield response([record(whole, SRV, b"\0\0"), record(whole, TXT, b"\xffshort")])
        yield response([record(owner, PTR, whole)])[:-7]
        yield struct.pack(">6H", 0, 0x8400, 65535, 65535, 65535, 65535) + self.chance.randbytes(400)
        yield self.chance.randbytes(self.chance.randrange(1, 12))

    def way_controls(self, kind):
        yield response(service(kind, NASTY, name(NASTY, b"local"), self.address, bytes([len(NASTY)]) + NASTY))
        yield response(service(kind, b"\xff\xfe\xc3\x28", name(b"\xf0\x28\x8c\xbc", b"local"), self.address, b"\x04a=\0\xff"))
        yield response(service(kind, b"\0", name(b"\0", b"local"), self.address))
        yield response(service(kind, "\u202eesrever\u200b".encode(), name("\u202eesrever".encode(), b"local"), self.address))

    def way_vanish(self, kind):
        owner = name(*local(kind))
        yield response([record(owner, PTR, name(b"gone %d" % i, *local(kind))) for i in range(8)])

    def way_many(self, kind):
        for i in range(MANY):
            yield response(service(kind, b"many %d" % i, name(b"many", b"local"), self.address))


def main(words):
    with open(words[0], encoding="utf-8") as file:
        responder = Responder(json.load(file))
    print("ready", flush=True)
    responder.run()


if __name__ == "__main__":
    main(sys.argv[1:])
