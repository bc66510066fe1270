#!/usr/bin/python3
"""What a correct scan of a scene lists, worked out from the scene alone, and in which words a snapshot differs from it.

  ground_truth.py SCENE.json SNAPSHOT.json      one difference a line; exit code 1 when there is any
  ground_truth.py SCENE.json                    what is expected, a device a line

The rules stand here a second time on purpose: this file and the program must come to the same result on their own.
"""

import ipaddress
import json
import sys
from dataclasses import dataclass, field

import snapshot
from lanternalab import scene as scenes

# The quick test of a host: a connection that is taken or refused on one of these counts as an answer.
TESTED_PORTS = (80, 62078, 5000)
# A device that answers ARP at most this much later than asked is resolved by the kernel, which asks three times a second apart; in milliseconds.
PUNCTUAL = 2500


@dataclass
class Expected:
    """One address of the LAN. Where several values are right, the sets hold all of them."""

    ip: str
    macs: set = field(default_factory=set)  # upper case; an empty one takes any, as the kernel chose it
    reverse: set = field(default_factory=set)  # names of the address; {None} for none
    names: set = field(default_factory=set)
    dns: set = field(default_factory=set)
    types: set = field(default_factory=set)
    services: set = field(default_factory=set)
    ping: bool = False
    sure: bool = True  # False: a single pass may miss it
    known: bool = True  # False: nothing but its MAC can be foretold


@dataclass
class Station:
    """One address at one wire, before anything is known about names."""

    ip: ipaddress.IPv4Address
    segment: str
    macs: set
    host: scenes.Host = None  # a machine of its own; none for a member of a crowd
    ping: bool = False
    sure: bool = True


def stations_of(scene):
    """Every address that answers ARP, with its wire."""
    for host in scenes.hosts_of(scene)[1:]:
        for interface in host.interfaces:
            # A host with two cables on one wire answers for all of its addresses on either.
            near = [i for i in host.interfaces if i.segment == interface.segment and i.up]
            macs = {i.mac.upper() for i in near if i.mac} if all(i.mac for i in near) else set()
            for address in interface.ipv4 if interface.up else []:
                ping = not host.sleepy and any(port not in host.silent for port in TESTED_PORTS)
                yield Station(address.ip, interface.segment, macs, host, ping)
    for crowd in scene.crowds:
        for _, address, mac, sleepy in crowd.members():
            if crowd.raw:
                sure = crowd.raw.answers_every <= 1 and crowd.raw.late_ms <= PUNCTUAL
                yield Station(address.ip, crowd.segment, {mac.upper()}, None, crowd.raw.refuses, sure)
            else:
                yield Station(address.ip, crowd.segment, {mac.upper()}, None, not sleepy and any(p not in crowd.silent for p in TESTED_PORTS))


def swept_prefixes(scene):
    """The first three octets of every /24 that a pass sweeps: of each address of the sensor, of broadcast addresses in .255, and of the gateway."""
    found = []
    for interface in scene.sensor.interfaces:
        for address in interface.ipv4 if interface.up else []:
            if not address.ip.is_link_local:
                broadcast = str(address.network.broadcast_address)
                found += [broadcast.rpartition(".")[0]] if broadcast.endswith(".255") else []
                found.append(prefix_of(address.ip))
    if scene.sensor.gateway:
        found.append(prefix_of(scene.sensor.gateway))
    return list(dict.fromkeys(found))


def prefix_of(address):
    return str(address).rpartition(".")[0]


def home_prefix(scene):
    """The /24 that the snapshot is named after: the gateway's, where the sensor has an address in it, else the first."""
    own = [prefix_of(a.ip) for i in scene.sensor.interfaces if i.up for a in i.ipv4 if not a.ip.is_link_local]
    gateway = prefix_of(scene.sensor.gateway) if scene.sensor.gateway else ""
    return gateway if gateway in own else (own or [""])[0]


def wire_to(scene, address):
    """The segment on which the sensor looks for an address: that of the longest matching network; None when it lies behind a gateway."""
    near = [(a.network.prefixlen, i.segment) for i in scene.sensor.interfaces if i.up for a in i.ipv4 if address in a.network]
    return max(near, key=lambda pair: pair[0])[1] if near else None


def reverse_names(scene):
    """{address: names} that the sensor's hosts file and name server give."""
    names = {}
    gateway = scene.gateway
    own = {str(a.ip) for i in gateway.interfaces for a in i.ipv4} if gateway else set()
    if gateway and gateway.dns == "answer" and any(str(server) in own for server in scene.sensor.nameservers):
        for host in scenes.hosts_of(scene):
            if host.dns_name and host.address:
                names.setdefault(str(host.address), set()).add(f"{host.dns_name}.{gateway.domain}")
        for crowd in scene.crowds:
            for name, address, _, _ in crowd.members() if crowd.named else []:
                names.setdefault(str(address.ip), set()).add(f"{name}.{gateway.domain}")
    names.update({address: {text.split()[0]} for address, text in scene.sensor.hosts.items()})
    return names


def announced(host):
    """(Bonjour host name or None, types) that a browser for the known types hears from a host."""
    if not host or host.sleepy:
        return None, set()
    if host.hostile and "many" in host.hostile.ways:
        return "many.local.", set(snapshot.BROWSED)
    services = {f"{service[1]}." for service in host.mdns.services} & set(snapshot.BROWSED) if host.mdns else set()
    return (f"{host.mdns.host}.local." if services else None), services


def device_type(services, hostname, dns_entry, ip):
    """The type that the rules give; the first that fits wins. hostname: the reverse name, or nothing."""
    s, h, d = ",".join(services).lower(), (hostname or "unknown").lower(), dns_entry.lower()

    def has(*words):
        return any(word in s for word in words)

    def called(*words):
        return any(word in h or word in d for word in words)

    rules = [
        (has("_appletv", "_mediaremotetv"), "AppleTV"),
        (has("_airplay") and has("_raop") and called("homepod"), "HomePod"),
        (has("_ipp", "_printer", "_pdl-datastream", "_scanner"), "Printer"),
        (has("_smb", "_afpovertcp") and any(word in h for word in ("nas", "synology", "qnap")), "NetStorage"),
        (has("_homekit", "_hap"), "SmartPlug"),
        (has("_googlecast"), "Chromecast"),
        (has("_sonos", "_spotify-connect"), "MusicPlayer"),
        (has("_apple-mobdev2"), "iPhone"),
        (called("vision-pro", "apple-vision"), "Vision_Pro"),
        (called("iphone"), "iPhone"),
        (called("ipad"), "iPad_Air"),
        (called("macbook"), "MacBook_Pro"),
        (called("imac"), "iMac"),
        (called("mac-mini"), "MacMini"),
        (called("mac-studio"), "Mac_Studio"),
        (called("mac-pro"), "MacPro"),
        ("playstation" in h, "Game"),
        ("xbox" in h, "Xbox"),
        ("nintendo" in h, "Game"),
        (ip.endswith(".1"), "Router")]
    return next((kind for fits, kind in rules if fits), "UNKNOWN")


def expect(scene):
    """{address: Expected} of everything that a scan of the scene may list. The sensor itself is never in it."""
    sensor = {a.ip for i in scene.sensor.interfaces for a in i.ipv4}
    swept = swept_prefixes(scene)
    reverse = reverse_names(scene)
    slandered = {victim for device in scene.devices if device.hostile and "lies" in device.hostile.ways for victim in device.hostile.victims}
    garbled = scene.gateway and scene.gateway.dns == "garbage" and scene.sensor.nameservers
    found = {}
    for station in stations_of(scene):
        ip = str(station.ip)
        if wire_to(scene, station.ip) != station.segment or station.ip in sensor or ip.endswith((".0", ".255")):
            continue
        device = described(station, reverse)
        # What is not swept may have spoken to the sensor all the same.
        device.sure = station.sure and prefix_of(station.ip) in swept
        device.known = device.known and ip not in slandered and not garbled
        found[ip] = merged(found[ip], device) if ip in found else device
    return found


def described(station, reverse):
    """What one station alone would be listed as."""
    ip, host = str(station.ip), station.host
    responds = host and host.mdns and not host.sleepy
    local, services = announced(host)
    device = Expected(ip, station.macs, services=services, ping=station.ping)
    device.reverse = reverse.get(ip) or ({f"{host.mdns.host}.local"} if responds else {None})
    device.names = {name or (local or ip).removesuffix(".") for name in device.reverse}
    device.dns = {local or name or "UNKNOWN" for name in device.reverse}
    # What vanishes leaves no trace; what is many tells the truth.
    device.known = not (host and host.hostile and set(host.hostile.ways) - {"vanish", "many"})
    return with_types(device)


def with_types(device):
    device.types = {device_type(device.services, name, dns, device.ip) for name in device.reverse for dns in device.dns}
    return device


def merged(one, other):
    """Two stations with one address: whichever answers first is listed, with the services of both."""
    return with_types(Expected(
        one.ip, one.macs | other.macs if one.macs and other.macs else set(), one.reverse | other.reverse, one.names | other.names,
        one.dns | other.dns, services=one.services | other.services, ping=one.ping if one.ping == other.ping else None,
        sure=one.sure or other.sure, known=one.known and other.known))


def differences(scene, value, absent=(), present=(), unsure=()):
    """In words, all that is wrong with a snapshot of a scene; empty when nothing is.

    absent: addresses that were taken away and must not be listed. present: {address: MAC} of what has come or changed meanwhile. unsure: addresses,
    and /24 prefixes, of which nothing is foretold but the MAC, if they are listed.
    """
    lines, faults = snapshot.read(value)
    expected = {ip: device for ip, device in expect(scene).items() if ip not in absent}
    for ip, mac in dict(present).items():
        expected.setdefault(ip, Expected(ip, known=False)).macs = {mac.upper()}
    for device in expected.values():
        if prefix_of(device.ip) in unsure or device.ip in unsure:
            device.sure = device.known = False
    prefix = home_prefix(scene)
    if value.get("subnet") != prefix:
        faults.append(f"the subnet is '{value.get('subnet')}', not '{prefix}'")
    if value.get("ssid") != f"Subnet {prefix}.x":
        faults.append(f"the network is called '{value.get('ssid')}', not 'Subnet {prefix}.x'")
    listed = {line.ip: line for line in lines}
    sensor = {str(a.ip) for i in scene.sensor.interfaces for a in i.ipv4}
    for ip in sorted(set(expected) | set(listed), key=ipaddress.IPv4Address):
        if ip not in listed:
            faults += [f"{ip} ({'/'.join(sorted(expected[ip].names)) or '?'}) is missing"] if expected[ip].sure else []
        elif ip not in expected:
            what = "is the sensor itself" if ip in sensor else "has left" if ip in absent else "was never there"
            faults.append(f"{ip} {what}, but is listed as '{listed[ip].name}' at {listed[ip].mac}")
        else:
            faults += line_faults(expected[ip], listed[ip])
    return faults


def line_faults(device, line):
    """The differences of one listed device."""
    faults = []

    def compare(what, seen, right):
        if right and seen not in right:
            faults.append(f"{device.ip}: {what} is '{seen}', not {' or '.join(repr(r) for r in sorted(right))}")

    compare("MAC", line.mac, device.macs)
    if device.known:
        compare("name", line.name, device.names)
        compare("DNS entry", line.dns, device.dns)
        compare("type", line.type, device.types)
        faults += [f"{device.ip}: service {kind} is missing" for kind in sorted(device.services - set(line.services))]
        faults += [f"{device.ip}: service {kind} was never there" for kind in sorted(set(line.services) - device.services)]
        if device.ping is not None and line.ping != device.ping:
            faults.append(f"{device.ip} {'does not answer' if line.ping else 'answers'} on TCP, but is listed as 'ping: {int(line.ping)}'")
    return faults


def main(words):
    if len(words) not in (1, 2):
        sys.exit(__doc__)
    scene = scenes.load(words[0])
    if len(words) == 1:
        for device in expect(scene).values():
            print(device)
        return 0
    with open(words[1], encoding="utf-8") as file:
        faults = differences(scene, json.load(file))
    print("\n".join(faults) or "nothing differs")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
