"""The arrows between the folders: an include may only run down. docs/ARCHITECTURE.md draws the floors."""

import os
import re

FLOORS = {"app": 4, "cli": 4, "cloud": 3, "publish": 3, "scan": 2, "ui": 2, "platform": 1}
# The one sideways arrow: the headless program is the same core without a window.
SIDEWAYS = {("cli", "app")}
# The system behind the ports is named by the two programs' main files alone, which choose it.
SYSTEM = "platform/linux/"
ASSEMBLERS = ("app/main.cpp", "cli/main.cpp")
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^">]+)[">]', re.MULTILINE)
SOURCES = (".h", ".cpp", ".hpp", ".cc", ".c", ".inc")


def fault(file, quote, target):
    """What is wrong with one include of a file (both relative to the root), or None."""
    folder, other = file.split("/")[0], target.split("/")[0]
    if target.startswith("tests/"):
        return "the product does not know its tests"
    if other not in FLOORS:
        generated = target.endswith(".moc") or target.startswith("moc_")
        return None if quote == "<" or generated else "includes are written from the root"
    if ".." in target.split("/"):
        return "includes are written from the root"
    if target.startswith(SYSTEM) and not file.startswith(SYSTEM) and file not in ASSEMBLERS:
        return f"only {' and '.join(ASSEMBLERS)} name {SYSTEM}"
    if folder != other and FLOORS[folder] <= FLOORS[other] and (folder, other) not in SIDEWAYS:
        return f"{folder}/ (floor {FLOORS[folder]}) must not look at {other}/ (floor {FLOORS[other]})"
    return None


def faults_of(file, text):
    """One line for each include of a file that breaks a rule."""
    found = []
    for match in INCLUDE.finditer(text):
        why = fault(file, match[1], match[2])
        if why:
            line = text.count("\n", 0, match.start(2)) + 1
            found.append(f'{file}:{line}: "{match[2]}": {why}')
    return found


def sources(root):
    """The product's source files, relative to the root."""
    for folder in FLOORS:
        for path, _, files in os.walk(f"{root}/{folder}"):
            yield from (os.path.relpath(f"{path}/{f}", root) for f in sorted(files) if f.endswith(SOURCES))


def faults_in(root):
    found = []
    for file in sources(root):
        with open(f"{root}/{file}", encoding="utf-8") as stream:
            found += faults_of(file, stream.read())
    return found
