"""The control channel: a test that runs inside the LAN changes it through a socket.

One request is one line, a JSON list of words; one reply is one line, {"ok": true, "result": ...} or {"ok": false, "error": "..."}.
Requests of several connections take turns, except `exec`, which may take long.
"""

import json
import os
import socket
import subprocess
import threading

from .errors import LabError, SceneError
from .pages import MODES

HELP = """\
addr add|del HOST INTERFACE ADDRESS/PREFIX   an address of a host comes or goes
link up|down HOST INTERFACE                  an interface goes up or down
link add HOST INTERFACE SEGMENT [MAC]        plugs a new interface in
link del HOST INTERFACE                      and away again
link mac HOST INTERFACE MAC                  another hardware address, announced to all
route add|del HOST ROUTE...                  in the words of `ip route`
plug HOST, unplug HOST                       the cable at the switch; nobody says goodbye
device add JSON, device del NAME             in the words of a scene's device
sleep HOST, wake HOST                        answers ARP only, or everything again
port open|close HOST PORT                    a listening TCP port
http start|stop HOST                         the web server listens or refuses
http HOST PATH KEY=VALUE...                  changes a page: mode, body, status, delay, wait, size, location
http count HOST PATH                         how often the path was asked for
mdns start|stop|kill HOST                    the responder; stop says goodbye, kill does not
dns start|stop|mute|unmute                   the gateway's name server
bus start|stop                               the sensor's system bus
etc FILE TEXT                                replaces a file of the sensor's /etc
exec HOST [--] COMMAND...                    runs a command as the lab's root on a host; its exit code is passed on
scene                                        the scene as JSON
modes                                        what a page's mode may be"""


class Control:
    """Serves the socket. One thread a connection."""

    def __init__(self, lan, path):
        self.lan = lan
        self.lock = threading.Lock()
        self.listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.listener.bind(path)
        os.chmod(path, 0o666)
        self.listener.listen(16)
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        while True:
            connection, _ = self.listener.accept()
            threading.Thread(target=self.serve, args=(connection,), daemon=True).start()

    def serve(self, connection):
        with connection, connection.makefile("rw", encoding="utf-8") as stream:
            for line in stream:
                try:
                    reply = {"ok": True, "result": self.handle(json.loads(line))}
                except (LabError, OSError, ValueError, TypeError) as error:
                    reply = {"ok": False, "error": str(error)}
                stream.write(json.dumps(reply) + "\n")
                stream.flush()

    def handle(self, words):
        if not isinstance(words, list) or not words or not all(isinstance(w, str) for w in words):
            raise SceneError("a request is a list of words")
        if words[0] == "exec":
            return self.execute(words[1:])
        with self.lock:
            for length in (2, 1):
                action = ACTIONS.get(tuple(words[:length]))
                if action and len(words) >= length:
                    return run_action(action, self.lan, words[length:])
        raise SceneError(f"unknown request '{' '.join(words)}'; `ctl help` lists them")

    def execute(self, words):
        if len(words) < 2:
            raise SceneError("exec wants a host and a command")
        command = words[2:] if words[1] == "--" else words[1:]
        if words[0] not in self.lan.machines:
            raise SceneError(f"there is no host '{words[0]}'")
        child = self.lan.machines[words[0]].popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        out, error = child.communicate()
        return {"status": child.returncode, "out": out.decode(errors="replace"), "err": error.decode(errors="replace")}


def run_action(action, lan, words):
    """Calls an action with words as its arguments; a wrong number of them is the caller's mistake."""
    code = action.__code__
    required = code.co_argcount - len(action.__defaults__ or ()) - 1
    if len(words) < required or (len(words) > code.co_argcount - 1 and not code.co_flags & 0x04):  # CO_VARARGS
        raise SceneError("wrong number of words; `ctl help` lists them")
    return action(lan, *words)


def change_address(verb):
    return lambda lan, host, interface, address: lan.machines[lan.host(host).name].ip([f"addr {verb} {address} dev {interface}"])


def change_link(verb):
    return lambda lan, host, interface: lan.machines[lan.host(host).name].ip([f"link set {interface} {verb}"])


def change_mac(lan, host, interface, mac):
    # While it is up: the announcement that follows a start would meet a switch that does not forward yet.
    lan.machines[lan.host(host).name].ip([f"link set {interface} address {mac}"])


def change_route(verb):
    return lambda lan, host, *route: lan.machines[lan.host(host).name].ip([f"route {verb} {' '.join(route)}"])


def change_page(lan, host, path, *pairs):
    for pair in pairs:
        if "=" not in pair:
            raise SceneError(f"'{pair}' is not KEY=VALUE")
    lan.web(host).change(path, dict(pair.split("=", 1) for pair in pairs))


def start_daemon(kind):
    def start(lan, name=""):
        daemon = lan.daemon(kind, name)
        daemon.start()
        daemon.wait_ready()
    return start


def number(text):
    if not text.isascii() or not text.isdigit() or not 0 < int(text) < 65536:
        raise SceneError(f"'{text}' is no TCP port")
    return int(text)


ACTIONS = {
    ("addr", "add"): change_address("add"),
    ("addr", "del"): change_address("del"),
    ("link", "up"): change_link("up"),
    ("link", "down"): change_link("down"),
    ("link", "add"): lambda lan, host, interface, segment, mac=None: lan.add_interface(host, interface, segment, mac),
    ("link", "del"): lambda lan, host, interface: lan.remove_interface(host, interface),
    ("link", "mac"): change_mac,
    ("route", "add"): change_route("add"),
    ("route", "del"): change_route("del"),
    ("plug",): lambda lan, host: lan.plug(host, True),
    ("unplug",): lambda lan, host: lan.plug(host, False),
    ("device", "add"): lambda lan, text: lan.add_device(json.loads(text)),
    ("device", "del"): lambda lan, name: lan.remove_device(name),
    ("sleep",): lambda lan, host: lan.change_filter(host, True),
    ("wake",): lambda lan, host: lan.change_filter(host, False),
    ("port", "open"): lambda lan, host, port: lan.open_port(host, lan.machines[lan.host(host).name].namespace, number(port)),
    ("port", "close"): lambda lan, host, port: lan.keeper and lan.keeper.close(lan.host(host).name, number(port)),
    ("http", "start"): lambda lan, host: lan.web(host).start(),
    ("http", "stop"): lambda lan, host: lan.web(host).stop(),
    ("http", "count"): lambda lan, host, path: lan.web(host).count(path),
    ("http",): change_page,
    ("mdns", "start"): start_daemon("mdns"),
    ("mdns", "stop"): lambda lan, host: lan.daemon("mdns", host).end(),
    ("mdns", "kill"): lambda lan, host: lan.daemon("mdns", host).end(9),
    ("dns", "start"): start_daemon("dns"),
    ("dns", "stop"): lambda lan: lan.daemon("dns", "").end(),
    ("dns", "mute"): lambda lan: lan.mute_dns(True),
    ("dns", "unmute"): lambda lan: lan.mute_dns(False),
    ("bus", "start"): start_daemon("bus"),
    ("bus", "stop"): lambda lan: lan.daemon("bus", "").end(),
    ("etc",): lambda lan, name, text: lan.write_etc(name, text),
    ("scene",): lambda lan: lan.scene.source,
    ("modes",): lambda lan: MODES,
    ("help",): lambda lan: HELP,
}


def request(folder, words):
    """The client's side: the result of one request; LabError with the lab's own line when it refuses."""
    client = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    try:
        client.connect(f"{folder}/control")
    except OSError as error:
        raise LabError(f"no lab answers at {folder}: {error.strerror}") from error
    with client, client.makefile("rw", encoding="utf-8") as stream:
        stream.write(json.dumps(words) + "\n")
        stream.flush()
        line = stream.readline()
    if not line:
        raise LabError("the lab ended")
    reply = json.loads(line)
    if not reply["ok"]:
        raise LabError(reply["error"])
    return reply["result"]
