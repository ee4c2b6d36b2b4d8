#!/usr/bin/env python3
"""Faults of the line, seen by curl and by the command line client, and the page about all faults.

usage: line_test.py SIMULATOR CLIENT PAGE (tests/support must be on the Python path)
"""
import json
import os
import re
import socket
import struct
import subprocess
import sys
import time
import unittest
from urllib.parse import quote

from simulator import by_path, upload_body
from simulatortest import PROGRAM, SimulatorTest

CLIENT = os.path.abspath(sys.argv.pop(1))
PAGE = os.path.abspath(sys.argv.pop(1))
SYNC = "/api/syncfiles/v1/"
MANAGER = "/api/filemgr/v2/"
WORKFLOW = "/api/workflow/v1/"
BUSY = "Request timed out waiting on other requests"
LATE = '{"errorString":"internal timeout"}'
SIZE = 300_000
HALF = 100_000
CONTENT = bytes(range(256)) * (SIZE // 256) + b"x" * (SIZE % 256)


class Line(SimulatorTest):
    arguments = ("--port", "0", "--empty", "--log-requests=json")
    faulty = True

    def setUp(self):
        super().setUp()
        self.faults = self.device.set_faults
        self.address = f"http://127.0.0.1:{self.device.port}"

    def place(self, name, content=CONTENT):
        path = self.device.path(name)
        with open(path, "wb") as file:
            file.write(content)
        os.utime(path, (1_700_000_000, 1_700_000_000))
        return path

    def read(self, path):
        with open(path, "rb") as file:
            return file.read()

    def curl(self, *arguments, method="GET", route="/info"):
        """What it prints with the headers, and its exit status."""
        command = ["curl", "-sSi", "-m", "20", "-X", method, *arguments, self.address + route]
        run = subprocess.run(command, capture_output=True, check=False, timeout=60)
        return (run.stdout + run.stderr).decode("utf-8", "replace"), run.returncode

    def download(self, path, *arguments):
        return self.curl(*arguments, route=by_path(MANAGER + "userfiles", path))

    def upload(self, path, *arguments):
        metadata = json.dumps({"fileUri": path, "fileSize": SIZE})
        content = os.path.join(self.folder, "content")
        with open(content, "wb") as file:
            file.write(CONTENT)
        return self.curl("-H", "Expect:", "-F", f"metadata={metadata}", "-F", f"file=@{content}",
                         *arguments, method="POST", route=MANAGER + "userfiles")

    def client(self, *arguments):
        command = [CLIENT, "--host", f"127.0.0.1:{self.device.port}", *arguments]
        return subprocess.run(command, capture_output=True, text=True, check=False, timeout=120,
                              cwd=self.folder)

    def fetch(self, *arguments):
        """The client fetches a file; true if it is whole."""
        self.place("a")
        target = os.path.join(self.folder, "fetched")
        run = self.client(*arguments, "files", "get", "a", "-o", target)
        return run, os.path.exists(target) and self.read(target) == CONTENT

    def send(self, *arguments):
        source = self.place("../../../b")
        run = self.client(*arguments, "files", "put", source, self.device.files)
        path = self.device.path("b")
        return run, os.path.exists(path) and self.read(path) == CONTENT

    def journal(self, count):
        lines = self.device.printed(count)
        self.assertEqual(self.device.stop()[1], "")
        return [json.loads(line) for line in lines]


class Curl(Line):
    def test_a_busy_device_answers_408_at_once_and_so_often(self):
        self.faults("busy=2")
        for _ in range(2):
            answer, status = self.curl()
            self.assertEqual(status, 0)
            self.assertTrue(answer.startswith("HTTP/1.1 408 Request Time-out\r\n"), answer)
            self.assertTrue(answer.endswith("Error 408: Request Time-out\n" + BUSY), answer)
        self.assertIn("HTTP/1.1 200 OK", self.curl()[0])

    def test_a_busy_device_does_not_carry_the_request_out(self):
        self.faults("busy*1")
        path = self.device.path("new")
        answer, status = self.upload(path)
        self.assertEqual((status, os.path.exists(path)), (0, False))
        self.assertIn(BUSY, answer)
        self.assertNotIn(BUSY, self.upload(path)[0])
        self.assertTrue(os.path.exists(path))

    def test_a_device_that_fails_answers_500(self):
        self.faults("http-500=1")
        self.assertIn("HTTP/1.1 500 Internal Server Error", self.curl()[0])
        self.assertIn("HTTP/1.1 200 OK", self.curl()[0])

    def test_a_download_breaks_after_so_many_bytes(self):
        self.faults(f"drop-after={HALF}")
        target = os.path.join(self.folder, "half")
        answer, status = self.download(self.place("a"), "-o", target)
        self.assertEqual(status, 56, answer)
        received = self.read(target)
        self.assertTrue(received.endswith(CONTENT[:HALF]))
        self.assertEqual(len(received.partition(b"\r\n\r\n")[2]), HALF)

    def test_an_upload_breaks_after_so_many_bytes(self):
        self.faults(f"drop-after={HALF}*1")
        path = self.device.path("new")
        self.assertIn(self.upload(path)[1], (52, 55, 56))
        self.assertFalse(os.path.exists(path))
        self.assertEqual(self.upload(path)[1], 0)

    def test_a_body_that_is_not_longer_passes_and_uses_up_nothing(self):
        self.faults(f"drop-after={SIZE}*1", "stall-after=1000000*1")
        path = self.place("a")
        self.assertEqual(self.download(path)[1], 0)
        self.faults(f"drop-after={SIZE - 1}*1")
        self.assertEqual(self.curl()[1], 0)
        self.assertEqual(self.download(path)[1], 56)
        self.assertEqual(self.download(path)[1], 0)

    def test_a_download_stalls_after_so_many_bytes(self):
        self.faults(f"stall-after={HALF}")
        answer, status = self.download(self.place("a"), "-m", "1", "-o", "/dev/null")
        self.assertEqual(status, 28)
        self.assertIn(f"with {HALF} out of {SIZE} bytes", answer)

    def test_an_upload_stalls_after_so_many_bytes(self):
        self.faults(f"stall-after={HALF}*1")
        path = self.device.path("new")
        self.assertEqual(self.upload(path, "-m", "1")[1], 28)
        self.assertFalse(os.path.exists(path))
        self.assertEqual(self.upload(path)[1], 0)

    def test_of_two_limits_the_smaller_bites(self):
        self.faults(f"stall-after={2 * HALF}", f"drop-after={HALF}")
        self.assertEqual(self.download(self.place("a"))[1], 56)
        self.faults(f"stall-after={HALF}", f"drop-after={2 * HALF}")
        self.assertEqual(self.download(self.place("a"), "-m", "1")[1], 28)

    def test_a_throttled_body_takes_its_time_in_both_directions(self):
        self.faults(f"throttle={SIZE}")
        for move in (self.download, self.upload):
            before = time.monotonic()
            self.assertEqual(move(self.place("a"))[1], 0)
            self.assertGreaterEqual(time.monotonic() - before, 0.95)

    def test_a_corrupt_download_has_its_length_and_one_wrong_byte(self):
        self.faults("corrupt-download")
        path = self.place("a", b"readings")
        for route in (SYNC, MANAGER):
            answer, status = self.curl(route=by_path(route + "userfiles", path))
            self.assertEqual(status, 0)
            self.assertEqual(answer.partition("\r\n\r\n")[2], "seadings")

    def test_a_corrupt_download_in_pieces_has_its_length_and_one_wrong_byte(self):
        self.faults("corrupt-download")
        content = b"r" * 11_000_000
        target = os.path.join(self.folder, "fetched")
        run = subprocess.run(["curl", "-sS", "-o", target, self.address +
                              by_path(MANAGER + "userfiles", self.place("a", content))],
                             check=False, timeout=60)
        self.assertEqual(run.returncode, 0)
        self.assertTrue(self.read(target) == b"s" + content[1:])

    def test_what_is_no_content_of_a_file_is_never_corrupt(self):
        self.faults("corrupt-download*1")
        path = self.place("a", b"readings")
        for route in (MANAGER + "metadata" + path, MANAGER + "userfiles", "/info",
                      SYNC + "userfiles" + path + "x", MANAGER + "userfiles" + path + "x"):
            json.loads(self.curl(route=quote(route))[0].partition("\r\n\r\n")[2])
        self.assertTrue(self.download(path)[0].endswith("seadings"))
        self.assertTrue(self.download(path)[0].endswith("readings"))

    def test_a_late_answer_is_500_although_the_request_was_carried_out(self):
        self.faults("late-answer=300*1")
        before = time.monotonic()
        path = self.device.path("new")
        answer, status = self.upload(path)
        self.assertGreaterEqual(time.monotonic() - before, 0.3)
        self.assertEqual(status, 0)
        self.assertIn("HTTP/1.1 500 Internal Server Error", answer)
        self.assertTrue(answer.endswith(LATE))
        self.assertEqual(self.read(path), CONTENT)


class Client(Line):
    def test_it_asks_a_busy_device_again(self):
        self.faults("busy=1")
        run = self.client("info")
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertIn("busy", run.stderr)

    def test_it_tells_its_user_that_a_device_stays_busy(self):
        self.faults("busy")
        run = self.client("--retries", "1", "info")
        self.assertNotEqual(run.returncode, 0)
        self.assertIn(BUSY, run.stderr)

    def test_it_tells_its_user_that_the_device_failed(self):
        self.faults("http-500")
        run = self.client("--retries", "0", "info")
        self.assertNotEqual(run.returncode, 0)
        self.assertIn("Error 500", run.stderr)

    def test_it_begins_a_download_that_broke_off_again(self):
        self.faults(f"drop-after={HALF}*1")
        run, whole = self.fetch()
        self.assertEqual((run.returncode, whole), (0, True), run.stderr)
        self.assertIn("broke off", run.stderr)

    def test_it_begins_an_upload_that_broke_off_again(self):
        self.faults(f"drop-after={HALF}*1")
        run, whole = self.send()
        self.assertEqual((run.returncode, whole), (0, True), run.stderr)

    def test_it_begins_a_transfer_that_stalls_again_after_its_time_out(self):
        self.faults(f"stall-after={HALF}*1")
        run, whole = self.fetch("--timeout", "1")
        self.assertEqual((run.returncode, whole), (0, True), run.stderr)
        self.assertIn("nothing arrived", run.stderr)

    def test_it_keeps_no_file_of_a_transfer_that_always_stalls(self):
        self.faults(f"stall-after={HALF}")
        run, _ = self.fetch("--timeout", "1", "--retries", "0")
        self.assertNotEqual(run.returncode, 0)
        self.assertFalse(os.path.exists(os.path.join(self.folder, "fetched")))

    def test_it_waits_for_a_slow_line(self):
        self.faults(f"throttle={SIZE}")
        for move in (self.fetch, self.send):
            run, whole = move()
            self.assertEqual((run.returncode, whole), (0, True), run.stderr)

    def test_it_never_keeps_a_corrupt_file(self):
        self.faults("corrupt-download")
        run, _ = self.fetch("--retries", "1")
        self.assertEqual(run.returncode, 5, run.stderr)
        self.assertFalse(os.path.exists(os.path.join(self.folder, "fetched")))

    def test_it_fetches_a_file_that_was_corrupt_before(self):
        self.faults("corrupt-download*1")
        self.assertEqual(self.fetch()[0].returncode, 5)
        run, whole = self.fetch()
        self.assertEqual((run.returncode, whole), (0, True), run.stderr)

    def test_it_asks_again_after_a_late_answer(self):
        self.faults("late-answer=100*1")
        self.assertEqual(self.client("info").returncode, 0)


class Routes(Line):
    def test_a_fault_of_the_line_bites_requests_of_its_route_only(self):
        self.faults("busy@/api/filemgr")
        self.assertIn("200 OK", self.curl()[0])
        self.assertIn(BUSY, self.curl(route=MANAGER + "userfiles?x=/info")[0])

    def test_a_route_is_compared_decoded(self):
        path = self.place("a b", b"abc")
        self.faults(f"busy@{MANAGER}userfiles{path}")
        self.assertIn(BUSY, self.download(path)[0])
        self.assertNotIn(BUSY, self.download(self.place("a", b"abc"))[0])

    def test_a_fault_bites_each_of_its_routes(self):
        self.faults("busy@/info", "busy*1@/api/filemgr", "http-500@/api")
        self.assertIn(BUSY, self.curl()[0])
        self.assertIn(BUSY, self.curl(route=MANAGER + "userfiles")[0])
        self.assertIn("500 Internal", self.curl(route=MANAGER + "userfiles")[0])

    def test_a_fault_of_the_host_bites_while_a_request_of_its_route_is_under_way(self):
        self.faults("storage-away@" + WORKFLOW)
        self.assertEqual(self.upload(self.device.path("a"))[0].partition("\r\n\r\n")[2], "{\n}\n")
        self.faults("storage-away@" + MANAGER)
        self.assertIn("Upload failed", self.upload(self.device.path("a"))[0])

    def test_a_fault_with_a_route_works_without_a_fault_file(self):
        for fault in ("busy@/info", "no-space@/api/filemgr"):
            self.device.stop()
            self.faulty = False
            self.start("--port", "0", "--fault", fault)
            self.address = f"http://127.0.0.1:{self.device.port}"
            self.assertEqual(BUSY in self.curl()[0], fault.startswith("busy"))
            self.assertEqual("Upload failed" in self.upload(self.device.path("b"))[0],
                             fault.startswith("no-space"))


class Journal(Line):
    def test_the_client_is_the_one_in_front_of_the_line(self):
        with socket.create_connection(("127.0.0.1", self.device.port)) as connection:
            connection.sendall(b"GET /info HTTP/1.1\r\nHost: device\r\n\r\n")
            while connection.recv(65536):
                pass
            name = "%s:%d" % connection.getsockname()
        self.assertEqual([line["client"] for line in self.journal(1)], [name])

    def test_what_the_line_answers_itself_is_there_with_its_reason(self):
        self.faults("busy*1", "http-500*1")
        self.curl()
        self.curl()
        lines = [(line["method"], line["uri"], line["status"], line["reason"])
                 for line in self.journal(2)]
        self.assertEqual(lines, [("GET", "/info", 408, "fault busy"),
                                 ("GET", "/info", 500, "fault http-500")])
        self.assertEqual(self.device.errors().count("\n"), 2)

    def test_what_happened_to_an_answer_is_there(self):
        path = self.place("a")
        for fault in (f"drop-after={HALF}", f"stall-after={HALF}", "throttle=1000000000",
                      "corrupt-download", "late-answer=1"):
            self.faults(fault + "*1")
            self.download(path, "-m", "1")
        lines = self.journal(5)
        self.assertEqual([line["reason"] for line in lines],
                         [f"fault drop-after={HALF}", f"fault stall-after={HALF}",
                          "fault throttle=1000000000", "fault corrupt-download",
                          "fault late-answer"])
        self.assertEqual([line["status"] for line in lines], [200, 200, 200, 200, 500])
        self.assertEqual([line.get("error") for line in lines],
                         ["the connection broke", "the connection stalled", None, None, LATE])

    def test_a_request_that_no_fault_concerns_has_no_reason(self):
        self.faults("busy@/api")
        self.curl()
        self.assertNotIn("reason", self.journal(1)[0])


class Transparent(Line):
    """Without a fault nobody sees the line."""

    def test_a_client_that_ends_its_half_first_gets_its_answer(self):
        with socket.create_connection(("127.0.0.1", self.device.port)) as connection:
            connection.sendall(b"GET /info HTTP/1.1\r\nHost: device\r\n\r\n")
            connection.shutdown(socket.SHUT_WR)
            answer = connection.makefile("rb").read()
        self.assertIn(b"200 OK", answer)

    def test_a_request_in_single_bytes_is_answered(self):
        with socket.create_connection(("127.0.0.1", self.device.port)) as connection:
            for byte in b"GET /info HTTP/1.1\r\nHost: device\r\n\r\n":
                connection.sendall(bytes([byte]))
            self.assertIn(b"200 OK", connection.makefile("rb").read())

    def test_what_is_no_request_is_answered_by_the_server(self):
        self.faults("busy")
        with socket.create_connection(("127.0.0.1", self.device.port)) as connection:
            connection.sendall(b"nonsense\r\n\r\n")
            self.assertIn(b" 400 ", connection.makefile("rb").readline())

    def test_a_large_file_comes_and_goes_unchanged(self):
        content = os.urandom(12_000_000)
        path = self.device.path("large")
        self.assertEqual(self.device.ask("POST", MANAGER + "userfiles", upload_body(path, content)),
                         (200, b"{\n}\n"))
        got = self.device.ask("GET", by_path(MANAGER + "userfiles", path))[1]
        self.assertTrue(got == content)

    def test_a_client_that_vanishes_takes_no_place(self):
        for _ in range(300):
            with socket.create_connection(("127.0.0.1", self.device.port)) as connection:
                connection.sendall(b"GET /info HTTP/1.1\r\n")
                connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self.assertIn("200 OK", self.curl()[0])

    def test_it_ends_at_once_while_a_connection_stalls(self):
        self.faults("stall-after=0")
        path = self.place("a")
        with socket.create_connection(("127.0.0.1", self.device.port)) as connection:
            connection.sendall(f"GET {MANAGER}userfiles{path} HTTP/1.1\r\n\r\n".encode())
            self.assertIn(b"200 OK", connection.recv(65536))
            before = time.monotonic()
            self.assertEqual(self.device.stop()[0], 0)
            self.assertLess(time.monotonic() - before, 10)

    def test_a_taken_port_is_named(self):
        run = subprocess.run([PROGRAM, "--data", os.path.join(self.folder, "other"), "--port",
                              str(self.device.port), "--fault", "busy"],
                             capture_output=True, text=True, check=False, timeout=60)
        self.assertEqual((run.returncode, run.stderr.count("\n")), (1, 1))
        self.assertIn(str(self.device.port), run.stderr)


def page_rows():
    """The faults of the page's table: how each is written there, and what a client sees."""
    with open(PAGE, encoding="utf-8") as file:
        text = file.read().partition("## Bad days")[2]
    return re.findall(r"^\| `([a-z0-9-]+)\S*` \|[^|]*\|([^|]*)\|", text, re.MULTILINE)


class Page(Line):
    """Each row of the page: what it quotes is what curl prints."""

    def seen(self, fault):
        path = self.place("a")
        batch = ("-d", '{"cdm":[{"workOrderId":"x"}]}')
        asked = {
            "slow-call": ("slow-call=100", lambda: self.curl("-w", "after %{time_total} s")),
            "storage-away": ("storage-away", lambda: (self.upload(path)[0] + self.download(path)[0], 0)),
            "no-space": ("no-space", lambda: self.upload(path)),
            "write-fails": ("write-fails=0", lambda: self.curl(*batch, method="POST", route=WORKFLOW + "workorders")),
            "read-fails": ("read-fails=0", lambda: self.download(path)),
            "delete-refused": ("delete-refused", lambda: self.curl(method="DELETE", route=by_path(MANAGER + "userfiles", path))),
            "store-fails": ("store-fails", lambda: self.curl(*batch, method="POST", route=WORKFLOW + "workorders")),
            "drop-after": ("drop-after=10", lambda: self.download(path)),
            "stall-after": ("stall-after=10", lambda: self.download(path, "-m", "1")),
            "throttle": ("throttle=100000", lambda: self.download(path, "-m", "1")),
            "late-answer": ("late-answer=10", self.curl),
            "corrupt-download": ("corrupt-download", lambda: self.download(self.place("b", b"readings"))),
        }
        line, ask = asked.get(fault, (fault, self.curl))
        self.faults(line)
        return ask()[0]

    def test_it_has_a_row_for_each_fault_of_the_help(self):
        text = subprocess.run([PROGRAM, "--help"], capture_output=True, text=True, check=True).stdout
        described = re.sub(r"\s+", " ", text).partition("several times: ")[2].partition(". --")[0]
        names = [re.match("[a-z0-9-]+", item)[0] for item in described.split(", ")]
        self.assertEqual([name for name, _ in page_rows()], names)

    def test_every_option_of_the_help_is_here_and_in_the_manual_page(self):
        text = subprocess.run([PROGRAM, "--help"], capture_output=True, text=True, check=True).stdout
        options = set(re.findall(r"^  (--[a-z-]+)", text, re.MULTILINE))
        self.assertGreater(len(options), 15)
        manual = os.path.join(os.path.dirname(PAGE), "man", "parlowen-device.1.in")
        for page in (PAGE, manual):
            with open(page, encoding="utf-8") as file:
                written = set(re.findall(r"--[a-z-]+", file.read().replace("\\-", "-")))
            self.assertEqual(options - written, set(), page)

    def test_each_row_quotes_what_is_seen(self):
        rows = page_rows()
        self.assertGreater(len(rows), 10)
        for fault, column in rows:
            seen = self.seen(fault)
            for quoted in re.findall(r'"([^"]+)"', column):
                self.assertIn(quoted, seen, fault)
            self.assertRegex(column, '"', f"{fault}: nothing is quoted")


if __name__ == "__main__":
    unittest.main(verbosity=2)
