"""The lab's HTTP server. It is written on bare sockets because most of its answers are meant to be wrong."""

import socket
import struct
import threading
import time

from .errors import SceneError
from .namespaces import inside

# A request head above this is no request of ours.
HEAD_LIMIT = 65536
# How long a client may take over its request, in seconds.
REQUEST_TIMEOUT = 10


class WebServer:
    """One port of one host. Pages change while it runs; requests are counted by path."""

    def __init__(self, namespace, web):
        self.namespace = namespace
        self.port = web.port
        self.pages = dict(web.pages)
        self.counts = {}
        self.lock = threading.Lock()
        self.listener = None

    def start(self):
        """Listens again, or does nothing while it already does."""
        if self.listener:
            return
        with inside(self.namespace):
            listener = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
        listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        listener.bind(("", self.port))
        listener.listen(64)
        self.listener = listener
        threading.Thread(target=self.accept, args=(listener,), daemon=True).start()

    def stop(self):
        """Refuses from here on; answers under way go on."""
        if self.listener:
            # shutdown() wakes the thread that waits in accept(); close() alone does not.
            self.listener.shutdown(socket.SHUT_RDWR)
            self.listener.close()
            self.listener = None

    def change(self, path, fields):
        """Changes fields of one page; a path that is new gets a page."""
        from .pages import Page
        with self.lock:
            self.pages[path] = self.pages.get(path, Page()).changed(fields, path)

    def count(self, path):
        with self.lock:
            return self.counts.get(path, 0)

    def accept(self, listener):
        while True:
            try:
                connection, _ = listener.accept()
            except OSError:
                return
            threading.Thread(target=self.serve, args=(connection,), daemon=True).start()

    def serve(self, connection):
        try:
            connection.settimeout(REQUEST_TIMEOUT)
            path = read_path(connection)
            with self.lock:
                self.counts[path] = self.counts.get(path, 0) + 1
                page = self.pages.get(path)
            connection.settimeout(None)
            time.sleep(page.wait if page else 0)
            answer(connection, page)
        except OSError:
            pass  # the client went away, which is its right
        finally:
            connection.close()


def read_path(connection):
    """The path of the request, without a query."""
    head = b""
    while b"\r\n\r\n" not in head and len(head) < HEAD_LIMIT:
        data = connection.recv(4096)
        if not data:
            break
        head += data
    words = head.split(b"\r\n", 1)[0].split(b" ")
    target = words[1].decode("latin-1") if len(words) > 1 else ""
    if "://" in target:
        target = "/" + target.split("://", 1)[1].partition("/")[2]
    return target.split("?")[0]


def head(status, length=None, *lines):
    first = [f"HTTP/1.1 {status} Lab", "Content-Type: text/html; charset=utf-8", "Connection: close"]
    if length is not None:
        first.append(f"Content-Length: {length}")
    return "\r\n".join([*first, *lines, "", ""]).encode("latin-1")


def answer(connection, page):
    if page is None:
        body = b"no such page\n"
        finish(connection, head(404, len(body)) + body)
        return
    body = page.body.encode()
    half = body[:len(body) // 2]
    send = connection.sendall
    if page.mode == "ok":
        finish(connection, head(page.status, len(body)) + body)
    elif page.mode == "empty":
        finish(connection, head(page.status, 0))
    elif page.mode == "no-length":
        finish(connection, head(page.status) + body)
    elif page.mode == "longer":
        finish(connection, head(page.status, len(body) + 1000) + body)
    elif page.mode == "shorter":
        finish(connection, head(page.status, len(half)) + body)
    elif page.mode == "trickle":
        for byte in head(page.status, len(body)) + body:
            send(bytes([byte]))
            time.sleep(page.delay)
        finish(connection, b"")
    elif page.mode == "hang":
        wait_for_end(connection)
    elif page.mode == "hang-body":
        send(head(page.status, len(body)) + half)
        wait_for_end(connection)
    elif page.mode == "reset":
        reset(connection)
    elif page.mode == "reset-body":
        send(head(page.status, len(body)) + half)
        # The half must have left before the reset overtakes it.
        time.sleep(page.delay)
        reset(connection)
    elif page.mode == "close":
        finish(connection, b"")
    elif page.mode == "huge":
        send_huge(connection, page, body)
    elif page.mode == "binary":
        body = bytes(range(256)) * 16
        finish(connection, head(page.status, len(body)) + body)
    elif page.mode == "garbage":
        finish(connection, bytes(range(255, -1, -1)) * 4)
    elif page.mode == "redirect":
        finish(connection, head(302, 0, f"Location: {page.location}"))
    else:
        raise SceneError(f"mode '{page.mode}' has no answer")


def send_huge(connection, page, body):
    total = page.size * 1024 * 1024
    connection.sendall(head(page.status, total) + body)
    left = total - len(body)
    filler = b"." * 65535 + b"\n"
    while left > 0:
        connection.sendall(filler[:left])
        left -= min(left, len(filler))
    finish(connection, b"")


def finish(connection, data):
    """Sends the rest and closes in order: closing with unread bytes of the client would reset the connection."""
    connection.sendall(data)
    connection.shutdown(socket.SHUT_WR)
    connection.settimeout(REQUEST_TIMEOUT)
    while connection.recv(4096):
        pass


def wait_for_end(connection):
    while connection.recv(4096):
        pass


def reset(connection):
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
