"""`parlowenctl check` passes a right device, says what it did, and leaves the device as it was."""

import html.parser
import os
import pathlib
import re
import signal
import subprocess
import time
import unittest
import xml.etree.ElementTree

from checksupport import ACTIVE, CheckedDevice, check, failures, start_check, verdict
from clienttest import CANNOT_CONNECT, CLIENT, DONE, LOCAL_FAILURE, USAGE


class References(html.parser.HTMLParser):
    """What a page would fetch."""

    def __init__(self):
        super().__init__()
        self.found = []

    def handle_starttag(self, tag, attrs):
        self.found += [value for name, value in attrs if name in ("src", "href")]


def everything(device):
    return {str(path): path.read_bytes() for path in device.data.rglob("*") if path.is_file()}


class RightDevice(unittest.TestCase):
    """One check that reads and one that writes, and what they leave behind."""

    @classmethod
    def setUpClass(cls):
        cls.html = pathlib.Path("report.html").resolve()
        cls.junit = pathlib.Path("report.xml").resolve()
        with CheckedDevice() as device:
            device.activate()
            cls.at_first = everything(device)
            cls.files_at_first = device.files()
            cls.reading = check("--report", str(cls.html), "--junit", str(cls.junit))
            cls.after_reading = everything(device)
            cls.writing = check("--write")
            cls.files_after_writing = device.files()
            cls.active_after_writing = device.active()
            cls.work_orders = device.client("workorders", "list")

    def test_passes_when_it_is_only_read(self):
        self.assertEqual((failures(self.reading[1]), self.reading[0]), ({}, DONE))

    def test_passes_when_it_is_written(self):
        self.assertEqual((failures(self.writing[1]), self.writing[0]), ({}, DONE))

    def test_reading_leaves_every_byte(self):
        self.assertEqual(self.after_reading, self.at_first)

    def test_writing_leaves_files_and_active_work_order(self):
        self.assertEqual(self.files_after_writing, self.files_at_first)
        self.assertEqual(self.active_after_writing, ACTIVE)

    def test_writing_leaves_three_work_orders_and_says_so(self):
        self.assertEqual(self.work_orders.count("parlowen-check-"), 3, self.work_orders)
        left = " ".join(self.writing[1]["leftBehind"])
        self.assertIn("parlowen-check-1", left)

    def test_has_many_assertions_of_which_writing_tests_nearly_all(self):
        report = self.writing[1]
        self.assertGreaterEqual(report["counts"]["PASS"], 120)
        untested = [one for one in report["assertions"] if one["verdict"] == "NOT TESTED"]
        self.assertTrue(all(one["text"] for one in untested), untested)
        self.assertLessEqual(len(untested), 10, untested)

    def test_every_assertion_has_an_id_of_its_own_a_sentence_and_a_reference(self):
        assertions = self.reading[1]["assertions"]
        self.assertEqual(len({one["id"] for one in assertions}), len(assertions))
        for one in assertions:
            self.assertTrue(one["sentence"].endswith(".") and one["reference"], one)

    def test_every_silent_mistake_is_found_by_assertions(self):
        page = pathlib.Path(os.environ["PARLOWEN_SOURCE"], "docs", "silent-mistakes.md").read_text()
        visible = page.partition("## What no check sees")[0]
        rows = [line for line in visible.splitlines() if line.startswith("| ")
                and not line.startswith("| What you see")]
        self.assertGreater(len(rows), 20)
        ids = {one["id"] for one in self.reading[1]["assertions"]}
        for row in rows:
            found_by = set(re.findall(r"`([^`]+)`", row.split("|")[-2]))
            self.assertTrue(found_by and found_by <= ids, row)

    def test_page_fetches_nothing(self):
        references = References()
        references.feed(self.html.read_text())
        self.assertEqual(references.found, [])
        self.assertNotIn("@import", self.html.read_text())
        self.assertNotIn("url(", self.html.read_text())

    def test_page_names_device_serial_number_and_version(self):
        page = self.html.read_text()
        version = subprocess.run([CLIENT, "--version"], capture_output=True, text=True,
                                 check=True).stdout.strip()
        for text in ("http://127.0.0.1:8081", "PW-000042", version, "Signature",
                     "The device keeps the interface"):
            self.assertIn(text, page)

    def test_page_names_every_assertion(self):
        page = self.html.read_text()
        for one in self.reading[1]["assertions"]:
            self.assertIn(one["id"], page)

    def test_junit_counts_what_was_found(self):
        suites = xml.etree.ElementTree.parse(self.junit).getroot().findall("testsuite")
        total = sum(int(suite.get("tests")) for suite in suites)
        skipped = sum(int(suite.get("skipped")) for suite in suites)
        self.assertEqual(total, len(self.reading[1]["assertions"]))
        self.assertEqual(skipped, self.reading[1]["counts"]["NOT TESTED"])


class Interruptions(unittest.TestCase):
    def test_interruption_leaves_files_and_active_work_order(self):
        with CheckedDevice() as device:
            device.activate()
            before = device.files()
            process = start_check("--write")
            while len(device.files()) == len(before):
                self.assertIsNone(process.poll(), "no file was stored")
                time.sleep(0.001)
            process.send_signal(signal.SIGINT)
            process.communicate()
            self.assertEqual(process.returncode, LOCAL_FAILURE)
            self.assertEqual(device.files(), before)
            self.assertEqual(device.active(), ACTIVE)


class OtherDevices(unittest.TestCase):
    def test_page_that_cannot_be_written_is_told(self):
        with CheckedDevice():
            result = subprocess.run([CLIENT, "check", "--report", "none/report.html"], check=False,
                                    capture_output=True, text=True)
        self.assertEqual(result.returncode, LOCAL_FAILURE)
        self.assertIn("none/report.html", result.stderr)

    def test_id_that_no_assertion_has_is_refused(self):
        result = subprocess.run([CLIENT, "check", "--only", "asset.*", "--only", "jop.*"],
                                capture_output=True, text=True, check=False)
        self.assertEqual(result.returncode, USAGE)
        self.assertIn('no assertion is called "jop.*"', result.stderr)

    def test_no_device(self):
        result = subprocess.run([CLIENT, "check"], capture_output=True, text=True, check=False)
        self.assertEqual(result.returncode, CANNOT_CONNECT)
        self.assertIn("no connection", result.stderr)

    def test_device_that_serves_classically_passes(self):
        with CheckedDevice("--serving", "classic") as device:
            device.activate()
            status, report = check("--write")
        self.assertEqual((failures(report), status), ({}, DONE))

    def test_empty_device_passes(self):
        for serving in ("prompt", "classic"):
            with self.subTest(serving=serving), \
                    CheckedDevice("--serving", serving, empty=True) as device:
                status, report = check("--write", "--folder", str(device.user_files))
                self.assertEqual((failures(report), status), ({}, DONE))

    def test_folder_that_nothing_tells_is_a_reason(self):
        page = pathlib.Path("empty.html").resolve()
        with CheckedDevice(empty=True):
            status, report = check("--write", "--report", str(page))
        self.assertEqual((failures(report), status), ({}, DONE))
        self.assertEqual(verdict(report, "stored.size-1.download"), "NOT TESTED")
        self.assertNotIn("The device keeps the interface", page.read_text())

    def test_a_reason_for_many_is_told_once(self):
        with CheckedDevice(empty=True):
            told = subprocess.run([CLIENT, "check"], capture_output=True, text=True, check=True)
        for reason in ("needs --write", "needs --load", "or give --folder", "store one first"):
            self.assertEqual(told.stdout.count(reason), 1, told.stdout)

    def test_many_work_orders_pass(self):
        with CheckedDevice(work_orders=9000) as device:
            device.activate("many-00007")
            status, report = check("--write")
        self.assertEqual((failures(report), status), ({}, DONE))

    def test_storage_that_is_away_is_a_reason(self):
        with CheckedDevice("--storage-unavailable") as device:
            _, report = check("--write", "--folder", str(device.user_files))
        self.assertEqual(set(failures(report)), {"storage.available"})
        self.assertEqual(verdict(report, "files.download"), "NOT TESTED")
        self.assertEqual(verdict(report, "stored.size-1.download"), "NOT TESTED")


if __name__ == "__main__":
    os.environ.pop("PARLOWEN_HOST", None)
    unittest.main()
