#!/usr/bin/python3
"""A LAN drawn by lot: the same seed gives the same scene.

  random_scene.py [SEED]      the scene as JSON; without a seed, one is drawn and told
"""

import json
import os
import random
import sys

# Names of devices that some rule of the classification knows, and others.
WORDS = ("iphone-of-ada", "ipad-hall", "macbook-pro", "jims-imac", "mac-mini", "mac-studio", "mac-pro", "playstation-5", "my-xbox", "nintendo-switch",
         "attic-nas", "synology", "qnap-2", "vision-pro", "homepod-kitchen", "apple-vision", "printer", "camera", "lamp", "desk", "x", "server-with-a-long-name")
SERVICES = ("_airplay._tcp", "_raop._tcp", "_companion-link._tcp", "_smb._tcp", "_http._tcp", "_ipp._tcp", "_printer._tcp", "_ssh._tcp", "_rfb._tcp",
            "_hap._tcp", "_googlecast._tcp", "_spotify-connect._tcp", "_sonos._tcp", "_appletv-v2._tcp", "_apple-mobdev2._tcp", "_sleep-proxy._udp",
            "_workstation._tcp", "_nobody-browses-this._tcp")
PORTS = (22, 80, 443, 5000, 8080, 62078)
NETWORKS = ("192.168.77", "10.0.0", "172.16.200", "10.20.30")


def seed_of_the_day():
    """LANTERNA_SEED, or one drawn now; told on the screen, so that a failure can be had again."""
    seed = int(os.environ.get("LANTERNA_SEED") or random.SystemRandom().randrange(2**32))
    print(f"LANTERNA_SEED={seed}", file=sys.stderr, flush=True)
    return seed


def random_scene(seed, networks=2):
    """A scene as a JSON value: one or two networks (or fewer), with at most 30 devices and a crowd in each."""
    chance = random.Random(seed)
    networks = chance.sample(NETWORKS, chance.choice((1, 1, networks)))
    scene = {
        "about": f"drawn from the seed {seed}",
        "segments": [f"segment{i}" for i in range(len(networks))],
        "sensor": random_sensor(chance, networks),
        "gateway": {
            "interfaces": [interface(i, f"{network}.1", f"02:00:00:00:{i:02x}:01") for i, network in enumerate(networks)],
            "dns": chance.choice(("answer", "answer", "answer", "mute", "none")),
            "domain": chance.choice(("lan", "home.arpa")),
        },
        "devices": [], "crowds": [],
    }
    scene["sensor"]["gateway"] = f"{networks[0]}.1" if chance.random() < 0.9 else None
    for i, network in enumerate(networks):
        numbers = chance.sample(range(20, 150), chance.randrange(3, 30))
        scene["devices"] += [random_device(chance, i, network, number) for number in numbers]
        if chance.random() < 0.7:
            scene["crowds"].append(random_crowd(chance, i, network))
    give_responders(chance, scene["devices"])
    for device in chance.sample(scene["devices"], 2):
        scene["sensor"]["hosts"] = {device["ipv4"].split("/")[0]: f"from-the-file-{device['name']} alias"}
    return scene


def interface(i, address, mac):
    return {"name": f"eth{i}", "segment": f"segment{i}", "mac": mac, "ipv4": f"{address}/24"}


def random_sensor(chance, networks):
    sensor = {
        "interfaces": [interface(i, f"{network}.{chance.randrange(2, 20)}", f"02:00:00:00:{i:02x}:0a") for i, network in enumerate(networks)],
        "nameservers": [f"{networks[0]}.1"],
        "ping_group_range": chance.choice(("open", "closed")),
    }
    if chance.random() < 0.5:
        services = [{"type": "_ssh._tcp", "port": 22}] if chance.random() < 0.5 else []
        sensor.update({"system_bus": True, "mdns": {"host": "sensor", "services": services}})
    return sensor


def random_device(chance, segment, network, number):
    word = chance.choice(WORDS)
    return {
        "name": f"{word}-{segment}-{number}"[-32:].strip("-"), "segment": f"segment{segment}", "ipv4": f"{network}.{number}/24",
        "mac": f"{chance.choice(('00:11:32', 'a4:83:e7', '02:aa:bb'))}:{segment:02x}:01:{number:02x}",
        "named": chance.random() < 0.7, "open": chance.sample(PORTS[:3], chance.randrange(0, 3)),
        "silent": chance.choice(([], [], [80], [80, 5000, 62078])), "sleepy": chance.random() < 0.2,
    }


def random_crowd(chance, segment, network):
    crowd = {"name": f"crowd{segment}", "segment": f"segment{segment}", "first": f"{network}.{chance.randrange(150, 180)}/24",
             "count": chance.randrange(1, 60), "mac": f"02:00:00:00:{0x40 + segment:02x}:00", "named": chance.random() < 0.5}
    if chance.random() < 0.5:
        crowd["raw"] = {"late_ms": chance.choice((0, 0, 300, 1200)), "refuses": chance.random() < 0.5}
    else:
        crowd.update({"sleepy_every": chance.choice((0, 3)), "open": chance.choice(([], [22], [80]))})
    return crowd


def give_responders(chance, devices):
    """Some devices, at most eight, get a responder under their own name; a device asleep may have one that nobody hears."""
    for device in chance.sample(devices, min(len(devices), 8)):
        # Both kinds of letters: names of hosts are compared without regard to them, and shown as they are.
        host = device["name"].title() if chance.random() < 0.3 else device["name"]
        services = [{"name": f"{kind[1:4]} of {device['name']}", "type": kind, "port": 80} for kind in chance.sample(SERVICES, chance.randrange(0, 5))]
        device["mdns"] = {"host": host, "services": services}


def main(words):
    seed = int(words[0]) if words else seed_of_the_day()
    print(json.dumps(random_scene(seed), indent=2))


if __name__ == "__main__":
    main(sys.argv[1:])
