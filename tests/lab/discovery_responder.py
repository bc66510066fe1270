#!/usr/bin/python3
"""A responder for the tests of the service discovery: many services, and services such as only a broken or hostile device announces.

  discovery_responder.py FOLDER ADDRESS TYPE...

It answers multicast questions for these of the types below, such as "_http", until it is killed. FOLDER/responder.pid appears when it listens, and
FOLDER/answered holds the addresses of all who answered anything meanwhile, one per line; to see who does, it asks after each question for what a host
publishes of itself.
"""

import os
import socket
import struct
import sys

GROUP = "224.0.0.251"
PORT = 5353
A, CNAME, PTR, SRV, ANY = 1, 5, 12, 33, 255
# Large enough for a crowd, small enough for an Ethernet frame.
RECORDS_PER_PACKET = 30
CROWD = 1000
FLOOD = 6000
# Addresses that no host can have; the discovery must not pass them on.
LIES = ["0.0.0.0", "127.0.0.1", "224.0.0.251", "255.255.255.255"]
# An instance name of 63 bytes with dots, a backslash, control characters and text that is not ASCII.
ODD = "Größe.\\\x01\x1b[2J\t\"'" + "x" * 45
# What a host tells of itself.
OWN_QUESTIONS = ["sensor.local", "localhost", "10.77.168.192.in-addr.arpa", "_workstation._tcp.local", "_services._dns-sd._udp.local"]


def encode(name):
    """The bytes of a name: a list of labels (bytes), or text with dots."""
    labels = [label.encode() for label in name.split(".")] if isinstance(name, str) else name
    return b"".join(bytes([len(label)]) + label for label in labels) + b"\0"


def record(name, kind, data, ttl=120):
    return encode(name) + struct.pack(">2HIH", kind, 1, ttl, len(data)) + data


def packets(records):
    """Answers with these records, several to a packet."""
    for i in range(0, len(records), RECORDS_PER_PACKET):
        part = records[i:i + RECORDS_PER_PACKET]
        yield struct.pack(">6H", 0, 0x8400, 0, len(part), 0, 0) + b"".join(part)


def read_name(packet, at):
    """(labels, position behind it) of a name; ValueError for one that does not end."""
    labels, behind, jumps = [], None, 0
    while True:
        length = packet[at]
        if length >= 0xC0:
            behind = behind or at + 2
            at = struct.unpack_from(">H", packet, at)[0] & 0x3FFF
            jumps += 1
            if jumps > 20:
                raise ValueError("a name in circles")
        elif length:
            labels.append(packet[at + 1:at + 1 + length])
            at += 1 + length
        else:
            return labels, behind or at + 1


def questions(packet):
    at = 12
    for _ in range(struct.unpack_from(">H", packet, 4)[0]):
        labels, at = read_name(packet, at)
        yield labels, struct.unpack_from(">H", packet, at)[0]
        at += 4


class Answers:
    """What is answered to whoever asks for names and types of record."""

    def __init__(self, address, types):
        self.address = address
        self.types = {
            b"_http": [f"Service {i:04}".encode() for i in range(CROWD)],
            **{kind: [f"Invented {i}".encode() for i in range(FLOOD)] for kind in (b"_flood", b"_flood2", b"_flood3")},
            b"_mute": [b"Nobody there"],
            b"_lies": [f"Lie {lie}".encode() for lie in LIES],
            b"_odd": [ODD.encode(), b"long host", b"\xff\xfe no text"],
            b"_alias": [],
        }
        self.types = {kind: names for kind, names in self.types.items() if kind.decode() in types}

    def packets(self, asked):
        """The packets that answer the questions of one packet."""
        records, confusion = [], []
        for labels, kind in asked:
            if len(labels) == 3 and labels[0] in self.types and kind in (PTR, ANY):
                records += self.services(labels)
                confusion += self.aliases(labels) if labels[0] == b"_alias" else []
            elif len(labels) == 4 and kind in (SRV, ANY):
                records += self.place(labels)
            elif labels[-1:] == [b"local"] and labels[0].startswith(b"host") and kind in (A, ANY):
                records.append(self.host_address(labels))
        return [*packets(records), *confusion]

    def services(self, labels):
        records = [record(labels, PTR, encode([name, *labels])) for name in self.types[labels[0]]]
        if labels[0] == b"_lies":
            # Services of a type and of a domain that nobody asked for.
            records += [record(labels, PTR, encode(f"Stranger.{other}")) for other in ("_ssh._tcp.local", "_lies._tcp.example.com", "local")]
        return records

    def place(self, labels):
        name = labels[0]
        if labels[1] not in self.types or labels[1] == b"_mute":
            return []
        host = b"host-" + name.split(b" ")[-1].replace(b".", b"-")
        target = [host, b"local"]
        if name == b"long host":
            target = [b"host\xff\x00.\\" + b"y" * 50] + [b"z" * 63] * 2 + [b"w" * 50, b"local"]
        elif labels[1] == b"_odd":
            target = [b"host \xc3\xb6dd.", b"local"]
        return [record(labels, SRV, struct.pack(">3H", 0, 0, 80) + encode(target)), self.host_address(target)]

    def host_address(self, target):
        lie = target[0].removeprefix(b"host-").replace(b"-", b".").decode(errors="replace")
        return record(target, A, socket.inet_aton(lie if lie in LIES else self.address))

    @staticmethod
    def aliases(labels):
        """Aliases in all the ways that confuse those who follow them: to itself, in circles, in a long chain, and taken back again."""
        circle = [[b"_circle", *labels[1:]], labels]
        chain = [labels] + [[b"_chain%d" % i, *labels[1:]] for i in range(40)]
        groups = [
            [record(labels, CNAME, encode(labels))],
            [record(circle[0], CNAME, encode(circle[1])), record(circle[1], CNAME, encode(circle[0]))],
            [record(one, CNAME, encode(other)) for one, other in zip(chain, chain[1:])],
            [record(chain[1], PTR, encode([b"Behind an alias", *labels]))],
            [record(chain[1], PTR, encode([b"Behind an alias", *labels]), ttl=0)],
            [record(labels, CNAME, encode(chain[1]), ttl=0)],
        ]
        return [packet for group in groups for packet in packets(group)]


def open_socket(address):
    listener = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEPORT, 1)
    listener.bind(("", PORT))
    membership = socket.inet_aton(GROUP) + socket.inet_aton(address)
    listener.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, membership)
    listener.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton(address))
    listener.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_TTL, 255)
    listener.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_LOOP, 0)
    return listener


def main(folder, address, *types):
    listener = open_socket(address)
    answers = Answers(address, types)
    answered = set()
    own = struct.pack(">6H", 0, 0, len(OWN_QUESTIONS), 0, 0, 0) + b"".join(encode(q) + struct.pack(">2H", ANY, 1) for q in OWN_QUESTIONS)
    with open(f"{folder}/responder.new", "w", encoding="ascii") as file:
        file.write(str(os.getpid()))
    os.rename(f"{folder}/responder.new", f"{folder}/responder.pid")
    while True:
        packet, (sender, _) = listener.recvfrom(65536)
        if len(packet) < 12:
            continue
        if packet[2] & 0x80:
            if sender not in answered:
                answered.add(sender)
                with open(f"{folder}/answered", "a", encoding="ascii") as file:
                    file.write(f"{sender}\n")
            continue
        try:
            asked = list(questions(packet))
        except (ValueError, IndexError, struct.error):
            continue
        for reply in answers.packets(asked):
            listener.sendto(reply, (GROUP, PORT))
        listener.sendto(own, (GROUP, PORT))


if __name__ == "__main__":
    main(*sys.argv[1:])
