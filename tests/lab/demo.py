#!/usr/bin/python3
"""Runs Lanterna inside the virtual LAN of scenes/demo.json, with folders and an instance name of its own: ./run --demo.

  demo.py [first-launch] [--xvfb FILE.png]

It neither touches nor is swallowed by a Lanterna that already runs, and no packet leaves the machine. With --xvfb it brings a display and a
panel of its own and ends after leaving a picture of them. Needs root, a kernel that allows user namespaces, or sudo.
"""

import json
import os
import pathlib
import re
import shutil
import stat
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent
sys.path.insert(0, str(HERE))
sys.dont_write_bytecode = True

from lanternalab import scene, session  # noqa: E402  (the path comes first)
from lanternalab.errors import LabError, SceneError  # noqa: E402

SCENE = HERE / "scenes/demo.json"
# A test names the build that it belongs to.
PROGRAMS = pathlib.Path(os.environ.get("LANTERNA_PROGRAMS", ROOT / "build/release"))
INSTANCE = "demo"
# The web server of the scene, which plays configuration URL and address checker.
CONFIGURATION = "http://203.0.113.80/lanterna.txt"
PUBLIC_ADDRESS = "203.0.113.7"
# What of the caller's surroundings the programs in the LAN need when sudo has to come between.
PASSED_ON = "LANTERNA_PROGRAMS,DISPLAY,WAYLAND_DISPLAY,XAUTHORITY,XDG_RUNTIME_DIR,XDG_SESSION_TYPE,XDG_CURRENT_DESKTOP,DBUS_SESSION_BUS_ADDRESS,LANG,TERM,COLORTERM"


def main(words):
    first_launch, picture = parse(words)
    value = scene.load(SCENE)
    if not (PROGRAMS / "lanterna").exists():
        raise LabError(f"{PROGRAMS}/lanterna is not built; ./run --demo builds it")
    if not can_build_lan():
        return ask_for_root(words)
    if picture:
        command = [sys.executable, "-B", str(HERE / "demo_picture.py"), picture, *(["first-launch"] if first_launch else [])]
        return session.run(value, command)
    display = reachable_display()
    user = owner_of_session()
    folder = pathlib.Path(tempfile.mkdtemp(prefix="lanterna-demo-"))
    try:
        environment = own_folders(folder, first_launch)
        give_to(folder, user)
        os.environ.update(environment)
        if display:
            os.environ.update(display)
            command = [str(PROGRAMS / "lanterna")]
            print("Lanterna is in your panel, inside the virtual LAN. Ctrl-C ends it.", file=sys.stderr)
        else:
            command = [str(PROGRAMS / "lanternactl"), "run"]
            print("No display: showing the title and the menu here, inside the virtual LAN. Ctrl-C ends it.", file=sys.stderr)
        return session.run(value, command, user)
    finally:
        shutil.rmtree(folder, ignore_errors=True)


def parse(words):
    words = list(words)
    first_launch, picture = False, None
    while words:
        word = words.pop(0)
        if word == "first-launch":
            first_launch = True
        elif word == "--xvfb" and words:
            picture = os.path.abspath(words.pop(0))
        else:
            raise SceneError(f"unknown word '{word}'")
    return first_launch, picture


def can_build_lan():
    """Whether namespaces are to be had; tried in a child, because the trial changes the process that makes it."""
    return subprocess.run([sys.executable, "-B", str(HERE / "lab.py"), "can-run"], stderr=subprocess.DEVNULL, check=False).returncode == 0


def ask_for_root(words):
    """Starts this program again through sudo, where the kernel keeps namespaces to root."""
    if os.getuid() == 0 or not shutil.which("sudo"):
        return subprocess.run([sys.executable, "-B", str(HERE / "lab.py"), "can-run"], check=False).returncode
    print("This system keeps network namespaces to root: sudo may ask for your password.", file=sys.stderr, flush=True)
    os.execvp("sudo", ["sudo", f"--preserve-env={PASSED_ON}", sys.executable, "-B", str(HERE / "demo.py"), *words])
    return 1


def bus_socket():
    """The path of the session bus's socket, or None when it has none that another network namespace could reach."""
    address = os.environ.get("DBUS_SESSION_BUS_ADDRESS")
    if not address:
        # Without the variable every client looks here.
        path = os.environ.get("XDG_RUNTIME_DIR", "/nowhere") + "/bus"
    else:
        match = re.match(r"unix:path=([^,;]+)", address)
        path = match[1] if match else "/nowhere"
    return path if os.path.exists(path) else None


def reachable_display():
    """The variables that reach the desktop from inside the LAN, or None to use the terminal. Sockets by path are reachable, abstract ones and TCP are not."""
    found = {}
    number = re.match(r"(?:unix)?:(\d+)", os.environ.get("DISPLAY", ""))
    if number and os.path.exists(f"/tmp/.X11-unix/X{number[1]}"):
        found["DISPLAY"] = os.environ["DISPLAY"]
    wayland = os.path.join(os.environ.get("XDG_RUNTIME_DIR", "/nowhere"), os.environ.get("WAYLAND_DISPLAY") or "nowhere")
    if os.path.exists(wayland):
        found["WAYLAND_DISPLAY"] = wayland  # an absolute path stays right when the runtime folder is another one
    bus = bus_socket()
    if found and bus:
        return {**found, "DBUS_SESSION_BUS_ADDRESS": f"unix:path={bus}"}
    if os.environ.get("DISPLAY") or os.environ.get("WAYLAND_DISPLAY"):
        print("The display or the session's message bus has no socket that can be reached from inside the LAN.", file=sys.stderr)
    return None


def owner_of_session():
    """(uid, gid) of who owns the session bus, or of who called sudo, or None for root itself."""
    if os.getuid() != 0:
        return os.getuid(), os.getgid()
    bus = bus_socket()
    if bus and os.stat(bus).st_uid != 0:
        found = os.stat(bus)
        return found.st_uid, found.st_gid
    if os.environ.get("SUDO_UID", "0") != "0":
        return int(os.environ["SUDO_UID"]), int(os.environ["SUDO_GID"])
    return None


def settings(first_launch):
    """The settings the demonstration starts from. The first launch knows no more than where the LAN's own checker is."""
    known = {"configurationURL": CONFIGURATION}
    return known if first_launch else {**known, "first_run": "TRUE", "whichIP": 1}


def own_folders(folder, first_launch):
    """Makes the program's folders and answers the variables that name them."""
    variables = {"XDG_CONFIG_HOME": "config", "XDG_DATA_HOME": "data", "XDG_STATE_HOME": "state", "XDG_CACHE_HOME": "cache", "XDG_RUNTIME_DIR": "run"}
    for name in variables.values():
        (folder / name).mkdir(mode=0o700)
    write_settings(folder / "config", first_launch)
    return {**{key: str(folder / name) for key, name in variables.items()}, "LANTERNA_INSTANCE": INSTANCE}


def write_settings(config, first_launch):
    (config / "lanterna").mkdir(mode=0o700, exist_ok=True)
    file = config / "lanterna/settings.json"
    file.write_text(json.dumps(settings(first_launch), indent=2) + "\n", encoding="utf-8")
    file.chmod(stat.S_IRUSR | stat.S_IWUSR)


def give_to(folder, user):
    """The folders belong to who the program runs as. A panel of the same person may read icons in them."""
    if not user or os.getuid() != 0:
        return
    for path in [folder, *folder.rglob("*")]:
        os.chown(path, *user)


if __name__ == "__main__":
    try:
        sys.exit(main(sys.argv[1:]))
    except LabError as error:
        print(f"demo: {error}", file=sys.stderr)
        sys.exit(error.code)
