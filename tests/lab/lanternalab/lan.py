"""The LAN: builds what a scene describes, and changes it while a command runs in it."""

import ipaddress
import os
import signal

from . import daemons
from .errors import SceneError
from .machines import Machine, ip_batch
from .namespaces import make_network_namespace
from .ports import PortKeeper
from .reader import Reader
from .scene import Gateway, Host, Interface, hosts_of, parse_device
from .web import WebServer

NSSWITCH = "passwd: files\ngroup: files\nshadow: files\nhosts: files dns\nnetworks: files\nprotocols: files\nservices: files\n"


class Lan:
    """All of one scene. The calling thread's network namespace becomes the switch; every segment is a bridge in it."""

    def __init__(self, scene, state, rootless):
        self.scene = scene
        self.state = state
        self.rootless = rootless
        self.machines = {}
        self.hosts = {}
        self.webs = {}
        self.avahis = {}
        self.name_server = None
        self.bus = None
        self.keeper = None
        self.bridges = {}
        self.next_port = 0
        os.makedirs(f"{state}/net")
        os.makedirs(f"{state}/hosts")

    def build(self):
        """Everything up to the point where the sensor's command may start."""
        self.make_bridges()
        for host in hosts_of(self.scene):
            self.add_machine(host)
        self.connect_all()
        for host in hosts_of(self.scene):
            self.bring_up(host)
        started = [daemon for crowd in self.scene.crowds for daemon in self.add_crowd(crowd)]
        self.finish_sensor()
        started += self.start_name_server() + [self.avahis[n] for n in self.avahis]
        for host in hosts_of(self.scene):
            self.serve(host)
        for daemon in started:
            daemon.wait_ready()

    # Wires

    def make_bridges(self):
        lines = ["link set lo up"]
        for i, segment in enumerate(self.scene.segments):
            self.bridges[segment] = f"br{i}"
            # Without snooping every multicast reaches every port, as on a plain home switch.
            lines += [f"link add br{i} type bridge mcast_snooping 0 forward_delay 0", f"link set br{i} up"]
        ip_batch(lines)

    def add_machine(self, host):
        machine = Machine(self.state, host.name)
        self.machines[host.name] = machine
        self.hosts[host.name] = host
        if not any(i.ipv6 or i.ipv6_link_local for i in host.interfaces):
            machine.sysctl("ipv6/conf/all/disable_ipv6", "1")
            machine.sysctl("ipv6/conf/default/disable_ipv6", "1")
        # As systemd sets it everywhere: without it the second address of a network goes with the first.
        machine.sysctl("ipv4/conf/all/promote_secondaries", "1")
        # A new hardware address is made known, as network managers do.
        machine.sysctl("ipv4/conf/all/arp_notify", "1")
        # Addresses are usable at once: nobody else in a scene has them unless the scene says so.
        machine.sysctl("ipv6/conf/default/accept_dad", "0")
        return machine

    def cable_lines(self, host, interface):
        """`ip` lines, for the switch, that plug an interface of a host in."""
        if interface.segment not in self.bridges:
            raise SceneError(f"unknown segment '{interface.segment}'")
        port = f"p{self.next_port}"
        self.next_port += 1
        machine = self.machines[host.name]
        machine.ports[interface.name] = port
        mac = f"address {interface.mac} " if interface.mac else ""
        return [f"link add {port} type veth peer name {interface.name} {mac}netns {machine.namespace}",
                f"link set {port} master {self.bridges[interface.segment]} up"]

    def connect_all(self):
        lines = [line for host in hosts_of(self.scene) for i in host.interfaces for line in self.cable_lines(host, i)]
        if lines:
            ip_batch(lines)

    def bring_up(self, host):
        """Addresses and routes of a host whose cables are plugged in."""
        lines = ["link set lo up"]
        for interface in host.interfaces:
            lines += interface_lines(interface)
        gateway = host.gateway or self.default_gateway(host)
        metric = getattr(host, "metric", None)
        if gateway and host.interfaces and self.reaches(host, gateway):
            lines.append(f"route add default via {gateway}" + (f" metric {metric}" if metric is not None else ""))
        lines += [f"route add {route}" for route in getattr(host, "routes", [])]
        machine = self.machines[host.name]
        machine.ip(lines)
        if isinstance(host, Gateway):
            machine.sysctl("ipv4/ip_forward", "1")
        rules = filter_rules(host)
        if rules:
            machine.filter(rules)

    def default_gateway(self, host):
        """The scene's gateway, for a device that names none itself. The sensor has exactly what the scene gives it."""
        if host is self.scene.sensor or not self.scene.gateway or host is self.scene.gateway:
            return None
        near = [a.ip for i in self.scene.gateway.interfaces for a in i.ipv4 if self.reaches(host, a.ip)]
        return near[0] if near else None

    @staticmethod
    def reaches(host, address):
        return any(address in a.network for i in host.interfaces if i.up for a in i.ipv4)

    # Services

    def serve(self, host):
        """Opens the host's TCP ports and web pages."""
        namespace = self.machines[host.name].namespace
        for port in host.open:
            self.open_port(host.name, namespace, port)
        if host.web:
            self.webs[host.name] = WebServer(namespace, host.web)
            self.webs[host.name].start()

    def open_port(self, name, namespace, port):
        self.keeper = self.keeper or PortKeeper()
        self.keeper.open(name, namespace, port)

    def prepare_mdns(self, host):
        """Starts the host's responder without waiting for it."""
        machine = self.machines[host.name]
        machine.make_view({**daemons.avahi_files(host.mdns, host.system_bus), **daemons.accounts()}, own_folders=("avahi",))
        if host.system_bus:
            self.start_bus(machine)
        self.avahis[host.name] = daemons.avahi(machine)
        self.avahis[host.name].start()

    @staticmethod
    def start_bus(machine):
        bus = daemons.system_bus(machine)
        bus.start()
        bus.wait_ready()
        return bus

    def prepare_hostile(self, host):
        """Starts the host's hostile responder without waiting for it; the verbs of `mdns` stop and start it."""
        self.avahis[host.name] = daemons.hostile_mdns(self.machines[host.name], host)
        self.avahis[host.name].start()

    def finish_sensor(self):
        """The sensor's own /etc and /run, its daemons, and the devices' responders beside them: all probe their names at once."""
        sensor = self.scene.sensor
        machine = self.machines[sensor.name]
        if sensor.ping_open:
            # A new network namespace starts closed ("1 0"); a user namespace can name no group but its own 0.
            machine.sysctl("ipv4/ping_group_range", "0 0" if self.rootless else "0 2147483647")
        files = {"resolv.conf": resolv_conf(sensor), "hosts": hosts_file(sensor), "nsswitch.conf": NSSWITCH}
        if self.rootless:
            with open("/etc/passwd", encoding="utf-8", errors="replace") as file:
                files.update(daemons.accounts(file.read()))
        if sensor.mdns:
            files.update(daemons.avahi_files(sensor.mdns, sensor.system_bus))
        machine.make_view(files, own_folders=("avahi",), with_user_folder=True)
        if sensor.system_bus:
            self.bus = self.start_bus(machine)
        if sensor.mdns:
            self.avahis[sensor.name] = daemons.avahi(machine)
            self.avahis[sensor.name].start()
        for host in hosts_of(self.scene)[1:]:
            if host.mdns:
                self.prepare_mdns(host)
            elif host.hostile:
                self.prepare_hostile(host)

    def start_name_server(self):
        gateway = self.scene.gateway
        if not gateway or gateway.dns == "none":
            return []
        machine = self.machines[gateway.name]
        if gateway.dns == "garbage":
            self.name_server = daemons.script(machine, "garbage_dns", "1")
        else:
            self.name_server = daemons.dnsmasq(machine, gateway, self.names(gateway.domain))
        self.name_server.start()
        if gateway.dns == "mute":
            machine.filter(filter_rules(gateway, mute=True))
        return [self.name_server]

    def names(self, domain):
        found = [(f"{h.dns_name}.{domain}", h.address) for h in hosts_of(self.scene) if h.dns_name and h.address]
        return found + [(f"{name}.{domain}", a.ip) for c in self.scene.crowds if c.named for name, a, _, _ in c.members()]

    # Crowds

    def add_crowd(self, crowd):
        """A namespace that plays many devices; answers the daemons that are still starting."""
        machine = Machine(self.state, crowd.name)
        self.machines[crowd.name] = machine
        for key, value in (("arp_ignore", "1"), ("arp_announce", "2"), ("rp_filter", "0")):
            machine.sysctl(f"ipv4/conf/all/{key}", value)
            machine.sysctl(f"ipv4/conf/default/{key}", value)
        machine.sysctl("ipv6/conf/all/disable_ipv6", "1")
        machine.sysctl("ipv6/conf/default/disable_ipv6", "1")
        trunk = Interface(name="trunk", segment=crowd.segment)
        ip_batch(self.cable_lines(crowd, trunk))
        machine.ip(["link set lo up", "link set trunk up"])
        if crowd.raw:
            daemon = daemons.raw_crowd(machine, crowd)
            daemon.start()
            return [daemon]
        self.add_members(machine, crowd)
        return []

    def add_members(self, machine, crowd):
        """Devices as macvlans; each answers ARP for its own address only, with its own MAC."""
        lines, sleepy = [], []
        for i, (_, address, mac, asleep) in enumerate(crowd.members()):
            lines += [f"link add link trunk name m{i} address {mac} type macvlan mode bridge", f"addr add {address} brd + dev m{i}",
                      f"link set m{i} up"]
            if asleep:
                sleepy.append(str(address.ip))
        machine.ip(lines)
        rules = silent_rules(crowd.silent) + (f" ip daddr {{ {', '.join(sleepy)} }} drop;" if sleepy else "")
        if rules:
            machine.filter(chain("input", "accept", rules))
        for port in crowd.open:
            self.open_port(crowd.name, machine.namespace, port)

    # Changes while the command runs

    def host(self, name):
        if name not in self.hosts:
            raise SceneError(f"there is no host '{name}'")
        return self.hosts[name]

    def daemon(self, kind, name):
        found = {"mdns": self.avahis.get(name), "dns": self.name_server, "bus": self.bus}[kind]
        if not found:
            raise SceneError(f"there is no {kind} daemon of '{name}'" if kind == "mdns" else f"the scene has no {kind} daemon")
        return found

    def web(self, name):
        if name not in self.webs:
            raise SceneError(f"'{name}' has no web server")
        return self.webs[name]

    def add_interface(self, name, interface_name, segment, mac):
        """Plugs another interface into a host; it comes up without addresses."""
        host = self.host(name)
        reader = Reader({"name": interface_name, **({"mac": mac} if mac else {})}, "interface")
        interface = Interface(name=reader.interface("name"), segment=segment, mac=reader.mac("mac", None))
        ip_batch(self.cable_lines(host, interface))
        self.machines[name].ip([f"link set {interface.name} up"])
        host.interfaces.append(interface)

    def remove_interface(self, name, interface_name):
        host = self.host(name)
        self.machines[name].ip([f"link del {interface_name}"])
        self.machines[name].ports.pop(interface_name, None)
        host.interfaces = [i for i in host.interfaces if i.name != interface_name]

    def plug(self, name, plugged):
        """Pulls out all cables of a host at the switch, or plugs them in again. It says no goodbye."""
        machine = self.machines.get(name) or self.host(name)
        ip_batch([f"link set {port} {'up' if plugged else 'down'}" for port in machine.ports.values()])

    def add_device(self, value):
        """A new device, in the words of a scene's device."""
        host = parse_device(Reader(value, "device"))
        if host.name in self.machines:
            raise SceneError(f"there is a host '{host.name}' already")
        self.add_machine(host)
        ip_batch([line for i in host.interfaces for line in self.cable_lines(host, i)])
        self.bring_up(host)
        self.serve(host)
        if host.mdns:
            self.prepare_mdns(host)
        elif host.hostile:
            self.prepare_hostile(host)
        if host.name in self.avahis:
            self.avahis[host.name].wait_ready()

    def remove_device(self, name):
        """Takes a device away as if its plug had been pulled. Its name stays taken."""
        host = self.host(name)
        if host is self.scene.sensor:
            raise SceneError("the sensor stays")
        self.plug(name, False)
        if name in self.avahis:
            self.avahis.pop(name).end(signal.SIGKILL)
        if self.keeper:
            self.keeper.close(name)
        if name in self.webs:
            self.webs.pop(name).stop()
        self.machines[name].ip([f"link del {i.name}" for i in host.interfaces])
        del self.hosts[name]

    def change_filter(self, name, sleepy):
        host = self.host(name)
        host.sleepy = sleepy
        self.machines[name].filter(filter_rules(host))

    def mute_dns(self, mute):
        gateway = self.scene.gateway
        if not gateway:
            raise SceneError("the scene has no gateway")
        self.machines[gateway.name].filter(filter_rules(gateway, mute))

    def write_etc(self, name, text):
        """Replaces a file of the sensor's /etc; programs see it at once."""
        if "/" in name or name.startswith("."):
            raise SceneError(f"'{name}' is no plain file name")
        path = f"{self.machines['sensor'].etc}/{name}"
        with open(f"{path}.new", "w", encoding="utf-8") as file:
            file.write(text)
        os.replace(f"{path}.new", path)


def interface_lines(interface):
    """`ip` lines that give a plugged interface its addresses."""
    lines = [f"addr add {a} brd + dev {interface.name}" for a in interface.ipv4]
    lines += [f"-6 addr add {a} dev {interface.name} nodad" for a in interface.ipv6]
    if not interface.ipv6_link_local and interface.ipv6:
        lines.append(f"link set dev {interface.name} addrgenmode none")
    lines.append(f"link set {interface.name} {'up' if interface.up else 'down'}")
    return lines


def chain(hook, policy, rules=""):
    return f"chain {hook} {{ type filter hook {hook} priority 0; policy {policy}; {rules} }}"


def silent_rules(ports):
    return f"tcp dport {{ {', '.join(str(p) for p in ports)} }} drop;" if ports else ""


def filter_rules(host, mute=False):
    """Packet filter of a host. A table of the inet family never sees ARP, so a sleepy device still answers that."""
    if host.sleepy:
        return chain("input", "drop") + "\n" + chain("output", "drop")
    rules = silent_rules(host.silent) + (" udp dport 53 drop; tcp dport 53 drop;" if mute else "")
    # Loopback stays open, or the lab could not tell when its own name server is ready.
    return chain("input", "accept", f"iif lo accept; {rules}") if rules else ""


def resolv_conf(sensor):
    lines = [f"nameserver {a}" for a in sensor.nameservers]
    return "\n".join(lines + ([f"search {sensor.search}"] if sensor.search else [])) + "\n"


def hosts_file(sensor):
    lines = ["127.0.0.1 localhost", "::1 localhost"]
    for address, names in sensor.hosts.items():
        try:
            ipaddress.ip_address(address)
        except ValueError as error:
            raise SceneError(f"scene.sensor.hosts: '{address}' is not an address") from error
        lines.append(f"{address} {names}")
    return "\n".join(lines) + "\n"
