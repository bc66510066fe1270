#!/usr/bin/python3
"""A name server that answers every question, and none of them rightly. UDP port 53 of its host.

  garbage_dns.py SEED

Each of the ways below takes its turn; the seed only chooses bytes. It says "ready" once it listens.
"""

import random
import socket
import struct
import sys

RESPONSE, NO_RECURSION, FORMAT_ERROR = 0x8180, 0x8100, 0x8181
PTR, IN = 12, 1


def message(identity, question, answers=b"", flags=RESPONSE, counts=(1, 1, 0, 0)):
    return struct.pack(">6H", identity, flags, *counts) + question + answers


def pointer(name, data):
    """A PTR record for a name, with these bytes as its target."""
    return name + struct.pack(">HHIH", PTR, IN, 60, len(data)) + data


def label(data):
    return bytes([len(data)]) + data


def other_identity(identity, question, _):
    return message(identity ^ 0x5555, question, pointer(b"\xc0\x0c", label(b"impostor") + b"\0"))


def noise(_identity, _question, chance):
    return chance.randbytes(chance.randrange(1, 512))


def noise_behind_a_head(identity, question, chance):
    return message(identity, question, chance.randbytes(200), counts=(1, 65535, 65535, 65535))


def head_only(identity, _question, _):
    return struct.pack(">H", identity) + b"\x81"


def loop(identity, question, _):
    """A target that points to itself."""
    at = 12 + len(question) + 12
    return message(identity, question, pointer(b"\xc0\x0c", struct.pack(">H", 0xC000 | at)))


def pointer_beyond_the_end(identity, question, _):
    return message(identity, question, pointer(b"\xc0\x0c", b"\xff\xff"))


def too_long(identity, question, _):
    """A target of more than 255 bytes (RFC 1035, section 2.3.4)."""
    return message(identity, question, pointer(b"\xc0\x0c", label(b"x" * 63) * 6 + b"\0"))


def controls(identity, question, _):
    return message(identity, question, pointer(b"\xc0\x0c", label(b"\x1b]0;owned\x07\x1b[2J\r\n\x00\x9b") + b"\0"))


def cut_off(identity, question, _):
    return message(identity, question, pointer(b"\xc0\x0c", label(b"half") + b"\0"))[:-4]


def another_question(identity, _question, _):
    other = label(b"attic") + b"\0" + struct.pack(">2H", PTR, IN)
    return message(identity, other, pointer(b"\xc0\x0c", label(b"impostor") + b"\0"))


def format_error(identity, question, _):
    return message(identity, question, flags=FORMAT_ERROR, counts=(1, 0, 0, 0))


def own_question_back(identity, question, _):
    return message(identity, question, flags=0x0100, counts=(1, 0, 0, 0))


WAYS = (other_identity, noise, noise_behind_a_head, head_only, loop, pointer_beyond_the_end, too_long, controls, cut_off, another_question,
        format_error, own_question_back)


def main(words):
    chance = random.Random(int(words[0]))
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as server:
        server.bind(("", 53))
        print("ready", flush=True)
        turn = 0
        while True:
            query, client = server.recvfrom(4096)
            if len(query) >= 12:
                answer = WAYS[turn % len(WAYS)](struct.unpack(">H", query[:2])[0], query[12:], chance)
                turn += 1
                server.sendto(answer, client)


if __name__ == "__main__":
    main(sys.argv[1:])
