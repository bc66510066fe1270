#!/usr/bin/python3
"""Records what leaves a machine, decoded, one JSON object a line.

  capture.py [--seconds N] [INTERFACE...]      for so long, or until its input ends or SIGTERM comes; all interfaces but lo by default

A frame: {"at": seconds since 1970, "interface", "protocol": "arp" | "icmp" | "udp" | "tcp" | "ip-N" | "0xNNNN", "source", "target", ...}
  arp    "operation" (1 request, 2 reply); source and target are the addresses in it
  icmp   "type", "code", "sequence", "length" of the ICMP message, "ttl"
  udp    "source_port", "target_port", "payload" in hexadecimal digits, "ttl"
  tcp    "source_port", "target_port", "flags" ("S", "SA", "R", ...), "ttl"
Times are the kernel's own, taken when the frame goes to the interface. The first line is {"ready": true}.
"""

import contextlib
import json
import select
import signal
import socket
import struct
import sys
import time

# <linux/if_ether.h>, <linux/if_packet.h>, <asm-generic/socket.h>
ETH_P_ALL = 0x0003
PACKET_OUTGOING = 4
SO_TIMESTAMPNS = 35
FLAGS = "FSRPAU"
# Enough for half a minute of a sweep while this process gets no turn.
BUFFER = 8 << 20


def decode(frame):
    """What stands in an Ethernet frame; only its kind where it is cut short or of another protocol."""
    kind = struct.unpack(">H", frame[12:14])[0] if len(frame) >= 14 else 0
    with contextlib.suppress(struct.error, IndexError, OSError):
        if kind == 0x0806:
            operation = struct.unpack(">H", frame[20:22])[0]
            return {"protocol": "arp", "operation": operation, "source": socket.inet_ntoa(frame[28:32]), "target": socket.inet_ntoa(frame[38:42])}
        if kind == 0x0800:
            return decode_ip(frame[14:])
    return {"protocol": f"0x{kind:04x}"}


def decode_ip(packet):
    length = struct.unpack(">H", packet[2:4])[0]
    head = 4 * (packet[0] & 15)
    found = {"source": socket.inet_ntoa(packet[12:16]), "target": socket.inet_ntoa(packet[16:20]), "ttl": packet[8]}
    inner = packet[head:length]
    if packet[9] == socket.IPPROTO_ICMP:
        kind, code, _, _, sequence = struct.unpack(">BBHHH", inner[:8])
        return {"protocol": "icmp", **found, "type": kind, "code": code, "sequence": sequence, "length": len(inner)}
    if packet[9] == socket.IPPROTO_UDP:
        source, target = struct.unpack(">HH", inner[:4])
        return {"protocol": "udp", **found, "source_port": source, "target_port": target, "payload": inner[8:].hex()}
    if packet[9] == socket.IPPROTO_TCP:
        source, target = struct.unpack(">HH", inner[:4])
        flags = "".join(letter for bit, letter in enumerate(FLAGS) if inner[13] >> bit & 1)
        return {"protocol": "tcp", **found, "source_port": source, "target_port": target, "flags": flags}
    return {"protocol": f"ip-{packet[9]}", **found}


def open_tap():
    """A socket that sees every frame of this network namespace, with the kernel's times."""
    tap = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(ETH_P_ALL))
    with contextlib.suppress(OSError):
        tap.setsockopt(socket.SOL_SOCKET, 33, BUFFER)  # SO_RCVBUFFORCE: the usual limit is too small for a burst, but enough where this is refused
    tap.setsockopt(socket.SOL_SOCKET, SO_TIMESTAMPNS, 1)
    return tap


def receive(tap):
    """(time, interface, frame) of an outgoing frame; None for any other."""
    frame, control, _, where = tap.recvmsg(65536, 256)
    if where[2] != PACKET_OUTGOING or where[0] == "lo":
        return None
    stamp = next((data for level, kind, data in control if level == socket.SOL_SOCKET and kind == SO_TIMESTAMPNS), None)
    seconds, nanoseconds = struct.unpack("qq", stamp[:16]) if stamp else (time.time(), 0)
    return seconds + nanoseconds / 1e9, where[0], frame


def record(interfaces, seconds):
    tap = open_tap()
    print(json.dumps({"ready": True}), flush=True)
    deadline = time.monotonic() + seconds if seconds else None
    while deadline is None or time.monotonic() < deadline:
        ready = select.select([tap] if deadline else [tap, sys.stdin], [], [], deadline and max(0, deadline - time.monotonic()))[0]
        if tap in ready:
            taken = receive(tap)
            if taken and (not interfaces or taken[1] in interfaces):
                print(json.dumps({"at": taken[0], "interface": taken[1], **decode(taken[2])}))
        elif sys.stdin in ready and not sys.stdin.readline():
            break  # what came before has been read
    sys.stdout.flush()


def main(words):
    seconds = 0
    if words[:1] == ["--seconds"]:
        seconds, words = float(words[1]), words[2:]
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(0))
    record(words, seconds)


if __name__ == "__main__":
    main(sys.argv[1:])
