"""The few system calls about namespaces that Python 3.11 lacks, and the private machine that a lab lives in.

Three processes stand between the caller and the LAN: the caller itself, which passes signals on; the first process of a private PID
namespace, which reaps; and the lab. The kernel kills the second with the first and everything else with the second, so however a lab
ends, kill -9 included, no process, interface or mount of it stays.
"""

import contextlib
import ctypes
import os
import select
import signal
import sys

from .errors import CannotRun, LabError

# <linux/sched.h>
CLONE_NEWNS = 0x00020000
CLONE_NEWUSER = 0x10000000
CLONE_NEWPID = 0x20000000
CLONE_NEWNET = 0x40000000
# <sys/mount.h>
MS_REC = 0x4000
MS_PRIVATE = 0x40000
# <linux/prctl.h>
PR_SET_PDEATHSIG = 1
# A command that was told to end gets this long before it is killed, in seconds.
GRACE = 5

libc = ctypes.CDLL(None, use_errno=True)


def call(name, *arguments):
    """A system call by its C name; OSError when it fails."""
    if getattr(libc, name)(*arguments) != 0:
        code = ctypes.get_errno()
        raise OSError(code, f"{name}: {os.strerror(code)}")


def mount(source, target, kind=None, flags=0, data=None):
    call("mount", *(None if a is None else a.encode() for a in (source, target, kind)), ctypes.c_ulong(flags), data)


@contextlib.contextmanager
def inside(namespace):
    """Runs the block with this thread in another network namespace (a path): sockets and children made there belong to it."""
    with open("/proc/thread-self/ns/net", "rb") as home, open(namespace, "rb") as there:
        call("setns", there.fileno(), CLONE_NEWNET)
        try:
            yield
        finally:
            call("setns", home.fileno(), CLONE_NEWNET)


def make_network_namespace(path):
    """Creates an empty network namespace and keeps it under a path."""
    with open(path, "wb"):
        pass
    with open("/proc/thread-self/ns/net", "rb") as home:
        call("unshare", CLONE_NEWNET)
        try:
            mount("/proc/thread-self/ns/net", path, flags=0x1000)  # MS_BIND
        finally:
            call("setns", home.fileno(), CLONE_NEWNET)


def leave_machine():
    """Moves this process into fresh namespaces, as root or through a user namespace; CannotRun with the reason otherwise.

    The answer tells whether a user namespace was needed.
    """
    flags = CLONE_NEWPID | CLONE_NEWNS | CLONE_NEWNET
    uid, gid = os.getuid(), os.getgid()
    try:
        if uid == 0:
            try:
                call("unshare", flags)
                return False
            except PermissionError:
                pass  # root of a container without the capability: a user namespace may still be allowed
        call("unshare", flags | CLONE_NEWUSER)
        for name, text in (("setgroups", "deny"), ("uid_map", f"0 {uid} 1"), ("gid_map", f"0 {gid} 1")):
            with open(f"/proc/self/{name}", "w", encoding="ascii") as file:
                file.write(text)
        return True
    except OSError as error:
        who = "root" if uid == 0 else "this user"
        raise CannotRun(f"{who} may not create namespaces here ({error.strerror or error})") from error


def run_isolated(body):
    """Runs body(rootless) in a machine of its own and answers its exit status. body's LabErrors become one line on stderr."""
    rootless = leave_machine()
    alive, keep = os.pipe()
    sys.stdout.flush()
    init = os.fork()
    if init == 0:
        os.close(keep)
        status = 70
        try:
            status = be_init(alive, body, rootless)
        finally:
            os._exit(status)
    os.close(alive)
    forward((signal.SIGTERM, signal.SIGHUP), init)
    # Ctrl-C reaches the command straight from the terminal, and it is the command that decides what it means.
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    signal.signal(signal.SIGQUIT, signal.SIG_IGN)
    return wait_for(init)


def be_init(alive, body, rootless):
    """The first process of the namespace: dies with its parent, reaps, and passes the lab's exit status on."""
    call("prctl", PR_SET_PDEATHSIG, signal.SIGKILL, 0, 0, 0)
    if select.select([alive], [], [], 0)[0]:
        return 70  # the parent died before the line above
    os.close(alive)
    try:
        mount("none", "/", flags=MS_REC | MS_PRIVATE)
        mount("proc", "/proc", "proc")
        mount("sysfs", "/sys", "sysfs")
    except OSError as error:
        return complain(CannotRun(f"/proc and /sys cannot be mounted in a namespace here ({error.strerror})"))
    lab = os.fork()
    if lab == 0:
        status = 70
        try:
            status = body(rootless)
        except LabError as error:
            status = complain(error)
        except KeyboardInterrupt:
            status = 128 + signal.SIGINT
        except BaseException:  # anything else is a fault of the lab: its trace helps
            sys.excepthook(*sys.exc_info())
        finally:
            sys.stdout.flush()
            os._exit(status)
    forward((signal.SIGTERM, signal.SIGHUP), lab)
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    signal.signal(signal.SIGQUIT, signal.SIG_IGN)
    return wait_for(lab)


def complain(error):
    print(f"lab: {error}", file=sys.stderr, flush=True)
    return error.code


def forward(signals, pid):
    for number in signals:
        signal.signal(number, lambda received, _: os.kill(pid, received))


def wait_for(pid):
    """The exit status of a child, as a shell gives it; reaps whatever else ends meanwhile."""
    def reap():
        while True:
            try:
                ended, status = os.waitpid(-1, os.WNOHANG)
            except ChildProcessError:
                return 70
            if ended == pid:
                code = os.waitstatus_to_exitcode(status)
                return code if code >= 0 else 128 - code
            if ended == 0:
                return None
    return wait_until(reap)


def wait_until(look):
    """Waits for the look at a child that answers something else than None, and answers that.

    A call that waits for children misses a signal that comes in the moment before it: Python's handlers run between two steps of the program, and
    there is none until the call returns. So this waits on a pipe, into which every signal with a handler writes.
    """
    woken, wake = os.pipe2(os.O_CLOEXEC | os.O_NONBLOCK)
    signal.set_wakeup_fd(wake, warn_on_full_buffer=False)
    signal.signal(signal.SIGCHLD, lambda *_: None)
    while (answer := look()) is None:
        select.select([woken], [], [])
        os.read(woken, 4096)
    return answer
