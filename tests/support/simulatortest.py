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
