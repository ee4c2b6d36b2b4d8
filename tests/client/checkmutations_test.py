"""`parlowenctl check` notices a device that is wrong in one way, and names where."""

import unittest

from checksupport import CheckedDevice, check, failures, verdict
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

    def report(self, mutation, *options):
        with MutationProxy(mutation) as proxy:
            status, report = check("--write", "--host", proxy.host, *options)
        self.assertEqual(status, 1 if failures(report) else 0)
        return report

    def test_right_device_passes_through_the_proxy(self):
        self.assertEqual(failures(self.report(Mutation())), {})

    def test_wrong_devices_are_noticed(self):
        for kind in all_mutations():
            with self.subTest(mutation=kind.__name__):
                # Those that only the description shows need the answers to the others.
                only = (kind.noticed_by, "asset.metadata.v2", "asset.metadata.path")
                options = [word for name in only for word in ("--only", name)]
                self.assertEqual(verdict(self.report(kind(), *options), kind.noticed_by),
                                 kind.noticed_as, kind.__doc__)

    def test_there_are_many_ways_to_be_wrong(self):
        self.assertGreaterEqual(len(all_mutations()), 40)


if __name__ == "__main__":
    unittest.main()
