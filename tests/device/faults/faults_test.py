#!/usr/bin/env python3
"""The simulator on a bad day.

usage: faults_test.py SIMULATOR (tests/support must be on the Python path)
"""
import json
import os
import subprocess
import time
import unittest

from simulator import by_path, error, upload_body
from simulatortest import PROGRAM, SimulatorTest

SYNC = "/api/syncfiles/v1/"
MANAGER = "/api/filemgr/v2/"
WORKFLOW = "/api/workflow/v1/"
REFUSED = error("Upload failed")


class BadDay(SimulatorTest):
    faulty = True

    def faults(self, *lines):
        self.device.set_faults(*lines)

    def path(self, name):
        return os.path.join(self.device.files, name)

    def upload(self, path, content=b"abc"):
        return json.loads(self.ask("POST", MANAGER + "userfiles", upload_body(path, content))[1])


class Faults(BadDay):
    def test_the_asset_information_says_that_this_is_a_simulator(self):
        self.assertIs(self.ask_json("GET", "/info")["assetInfo"]["simulator"], True)

    def test_a_slow_call_makes_every_request_late(self):
        self.upload(self.path("a"))
        self.faults("slow-call=300")
        requests = [("GET", "/info"), ("POST", "/api/v1/techinfo", '{"techId":"x"}'),
                    ("GET", MANAGER + "userfiles"),
                    ("POST", MANAGER + "userfiles", upload_body(self.path("b"), b"abc"))]
        requests += [("GET", WORKFLOW + name)
                     for name in ("list", "active", "templates", "workorder/WO-1001")]
        requests += [("POST", WORKFLOW + "workorders", '{"cdm":[]}'),
                     ("PUT", WORKFLOW + "active", '{"activeWorkOrderId":"WO-1001"}')]
        requests += [("GET", by_path(route, self.path("a")))
                     for route in (SYNC + "userfiles", SYNC + "metadata", MANAGER + "userfiles",
                                   MANAGER + "metadata")]
        requests += [("GET", SYNC + "pendingfiles"), ("GET", SYNC + "pendingfiles/all"),
                     ("PUT", by_path(SYNC + "userfiles", self.path("a"))),
                     ("DELETE", by_path(MANAGER + "userfiles", self.path("a")))]
        for request in requests:
            before = time.monotonic()
            self.assertEqual(self.ask(*request)[0], 200)
            self.assertGreaterEqual(time.monotonic() - before, 0.3, request[:2])

    def test_a_slow_call_makes_each_further_piece_of_a_download_late(self):
        self.upload(self.path("a"), b"x" * 11_000_000)
        self.faults("slow-call=200")
        before = time.monotonic()
        self.assertEqual(len(self.ask("GET", by_path(MANAGER + "userfiles", self.path("a")))[1]), 11_000_000)
        self.assertGreaterEqual(time.monotonic() - before, 0.6)

    def test_without_the_guarded_storage_uploads_and_downloads_fail(self):
        self.assertEqual(self.upload(self.path("a")), {})
        self.faults("storage-away")
        self.assertEqual(self.upload(self.path("b")), REFUSED)
        self.assertEqual(self.ask_json("GET", by_path(MANAGER + "userfiles", self.path("a"))),
                         error("File read failure"))
        self.faults()
        self.assertEqual(self.upload(self.path("b")), {})

    def test_without_the_guarded_storage_everything_else_works(self):
        self.assertEqual(self.upload(self.path("a")), {})
        templates = self.ask_json("GET", WORKFLOW + "templates")["templates"]
        self.faults("storage-away")
        self.assertLess(len(self.ask_json("GET", WORKFLOW + "templates")["templates"]), len(templates))
        self.assertEqual(self.ask("GET", by_path(SYNC + "userfiles", self.path("a")))[1], b"abc")
        for route in (SYNC, MANAGER):
            self.assertEqual(self.ask_json("GET", by_path(route + "metadata", self.path("a")))["size"], 3)
        self.assertIn(self.path("a"), str(self.ask_json("GET", MANAGER + "userfiles")))
        self.assertIn(self.path("a"), str(self.ask_json("GET", SYNC + "pendingfiles/all")))
        self.assertEqual(self.ask_json("PUT", by_path(SYNC + "userfiles", self.path("a"))), {})
        self.assertEqual(self.ask_json("DELETE", by_path(MANAGER + "userfiles", self.path("a"))), {})

    def test_without_free_space_uploads_fail_and_leave_the_file_before(self):
        self.assertEqual(self.upload(self.path("a"), b"old"), {})
        self.faults("no-space")
        self.assertEqual(self.upload(self.path("a"), b"new"), REFUSED)
        self.assertEqual(self.ask("GET", by_path(SYNC + "userfiles", self.path("a")))[1], b"old")

    def test_a_write_that_fails_stores_nothing_of_a_batch(self):
        before = self.ask_json("GET", WORKFLOW + "list")
        self.faults("write-fails=10")
        batch = {"cdm": [{"workOrderId": f"new-{number}"} for number in range(5)]}
        self.assertEqual(self.ask_json("POST", WORKFLOW + "workorders", batch),
                         error("Error in request handler"))
        self.assertEqual(self.ask_json("GET", WORKFLOW + "list"), before)
        self.faults()
        self.assertEqual(self.ask_json("POST", WORKFLOW + "workorders", batch), {})

    def test_a_write_that_fails_keeps_the_technician_of_before(self):
        self.assertEqual(self.ask_json("POST", "/api/v1/techinfo", {"techId": "before"}), {})
        self.faults("write-fails=0")
        self.ask_json("POST", "/api/v1/techinfo", {"techId": "after"})
        with open(os.path.join(self.device.data, "state", "technician.json"), encoding="utf-8") as file:
            self.assertIn("before", file.read())

    def test_a_first_piece_that_cannot_be_read_is_an_error(self):
        self.assertEqual(self.upload(self.path("a"), b"x" * 100), {})
        self.faults("read-fails=99")
        self.assertEqual(self.ask_json("GET", by_path(MANAGER + "userfiles", self.path("a"))),
                         error("File read failure"))

    def test_a_later_piece_that_cannot_be_read_ends_the_file_there(self):
        self.assertEqual(self.upload(self.path("a"), b"x" * 12_000_000), {})
        self.faults("read-fails=11000000")
        content = self.ask("GET", by_path(MANAGER + "userfiles", self.path("a")))[1]
        self.assertEqual(len(content), 10_000_000)

    def test_a_whole_file_that_cannot_be_read_to_its_end_is_not_found(self):
        self.assertEqual(self.upload(self.path("a"), b"x" * 100), {})
        route = by_path(SYNC + "userfiles", self.path("a"))
        self.faults("read-fails=99")
        self.assertEqual(self.ask_json("GET", route), error("File not found"))
        self.faults("read-fails=100")
        self.assertEqual(self.ask("GET", route)[1], b"x" * 100)
        self.faults("read-fails=0")
        self.assertEqual(self.ask_json("PUT", route), {})

    def test_a_delete_is_refused_and_the_file_stays(self):
        self.assertEqual(self.upload(self.path("a")), {})
        self.faults("delete-refused")
        self.assertEqual(self.ask_json("DELETE", by_path(MANAGER + "userfiles", self.path("a"))),
                         error("Invalid URI"))
        self.assertTrue(os.path.exists(self.path("a")))

    def test_the_work_order_store_fails(self):
        self.faults("store-fails")
        self.assertEqual(self.ask_json("POST", WORKFLOW + "workorders", {"cdm": [{"workOrderId": "x"}]}),
                         error("Error in request handler"))
        self.assertEqual(self.ask_json("GET", WORKFLOW + "workorder/x"), error("Job not found"))


class CommandLine(BadDay):
    arguments = ("--fault", "no-space", "--fault", "delete-refused")

    def test_faults_of_the_command_line_are_in_force_from_the_start(self):
        self.assertEqual(self.upload(self.path("a")), REFUSED)
        path = self.ask_json("GET", MANAGER + "userfiles")["files"][0]["path"]
        self.assertEqual(self.ask_json("DELETE", by_path(MANAGER + "userfiles", path)),
                         error("Invalid URI"))


class FaultFile(BadDay):
    def test_an_upload_cannot_set_faults(self):
        """There used to be a file for that where an upload reached it."""
        faults = self.device.files + "/../../state/faults"
        self.upload(faults, b"slow-call=5000\nstore-fails\n")
        before = time.monotonic()
        self.assertEqual(self.ask_json("POST", WORKFLOW + "workorders",
                                       {"cdm": [{"workOrderId": "x"}]}), {})
        self.assertLess(time.monotonic() - before, 5)

    def test_a_fault_with_a_count_bites_so_often(self):
        self.device.set_faults("no-space*2")
        answers = [self.upload(self.path("a")) for _ in range(3)]
        self.assertEqual(answers, [REFUSED, REFUSED, {}])


class WrongFault(SimulatorTest):
    starts = False

    def test_a_wrong_fault_is_refused_with_status_2_and_a_line_that_names_it(self):
        for fault in ("meteorite", "slow-call", "no-space=1", "slow-call=4000000000"):
            result = subprocess.run([PROGRAM, "--data", self.folder, "--fault", fault], check=False,
                                    capture_output=True, text=True, timeout=60)
            self.assertEqual(result.returncode, 2)
            self.assertIn(f'"{fault}"', result.stderr)
            self.assertEqual(result.stderr.count("\n"), 1)


if __name__ == "__main__":
    unittest.main(verbosity=2)
