"""A simulator to put under load, and raw connections to it."""
import os
import re
import socket
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "support"))
from simulator import BOUNDARY, PORT, Simulator, ask, upload_body  # noqa: E402

# The tests beside this module take these from here as well.
__all__ = ["BOUNDARY", "PORT", "Simulator", "ask", "upload_body"]


def classic(program, **options):
    """A simulator that serves as instruments in the field do: what these tests put under stress."""
    return Simulator(program, "--serving", "classic", **options)


def connect(timeout=60, receive_buffer=None):
    connection = socket.socket()
    connection.settimeout(timeout)
    if receive_buffer:
        connection.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, receive_buffer)
    connection.connect(("127.0.0.1", PORT))
    return connection


def receive_all(connection):
    """Everything up to the end of the connection, also when that is abrupt."""
    pieces = []
    try:
        while piece := connection.recv(1 << 20):
            pieces.append(piece)
    except ConnectionError:
        pass
    return b"".join(pieces)


def vanish(connection):
    """Goes away at once, without the goodbyes of TCP."""
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, b"\1\0\0\0\0\0\0\0")
    connection.close()


def exchange(request, timeout=60):
    """Sends the bytes and the end of sending; returns all that comes back."""
    with connect(timeout) as connection:
        try:
            connection.sendall(request)
            connection.shutdown(socket.SHUT_WR)
        except OSError:
            pass  # the server has answered before it read everything
        return receive_all(connection)


def request(method, uri, body=b"", headers=()):
    lines = [f"{method} {uri} HTTP/1.1".encode("latin-1"), b"Host: device",
             b"Content-Length: %d" % len(body), *headers]
    return b"\r\n".join(lines) + b"\r\n\r\n" + body


def status_of(answer):
    """The number in the status line; 0 where there is none."""
    line = re.match(rb"HTTP/1\.[01] (\d{3}) ", answer)
    return int(line[1]) if line else 0


def body_of(answer):
    return answer.partition(b"\r\n\r\n")[2]


def decode_chunks(coded):
    """The body of a chunked answer, none when it is not complete."""
    body = []
    position = 0
    while True:
        end = coded.find(b"\r\n", position)
        if end < 0:
            return None
        try:
            size = int(coded[position:end], 16)
        except ValueError:
            return None
        if coded[end + 2 + size:end + 4 + size] != b"\r\n":
            return None
        if size == 0:
            return b"".join(body)
        body.append(coded[end + 2:end + 2 + size])
        position = end + 4 + size


def fail(text):
    print("FAILED:", text)
    sys.exit(1)
