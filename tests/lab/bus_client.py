"""A small D-Bus client for tests: calls, signals, and services that answer. Standard library only.

    bus = Bus(session.env["DBUS_SESSION_BUS_ADDRESS"])
    label = bus.get("org.lanterna.Lanterna", "/StatusNotifierItem", "org.kde.StatusNotifierItem", "XAyatanaLabel")

Values are plain: numbers, texts, bytes for "ay", lists, tuples for structures, dictionaries; a variant is its value when read and a
(signature, value) pair when written. One thread per connection. The wire form is the one of the D-Bus specification 0.36.
"""

import os
import re
import select
import socket
import struct
import time
from collections import namedtuple

CALL, REPLY, ERROR, SIGNAL = 1, 2, 3, 4
# Names of header fields by their number.
FIELDS = {1: "path", 2: "interface", 3: "member", 4: "error", 5: "reply_to", 6: "destination", 7: "sender", 8: "signature"}
FIELD_TYPES = {"path": "o", "interface": "s", "member": "s", "error": "s", "reply_to": "u", "destination": "s", "sender": "s", "signature": "g"}
NUMBERS = {"y": "B", "b": "I", "n": "h", "q": "H", "i": "i", "u": "I", "x": "q", "t": "Q", "d": "d"}
ALIGNMENT = {"y": 1, "b": 4, "n": 2, "q": 2, "i": 4, "u": 4, "x": 8, "t": 8, "d": 8, "s": 4, "o": 4, "g": 1, "v": 1, "a": 4, "(": 8, "{": 8}
# A program under test that does not answer within this many seconds hangs.
PATIENCE = 15
DAEMON = ("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus")

Message = namedtuple("Message", "kind serial fields values")


class BusError(Exception):
    """The error name that the other side answered with."""


def first_type(signature):
    """The first complete type of a signature."""
    if signature[0] == "a":
        return "a" + first_type(signature[1:])
    if signature[0] not in "({":
        return signature[0]
    depth = 0
    for i, character in enumerate(signature):
        depth += (character in "({") - (character in ")}")
        if not depth:
            return signature[:i + 1]
    raise ValueError(signature)


def types(signature):
    found = []
    while signature:
        found.append(first_type(signature))
        signature = signature[len(found[-1]):]
    return found


class Writer:
    def __init__(self):
        self.data = bytearray()

    def pad(self, size):
        self.data += bytes(-len(self.data) % size)

    def write(self, kind, value):
        self.pad(ALIGNMENT[kind[0]])
        if kind in NUMBERS:
            self.data += struct.pack("<" + NUMBERS[kind], value)
        elif kind in "sog":
            text = value.encode()
            self.data += struct.pack("<B" if kind == "g" else "<I", len(text)) + text + b"\0"
        elif kind == "v":
            self.write("g", value[0])
            self.write(*value)
        elif kind[0] == "a":
            self.write_array(kind[1:], value)
        else:
            for part, inner in zip(types(kind[1:-1]), value):
                self.write(part, inner)

    def write_array(self, kind, value):
        at = len(self.data)
        self.data += bytes(4)
        self.pad(ALIGNMENT[kind[0]])
        start = len(self.data)
        for entry in value.items() if isinstance(value, dict) else value:
            self.write(kind, entry)
        self.data[at:at + 4] = struct.pack("<I", len(self.data) - start)


class Reader:
    def __init__(self, data, order="<"):
        self.data, self.order, self.at = data, order, 0

    def pad(self, size):
        self.at += -self.at % size

    def number(self, letter):
        form = self.order + letter
        value = struct.unpack_from(form, self.data, self.at)[0]
        self.at += struct.calcsize(form)
        return value

    def read(self, kind):
        self.pad(ALIGNMENT[kind[0]])
        if kind in NUMBERS:
            value = self.number(NUMBERS[kind])
            return bool(value) if kind == "b" else value
        if kind in "sog":
            length = self.number("B" if kind == "g" else "I")
            self.at += length + 1
            return self.data[self.at - length - 1:self.at - 1].decode()
        if kind == "v":
            return self.read(self.read("g"))
        if kind[0] == "a":
            return self.read_array(kind[1:])
        return tuple(self.read(part) for part in types(kind[1:-1]))

    def read_array(self, kind):
        length = self.number("I")
        self.pad(ALIGNMENT[kind[0]])
        end = self.at + length
        entries = []
        while self.at < end:
            entries.append(self.read(kind))
        if kind == "y":
            return bytes(entries)
        return dict(entries) if kind[0] == "{" else entries


class Bus:
    """One connection. `served` answers calls: handler(message) gives (signature, values), or raises BusError."""

    def __init__(self, address):
        path = re.match(r"unix:path=([^,;]+)", address)[1]
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.socket.connect(path)
        self.buffer = b""
        self.serial = 0
        self.signals = []  # every signal asked for, oldest first, until the test takes it
        self.served = None
        # The socket's own credentials say who this is, in whatever user namespace.
        self.socket.sendall(b"\0AUTH EXTERNAL\r\nDATA\r\nBEGIN\r\n")
        greeting = b""
        while greeting.count(b"\r\n") < 2:
            greeting += self.socket.recv(4096)
        if b"OK " not in greeting:
            raise BusError(greeting.decode())
        self.name = self.call_daemon("Hello")

    def close(self):
        self.socket.close()

    def send(self, kind, signature, values, **fields):
        self.serial += 1
        body = Writer()
        for part, value in zip(types(signature), values):
            body.write(part, value)
        if signature:
            fields["signature"] = signature
        known = {name: number for number, name in FIELDS.items()}
        head = Writer()
        for part, value in zip("yyyyuu", (ord("l"), kind, 0, 1, len(body.data), self.serial)):
            head.write(part, value)
        head.write("a(yv)", [(known[name], (FIELD_TYPES[name], value)) for name, value in fields.items()])
        head.pad(8)
        self.socket.sendall(head.data + body.data)
        return self.serial

    def call(self, destination, path, interface, member, signature="", *values):
        """The value of the reply, or a tuple of them; BusError with the error's name."""
        serial = self.send(CALL, signature, values, destination=destination, path=path, interface=interface, member=member)
        deadline = time.monotonic() + PATIENCE
        while True:
            message = self.receive(deadline - time.monotonic())
            if message is None:
                raise TimeoutError(f"{destination} does not answer {member}")
            if message.fields.get("reply_to") == serial:
                if message.kind == ERROR:
                    raise BusError(message.fields["error"])
                return message.values[0] if len(message.values) == 1 else message.values

    def call_daemon(self, member, signature="", *values):
        return self.call(*DAEMON, member, signature, *values)

    def get(self, destination, path, interface, name):
        return self.call(destination, path, "org.freedesktop.DBus.Properties", "Get", "ss", interface, name)

    def watch(self, **rule):
        """Asks for signals, such as watch(member="NewLabel"). They gather in `signals`."""
        self.call_daemon("AddMatch", "s", ",".join(f"{key}='{value}'" for key, value in {"type": "signal", **rule}.items()))

    def own(self, name, handler):
        """Serves under a name from here on; the calls are answered inside `receive` and `call`."""
        self.served = handler
        self.call_daemon("RequestName", "su", name, 4)  # do not queue

    def emit(self, path, interface, member, signature="", *values):
        self.send(SIGNAL, signature, values, path=path, interface=interface, member=member)

    def receive(self, seconds):
        """The next message, handled if it is a signal or a call; None when none came in time."""
        deadline = time.monotonic() + seconds
        while True:
            length = self.whole_length()
            if length and len(self.buffer) >= length:
                break
            if not select.select([self.socket], [], [], max(0, deadline - time.monotonic()))[0]:
                return None
            data = self.socket.recv(65536)
            if not data:
                raise BusError("the bus is gone")
            self.buffer += data
        data, self.buffer = self.buffer[:length], self.buffer[length:]
        message = parse(data)
        if message.kind == SIGNAL:
            self.signals.append(message)
        elif message.kind == CALL:
            self.answer(message)
        return message

    def whole_length(self):
        if len(self.buffer) < 16:
            return None
        order = "<" if self.buffer[:1] == b"l" else ">"
        body, fields = (struct.unpack_from(order + "I", self.buffer, at)[0] for at in (4, 12))
        return 16 + fields + -fields % 8 + body

    def answer(self, message):
        where = {"destination": message.fields["sender"], "reply_to": message.serial}
        try:
            if not self.served:
                raise BusError("org.freedesktop.DBus.Error.UnknownMethod")
            self.send(REPLY, *self.served(message), **where)
        except BusError as error:
            self.send(ERROR, "s", ["the test's service has no such call"], error=str(error), **where)


def parse(data):
    order = "<" if data[:1] == b"l" else ">"
    head = Reader(data, order)
    _, kind, _, _, length, serial = (head.read(part) for part in "yyyyuu")
    fields = {FIELDS[number]: value for number, value in head.read("a(yv)") if number in FIELDS}
    body = Reader(data[len(data) - length:], order)
    return Message(kind, serial, fields, tuple(body.read(part) for part in types(fields.get("signature", ""))))
