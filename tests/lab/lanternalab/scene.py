"""The scene file: what is in the LAN, as plain values. Reading a scene touches nothing but the file."""

import ipaddress
import json
from dataclasses import dataclass, field

from .errors import SceneError
from .pages import Page, default_pages
from .reader import REQUIRED, Reader

# The DNS label "lan" is the home zone of many routers.
DEFAULT_DOMAIN = "lan"
HOSTILE_WAYS = ("flood", "lies", "labels", "controls", "vanish", "many")


@dataclass
class Interface:
    name: str
    segment: str
    mac: str = None
    ipv4: list = field(default_factory=list)
    ipv6: list = field(default_factory=list)
    ipv6_link_local: bool = False
    up: bool = True


@dataclass
class Web:
    port: int
    pages: dict


@dataclass
class Mdns:
    host: str
    services: list  # of (name, type, port, [txt])


@dataclass
class Hostile:
    """A responder that means no good; see hostile_mdns.py."""

    ways: list
    rate: int
    victims: list  # of address texts
    seed: int


@dataclass
class Host:
    """A machine of the LAN with a network namespace of its own."""

    name: str
    interfaces: list
    gateway: ipaddress.IPv4Address = None
    dns_name: str = None
    open: list = field(default_factory=list)
    silent: list = field(default_factory=list)
    sleepy: bool = False
    web: Web = None
    mdns: Mdns = None
    hostile: Hostile = None
    system_bus: bool = False

    @property
    def address(self):
        """The first IPv4 address, or None."""
        return next((a.ip for i in self.interfaces for a in i.ipv4), None)


@dataclass
class Sensor(Host):
    nameservers: list = field(default_factory=list)
    search: str = DEFAULT_DOMAIN
    hosts: dict = field(default_factory=dict)
    routes: list = field(default_factory=list)
    metric: int = None
    ping_open: bool = False


@dataclass
class Gateway(Host):
    domain: str = DEFAULT_DOMAIN
    dns: str = "answer"
    records: dict = field(default_factory=dict)


@dataclass
class Raw:
    """How a crowd behaves that one process plays; see raw_crowd.py."""

    answers_every: int
    late_ms: int
    refuses: bool
    same_mac: bool


@dataclass
class Crowd:
    """Many plain devices that share one namespace: consecutive addresses, consecutive MACs."""

    name: str
    segment: str
    first: ipaddress.IPv4Interface
    count: int
    mac: str
    named: bool = True
    open: list = field(default_factory=list)
    silent: list = field(default_factory=list)
    sleepy_every: int = 0
    raw: Raw = None

    def members(self):
        """(name, IPv4Interface, MAC, sleepy) of each device."""
        base = int(self.mac.replace(":", ""), 16)
        for i in range(self.count):
            digits = f"{base + (0 if self.raw and self.raw.same_mac else i):012x}"
            mac = ":".join(digits[j:j + 2] for j in range(0, 12, 2))
            address = ipaddress.IPv4Interface((self.first.ip + i, self.first.network.prefixlen))
            yield f"{self.name}-{i + 1}", address, mac, bool(self.sleepy_every) and (i + 1) % self.sleepy_every == 0


@dataclass
class Scene:
    segments: list
    sensor: Sensor
    gateway: Gateway
    devices: list
    crowds: list
    source: dict


def load(path):
    """The scene in a file; SceneError with one line that names the place of the first fault."""
    try:
        with open(path, encoding="utf-8") as file:
            value = json.load(file)
    except OSError as error:
        raise SceneError(f"{path}: {error.strerror}") from error
    except ValueError as error:
        raise SceneError(f"{path}: not JSON: {error}") from error
    return parse(value)


def parse(value):
    """The scene in a decoded JSON value."""
    reader = Reader(value, "scene")
    reader.text("about", "")
    segments = reader.texts("segments")
    doubles = reader.flag("allow_duplicates")
    sensor = parse_sensor(reader.object("sensor") or reader.fail("sensor", "is missing"))
    gateway_reader = reader.object("gateway")
    gateway = parse_gateway(gateway_reader) if gateway_reader else None
    devices = [parse_device(r) for r in reader.objects("devices")]
    crowds = [parse_crowd(r) for r in reader.objects("crowds")]
    reader.done()
    scene = Scene(segments, sensor, gateway, devices, crowds, value)
    check_names(scene)
    check_segments(scene)
    if not doubles:
        check_doubles(scene)
    return scene


def parse_interface(reader, default_name=REQUIRED):
    interface = Interface(
        name=reader.interface("name", default_name),
        segment=reader.text("segment"),
        mac=reader.mac("mac", None),
        ipv4=reader.addresses("ipv4", ipaddress.IPv4Interface),
        ipv6=reader.addresses("ipv6", ipaddress.IPv6Interface),
        ipv6_link_local=reader.flag("ipv6_link_local"),
        up=reader.flag("up", True))
    reader.done()
    return interface


def parse_interfaces(reader):
    found = [parse_interface(r) for r in reader.objects("interfaces")]
    names = [i.name for i in found]
    if len(set(names)) != len(names):
        reader.fail("interfaces", "two of them have one name")
    return found


def parse_sensor(reader):
    interfaces = parse_interfaces(reader)
    sensor = Sensor(
        name="sensor",
        interfaces=interfaces,
        gateway=reader.address("gateway", None),
        nameservers=[reader.parsed("nameservers", a, ipaddress.ip_address, "an address") for a in reader.texts("nameservers")],
        search=reader.text("search", DEFAULT_DOMAIN),
        hosts=reader.text_map("hosts"),
        routes=reader.texts("routes"),
        metric=reader.number("metric", 0, 2**32 - 1, None),
        ping_open=reader.choice("ping_group_range", ("open", "closed"), "closed") == "open",
        mdns=parse_mdns(reader),
        system_bus=reader.flag("system_bus"))
    reader.done()
    return sensor


def parse_gateway(reader):
    interfaces = parse_interfaces(reader)
    name = reader.name("name", "gateway")
    gateway = Gateway(
        name=name,
        interfaces=interfaces,
        dns_name=name,
        domain=reader.text("domain", DEFAULT_DOMAIN),
        dns=reader.choice("dns", ("answer", "mute", "garbage", "none"), "answer"),
        records=reader.text_map("records"),
        open=reader.ports("open"),
        silent=reader.ports("silent"),
        mdns=parse_mdns(reader))
    gateway.web = parse_web(reader, gateway.address)
    reader.done()
    return gateway


def parse_device(reader):
    """A device has either one interface, written straight into it, or a list of them."""
    name = reader.name("name")
    if "interfaces" in reader.value:
        interfaces = parse_interfaces(reader)
    else:
        interfaces = [Interface(
            name="eth0", segment=reader.text("segment"), mac=reader.mac("mac"),
            ipv4=reader.addresses("ipv4", ipaddress.IPv4Interface),
            ipv6=reader.addresses("ipv6", ipaddress.IPv6Interface))]
    device = Host(
        name=name,
        interfaces=interfaces,
        gateway=reader.address("gateway", None),
        dns_name=reader.name("dns_name", name) if reader.flag("named", True) else None,
        open=reader.ports("open"),
        silent=reader.ports("silent"),
        sleepy=reader.flag("sleepy"),
        mdns=parse_mdns(reader),
        hostile=parse_hostile(reader),
        system_bus=reader.flag("system_bus"))
    device.web = parse_web(reader, device.address)
    reader.done()
    return device


def parse_mdns(reader):
    inner = reader.object("mdns")
    if not inner:
        return None
    services = []
    host = inner.text("host")
    for r in inner.objects("services"):
        services.append((r.text("name", host), r.text("type"), r.number("port", 0, 65535), r.texts("txt")))
        r.done()
        # RFC 6763, section 4.1.1: an instance name is one DNS label.
        if not 0 < len(services[-1][0].encode()) <= 63:
            r.fail("name", "must have 1 to 63 bytes")
        if not services[-1][1].endswith(("._tcp", "._udp")):
            r.fail("type", f"'{services[-1][1]}' does not end in ._tcp or ._udp")
    inner.done()
    return Mdns(host, services)


def parse_hostile(reader):
    inner = reader.object("hostile")
    if not inner:
        return None
    hostile = Hostile(inner.texts("ways"), inner.number("rate", 1, 1000, 100), inner.texts("victims"), inner.number("seed", 0, 2**32 - 1, 1))
    inner.done()
    for way in hostile.ways:
        if way not in HOSTILE_WAYS:
            inner.fail("ways", f"'{way}' is none of {', '.join(HOSTILE_WAYS)}")
    for i, victim in enumerate(hostile.victims):
        inner.parsed(f"victims[{i}]", victim, ipaddress.IPv4Address, "an IPv4 address")
    if "mdns" in reader.value:
        reader.fail("hostile", "a device has one responder, mdns or hostile")
    return hostile


def parse_web(reader, address):
    inner = reader.object("http")
    if not inner:
        return None
    port = inner.number("port", 1, 65535, 80)
    pages = default_pages(address, port, inner.text("seen_address", "203.0.113.7"))
    for path, value in inner.get("pages", dict, "an object", {}).items():
        pages[path] = Page.parse(value, f"{inner.place}.pages.{path}")
    inner.done()
    return Web(port, pages)


def parse_crowd(reader):
    crowd = Crowd(
        name=reader.name("name"), segment=reader.text("segment"), first=reader.interface_address("first"),
        count=reader.number("count", 1, 4000), mac=reader.mac("mac"), named=reader.flag("named", True),
        open=reader.ports("open"), silent=reader.ports("silent"), sleepy_every=reader.number("sleepy_every", 0, 4000, 0), raw=parse_raw(reader))
    reader.done()
    if crowd.raw and (crowd.open or crowd.silent or crowd.sleepy_every):
        reader.fail("raw", "such a crowd has no ports of its own and never sleeps")
    last = crowd.first.ip + (crowd.count - 1)
    if last not in crowd.first.network or last == crowd.first.network.broadcast_address:
        reader.fail("count", f"{crowd.count} devices from {crowd.first.ip} do not fit into {crowd.first.network}")
    return crowd


def parse_raw(reader):
    inner = reader.object("raw")
    if not inner:
        return None
    raw = Raw(inner.number("answers_every", 1, 100, 1), inner.number("late_ms", 0, 10000, 0), inner.flag("refuses"), inner.flag("same_mac"))
    inner.done()
    return raw


def hosts_of(scene):
    """Sensor, gateway and devices, in building order."""
    return [scene.sensor] + ([scene.gateway] if scene.gateway else []) + scene.devices


def check_names(scene):
    names = [h.name for h in hosts_of(scene)] + [c.name for c in scene.crowds]
    for name in names:
        if names.count(name) > 1:
            raise SceneError(f"scene: two hosts are called '{name}'")


def check_segments(scene):
    for segment in scene.segments:
        if scene.segments.count(segment) > 1:
            raise SceneError(f"scene.segments: '{segment}' stands there twice")
    wanted = [(h.name, i.segment) for h in hosts_of(scene) for i in h.interfaces] + [(c.name, c.segment) for c in scene.crowds]
    for host, segment in wanted:
        if segment not in scene.segments:
            raise SceneError(f"scene: {host} is plugged into the unknown segment '{segment}'")


def check_doubles(scene):
    seen = {}
    stations = [(h.name, i.segment, i.mac, a.ip) for h in hosts_of(scene) for i in h.interfaces for a in i.ipv4]
    stations += [(name, c.segment, mac, a.ip) for c in scene.crowds for name, a, mac, _ in c.members()]
    for host, segment, mac, ip in stations:
        for what in (mac, ip):
            owner = seen.setdefault((segment, what), host)
            if what is not None and owner != host:
                raise SceneError(f"scene: {owner} and {host} both have {what}; say \"allow_duplicates\": true if that is meant")
