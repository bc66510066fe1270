"""The windows of a session as assistive programs see them: by role and name, with their places on the screen.

    windows = Windows(session)          # before the program starts
    windows.wait("check box", "Launch at login").click()

Needs at-spi2-core. Standard library only.
"""

import contextlib

from bus_client import Bus, BusError

LAUNCHER = "/usr/libexec/at-spi-bus-launcher"
ACCESSIBLE = "org.a11y.atspi.Accessible"
COMPONENT = "org.a11y.atspi.Component"
ROOT = ("org.a11y.atspi.Registry", "/org/a11y/atspi/accessible/root")
STATES = {"checked": 4, "enabled": 8, "focused": 12, "showing": 25}
DEPTH = 12


class Element:
    """One element of a window."""

    def __init__(self, windows, name, path):
        self.windows, self.where = windows, (name, path)

    def ask(self, interface, member, signature="", *values):
        return self.windows.bus.call(*self.where, interface, member, signature, *values)

    @property
    def name(self):
        return self.windows.bus.get(*self.where, ACCESSIBLE, "Name")

    @property
    def description(self):
        return self.windows.bus.get(*self.where, ACCESSIBLE, "Description")

    @property
    def role(self):
        return self.ask(ACCESSIBLE, "GetRoleName")

    @property
    def children(self):
        return [Element(self.windows, *child) for child in self.ask(ACCESSIBLE, "GetChildren")]

    def has(self, state):
        """Whether it is in one of `STATES`."""
        low, _ = self.ask(ACCESSIBLE, "GetState")
        return bool(low >> STATES[state] & 1)

    @property
    def box(self):
        """Left, top, width and height on the screen, in points."""
        return self.ask(COMPONENT, "GetExtents", "u", 0)

    def click(self):
        """A click of the mouse in its middle."""
        left, top, width, height = self.box
        self.windows.session.click(round((left + width / 2) * self.windows.scale), round((top + height / 2) * self.windows.scale))


class Windows:
    """Everything that programs of a session tell assistive programs. To be made before the programs start; they are told to speak."""

    def __init__(self, session, scale=1):
        self.session, self.scale = session, scale
        session.env["QT_LINUX_ACCESSIBILITY_ALWAYS_ON"] = "1"
        session.start([LAUNCHER, "--launch-immediately"])
        session.wait_for(lambda: session.has_name("org.a11y.Bus"), "the bus of assistive programs")
        send = ["dbus-send", "--session", "--print-reply=literal", "--dest=org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus.GetAddress"]
        self.bus = session.wait_for(lambda: self.connect(session.run(send).decode().strip()), "a connection to assistive programs' bus")

    @staticmethod
    def connect(address):
        with contextlib.suppress(OSError):
            return Bus(address)
        return None

    def close(self):
        self.bus.close()

    def all(self, depth=DEPTH):
        """Every element there is, each before its children."""
        waiting = [(Element(self, *ROOT), 0)]
        while waiting:
            element, level = waiting.pop(0)
            if level:
                yield element
            if level < depth:
                with contextlib.suppress(BusError, TimeoutError):  # it may be gone by now
                    waiting[:0] = [(child, level + 1) for child in element.children]

    def find(self, role, name):
        """The first element with this role and name that is on the screen; None when there is none."""
        for element in self.all():
            with contextlib.suppress(BusError, TimeoutError):
                if element.name == name and element.role == role and element.has("showing"):
                    return element
        return None

    def wait(self, role, name):
        return self.session.wait_for(lambda: self.find(role, name), f"the {role} '{name}'")

    def wait_gone(self, role, name):
        self.session.wait_for(lambda: not self.find(role, name), f"the end of the {role} '{name}'")

    def listing(self):
        """All of it as lines, for the eye."""
        lines = []
        for element in self.all():
            with contextlib.suppress(BusError, TimeoutError):
                lines.append(f"{element.role} '{element.name}' {element.box if element.has('showing') else ''}")
        return "\n".join(lines)
