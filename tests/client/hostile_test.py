"""A device that means ill: what it sends costs no memory, no disk, and steers no terminal."""

import contextlib
import hashlib
import http.server
import json
import os
import pathlib
import pty
import shutil
import socketserver
import subprocess
import sys
import tempfile
import threading
import unittest
import xml.etree.ElementTree

from clienttest import (CLIENT, DEVICE_REFUSED, DONE, LOCAL_FAILURE, TRANSFER_CORRUPT, USAGE,
                        Result)

MEMORY_BOUND = 64 << 20
PIECE = b"x" * (1 << 20)
SMALL = {"path": "/u/userfiles/f", "size": 5, "modifiedTime": "2026-01-01T00:00:00Z",
         "sha256": "0" * 64}


class Device(socketserver.ThreadingTCPServer):
    """Answers each path with bytes, or with a function that writes them and may never end."""

    daemon_threads = True
    allow_reuse_address = True

    def __init__(self):
        super().__init__(("127.0.0.1", 0), Handler)
        self.answers = {}
        self.asked = []
        self.host = "127.0.0.1:%d" % self.server_address[1]
        threading.Thread(target=self.serve_forever, daemon=True).start()


class Handler(http.server.BaseHTTPRequestHandler):
    def handle_one_request(self):
        line = self.rfile.readline().decode("latin-1").split()
        if not line:
            self.close_connection = True
            return
        while self.rfile.readline().strip():
            pass
        self.server.asked.append(" ".join(line[:2]))
        answer = self.server.answers.get(line[1], head("404 Not Found"))
        with contextlib.suppress(OSError):
            answer(self.wfile) if callable(answer) else self.wfile.write(answer)
        self.close_connection = callable(answer) or b"Content-Length" not in answer


def head(status="200 OK", *headers):
    return ("HTTP/1.1 %s\r\nConnection: close\r\n%s\r\n"
            % (status, "".join(h + "\r\n" for h in headers))).encode()


def document(value):
    return head() + json.dumps(value).encode()


def endless(start, piece=PIECE):
    def write(stream):
        stream.write(start)
        while True:
            stream.write(piece)
    return write


def dense(start, element, end):
    """As many elements as a document may have bytes for."""
    count = ((16 << 20) - len(start) - len(end)) // (len(element) + 1)
    return start + b",".join([element] * count) + end


class Hostile(unittest.TestCase):
    def setUp(self):
        self.device = Device()
        self.local = pathlib.Path(tempfile.mkdtemp(prefix="hostile", dir=os.getcwd()))

    def tearDown(self):
        self.device.shutdown()
        self.device.server_close()
        shutil.rmtree(self.local)

    def run_client(self, *arguments):
        """Runs the client; its files are bounded, and the result tells its memory."""
        measure = ("import resource, subprocess, sys\n"
                   "status = subprocess.run(sys.argv[1:]).returncode\n"
                   "peak = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss\n"
                   "open('peak', 'w').write(str(peak))\n"
                   "sys.exit(status)")
        completed = subprocess.run(
            [sys.executable, "-c", measure, CLIENT, "--host", self.device.host, "--retries", "0",
             *map(str, arguments)], cwd=self.local, capture_output=True, timeout=60, check=False)
        result = Result(completed)
        result.memory = int((self.local / "peak").read_text()) << 10
        (self.local / "peak").unlink()
        return result

    def expect(self, status, *arguments):
        result = self.run_client(*arguments)
        self.assertEqual(result.status, status, result)
        self.assertLess(result.memory, MEMORY_BOUND)
        return result

    def tree(self):
        return sorted(str(path.relative_to(self.local)) for path in self.local.rglob("*"))

    def serve_small_file(self, content):
        self.device.answers["/api/syncfiles/v1/metadata/u/userfiles/f"] = document(SMALL)
        self.device.answers["/api/filemgr/v2/userfiles/u/userfiles/f"] = content

    def test_endless_body_of_a_small_file(self):
        self.serve_small_file(endless(head()))
        self.expect(TRANSFER_CORRUPT, "files", "get", "/u/userfiles/f")
        self.assertEqual(self.tree(), [])

    def test_endless_body_of_a_small_file_in_sync(self):
        self.serve_small_file(endless(head()))
        self.device.answers["/api/syncfiles/v1/pendingfiles"] = document([SMALL])
        self.device.answers["/api/filemgr/v2/userfiles"] = document({"files": [SMALL]})
        self.device.answers["/api/syncfiles/v1/pendingfiles/all"] = document([SMALL])
        self.expect(TRANSFER_CORRUPT, "sync", "out")
        self.assertNotIn("out/f", self.tree())

    def test_endless_error_page(self):
        for command in (["info"], ["files", "list"], ["tech", "A"], ["api", "GET", "/info"]):
            with self.subTest(command=command):
                for path in ("/info", "/api/filemgr/v2/userfiles", "/api/v1/techinfo"):
                    self.device.answers[path] = endless(head("500 Oh"), b"<b>no</b> " * 10_000)
                self.expect(DEVICE_REFUSED, *command)

    def test_endless_error_page_of_a_file(self):
        self.serve_small_file(endless(head("500 Oh")))
        self.expect(DEVICE_REFUSED, "files", "get", "/u/userfiles/f")

    def test_endless_document_ends_at_its_bound(self):
        for command in (["info"], ["api", "GET", "/info"]):
            with self.subTest(command=command):
                self.device.answers["/info"] = endless(head(), b'{"a": ' * 10_000)
                result = self.expect(TRANSFER_CORRUPT, *command)
                self.assertIn("longer than 16 MiB", result.err)
                self.assertEqual(result.out, "")

    def test_endless_answers_while_the_interface_is_checked(self):
        for answer, problem in ((endless(head()), "the answer is longer than 24 MiB"),
                                (endless(b"HTTP/1.1 200 OK\r\n", b"a:b\r\n" * 1000),
                                 "the headers of the answer are longer than 256 KiB")):
            with self.subTest(problem=problem):
                self.device.answers["/info"] = answer
                result = self.expect(LOCAL_FAILURE, "check", "--only", "asset.version")
                self.assertIn(problem, result.out)

    def test_endless_head_of_an_answer(self):
        done, wait = b"HTTP/1.1 200 OK\r\n", b"HTTP/1.1 100 Continue\r\n\r\n"
        for start, piece in ((done, b"X-Again: " + b"x" * 10_000 + b"\r\n"), (done, b"x" * 10_000),
                             (done, b"a:b\r\n" * 1000), (wait, wait * 1000)):
            for command in (["info"], ["files", "get", "/u/userfiles/f"]):
                with self.subTest(start=start, piece=piece[:10], command=command):
                    self.serve_small_file(endless(start, piece))
                    self.device.answers["/info"] = endless(start, piece)
                    result = self.expect(TRANSFER_CORRUPT, *command)
                    self.assertIn("the head of the answer is longer than 256 KiB", result.err)

    def test_long_head_that_ends(self):
        self.device.answers["/info"] = (head("200 OK", *["a: b"] * 10_000)
                                        + b'{"apiSupport": [], "assetInfo": {}, "infoVersion": 1}')
        self.expect(DONE, "info")

    def test_connections_that_stay_open_do_not_count_into_the_next_head(self):
        content = b"x" * (9 << 20)
        record = {**SMALL, "size": len(content), "sha256": hashlib.sha256(content).hexdigest()}
        kept_alive = b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\n\r\n"
        names = ["/u/userfiles/%d" % number for number in range(3)]
        for name in names:
            self.device.answers["/api/syncfiles/v1/metadata" + name] = document(
                {**record, "path": name})
            self.device.answers["/api/filemgr/v2/userfiles" + name] = (
                kept_alive % len(content) + content)
        self.expect(DONE, "files", "get", *names)

    def test_deep_document(self):
        for text in (b"[" * 1_000_000, b'{"a":' * 1_000_000):
            with self.subTest(text=text[:1]):
                self.device.answers["/info"] = head() + text
                self.expect(TRANSFER_CORRUPT, "info")

    def test_dense_document(self):
        for start, element, end in (
                (b"[", b"[]", b"]"), (b"[", b"{}", b"]"), (b"[", b"1", b"]"), (b"[", b'""', b"]"),
                (b"[", b"[[]]", b"]"), (b"[", b"[1]", b"]"), (b"[", b'{"a":1}', b"]"),
                (b"[", b'{"":{}}', b"]"), (b"[", b"[%s]" % b",".join([b"1"] * 65), b"]"),
                (b"{", b'"":0', b"}"), (b"[" * 1000, b"1", b"]" * 1000),
                (b'{"apiSupport":[],"a":[', b'"\\u001b"', b"]}")):
            with self.subTest(start=start[:9], element=element[:9]):
                self.device.answers["/info"] = head() + dense(start, element, end)
                result = self.expect(TRANSFER_CORRUPT, "info")
                self.assertIn("the answer of %s is denser than" % self.device.host, result.err)

    def test_one_long_text(self):
        self.device.answers["/info"] = document({"apiSupport": [], "a": "x" * (15 << 20)})
        result = self.expect(TRANSFER_CORRUPT, "info")
        self.assertIn("a text of more than 5 MB", result.err)

    def test_dense_document_is_printed_as_it_came(self):
        text = dense(b"[", b"[]", b"]")
        self.device.answers["/x"] = head() + text
        result = self.expect(DONE, "api", "GET", "/x")
        self.assertEqual(result.out.encode(), text)

    def test_dense_document_that_is_just_taken(self):
        for element, count in ((b"1", 900_000), (b'{"a":1}', 150_000),
                               (b"[%s]" % b",".join([b"1"] * 129), 6_500)):
            with self.subTest(element=element[:9]):
                self.device.answers["/info"] = (head() + b'{"apiSupport":[],"assetInfo":{"a":['
                                                + b",".join([element] * count) + b"]}}")
                self.expect(DONE, "info")

    def test_long_texts_that_grow_when_they_are_parsed_or_printed(self):
        for text, status in ((b"\x01" * 1_350_000, DONE), (b"\x01" * 4_900_000, TRANSFER_CORRUPT),
                             (b"\\n" + b"a" * 3_700_000, DONE),
                             (b"\\n" + b"a" * 4_900_000, TRANSFER_CORRUPT)):
            for value in (b'{"a":"%s"}' % text, b'{"%s":1}' % text):
                with self.subTest(text=text[:3], status=status, value=value[:6]):
                    self.device.answers["/info"] = (head() + b'{"apiSupport":[],"assetInfo":'
                                                    + value + b"}")
                    self.expect(status, "info")
                    self.expect(status, "info", "--json")

    def test_dense_list_of_files(self):
        for record in (b'{"path":"a","size":0}', b"[]", b'{"path":"%s","size":0}' % (b"a" * 9999)):
            with self.subTest(record=record[:20]):
                self.device.answers["/api/filemgr/v2/userfiles"] = (
                    head() + dense(b'{"files":[', record, b"]}"))
                self.expect(TRANSFER_CORRUPT, "files", "list")

    def test_fifty_thousand_files(self):
        records = [{"path": "/home/instrument/storage/userfiles/2026-01/run-%05d.sor" % number,
                    "size": number, "modifiedTime": "2026-01-01T00:00:00.000Z"}
                   for number in range(50_000)]
        self.device.answers["/api/filemgr/v2/userfiles"] = document({"files": records})
        self.device.answers["/api/syncfiles/v1/pendingfiles"] = document(records)
        for command in (["files", "list"], ["files", "list", "--json"],
                        ["sync", "--dry-run", "out", "--json"]):
            with self.subTest(command=command):
                self.expect(DONE, *command)
        listed = self.expect(DONE, "files", "list", "--json").json()
        self.assertEqual(listed, {"files": records})

    def test_list_that_is_none(self):
        for text in (b'{"files":[]', b'{"files":[}', b'{"files":[1]}', b'{"files":[,]}',
                     b'{"f\\u0069les":[{}]}', b'{"files":[],"files":[{}]}', b"[]", b'{"files":{}}'):
            with self.subTest(text=text):
                self.device.answers["/api/filemgr/v2/userfiles"] = head() + text
                self.expect(TRANSFER_CORRUPT, "files", "list")

    def test_sizes_that_are_none(self):
        for size in (-1, 1e300, "5", None, [], 2**63):
            with self.subTest(size=size):
                self.device.answers["/api/filemgr/v2/userfiles"] = document(
                    {"files": [{**SMALL, "size": size}]})
                self.expect(TRANSFER_CORRUPT, "files", "list")

    def test_size_that_is_larger_than_the_body(self):
        self.device.answers["/api/syncfiles/v1/metadata/u/userfiles/f"] = document(
            {**SMALL, "size": 10**15})
        self.device.answers["/api/filemgr/v2/userfiles/u/userfiles/f"] = head() + b"12345"
        self.expect(TRANSFER_CORRUPT, "files", "get", "/u/userfiles/f")
        self.assertEqual(self.tree(), [])

    def test_redirect_is_not_followed(self):
        self.device.answers["/info"] = head("302 Found", "Location: http://127.0.0.1:9/info")
        self.device.answers["/api/filemgr/v2/userfiles"] = head(
            "307 Temporary Redirect", "Location: /elsewhere")
        self.expect(DEVICE_REFUSED, "info")
        self.expect(DEVICE_REFUSED, "files", "list")
        self.assertNotIn("GET /elsewhere", self.device.asked)

    def test_texts_of_the_device_do_not_steer_the_terminal(self):
        evil = "\x1b]0;title\x07\x9b2J\x7f\u202e\r\n"
        for answer in ({"errorMessage": evil}, {"apiSupport": [{"name": evil}], "assetInfo":
                                                {evil: evil}}):
            self.device.answers["/info"] = document(answer)
            for command in (["info"], ["info", "--json"], ["info", "--trace"],
                            ["api", "GET", "/info"]):
                with self.subTest(answer=answer, command=command):
                    result = self.run_client(*command)
                    self.assertNotRegex(result.out + result.err,
                                        "[\x00-\x09\x0b-\x1f\x7f-\x9f\u202e]")

    def test_texts_of_the_device_do_not_steer_the_protocol_of_a_check(self):
        evil = "<script>\x1b[2J\0\u202e\x9b\u2028]]>&\""
        self.device.answers["/info"] = head() + json.dumps(
            {"apiSupport": [{"name": evil}], "infoVersion": evil, evil: evil,
             "assetInfo": {"model": evil, "serialNumber": evil}}, ensure_ascii=False).encode()
        self.run_client("check", "--only", "asset.*", "--report", "page", "--junit", "results")
        page = (self.local / "page").read_text()
        self.assertIn("\\u202e", page)
        self.assertNotRegex(page, "<script|[\0-\x09\x0b-\x1f\x7f-\x9f\u2028\u202e]")
        results = xml.etree.ElementTree.parse(self.local / "results").getroot()
        self.assertGreater(len(list(results.iter("failure"))), 0)

    def test_page_on_a_terminal_is_escaped(self):
        self.device.answers["/page"] = head() + b"<p>\x1b[2J</p>"
        master, slave = pty.openpty()
        with subprocess.Popen([CLIENT, "--host", self.device.host, "api", "GET", "/page"],
                              stdout=slave) as process:
            os.close(slave)
            shown = os.read(master, 4096)
        os.close(master)
        self.assertEqual(process.returncode, 0)
        self.assertNotIn(b"\x1b", shown)

    def test_names_of_a_listing_stay_in_the_folder(self):
        names = ["/u/userfiles/../../escaped", "/etc/passwd", "/u/userfiles/..", "/u/userfiles/.",
                 "/", "/u/userfiles/.bashrc"]
        self.device.answers["/api/filemgr/v2/userfiles"] = document(
            {"files": [{**SMALL, "path": name} for name in names]})
        (self.local / "here").mkdir()
        before = self.tree()
        result = self.run_client("files", "get", "*", "-o", "here")
        self.assertNotEqual(result.status, 0)
        self.assertEqual(self.tree(), before)

    def test_absolute_names_are_not_synchronised(self):
        record = {**SMALL, "path": "/etc/passwd"}
        self.device.answers["/api/syncfiles/v1/pendingfiles"] = document([SMALL, record])
        self.device.answers["/api/filemgr/v2/userfiles"] = document(
            {"files": [SMALL, {**SMALL, "path": "/u/userfiles/g"}]})
        result = self.run_client("sync", "out")
        self.assertIn(result.status, (LOCAL_FAILURE, USAGE, DEVICE_REFUSED, TRANSFER_CORRUPT))
        self.assertNotIn("out/passwd", self.tree())
        self.assertNotIn("PUT", " ".join(self.device.asked))


if __name__ == "__main__":
    unittest.main()
