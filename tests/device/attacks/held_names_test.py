#!/usr/bin/env python3
"""Names and times of every kind: pairs that differ by their case or their form alone, dots, slashes and
blanks at the end, the turns of summer time. None of these attacks succeeded: each name stood for itself.

usage: held_names_test.py SIMULATOR
"""
import datetime
import json
import os
import unittest
from urllib.parse import quote

from simulator import error, upload_body
from simulatortest import SimulatorTest

UPLOAD = "/api/filemgr/v2/userfiles"
WHOLE = "/api/syncfiles/v1/userfiles"
PENDING = "/api/syncfiles/v1/pendingfiles/all"
ORDERS = "/api/workflow/v1/workorders"
ORDER = "/api/workflow/v1/workorder/"
ACTIVE = "/api/workflow/v1/active"
REFUSED = error("Upload failed")

PAIRS = [("g", "G"), ("é", "e\u0301"), ("Å", "\u212b"), ("ﬁ", "fi"), ("ß", "ss"), ("İ", "i"), ("x", "x "),
         ("x", " x"), ("x", "x."), ("x", "x\t"), ("x", "x\n"), ("x", "\ufeffx"), ("x", "x\ufeff"), ("x", "x\u200b"),
         ("a/b", "a\\b"), ("a/b", "a%2fb"), ("a/b", "a:b"), ("\u2126", "\u03a9"), ("가", "\u1100\u1161"),
         ("\U0001f600", "\U0001f601")]
ALONE = ["con", "aux.", "*", "[a]", "%41", "%", "#", "&", "+", "~root", "-rf", "...", "..a", ".parlowen",
         ".Parlowen-upload-x", "'; rm x", "$(x)", "`x`", "\x7f", "\u202e", "é" * 127, "g" * 255]
NO_NAMES = ["", "/", "f/", "f/.", "f/..", ".", "..", "../userfiles", "./", "g" * 256, "é" * 128, "none/f",
            "f\0", "f/g", "x/../f/g"]


class Attack(SimulatorTest):
    arguments = ("--port", "0", "--empty")

    def upload(self, name, content):
        target = f"{self.device.files}/{name}"
        return json.loads(self.ask("POST", UPLOAD, upload_body(target, content))[1])

    def at(self, prefix, name):
        return prefix + quote(f"{self.device.files}/{name}")

    def listed(self, path=UPLOAD):
        answer = self.ask_json("GET", path)
        files = answer["files"] if path == UPLOAD else answer
        return sorted(os.path.relpath(file["path"], self.device.files) for file in files)



class Files(Attack):
    def setUp(self):
        super().setUp()
        os.mkdir(self.device.path("a"))

    def check_is_there_until_it_is_deleted(self, name, content):
        self.assertEqual(self.ask("GET", self.at(UPLOAD, name)), (200, content), name)
        self.assertEqual(self.ask("GET", self.at(WHOLE, name)), (200, content), name)
        self.assertEqual(self.ask_json("GET", self.at("/api/syncfiles/v1/metadata", name))["size"], len(content))
        self.assertIn(name, self.listed(PENDING))
        self.assertEqual(self.ask_json("PUT", self.at(WHOLE, name)), {}, name)
        self.assertNotIn(name, self.listed(PENDING))
        self.assertEqual(self.ask_json("DELETE", self.at(UPLOAD, name)), {}, name)
        self.assertNotIn(name, self.listed())

    def test_that_look_alike_are_two(self):
        for first, second in PAIRS:
            self.assertEqual(self.upload(first, b"first"), {}, first)
            self.assertEqual(self.upload(second, b"the second"), {}, second)
            self.assertEqual(self.listed(), sorted([first, second]))
            self.check_is_there_until_it_is_deleted(first, b"first")
            self.check_is_there_until_it_is_deleted(second, b"the second")
            self.assertEqual(self.listed(), [])

    def test_of_every_kind_mean_nothing_else(self):
        for name in ALONE:
            self.assertEqual(self.upload(name, b"content"), {}, name)
            self.assertEqual(self.listed(), [name])
            self.check_is_there_until_it_is_deleted(name, b"content")

    def test_that_are_none_store_nothing(self):
        self.upload("f", b"kept")
        before = self.device.checksum()
        for name in NO_NAMES:
            self.assertEqual(self.upload(name, b"content"), REFUSED, name)
        self.assertEqual(self.device.checksum(), before)

    def test_that_lead_back_to_a_file_replace_it_once(self):
        for name in ("./f", "a/../f", "../userfiles/f", "a/./../f"):
            self.assertEqual(self.upload(name, b"content"), {}, name)
            self.assertEqual(self.listed(), ["f"])
        self.assertEqual(os.listdir(self.device.path("a")), [])

    def test_of_a_folder_and_of_a_file_do_not_take_turns(self):
        self.upload("a/f", b"kept")
        self.assertEqual(self.upload("a", b"content"), REFUSED)
        for method, prefix in (("DELETE", UPLOAD), ("GET", UPLOAD), ("GET", WHOLE), ("PUT", WHOLE)):
            self.assertIn("errorMessage", self.ask_json(method, self.at(prefix, "a")))
        self.assertEqual(self.listed(), ["a/f"])
        os.rename(self.device.path("a"), self.device.path("b"))
        self.assertEqual(self.upload("a", b"content"), {})
        self.assertEqual(self.upload("a/f", b"content"), REFUSED)
        self.assertEqual(self.listed(), ["a", "b/f"])

    def test_of_two_thousand_long_files_are_all_listed(self):
        names = sorted(f"{number:04}" + "\x01" * 240 for number in range(2000))
        place = os.open(self.device.files, os.O_RDONLY)
        for name in names:
            os.close(os.open(name, os.O_CREAT | os.O_WRONLY, dir_fd=place))
        os.close(place)
        self.assertEqual(self.listed(), names)
        self.assertEqual(self.listed(PENDING), names)


class Content(Attack):
    def test_of_the_same_size_and_name_is_pending_anew(self):
        for number in range(15):
            self.upload("f", b"%010d" % number)
            self.assertEqual(self.listed(PENDING), ["f"], number)
            self.assertEqual(self.ask_json("PUT", self.at(WHOLE, "f")), {})
            self.assertEqual(self.listed(PENDING), [], number)

    def test_that_comes_back_is_still_confirmed(self):
        self.upload("f", b"first")
        self.ask("PUT", self.at(WHOLE, "f"))
        self.upload("f", b"other")
        self.assertEqual(self.listed(PENDING), ["f"])
        self.upload("f", b"first")
        self.assertEqual(self.listed(PENDING), [])
        self.ask("DELETE", self.at(UPLOAD, "f"))
        self.upload("f", b"first")
        self.assertEqual(self.listed(PENDING), ["f"], "what was deleted is a new file")

    def test_of_files_that_are_confirmed_again_and_again_leaves_a_short_list_of_them(self):
        for number in range(60):
            self.upload("f", b"%010d" % number)
            self.ask("PUT", self.at(WHOLE, "f"))
            self.ask("DELETE", self.at(UPLOAD, "f"))
        self.assertLess(os.path.getsize(f"{self.device.data}/state/confirmed-files.jsonl"), 40_000)


class WorkOrders(Attack):
    def test_whose_ids_look_alike_are_as_many(self):
        ids = sorted({name for pair in PAIRS for name in pair
                      if not set(name) & set("/\t\n") and not name.startswith("\ufeff")})
        ids += [".x", "%x", "%.x", "%", "...", "x.json", "CON", "x" * 200]
        batch = {"cdm": [{"workOrderId": each, "text": f"of {each}"} for each in ids]}
        self.assertEqual(self.ask_json("POST", ORDERS, batch), {})
        for turn in range(2):
            for each in ids:
                found = self.ask_json("GET", ORDER + quote(each, safe=""))
                self.assertEqual(found["cdm"]["text"], f"of {each}", (each, turn))
                self.assertNotIn("errorMessage", self.ask_json("PUT", ACTIVE, {"activeWorkOrderId": each}))
                self.assertEqual(self.ask_json("GET", ACTIVE), {"activeWorkOrderId": each})
            self.assertEqual(len(os.listdir(f"{self.device.data}/workorders")), len(ids))
            self.restart()

    def test_whose_ids_are_none_are_stored_in_no_part(self):
        for bad in ("", "a/b", "/", "../x", "\ufeffx", "a\0", "a\n", "\x7f", "\x9b", "x" * 201, "é" * 101, 5, None,
                    [], {}, True, ["x"], {"workOrderId": "x"}):
            batch = {"cdm": [{"workOrderId": "good"}, {"workOrderId": bad}]}
            self.assertIn("errorMessage", self.ask_json("POST", ORDERS, batch), bad)
            self.assertEqual(os.listdir(f"{self.device.data}/workorders"), [], bad)

    def test_of_which_no_list_is_sent_change_nothing(self):
        self.ask_json("POST", ORDERS, {"cdm": [{"workOrderId": "kept"}]})
        before = self.device.checksum()
        for value in ([], {}, None, 5, "x", True, {"workOrderId": "x"}, {"0": {"workOrderId": "x"}}, [[]] * 3, [None]):
            self.ask_json("POST", ORDERS, {"cdm": value})
            self.assertEqual(self.device.checksum(), before, value)

    def test_that_are_no_templates_and_templates_that_are_no_work_orders(self):
        template = b'{"cdm":[{"workOrderId":"T","name":"template"},5,[],null]}'
        self.ask("POST", UPLOAD, upload_body(f"{self.device.files}/../templates/t.json", template))
        self.ask_json("POST", ORDERS, {"cdm": [{"workOrderId": "W"}]})
        self.assertEqual(self.ask_json("GET", "/api/workflow/v1/templates"),
                         {"templates": [{"workOrderId": "T", "name": "template"}, {}, {}, {}]})
        self.assertEqual(self.ask_json("GET", "/api/workflow/v1/list")["workOrderIds"], ["W"])
        self.assertEqual(self.ask_json("GET", ORDER + "T"), error("Job not found"))


class Templates(Attack):
    def test_come_in_the_order_of_their_names_whenever_they_were_uploaded(self):
        names = ["z", "A", "a", "10", "9", "é", "e\u0301", "_", "b", "\U0001f600"]
        answers = []
        for order in (names, names[::-1]):
            for name in order:
                content = json.dumps({"cdm": [{"name": name}]}).encode()
                target = f"{self.device.files}/../templates/{name}.json"
                self.ask("POST", UPLOAD, upload_body(target, content))
            answers.append(self.ask_json("GET", "/api/workflow/v1/templates")["templates"])
        self.assertEqual(answers[0], answers[1])
        self.assertEqual(sorted(each["name"] for each in answers[0]), sorted(names))


class Times(SimulatorTest):
    """Of files and work orders are told in UTC, wherever the device is and whatever its clock does."""

    SECONDS = [1, 951782399, 951782400, 1709164800, 1710052200, 1710054000, 1729992600, 1729994400,
               1743298199, 1743298200, 2**31 - 1, 2**31, 2**32, 4102444800]
    starts = False

    def check_in(self, zone):
        os.environ["TZ"] = zone
        self.addCleanup(os.environ.pop, "TZ", None)
        self.start("--port", "0", "--empty")
        batch = {"cdm": [{"workOrderId": f"{number:02}"} for number in range(len(self.SECONDS))]}
        self.ask_json("POST", ORDERS, batch)
        for number, seconds in enumerate(self.SECONDS):
            with open(self.device.path(f"{number:02}"), "wb"):
                pass
            for path in (self.device.path(f"{number:02}"), f"{self.device.data}/workorders/{number:02}.json"):
                os.utime(path, (0, seconds))
        self.device.stop()
        self.device.start()
        expected = [datetime.datetime.fromtimestamp(seconds, datetime.timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ")
                    for seconds in self.SECONDS]
        files = self.ask_json("GET", UPLOAD)["files"]
        orders = self.ask_json("GET", "/api/workflow/v1/list")["workOrderInfo"]
        for found in (files, orders):
            self.assertEqual([each["modifiedTime"] for each in found], expected)

    def test_in_new_york(self):
        self.check_in("America/New_York")

    def test_where_summer_time_moves_by_half_an_hour(self):
        self.check_in("Australia/Lord_Howe")

    def test_in_a_zone_that_is_none(self):
        self.check_in("none/:-99")


if __name__ == "__main__":
    unittest.main(verbosity=2)
