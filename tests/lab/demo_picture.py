#!/usr/bin/python3
"""The inside of `./run --demo --xvfb FILE.png`: a display, a panel that draws labels, the program, and a picture of it with its menu open.

  demo_picture.py FILE.png [first-launch]

Runs in the sensor of a lab. Its temporary folder lies in the lab's state, so that nothing of it outlives the lab.
"""

import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
sys.dont_write_bytecode = True

import demo  # noqa: E402  (the path comes first)
from lanternalab import scene  # noqa: E402
from panels import Session  # noqa: E402

# The program shows its address within a fraction of a second; ten seconds cover a machine that builds beside.
PATIENCE = 10


def label(session):
    """The text that the program's panel item asks for; None while there is no item."""
    send = ["dbus-send", "--session", "--print-reply=literal"]
    names = session.run([*send, "--dest=org.freedesktop.DBus", "/", "org.freedesktop.DBus.ListNames"]).decode()
    name = re.search(r"org\.lanterna\.Lanterna\S*", names)
    if not name:
        return None
    try:
        reply = session.run([*send, f"--dest={name[0]}", "/StatusNotifierItem", "org.freedesktop.DBus.Properties.Get",
                             "string:org.kde.StatusNotifierItem", "string:XAyatanaLabel"])
    except subprocess.CalledProcessError:
        return None
    return reply.decode().split("variant", 1)[-1].strip()


def stored(session, key):
    """A value of the program's settings; None while it is not there."""
    try:
        file = pathlib.Path(session.env["XDG_CONFIG_HOME"], "lanterna/settings.json")
        return json.loads(file.read_text(encoding="utf-8")).get(key)
    except (OSError, ValueError):
        return None


def open_menu(session):
    """Opens the item's menu with a click, and waits until it is drawn."""
    whole = (0, 0, *session.screen)
    before = session.pixels(whole)
    session.click(*session.item_position())
    session.wait_until_still(whole, different_from=before, what="the menu")


def take(session, picture):
    """The panel, and below it the screen with the open menu, which covers the panel's end."""
    session.screenshot(f"{session.folder}/panel.png", session.panel_box)
    open_menu(session)
    session.screenshot(f"{session.folder}/menu.png")
    session.run(["convert", f"{session.folder}/panel.png", f"{session.folder}/menu.png", "-append", "-crop", f"{session.screen[0]}x340+0+0", "+repage", picture])


def main(picture, first_launch):
    address = str(scene.load(demo.SCENE).sensor.address)
    with Session("xfce-label") as session:
        demo.write_settings(pathlib.Path(session.env["XDG_CONFIG_HOME"]), first_launch)
        session.env["LANTERNA_INSTANCE"] = demo.INSTANCE
        program = session.start([str(demo.PROGRAMS / "lanterna")])
        try:
            session.wait_for(lambda: label(session) is not None or program.poll() is not None, "the item on the bus", PATIENCE)
            session.wait_for_item()
            if not first_launch:
                session.wait_for(lambda: address in (label(session) or ""), f"the label {address}", PATIENCE)
                session.wait_for(lambda: stored(session, "WANIP") == demo.PUBLIC_ADDRESS, f"the public address {demo.PUBLIC_ADDRESS}", PATIENCE)
            session.wait_until_still()
            take(session, picture)
        except TimeoutError as error:
            print(f"demo: {error}; the label is {label(session)!r}\n{session.log('lanterna')}", file=sys.stderr)
            session.screenshot(picture)
            return 1
        print(f"{picture}: the panel with the label {label(session)!r}", file=sys.stderr)
        program.terminate()
        program.wait(PATIENCE)
        return 0


if __name__ == "__main__":
    with tempfile.TemporaryDirectory(prefix="demo-", dir=os.environ["LANTERNA_LAB"]) as folder:
        tempfile.tempdir = folder
        sys.exit(main(sys.argv[1], sys.argv[2:] == ["first-launch"]))
