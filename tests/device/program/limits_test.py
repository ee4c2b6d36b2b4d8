#!/usr/bin/env python3
"""The simulator where it is allowed less than it needs.

usage: limits_test.py SIMULATOR
"""
import os
import socket
import subprocess
import unittest

from simulatortest import PROGRAM, SimulatorTest

# What a thread gets for its stack. It is more than there are addresses.
NO_ROOM_FOR_THREADS = ("prlimit", f"--stack={1 << 48}")


class Start(SimulatorTest):
    starts = False

    def reason(self, *arguments, wrapper=()):
        """The line that says why it does not start."""
        result = subprocess.run([*wrapper, PROGRAM, "--data", os.path.join(self.folder, "device"), *arguments],
                                capture_output=True, text=True, timeout=60, check=False)
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        return result.stderr.splitlines()[-1]

    def test_too_few_threads_are_not_told_as_a_port_that_is_taken(self):
        for port in ("0", "8081"):
            reason = self.reason("--port", port, wrapper=NO_ROOM_FOR_THREADS)
            self.assertIn("limits of tasks and memory", reason)
            self.assertNotIn("another program", reason)

    def test_too_few_threads_are_told_behind_a_line_with_faults_too(self):
        reason = self.reason("--port", "0", "--fault", "busy=1", wrapper=NO_ROOM_FOR_THREADS)
        self.assertIn("limits of tasks and memory", reason)

    def test_a_port_that_is_taken_is_told_as_one(self):
        with socket.create_server(("127.0.0.1", 0)) as holder:
            reason = self.reason("--port", str(holder.getsockname()[1]))
        self.assertIn("another program", reason)

    def test_an_address_of_another_machine_is_told_as_one(self):
        self.assertIn("Cannot assign requested address", self.reason("--listen", "192.0.2.1"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
