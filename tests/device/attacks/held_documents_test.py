#!/usr/bin/env python3
"""Documents that are hard to parse, to write or to keep. None of these attacks succeeded: each was
answered as what it is, and the next client was served.

usage: held_documents_test.py SIMULATOR
"""
import json
import os
import random
import signal
import unittest

from simulator import error, upload_body
from simulatortest import SimulatorTest, SmallDiskTest

UPLOAD = "/api/filemgr/v2/userfiles"
WHOLE = "/api/syncfiles/v1/userfiles"
ORDERS = "/api/workflow/v1/workorders"
ORDER = "/api/workflow/v1/workorder/"
ACTIVE = "/api/workflow/v1/active"
TEMPLATES = "/api/workflow/v1/templates"
TECHNICIAN = "/api/v1/techinfo"
REFUSED = error("Upload failed")
MIB = 1024 * 1024
SIZE = 400_000


def filled(piece, size=SIZE):
    return b'{"cdm":[' + piece * (size // len(piece)) + b"0]}"


def keys():
    dice = random.Random(1)
    return [b'"%08x":0' % dice.getrandbits(32) for _ in range(SIZE // 12)]


def hard():
    """By its name what takes the parser or the writer long for each byte."""
    sorted_keys = [b'"%06x":0' % number for number in range(SIZE // 11)]
    return {
        "numbers near the smallest": filled(b"1.00000000000000011102230246251565e-300,"),
        "numbers of 770 digits": filled(b"9007199254740993" + b"0" * 750 + b"1e-300,"),
        "a number of many digits": b'{"cdm":[' + b"1" * SIZE + b"]}",
        "arrays": filled(b"[],"),
        "keys": b'{"cdm":[{' + b",".join(keys()) + b"}]}",
        "sorted keys": b'{"cdm":[{' + b",".join(sorted_keys) + b"}]}",
        "keys backwards": b'{"cdm":[{' + b",".join(reversed(sorted_keys)) + b"}]}",
        "long keys alike": b'{"cdm":[{' + b",".join(
            b'"%s%06x":0' % (b"a" * 2000, number) for number in range(300)) + b"}]}",
        "escaped keys": b'{"cdm":[{' + b'"\\n":0,' * (SIZE // 7) + b'"a":0}]}',
        "texts with escapes": filled(b'"\\u0041",'),
        "a text of escapes": b'{"cdm":["' + b"\\u00e9" * (SIZE // 6) + b'"]}',
        "a text that is not ASCII": b'{"cdm":["' + "é".encode() * (SIZE // 2) + b'"]}',
        "numbers": filled(b"1,"),
        "tests": b'{"cdm":[{"workOrderId":"W","tests":[' + b'{"resultData":{"a":1}},' * (SIZE // 23) + b"{}]}]}",
    }


class Attack(SimulatorTest):
    arguments = ("--port", "0", "--empty")

    def upload(self, path, content):
        return json.loads(self.ask("POST", UPLOAD, upload_body(path, content))[1])

    def template(self, name):
        return f"{self.device.files}/../templates/{name}"


class Hard(Attack):
    def test_bodies_are_answered_and_store_nothing_that_is_no_work_order(self):
        self.ask("POST", ORDERS, b'{"cdm":[{"workOrderId":"W"}]}')
        for name, body in hard().items():
            if name != "tests":
                self.assertIn(b"errorMessage", self.ask("POST", ORDERS, body)[1], name)
            self.assertIn(json.loads(self.ask("POST", TECHNICIAN, body)[1])["errorMessage"],
                          ("Missing techId", "Method not allowed"), name)  # as it is JSON or not
            answer = self.ask("PUT", ACTIVE, b'{"activeWorkOrderId":"W","x":' + body + b"}")
            self.assertIn(answer[0], (200, 413), name)
            self.assertEqual(self.ask_json("GET", ACTIVE), {"activeWorkOrderId": "W"})
        self.assertEqual(os.listdir(f"{self.device.data}/workorders"), ["W.json"])

    def test_templates_are_given_whole_or_left_out(self):
        for name, body in hard().items():
            self.assertEqual(self.upload(self.template("t.json"), body), {}, name)
            found = self.ask_json("GET", TEMPLATES)["templates"]
            whole = json.loads(body, parse_int=len)["cdm"]  # which bounds how many digits it takes
            self.assertIn(len(found), (0, len(whole)), name)

    def test_files_come_back_as_they_are(self):
        for name, body in hard().items():
            self.assertEqual(self.upload(self.device.path("f.json"), body), {})
            self.assertEqual(self.ask("GET", WHOLE + self.device.path("f.json")), (200, body), name)


class Numbers(Attack):
    def test_that_are_whole_are_kept_as_far_as_they_are_exact(self):
        numbers = {"a": 2**53 - 1, "b": -(2**53) + 1, "c": 0.1, "d": 1e300, "e": -0.0, "f": 2**31, "g": 5e-324}
        self.assertEqual(self.ask_json("POST", ORDERS, {"cdm": [{"workOrderId": "W", **numbers}]}), {})
        self.restart()
        cdm = self.ask_json("GET", ORDER + "W")["cdm"]
        self.assertEqual({key: cdm[key] for key in numbers}, numbers)

    def test_of_the_active_work_order_and_its_texts_come_back(self):
        self.ask("POST", ORDERS, b'{"cdm":[{"workOrderId":"W"}]}')
        sent = {"activeWorkOrderId": "W", "n": 2**53, "d": "\x7f\ufffd\ufeff\u202e\U0001f600\\\"/\b", "e": [], "f": {},
                "g": [[], [{}], None, True], "": ""}
        self.assertEqual(self.ask_json("PUT", ACTIVE, sent), sent)


class Twice(Attack):
    """Two keys that are one: never both, and never memory for both."""

    PAIRS = {
        "alike": (b'"a"', b'"a"'), "escaped": (b'"a"', b'"\\u0061"'),
        "with a mark": (b'"\xef\xbb\xbfa"', b'"\\ufeffa"'),
        "half pairs": (b'"\\ud800"', b'"\\ud801"'), "slashes": (b'"\\/"', b'"/"'),
        "a pair": (b'"\\ud83d\\ude00"', b'"\xf0\x9f\x98\x80"'), "U+FFFF": (b'"\\uffff"', b'"\xef\xbf\xbf"'),
        "both empty": (b'""', b'""'),
    }

    def test_are_told_in_a_body_and_left_out_as_a_template(self):
        for name, (first, second) in self.PAIRS.items():
            entry = b'{"workOrderId":"W",%s:[0,0],%s:[0]}' % (first, second)
            self.assertEqual(self.ask("POST", ORDERS, b'{"cdm":[' + entry + b"]}")[0], 400, name)
            self.assertEqual(self.upload(self.template("t.json"), b'{"cdm":[' + entry + b"]}"), {})
            self.assertEqual(self.ask_json("GET", TEMPLATES), {"templates": []}, name)
            file = self.device.path("f.json")
            self.assertEqual(self.upload(file, entry), {})
            self.assertEqual(self.ask("GET", WHOLE + file), (200, entry), name)
        self.assertEqual(os.listdir(f"{self.device.data}/workorders"), [])

    def test_in_a_body_that_does_not_count_change_nothing(self):
        self.upload(self.device.path("f"), b"x")
        for body in (b'{"a":[],"a":[]}', b'{"\\ud800":[],"\\ud801":[]}', b"[" * 5000, b"{"):
            self.assertEqual(self.ask("PUT", WHOLE + self.device.path("f"), body), (200, b"{\n}\n"))


class Refused(Attack):
    def test_templates_are_told_in_one_line_for_each_request(self):
        for number in range(60):
            self.upload(self.template(f"{number}{'x' * 200}.json"), b'{"a":[],"a":[]}')
        self.ask("GET", TEMPLATES)
        before = os.path.getsize(self.device.error_file)
        for _ in range(15):
            self.assertEqual(self.ask_json("GET", TEMPLATES), {"templates": []})
        self.assertLess(os.path.getsize(self.device.error_file) - before, 15 * 1000)

    def test_templates_do_not_take_the_place_of_good_ones(self):
        good = b'{"cdm":[{"name":"good"}]}'
        for name, content in (("a", b"\x01" * 1000), ("b", good), ("c", b""), ("d", b"[" * 100_000),
                              ("e", b'{"cdm":{}}'), ("f", b'{"cdm":[' + b"[0]," * 2_500_000 + b"0]}"), ("g", good)):
            self.assertEqual(self.upload(self.template(f"{name}.json"), content), {})
        self.assertEqual(self.ask_json("GET", TEMPLATES), {"templates": [{"name": "good"}] * 2})
        self.assertEqual(self.upload(self.template("f.json"), good), {}, "and one that was left out can be mended")
        self.assertEqual(self.ask_json("GET", TEMPLATES), {"templates": [{"name": "good"}] * 3})


class AtTheStart(Attack):
    def test_while_work_orders_are_read_a_signal_ends_the_program_and_loses_none(self):
        body = b'{"cdm":[{"workOrderId":"%d","x":{' + b",".join(keys()) + b"}}]}"
        for number in range(4):
            self.assertEqual(self.ask("POST", ORDERS, body.replace(b"%d", b"%d" % number)), (200, b"{\n}\n"))
        before = self.device.checksum()
        self.assertEqual(self.device.stop()[0], 0)
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGKILL, signal.SIGHUP):
            self.device.wrapper = ["timeout", "--signal", number.name[3:], "0.05"]
            self.device.start()
            self.device.process.communicate()
        self.device.wrapper = []
        self.device.start()
        self.assertEqual(self.device.checksum(), before)
        self.assertEqual(self.ask_json("GET", "/api/workflow/v1/list")["workOrderIds"], list("0123"))


class Reserve(SmallDiskTest):
    megabytes = 48

    def test_lets_no_upload_in_whatever_size_it_tells(self):
        self.leave(15 * MIB)
        for size in (0, -1, -2**24, -2**31, 2**31, 2**63, 1):
            for content in (b"", b"x"):
                body = upload_body(self.device.path("f"), content, size)
                self.assertEqual(json.loads(self.ask("POST", UPLOAD, body)[1]), REFUSED, (size, content))
        self.assertFalse(os.path.exists(self.seen("device/storage/userfiles/f")))


if __name__ == "__main__":
    unittest.main(verbosity=2)
