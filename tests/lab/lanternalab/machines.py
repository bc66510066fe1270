"""The running hosts: their namespaces, cables, addresses and packet filters, and their private views of /etc and /run."""

import os
import subprocess

from .errors import LabError
from .namespaces import inside, make_network_namespace

# Mounts a host's own /etc and /run over the machine's, in a mount namespace that dies with the command. /sys shows the host's interfaces.
VIEW = """set -e
mount --bind "$1" /etc
if [ -d /run/user ] && [ -d "$2/user" ]; then mount --rbind /run/user "$2/user"; fi
mount --rbind "$2" /run
mount -t sysfs sysfs /sys
shift 2
exec "$@"
"""
# No proxy of the machine may answer in the LAN's place, and its message bus must not: the machine's avahi-daemon sees the real network.
HIDDEN_VARIABLES = ("http_proxy", "https_proxy", "all_proxy", "no_proxy", "ftp_proxy", "DBUS_STARTER_BUS_TYPE", "DBUS_STARTER_ADDRESS")


class Machine:
    """One host of the LAN as it runs. The state folder belongs to the lab."""

    def __init__(self, state, name):
        self.name = name
        self.namespace = f"{state}/net/{name}"
        self.state = f"{state}/hosts/{name}"
        self.etc = f"{self.state}/etc"
        self.run_folder = f"{self.state}/run"
        self.ports = {}  # interface name: the switch's end of its cable
        os.makedirs(self.state)
        make_network_namespace(self.namespace)

    def ip(self, lines):
        """Runs lines of `ip -batch` in this host."""
        with inside(self.namespace):
            ip_batch(lines)

    def sysctl(self, key, value):
        """Sets a per-namespace kernel setting; a kernel without it is left alone."""
        try:
            with inside(self.namespace), open(f"/proc/sys/net/{key}", "w", encoding="ascii") as file:
                file.write(value)
        except FileNotFoundError:
            pass

    def filter(self, rules):
        """Replaces the host's packet filter by chains of this text; an empty one lets everything through."""
        with inside(self.namespace):
            text = f"table inet lab\ndelete table inet lab\ntable inet lab {{\n{rules}\n}}\n"
            run_quietly(["nft", "-f", "-"], text)

    def make_view(self, etc_files, own_folders=(), with_user_folder=False):
        """Prepares this host's own /etc (the machine's, with some files replaced and some folders emptied) and an empty /run."""
        os.makedirs(f"{self.run_folder}/lock", exist_ok=True)
        os.makedirs(f"{self.run_folder}/dbus", exist_ok=True)
        if with_user_folder:
            os.makedirs(f"{self.run_folder}/user", exist_ok=True)
        overlay_etc(f"{self.state}/machine-etc", self.etc, etc_files, own_folders)

    def view(self, argv):
        """argv as it has to be started so that it sees this host's /etc, /run and /sys."""
        return ["unshare", "--mount", "--propagation", "private", "sh", "-c", VIEW, "sh", self.etc, self.run_folder, *argv]

    def popen(self, argv, **options):
        """Starts a child in this host's network; with a view if it has one."""
        argv = self.view(argv) if os.path.isdir(self.etc) else argv
        with inside(self.namespace):
            return subprocess.Popen(argv, **options)

    def start_daemon(self, argv, log):
        """Starts a child that Ctrl-C does not reach and that writes into a log file."""
        with open(log, "ab") as output:
            return self.popen(argv, stdin=subprocess.DEVNULL, stdout=output, stderr=output, start_new_session=True)


def ip_batch(lines):
    run_quietly(["ip", "-batch", "-"], "\n".join(lines) + "\n")


def run_quietly(argv, text):
    """Runs a tool on some input; LabError with its first complaint when it fails."""
    try:
        done = subprocess.run(argv, input=text, text=True, capture_output=True, check=False)
    except FileNotFoundError as error:
        raise LabError(f"'{argv[0]}' is not installed") from error
    if done.returncode != 0:
        words = done.stderr.strip().splitlines() or [f"exit code {done.returncode}"]
        raise LabError(f"{argv[0]}: {' / '.join(words[:3])}")


def overlay_etc(original, target, files, own_folders):
    """Builds a folder that looks like /etc with some files replaced: links to the machine's entries, and real files for ours.

    `original` is made to show the machine's /etc under a name that stays reachable when the folder is mounted on /etc. Links are copied
    as they are, so that relative ones keep their meaning. A folder that holds one of our files is real, too, and linked entry by entry.
    """
    if not os.path.isdir(original):
        os.mkdir(original)
        run_quietly(["mount", "--bind", "/etc", original], "")
    os.mkdir(target)
    link_entries(original, target)
    for folder in own_folders:
        if os.path.lexists(f"{target}/{folder}"):
            os.unlink(f"{target}/{folder}")
        os.mkdir(f"{target}/{folder}")
    for name, text in files.items():
        parts = name.split("/")[:-1]
        for depth in range(1, len(parts) + 1):
            folder = "/".join(parts[:depth])
            if os.path.islink(f"{target}/{folder}"):
                os.unlink(f"{target}/{folder}")
            if not os.path.isdir(f"{target}/{folder}"):
                os.mkdir(f"{target}/{folder}")
                if parts[0] not in own_folders:
                    link_entries(f"{original}/{folder}", f"{target}/{folder}")
        if os.path.islink(f"{target}/{name}"):
            os.unlink(f"{target}/{name}")
        with open(f"{target}/{name}", "w", encoding="utf-8") as file:
            file.write(text)


def link_entries(original, target):
    try:
        entries = list(os.scandir(original))
    except OSError:
        return  # absent on this machine, or not ours to read: then only our files are there
    for entry in entries:
        source = os.readlink(entry.path) if entry.is_symlink() else entry.path
        os.symlink(source, f"{target}/{entry.name}")
