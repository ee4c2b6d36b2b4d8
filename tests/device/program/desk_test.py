#!/usr/bin/env python3
"""Simulators as they stand on a desk: several, anywhere, with the content that one wants.

usage: desk_test.py SIMULATOR (tests/support must be on the Python path)
"""
import json
import os
import socket
import subprocess
import tarfile
import tempfile
import time
import unittest
from urllib.parse import quote

from simulator import Simulator, upload_body
from simulatortest import PROGRAM, SimulatorTest

SYNC = "/api/syncfiles/v1/"
MANAGER = "/api/filemgr/v2/"


class Place(SimulatorTest):
    starts = False

    def refuse(self, *arguments):
        """What it says when it does not start."""
        result = subprocess.run([PROGRAM, *arguments], capture_output=True, text=True, timeout=60,
                                check=False, cwd=self.folder)
        self.assertNotEqual(result.returncode, 0, arguments)
        self.assertEqual((result.stdout, result.stderr.count("\n")), ("", 1), result.stderr)
        return result.stderr

    def test_it_listens_on_this_machine_only(self):
        self.start("--port", "0")
        self.assertRegex(self.device.ready_line, r"^listening on http://127\.0\.0\.1:\d+\n$")
        with socket.socket() as other:
            with self.assertRaises(ConnectionRefusedError):
                other.connect(("127.0.0.2", self.device.port))

    def test_it_listens_where_it_is_told(self):
        self.start("--port", "0", "--listen", "0.0.0.0")
        with socket.socket() as other:
            other.connect(("127.0.0.2", self.device.port))

    def test_a_wrong_address_or_port_is_named(self):
        for option, value in (("--listen", "nowhere"), ("--listen", "::1"), ("--port", "65536"),
                              ("--port", "x"), ("--serving", "late"), ("--log-requests=xml", "")):
            arguments = [option, value] if value else [option]
            self.assertIn(value or "xml", self.refuse("--data", "d", *arguments))

    def test_eight_run_at_once(self):
        devices = [Simulator(PROGRAM, "--port", "0") for _ in range(8)]
        for device in devices:
            self.addCleanup(device.__exit__)
            device.start()
        self.assertEqual(len({device.port for device in devices}), 8)
        for device in devices:
            self.assertEqual(device.ask("GET", "/info")[0], 200)

    def test_a_folder_behind_a_link_works_in_every_route(self):
        os.mkdir(os.path.join(self.folder, "real"))
        os.symlink("real", os.path.join(self.folder, "device"))
        self.start("--port", "0")
        path = self.device.path("a b.txt")
        self.assertEqual(self.ask_json("GET", "/info")["assetInfo"]["userFilesFolder"],
                         self.device.files)
        self.assertEqual(self.ask("POST", MANAGER + "userfiles", upload_body(path, b"abc"))[0], 200)
        listed = [file["path"] for file in self.ask_json("GET", MANAGER + "userfiles")["files"]]
        self.assertIn(path, listed)
        for route in (SYNC, MANAGER):
            self.assertEqual(self.ask("GET", route + "userfiles" + quote(path))[1], b"abc")
            self.assertEqual(self.ask_json("GET", route + "metadata" + quote(path))["size"], 3)
        self.assertEqual(self.ask_json("PUT", SYNC + "userfiles" + quote(path)), {})
        self.assertEqual(self.ask_json("DELETE", MANAGER + "userfiles" + quote(path)), {})

    def test_a_folder_beyond_ascii_is_refused_in_one_line(self):
        self.assertIn("Gerät", self.refuse("--data", os.path.join(self.folder, "Gerät")))


class Content(SimulatorTest):
    starts = False

    def pending(self, device, route="pendingfiles"):
        files = device.ask_json("GET", SYNC + route)
        return [(os.path.relpath(file["path"], device.files), file["modifiedTime"])
                for file in files]

    def test_four_files_are_pending_from_the_start(self):
        self.start("--port", "0")
        self.assertEqual(len(self.pending(self.device)), 4)

    def test_an_empty_device_has_its_description_and_nothing_else(self):
        self.start("--port", "0", "--empty")
        self.assertEqual(self.pending(self.device), [])
        self.assertEqual(self.ask_json("GET", "/api/workflow/v1/list")["workOrderIds"], [])
        self.assertEqual(self.ask_json("GET", "/info")["assetInfo"]["serialNumber"], "PW-000042")
        self.assertEqual(self.device.stop(), (0, "", ""))

    def start_temporary(self, *arguments):
        process = subprocess.Popen([PROGRAM, "--temporary", "--port", "0", *arguments],
                                   stdout=subprocess.PIPE, text=True, cwd=self.folder,
                                   env={**os.environ, "TMPDIR": self.folder})
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        self.assertIn("listening on", process.stdout.readline())
        return process

    def temporary_folders(self):
        return [name for name in os.listdir(self.folder) if name.startswith("parlowen-device-")]

    def test_a_temporary_folder_goes_with_the_process(self):
        process = self.start_temporary()
        self.assertEqual(len(self.temporary_folders()), 1)
        process.terminate()
        self.assertEqual(process.wait(), 0)
        self.assertEqual(self.temporary_folders(), [])

    def test_a_temporary_folder_goes_with_a_process_that_is_killed(self):
        process = self.start_temporary()
        process.kill()
        process.wait()
        end = time.monotonic() + 30
        while self.temporary_folders() and time.monotonic() < end:
            time.sleep(0.01)
        self.assertEqual(self.temporary_folders(), [])

    def golden(self):
        """A folder of a device with one confirmed file, and what is pending there."""
        device = Simulator(PROGRAM, "--port", "0", folder=self.folder)
        device.start()
        self.addCleanup(device.kill)
        confirmed = device.path("traces/resistance.csv")
        self.assertEqual(device.ask_json("PUT", SYNC + "userfiles" + quote(confirmed)), {})
        pending = self.pending(device)
        device.stop()
        golden = os.path.join(self.folder, "golden")
        os.rename(device.data, golden)
        return golden, pending

    def pending_of(self, name, *arguments, route="pendingfiles"):
        folder = os.path.join(self.folder, name)
        os.makedirs(folder, exist_ok=True)
        with Simulator(PROGRAM, "--port", "0", *arguments, folder=folder) as device:
            return self.pending(device, route)

    def test_a_golden_folder_copied_moved_or_unpacked_has_the_same_files_pending(self):
        golden, pending = self.golden()
        self.assertEqual(len(pending), 3)
        for name in ("copied", "unpacked", "moved"):
            os.mkdir(os.path.join(self.folder, name))
        subprocess.run(["cp", "-r", golden, os.path.join(self.folder, "copied", "device")],
                       check=True)
        archive = os.path.join(self.folder, "golden.tar")
        with tarfile.open(archive, "w") as tar:
            tar.add(golden, "device")
        with tarfile.open(archive) as tar:
            tar.extractall(os.path.join(self.folder, "unpacked"))
        self.assertEqual(self.pending_of("from", "--from", golden), pending)
        os.rename(golden, os.path.join(self.folder, "moved", "device"))
        # Files copied without their times have changed a moment ago.
        copied = self.pending_of("copied", route="pendingfiles/all")
        self.assertEqual([name for name, _ in copied], [name for name, _ in pending])
        self.assertEqual(self.pending_of("unpacked"), pending)
        self.assertEqual(self.pending_of("moved"), pending)

    def test_a_copy_of_a_golden_folder_leaves_it_as_it_is(self):
        golden, _ = self.golden()
        os.symlink("readme.txt", os.path.join(golden, "storage", "userfiles", "link"))
        with Simulator(PROGRAM, "--port", "0", "--from", golden,
                       folder=self.new_folder("a")) as device:
            path = device.path("new.txt")
            device.ask("POST", MANAGER + "userfiles", upload_body(path, b"x"))
            self.assertTrue(os.path.islink(device.path("link")))
            self.assertFalse(os.path.exists(os.path.join(golden, "storage/userfiles/new.txt")))
            device.stop()
            device.start()
            self.assertTrue(os.path.exists(path), "a device that is there is not copied over")

    def new_folder(self, name):
        os.mkdir(os.path.join(self.folder, name))
        return os.path.join(self.folder, name)

    def test_a_golden_folder_that_is_none_is_named(self):
        result = subprocess.run([PROGRAM, "--temporary", "--from", "/none"], capture_output=True,
                                text=True, timeout=60, check=False)
        self.assertEqual((result.returncode, result.stderr.count("\n")), (1, 1))
        self.assertIn("/none", result.stderr)


class WorkOrders(SimulatorTest):
    arguments = ("--port", "0", "--empty")

    def test_a_work_order_placed_in_the_folder_is_served_at_once(self):
        self.assertEqual(self.ask_json("GET", "/api/workflow/v1/list")["workOrderIds"], [])
        with open(os.path.join(self.device.data, "workorders", "mine.json"), "w",
                  encoding="utf-8") as file:
            file.write('{"workOrderId": "MINE"}')
        self.assertEqual(self.ask_json("GET", "/api/workflow/v1/list")["workOrderIds"], ["MINE"])
        self.assertIn("cdm", self.ask_json("GET", "/api/workflow/v1/workorder/MINE"))


class Activity(SimulatorTest):
    starts = False

    def measure(self, count, *arguments):
        """A device that measured at least so often: what it lists, and its folder."""
        folder = tempfile.mkdtemp(dir=self.folder)
        device = Simulator(PROGRAM, "--port", "0", "--activity=0.1", *arguments, folder=folder)
        self.addCleanup(device.kill)
        device.start()
        device.ask_json("PUT", "/api/workflow/v1/active", {"activeWorkOrderId": "WO-1001"})
        end = time.monotonic() + 60
        while len(self.results(device)) < count and time.monotonic() < end:
            time.sleep(0.02)
        return device

    def results(self, device):
        listed = [file["path"] for file in device.ask_json("GET", SYNC + "pendingfiles/all")]
        return sorted(path for path in listed if "/results/" in path)

    def contents(self, device, count):
        contents = []
        for path in self.results(device)[:count]:
            with open(path, "rb") as file:
                contents.append((os.path.basename(path), file.read()))
        return contents

    def test_nothing_is_measured_while_no_work_order_is_active(self):
        self.start("--port", "0", "--activity=0.1")
        self.ask_json("PUT", "/api/workflow/v1/active", {"activeWorkOrderId": ""})
        before = self.results(self.device)
        time.sleep(0.5)
        self.assertEqual(self.results(self.device), before)

    def test_result_files_of_a_plausible_size_appear(self):
        device = self.measure(3)
        contents = self.contents(device, 3)
        self.assertEqual([name for name, _ in contents],
                         [f"WO-1001-000{number}.csv" for number in (1, 2, 3)])
        for _, content in contents:
            self.assertTrue(10_000 < len(content) < 300_000, len(content))

    def test_a_result_file_is_pending_after_two_seconds(self):
        device = self.measure(1)
        device.ask_json("PUT", "/api/workflow/v1/active", {"activeWorkOrderId": ""})
        name = self.results(device)[0]
        end = time.monotonic() + 30
        while time.monotonic() < end:
            pending = [file["path"] for file in device.ask_json("GET", SYNC + "pendingfiles")]
            age = time.time() - os.stat(name).st_mtime
            if name in pending:
                self.assertGreaterEqual(age, 2)
                return
            time.sleep(0.1)
        self.fail("never pending")

    def test_the_tests_of_the_work_order_fill_in(self):
        device = self.measure(4)
        workorder = device.ask_json("GET", "/api/workflow/v1/workorder/WO-1001")["cdm"]
        workorder = workorder[0] if isinstance(workorder, list) else workorder
        files = [test["results"]["data"].get("file") for test in workorder["tests"]]
        self.assertNotIn(None, files)
        for test in workorder["tests"]:
            self.assertTrue(99 <= test["results"]["data"]["value"] <= 103)

    def test_the_same_seed_measures_the_same_and_another_one_something_else(self):
        first, again, other = (self.contents(self.measure(3, "--seed", seed), 3)
                               for seed in ("7", "7", "8"))
        self.assertEqual(first, again)
        self.assertNotEqual(first, other)

    def test_files_of_an_earlier_run_stay(self):
        device = self.measure(2)
        device.stop()
        before = self.contents_of(device)
        device.start()
        end = time.monotonic() + 60
        while len(self.results(device)) <= len(before) and time.monotonic() < end:
            time.sleep(0.02)
        self.assertEqual(self.contents_of(device)[:len(before)], before)

    def contents_of(self, device):
        folder = device.path("results")
        contents = []
        for name in sorted(os.listdir(folder)):
            with open(os.path.join(folder, name), "rb") as file:
                contents.append((name, file.read()))
        return contents


class Mistakes(SimulatorTest):
    arguments = ("--port", "0", "--empty")

    def test_files_that_are_not_taken_are_each_reported_once_by_name(self):
        mistakes = {"templates/a.json": "{}", "storage/templates/b.json": "no JSON",
                    "workorders/c.json": "{}", "workorders/d.json": "no JSON"}
        for name, content in mistakes.items():
            with open(os.path.join(self.device.data, name), "w", encoding="utf-8") as file:
                file.write(content)
        for _ in range(3):
            for route in ("list", "templates"):
                self.ask_json("GET", "/api/workflow/v1/" + route)
        errors = self.device.errors()
        self.assertEqual([errors.count(name) for name in mistakes], [1] * 4, errors)


class Requests(SimulatorTest):
    arguments = ("--port", "0", "--log-requests=json")

    def lines(self, count):
        lines = self.device.printed(count)
        self.assertEqual(self.device.stop()[1], "")
        return [json.loads(line) for line in lines]

    def test_each_request_has_a_line(self):
        self.ask("GET", "/info")
        self.ask("POST", "/api/v1/techinfo", '{"techId":"A_1"}')
        lines = self.lines(2)
        self.assertEqual([(line["method"], line["uri"], line["status"]) for line in lines],
                         [("GET", "/info", 200), ("POST", "/api/v1/techinfo", 200)])
        self.assertEqual(lines[1]["received"], 16)

    def test_a_failed_request_names_its_reason_in_the_line_and_once_on_standard_error(self):
        self.ask("GET", "/api/workflow/v1/workorder/none")
        lines = self.lines(1)
        errors = self.device.errors()
        self.assertEqual(lines[0]["error"], "Job not found")
        self.assertEqual(errors.count("\n"), 1, errors)
        self.assertIn("Job not found", errors)


class WebPages(SimulatorTest):
    starts = False

    def status(self, *arguments):
        """Of a request that a page of another host sends."""
        self.start("--port", "0", *arguments)
        with socket.create_connection(("127.0.0.1", self.device.port)) as connection:
            connection.sendall(b"GET /info HTTP/1.1\r\nHost: device\r\n"
                               b"Origin: http://page.example\r\n\r\n")
            return connection.makefile("rb").readline().split()[1]

    def test_a_page_of_another_host_is_refused(self):
        self.assertEqual(self.status(), b"403")

    def test_a_page_of_an_allowed_host_is_served(self):
        self.assertEqual(self.status("--allow-origin", "http://page.example"), b"200")


if __name__ == "__main__":
    unittest.main(verbosity=2)
