"""A terminal that changes its width while a file is on its way."""

import fcntl
import hashlib
import os
import pathlib
import pty
import re
import select
import shutil
import struct
import subprocess
import tempfile
import termios
import threading
import time
import unicodedata
import unittest

from clienttest import CLIENT
from hostile_test import Device, document, head

PATIENCE = 60
PIECE = b"x" * 1000
PIECES = 10_000
CONTENT = PIECE * PIECES
NAME = "測定結果" * 10 + ".sor"
PATH = "/u/userfiles/f"


def columns(text):
    return sum(2 if unicodedata.east_asian_width(letter) in "WF" else 1 for letter in text)


class Terminal:
    """A pseudo terminal with a program on it, and the lines that the program has drawn there."""

    def __init__(self, command, width, **options):
        self.master, slave = pty.openpty()
        self.resize(width)
        self.process = subprocess.Popen(command, stdout=slave, stderr=slave, **options)
        os.close(slave)
        self.bytes = b""

    def resize(self, width):
        fcntl.ioctl(self.master, termios.TIOCSWINSZ, struct.pack("HHHH", 24, width, 0, 0))

    def read(self):
        """False when the program has ended."""
        try:
            if select.select([self.master], [], [], 0.01)[0]:
                self.bytes += os.read(self.master, 65536)
            return True
        except OSError:
            return False

    def lines(self):
        """Whole ones alone: what follows the last one may still be on its way."""
        return [line.decode() for line in re.findall(rb"\r([^\r\n]+)\x1b\[K", self.bytes)]

    def close(self):
        self.process.kill()
        self.process.wait()
        os.close(self.master)


class Resized(unittest.TestCase):
    def setUp(self):
        self.local = pathlib.Path(tempfile.mkdtemp(prefix="terminal", dir=os.getcwd()))
        self.pieces = threading.Semaphore(0)
        self.device = Device()
        self.device.answers["/api/syncfiles/v1/metadata" + PATH] = document(
            {"path": PATH, "size": len(CONTENT), "modifiedTime": "2026-01-01T00:00:00Z",
             "sha256": hashlib.sha256(CONTENT).hexdigest()})
        self.device.answers["/api/filemgr/v2/userfiles" + PATH] = self.write_piece_by_piece
        self.terminal = Terminal(
            [CLIENT, "--host", self.device.host, "files", "get", PATH, "-o", NAME], 80,
            cwd=self.local, env={**os.environ, "LC_ALL": "C.UTF-8"})

    def tearDown(self):
        self.pieces.release(PIECES)
        self.terminal.close()
        self.device.shutdown()
        self.device.server_close()
        shutil.rmtree(self.local)

    def write_piece_by_piece(self, stream):
        stream.write(head())
        for _ in range(PIECES):
            self.pieces.acquire()
            stream.write(PIECE)

    def next_line(self, fits):
        """Lets pieces arrive until a line is drawn that fits; tells which one it is."""
        before = len(self.terminal.lines())
        deadline = time.monotonic() + PATIENCE
        while time.monotonic() < deadline:
            self.pieces.release()
            self.assertTrue(self.terminal.read(), self.terminal.bytes)
            for number, line in enumerate(self.terminal.lines()[before:], before):
                if fits(columns(line)):
                    return number
        self.fail("no such line among %s" % self.terminal.lines())

    def test_lines_fit_the_new_width_and_the_bar_ends_full(self):
        wide = self.next_line(lambda width: 60 <= width < 80)
        self.terminal.resize(30)
        narrow = self.next_line(lambda width: width < 30)
        self.next_line(lambda width: width < 30)
        self.terminal.resize(120)
        widest = self.next_line(lambda width: 80 <= width < 120)
        self.pieces.release(PIECES)
        while self.terminal.read():
            pass
        self.assertEqual(self.terminal.process.wait(PATIENCE), 0)
        lines = self.terminal.lines()
        self.assertTrue(all(columns(line) < 80 for line in lines[wide:narrow]), lines)
        self.assertTrue(all(columns(line) < 30 or columns(line) >= 80
                            for line in lines[narrow:widest]), lines)
        self.assertTrue(all(columns(line) < 120 for line in lines[widest:]), lines)
        self.assertIn("[%s] 100%% of" % ("#" * 20), lines[-1])


if __name__ == "__main__":
    unittest.main()
