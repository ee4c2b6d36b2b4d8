"""`parlowenctl check` notices a device that is wrong in one way, and names where."""

import unittest

from checksupport import CheckedDevice, check, failures
from mutationproxy import Mutation, MutationProxy
from mutations import all_mutations


class WrongDevices(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.device = CheckedDevice()
        cls.device.activate()

    @classmethod
    def tearDownClass(cls):
        cls.device.__exit__()

    def failures(self, mutation, *options):
        with MutationProxy(mutation) as proxy:
            status, report = check("--write", "--host", proxy.host, *options)
        found = failures(report)
        self.assertEqual(status, 1 if found else 0)
        return found

    def test_right_device_passes_through_the_proxy(self):
        self.assertEqual(self.failures(Mutation()), {})

    def test_wrong_devices_are_noticed(self):
        for kind in all_mutations():
            with self.subTest(mutation=kind.__name__):
                # Those that only the description shows need the answers to the others.
                only = (kind.noticed_by, "asset.metadata.v2", "asset.metadata.path")
                options = [word for name in only for word in ("--only", name)]
                self.assertIn(kind.noticed_by, self.failures(kind(), *options), kind.__doc__)

    def test_there_are_many_ways_to_be_wrong(self):
        self.assertGreaterEqual(len(all_mutations()), 40)


if __name__ == "__main__":
    unittest.main()
