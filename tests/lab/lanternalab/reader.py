"""Typed reads of a JSON object that name the place of whatever is wrong."""

import ipaddress
import re

from .errors import SceneError

REQUIRED = object()
NAME = re.compile(r"[a-z0-9]([a-z0-9-]{0,30}[a-z0-9])?\Z")
MAC = re.compile(r"[0-9a-f]{2}(:[0-9a-f]{2}){5}\Z")
# The kernel's own rule for an interface name: under 16 bytes, no blank, slash or colon; and it reads % as a pattern.
INTERFACE = re.compile(r"[^\s/:%]{1,15}\Z")


class Reader:
    """One JSON object and its place in the file. Every key must be asked for once before done()."""

    def __init__(self, value, place):
        if not isinstance(value, dict):
            raise SceneError(f"{place}: expected an object")
        self.value = value
        self.place = place
        self.known = set()

    def fail(self, key, why):
        raise SceneError(f"{self.place}.{key}: {why}")

    def get(self, key, kind, kind_name, default=REQUIRED):
        self.known.add(key)
        if key not in self.value:
            if default is REQUIRED:
                self.fail(key, "is missing")
            return default
        value = self.value[key]
        if not isinstance(value, kind) or (kind is int and isinstance(value, bool)):
            self.fail(key, f"expected {kind_name}")
        return value

    def text(self, key, default=REQUIRED):
        return self.get(key, str, "text", default)

    def flag(self, key, default=False):
        return self.get(key, bool, "true or false", default)

    def number(self, key, low, high, default=REQUIRED):
        value = self.get(key, int, "a whole number", default)
        if value is not None and not low <= value <= high:
            self.fail(key, f"{value} is not within {low} to {high}")
        return value

    def choice(self, key, choices, default=REQUIRED):
        value = self.text(key, default)
        if value not in choices:
            self.fail(key, f"'{value}' is none of {', '.join(choices)}")
        return value

    def name(self, key, default=REQUIRED):
        value = self.text(key, default)
        if value is not default and not NAME.match(value):
            self.fail(key, f"'{value}' is no host name (small letters, digits, hyphens, at most 32)")
        return value

    def interface(self, key, default=REQUIRED):
        value = self.text(key, default)
        if not INTERFACE.match(value) or len(value.encode()) > 15 or value in (".", "..", "lo"):
            self.fail(key, f"'{value}' cannot name an interface")
        return value

    def mac(self, key, default=REQUIRED):
        value = self.text(key, default)
        if value is None:
            return None
        value = value.lower()
        if not MAC.match(value):
            self.fail(key, f"'{value}' is no MAC address")
        if int(value[:2], 16) & 1 or value == "00:00:00:00:00:00":
            self.fail(key, f"'{value}' is no single station's MAC address")
        return value

    def address(self, key, default=REQUIRED):
        """An IPv4 address without prefix, or None where the file says null or nothing."""
        self.known.add(key)
        value = self.value.get(key, None if default is REQUIRED else default)
        if value is None:
            if default is REQUIRED and key not in self.value:
                self.fail(key, "is missing")
            return None
        return self.parsed(key, value, ipaddress.IPv4Address, "an IPv4 address")

    def parsed(self, key, value, kind, kind_name):
        try:
            if not isinstance(value, str):
                raise ValueError
            return kind(value)
        except ValueError:
            self.fail(key, f"'{value}' is not {kind_name}")

    def interface_address(self, key, default=REQUIRED):
        """An IPv4 address with prefix length, such as 192.168.77.20/24."""
        value = self.text(key, default)
        return None if value is None else self.with_prefix(key, value, ipaddress.IPv4Interface)

    def with_prefix(self, key, value, kind):
        if isinstance(value, str) and "/" not in value:
            self.fail(key, f"'{value}' lacks its prefix length, such as /24")
        return self.parsed(key, value, kind, "an address with prefix length")

    def addresses(self, key, kind):
        """One address with prefix length or a list of them; empty when absent."""
        values = self.get(key, (str, list), "an address or a list of addresses", [])
        values = [values] if isinstance(values, str) else values
        return [self.with_prefix(f"{key}[{i}]", value, kind) for i, value in enumerate(values)]

    def ports(self, key):
        values = self.get(key, list, "a list of ports", [])
        for value in values:
            if not isinstance(value, int) or isinstance(value, bool) or not 1 <= value <= 65535:
                self.fail(key, f"'{value}' is no TCP port")
        return list(dict.fromkeys(values))

    def texts(self, key):
        values = self.get(key, list, "a list of texts", [])
        for value in values:
            if not isinstance(value, str):
                self.fail(key, f"'{value}' is not text")
        return values

    def text_map(self, key):
        """An object whose values are all text."""
        values = self.get(key, dict, "an object", {})
        for name, value in values.items():
            if not isinstance(value, str):
                self.fail(f"{key}.{name}", "expected text")
        return dict(values)

    def objects(self, key):
        """Readers for a list of objects, each knowing its place."""
        values = self.get(key, list, "a list of objects", [])
        return [Reader(value, f"{self.place}.{key}[{i}]") for i, value in enumerate(values)]

    def object(self, key):
        """A reader for one object, or None when it is absent."""
        self.known.add(key)
        return Reader(self.value[key], f"{self.place}.{key}") if self.value.get(key) is not None else None

    def done(self):
        """Fails on keys that nobody asked for: a misspelt key must not go unseen."""
        for key in self.value:
            if key not in self.known:
                self.fail(key, "is not known here")
