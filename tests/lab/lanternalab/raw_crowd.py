#!/usr/bin/python3
"""A crowd without kernels: one process that answers ARP for any number of addresses, each with its own MAC, on a raw socket.

  raw_crowd.py INTERFACE CROWD.json

CROWD.json: {"members": [[address, MAC], ...], "answers_every": N, "late_ms": MS, "refuses": bool}. Of the requests for one address each Nth is
answered, MS later. With `refuses` a TCP connection is refused; everything else stays without an answer. It says "ready" once it listens.
"""

import heapq
import json
import select
import socket
import struct
import sys
import time

# <linux/if_ether.h>
ETH_P_IP = 0x0800
ETH_P_ARP = 0x0806
# <linux/if_packet.h>
PACKET_OUTGOING = 4
ARP_REQUEST, ARP_REPLY = 1, 2
SYN, RST, ACK = 0x02, 0x04, 0x10


class RawCrowd:
    def __init__(self, interface, description):
        self.members = {socket.inet_aton(address): bytes.fromhex(mac.replace(":", "")) for address, mac in description["members"]}
        self.answers_every = max(1, description["answers_every"])
        self.late = description["late_ms"] / 1000
        self.asked = {}
        self.waiting = []  # (when, order, frame)
        kinds = [ETH_P_ARP] + ([ETH_P_IP] if description["refuses"] else [])
        self.sockets = [raw_socket(interface, kind) for kind in kinds]

    def run(self):
        while True:
            until = max(0, self.waiting[0][0] - time.monotonic()) if self.waiting else None
            for ready in select.select(self.sockets, [], [], until)[0]:
                frame, where = ready.recvfrom(2048)
                if where[2] != PACKET_OUTGOING:
                    self.take(frame)
            while self.waiting and self.waiting[0][0] <= time.monotonic():
                self.sockets[0].send(heapq.heappop(self.waiting)[2])

    def take(self, frame):
        if frame[12:14] == b"\x08\x06":
            self.take_arp(frame)
        elif frame[12:14] == b"\x08\x00" and len(frame) >= 54 and frame[23] == socket.IPPROTO_TCP and self.members.get(frame[30:34]) == frame[:6]:
            reply = refusal(frame)
            if reply:
                self.sockets[0].send(reply)

    def take_arp(self, frame):
        """Answers a request (RFC 826) for a member, when it is its turn."""
        if len(frame) < 42 or struct.unpack(">H", frame[20:22])[0] != ARP_REQUEST:
            return
        address, mac = frame[38:42], self.members.get(frame[38:42])
        if not mac:
            return
        self.asked[address] = self.asked.get(address, 0) + 1
        if self.asked[address] % self.answers_every == 0:
            asker = frame[22:32]  # its MAC and its address
            reply = asker[:6] + mac + b"\x08\x06" + frame[14:20] + struct.pack(">H", ARP_REPLY) + mac + address + asker
            heapq.heappush(self.waiting, (time.monotonic() + self.late, len(self.asked) + self.asked[address], reply))


def raw_socket(interface, kind):
    opened = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(kind))
    opened.bind((interface, kind))
    return opened


def refusal(frame):
    """The reset (RFC 9293, section 3.5.2) that answers a frame with the start of a connection; none for any other."""
    start = 14 + 4 * (frame[14] & 15)
    source, target, sequence, _, _, flags = struct.unpack(">HHIIBB", frame[start:start + 14])
    if flags & (SYN | RST | ACK) != SYN:
        return None
    addresses = frame[30:34] + frame[26:30]
    tcp = struct.pack(">HHIIBBHHH", target, source, 0, (sequence + 1) % 2**32, 5 << 4, RST | ACK, 0, 0, 0)
    tcp = tcp[:16] + checksum(addresses + struct.pack(">BBH", 0, socket.IPPROTO_TCP, len(tcp)) + tcp) + tcp[18:]
    ip = struct.pack(">BBHHHBBH", 0x45, 0, 20 + len(tcp), 0, 0, 64, socket.IPPROTO_TCP, 0) + addresses
    return frame[6:12] + frame[:6] + b"\x08\x00" + ip[:10] + checksum(ip) + ip[12:] + tcp


def checksum(data):
    """The Internet checksum (RFC 1071) of an even number of bytes."""
    total = sum(struct.unpack(f">{len(data) // 2}H", data))
    while total >> 16:
        total = (total & 0xFFFF) + (total >> 16)
    return struct.pack(">H", ~total & 0xFFFF)


def main(words):
    with open(words[1], encoding="utf-8") as file:
        crowd = RawCrowd(words[0], json.load(file))
    print("ready", flush=True)
    crowd.run()


if __name__ == "__main__":
    main(sys.argv[1:])
