#!/usr/bin/env python3
"""Requests of a few megabytes that made the device take hundreds.

The attacks, each seen to succeed on the interface as it was:
- a file of 16 MiB full of small arrays, read whole, took 800 MiB for as long as it was found out
  that it is JSON;
- an object that has a key twice lost 15 times its text in memory, each time it was parsed: as the
  body of a request, as a template, as a file that is read whole and as the description of an upload.

usage: memory_test.py SIMULATOR
"""
import os
import unittest

from simulator import by_path, upload_body
from simulatortest import SimulatorTest

ORDERS = "/api/workflow/v1/workorders"
TEMPLATES = "/api/workflow/v1/templates"
UPLOADS = "/api/filemgr/v2/userfiles"
WHOLE = "/api/syncfiles/v1/userfiles"
REPETITIONS = 10
STORED = (200, b"{\n}\n")
MIB = 1024


def repeating(size):
    return '{"cdm": [{' + '"": [0],' * (size // 8) + '"": 0}]}'


class Memory(SimulatorTest):
    arguments = ("--port", "0")

    def upload(self, path, content):
        self.assertEqual(self.ask("POST", UPLOADS, upload_body(path, content)), STORED)

    def check_bounded(self, step, limit=100 * MIB):
        """One step may take something for good, repeated ones not."""
        step()
        before = self.device.resident_kib()
        for _ in range(REPETITIONS):
            step()
        self.assertLess(self.device.resident_kib() - before, limit)


class DenseJson(Memory):
    def test_that_is_read_whole_takes_no_more_than_its_answer(self):
        path = self.device.path("dense.json")
        dense = b"[" + b"[0]," * (4 * 1024 * 1024 - 8) + b"0]"
        self.upload(path, dense)
        before = self.device.highest_kib()
        self.assertEqual(self.ask("GET", by_path(WHOLE, path)), (200, dense))
        self.assertLess(self.device.highest_kib() - before, 100 * MIB)


class KeysTwice(Memory):
    def test_are_refused_in_a_body(self):
        before = self.device.checksum()

        def update():
            self.assertEqual(self.ask("POST", ORDERS, repeating(2_000_000)), (
                400, b"Error 400: Bad Request\nAn object of the request has a key twice"))

        self.check_bounded(update)
        self.assertEqual(self.device.checksum(), before)

    def test_in_a_template_leave_it_out(self):
        honest = self.ask("GET", TEMPLATES)[1]
        path = f"{self.device.files}/../templates/twice.json"

        def replace_and_read():
            self.upload(path, repeating(2_000_000).encode())
            self.assertTrue(os.path.exists(path))
            self.assertEqual(self.ask("GET", TEMPLATES)[1], honest)

        self.check_bounded(replace_and_read)

    def test_in_a_file_change_nothing(self):
        path = self.device.path("twice.json")
        content = repeating(2_000_000).encode()
        self.upload(path, content)
        self.check_bounded(
            lambda: self.assertEqual(self.ask("GET", by_path(WHOLE, path)), (200, content)))

    def test_in_the_description_of_an_upload_are_refused(self):
        path = self.device.path("twice")
        body = upload_body(path, b"content")
        begin = body.index(b"{") + 1
        body = body[:begin] + b'"key": [0],' * 80_000 + body[begin:]
        self.check_bounded(lambda: self.assertNotEqual(self.ask("POST", UPLOADS, body), STORED),
                           limit=50 * MIB)
        self.assertFalse(os.path.exists(path))


if __name__ == "__main__":
    unittest.main(verbosity=2)
