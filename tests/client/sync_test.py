"""Synchronisation: complete, verified, resumable, and never out of its folder."""

import hashlib
import json
import os
import signal
import subprocess
import time
import unittest

from clienttest import (CLIENT, DONE, LOCAL_FAILURE, SEVERAL_PIECES, SIMULATOR, TRANSFER_CORRUPT,
                        ClientTest, content)
from faultproxy import FaultProxy

FILES = {
    "readme.txt": b"read me\n",
    "empty.bin": b"",
    "error.json": b'{"errorMessage": "File not found"}',
    "jobs/ä ö.csv": b"1;2\n",
    "jobs/deep/er/large.bin": content(SEVERAL_PIECES),
    "jobs/small.bin": content(1000),
}
DOWNLOAD = rb"^GET /api/filemgr/v2/userfiles/"
CONFIRMATION = rb"^PUT "
UPLOAD = rb"^POST "


def answer(document):
    body = json.dumps(document).encode()
    return (b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\nConnection: close\r\n\r\n%s"
            % (len(body), body))


class LoggingDevice:
    """A simulator of its own that tells when it is done with a request."""

    def __init__(self, folder):
        self.user_files = folder / "storage" / "userfiles"
        self.process = subprocess.Popen(
            [SIMULATOR, "--data", str(folder), "--port", "0", "--empty", "--log-requests=json"],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.port = int(self.process.stdout.readline().rsplit(b":", 1)[1])

    def __enter__(self):
        return self

    def __exit__(self, *exception):
        self.process.terminate()
        self.process.communicate()

    def await_request(self, method):
        while json.loads(self.process.stdout.readline())["method"] != method:
            pass


class Sync(ClientTest):
    def fill(self):
        for name, data in FILES.items():
            self.on_device(name, data)

    def test_fetches_verifies_and_confirms_every_pending_file(self):
        self.fill()
        result = self.expect(DONE, "sync", "out")
        self.assertIn("6 fetched, verified and confirmed, 0 failed", result.out)
        self.assertEqual(self.tree("out"), FILES)
        self.assertEqual(self.pending(), [])

    def test_second_run_has_nothing_to_do(self):
        self.fill()
        self.expect(DONE, "sync", "out")
        self.proxy.connections.clear()
        self.assertEqual(self.expect(DONE, "sync", "out").out, "nothing to do\n")
        self.assertTrue(all(b"pendingfiles" in line for line in self.proxy.requests()))
        self.assertEqual(self.tree("out"), FILES)

    def test_result_as_json(self):
        path = self.on_device("json", b"json")
        result = self.expect(DONE, "sync", "out", "--json").json()
        self.assertEqual([r["path"] for r in result["synchronised"]], [path])
        self.assertEqual(result["failed"], [])

    def test_file_that_is_being_written_is_left_for_the_next_run(self):
        with self.being_written("new", b"1"):
            result = self.expect(DONE, "sync", "out")
            self.assertIn("left for the next run", result.err)
            self.assertEqual((self.tree("out"), self.pending()), ({}, ["new"]))
        self.expect(DONE, "sync", "--recent", "out")
        self.assertEqual((self.tree("out"), self.pending()), ({"new": b"1"}, []))

    def test_changed_file_is_fetched_again(self):
        self.on_device("f", b"first")
        self.expect(DONE, "sync", "out")
        self.on_device("f", b"second")
        self.expect(DONE, "sync", "out")
        self.assertEqual(self.tree("out"), {"f": b"second"})

    def killed_when(self, number, release=True, **fault):
        """Runs a synchronisation and ends it at the moment when the fault happens."""
        held = self.proxy.add("delay", times=1, seconds=20, **fault)
        self.stop_when(held, number, "sync", "out", release=release)

    def test_killed_in_a_download_and_run_again(self):
        self.fill()
        self.killed_when(signal.SIGKILL, request=DOWNLOAD + rb".*large", body=True, at=7_000_000)
        self.assertIn("jobs/deep/er/large.bin", self.pending())
        self.assertNotIn("jobs/deep/er/large.bin", self.tree("out"))
        self.expect(DONE, "sync", "out")
        self.assertEqual((self.tree("out"), self.pending()), (FILES, []))

    def test_killed_before_a_confirmation_does_not_fetch_again(self):
        self.on_device("f", b"killed")
        self.killed_when(signal.SIGKILL, release=False, direction="up", request=CONFIRMATION, at=0)
        self.assertEqual(self.pending(), ["f"])
        self.proxy.connections.clear()
        self.expect(DONE, "sync", "out")
        self.assertFalse([r for r in self.proxy.requests() if b"GET /api/filemgr/v2/userfiles/" in r])
        self.assertEqual((self.tree("out"), self.pending()), ({"f": b"killed"}, []))

    def test_interrupted_leaves_no_part(self):
        self.fill()
        self.killed_when(signal.SIGINT, request=DOWNLOAD + rb".*large", body=True, at=7_000_000)
        self.assertNotIn(".parlowenctl.part", self.tree("out"))

    def test_upload_that_broke_off_is_not_fetched_as_a_file(self):
        self.here("f.bin", content(SEVERAL_PIECES))
        with LoggingDevice(self.local / "device") as device:
            proxy = FaultProxy(("127.0.0.1", device.port))
            for at in (400, 1_000_000, 7_000_000):
                with self.subTest(at=at):
                    proxy.faults.clear()
                    proxy.add("cut", "up", request=UPLOAD, body=True, at=at)
                    self.expect(TRANSFER_CORRUPT, "files", "put", "f.bin", device.user_files,
                                "--retries", 0, host=proxy.host)
                    device.await_request("POST")
                    self.expect(DONE, "sync", "out", "--recent", host=proxy.host)
                    self.assertEqual(list(self.tree("out")), [])
            proxy.close()

    def test_corrupted_download_is_not_confirmed(self):
        for at in (0, 3, 500):
            with self.subTest(at=at):
                self.on_device("f", content(1000, seed=at))
                self.proxy.faults.clear()
                self.proxy.add("flip", request=DOWNLOAD, body=True, at=at)
                self.expect(TRANSFER_CORRUPT, "sync", "out")
                self.assertEqual((self.tree("out"), self.pending()), ({}, ["f"]))

    def test_cut_download_is_not_confirmed(self):
        for at in (0, 10, 7_000_000):
            with self.subTest(at=at):
                self.on_device("f", content(SEVERAL_PIECES, seed=at))
                self.proxy.faults.clear()
                self.proxy.add("cut", request=DOWNLOAD, body=True, at=at)
                self.expect(TRANSFER_CORRUPT, "sync", "out", "--retries", 1)
                self.assertEqual((self.tree("out"), self.pending()), ({}, ["f"]))

    def test_file_that_fails_does_not_keep_the_others(self):
        self.fill()
        self.proxy.add("cut", request=DOWNLOAD + rb".*small", body=True, at=10)
        result = self.expect(TRANSFER_CORRUPT, "sync", "out", "--json", "--retries",
                             1).json()
        self.assertEqual([os.path.basename(f["path"]) for f in result["failed"]], ["small.bin"])
        self.assertEqual(self.pending(), ["jobs/small.bin"])
        self.proxy.faults.clear()
        self.expect(DONE, "sync", "out")
        self.assertEqual((self.tree("out"), self.pending()), (FILES, []))

    def test_lost_confirmation_is_an_error_and_the_next_run_confirms(self):
        self.on_device("f", b"lost")
        self.proxy.add("cut", "up", request=CONFIRMATION, at=0)
        self.expect(TRANSFER_CORRUPT, "sync", "out")
        self.assertEqual(self.pending(), ["f"])
        self.proxy.faults.clear()
        self.expect(DONE, "sync", "out")
        self.assertEqual(self.pending(), [])

    def test_confirmation_that_reaches_another_file_is_noticed(self):
        path = self.on_device("f1", b"one")
        with self.being_written("f0", b"zero"):
            self.proxy.add("flip", "up", request=CONFIRMATION,
                           at=len("PUT /api/syncfiles/v1/userfiles") + len(path) - 1)
            result = self.expect(TRANSFER_CORRUPT, "sync", "out")
            self.assertIn("f1: still pending after its confirmation", result.err)
            self.assertIn("0 fetched, verified and confirmed, 1 failed", result.out)
            self.assertNotIn("bytes, verified and confirmed", result.out)
            self.proxy.faults.clear()
            result = self.expect(DONE, "sync", "out", "--json").json()
        self.assertEqual([r["path"] for r in result["synchronised"]], [path])

    def test_question_that_reaches_another_file_confirms_nothing(self):
        path = self.on_device("f1", b"one")
        for times in (1, 2, 3, None):
            with self.subTest(times=times), self.being_written("f0", b"zero"):
                self.proxy.faults.clear()
                self.proxy.add("flip", "up", request=rb"metadata.*f1", times=times,
                               at=len("GET /api/syncfiles/v1/metadata") + len(path) - 1)
                self.expect(TRANSFER_CORRUPT, "sync", "out")
                self.assertNotIn(b"zero", self.tree("out").values())
                self.assertIn("f0", self.pending())
                self.on_device("f1", b"one more %d" % (times or 0))

    def test_device_that_does_not_tell_what_is_left(self):
        path = self.on_device("f", b"1")
        self.proxy.add("cut", request=rb"pendingfiles/all", at=0)
        result = self.expect(TRANSFER_CORRUPT, "sync", "out", "--json")
        self.assertIn("1 files are not known to be confirmed", result.err)
        self.assertEqual(result.json()["synchronised"], [])
        self.assertEqual([f["path"] for f in result.json()["failed"]], [path])
        self.assertIn("broke off", self.expect(TRANSFER_CORRUPT, "sync", "out", "--json")
                      .json()["error"])

    def test_file_that_changes_after_its_download_is_not_confirmed_unseen(self):
        path = self.on_device("f", b"first")
        held = self.proxy.add("delay", "up", request=CONFIRMATION, times=1, seconds=1)
        with subprocess.Popen([CLIENT, "--host", self.proxy.host, "sync", "out"], cwd=self.local,
                              stdout=subprocess.DEVNULL) as process:
            while held.happened == 0:
                time.sleep(0.001)
            self.on_device("f", b"second")
            self.assertEqual(process.wait(), DONE)
        self.assertEqual((self.tree("out"), self.pending()), ({"f": b"second"}, []))
        self.assertEqual(len([r for r in self.proxy.requests() if path.encode() in r
                              and b"filemgr" in r]), 2)

    def test_local_file_that_differs_is_replaced(self):
        self.on_device("f", b"device")
        self.here("out/f", b"local!")
        self.expect(DONE, "sync", "out")
        self.assertEqual(self.tree("out"), {"f": b"device"})

    def test_root_is_chosen(self):
        self.on_device("jobs/f", b"1")
        self.expect(DONE, "sync", "--root", self.user_files / "jobs", "out")
        self.assertEqual(self.tree("out"), {"f": b"1"})

    def test_files_outside_of_the_root_stay_pending(self):
        self.on_device("jobs/f", b"1")
        self.on_device("jobs2/g", b"2")
        self.on_device("h", b"3")
        with self.being_written("new", b"3"):
            result = self.expect(DONE, "sync", "--root", "jobs", "out")
        self.assertIn("1 fetched, verified and confirmed, 0 failed", result.out)
        self.assertIn("2 pending files are not below %s/jobs" % self.user_files, result.err)
        self.assertNotIn("next run", result.err)
        self.assertEqual((self.tree("out"), self.pending()), ({"f": b"1"}, ["h", "jobs2/g", "new"]))
        self.assertIn("nothing to do", self.expect(DONE, "sync", "--root", "jobs", "out").out)

    def test_files_outside_of_the_root_that_are_being_written_are_not_told(self):
        with self.being_written("jobs/f", b"1"), self.being_written("new", b"2"):
            result = self.expect(DONE, "sync", "--root", "jobs", "out")
        self.assertIn("1 changed just now", result.err)

    def test_root_that_the_device_writes_differently(self):
        for root in ("//jobs", "/jobs/", "/jobs/.", "/jobs/../jobs"):
            with self.subTest(root=root):
                self.on_device("jobs/f", root.encode())
                self.expect(DONE, "sync", "--root", str(self.user_files) + root, "out")
                self.assertEqual(self.tree("out"), {"f": root.encode()})

    def test_second_synchronisation_of_a_folder_is_kept_out(self):
        self.on_device("f", b"locked")
        held = self.proxy.add("delay", request=DOWNLOAD, times=1, seconds=20)
        with subprocess.Popen([CLIENT, "--host", self.proxy.host, "sync", "out"], cwd=self.local,
                              stdout=subprocess.DEVNULL) as process:
            while held.happened == 0:
                time.sleep(0.001)
            self.assertIn("another synchronisation", self.expect(LOCAL_FAILURE, "sync", "out").err)
            held.release.set()
            self.assertEqual(process.wait(), DONE)


class Escapes(ClientTest):
    """What a device that means ill could name, answered in its place."""

    def sync(self, path, status=LOCAL_FAILURE):
        digest = hashlib.sha256(b"").hexdigest()
        record = {"path": path, "size": 0, "modifiedTime": "2026-01-01T00:00:00Z"}
        self.proxy.faults.clear()
        self.proxy.add("answer", request=rb"^GET /api/syncfiles/v1/pendingfiles ",
                       answer=answer([record]))
        self.proxy.add("answer", request=rb"^GET /api/filemgr/v2/userfiles ",
                       answer=answer({"files": [record, {**record, "path": "/u/userfiles/x"}]}))
        self.proxy.add("answer", request=rb"metadata", answer=answer({**record, "sha256": digest}))
        before = self.tree(".")
        self.expect(status, "sync", "inner/out")
        after = self.tree(".")
        self.assertEqual(before, {name: data for name, data in after.items()
                                  if not name.startswith("inner/out/")})
        self.assertFalse([r for r in self.proxy.requests() if r.startswith(b"PUT")])

    def test_paths_with_dots(self):
        for path in ("/u/userfiles/../escaped", "/u/userfiles/a/../../../escaped",
                     "/u/userfiles/.", "/u/userfiles/a/./b"):
            with self.subTest(path=path):
                self.sync(path)

    def test_paths_with_empty_names(self):
        for path in ("/u/userfiles//etc/passwd", "/u/userfiles/a/"):
            with self.subTest(path=path):
                self.sync(path)

    def test_names_that_the_client_uses_itself(self):
        for path in ("/u/userfiles/.parlowenctl.part", "/u/userfiles/.parlowenctl.lock"):
            with self.subTest(path=path):
                self.sync(path)

    def test_symbolic_link_in_the_folder(self):
        (self.local / "inner" / "out").mkdir(parents=True)
        (self.local / "elsewhere").mkdir()
        (self.local / "inner" / "out" / "link").symlink_to(self.local / "elsewhere")
        self.sync("/u/userfiles/link/escaped")

    def test_symbolic_link_in_place_of_the_file_is_replaced(self):
        path = self.on_device("f", b"device")
        self.here("precious", b"precious")
        (self.local / "out").mkdir()
        (self.local / "out" / "f").symlink_to(self.local / "precious")
        self.expect(DONE, "sync", "--root", os.path.dirname(path), "out")
        self.assertEqual((self.local / "precious").read_bytes(), b"precious")
        self.assertEqual(self.tree("out"), {"f": b"device"})

    def test_fifo_in_place_of_the_file(self):
        (self.local / "inner" / "out").mkdir(parents=True)
        os.mkfifo(self.local / "inner" / "out" / "f")
        self.sync("/u/userfiles/f")

    def test_folder_in_place_of_the_file(self):
        (self.local / "inner" / "out" / "f").mkdir(parents=True)
        self.sync("/u/userfiles/f")


if __name__ == "__main__":
    unittest.main()
