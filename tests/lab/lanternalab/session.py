"""One run: builds the LAN in a machine of its own, runs the command in the sensor, and ends with it."""

import contextlib
import os
import signal
import sys
import time

from .control import Control
from .errors import LabError, SceneError
from .lan import Lan
from .machines import HIDDEN_VARIABLES
from .namespaces import GRACE, mount, run_isolated, wait_until

# Folders that every system has and few programs look into. One of them shows the lab's state inside, and only there.
STATE_FOLDERS = ("/mnt", "/media", "/srv", "/opt")


def run(scene, command, user=None, verbose=False):
    """Exit status of the command, run inside the scene's sensor. user: (uid, gid) for the command, or None for the lab's root."""
    if user and os.getuid() != 0 and user != (os.getuid(), os.getgid()):
        raise SceneError("only root can run the command as somebody else")
    return run_isolated(lambda rootless: run_inside(scene, command, user, verbose, rootless))


def run_inside(scene, command, user, verbose, rootless):
    started = time.monotonic()
    # While the LAN is being built, a request to end simply ends it: there is nothing to say goodbye to.
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, stop_building)
    state = state_folder()
    mount("tmpfs", state, "tmpfs", data=b"mode=0755")
    lan = Lan(scene, state, rootless)
    lan.build()
    Control(lan, f"{state}/control")
    if verbose:
        print(f"lab: up in {time.monotonic() - started:.2f} s", file=sys.stderr, flush=True)
    environment = {k: v for k, v in os.environ.items() if k.lower() not in HIDDEN_VARIABLES and k not in HIDDEN_VARIABLES}
    environment["LANTERNA_LAB"] = state
    environment["DBUS_SYSTEM_BUS_ADDRESS"] = "unix:path=/run/dbus/system_bus_socket"
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    signal.signal(signal.SIGQUIT, signal.SIG_IGN)
    end = Ending()
    try:
        child = lan.machines["sensor"].popen(identity(user, rootless) + command, env=environment, restore_signals=True, preexec_fn=default_signals)
    except FileNotFoundError as error:
        raise LabError(f"'{error.filename}' is not installed") from error
    end.watch(child)
    code = wait_until(child.poll)
    return code if code >= 0 else 128 - code


def stop_building(number, _):
    os._exit(128 + number)


def default_signals():
    signal.signal(signal.SIGINT, signal.SIG_DFL)
    signal.signal(signal.SIGQUIT, signal.SIG_DFL)


def identity(user, rootless):
    """The words in front of a command that give it its user: by switching to it, or by a nested namespace that maps it back."""
    if not user:
        return []
    uid, gid = user
    if rootless:
        return ["unshare", "--user", f"--map-user={uid}", f"--map-group={gid}"]
    return ["setpriv", f"--reuid={uid}", f"--regid={gid}", "--init-groups"] if has_account(uid) else [
        "setpriv", f"--reuid={uid}", f"--regid={gid}", "--clear-groups"]


def has_account(uid):
    with open("/etc/passwd", encoding="utf-8", errors="replace") as file:
        return any(line.split(":")[2:3] == [str(uid)] for line in file)


class Ending:
    """Passes SIGTERM and SIGHUP on to the command, from before its start, and kills it when it does not end in time."""

    def __init__(self):
        self.child = None
        self.told = []
        for number in (signal.SIGTERM, signal.SIGHUP):
            signal.signal(number, self.tell)

    def watch(self, child):
        """The command runs from here on; what came in meanwhile reaches it now."""
        self.child = child
        signal.signal(signal.SIGALRM, lambda *_: child.kill())
        for number in self.told:
            self.tell(number)

    def tell(self, number, _=None):
        if not self.child:
            self.told.append(number)
            return
        with contextlib.suppress(ProcessLookupError):
            os.kill(self.child.pid, number)
        signal.alarm(GRACE)


def state_folder():
    """A folder for the state that hides nothing which the command may want."""
    wanted = [os.getcwd(), os.path.abspath(sys.argv[0])] + list(os.environ.values())
    for folder in STATE_FOLDERS:
        if os.path.isdir(folder) and not any(folder == w or folder + "/" in w for w in wanted):
            return folder
    raise LabError(f"none of {', '.join(STATE_FOLDERS)} is free for the lab's state")
