"""The LANs that scans are tested in, as scene values. What a scan of them must list, ground_truth works out."""

from lab_case import scene_value

SENSOR = "192.168.77.10"
# Tells the sensor's kernel the MAC of everybody in the crowded LAN, so that each probe goes out at once. Those that wait for an answer to ARP are
# overtaken by later ones.
KNOW_ALL = ("for n in $(seq 254); do [ $n = 10 ] || printf 'neigh replace 192.168.77.%d lladdr 02:00:00:00:77:%02x dev eth0 nud permanent\\n' $n $n; done"
            " | ip -batch -")
# Types that many services are spread over.
MANY_TYPES = ("_http._tcp", "_ssh._tcp", "_ipp._tcp", "_smb._tcp", "_airplay._tcp", "_raop._tcp", "_hap._tcp", "_googlecast._tcp", "_sonos._tcp",
              "_rfb._tcp")


def demo():
    return scene_value("demo")


def demo_with_daemon():
    """The demonstration with an avahi-daemon on the sensor, and no permission for ICMP."""
    scene = scene_value("demo")
    scene["sensor"].update({"ping_group_range": "closed", "system_bus": True,
                            "mdns": {"host": "sensor", "services": [{"name": "own", "type": "_ssh._tcp", "port": 22}]}})
    return scene


def two_subnets():
    return scene_value("two-subnets")


def crowded():
    """Every address of one /24 answers ARP; nobody has a name, and nothing but the sweep speaks."""
    return {
        "segments": ["lan"],
        "sensor": {"interfaces": [{"name": "eth0", "segment": "lan", "mac": "02:4c:41:4e:00:0a", "ipv4": f"{SENSOR}/24"}],
                   "gateway": "192.168.77.1", "ping_group_range": "open"},
        "crowds": [
            {"name": "low", "segment": "lan", "first": "192.168.77.1/24", "count": 9, "mac": "02:00:00:00:77:01", "raw": {}},
            {"name": "high", "segment": "lan", "first": "192.168.77.11/24", "count": 244, "mac": "02:00:00:00:77:0b", "raw": {}}],
    }


def home(**gateway):
    """A LAN with a bit of everything, for what goes wrong around it."""
    scene = scene_value("small")
    scene["gateway"].update(gateway)
    scene["devices"] += [
        {"name": "printer", "segment": "lan", "mac": "00:1b:a9:4e:00:1e", "ipv4": "192.168.77.30/24", "open": [80],
         "mdns": {"host": "printer", "services": [{"name": "Hall", "type": "_ipp._tcp", "port": 631}]}},
        {"name": "homepod", "segment": "lan", "mac": "48:a6:b8:4e:00:1f", "ipv4": "192.168.77.31/24", "named": False,
         "mdns": {"host": "HomePod", "services": [{"name": "Kitchen", "type": "_airplay._tcp", "port": 7000},
                                                  {"name": "48@Kitchen", "type": "_raop._tcp", "port": 7000}]}},
        {"name": "iphone", "segment": "lan", "mac": "da:4e:1c:4e:00:20", "ipv4": "192.168.77.32/24", "sleepy": True},
        {"name": "secret", "segment": "lan", "mac": "da:4e:1c:4e:00:21", "ipv4": "192.168.77.33/24", "named": False}]
    return scene


def hostile():
    """The home with three that mean no good."""
    scene = home()
    for number, ways in ((90, ["flood"]), (91, ["lies", "controls"]), (92, ["labels"])):
        scene["devices"].append(evil(number, ways))
    return scene


def ghosts():
    """The home with a device that names many services which are nowhere."""
    scene = home()
    scene["devices"].append(evil(90, ["vanish"]))
    return scene


def evil(number, ways):
    return {"name": f"evil-{number}", "segment": "lan", "mac": f"02:66:66:66:66:{number}", "ipv4": f"192.168.77.{number}/24", "named": False,
            "hostile": {"ways": ways, "victims": ["192.168.77.33", "192.168.77.20"], "rate": 100, "seed": number}}


def doubles():
    """Several devices of one MAC, and two devices of one address."""
    scene = scene_value("small")
    scene["allow_duplicates"] = True
    scene["crowds"] = [{"name": "clones", "segment": "lan", "first": "192.168.77.100/24", "count": 20, "mac": "02:00:00:00:0c:00",
                        "raw": {"same_mac": True}}]
    for number in (0, 1):
        scene["devices"].append({"name": f"twin-{number}", "segment": "lan", "mac": f"02:00:00:00:0d:0{number}", "ipv4": "192.168.77.60/24"})
    return scene


def drowsy():
    """Crowds that answer late or only every fourth request."""
    scene = home()
    scene["crowds"] = [
        {"name": "late", "segment": "lan", "first": "192.168.77.100/24", "count": 20, "mac": "02:00:00:00:0a:00", "raw": {"late_ms": 2000}},
        {"name": "dozing", "segment": "lan", "first": "192.168.77.130/24", "count": 20, "mac": "02:00:00:00:0b:00", "raw": {"answers_every": 4}}]
    return scene


def thousand_services():
    """Ten devices with a hundred services each."""
    scene = scene_value("small")
    for i in range(10):
        services = [{"name": f"{kind[1:4]} {i}-{j}", "type": kind, "port": 80} for kind in MANY_TYPES for j in range(10)]
        scene["devices"].append({"name": f"box-{i}", "segment": "lan", "mac": f"02:00:00:00:0e:{i:02x}", "ipv4": f"192.168.77.{40 + i}/24",
                                 "mdns": {"host": f"box-{i}", "services": services}})
    return scene


def five_networks():
    """1,265 devices in five /24 networks, each with 253 of them."""
    networks = [f"10.7.{i}" for i in range(5)]
    scene = {
        "segments": [f"floor{i}" for i in range(5)],
        "sensor": {"interfaces": [{"name": f"eth{i}", "segment": f"floor{i}", "mac": f"02:4c:41:4e:07:{i:02x}", "ipv4": f"{network}.254/24"}
                                  for i, network in enumerate(networks)],
                   "gateway": "10.7.0.1", "ping_group_range": "open"},
        "crowds": [{"name": f"floor{i}", "segment": f"floor{i}", "first": f"{network}.1/24", "count": 253, "mac": f"02:00:00:07:{i:02x}:00",
                    "raw": {"refuses": True}} for i, network in enumerate(networks)],
    }
    return scene
