#!/usr/bin/env python3
"""The simulator from outside: its program and everything that a client can ask of it."""
import fcntl
import json
import os
import random
import socket
import subprocess
import time
import unittest
import unittest.mock

from simulator import by_path, error, sha256, upload_body
from simulatortest import PROGRAM, SimulatorTest

SYNC = "/api/syncfiles/v1/"
MANAGER = "/api/filemgr/v2/"
WORKFLOW = "/api/workflow/v1/"


def run(*arguments, **options):
    return subprocess.run([PROGRAM, *arguments], capture_output=True, text=True, timeout=60,
                          check=False, **options)


class Program(SimulatorTest):
    starts = False

    def test_says_when_it_answers(self):
        self.start()
        self.assertEqual(self.device.ready_line, "listening on http://127.0.0.1:8081\n")
        self.assertEqual(self.ask("GET", "/info")[0], 200)

    def test_ends_with_status_0_when_told_to(self):
        self.start()
        self.assertEqual(self.device.stop(), (0, "", ""))

    def test_port_taken_is_one_line_that_names_it_and_status_1(self):
        with socket.socket() as holder:
            holder.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
            holder.bind(("", 8081))
            holder.listen()
            result = run("--data", os.path.join(self.folder, "device"))
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        self.assertEqual(result.stderr.count("\n"), 1)
        self.assertIn("8081", result.stderr)

    def test_unusable_folder_is_one_line_that_names_it_and_status_1(self):
        result = run("--data", "/proc/none")
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        self.assertEqual(result.stderr.count("\n"), 1)
        self.assertIn("/proc/none", result.stderr)

    def test_first_start_that_failed_is_made_up_for_by_the_next_one(self):
        data = os.path.join(self.folder, "device")
        for room in ("0", "3000", "100000"):
            result = run("--data", data, "--fault", "write-fails=" + room)
            self.assertEqual((result.returncode, result.stderr.count("\n")), (1, 1), result.stderr)
        self.start()
        orders = self.ask_json("GET", WORKFLOW + "list")["workOrderIds"]
        files = self.ask_json("GET", MANAGER + "userfiles")["files"]
        self.assertEqual((len(orders), len(files)), (12, 4))
        self.assertEqual(self.device.stop(), (0, "", ""))
        for _, _, names in os.walk(data):
            self.assertFalse([name for name in names if name.startswith(".")])

    def test_folder_that_another_program_serves_from_is_one_line_that_names_it_and_status_1(self):
        data = os.path.join(self.folder, "device")
        os.mkdir(data)
        holder = os.open(data, os.O_RDONLY)
        self.addCleanup(os.close, holder)
        fcntl.flock(holder, fcntl.LOCK_EX)
        result = run("--data", data)
        self.assertEqual((result.returncode, result.stdout, os.listdir(data)), (1, "", []))
        self.assertEqual(result.stderr.count("\n"), 1)
        self.assertIn(data + ": another program serves from it", result.stderr)
        fcntl.flock(holder, fcntl.LOCK_UN)
        self.start()
        with self.assertRaises(BlockingIOError):
            fcntl.flock(holder, fcntl.LOCK_EX | fcntl.LOCK_NB)
        self.device.kill()
        fcntl.flock(holder, fcntl.LOCK_EX | fcntl.LOCK_NB)

    def test_file_in_place_of_the_folder_is_left_alone(self):
        path = os.path.join(self.folder, "file")
        with open(path, "w", encoding="utf-8") as file:
            file.write("text")
        self.assertEqual(run("--data", path).returncode, 1)
        with open(path, encoding="utf-8") as file:
            self.assertEqual(file.read(), "text")

    def test_bad_arguments_name_themselves_with_status_2(self):
        for arguments, named in ((["--frobnicate"], "frobnicate"),
                                 (["--mode", "x", "--data", self.folder], "x"),
                                 (["surplus", "--data", self.folder], "surplus"),
                                 ([], "--data")):
            result = run(*arguments)
            self.assertEqual(result.returncode, 2, arguments)
            self.assertIn(named, result.stderr)

    def test_help_and_version(self):
        self.assertIn("--data", run("--help").stdout)
        self.assertRegex(run("--version").stdout, r"^parlowen-device \d+\.\d+\.\d+\n$")

    def test_works_without_a_locale(self):
        with unittest.mock.patch.dict(os.environ, {"LANG": "C", "LC_ALL": "C"}):
            self.start()
        names = [file["path"] for file in self.ask_json("GET", MANAGER + "userfiles")["files"]]
        self.assertTrue(any("ü" in name and " " in name for name in names), names)

    def test_verbose_shows_the_debug_lines(self):
        self.start("--verbose")
        self.assertIn("REST server started successfully", self.device.stop()[2])


class DeviceInformation(SimulatorTest):
    def test_shows_the_asset_of_its_file(self):
        with open(os.path.join(self.device.data, "asset.json"), encoding="utf-8") as file:
            asset = json.load(file)
        shown = self.ask_json("GET", "/info")["assetInfo"]
        self.assertEqual({key: shown[key] for key in asset}, asset)

    def test_technician_survives_a_restart(self):
        self.assertEqual(self.ask("POST", "/api/v1/techinfo", '{"techId":"A_1"}'), (200, b"{\n}\n"))
        self.restart()
        with open(os.path.join(self.device.data, "state", "technician.json"),
                  encoding="utf-8") as file:
            self.assertEqual(json.load(file)["techId"], "A_1")


class WorkOrders(SimulatorTest):
    def ids(self):
        return self.ask_json("GET", WORKFLOW + "list")["workOrderIds"]

    def put(self, *documents):
        return self.ask_json("POST", WORKFLOW + "workorders", {"cdm": documents})

    def test_posted_batch_is_listed_and_back_after_a_restart(self):
        before = self.ids()
        batch = [{"workOrderId": f"batch-{number}", "tests": []} for number in range(500)]
        self.assertEqual(self.put(*batch), {})
        after = self.ids()
        self.assertEqual(set(after), set(before) | {order["workOrderId"] for order in batch})
        self.restart()
        self.assertEqual(self.ids(), after)

    def test_order_of_the_list_and_of_its_times_is_the_same(self):
        listing = self.ask_json("GET", WORKFLOW + "list")
        self.assertEqual([entry["workOrderId"] for entry in listing["workOrderInfo"]],
                         listing["workOrderIds"])

    def test_document_of_the_same_id_is_replaced(self):
        self.put({"workOrderId": "one", "value": 1})
        self.put({"workOrderId": "one", "value": 2})
        self.assertEqual(self.ask_json("GET", WORKFLOW + "workorder/one")["cdm"]["value"], 2)
        self.assertEqual(self.ids().count("one"), 1)

    def test_one_bad_element_stores_nothing(self):
        before = self.ids()
        for bad in (5, {}, {"workOrderId": 5}, {"workOrderId": ""}, {"workOrderId": "a/b"},
                    {"workOrderId": "a\nb"}, {"workOrderId": "a" * 201},
                    {"workOrderId": "é" * 101}):
            self.assertEqual(self.put({"workOrderId": "good"}, bad),
                             error("Error in request handler"), bad)
        self.assertEqual(self.ids(), before)

    def test_every_valid_id_is_found_by_its_uri(self):
        for identifier in ("a" * 200, "é" * 100, "..", ".", "%41", "a b", "测试", "~!@$&'()*+,;=:"):
            self.assertEqual(self.put({"workOrderId": identifier}), {}, identifier)
            if identifier not in (".", ".."):  # the HTTP server cleans these out of the path
                found = self.ask_json("GET", by_path(WORKFLOW + "workorder/", identifier))
                self.assertEqual(found["cdm"]["workOrderId"], identifier)
            self.assertIn(identifier, self.ids())

    def test_images_are_stored_but_not_sent(self):
        document = {"workOrderId": "image",
                    "tests": [{"results": {"data": {"imageData": "QUJD", "value": 1}}}]}
        self.put(document)
        sent = self.ask_json("GET", WORKFLOW + "workorder/image")
        self.assertEqual(sent["cdmVersion"], "2.1")
        self.assertEqual(sent["cdm"]["tests"], [{"results": {"data": {"value": 1}}}])

    def test_active_work_order_is_back_after_a_restart(self):
        wanted = {"activeWorkOrderId": self.ids()[3]}
        self.assertEqual(self.ask_json("PUT", WORKFLOW + "active", wanted), wanted)
        self.restart()
        self.assertEqual(self.ask_json("GET", WORKFLOW + "active"), wanted)

    def test_none_is_active_once_its_work_order_is_gone(self):
        wanted = self.ids()[0]
        self.ask_json("PUT", WORKFLOW + "active", {"activeWorkOrderId": wanted})
        self.device.stop()
        os.remove(os.path.join(self.device.data, "workorders", wanted + ".json"))
        self.start()
        self.assertEqual(self.ask_json("GET", WORKFLOW + "active"), {"activeWorkOrderId": ""})

    def test_file_that_is_no_work_order_is_reported_and_left_alone(self):
        self.device.stop()
        path = os.path.join(self.device.data, "workorders", "broken.json")
        with open(path, "w", encoding="utf-8") as file:
            file.write("{")
        self.start()
        self.assertNotIn("broken", self.ids())
        with open(path, encoding="utf-8") as file:
            self.assertEqual(file.read(), "{")
        self.assertIn("broken.json", self.device.stop()[2])

    def test_body_over_the_limit_stores_nothing_and_the_next_request_is_served(self):
        before = self.ids()
        for size in (5_000_000, 5_000_001, 7_000_000):
            document = {"workOrderId": "large", "text": ""}
            missing = size - len(json.dumps({"cdm": [document]}))
            document["text"] = "x" * missing
            expected = {} if size == 5_000_000 else error("Method not allowed")
            self.assertEqual(self.put(document), expected, size)
            if size == 5_000_000:
                before = self.ids()
        self.assertEqual(self.ids(), before)


class ViewHooks(SimulatorTest):
    arguments = ("--mode", "2")

    def test_change_of_the_active_work_order_prints_each_hook_once(self):
        wanted = {"activeWorkOrderId": self.ask_json("GET", WORKFLOW + "list")["workOrderIds"][0]}
        self.ask_json("PUT", WORKFLOW + "active", wanted)
        self.ask_json("PUT", WORKFLOW + "active", wanted)
        lines = self.device.stop()[1].splitlines()
        self.assertEqual(len(lines), 3, lines)
        for line, word in zip(lines, ("view", "panel", "40")):
            self.assertIn(word, line.lower())


class Templates(SimulatorTest):
    def test_both_directories_are_read(self):
        templates = self.ask_json("GET", WORKFLOW + "templates")["templates"]
        self.device.stop()
        self.start("--storage-unavailable")
        fewer = self.ask_json("GET", WORKFLOW + "templates")["templates"]
        self.assertTrue(fewer)
        self.assertEqual(templates[:len(fewer)], fewer)
        self.assertGreater(len(templates), len(fewer))


class UserFiles(SimulatorTest):
    def path(self, name):
        return os.path.join(self.device.files, name)

    def upload(self, name, content, route=MANAGER + "userfiles"):
        return self.ask("POST", route, upload_body(self.path(name), content))

    def listed(self):
        return [file["path"] for file in self.ask_json("GET", MANAGER + "userfiles")["files"]]

    def pending(self, kind="pendingfiles/all"):
        return [file["path"] for file in self.ask_json("GET", SYNC + kind)]

    def metadata(self, name):
        return self.ask_json("GET", by_path(MANAGER + "metadata", self.path(name)))

    def download(self, name, prefix=MANAGER + "userfiles"):
        return self.ask("GET", by_path(prefix, self.path(name)))[1]

    def test_every_size_goes_in_and_out_unchanged(self):
        for size in (1, 4_999_999, 5_000_000, 5_000_001, 12_000_000, 200_000_000):
            content = random.Random(size).randbytes(size)
            for route in (SYNC + "userfiles", MANAGER + "userfiles"):
                self.assertEqual(self.upload("file", content, route), (200, b"{\n}\n"), size)
                digest = sha256(content)
                self.assertEqual(self.metadata("file")["sha256"], digest)
                self.assertEqual(sha256(self.download("file")), digest)
            if size <= 16 * 1024 * 1024:
                self.assertEqual(sha256(self.download("file", SYNC + "userfiles")), digest)

    def test_empty_file_is_stored_and_answered_as_the_http_servers_page(self):
        self.assertEqual(self.upload("empty", b""), (200, b"{\n}\n"))
        self.assertEqual(self.metadata("empty")["size"], 0)
        self.assertEqual(self.download("empty"), b"Error 200: OK\n")
        self.assertEqual(self.download("empty", SYNC + "userfiles"), b"Error 200: OK\n")

    def test_whole_file_reads_end_at_16_mebibytes(self):
        self.upload("large", b"x" * (16 * 1024 * 1024 + 1))
        self.assertEqual(json.loads(self.download("large", SYNC + "userfiles")),
                         error("File not found"))
        self.assertIn("large", self.device.stop()[2])

    def test_names_with_blanks_percent_signs_and_other_letters(self):
        for name in ("a b.txt", "100%.txt", "%41.txt", "ünï cödé.txt", "测试.bin", "a&b=c;d,e"):
            self.assertEqual(self.upload(name, name.encode()), (200, b"{\n}\n"), name)
            self.assertIn(self.path(name), self.listed())
            self.assertEqual(self.download(name), name.encode())
            self.assertEqual(self.download(name, SYNC + "userfiles"), name.encode())
            self.assertEqual(self.metadata(name)["path"], self.path(name))
            self.assertEqual(self.ask_json("DELETE", by_path(MANAGER + "userfiles", self.path(name))), {})
            self.assertNotIn(self.path(name), self.listed())

    def test_listing_is_sorted_and_holds_sub_folders(self):
        self.upload("traces/new.csv", b"1")
        paths = self.listed()
        self.assertEqual(paths, sorted(paths))
        self.assertIn(self.path("traces/new.csv"), paths)

    def test_confirmed_file_leaves_the_pending_list_until_its_content_changes(self):
        self.upload("file", b"one")
        self.assertIn(self.path("file"), self.pending())
        route = by_path(SYNC + "userfiles", self.path("file"))
        self.assertEqual(self.ask_json("PUT", route), {})
        self.assertNotIn(self.path("file"), self.pending())
        self.restart()
        self.assertNotIn(self.path("file"), self.pending())
        self.upload("file", b"two")
        self.assertIn(self.path("file"), self.pending())

    def test_file_that_just_changed_is_pending_only_in_the_whole_list(self):
        self.upload("file", b"one")
        self.assertNotIn(self.path("file"), self.pending("pendingfiles"))
        self.assertIn(self.path("file"), self.pending())
        past = time.time() - 3
        os.utime(self.path("file"), (past, past))
        self.assertIn(self.path("file"), self.pending("pendingfiles"))

    def test_unknown_file(self):
        for method, route, message in (
                ("GET", SYNC + "metadata", "File not found"),
                ("GET", SYNC + "userfiles", "File not found"),
                ("PUT", SYNC + "userfiles", "File not found"),
                ("GET", MANAGER + "metadata", "Invalid URI"),
                ("GET", MANAGER + "userfiles", "File read failure"),
                ("DELETE", MANAGER + "userfiles", "Invalid URI")):
            self.assertEqual(self.ask_json(method, by_path(route, self.path("none"))), error(message))

    def test_folder_is_not_deleted(self):
        route = by_path(MANAGER + "userfiles", self.path("traces"))
        self.assertEqual(self.ask_json("DELETE", route), error("Invalid URI"))
        self.assertTrue(os.path.isdir(self.path("traces")))

    def test_upload_of_more_than_fits_is_refused(self):
        body = upload_body(self.path("file"), b"x").replace(b'"fileSize": 1', b'"fileSize": 2147483647')
        free = os.statvfs(self.device.data)
        if free.f_bavail * free.f_frsize - 16 * 1024 * 1024 < 2147483647:
            self.assertEqual(json.loads(self.ask("POST", MANAGER + "userfiles", body)[1]),
                             error("Upload failed"))
        else:
            self.assertEqual(self.ask("POST", MANAGER + "userfiles", body), (200, b"{\n}\n"))


class Escapes(SimulatorTest):
    """No route reads, lists or deletes anything outside the user files."""

    def setUp(self):
        super().setUp()
        files = self.device.files
        outside = os.path.join(self.folder, "outside")
        sibling = files + "2"
        for folder in (outside, sibling):
            os.mkdir(folder)
            with open(os.path.join(folder, "secret"), "w", encoding="utf-8") as file:
                file.write("secret")
        os.symlink(os.path.join(outside, "secret"), os.path.join(files, "link"))
        os.symlink(outside, os.path.join(files, "folderlink"))
        os.symlink("loop", os.path.join(files, "loop"))
        os.mkfifo(os.path.join(files, "fifo"))
        os.mknod(os.path.join(files, "socket"), 0o140644)
        os.mkfifo(os.path.join(outside, "fifo"))
        self.secrets = [os.path.join(folder, "secret") for folder in (outside, sibling)]
        self.paths = [
            files + "/../../asset.json", files + "/../userfiles2/secret", files + "2/secret",
            files + "/link", files + "/folderlink/secret", files + "/loop", files + "/fifo",
            files + "/socket", files + "/traces/../../../asset.json", files, files + "/", "/",
            files + "/.", files + "/..", files + "/traces", outside + "/secret", outside + "/fifo",
            "/../" + files + "/../../asset.json", files + "//../..//asset.json",
            self.device.data + "/asset.json", "relative", "/readme.txt",
            files + "/readme.txt/", files + "/readme.txt/..", files + "/" + "a/" * 2000 + "b",
            files + "/" + "a" * 4000,
        ]

    def routes(self):
        for route in (SYNC + "metadata", SYNC + "userfiles", MANAGER + "metadata",
                      MANAGER + "userfiles"):
            for path in self.paths:
                slash = "" if path.startswith("/") else "/"
                yield route + slash + path
                yield by_path(route + slash, path)
                encoded = "".join(f"%{byte:02X}" for byte in path.encode())
                if len(encoded) < 15000:
                    yield route + "/" + encoded[3:] if path.startswith("/") else route + "/" + encoded

    def snapshot(self):
        found = {}
        for folder, _, names in os.walk(self.folder):
            for name in names:
                path = os.path.join(folder, name)
                if path == self.device.error_file:
                    continue
                status = os.lstat(path)
                found[path] = (status.st_size, status.st_mtime_ns, status.st_ino)
        for path in self.secrets:
            with open(path, "rb") as file:
                self.assertEqual(file.read(), b"secret", path)
        return found

    def test_nothing_outside_is_read_confirmed_or_deleted(self):
        before = self.snapshot()
        for route in self.routes():
            for method in ("GET", "PUT", "DELETE"):
                body = self.ask(method, route)[1]
                self.assertNotIn(b"secret", body, (method, route))
                self.assertNotIn(b"serialNumber", body, (method, route))
                self.assertNotIn(b"sha256", body, (method, route))
        self.assertEqual(self.snapshot(), before)

    def test_nothing_outside_is_listed(self):
        listing = self.ask("GET", MANAGER + "userfiles")[1] + self.ask("GET", SYNC + "pendingfiles/all")[1]
        for name in (b"secret", b"link", b"loop", b"fifo", b"socket"):
            self.assertNotIn(name, listing)

    def test_path_whose_dots_stay_inside_is_served(self):
        path = self.device.files + "/traces/../readme.txt"
        self.assertNotIn(b"errorMessage", self.ask("GET", SYNC + "userfiles" + path)[1])


if __name__ == "__main__":
    unittest.main(verbosity=2)
