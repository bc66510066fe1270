#!/usr/bin/python3
"""Holds the sources to .clang-format and .clang-tidy.

  lint.py format                 every source file is laid out as clang-format would
  lint.py tidy BUILD_FOLDER      every source file of a compile database passes clang-tidy

clang-tidy takes seconds a file, so a file that passed is remembered under the hash of all that its verdict hangs on: its own text and that of
every project header it reaches, its compile command, the list of checks and the tool's version.
"""

import concurrent.futures
import hashlib
import json
import os
import re
import shlex
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
FOLDERS = ("app", "cli", "cloud", "publish", "scan", "ui", "platform", "tests")
INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"', re.MULTILINE)


def sources(root):
    """All C++ files of the project."""
    for folder in FOLDERS:
        for path, _, files in os.walk(f"{root}/{folder}"):
            yield from (f"{path}/{name}" for name in sorted(files) if name.endswith((".h", ".cpp")))


def check_format():
    files = list(sources(ROOT))
    done = subprocess.run(["clang-format", "--dry-run", "-Werror", "--ferror-limit=3", *files], check=False)
    if done.returncode:
        print("Lay them out with: clang-format -i FILE...")
    return done.returncode


def read(file):
    with open(file, encoding="utf-8", errors="surrogateescape") as stream:
        return stream.read()


def reached(file, root):
    """A source file and the project headers that it reaches, sorted. Includes are written from the root."""
    found, waiting = set(), [file]
    while waiting:
        now = waiting.pop()
        if now in found or not os.path.isfile(now):
            continue
        found.add(now)
        waiting += [os.path.join(root, name) for name in INCLUDE.findall(read(now))]
    return sorted(found)


def key_of(entry, constant, root):
    """The hash that stands for one file's verdict."""
    digest = hashlib.sha256((constant + command_of(entry)).encode())
    for file in reached(entry["file"], root):
        digest.update(f"\0{os.path.relpath(file, root)}\0{read(file)}".encode(errors="surrogateescape"))
    return digest.hexdigest()


def command_of(entry):
    """The compile command without what only the compiler of the build understands: its precompiled header."""
    words = shlex.split(entry["command"])
    kept, skip = [], False
    for word, following in zip(words, words[1:] + [""]):
        if skip:
            skip = False
        elif word == "-include" and "cmake_pch" in following:
            skip = True
        elif word != "-Winvalid-pch":
            kept.append(word)
    return shlex.join(kept)


def database(build):
    """Entries of the compile database for files of the project itself; generated files are nobody's to mend."""
    with open(f"{build}/compile_commands.json", encoding="utf-8") as stream:
        entries = json.load(stream)
    inside = tuple(f"{ROOT}/{folder}/" for folder in FOLDERS)
    return {e["file"]: e for e in entries if e["file"].startswith(inside)}


def tidy(build):
    build = os.path.abspath(build)
    entries = database(build)
    version = subprocess.run(["clang-tidy", "--version"], capture_output=True, text=True, check=True).stdout
    constant = version + read(f"{ROOT}/.clang-tidy")
    folder = f"{build}/tidy"
    passed = f"{folder}/passed"
    os.makedirs(passed, exist_ok=True)
    keys = {file: key_of(entry, constant, ROOT) for file, entry in entries.items()}
    todo = [file for file, key in keys.items() if not os.path.exists(f"{passed}/{key}")]
    # clang-tidy reads commands from a database only.
    with open(f"{folder}/compile_commands.json", "w", encoding="utf-8") as stream:
        json.dump([{**e, "command": command_of(e)} for e in entries.values()], stream)
    faults = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for file, done in zip(todo, pool.map(lambda f: run_tidy(f, folder), todo)):
            if done.returncode:
                faults += 1
                print(f"{os.path.relpath(file, ROOT)}:\n{done.stdout}{done.stderr if not done.stdout else ''}", flush=True)
            else:
                with open(f"{passed}/{keys[file]}", "w", encoding="ascii"):
                    pass
    forget(passed, set(keys.values()))
    print(f"clang-tidy: {len(entries)} files, {len(todo)} looked at anew, {faults} with faults")
    return 1 if faults else 0


def run_tidy(file, folder):
    return subprocess.run(["clang-tidy", "--quiet", "-p", folder, file], capture_output=True, text=True, check=False, cwd=ROOT)


def forget(passed, known):
    """Removes verdicts on texts that are no more."""
    for name in os.listdir(passed):
        if name not in known:
            os.unlink(f"{passed}/{name}")


if __name__ == "__main__":
    if sys.argv[1:] == ["format"]:
        sys.exit(check_format())
    if len(sys.argv) == 3 and sys.argv[1] == "tidy":
        sys.exit(tidy(sys.argv[2]))
    sys.exit(__doc__)
