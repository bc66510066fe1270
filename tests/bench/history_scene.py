#!/usr/bin/env python3
"""Writes histories for people and clocks to look at. The same arguments give the same files.

  history_scene.py month FOLDER [--end SECONDS]     a month of a household with some forty devices
  history_scene.py bulk FOLDER [--days N] [--lines N] [--devices N] [--change all|some|none] [--end SECONDS]

FOLDER is the one of the history itself. --end is the moment of the last line, in seconds since 1970; as it is, the evening of 20 November 2026 in UTC.
month  passes every ten minutes: phones and laptops that come and go by the hour and the day of the week, devices that are always on, a flaky one, a
       new one and one that breaks, addresses that change, and five days on which the sensor was on a trip, two of them in another network
bulk   N lines a day of N devices (90 days, 96 lines, 254 devices), of which from line to line all may change (each line is another's table and answers
       other pings), some (a phone comes or goes, a tenth of the pings change) or none
"""

import argparse
import datetime
import json
import pathlib
import random

END = 1795201200  # 2026-11-20 19:00 UTC
DAY = 86400
PASS = 600
HOLD = 900
HOME = ("Harbour", "192.168.1")
HOTEL = ("Hotel Meridian", "10.20.30")
# Days before the end that the trip begins and ends, and between which the sensor looked around in the hotel.
TRIP = (13.4, 8.6)
IN_HOTEL = (12.3, 10.4)

ALWAYS = (("Router", "Router"), ("Access Point Upstairs", ""), ("Storage", "NetStorage"), ("Living Room TV", "AppleTV"), ("Hall Lamp", "SmartPlug"),
          ("Garden Lamp", "SmartPlug"), ("Heating", ""), ("Doorbell", ""), ("Camera Garage", ""), ("Kitchen Speaker", "HomePod"), ("Office Printer", "Printer"),
          ("Weather Station", ""), ("Freezer Sensor", ""), ("Solar Inverter", ""))
PHONES = ("Anna's Phone", "Bertil's Phone", "Carla's Phone", "David's Phone")
LAPTOPS = ("Anna's Laptop", "Bertil's Laptop", "School Laptop")
CONSOLES = ("Game Console", "Bedroom TV", "Tablet")
GUESTS = ("Guest Phone 1", "Guest Phone 2", "Guest Phone 3", "Guest Laptop", "")


def device(number, name, kind, prefix, ping=1, host=None):
    """One device of a line; its MAC hangs on its number alone."""
    mac = f"3C:D9:2B:{number >> 16 & 255:02X}:{number >> 8 & 255:02X}:{number & 255:02X}"
    dns = name.lower().replace(" ", "-").replace("'", "") + ".lan" if name else ""
    return {"dns": dns, "ip": f"{prefix}.{host or number + 1}", "mac": mac, "name": name, "ping": ping, "svc": "_ipp._tcp." if kind == "Printer" else "",
            "type": kind}


def signature(devices):
    value = 0xcbf29ce484222325
    for byte in ";".join(sorted(f"{one['ip']}={one['mac']}" for one in devices)).encode():
        value = (value ^ byte) * 0x100000001b3 % 2 ** 64
    return f"{value:x}"


def line(time, network, devices):
    members = {"devices": devices, "macSig": signature(devices), "src": "LTN", "ssid": network[0], "subnet": network[1], "ts": time, "v": 1}
    return json.dumps(members, separators=(",", ":"), ensure_ascii=False)


class Household:
    """Who is at home at a moment. Asked once a pass, in order."""

    def __init__(self, end):
        self.random = random.Random(4)
        self.end = end
        self.flaky = False
        self.stays = {name: self.outings(name) for name in (*PHONES, *LAPTOPS, *CONSOLES, *GUESTS)}

    def outings(self, name):
        """Spans of presence over the month, by name: [(from, to)]."""
        spans = []
        first = self.end - 32 * DAY
        first -= first % DAY
        for day in range(34):
            midnight = first + day * DAY
            weekend = datetime.datetime.fromtimestamp(midnight, datetime.UTC).weekday() >= 5
            between = lambda low, high: midnight + self.random.uniform(low, high) * 3600
            if name in PHONES:
                spans.append((between(-8, -6), between(7, 8.5)) if not weekend else (between(-8, -6), between(9, 11)))
                spans.append((between(12, 15), between(15.1, 16)) if weekend else (between(16, 18), between(18.1, 18.4)))
                if self.random.random() < 0.8:
                    spans.append((between(18.5, 21), between(24, 24.1)))
            elif name in LAPTOPS:
                if self.random.random() < (0.3 if weekend else 0.85):
                    spans.append((between(8, 10), between(12, 20)))
            elif name in CONSOLES:
                if self.random.random() < (0.9 if weekend else 0.5):
                    spans.append((between(16, 20), between(20.5, 23.5)))
            elif weekend and self.random.random() < 0.4:
                spans.append((between(13, 16), between(18, 23)))
        return spans

    def devices(self, time):
        age = (self.end - time) / DAY
        found = [device(number, name, kind, HOME[1]) for number, (name, kind) in enumerate(ALWAYS)]
        for number, name in enumerate(self.stays, 20):
            if any(begin <= time < end for begin, end in self.stays[name]):
                # Phones get another address now and then; the tablet got a fixed one.
                host = number + 40 + (int(age // 6) * 7 if name in PHONES[:2] else 0) - (30 if name == "Tablet" and age < 15 else 0)
                found.append(device(number, name, "iPhone" if "Phone" in name else "", HOME[1], int(self.random.random() < 0.7), host))
        self.flaky ^= self.random.random() < 0.04
        if self.flaky:
            found.append(device(50, "Flaky Plug", "SmartPlug", HOME[1]))
        if age < 17:
            found.append(device(51, "New Vacuum Cleaner", "", HOME[1]))
        if age > 21:
            found.append(device(52, "Old Set-Top Box", "", HOME[1]))
        return sorted(found, key=lambda one: int(one["ip"].rpartition(".")[2]))


def month(end):
    """(time, line) of a month, one pass after another."""
    household, last, last_time = Household(end), None, 0
    for time in range(end - 30 * DAY, end + 1, PASS):
        age = (end - time) / DAY
        if IN_HOTEL[1] < age < IN_HOTEL[0] and (time // 3600) % 24 in (6, 19, 20, 21):
            network, found = HOTEL, [device(200, "", "Router", HOTEL[1], host=1), device(201, "Lobby Printer", "Printer", HOTEL[1]),
                                     *(device(210 + n, "", "", HOTEL[1]) for n in range(3) if (time // 3600 + n) % 2)]
        elif TRIP[1] < age < TRIP[0]:
            continue
        else:
            network, found = HOME, household.devices(time)
        now = (network, signature(found))
        if now != last or time - last_time >= HOLD:
            yield time, line(time + 0.25, network, found)
            last, last_time = now, time


def bulk(end, days, lines, count, change):
    """(time, line) of many equal days. A device's JSON text is made once for each form that it takes."""
    forms = [[json.dumps(device(number, f"device-{number}", "", "192.168.1", ping, number % 254 + 1), separators=(",", ":")) for ping in (0, 1)]
             for number in range(count)]
    dice = random.Random(4)
    head, tail = '{"devices":[', '],"macSig":"%s","src":"LTN","ssid":"Harbour","subnet":"192.168.1","ts":%.3f,"v":1}'
    pings, away = [1] * count, 0
    for number in range(days * lines):
        time = end - (days * lines - 1 - number) * (DAY / lines)
        if change == "all":
            pings = [dice.randrange(2) for _ in range(count)]
            away = number % count
        elif change == "some":
            for _ in range(count // 10):
                pings[dice.randrange(count)] ^= 1
            away = dice.randrange(count) if number % 10 == 0 else away
        shown = (forms[at][pings[at]] for at in range(count) if at != away or change == "none")
        yield time, head + ",".join(shown) + tail % (f"{away:x}", time)


def write(folder, lines):
    """Puts each line into the file of its UTC day. Returns how many bytes."""
    folder = pathlib.Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    written, name, output = 0, None, None
    for time, text in lines:
        day = datetime.datetime.fromtimestamp(time, datetime.UTC).strftime("snap-%Y-%m-%d.jsonl")
        if day != name:
            if output:
                output.close()
            name, output = day, open(folder / day, "a", encoding="utf-8")
        output.write(text + "\n")
        written += len(text) + 1
    if output:
        output.close()
    return written


def main():
    arguments = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    arguments.add_argument("kind", choices=("month", "bulk"))
    arguments.add_argument("folder")
    arguments.add_argument("--end", type=int, default=END)
    arguments.add_argument("--days", type=int, default=90)
    arguments.add_argument("--lines", type=int, default=96)
    arguments.add_argument("--devices", type=int, default=254)
    arguments.add_argument("--change", choices=("all", "some", "none"), default="some")
    given = arguments.parse_args()
    lines = month(given.end) if given.kind == "month" else bulk(given.end, given.days, given.lines, given.devices, given.change)
    print(f"{write(given.folder, lines)} bytes")


if __name__ == "__main__":
    main()
