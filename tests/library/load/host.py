"""A host that serves promptly, to put under load, and paced clients of it."""
import hashlib
import os
import random
import re
import shutil
import subprocess
import sys
import tempfile
import time

TESTS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
sys.path.insert(0, os.path.join(TESTS, "device", "load"))
sys.path.insert(0, os.path.join(TESTS, "support"))
from device import (BOUNDARY, body_of, connect, decode_chunks, exchange, fail, receive_all,  # noqa: E402
                    request, status_of, upload_body)

# The tests beside this module take these from here as well.
__all__ = ["BOUNDARY", "body_of", "connect", "decode_chunks", "exchange", "fail", "receive_all",
           "request", "status_of", "upload_body"]

FILES = "/api/filemgr/v2/userfiles"
METADATA = "/api/filemgr/v2/metadata"
STOP_SECONDS = 60


class Host:
    """The program `load-host`, or a simulator with its arguments, with a folder of its own."""

    def __init__(self, program, *arguments):
        self.folder = tempfile.mkdtemp()
        self.data = os.path.join(self.folder, "device")
        self.files = os.path.join(self.data, "storage", "userfiles")
        self.process = subprocess.Popen(
            [os.path.abspath(program), "--data", self.data, *arguments], cwd=self.folder,
            stdout=subprocess.PIPE, text=True,
            env={**os.environ, "QT_LOGGING_RULES": "*.debug=false"})
        if not self.process.stdout.readline().startswith("listening on "):
            raise RuntimeError("the host does not start")

    def __enter__(self):
        return self

    def __exit__(self, *exception):
        if self.process.poll() is None:
            self.process.kill()
        self.process.communicate()
        shutil.rmtree(self.folder)

    def stop(self):
        """Ends it and returns its status and the seconds that took."""
        before = time.monotonic()
        self.process.terminate()
        status = self.process.wait(timeout=STOP_SECONDS)
        return status, time.monotonic() - before

    def path(self, name):
        return os.path.join(self.files, name)

    def put(self, name, content):
        """Has a user file in place without a request."""
        with open(self.path(name), "wb") as file:
            file.write(content)

    def left_behind(self):
        return os.listdir(self.files)

    def calls(self):
        """What the host was asked, each with whether that took longer than anybody waits."""
        with open(os.path.join(self.data, "calls"), encoding="utf-8") as file:
            lines = file.read().splitlines()
        return {line.removesuffix(" slow"): line.endswith(" slow") for line in lines}


def content_of(seed, size):
    """Bytes without a pattern, the same for the same seed."""
    return random.Random(seed).randbytes(size)


def received_file(answer):
    """The file in the answer to a download; None when it is not whole."""
    head, _, body = answer.partition(b"\r\n\r\n")
    if b"Transfer-Encoding: chunked" in head:
        return decode_chunks(body)
    length = re.search(rb"Content-Length: (\d+)", head)
    return body if length and len(body) == int(length[1]) else None


def digest(content):
    return hashlib.sha256(content).hexdigest()


def percentile(values, part):
    """The value that `part` of the values do not exceed."""
    ordered = sorted(values)
    return ordered[min(len(ordered) - 1, int(len(ordered) * part))]


class Pace:
    """Keeps whoever moves bytes at a rate."""

    def __init__(self, bytes_per_second):
        self.rate = bytes_per_second
        self.begun = time.monotonic()
        self.moved = 0

    def keep(self, count):
        self.moved += count
        time.sleep(max(0, self.moved / self.rate - (time.monotonic() - self.begun)))


def send_paced(connection, content, rate):
    pace = Pace(rate)
    for position in range(0, len(content), rate // 10):
        piece = content[position:position + rate // 10]
        connection.sendall(piece)
        pace.keep(len(piece))


def receive_paced(connection, rate):
    pieces = []
    pace = Pace(rate)
    while piece := connection.recv(rate // 10):
        pieces.append(piece)
        pace.keep(len(piece))
    return b"".join(pieces)
