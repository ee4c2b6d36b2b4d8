"""The base of tests that ask a simulator. Their program takes the simulator's as first argument."""
import os
import shutil
import sys
import tempfile
import unittest

from simulator import Simulator

PROGRAM = os.path.abspath(sys.argv.pop(1))


class SimulatorTest(unittest.TestCase):
    """Runs each test in a new folder, with a running simulator unless the class says otherwise."""

    arguments = ()
    starts = True
    faulty = False

    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)
        self.device = None
        if self.starts:
            self.start(*self.arguments)

    def start(self, *arguments):
        self.device = Simulator(PROGRAM, *arguments, folder=self.folder, faulty=self.faulty)
        self.addCleanup(self.device.kill)
        self.device.start()

    def restart(self):
        status, _, errors = self.device.stop()
        self.assertEqual((status, errors), (0, ""))
        self.start(*self.arguments)

    def ask(self, *request):
        return self.device.ask(*request)

    def ask_json(self, *request):
        return self.device.ask_json(*request)


class SmallDiskTest(SimulatorTest):
    """The device's folder is a file system of its own, of `megabytes`, in a mount namespace."""

    megabytes = 96

    def start(self, *arguments):
        wrapper = ["unshare", "--mount", "--map-root-user", "sh", "-euc",
                   f'mount -t tmpfs -o size={self.megabytes}m none "$0"; cd "$0"; exec "$@"', self.folder]
        if os.geteuid() == 0:
            wrapper.remove("--map-root-user")
        self.device = Simulator(PROGRAM, *arguments, folder=self.folder, wrapper=wrapper)
        self.addCleanup(self.device.kill)
        self.device.start()

    def seen(self, path=""):
        """Where a file below the folder is from outside."""
        return f"/proc/{self.device.process.pid}/root{self.folder}/{path}"

    def free(self):
        disk = os.statvfs(self.seen())
        return disk.f_bavail * disk.f_frsize

    def leave(self, size):
        """Fills the disk until so many bytes are free."""
        with open(self.seen("filler"), "ab") as file:
            os.posix_fallocate(file.fileno(), file.tell(), self.free() - size)
