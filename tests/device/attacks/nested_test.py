#!/usr/bin/env python3
"""JSON of a few megabytes that was made to become gigabytes: what is written and answered is indented.

The attacks, each seen to succeed on the interface as it was:
- a work order of 4.8 MB, nested 500 levels deep, ended the program, as did setting the active work
  order to one;
- 100 kB uploaded as a template ended it at every request for templates;
- a work order of 4.8 MB that took 46 MB when it was indented was told stored, and never read again;
- 16 MiB of "[0],[0]", uploaded as a template, took 800 MiB of memory whenever the file was looked at.

usage: nested_test.py SIMULATOR
"""
import json
import os
import unittest

from simulator import upload_body
from simulatortest import SimulatorTest

ORDERS = "/api/workflow/v1/workorders"
TEMPLATES = "/api/workflow/v1/templates"
DEEP = "[" * 500 + "1," * 200_000 + "1" + "]" * 500
WIDE = "[" + "1," * 1_700_000 + "1]"


class Nested(SimulatorTest):
    arguments = ("--port", "0")

    def check_it_lives(self):
        self.assertTrue(self.device.running())
        self.assertLess(self.device.resident_kib(), 1000 * 1024)
        self.assertEqual(self.ask("GET", "/info")[0], 200)


class WorkOrders(Nested):
    def check_none_is_stored(self, content):
        before = self.device.checksum()
        body = f'{{"cdm": [{{"workOrderId": "W", "x": {content}}}]}}'
        self.assertIn("errorMessage", json.loads(self.ask("POST", ORDERS, body)[1]))
        self.assertEqual(self.device.checksum(), before)
        self.check_it_lives()

    def test_that_are_deep_are_refused(self):
        self.check_none_is_stored(DEEP)

    def test_that_could_not_be_read_again_are_refused(self):
        self.check_none_is_stored(WIDE)

    def test_that_are_deep_are_refused_as_the_active_one(self):
        self.ask_json("POST", ORDERS, {"cdm": [{"workOrderId": "W"}]})
        body = f'{{"activeWorkOrderId": "W", "x": {DEEP}}}'
        self.assertEqual(self.ask("PUT", "/api/workflow/v1/active", body)[0], 413)
        self.check_it_lives()


class ClassicWorkOrders(WorkOrders):
    arguments = ("--port", "0", "--serving", "classic")
    test_that_are_deep_are_refused_as_the_active_one = None


class Templates(Nested):
    def test_that_are_deep_or_large_are_left_out(self):
        honest = json.loads(self.ask("GET", TEMPLATES)[1])
        folder = os.path.join(self.device.data, "storage", "templates")
        for name, content in (("deep", DEEP), ("huge", "1" * 20_000_000)):
            target = f"{self.device.files}/../templates/{name}.json"
            document = f'{{"cdm": [{{"x": {content}}}]}}'.encode()
            self.ask("POST", "/api/filemgr/v2/userfiles", upload_body(target, document))
            self.assertTrue(os.path.exists(os.path.join(folder, name + ".json")))
        self.assertEqual(json.loads(self.ask("GET", TEMPLATES)[1]), honest)
        self.check_it_lives()

    def test_that_are_dense_take_no_memory_and_are_left_out(self):
        honest = json.loads(self.ask("GET", TEMPLATES)[1])
        target = f"{self.device.files}/../templates/dense.json"
        dense = '{"cdm": [' + "[0]," * 4_000_000 + "0]}"
        self.ask("POST", "/api/filemgr/v2/userfiles", upload_body(target, dense.encode()))
        before = self.device.highest_kib()
        self.assertEqual(json.loads(self.ask("GET", TEMPLATES)[1]), honest)
        self.assertLess(self.device.highest_kib() - before, 128 * 1024)
        self.assertIn("dense.json", self.device.errors())
        self.check_it_lives()


if __name__ == "__main__":
    unittest.main(verbosity=2)
