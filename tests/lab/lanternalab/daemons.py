"""The real daemons of the LAN: dnsmasq on the gateway, avahi-daemon and system buses on sensor and devices."""

import json
import os
import shutil
import signal
import socket
import struct
import sys
import time
from xml.sax.saxutils import escape

from .errors import LabError
from .namespaces import inside

# Probing a name takes avahi about a second (RFC 6762, section 8.1) and settles after two; ten cover a loaded machine.
START_TIMEOUT = 10


def find_program(name):
    """Daemons live in sbin, which is not in every person's PATH."""
    found = shutil.which(name, path=os.environ.get("PATH", "") + ":/usr/sbin:/sbin")
    if not found:
        raise LabError(f"'{name}' is not installed")
    return found


class Daemon:
    """One background process of a host. It can be stopped, killed and started again."""

    def __init__(self, machine, argv, log, ready):
        self.machine = machine
        self.argv = argv
        self.log = log
        self.ready = ready
        self.process = None
        self.mark = 0

    def start(self):
        if self.process and self.process.poll() is None:
            return
        self.mark = os.path.getsize(self.log) if os.path.exists(self.log) else 0
        self.process = self.machine.start_daemon(self.argv, self.log)

    def wait_ready(self):
        """Waits until it serves; LabError with its last log line when it ends or stays mute."""
        deadline = time.monotonic() + START_TIMEOUT
        while not self.ready(self):
            if self.process.poll() is not None or time.monotonic() > deadline:
                raise LabError(f"{self.machine.name}: {os.path.basename(self.argv[0])} did not start: {self.last_line()}")
            time.sleep(0.02)

    def output(self):
        """What it has written since its last start."""
        with open(self.log, encoding="utf-8", errors="replace") as file:
            file.seek(self.mark)
            return file.read()

    def last_line(self):
        return (self.output().strip().splitlines() or ["it said nothing"])[-1]

    def end(self, number=signal.SIGTERM):
        """Ends it and waits: TERM says goodbye to the network, KILL does not."""
        if self.process and self.process.poll() is None:
            self.process.send_signal(number)
            try:
                self.process.wait(3)
            except Exception:  # subprocess.TimeoutExpired: it had its chance
                self.process.kill()
                self.process.wait()
        self.process = None


def dnsmasq(machine, gateway, addresses):
    """The gateway's name server. addresses: (fully qualified name, IPv4 address) pairs, answered forwards and backwards."""
    lines = [
        "no-resolv", "no-hosts", "no-poll", "bind-interfaces", "log-facility=-",
        f"local=/{gateway.domain}/", "local=/#/", "bogus-priv",
    ]
    lines += [f"host-record={name},{address}" for name, address in addresses]
    lines += [f"address=/{name}/{address}" for name, address in gateway.records.items()]
    configuration = f"{machine.state}/dnsmasq.conf"
    with open(configuration, "w", encoding="utf-8") as file:
        file.write("\n".join(lines) + "\n")
    # --no-daemon keeps it from changing its user, which a user namespace does not allow.
    argv = [find_program("dnsmasq"), "--no-daemon", f"--conf-file={configuration}"]
    return Daemon(machine, argv, f"{machine.state}/dnsmasq.log", lambda d: answers_dns(d.machine.namespace))


def answers_dns(namespace):
    """Whether a name server answers on this host's own loopback."""
    question = struct.pack(">6H", 0x4C41, 0x0100, 1, 0, 0, 0) + b"\x03lab\x00" + struct.pack(">2H", 1, 1)
    with inside(namespace):
        client = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    with client:
        client.settimeout(0.1)
        try:
            client.connect(("127.0.0.1", 53))
            client.send(question)
            return client.recv(512)[:2] == question[:2]
        except OSError:
            return False


def avahi(machine):
    """A responder on a host whose view holds avahi_files()."""
    argv = [find_program("avahi-daemon"), "--no-rlimits", "--no-drop-root", "--no-chroot", "--no-proc-title"]
    return Daemon(machine, argv, f"{machine.state}/avahi.log", lambda d: "Server startup complete" in d.output())


def avahi_files(mdns, with_bus=False):
    """The contents of /etc/avahi. With a bus the responder serves clients, too, as on an ordinary desktop."""
    files = {"avahi/avahi-daemon.conf": "\n".join([
        "[server]", f"host-name={mdns.host}", "use-ipv4=yes", "use-ipv6=no", "deny-interfaces=lo", f"enable-dbus={'yes' if with_bus else 'no'}",
        "ratelimit-interval-usec=0", "[publish]", "publish-hinfo=no", "publish-workstation=no", "[wide-area]", "enable-wide-area=no", "",
    ]), "avahi/hosts": ""}
    for i, (name, kind, port, txt) in enumerate(mdns.services):
        records = "".join(f"<txt-record>{escape(t)}</txt-record>" for t in txt)
        files[f"avahi/services/{i}.service"] = (
            '<?xml version="1.0" standalone="no"?><!DOCTYPE service-group SYSTEM "avahi-service.dtd">\n'
            f"<service-group><name>{escape(name)}</name><service><type>{kind}</type><port>{port}</port>{records}</service></service-group>\n")
    return files


def script(machine, name, *arguments):
    """One of this folder's own programs, which say "ready" once they serve."""
    argv = [sys.executable, "-B", os.path.join(os.path.dirname(os.path.abspath(__file__)), f"{name}.py"), *arguments]
    return Daemon(machine, argv, f"{machine.state}/{name}.log", lambda d: "ready" in d.output())


def raw_crowd(machine, crowd):
    """The process that plays a crowd, on the interface "trunk"."""
    members = [[str(address.ip), mac] for _, address, mac, _ in crowd.members()]
    description = {"members": members, "answers_every": crowd.raw.answers_every, "late_ms": crowd.raw.late_ms, "refuses": crowd.raw.refuses}
    return script(machine, "raw_crowd", "trunk", described(machine, description))


def hostile_mdns(machine, host):
    """A device's responder that means no good."""
    hostile = host.hostile
    description = {"address": str(host.address), "ways": hostile.ways, "rate": hostile.rate, "victims": hostile.victims, "seed": hostile.seed}
    return script(machine, "hostile_mdns", described(machine, description))


def described(machine, description):
    path = f"{machine.state}/description.json"
    with open(path, "w", encoding="utf-8") as file:
        json.dump(description, file)
    return path


def accounts(original=""):
    """/etc/passwd and /etc/group in which the daemons' own users are root.

    A user namespace maps one user only: no other could be switched to or be given a file. Other lines of an original passwd stay.
    """
    kept = [line for line in original.splitlines() if line.split(":")[0] not in ("avahi", "messagebus")]
    kept = kept or ["root:x:0:0:root:/root:/bin/sh", "nobody:x:65534:65534:nobody:/:/bin/false"]
    passwd = [*kept, "avahi:x:0:0:avahi:/:/bin/false", "messagebus:x:0:0:bus:/:/bin/false"]
    group = ["root:x:0:", "avahi:x:0:", "messagebus:x:0:", "netdev:x:0:", "nogroup:x:65534:"]
    return {"passwd": "\n".join(passwd) + "\n", "group": "\n".join(group) + "\n"}


BUS_CONFIGURATION = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path=%s</listen>
  <auth>EXTERNAL</auth>
  <auth>ANONYMOUS</auth>
  <allow_anonymous/>
  <servicedir>%s</servicedir>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow receive_sender="*"/>
  </policy>
</busconfig>
"""


def system_bus(machine):
    """A message bus of the host's own, at the usual path of its /run.

    Whoever calls the avahi-daemon while it does not run has the bus start it, as on an ordinary desktop. Here that only leaves the file
    "avahi-activated" in the host's folder, and fails: of a program that ended well the bus believes that its daemon is on the way, and keeps the
    caller waiting for 25 s.
    """
    services = f"{machine.state}/bus-services"
    os.makedirs(services, exist_ok=True)
    with open(f"{services}/org.freedesktop.Avahi.service", "w", encoding="utf-8") as file:
        start = f'{find_program("sh")} -c "touch {machine.state}/avahi-activated; exit 1"'
        file.write(f"[D-BUS Service]\nName=org.freedesktop.Avahi\nExec={start}\nUser=root\n")
    configuration = f"{machine.state}/bus.conf"
    with open(configuration, "w", encoding="utf-8") as file:
        file.write(BUS_CONFIGURATION % ("/run/dbus/system_bus_socket", services))
    socket_file = f"{machine.run_folder}/dbus/system_bus_socket"
    if os.path.exists(socket_file):
        os.unlink(socket_file)
    argv = [find_program("dbus-daemon"), f"--config-file={configuration}", "--nofork", "--nopidfile", "--nosyslog"]
    return Daemon(machine, argv, f"{machine.state}/bus.log", lambda d: os.path.exists(socket_file))
