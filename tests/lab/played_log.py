"""A system log for one host of a lab: whatever its programs log comes here, and to no log of the machine."""

import os
import socket
import threading
import time

from lanternalab.namespaces import MS_REC, mount

# <sys/mount.h>
MS_BIND = 0x1000
DEVICES = ("null", "zero", "full", "random", "urandom", "tty")
LINKS = {"ptmx": "pts/ptmx", "fd": "/proc/self/fd", "stdin": "/proc/self/fd/0", "stdout": "/proc/self/fd/1", "stderr": "/proc/self/fd/2"}
# Lines that wait to be read; a program whose line finds no room writes it to its standard error.
ROOM = 512


class PlayedSystemLog:
    """Serves /dev/log of the mount namespace that this process is in, which gets a /dev of its own. `folder` is a new one for that."""

    def __init__(self, folder):
        self.lines = []  # (time.monotonic(), process id, text), in the order in which they came
        give_own_dev(folder)
        with open("/proc/sys/net/unix/max_dgram_qlen", "w", encoding="ascii") as room:
            room.write(str(ROOM))
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.socket.bind("/dev/log")
        threading.Thread(target=self.serve, daemon=True).start()

    def serve(self):
        while True:
            text = self.socket.recv(1 << 20).decode(errors="replace")
            head, _, line = text.partition("]: ")
            self.lines.append((time.monotonic(), int(head.rpartition("[")[2]), line))

    def of(self, process):
        """[(time, text)] of one process."""
        return [(at, line) for at, number, line in list(self.lines) if number == process.pid]


def give_own_dev(folder):
    os.mkdir(folder)
    mount("tmpfs", folder, "tmpfs", data=b"mode=0755")
    for name in DEVICES:
        with open(f"{folder}/{name}", "wb"):
            mount(f"/dev/{name}", f"{folder}/{name}", flags=MS_BIND)
    for name, kind, options in (("pts", "devpts", b"newinstance,ptmxmode=0666"), ("shm", "tmpfs", None)):
        os.mkdir(f"{folder}/{name}")
        mount(kind, f"{folder}/{name}", kind, data=options)
    for name, target in LINKS.items():
        os.symlink(target, f"{folder}/{name}")
    mount(folder, "/dev", flags=MS_BIND | MS_REC)
