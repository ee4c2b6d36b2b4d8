"""Many files with one command: patterns, folders, standard streams, dry runs, and what is sent."""

import hashlib
import json
import os
import re
import signal
import subprocess
import unittest

from clienttest import (CANNOT_CONNECT, CLIENT, DEVICE_REFUSED, DONE, LOCAL_FAILURE,
                        SEVERAL_PIECES, TRANSFER_CORRUPT, USAGE, ClientTest, content)

UPLOAD = rb"^POST /api/filemgr/v2/userfiles "
DOWNLOAD = rb"^GET /api/filemgr/v2/userfiles/"


class Selection(ClientTest):
    def setUp(self):
        super().setUp()
        for name in ("a.csv", "b.csv", "c.bin", "sub/d.csv"):
            self.on_device(name, name.encode())

    def names(self, records):
        return [os.path.relpath(r["path"], self.user_files) for r in records]

    def test_several_paths_are_fetched(self):
        result = self.expect(DONE, "files", "get", "a.csv", "c.bin", "--json").json()
        self.assertEqual(self.names(result["fetched"]), ["a.csv", "c.bin"])
        self.assertEqual(self.tree("."), {"a.csv": b"a.csv", "c.bin": b"c.bin"})

    def test_pattern_is_one_of_the_folder_of_the_user_files(self):
        self.expect(DONE, "files", "get", "*.csv")
        self.assertEqual(sorted(self.tree(".")), ["a.csv", "b.csv"])

    def test_absolute_pattern(self):
        self.expect(DONE, "files", "get", str(self.user_files) + "/*/*.csv")
        self.assertEqual(sorted(self.tree(".")), ["d.csv"])

    def test_pattern_goes_into_a_folder(self):
        (self.local / "here").mkdir()
        self.expect(DONE, "files", "get", "*", "-o", "here")
        self.assertEqual(sorted(self.tree("here")), ["a.csv", "b.csv", "c.bin"])

    def test_pattern_needs_a_folder_that_is_there(self):
        self.expect(USAGE, "files", "get", "*", "-o", "missing")

    def test_name_that_holds_a_star_means_that_file(self):
        self.on_device("star*", b"star")
        self.on_device("start", b"start")
        self.expect(DONE, "files", "get", "star*")
        self.assertEqual(self.tree("."), {"star*": b"star"})

    def test_second_file_of_the_same_name_is_not_written_over_the_first(self):
        self.on_device("sub/a.csv", b"another")
        result = self.expect(USAGE, "files", "get", "a.csv", "sub/a.csv", "--json").json()
        self.assertEqual(self.names(result["failed"]), ["sub/a.csv"])
        self.assertEqual(self.tree("."), {"a.csv": b"a.csv"})

    def test_file_that_is_missing_does_not_keep_the_others(self):
        missing = str(self.user_files / "missing")
        result = self.expect(DEVICE_REFUSED, "files", "get", "a.csv", missing, "b.csv", "--json")
        self.assertEqual(self.names(result.json()["fetched"]), ["a.csv", "b.csv"])
        self.assertEqual(self.names(result.json()["failed"]), ["missing"])

    def test_name_that_the_device_cannot_be_asked_for_is_listed_as_skipped(self):
        self.on_device("what?", b"1")
        result = self.expect(USAGE, "files", "get", "a.csv", "what*", "--json").json()
        self.assertEqual(self.names(result["fetched"]), ["a.csv"])
        self.assertEqual(self.names(result["skipped"]), ["what?"])

    def test_without_a_connection_nothing_more_is_tried_and_the_rest_is_told(self):
        self.proxy.add("cut", request=rb"metadata.*b.csv", at=0)
        self.proxy.add("answer", request=rb"never", answer=b"")
        result = self.run_client("files", "get", "a.csv", "b.csv", "c.bin", "--json")
        self.assertEqual(self.names(result.json()["fetched"])[0], "a.csv")
        self.assertIn(result.status, (CANNOT_CONNECT, TRANSFER_CORRUPT))

    def test_include_and_exclude(self):
        self.expect(DONE, "files", "get", "*", "--include", "*.csv", "--exclude", "b*")
        self.assertEqual(sorted(self.tree(".")), ["a.csv"])

    def test_dry_run_changes_nothing(self):
        for command in ("get", "rm", "confirm"):
            with self.subTest(command=command):
                result = self.expect(DONE, "files", command, "*.csv", "--dry-run")
                self.assertEqual(result.out.count("would "), 2)
        self.assertEqual(self.tree("."), {})
        self.assertEqual(self.pending(), ["a.csv", "b.csv", "c.bin", "sub/d.csv"])
        self.assertFalse([r for r in self.proxy.requests() if not r.startswith(b"GET")])

    def test_rm_of_a_pattern(self):
        result = self.expect(DONE, "files", "rm", "*.csv", "--json").json()
        self.assertEqual(self.names(result["deleted"]), ["a.csv", "b.csv"])
        self.assertEqual(self.pending(), ["c.bin", "sub/d.csv"])

    def test_confirm_of_a_pattern_asks_once_what_is_left(self):
        result = self.expect(DONE, "files", "confirm", "*.csv", "--json").json()
        self.assertEqual(self.names(result["confirmed"]), ["a.csv", "b.csv"])
        self.assertEqual(self.pending(), ["c.bin", "sub/d.csv"])
        self.assertEqual(len([r for r in self.proxy.requests() if b"pendingfiles" in r]), 1)

    def test_standard_output(self):
        completed = subprocess.run([CLIENT, "--host", self.proxy.host, "files", "get", "a.csv",
                                    "-o", "-"], cwd=self.local, capture_output=True, check=False)
        self.assertEqual((completed.returncode, completed.stdout), (DONE, b"a.csv"))
        self.assertEqual(self.tree("."), {})

    def test_nothing_goes_to_standard_output_before_it_is_verified(self):
        path = self.on_device("large", content(SEVERAL_PIECES))
        self.proxy.add("flip", request=DOWNLOAD, body=True, at=11_000_000)
        result = self.expect(TRANSFER_CORRUPT, "files", "get", path, "-o", "-")
        self.assertEqual(result.out, "")


class Put(ClientTest):
    def fill(self):
        self.here("in/a", b"a")
        self.here("in/sub/b", b"b")
        self.here("in/sub/deep/c", b"c")
        (self.user_files / "sub" / "deep").mkdir(parents=True)

    def posts(self):
        return len([r for r in self.proxy.requests() if r.startswith(b"POST")])

    def on_the_device(self):
        return {str(path.relative_to(self.user_files)): path.read_bytes()
                for path in self.user_files.rglob("*") if path.is_file()}

    def test_folder_with_its_sub_folders(self):
        self.fill()
        result = self.expect(DONE, "files", "put", "-r", "in", self.user_files, "--json").json()
        self.assertEqual(len(result["stored"]), 3)
        self.assertEqual(self.on_the_device(), {"a": b"a", "sub/b": b"b", "sub/deep/c": b"c"})

    def test_what_is_there_already_is_not_sent_again(self):
        self.fill()
        self.on_device("a", b"a")
        self.on_device("sub/b", b"X")
        result = self.expect(DONE, "files", "put", "-r", "in", self.user_files, "--json").json()
        self.assertEqual(self.posts(), 2)
        self.assertEqual([r["file"] for r in result["stored"] if r.get("wasThere")], ["in/a"])
        self.assertEqual(self.on_the_device(), {"a": b"a", "sub/b": b"b", "sub/deep/c": b"c"})

    def test_two_requests_for_each_file(self):
        self.fill()
        self.expect(DONE, "files", "put", "-r", "in", self.user_files)
        self.assertLessEqual(len(self.proxy.requests()), 1 + 2 * 3)

    def test_sub_folder_that_the_device_lacks(self):
        self.here("in/a", b"a")
        self.here("in/lacking/b", b"b")
        result = self.expect(DEVICE_REFUSED, "files", "put", "-r", "in", self.user_files, "--json")
        self.assertEqual([f["file"] for f in result.json()["failed"]], ["in/lacking/b"])
        self.assertEqual(self.on_the_device(), {"a": b"a"})

    def test_another_name(self):
        self.here("f", b"1")
        self.expect(DONE, "files", "put", "--as", "g", "f", self.user_files)
        self.assertEqual(self.on_the_device(), {"g": b"1"})

    def test_another_name_is_for_one_file(self):
        self.here("f", b"1")
        self.here("g", b"1")
        self.expect(USAGE, "files", "put", "--as", "h", "f", "g", self.user_files)

    def test_standard_input(self):
        completed = subprocess.run(
            [CLIENT, "--host", self.proxy.host, "files", "put", "-", "--as", "g", self.user_files],
            cwd=self.local, input=content(SEVERAL_PIECES), capture_output=True, check=False)
        self.assertEqual(completed.returncode, DONE, completed.stderr)
        self.assertEqual(self.on_the_device(), {"g": content(SEVERAL_PIECES)})

    def test_standard_input_needs_a_name(self):
        self.assertIn("--as", self.expect(USAGE, "files", "put", "-", self.user_files).err)

    def test_patterns_of_a_folder(self):
        self.fill()
        self.expect(DONE, "files", "put", "-r", "in", self.user_files, "--exclude", "sub/deep/*")
        self.assertEqual(self.on_the_device(), {"a": b"a", "sub/b": b"b"})

    def test_dry_run_sends_nothing(self):
        self.fill()
        result = self.expect(DONE, "files", "put", "-r", "in", self.user_files, "--dry-run")
        self.assertEqual(result.out.count("would send"), 3)
        self.assertEqual(self.proxy.requests(), [])


class BrokenPut(ClientTest):
    """On a device of their own, which needs a while to forget an upload that broke off."""

    def test_interruption_says_what_the_device_holds(self):
        self.here("f", content(30_000_000))
        held = self.proxy.add("delay", "up", request=UPLOAD, body=True, at=12_000_000, seconds=1)
        command = [CLIENT, "--host", self.proxy.host, "files", "put", "f", str(self.user_files)]
        with subprocess.Popen(command, cwd=self.local, stderr=subprocess.PIPE) as process:
            while held.happened == 0:
                self.assertIsNone(process.poll())
            process.send_signal(signal.SIGINT)
            errors = process.stderr.read().decode()
            self.assertEqual(process.wait(), 128 + signal.SIGINT)
        self.assertRegex(errors, r"the device (holds (\S+ MiB|0 B) of 28\.6 MiB of f|may hold a part"
                                 r" of f|holds nothing of f); run the same command again")

    def test_break_says_what_the_device_holds(self):
        self.here("f", content(30_000_000))
        self.proxy.add("cut", "up", request=UPLOAD, body=True, at=12_000_000)
        result = self.expect(TRANSFER_CORRUPT, "files", "put", "f", self.user_files, "--retries", 0)
        self.assertIn("broke off", result.err)
        self.assertIn("run the same command again", result.err)


class Sync(ClientTest):
    def test_three_requests_for_each_file_of_a_device_whose_lists_lack_digests(self):
        for i in range(10):
            self.on_device("f%d" % i, b"%d" % i)
        self.expect(DONE, "sync", "out")
        self.assertLessEqual(len(self.proxy.requests()), 4 + 3 * 10)

    def test_two_requests_for_each_file_of_a_device_whose_lists_have_digests(self):
        path = self.on_device("f", b"abc")
        record = self.expect(DONE, "files", "stat", path, "--json").json()
        body = json.dumps([record]).encode()
        self.proxy.connections.clear()
        self.proxy.add("answer", request=rb"^GET /api/syncfiles/v1/pendingfiles ",
                       answer=b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\nConnection: close\r\n\r\n%s"
                       % (len(body), body))
        self.expect(DONE, "sync", "out")
        self.assertEqual(len([r for r in self.proxy.requests() if path.encode() in r]), 2)
        self.assertEqual(self.tree("out"), {"f": b"abc"})

    def test_confirmed_files_stay_away_when_the_local_copy_is_gone(self):
        self.on_device("f", b"gone")
        self.expect(DONE, "sync", "out")
        (self.local / "out" / "f").unlink()
        self.expect(DONE, "sync", "out")
        self.assertEqual(self.tree("out"), {})

    def test_everything_fetches_confirmed_files_whose_local_copy_is_gone(self):
        self.on_device("f", b"everything")
        self.on_device("sub/g", b"2")
        self.expect(DONE, "sync", "out")
        (self.local / "out" / "f").unlink()
        self.on_device("new", b"3")
        with self.being_written("being-written", b"4"):
            result = self.expect(DONE, "sync", "--everything", "out")
        self.assertIn("2 fetched", result.out)
        self.assertEqual(self.tree("out"), {"f": b"everything", "sub/g": b"2", "new": b"3"})

    def test_dry_run(self):
        self.on_device("f", b"dry run")
        result = self.expect(DONE, "sync", "--dry-run", "out")
        self.assertEqual(result.out, "would fetch f (7 bytes)\n")
        self.assertEqual((self.tree("."), self.pending()), ({}, ["f"]))
        self.assertFalse((self.local / "out").exists())

    def test_patterns(self):
        for name in ("a.csv", "b.bin", "raw/c.csv"):
            self.on_device(name, b"1")
        self.expect(DONE, "sync", "out", "--include", "*.csv", "--exclude", "raw/*")
        self.assertEqual((sorted(self.tree("out")), self.pending()), (["a.csv"], ["b.bin", "raw/c.csv"]))

    def test_names_that_cannot_be_named_are_listed_as_skipped(self):
        for name in ("what?", "esc\x1b[2J", "good"):
            self.on_device(name, b"1")
        result = self.expect(LOCAL_FAILURE, "sync", "out", "--json").json()
        self.assertEqual(len(result["skipped"]), 2)
        self.assertEqual([os.path.basename(r["path"]) for r in result["synchronised"]], ["good"])
        self.assertEqual(self.tree("out"), {"good": b"1"})

    def test_interruption_tells_what_is_done(self):
        self.on_device("a", b"1")
        self.on_device("b", content(SEVERAL_PIECES))
        held = self.proxy.add("delay", request=DOWNLOAD + rb".*b ", body=True, at=7_000_000,
                              seconds=20)
        command = [CLIENT, "--host", self.proxy.host, "sync", "out", "--json"]
        with subprocess.Popen(command, cwd=self.local, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE) as process:
            while held.happened == 0:
                self.assertIsNone(process.poll())
            process.send_signal(signal.SIGINT)
            out, errors = process.communicate()
        self.assertEqual(process.returncode, 128 + signal.SIGINT)
        self.assertIn(b"1 files are done", errors)
        self.assertEqual(len(json.loads(out)["synchronised"]), 1)


class Retries(ClientTest):
    def test_download_that_breaks_off_is_fetched_again(self):
        path = self.on_device("f", content(SEVERAL_PIECES))
        fault = self.proxy.add("cut", request=DOWNLOAD, body=True, at=7_000_000, times=1)
        result = self.expect(DONE, "files", "get", path)
        self.assertEqual(fault.happened, 1)
        self.assertIn("broke off", result.err)
        self.assertEqual(hashlib.sha256((self.local / "f").read_bytes()).digest(),
                         hashlib.sha256(content(SEVERAL_PIECES)).digest())

    def test_break_that_lasts_ends_with_the_last_reason(self):
        path = self.on_device("f", content(SEVERAL_PIECES))
        self.proxy.add("cut", request=DOWNLOAD, body=True, at=7_000_000)
        result = self.expect(TRANSFER_CORRUPT, "files", "get", path, "--retries", 1)
        self.assertEqual(len(re.findall("trying again", result.err)), 1)
        self.assertEqual(self.tree("."), {})


if __name__ == "__main__":
    unittest.main()
