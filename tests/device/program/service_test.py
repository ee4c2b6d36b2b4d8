#!/usr/bin/env python3
"""What the simulator tells the service manager, and what its unit asks of the manager.

usage: service_test.py SIMULATOR UNIT
"""
import configparser
import os
import socket
import sys
import threading
import time
import unittest

UNIT = sys.argv.pop(2)

from simulator import Simulator  # noqa: E402
from simulatortest import PROGRAM, SimulatorTest  # noqa: E402

PATIENCE = 1.0


class Told(SimulatorTest):
    """The test takes the manager's place."""

    starts = False

    def serve(self, address, *arguments, **environment):
        self.manager = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(self.manager.close)
        self.manager.bind(address.replace("@", "\0"))
        self.manager.settimeout(30)
        self.device = Simulator(PROGRAM, *arguments, folder=self.folder, faulty=True,
                                env={**os.environ, "NOTIFY_SOCKET": address, **environment})
        self.addCleanup(self.device.kill)
        self.device.start()

    def serve_watched(self):
        self.serve(f"{self.folder}/manager", WATCHDOG_USEC=str(int(PATIENCE * 1e6)))

    def next_word(self):
        return self.manager.recv(4096).decode()

    def test_that_it_serves_and_that_it_ends(self):
        self.serve(f"{self.folder}/manager")
        self.assertEqual(self.next_word(), "READY=1")
        self.assertEqual(self.device.stop(), (0, "", ""))
        self.assertEqual(self.next_word(), "STOPPING=1")

    def test_at_an_address_outside_the_file_system(self):
        self.serve(f"@parlowen-test-{os.getpid()}")
        self.assertEqual(self.next_word(), "READY=1")

    def test_again_and_again_that_it_turns_while_it_is_watched(self):
        self.serve_watched()
        self.assertEqual(self.next_word(), "READY=1")
        self.assertEqual([self.next_word() for _ in range(3)], ["WATCHDOG=1"] * 3)

    def test_nothing_while_its_event_loop_is_held_up(self):
        self.serve_watched()
        self.device.set_faults(f"slow-call={int(PATIENCE * 3000)}")
        held_up = threading.Thread(target=self.ask, args=("GET", "/info"))
        held_up.start()
        self.addCleanup(held_up.join)
        self.manager.settimeout(PATIENCE * 1.5)
        with self.assertRaises(socket.timeout):
            for _ in range(20):
                self.next_word()

    def test_that_it_is_at_work_while_it_forms_the_digest_of_a_large_file(self):
        self.serve_watched()
        path = self.device.path("large")
        with open(path, "wb") as file:
            file.truncate(10 ** 12)  # takes minutes
        request = f"PUT /api/syncfiles/v1/userfiles{path} HTTP/1.1\r\nContent-Length: 0\r\n\r\n"
        with socket.create_connection(("127.0.0.1", self.device.port)) as client:
            client.sendall(request.encode())
            while path not in self.device.open_files():
                time.sleep(0.01)
            self.assertEqual([self.next_word() for _ in range(5)][1:], ["WATCHDOG=1"] * 4)
            self.assertIn(path, self.device.open_files())

    def test_nothing_of_a_watch_that_is_meant_for_another_process(self):
        self.serve(f"{self.folder}/manager", WATCHDOG_USEC="100000", WATCHDOG_PID="1")
        self.assertEqual(self.next_word(), "READY=1")
        self.manager.settimeout(PATIENCE)
        with self.assertRaises(socket.timeout):
            self.next_word()

    def test_nobody_where_there_is_no_manager(self):
        self.device = Simulator(PROGRAM, folder=self.folder,
                                env={**os.environ, "NOTIFY_SOCKET": f"{self.folder}/none"})
        self.addCleanup(self.device.kill)
        self.device.start()
        self.assertEqual(self.device.stop(), (0, "", ""))


class Unit(unittest.TestCase):
    """A manager starts the program again however it ended and however often."""

    def setUp(self):
        self.unit = configparser.RawConfigParser(strict=False)
        self.unit.optionxform = str
        self.unit.read(UNIT)

    def test_it_comes_back_after_every_end(self):
        self.assertEqual(self.unit["Service"]["Restart"], "always")

    def test_it_is_never_left_down(self):
        """Five ends in 17 s were enough while the manager counted them."""
        self.assertEqual(self.unit["Unit"]["StartLimitIntervalSec"], "0")

    def test_it_is_started_again_when_the_event_loop_stands_still(self):
        self.assertEqual(self.unit["Service"]["Type"], "notify")
        self.assertEqual(self.unit["Service"]["WatchdogSec"], "30")

    def test_it_may_speak_to_the_manager(self):
        self.assertIn("AF_UNIX", self.unit["Service"]["RestrictAddressFamilies"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
