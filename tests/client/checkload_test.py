"""`parlowenctl check --load` passes the simulator."""

import unittest

from checksupport import CheckedDevice, check, failures
from clienttest import DONE


class Load(unittest.TestCase):
    def test_right_device_bears_the_load(self):
        with CheckedDevice() as device:
            device.activate()
            status, report = check("--load", "--only", "load.*", "--only", "end.*")
        self.assertEqual((failures(report), status), ({}, DONE))
        untested = [one for one in report["assertions"] if one["verdict"] == "NOT TESTED"]
        self.assertEqual(untested, [])


if __name__ == "__main__":
    unittest.main()
