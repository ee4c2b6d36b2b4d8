#!/usr/bin/env python3
"""Requests of a few megabytes that made the device take hundreds.

The attacks, each seen to succeed on the interface as it was:
- a file of 16 MiB full of small arrays, read whole, took 800 MiB for as long as it was found out
  that it is JSON;
- an object that has a key twice lost 15 times its text in memory, each time it was parsed: as the
  body of a request, as a template, as a file that is read whole and as the description of an upload.

Those of the classes that are named Held never did.

usage: memory_test.py SIMULATOR
"""
import http.client
import os
import threading
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


class HeldKeys(Memory):
    """Pairs of keys that are one to the parser, however they are written."""

    PAIRS = [(b'"a"', b'"\\u0061"'), (b'"\xef\xbb\xbfa"', b'"\\ufeffa"'), (b'"\\ufeff"', b'""'),
             (b'"a\\u0000"', b'"a"'),
             (b'"\\ud800"', b'"\\ud801"'), (b'"\\ud800"', b'"?"'), (b'"\\ud800"', b'"\\ufffd"'),
             (b'"\\udc00\\ud800"', b'"??"'), (b'"\\x"', b'"x"'), (b'"\\uffff"', b'"\xef\xbf\xbf"')]

    def test_leave_nothing_behind(self):
        for first, second in self.PAIRS:
            one = b"{%s:[0,0,0,0,0,0],%s:[0,0,0,0,0,0]}" % (first, second)
            body = b'{"cdm":[' + b",".join([one] * (300_000 // len(one))) + b"]}"

            def update(body=body):
                self.assertIn(b"rror", self.ask("POST", ORDERS, body)[1])
            with self.subTest(first=first, second=second):
                self.check_bounded(update, limit=20 * MIB)


class HeldRequests(Memory):
    PATHS = ["/info", "/api/v1/techinfo", ORDERS, "/api/workflow/v1/list", "/api/workflow/v1/workorder/W",
             "/api/workflow/v1/workorder/W/attachment", "/api/workflow/v1/active", TEMPLATES,
             "/api/syncfiles/v1/pendingfiles", "/api/syncfiles/v1/metadata/x", WHOLE, WHOLE + "/x", UPLOADS,
             UPLOADS + "/x", "/api/filemgr/v2/metadata/x", "/none"]
    METHODS = ["GET", "POST", "PUT", "DELETE", "HEAD", "OPTIONS", "ODD"]
    BODIES = [b"", b"{", b'{"a":[[[{"b":[1,2,3', b"[" * 1024, b'{"cdm":[' + b'{"workOrderId":"W"},' * 500,
              b'{"activeWorkOrderId":{"a":[1,{}]}}', b'{"techId":[{}]}', b'{"a":{"b":[1]},"c":tru', b"\xff" * 3000,
              b'--x\r\n\r\n{"fileUri":["a"],"fileSize":1e400}\r\n--x\r\n\r\nabc\r\n--x--\r\n',
              b'{"cdm":[[' + b"[1]," * 2000 + b'{"a":1,"a":2}]]']

    def test_of_every_odd_kind_leave_nothing_behind(self):
        def all_of_them():
            for path in self.PATHS:
                for method in self.METHODS:
                    for body in self.BODIES:
                        try:
                            self.assertIn(self.ask(method, path, body)[0], (200, 400, 404, 405, 413))
                        except (ConnectionError, http.client.HTTPException):
                            pass  # a method that the server does not know
        all_of_them()
        before = self.device.resident_kib()
        all_of_them()
        self.assertLess(self.device.resident_kib() - before, 16 * MIB)

    def test_full_of_keys_at_once_leave_nothing_behind(self):
        body = b'{"a":{' + b'"\\n":0,' * 300_000 + b'"b":0}}'

        def at_once():
            threads = [threading.Thread(target=self.ask, args=("POST", "/api/v1/techinfo", body)) for _ in range(8)]
            for thread in threads:
                thread.start()
            for thread in threads:
                thread.join()
        at_once()
        before = self.device.resident_kib()
        at_once()
        self.assertLess(self.device.resident_kib() - before, 100 * MIB)


class HeldTemplates(Memory):
    """As large as one may be for its kind: the look at it takes no more than is allowed for it."""

    PIECES = [b'"",', b"[0],", b'{"":0},']

    def test_take_no_more_than_is_allowed_for_a_look(self):
        for piece in self.PIECES:
            count = min(16 * 1024 * 1024 // len(piece), 250 * 1024 * 1024 // self.estimated(piece)) - 100
            self.upload(f"{self.device.files}/../templates/t.json", b'{"cdm":[' + piece * count + b"0]}")
            with open(f"/proc/{self.device.process.pid}/clear_refs", "w", encoding="ascii") as reset:
                reset.write("5")
            before = self.device.resident_kib()
            self.assertEqual(self.ask("GET", TEMPLATES)[0], 200)
            self.assertLess(self.device.highest_kib() - before, 300 * MIB, piece)

    @staticmethod
    def estimated(piece):
        """What is counted for one: for each text, mark and character of it."""
        containers, marks = piece.count(b"[") + piece.count(b"{"), piece.count(b",") + piece.count(b":")
        return 112 * containers + 24 * marks + 24 * piece.count(b'"') + 4 * len(piece)


if __name__ == "__main__":
    unittest.main(verbosity=2)
