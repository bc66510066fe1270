#!/usr/bin/python3
"""Builds a LAN of network namespaces on this machine and runs a command in one of its hosts, the sensor.

  lab.py run [--user UID:GID] [--verbose] SCENE.json [--] COMMAND...
  lab.py check SCENE.json...       reads scenes and says what is wrong with them
  lab.py can-run                   exit code 0, or 77 and the reason why this machine cannot run a lab
  lab.py ctl WORDS...              inside: changes the LAN (`ctl help` lists how)

Exit code: the command's own; 2 for a scene or argument that is not understood, 70 when the LAN could not be built, 77 when this machine
allows no namespaces. Nothing of a lab is left when it ends, however it ends.
"""

import json
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
sys.dont_write_bytecode = True

from lanternalab import control, scene, session  # noqa: E402  (the path comes first)
from lanternalab.errors import EXIT_USAGE, LabError, SceneError  # noqa: E402
from lanternalab.namespaces import run_isolated  # noqa: E402


def main(words):
    try:
        if not words or words[0] in ("-h", "--help"):
            print(__doc__.strip(), file=sys.stdout if words else sys.stderr)
            return 0 if words else EXIT_USAGE
        verbs = {"run": run, "check": check, "can-run": can_run, "ctl": ctl}
        if words[0] not in verbs:
            raise SceneError(f"unknown word '{words[0]}'; --help lists them")
        return verbs[words[0]](words[1:])
    except LabError as error:
        print(f"lab: {error}", file=sys.stderr)
        return error.code


def run(words):
    user, verbose = None, False
    while words and words[0].startswith("--") and words[0] != "--":
        option = words.pop(0)
        if option == "--verbose":
            verbose = True
        elif option == "--user" and words:
            user = parse_user(words.pop(0))
        else:
            raise SceneError(f"unknown option '{option}'; --help lists them")
    if not words:
        raise SceneError("run wants a scene and a command")
    file, command = words[0], words[1:]
    if command[:1] == ["--"]:
        command = command[1:]
    if not command:
        raise SceneError("run wants a command")
    return session.run(scene.load(file), command, user, verbose)


def parse_user(text):
    uid, _, gid = text.partition(":")
    if not uid.isdigit() or not (gid or uid).isdigit():
        raise SceneError(f"'{text}' is not UID:GID")
    return int(uid), int(gid or uid)


def check(words):
    for file in words:
        try:
            scene.load(file)
        except SceneError as error:
            raise SceneError(f"{file}: {error}") from error
    return 0


def can_run(words):
    if words:
        raise SceneError("can-run takes no words")
    return run_isolated(lambda rootless: 0)


def ctl(words):
    folder = os.environ.get("LANTERNA_LAB")
    if not folder:
        raise SceneError("LANTERNA_LAB is not set: this is not the inside of a lab")
    result = control.request(folder, words)
    if words[:1] == ["exec"]:
        sys.stdout.write(result["out"])
        sys.stderr.write(result["err"])
        return result["status"] if result["status"] >= 0 else 128 - result["status"]
    if result is not None:
        print(result if isinstance(result, str) else json.dumps(result, indent=2))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
