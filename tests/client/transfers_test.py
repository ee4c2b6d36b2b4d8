"""Files there and back, and the odd corners of the interface that they meet."""

import hashlib
import json
import os
import re
import signal
import stat
import subprocess
import unittest

from clienttest import (CLIENT, DEVICE_REFUSED, DONE, LOCAL_FAILURE, SEVERAL_PIECES,
                        TRANSFER_CORRUPT, USAGE, ClientTest, content)

ODD_NAME = "ä ö%41+&#;=@!$,'~()[]{}|^`\"<>\\日本.txt"
ERROR_OBJECT = b'{\n    "errorMessage": "File not found"\n}\n'


def answer(body):
    body = body if isinstance(body, bytes) else json.dumps(body).encode()
    return (b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\nConnection: close\r\n\r\n%s"
            % (len(body), body))


def state(path):
    """What tells that a file is the one it was, unwritten: all but the time of its last reading."""
    status = os.lstat(path)
    return (status.st_dev, status.st_ino, status.st_mode, status.st_size, status.st_mtime_ns)


class Get(ClientTest):
    def get(self, name, data):
        path = self.on_device(name, data)
        self.expect(DONE, "files", "get", path, "-o", "fetched")
        self.assertEqual(self.tree("."), {"fetched": data})

    def test_small_file(self):
        self.get("small.bin", content(1000))

    def test_file_of_several_pieces(self):
        self.get("large.bin", content(SEVERAL_PIECES))

    def test_file_of_exactly_one_piece(self):
        self.get("piece.bin", content(5_000_000))

    def test_empty_file_that_the_device_cannot_send(self):
        self.get("empty.bin", b"")

    def test_file_that_looks_like_an_error_object(self):
        self.get("error.json", ERROR_OBJECT)

    def test_file_that_looks_like_the_page_of_an_empty_file(self):
        self.get("page.txt", b"Error 200: OK\n")

    def test_file_with_json(self):
        self.get("object.json", b'{"b": 1, "a": 2}')

    def test_name_with_blanks_signs_and_letters_outside_ascii(self):
        self.get(ODD_NAME, content(10))

    def test_name_in_the_c_locale(self):
        path = self.on_device(ODD_NAME, b"x")
        self.expect(DONE, "files", "get", path, environment={"LC_ALL": "C"})
        self.assertEqual(self.tree("."), {ODD_NAME: b"x"})

    def test_name_with_a_line_feed_does_not_steer_the_terminal(self):
        path = self.on_device("a\nb\x1b[2J\x7f\x9b\u202ec", b"x")
        listed = self.expect(DONE, "files", "list").out
        self.assertIn("a\\u000ab\\u001b[2J\\u007f\\u009b\\u202ec\n", listed)
        record, = self.expect(DONE, "files", "list", "--json").json()["files"]
        self.assertEqual(record["path"], path)
        self.assertNotRegex(self.expect(DONE, "files", "list", "--json").out, "[\x1b\x7f\x9b\u202e]")

    def test_name_with_control_characters_is_not_made_here(self):
        path = self.on_device("a\x1b[2Jc", b"x")
        self.assertIn("give one with -o", self.expect(LOCAL_FAILURE, "files", "get", path).err)
        self.assertEqual(self.tree("."), {})
        self.expect(DONE, "files", "get", path, "-o", "c")
        self.assertEqual(self.tree("."), {"c": b"x"})

    def test_name_with_a_question_mark_is_not_asked_for(self):
        self.on_device("what", b"another file")
        path = self.on_device("what?", b"this one")
        self.expect(USAGE, "files", "get", path)
        self.assertEqual(self.tree("."), {})

    def test_goes_by_its_own_name(self):
        self.expect(DONE, "files", "get", self.on_device("sub/own.txt", b"1"))
        self.assertEqual(self.tree("."), {"own.txt": b"1"})

    def test_goes_into_a_folder(self):
        (self.local / "into").mkdir()
        self.expect(DONE, "files", "get", self.on_device("own.txt", b"1"), "-o", "into")
        self.assertEqual(self.tree("."), {"into/own.txt": b"1"})

    def test_replaces_what_is_there(self):
        self.here("own.txt", b"old and longer")
        self.expect(DONE, "files", "get", self.on_device("own.txt", b"new"))
        self.assertEqual(self.tree("."), {"own.txt": b"new"})

    def test_name_is_the_one_that_was_asked_for(self):
        record = {"path": "/u/userfiles/.bashrc", "size": 4, "modifiedTime": "2026-01-01T00:00:00Z",
                  "sha256": hashlib.sha256(b"evil").hexdigest()}
        self.here(".bashrc", b"as it was")
        for asked in ("/u/userfiles/report.txt", "/u/userfiles/../userfiles/report.txt"):
            with self.subTest(asked=asked):
                self.proxy.faults.clear()
                self.proxy.add("answer", request=rb"metadata", answer=answer(record))
                self.proxy.add("answer", request=rb"^GET /api/filemgr", answer=answer(b"evil"))
                self.expect(TRANSFER_CORRUPT, "files", "get", asked)
                self.assertEqual(self.tree("."), {".bashrc": b"as it was"})

    def test_path_that_the_device_writes_differently(self):
        self.on_device("sub/f", b"1")
        for asked in ("//sub/f", "/./sub/f", "/sub/../sub/f", "/../userfiles/sub//./f"):
            with self.subTest(asked=asked):
                self.expect(DONE, "files", "get", str(self.user_files) + asked)
                self.assertEqual(self.tree("."), {"f": b"1"})

    def test_target_that_is_no_regular_file_stays(self):
        path = self.on_device("f", b"1")
        (self.local / "folder" / "f").mkdir(parents=True)
        os.mkfifo(self.local / "fifo")
        os.mknod(self.local / "node", 0o600 | stat.S_IFSOCK)
        (self.local / "nowhere").symlink_to("missing")
        (self.local / "link").symlink_to("fifo")
        for target in ("folder", "fifo", "node", "nowhere", "link"):
            with self.subTest(target=target):
                self.proxy.connections.clear()
                before = state(self.local / target)
                result = self.expect(LOCAL_FAILURE, "files", "get", path, "-o", target)
                self.assertIn("is no regular file", result.err)
                self.assertEqual(state(self.local / target), before)
                self.assertEqual(self.proxy.requests(), [])

    def test_standard_stream_as_target(self):
        path = self.on_device("f", b"1")
        self.here("own", b"")
        (self.local / "link").symlink_to("own")
        for target in ("own", "link"):
            with self.subTest(target=target), open(self.local / "own", "ab") as own:
                before = state(self.local / "own")
                completed = subprocess.run(
                    [CLIENT, "--host", self.proxy.host, "files", "get", path, "-o", target],
                    cwd=self.local, stdout=own, stderr=subprocess.PIPE, check=False)
                self.assertEqual(completed.returncode, LOCAL_FAILURE)
                self.assertIn(b"standard stream", completed.stderr)
                self.assertEqual(state(self.local / "own"), before)
        self.assertTrue((self.local / "link").is_symlink())
        self.assertEqual(self.proxy.requests(), [])

    def test_link_to_a_regular_file_is_replaced_itself(self):
        path = self.on_device("f", b"new")
        self.here("precious", b"precious")
        (self.local / "f").symlink_to("precious")
        self.expect(DONE, "files", "get", path)
        self.assertFalse((self.local / "f").is_symlink())
        self.assertEqual(self.tree("."), {"f": b"new", "precious": b"precious"})

    def test_missing_file(self):
        missing = str(self.user_files / "missing")
        self.assertIn("File not found", self.expect(DEVICE_REFUSED, "files", "get", missing).err)
        self.assertEqual(self.tree("."), {})

    def test_path_outside_of_the_user_files(self):
        self.expect(DEVICE_REFUSED, "files", "get", "/etc/passwd")

    def test_folder_that_is_missing(self):
        path = self.on_device("f", b"1")
        self.expect(LOCAL_FAILURE, "files", "get", path, "-o", "missing/f")

    def test_disk_that_is_full(self):
        path = self.on_device("f", content(100_000))
        completed = subprocess.run(
            ["sh", "-c", 'ulimit -f 16; trap "" XFSZ; exec "$@"', "sh", CLIENT, "files", "get", path],
            cwd=self.local, capture_output=True, check=False)
        self.assertEqual(completed.returncode, LOCAL_FAILURE, completed.stderr)
        self.assertEqual(self.tree("."), {})

    def test_result_as_json(self):
        path = self.on_device("f", b"abc")
        result = self.expect(DONE, "files", "get", path, "--json").json()
        self.assertEqual((result["path"], result["file"], result["size"], result["sha256"]),
                         (path, "f", 3, hashlib.sha256(b"abc").hexdigest()))

    def test_refusal_in_place_of_the_content(self):
        path = self.on_device("gone", b"x" * 100)
        self.proxy.add("answer", request=rb"^GET /api/filemgr", answer=b"HTTP/1.1 200 OK\r\n"
                       b"Content-Type: application/json\r\nContent-Length: %d\r\n"
                       b"Connection: close\r\n\r\n%s" % (len(ERROR_OBJECT), ERROR_OBJECT))
        self.assertIn("File not found", self.expect(DEVICE_REFUSED, "files", "get", path).err)
        self.assertEqual(self.tree("."), {})

    def test_file_that_changes_on_its_way_is_fetched_anew(self):
        path = self.on_device("changing", b"first", age=20)
        metadata = self.run_client("files", "stat", path, "--json").json()
        del metadata["size"]
        stale = json.dumps({**metadata, "size": 4, "sha256": "0" * 64}).encode()
        self.proxy.add("answer", request=rb"metadata", times=1,
                       answer=b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\n"
                       b"Connection: close\r\n\r\n%s" % (len(stale), stale))
        self.expect(DONE, "files", "get", path)
        self.assertEqual(self.tree("."), {"changing": b"first"})

    def test_stopped_by_a_signal_leaves_nothing(self):
        path = self.on_device("stopped", content(SEVERAL_PIECES))
        self.here("stopped", b"as it was")
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(number=number):
                self.proxy.faults.clear()
                held = self.proxy.add("delay", request=rb"^GET /api/filemgr", body=True,
                                      at=2_000_000, seconds=20)
                status = self.stop_when(held, number, "files", "get", path)
                self.assertEqual(status, 128 + number)
                self.assertEqual(self.tree("."), {"stopped": b"as it was"})


class Put(ClientTest):
    def put(self, name, data):
        self.here(name, data)
        self.expect(DONE, "files", "put", name, self.user_files)
        self.assertEqual((self.user_files / name).read_bytes(), data)

    def test_small_file(self):
        self.put("small.bin", content(1000))

    def test_file_of_several_pieces(self):
        self.put("large.bin", content(SEVERAL_PIECES))

    def test_empty_file(self):
        self.put("empty.bin", b"")

    def test_file_of_line_ends(self):
        self.put("lines.bin", b"\r\n--" * 1000 + b"\r\r\n")

    def test_name_with_blanks_signs_and_letters_outside_ascii(self):
        self.put(ODD_NAME, content(10))

    def test_name_in_the_c_locale(self):
        self.here(ODD_NAME, b"x")
        self.expect(DONE, "files", "put", ODD_NAME, self.user_files, environment={"LC_ALL": "C"})
        self.assertEqual((self.user_files / ODD_NAME).read_bytes(), b"x")

    def test_replaces_a_longer_file(self):
        self.on_device("there.bin", content(10_000))
        self.put("there.bin", b"short")

    def test_request_is_as_the_device_reads_it(self):
        self.put("form.bin", b"the bytes")
        post = next(c["up"] for c in self.proxy.connections if c["up"].startswith(b"POST"))
        head, body = bytes(post).split(b"\r\n\r\n", 1)
        self.assertNotIn(b"expect:", head.lower())
        self.assertNotIn(b"transfer-encoding:", head.lower())
        self.assertIn(b"content-length: %d\r\n" % len(body), head.lower() + b"\r\n")
        boundary = b"--" + re.search(rb'boundary="([^"]+)"', head)[1]
        self.assertTrue(body.startswith(boundary + b"\r\n"))
        description = json.loads(body.split(b"\r\n\r\n")[1].split(b"\r\n")[0])
        self.assertEqual(description,
                         {"fileUri": str(self.user_files / "form.bin"), "fileSize": 9})

    def test_no_request_expects_a_continuation(self):
        self.here("f", content(2_000_000))
        self.here("o.json", json.dumps({"workOrderId": "e", "t": "x" * 2_000_000}).encode())
        self.expect(DONE, "files", "put", "f", self.user_files)
        self.expect(DONE, "workorders", "put", "o.json")
        for connection in self.proxy.connections:
            head = connection["up"].split(b"\r\n\r\n", 1)[0]
            self.assertNotIn(b"expect:", head.lower())

    def test_several_files(self):
        for name in ("a", "b", "c"):
            self.here(name, name.encode())
        result = self.expect(DONE, "files", "put", "a", "b", "c", self.user_files, "--json").json()
        self.assertEqual([os.path.basename(r["path"]) for r in result["stored"]], ["a", "b", "c"])
        self.assertEqual([(self.user_files / n).read_text() for n in "abc"], ["a", "b", "c"])

    def test_file_that_fails_does_not_keep_the_others(self):
        self.here("a", b"a")
        self.here("c", b"c")
        result = self.expect(LOCAL_FAILURE, "files", "put", "a", "missing", "c", self.user_files,
                             "--json").json()
        self.assertEqual([f["file"] for f in result["failed"]], ["missing"])
        self.assertEqual((self.user_files / "c").read_bytes(), b"c")

    def test_folder_in_place_of_a_file(self):
        (self.local / "folder").mkdir()
        result = self.expect(LOCAL_FAILURE, "files", "put", "folder", self.user_files)
        self.assertIn("cannot read folder: it is no regular file", result.err)

    def test_folder_that_the_device_lacks(self):
        self.here("a", b"a")
        result = self.expect(DEVICE_REFUSED, "files", "put", "a", self.user_files / "missing")
        self.assertIn("Upload failed", result.err)

    def test_folder_outside_of_the_user_files(self):
        self.here("a", b"a")
        self.expect(DEVICE_REFUSED, "files", "put", "a", "/tmp")

    def test_name_with_a_question_mark_is_not_sent(self):
        self.here("what?", b"a")
        self.expect(USAGE, "files", "put", "what?", self.user_files)
        self.assertEqual(self.proxy.requests(), [])


class Other(ClientTest):
    def test_list(self):
        path = self.on_device("sub/a b.txt", b"12345")
        self.assertRegex(self.expect(DONE, "files", "list").out, r"^ +5  \S+Z  %s\n$" % path)
        record, = self.expect(DONE, "files", "list", "--json").json()["files"]
        self.assertEqual((record["path"], record["size"]), (path, 5))

    def test_no_files(self):
        self.assertEqual(self.expect(DONE, "files", "list").out, "")
        self.assertEqual(self.expect(DONE, "files", "pending", "--json").json(), [])

    def test_pending_leaves_out_what_is_being_written(self):
        old = self.on_device("old", b"1")
        with self.being_written("new", b"1") as new:
            self.assertEqual(
                [r["path"] for r in self.run_client("files", "pending", "--json").json()], [old])
        self.assertEqual([r["path"] for r in
                          self.run_client("files", "pending", "--all", "--json").json()],
                         [new, old])

    def test_stat(self):
        path = self.on_device("a", b"abc")
        digest = hashlib.sha256(b"abc").hexdigest()
        self.assertIn("sha256: " + digest, self.expect(DONE, "files", "stat", path).out)
        self.assertEqual(self.expect(DONE, "files", "stat", path, "--json").json()["sha256"], digest)

    def test_confirm(self):
        path = self.on_device("a", b"abc")
        self.expect(DONE, "files", "confirm", path)
        self.assertEqual(self.pending(), [])

    def test_confirmation_of_a_path_that_the_device_writes_differently_is_checked(self):
        self.on_device("a", b"abc")
        self.proxy.add("answer", request=rb"^PUT", answer=answer({}))
        for asked in ("//a", "/./a", "/../userfiles/a"):
            with self.subTest(asked=asked):
                result = self.expect(TRANSFER_CORRUPT, "files", "confirm",
                                     str(self.user_files) + asked)
                self.assertIn("still pending", result.err)

    def test_confirm_unknown_file(self):
        self.expect(DEVICE_REFUSED, "files", "confirm", self.user_files / "missing")

    def test_confirmation_that_reaches_another_file_is_noticed(self):
        path = self.on_device("f1", b"abc")
        self.on_device("f0", b"abc")
        end = len("PUT /api/syncfiles/v1/userfiles") + len(path) - 1
        self.proxy.add("flip", "up", request=rb"^PUT", at=end)
        self.expect(TRANSFER_CORRUPT, "files", "confirm", path)

    def test_rm(self):
        path = self.on_device("a", b"abc")
        self.expect(DONE, "files", "rm", path)
        self.assertFalse(os.path.exists(path))
        self.expect(DEVICE_REFUSED, "files", "rm", path)

    def test_refused_rm_is_done_only_when_the_device_says_that_the_file_is_gone(self):
        path = self.on_device("a", b"abc")
        refusal = answer({"errorMessage": "Delete failed"})
        busy = (b"HTTP/1.1 408 Request Timeout\r\nContent-Length: 4\r\nConnection: close\r\n\r\n"
                b"busy")
        other = answer({"errorMessage": "Method not allowed"})
        for question in (busy, busy.replace(b"408", b"404"), other):
            with self.subTest(question=question):
                self.proxy.faults.clear()
                deletion = self.proxy.add("answer", request=rb"^DELETE", answer=refusal)
                # The first question passes.
                self.proxy.add("delay", request=rb"metadata", times=1)
                self.proxy.add("answer", request=rb"metadata", answer=question)
                self.expect(DEVICE_REFUSED, "files", "rm", path, "--retries", 0)
                self.assertEqual(deletion.happened, 1)
                self.assertTrue(os.path.exists(path))

    def test_rm_whose_answer_is_lost(self):
        path = self.on_device("a", b"abc")
        self.proxy.add("cut", request=rb"^DELETE", at=0, times=1)
        self.expect(DONE, "files", "rm", path)
        self.assertFalse(os.path.exists(path))

    def test_deletion_that_reaches_another_file_is_noticed(self):
        path = self.on_device("f1", b"abc")
        self.on_device("f0", b"abc")
        end = len("DELETE /api/filemgr/v2/userfiles") + len(path) - 1
        self.proxy.add("flip", "up", request=rb"^DELETE", at=end)
        self.expect(TRANSFER_CORRUPT, "files", "rm", path)
        self.assertTrue(os.path.exists(path))

    def test_relative_paths(self):
        self.on_device("top.txt", b"top")
        self.on_device("sub/deep.txt", b"deep")
        for relative, found in (("top.txt", "top.txt"), ("sub/deep.txt", "sub/deep.txt"),
                                ("./sub//deep.txt", "sub/deep.txt"), ("deep.txt", "sub/deep.txt")):
            with self.subTest(relative=relative):
                result = self.expect(DONE, "files", "stat", relative, "--json").json()
                self.assertEqual(result["path"], str(self.user_files / found))

    def test_relative_path_of_two_files(self):
        self.on_device("a/same", b"1")
        self.on_device("b/same", b"2")
        self.assertIn("a/same or ", self.expect(USAGE, "files", "stat", "same").err)

    def test_missing_file_ends_alike_however_its_path_is_written(self):
        for path in ("missing", self.user_files / "missing", "miss*", self.user_files / "miss*"):
            with self.subTest(path=path):
                self.on_device("there", b"1")
                self.expect(DEVICE_REFUSED, "files", "get", path)

    def test_relative_folder(self):
        self.on_device("sub/other", b"1")
        self.here("f", b"f")
        self.expect(DONE, "files", "put", "f", "sub")
        self.expect(DONE, "files", "put", "f", ".")
        self.assertTrue((self.user_files / "sub" / "f").exists())
        self.assertTrue((self.user_files / "f").exists())


if __name__ == "__main__":
    unittest.main()
