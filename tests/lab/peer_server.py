#!/usr/bin/python3
"""A sensor for the tests of `lanternactl peers`, good or bad: accepts connections on a port until it is killed.

  peer_server.py FOLDER PORT WAY

FOLDER/PORT.pid appears when it listens; FOLDER/PORT.received holds what clients have sent, who have nothing to say.
"""

import json
import os
import socket
import sys
import threading
import time

DEVICE = '"Office Printer"|*|Printer|*|192.168.77.%d|*|3C:D9:2B:00:77:1E|*|UNKNOWN|*|UNKNOWN|*|"UNKNOWN"|*|03-01-2026, 13:30|*|ping: 1|*||*||*|No notes found\n'
PIECE = b"x" * 65536
# A flood keeps on for longer than a client listens.
FLOOD_SECONDS = 15


def snapshot(devices=3):
    now = time.time()
    return {"devices": "***".join(DEVICE % (20 + number) for number in range(devices)), "ssid": "Harbour \x1b[31m", "subnet": "192.168.77",
            "date": "03-01-2026, 13:30", "dateEpoch": now - 90, "source": "Lanterna", "macSig": "cbf29ce484222325"}


def flood(connection, head):
    connection.sendall(head)
    end = time.monotonic() + FLOOD_SECONDS
    while time.monotonic() < end:
        connection.sendall(PIECE)


def drip(connection):
    connection.sendall(b'{"devices":"')
    for _ in range(FLOOD_SECONDS):
        connection.sendall(b"x")
        time.sleep(1)


def mute(connection):
    time.sleep(FLOOD_SECONDS)


WAYS = {
    "good": lambda connection: connection.sendall(json.dumps(snapshot()).encode()),
    "withheld": lambda connection: connection.sendall(b'{"source":"Lanterna"}'),
    "mute": mute,
    "drip": drip,
    "text": lambda connection: flood(connection, b'{"devices":"'),
    "blanks": lambda connection: flood(connection, b'{"devices":"","note":"'),
    "garbage": lambda connection: flood(connection, b"HTTP/1.1 400 Bad Request\r\n\r\n"),
    "deep": lambda connection: connection.sendall(b'{"a":' + b"[" * 1000000),
    "cut": lambda connection: connection.sendall(json.dumps(snapshot()).encode()[:-1]),
}


def serve(connection, way, received):
    try:
        with connection:
            WAYS[way](connection)
            connection.shutdown(socket.SHUT_WR)
            received.write(connection.recv(65536))
            received.flush()
    except OSError:
        pass  # the client has gone


def main():
    folder, port, way = sys.argv[1], int(sys.argv[2]), sys.argv[3]
    with socket.create_server(("", port), backlog=64) as listener, open(f"{folder}/{port}.received", "ab") as received:
        with open(f"{folder}/{port}.new", "w", encoding="ascii") as file:
            file.write(str(os.getpid()))
        os.rename(f"{folder}/{port}.new", f"{folder}/{port}.pid")
        while True:
            connection, _ = listener.accept()
            threading.Thread(target=serve, args=(connection, way, received), daemon=True).start()


if __name__ == "__main__":
    main()
