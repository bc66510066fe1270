"""Open TCP ports: they take a connection, read whatever comes and end with the client."""

import selectors
import socket
import threading

from .namespaces import inside


class PortKeeper:
    """All plain listening ports of the LAN on one thread."""

    def __init__(self):
        self.selector = selectors.DefaultSelector()
        self.listeners = {}
        self.lock = threading.Lock()
        self.wake_in, self.wake_out = socket.socketpair()
        self.selector.register(self.wake_in, selectors.EVENT_READ)
        threading.Thread(target=self.run, daemon=True).start()

    def open(self, host, namespace, port):
        with inside(namespace):
            listener = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
        listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        listener.setblocking(False)
        listener.bind(("", port))
        listener.listen(64)
        with self.lock:
            self.listeners[(host, port)] = listener
            self.selector.register(listener, selectors.EVENT_READ, "listener")
        self.wake_out.send(b"w")

    def close(self, host, port=None):
        """Closes one port of a host, or all of them."""
        with self.lock:
            for key in [k for k in self.listeners if k[0] == host and port in (None, k[1])]:
                listener = self.listeners.pop(key)
                self.selector.unregister(listener)
                listener.close()

    def run(self):
        while True:
            for key, _ in self.selector.select():
                with self.lock:
                    self.handle(key)

    def handle(self, key):
        try:
            if key.fileobj is self.wake_in:
                self.wake_in.recv(64)
            elif key.data == "listener":
                connection, _ = key.fileobj.accept()
                connection.setblocking(False)
                self.selector.register(connection, selectors.EVENT_READ, "connection")
            elif not key.fileobj.recv(65536):
                self.drop(key.fileobj)
        except BlockingIOError:
            pass
        except OSError:
            if key.data == "connection":
                self.drop(key.fileobj)

    def drop(self, connection):
        self.selector.unregister(connection)
        connection.close()
