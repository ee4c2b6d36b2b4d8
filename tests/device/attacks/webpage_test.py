#!/usr/bin/env python3
"""A web page of any origin that somebody in the device's network has open.

The attacks, each seen to succeed on the interface as it was: such a page uploaded a file, chose the
active work order, deleted a file and stored work orders, since the preflight allows any origin; a plain
form uploaded without one.

usage: webpage_test.py SIMULATOR PAGE CHROMIUM
"""
import json
import os
import subprocess
import sys
import unittest

PAGE, CHROMIUM = sys.argv.pop(2), sys.argv.pop(2)

from simulatortest import SimulatorTest  # noqa: E402


class ForeignPage(SimulatorTest):
    starts = False

    def serve(self, *arguments):
        self.start(*arguments)
        self.target = self.device.path("hostile")
        with open(f"{self.target}-kept", "wb") as file:
            file.write(b"kept")
        self.before = self.device.checksum()

    def attempts(self):
        device = f"http://127.0.0.1:{self.device.port}"
        done = subprocess.run(["node", PAGE, CHROMIUM, device, self.target], check=True,
                              capture_output=True, text=True, timeout=120)
        return dict(line.split(": ", 1) for line in done.stdout.splitlines())

    def test_changes_nothing(self):
        self.serve()
        told = self.attempts()
        self.assertEqual(self.device.checksum(), self.before)
        self.assertEqual(told["form"], "403")
        self.assertEqual(len(told), 5, "each attempt was made")

    def test_reaches_the_device_where_its_owner_allows_any(self):
        """The same page, so that the test above shows more than a page that does not work."""
        self.serve("--allow-origin", "*")
        told = self.attempts()
        self.assertEqual(told["form"], "200")
        self.assertTrue(os.path.exists(self.target))
        self.assertTrue(os.path.exists(f"{self.device.data}/workorders"))
        self.assertFalse(os.path.exists(f"{self.target}-kept"))
        listed = json.dumps(self.ask_json("GET", "/api/workflow/v1/list"))
        self.assertIn("WO-hostile", listed)


if __name__ == "__main__":
    unittest.main(verbosity=2)
