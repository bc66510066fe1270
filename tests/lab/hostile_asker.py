#!/usr/bin/python3
"""Asks over multicast DNS in all the ways in which nobody should, for some seconds; binds to port 5353 of its host.

  hostile_asker.py ADDRESS SECONDS SERVICE

ADDRESS is the host's own, SERVICE the name of a service of the type "_rgfscanmac._tcp". At the end it prints how many packets it sent, and the names
of the records that it was answered with, as one JSON object: {"sent": number, "answered": [names]}.
"""

import json
import random
import select
import struct
import sys
import time

from discovery_responder import A, ANY, CNAME, GROUP, PORT, PTR, SRV, encode, open_socket, read_name, record

TYPE = [b"_rgfscanmac", b"_tcp", b"local"]


def question(name, kind=ANY):
    return encode(name) + struct.pack(">2H", kind, 1)


def query(questions, answers=(), authorities=(), additionals=()):
    parts = [*questions, *answers, *authorities, *additionals]
    return struct.pack(">6H", 0, 0, len(questions), len(answers), len(authorities), len(additionals)) + b"".join(parts)


def packets(service):
    """Queries that are wrong, each in its way."""
    whole = [service.encode(), *TYPE]
    alias = record(TYPE, CNAME, encode(whole))
    circle = record(whole, CNAME, encode(whole))
    where = record(whole, SRV, struct.pack(">3H", 0, 0, 1) + encode("liar.local"))
    good = query([question(TYPE, PTR)])
    reverse = "1." + "0." * 31 + "ip6.arpa"
    yield from (query([question(n)]) for n in ("localhost", "LOCALHOST", "ip6-localhost", "1.0.0.127.in-addr.arpa", reverse))
    yield query([question(TYPE, PTR), question("localhost")])
    # "x.localhost", and a pointer into its middle.
    yield query([question("x.localhost"), b"\xc0\x0e" + struct.pack(">2H", A, 1)])
    for sections in ((alias, circle), (circle,), (where, alias)):
        yield query([question(TYPE, PTR)], answers=sections)
        yield query([question(whole)], authorities=sections)
        yield query([question(whole)], additionals=sections)
        yield query([], answers=sections)
    yield from (good[:size] for size in range(len(good)))
    yield query([b"\xc0\x0c" + struct.pack(">2H", ANY, 1)])
    yield query([b"\x01x\xc0\x0c" + struct.pack(">2H", ANY, 1)])
    yield query([b"\x40" + b"x" * 64 + b"\0" + struct.pack(">2H", ANY, 1)])
    yield query([question([b"x" * 63] * 5)])
    yield struct.pack(">6H", 0, 0, 0xffff, 0xffff, 0xffff, 0xffff) + good[12:]
    yield query([question(TYPE, PTR)] * 600)
    yield query([question([b"", b"local"])])
    yield query([question(whole, kind) for kind in range(0, 300)])


def answered_names(packet):
    """The names of the records of an answer."""
    at = 12
    try:
        _, _, questions, *counts = struct.unpack_from(">6H", packet)
        for _ in range(questions):
            at = read_name(packet, at)[1] + 4
        for _ in range(sum(counts)):
            labels, at = read_name(packet, at)
            at += 10 + struct.unpack_from(">H", packet, at + 8)[0]
            yield b".".join(labels).decode(errors="replace").lower()
    except (ValueError, IndexError, struct.error):
        pass


def main(address, seconds, service):
    listener = open_socket(address)
    wrong = list(packets(service))
    lots = random.Random(1)
    sent, answered = 0, set()
    end = time.monotonic() + float(seconds)
    while time.monotonic() < end:
        packet = bytearray(wrong[sent % len(wrong)])
        if sent >= len(wrong) and packet and lots.random() < 0.5:
            packet[lots.randrange(len(packet))] = lots.randrange(256)
        listener.sendto(bytes(packet), (GROUP, PORT))
        sent += 1
        while select.select([listener], [], [], 0.005)[0]:
            reply, (sender, _) = listener.recvfrom(65536)
            if sender != address and len(reply) > 12 and reply[2] & 0x80:
                answered.update(answered_names(reply))
    print(json.dumps({"sent": sent, "answered": sorted(answered)}))


if __name__ == "__main__":
    main(*sys.argv[1:])
