"""Reads a network snapshot, as another program would, and says in words where it breaks its format. Knows nothing of what is in the LAN."""

import ipaddress
import re
import time
from dataclasses import dataclass

BROWSED = (
    "_airplay._tcp.", "_raop._tcp.", "_companion-link._tcp.", "_smb._tcp.", "_afpovertcp._tcp.", "_http._tcp.", "_ipp._tcp.", "_printer._tcp.",
    "_pdl-datastream._tcp.", "_scanner._tcp.", "_ssh._tcp.", "_rfb._tcp.", "_homekit._tcp.", "_hap._tcp.", "_sleep-proxy._udp.",
    "_apple-mobdev2._tcp.", "_remotepairing._tcp.", "_dacp._tcp.", "_touch-able._tcp.", "_appletv-v2._tcp.", "_mediaremotetv._tcp.",
    "_googlecast._tcp.", "_spotify-connect._tcp.", "_sonos._tcp.")
KEYS = {"devices": str, "ssid": str, "subnet": str, "date": str, "dateEpoch": (int, float), "source": str, "macSig": str}
FIELDS = 12
DATE = "%m-%d-%Y, %H:%M"
MAC = re.compile(r"[0-9A-F]{2}(:[0-9A-F]{2}){5}\Z")
# Hardware addresses that name no device and stay out of the signature.
UNSIGNED = ("00:00:00:00:00:00", "02:00:00:00:00:00", "FF:FF:FF:FF:FF:FF")
# C0, DEL and C1: what could steer a terminal, or tear a line apart.
CONTROLS = re.compile("[\x00-\x1f\x7f-\x9f]")


@dataclass
class Line:
    """One device as a snapshot tells it; quotes are taken off."""

    name: str
    type: str
    ip: str
    mac: str
    dns: str
    vendor: str
    time: str
    ping: bool
    services: list


def fnv1a(data):
    """64-bit FNV-1a of some bytes, as a number."""
    value = 0xCBF29CE484222325
    for byte in data:
        value = (value ^ byte) * 0x100000001B3 % 2**64
    return value


def mac_signature(pairs):
    """The signature of a table of (IP, MAC) pairs, as it stands in a snapshot."""
    pairs = [(ip, mac.upper()) for ip, mac in pairs]
    texts = sorted(f"{ip}={mac}" for ip, mac in pairs if ip and mac and "UNKNOWN" not in mac and mac not in UNSIGNED)
    return f"{fnv1a(';'.join(texts).encode()):x}"


def read(snapshot):
    """(lines, complaints) of a snapshot's value. Lines that cannot be read are complained about and left out."""
    faults = [f"the key '{key}' is missing" for key in KEYS if key not in snapshot]
    faults += [f"the key '{key}' does not belong there" for key in snapshot if key not in KEYS]
    faults += [f"'{key}' is {value!r}, which is of the wrong type" for key, value in snapshot.items()
               if key in KEYS and (not isinstance(value, KEYS[key]) or isinstance(value, bool))]
    if faults:
        return [], faults
    if snapshot["source"] != "Lanterna":
        faults.append(f"the source is '{snapshot['source']}'")
    if snapshot["date"] != time.strftime(DATE, time.localtime(snapshot["dateEpoch"])):
        faults.append(f"the date '{snapshot['date']}' is not the time {snapshot['dateEpoch']}")
    lines = []
    for text in snapshot["devices"].split("***") if snapshot["devices"] else []:
        line, complaints = read_line(text)
        lines += [line] if line else []
        faults += complaints
    faults += order_faults([line.ip for line in lines])
    signature = mac_signature((line.ip, line.mac) for line in lines)
    if not faults and signature != snapshot["macSig"]:
        faults.append(f"the signature is {snapshot['macSig']}, but that of its lines is {signature}")
    return lines, faults


def read_line(text):
    """(Line or None, complaints) of one device's text."""
    faults = []
    if not text.endswith("\n"):
        faults.append(f"no line end behind {text!r}")
    body = text.removesuffix("\n")
    if CONTROLS.search(body):
        faults.append(f"control characters in {body!r}")
    fields = body.split("|*|")
    if len(fields) != FIELDS:
        return None, [*faults, f"{len(fields)} fields instead of {FIELDS} in {body!r}"]
    name, kind, ip, mac, ipv6, dns, vendor, when, ping, empty, services, notes = fields
    wrong = {
        "name": not quoted(name), "type": not kind, "address": not is_address(ip), "MAC": not MAC.match(mac), "IPv6 address": ipv6 != "UNKNOWN",
        "DNS entry": not dns, "vendor": not quoted(vendor), "time": not is_date(when), "ping": ping not in ("ping: 0", "ping: 1"),
        "ninth field": empty != "", "services": not are_services(services), "notes": notes != "No notes found"}
    faults += [f"the {what} of the line {body!r} is not what belongs there" for what, bad in wrong.items() if bad]
    if wrong["address"]:
        return None, faults
    return Line(name[1:-1], kind, ip, mac, dns, vendor[1:-1], when, ping == "ping: 1", services.split(",") if services else []), faults


def quoted(text):
    return len(text) > 2 and text[0] == text[-1] == '"'


def is_address(text):
    try:
        return str(ipaddress.IPv4Address(text)) == text
    except ValueError:
        return False


def is_date(text):
    try:
        return time.strftime(DATE, time.strptime(text, DATE)) == text
    except ValueError:
        return False


def are_services(text):
    """Browsed types, each once, joined by commas."""
    types = text.split(",") if text else []
    return len(set(types)) == len(types) and all(kind in BROWSED for kind in types)


def order_faults(addresses):
    numbers = [int(ipaddress.IPv4Address(a)) for a in addresses]
    faults = [f"{b} stands behind {a}" for a, b, m, n in zip(addresses, addresses[1:], numbers, numbers[1:]) if m > n]
    return faults + [f"{a} is listed {addresses.count(a)} times" for a in dict.fromkeys(addresses) if addresses.count(a) > 1]
