"""A simulator to put under load, and raw connections to it."""
import hashlib
import json
import os
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import time

PORT = 8081
BOUNDARY = b"--load"


class Device:
    """A simulator in a folder of its own, as a context. `wrapper` is run around its program."""

    def __init__(self, program, *arguments, wrapper=(), **options):
        self.program = os.path.abspath(program)
        self.arguments = arguments
        self.wrapper = list(wrapper)
        self.options = options
        self.folder = tempfile.mkdtemp()
        self.data = os.path.join(self.folder, "device")
        self.files = os.path.join(self.data, "storage", "userfiles")
        self.process = None

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *exception):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        shutil.rmtree(self.folder)

    def start(self):
        with open(os.path.join(self.folder, "errors"), "ab") as errors:
            self.process = subprocess.Popen(
                [*self.wrapper, self.program, "--data", self.data, *self.arguments],
                cwd=self.folder, stdout=subprocess.PIPE, stderr=errors, **self.options)
        line = self.process.stdout.readline()
        if not line.startswith(b"listening on"):
            raise RuntimeError(f"the simulator does not start: {self.errors()}")

    def kill(self):
        self.process.kill()
        self.process.wait()
        self.process.stdout.close()

    def stop(self):
        """Its exit status after SIGTERM."""
        self.process.terminate()
        return self.process.wait(timeout=60)

    def running(self):
        return self.process.poll() is None

    def errors(self):
        with open(os.path.join(self.folder, "errors"), encoding="utf-8", errors="replace") as file:
            return file.read()

    def set_faults(self, *faults):
        """Puts the faults in force, instead of those before."""
        path = os.path.join(self.data, "state", "faults")
        with open(path + ".new", "w", encoding="utf-8") as file:
            file.write("\n".join(faults) + "\n")
        os.replace(path + ".new", path)

    def path(self, name):
        return os.path.join(self.files, name)

    def checksum(self):
        """One number over the names and contents of everything that is stored."""
        total = hashlib.sha256()
        for folder, folders, files in os.walk(self.data):
            folders.sort()
            for name in sorted(files):
                path = os.path.join(folder, name)
                total.update(os.fsencode(path) + b"\0")
                with open(path, "rb") as file:
                    total.update(hashlib.sha256(file.read()).digest())
        return total.hexdigest()

    def resident_kib(self):
        with open(f"/proc/{self.process.pid}/status", encoding="ascii") as status:
            return next(int(line.split()[1]) for line in status if line.startswith("VmRSS:"))


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


def ask(method, uri, body=b"", timeout=60):
    """The status and the body of a request of which the answer has a Content-Length."""
    with connect(timeout) as connection:
        connection.sendall(request(method, uri, body))
        answer = receive_all(connection)
    return status_of(answer), body_of(answer)


def upload_body(target, content, size=None):
    metadata = json.dumps({"fileUri": target, "fileSize": len(content) if size is None else size})
    part = b"%s\r\nContent-Disposition: form-data\r\n\r\n%s\r\n"
    return (part % (BOUNDARY, metadata.encode()) + part % (BOUNDARY, content) +
            BOUNDARY + b"--\r\n")


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


def wait_until(condition, timeout=30):
    """Whether the condition holds within the time."""
    end = time.monotonic() + timeout
    while not condition():
        if time.monotonic() > end:
            return False
        time.sleep(0.01)
    return True
