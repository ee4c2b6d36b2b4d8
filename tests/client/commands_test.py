"""What each command prints, and its exit status."""

import fcntl
import json
import os
import pty
import re
import socket
import struct
import subprocess
import termios
import unittest

from clienttest import (CANNOT_CONNECT, CLIENT, DEVICE_REFUSED, DONE, LOCAL_FAILURE,
                        SEVERAL_PIECES, TRANSFER_CORRUPT, USAGE, ClientTest, content)

COMMANDS = [
    ["info"], ["tech"], ["workorders"], ["workorders", "list"], ["workorders", "get"],
    ["workorders", "put"], ["workorders", "active"], ["templates"], ["files"], ["files", "list"],
    ["files", "pending"], ["files", "stat"], ["files", "get"], ["files", "put"], ["files", "rm"],
    ["files", "confirm"], ["sync"], ["api"],
]


class Device(ClientTest):
    def test_info_names_the_interfaces(self):
        self.assertIn("interface filemgr: version 2", self.expect(DONE, "info").out)

    def test_info_as_json_is_the_answer_of_the_device(self):
        info = self.expect(DONE, "info", "--json").json()
        self.assertEqual(info["infoVersion"], 1)
        asset = json.loads((self.data / "asset.json").read_text())
        self.assertEqual(info["assetInfo"], {**asset, "userFilesFolder": str(self.user_files)})

    def test_tech_is_set(self):
        self.assertIn("nothing was read back", self.expect(DONE, "tech", "Anna_1").out)
        self.assertIn(b'{"techId":"Anna_1"}', self.proxy.connections[-1]["up"])

    def test_invalid_tech_is_refused(self):
        self.assertIn("Invalid techId", self.expect(DEVICE_REFUSED, "tech", "a-b").err)

    def test_error_as_json(self):
        result = self.expect(DEVICE_REFUSED, "tech", "a-b", "--json").json()
        self.assertEqual(result, {"error": "Invalid techId", "exitStatus": DEVICE_REFUSED})

    def test_templates_are_printed(self):
        self.assertTrue(self.expect(DONE, "templates").json()["templates"])


class CommandLine(ClientTest):
    def test_help_of_every_command(self):
        for command in COMMANDS:
            with self.subTest(command=command):
                self.assertIn("Usage: parlowenctl " + " ".join(command),
                              self.expect(DONE, *command, "--help").out)

    def test_version(self):
        self.assertRegex(self.expect(DONE, "--version").out, r"^parlowenctl \d+\.\d+\.\d+\n$")

    def test_no_command(self):
        self.expect(USAGE)

    def test_group_without_a_command(self):
        self.expect(USAGE, "files")

    def test_unknown_command(self):
        self.expect(USAGE, "explode")

    def test_mistyped_command_names_the_nearest(self):
        for words, right in ((["fles", "list"], "files"), (["files", "lst"], "list"),
                             (["--json", "inof"], "info"), (["workorder", "list"], "workorders"),
                             (["--timeout", "5", "synk", "x"], "sync")):
            with self.subTest(words=words):
                result = self.expect(USAGE, *words)
                self.assertIn('is no command; did you mean "%s"?' % right, result.err)

    def test_command_that_resembles_none(self):
        self.assertIn('"explode" is no command; --help', self.expect(USAGE, "explode").err)

    def test_reader_that_stops_reading_is_no_error(self):
        completed = subprocess.run(
            "'%s' --host %s info | true" % (CLIENT, self.proxy.host), shell=True,
            capture_output=True, check=False)
        self.assertEqual(completed.stderr, b"")

    def test_trace_shows_request_and_answer(self):
        result = self.expect(DONE, "tech", "Anna", "--trace")
        self.assertIn("> POST http://%s/api/v1/techinfo\n" % self.proxy.host, result.err)
        self.assertIn('> {"techId":"Anna"}', result.err)
        self.assertRegex(result.err, r"< status 200 after \d+ ms\n< \{ \}\n")

    def test_trace_of_a_failure(self):
        self.proxy.add("cut", at=0)
        result = self.run_client("info", "--trace", "--retries", 0)
        self.assertRegex(result.err, r"! the transfer with .* after \d+ ms")

    def test_unknown_option(self):
        self.expect(USAGE, "info", "--explode")

    def test_missing_argument(self):
        self.expect(USAGE, "files", "put", "only-one")

    def test_host_that_is_none(self):
        for host in ("user@host", "host:port", "ftp://host", "host/path", "http://host/path",
                     "http://host?query", "https://"):
            with self.subTest(host=host):
                self.expect(USAGE, "info", host=host)

    def test_host_from_the_environment(self):
        completed = subprocess.run([CLIENT, "info"], capture_output=True, check=False,
                                   env={**os.environ, "PARLOWEN_HOST": self.proxy.host})
        self.assertEqual(completed.returncode, DONE)
        self.assertEqual(self.proxy.requests(), [b"GET /info HTTP/1.1"])

    def test_port_8081_is_the_usual_one(self):
        self.expect(DONE, "info", host="127.0.0.1")

    def test_host_as_a_url(self):
        for url in ("http://" + self.proxy.host, "http://" + self.proxy.host + "/"):
            with self.subTest(url=url):
                self.expect(DONE, "info", host=url)

    def test_nobody_listens(self):
        with socket.create_server(("127.0.0.1", 0)) as taken:
            port = taken.getsockname()[1]
        self.assertIn("nothing listens on this port",
                      self.expect(CANNOT_CONNECT, "info", host="127.0.0.1:%d" % port).err)

    def test_unknown_host(self):
        self.assertIn("no host has this name",
                      self.expect(CANNOT_CONNECT, "info", host="instrument.invalid").err)

    def test_silent_device(self):
        with socket.create_server(("127.0.0.1", 0)) as silent:
            host = "127.0.0.1:%d" % silent.getsockname()[1]
            result = self.expect(CANNOT_CONNECT, "info", "--timeout", 1, host=host)
        self.assertIn("connected to %s, but no answer within 1 s" % host, result.err)

    def test_no_route_to_the_host(self):
        result = self.expect(CANNOT_CONNECT, "info", "--timeout", 2, host="192.0.2.1:8081")
        self.assertIn("no route to the host", result.err)

    def test_server_of_another_kind(self):
        self.proxy.add("answer", answer=b"HTTP/1.1 404 Not Found\r\nContent-Length: 9\r\n"
                       b"Connection: close\r\n\r\n<p>no</p>")
        self.expect(DEVICE_REFUSED, "info")

    def test_full_standard_output(self):
        with open("/dev/full", "wb") as full:
            completed = subprocess.run([CLIENT, "info"], stdout=full, stderr=subprocess.PIPE,
                                       check=False)
        self.assertEqual(completed.returncode, LOCAL_FAILURE)

    def test_full_standard_output_ends_with_the_same_status_in_both_formats(self):
        for command in (["info"], ["tech", "a-b"], ["workorders", "get", "no"],
                        ["templates"], ["sync", "out"]):
            with self.subTest(command=command), open("/dev/full", "wb") as full:
                text, as_json = (
                    subprocess.run([CLIENT, *command, *form], stdout=full, cwd=self.local,
                                   stderr=subprocess.PIPE, check=False)
                    for form in ([], ["--json"]))
                self.assertIn(text.returncode, (LOCAL_FAILURE, DEVICE_REFUSED))
                self.assertEqual(as_json.returncode, text.returncode, as_json.stderr)

class Api(ClientTest):
    def test_answer_is_printed(self):
        self.assertEqual(self.expect(DONE, "api", "GET", "/info").json()["infoVersion"], 1)

    def test_body_from_a_file_and_from_standard_input(self):
        self.here("body", b'{"techId": "Ben"}')
        self.expect(DONE, "api", "POST", "/api/v1/techinfo", "body")
        completed = subprocess.run(
            [CLIENT, "--host", self.proxy.host, "api", "POST", "/api/v1/techinfo", "-"],
            input=b'{"techId": "Cleo"}', capture_output=True, check=False)
        self.assertEqual(completed.returncode, DONE)
        bodies = [bytes(c["up"].split(b"\r\n\r\n", 1)[1]) for c in self.proxy.connections]
        self.assertEqual(bodies, [b'{"techId": "Ben"}', b'{"techId": "Cleo"}'])

    def test_refusal_is_printed_and_is_the_status(self):
        self.assertIn("errorMessage", self.expect(DEVICE_REFUSED, "api", "DELETE", "/info").out)

    def test_other_status(self):
        self.expect(DEVICE_REFUSED, "api", "GET", "/nothing")

    def test_path_is_sent_as_it_is_written(self):
        self.run_client("api", "GET", "/api/workflow/v1/workorder/a%20b ü")
        self.assertEqual(self.proxy.requests(),
                         [b"GET /api/workflow/v1/workorder/a%20b%20%C3%BC HTTP/1.1"])

    def test_path_without_a_slash(self):
        self.expect(USAGE, "api", "GET", "info")

    def test_method_in_small_letters(self):
        self.expect(USAGE, "api", "get", "/info")


class WorkOrders(ClientTest):
    def put(self, *documents, name="orders.json", status=DONE):
        self.here(name, json.dumps({"cdm": documents}).encode())
        return self.expect(status, "workorders", "put", name, "--json").json()

    def stored(self, order):
        result = self.run_client("workorders", "get", order)
        return result.json()["cdm"] if result.status == DONE else None

    def test_list(self):
        self.put({"workOrderId": "listed"})
        self.assertRegex(self.expect(DONE, "workorders", "list").out, r"(?m)^\S+Z  listed$")
        self.assertIn("listed", self.expect(DONE, "workorders", "list", "--json")
                      .json()["workOrderIds"])

    def test_unknown_work_order(self):
        self.assertIn("Job not found", self.expect(DEVICE_REFUSED, "workorders", "get", "no").err)

    def test_active_work_order(self):
        self.put({"workOrderId": "a1"})
        self.expect(DONE, "workorders", "active", "a1")
        self.assertEqual(self.expect(DONE, "workorders", "active").out, "a1\n")
        self.assertEqual(self.expect(DONE, "workorders", "active", "--json").json(),
                         {"activeWorkOrderId": "a1"})

    def test_active_work_order_that_the_device_did_not_set(self):
        self.put({"workOrderId": "a1"})
        self.expect(DONE, "workorders", "active", "a1")
        self.put({"workOrderId": "a2"})
        body = b'{"activeWorkOrderId":"a2"}'
        self.proxy.add("answer", request=rb"^PUT /api/workflow/v1/active", answer=(
            b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\nConnection: close\r\n\r\n%s"
            % (len(body), body)))
        result = self.expect(TRANSFER_CORRUPT, "workorders", "active", "a2")
        self.assertIn('the active work order is "a1" after setting "a2"', result.err)

    def test_unknown_active_work_order(self):
        self.expect(DEVICE_REFUSED, "workorders", "active", "nobody")

    def test_empty_id(self):
        for command in ("active", "get"):
            with self.subTest(command=command):
                self.expect(USAGE, "workorders", command, "")
        self.assertEqual(self.proxy.requests(), [])

    def test_device_that_cannot_take_a_batch_is_not_asked_with_less(self):
        self.here("many.json", json.dumps([{"workOrderId": "b%d" % i} for i in range(8)]).encode())
        for status_line in (b"408 Request Timeout", b"500 Internal Server Error", b"404 Not Found",
                            b"503 Service Unavailable"):
            with self.subTest(status=status_line):
                self.proxy.faults.clear()
                self.proxy.connections.clear()
                self.proxy.add("answer", request=rb"^POST", answer=b"HTTP/1.1 %s\r\n"
                               b"Content-Length: 7\r\nConnection: close\r\n\r\nno time"
                               % status_line)
                result = self.expect(DEVICE_REFUSED, "workorders", "put", "many.json", "--json",
                                     "--retries", 0)
                self.assertEqual(result.json(), {"error": "no time", "exitStatus": DEVICE_REFUSED})
                self.assertEqual(len(self.proxy.requests()), 1)

    def test_device_that_cannot_be_asked_for_what_it_stored_is_no_fault_of_the_element(self):
        self.here("two.json", json.dumps([{"workOrderId": "v%d" % i} for i in range(2)]).encode())
        self.proxy.add("answer", request=rb"^GET", answer=b"HTTP/1.1 408 Request Timeout\r\n"
                       b"Content-Length: 4\r\nConnection: close\r\n\r\nbusy")
        result = self.expect(DEVICE_REFUSED, "workorders", "put", "two.json", "--retries", 0)
        self.assertEqual(result.err, "parlowenctl: busy\n")

    def test_every_form_of_a_file(self):
        forms = {"single": {"workOrderId": "single"},
                 "array": [{"workOrderId": "array"}],
                 "batch": {"cdm": [{"workOrderId": "batch"}]},
                 "answer": {"cdm": {"workOrderId": "answer"}, "cdmVersion": "2.1"}}
        for name, document in forms.items():
            with self.subTest(form=name):
                self.here("form.json", json.dumps(document).encode())
                self.expect(DONE, "workorders", "put", "form.json")
                self.assertEqual(self.stored(name)["workOrderId"], name)

    def test_images_are_stored_but_not_compared(self):
        test = {"results": {"data": {"imageData": "picture", "value": 1}}}
        self.assertEqual(self.put({"workOrderId": "image", "tests": [test, 5, {}]})["stored"], 1)
        self.assertEqual(self.stored("image")["tests"][0]["results"]["data"], {"value": 1})

    def test_id_with_every_kind_of_character(self):
        order = "ü %41 ?#&+;=@!$,'()[]{}|^`\"<>\\~"
        self.assertEqual(self.put({"workOrderId": order})["stored"], 1)
        self.assertEqual(self.stored(order)["workOrderId"], order)

    def test_refused_element_is_named_and_the_others_are_stored(self):
        self.here("one.json", json.dumps({"workOrderId": "r1"}).encode())
        orders = [{"workOrderId": "r%d" % i} for i in range(2, 9)]
        orders.insert(4, {"workOrderId": "not/valid"})
        self.here("many.json", json.dumps(orders).encode())
        result = self.expect(DEVICE_REFUSED, "workorders", "put", "one.json", "many.json", "--json")
        failed = result.json()["failed"]
        self.assertEqual([(f["file"], f["element"]) for f in failed], [("many.json", 5)])
        self.assertIn("many.json, element 5 (id not/valid)", result.err)
        self.assertEqual(result.json()["stored"], 8)
        self.assertEqual([self.stored("r%d" % i)["workOrderId"] for i in range(1, 9)],
                         ["r%d" % i for i in range(1, 9)])

    def test_element_without_id_sends_nothing(self):
        for bad in (5, {}, {"workOrderId": ""}, {"workOrderId": 7}):
            with self.subTest(bad=bad):
                self.here("bad.json", json.dumps([{"workOrderId": "innocent"}, bad]).encode())
                result = self.expect(LOCAL_FAILURE, "workorders", "put", "bad.json")
                self.assertIn("bad.json, element 2", result.err)
                self.assertIsNone(self.stored("innocent"))

    def test_same_id_twice_sends_nothing(self):
        self.here("a.json", b'{"workOrderId": "twice"}')
        self.here("b.json", b'{"workOrderId": "twice"}')
        result = self.expect(LOCAL_FAILURE, "workorders", "put", "a.json", "b.json")
        self.assertIn("b.json, element 1", result.err)
        self.assertIn("a.json, element 1", result.err)
        self.assertIsNone(self.stored("twice"))

    def test_file_that_is_no_json_sends_nothing(self):
        self.here("good.json", b'{"workOrderId": "good"}')
        self.here("bad.json", b"{")
        self.expect(LOCAL_FAILURE, "workorders", "put", "good.json", "bad.json")
        self.assertEqual(self.proxy.requests(), [])

    def test_missing_file(self):
        self.expect(LOCAL_FAILURE, "workorders", "put", "missing.json")

    def test_more_than_one_body_is_split(self):
        orders = [{"workOrderId": "s%d" % i, "text": "x" * 1_000_000} for i in range(12)]
        self.assertEqual(self.put(*orders)["stored"], 12)
        posts = [c["up"] for c in self.proxy.connections if c["up"].startswith(b"POST")]
        self.assertEqual(len(posts), 3)
        for post in posts:
            self.assertLess(len(post.split(b"\r\n\r\n", 1)[1]), 5_000_000)

    def test_element_of_the_largest_size_is_sent_and_a_byte_more_is_not(self):
        frame = len('{"cdm":[{"text":"","workOrderId":"size"}]}')
        fits = {"workOrderId": "size", "text": "x" * (4_999_999 - frame)}
        self.assertEqual(self.put(fits)["stored"], 1)
        fits["text"] += "x"
        failed = self.put(fits, status=LOCAL_FAILURE)["failed"]
        self.assertEqual([f["element"] for f in failed], [1])

    def test_many_are_verified_by_the_list(self):
        orders = [{"workOrderId": "m%d" % i} for i in range(100)]
        self.assertEqual(self.put(*orders)["stored"], 100)
        self.assertEqual([r.split()[0] for r in self.proxy.requests()], [b"GET", b"POST", b"GET"])
        self.assertEqual(self.put(*orders)["stored"], 100)

    def test_batch_that_the_device_did_not_keep_is_noticed(self):
        orders = [{"workOrderId": "k%d" % i} for i in range(20)]
        self.proxy.add("answer", request=rb"^POST", answer=b"HTTP/1.1 200 OK\r\nContent-Length: 2"
                       b"\r\nConnection: close\r\n\r\n{}")
        failed = self.put(*orders, status=TRANSFER_CORRUPT)["failed"]
        self.assertEqual(len(failed), 20)

    def test_corrupted_batch_is_noticed(self):
        self.proxy.add("flip", "up", request=rb"^POST", body=True, at=40)
        self.put({"text": "y" * 60, "workOrderId": "corrupt"}, status=TRANSFER_CORRUPT)


class Completion(ClientTest):
    def offered(self, *words):
        completed = subprocess.run([CLIENT, "complete", "--", *words], capture_output=True,
                                   check=False, env={**os.environ, "PARLOWEN_HOST": "127.0.0.1:9"})
        self.assertEqual((completed.returncode, completed.stderr), (DONE, b""))
        return completed.stdout.decode().splitlines()

    def test_device_paths(self):
        for name in ("a.csv", "sub/b c.csv"):
            self.on_device(name, b"1")
        here = ["--host", self.proxy.host]
        self.assertEqual(self.offered(*here, "files", "get", ""), ["a.csv", "sub/b c.csv"])
        self.assertEqual(self.offered("files", "rm", "a.csv", *here, "su"), ["sub/b c.csv"])
        root = str(self.user_files)
        self.assertEqual(self.offered(*here, "files", "stat", root + "/a"), [root + "/a.csv"])

    def test_work_order_ids(self):
        ids = self.expect(DONE, "workorders", "list", "--json").json()["workOrderIds"]
        for command in ("get", "active"):
            self.assertEqual(self.offered("workorders", command, "--host", self.proxy.host, ""),
                             sorted(ids))

    def test_device_that_does_not_answer(self):
        self.assertEqual(self.offered("files", "get", ""), [])


class Progress(ClientTest):
    def on_terminal(self, *arguments, columns=120):
        """Runs the client on a terminal of its own; returns what it shows."""
        master, slave = pty.openpty()
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        with subprocess.Popen([CLIENT, "--host", self.proxy.host, *arguments], cwd=self.local,
                              stdout=slave, stderr=slave) as process:
            os.close(slave)
            shown = b""
            try:
                while True:
                    shown += os.read(master, 4096)
            except OSError:  # the other end is closed
                pass
        os.close(master)
        self.assertEqual(process.returncode, DONE)
        return shown.decode()

    def test_bar_on_a_terminal(self):
        path = self.on_device("f.bin", content(100_000))
        shown = self.on_terminal("files", "get", path)
        self.assertRegex(shown, r"f\.bin \[#{20}\] 100% of 97\.7 KiB, \S+ \S+/s, 0:00 left")

    def test_quiet_terminal(self):
        path = self.on_device("f.bin", content(100_000))
        self.assertEqual(self.on_terminal("--quiet", "files", "get", path),
                         "f.bin: 100000 bytes, verified\r\n")

    def test_no_bar_when_piped(self):
        path = self.on_device("f.bin", content(100_000))
        result = self.expect(DONE, "files", "get", path)
        self.assertEqual((result.out, result.err), ("f.bin: 100000 bytes, verified\n", ""))

    def test_nothing_of_a_slow_transfer_when_piped(self):
        path = self.on_device("slow.bin", content(SLOW))
        self.proxy.add("delay", request=rb"^GET /api/filemgr", body=True, at=SLOW // 2, seconds=1)
        result = self.expect(DONE, "files", "get", path)
        self.assertEqual(result.err, "")

    def test_whole_job_on_a_terminal(self):
        for i in range(3):
            self.on_device("f%d.bin" % i, content(100_000))
        shown = self.on_terminal("files", "get", str(self.user_files) + "/f*")
        self.assertRegex(shown, r"2 of 3, \d+ s left: f2\.bin \[#{20}\] 100%")

    def test_line_fits_a_narrow_terminal(self):
        path = self.on_device("\u6e2c" * 60 + ".bin", content(100_000))
        for columns in (20, 40, 79):
            with self.subTest(columns=columns):
                shown = self.on_terminal("files", "get", path, columns=columns)
                for line in re.findall(r"\r([^\r\n]+)\x1b\[K", shown):
                    width = sum(2 if character > "\u2000" else 1 for character in line)
                    self.assertLess(width, columns, line)

    def test_work_orders_that_are_sent_are_counted_on_a_terminal(self):
        self.here("two.json", json.dumps([{"workOrderId": "p1"}, {"workOrderId": "p2"}]).encode())
        self.assertIn("2 of 2 work orders", self.on_terminal("workorders", "put", "two.json"))

    def test_retry_notice_stands_on_a_line_of_its_own(self):
        path = self.on_device("f.bin", content(SEVERAL_PIECES))
        self.proxy.add("cut", request=rb"^GET /api/filemgr", body=True, at=6_000_000, times=1)
        self.proxy.add("delay", request=rb"^GET /api/filemgr", body=True, at=3_000_000, seconds=0.3,
                       times=1)
        shown = self.on_terminal("files", "get", path)
        notice = next(line for line in re.split(r"[\r\n]+", shown) if "trying again" in line)
        self.assertRegex(notice, r"^(\x1b\[K)?parlowenctl: the transfer")


SLOW = 20_000

if __name__ == "__main__":
    unittest.main()
