"""The hosts of the examples keep the interface, and their uploads stay where they belong."""

import json
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import tempfile
import unittest
import urllib.request
from urllib.parse import quote

from checksupport import check, failures
from clienttest import CLIENT, DONE

FILES = "/api/filemgr/v2/userfiles"


class Host:
    """A host with one work order, which is active, and one file."""

    def __init__(self, program, *options, environment=None):
        self.command = [program, *options]
        self.environment = {**os.environ, **(environment or {})}
        self.folder = pathlib.Path(tempfile.mkdtemp(dir=os.getcwd())).resolve()
        self.device = self.folder / "device"
        self.device.mkdir()
        self.files = self.device / "files"
        self.start()
        (self.files / "readme.txt").write_text("content")
        (self.folder / "order.json").write_text('{"workOrderId": "WO-1"}')
        self.client("workorders", "put", "order.json")
        self.client("workorders", "active", "WO-1")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        status = self.stop(signal.SIGTERM)
        shutil.rmtree(self.folder)
        if status != 0:
            raise AssertionError("the host left with status %d" % status)

    def start(self):
        program, *options = self.command
        self.process = subprocess.Popen([program, str(self.device), *options], cwd=self.folder,
                                        env=self.environment, stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL)
        if b"listening" not in self.process.stdout.readline():
            raise RuntimeError("the host does not start")

    def stop(self, number):
        self.process.send_signal(number)
        status = self.process.wait(timeout=30)
        self.process.stdout.close()
        return status

    def client(self, *arguments):
        subprocess.run([CLIENT, *arguments], cwd=self.folder, check=True, capture_output=True)

    def ask(self, route, body=None, content_type="application/json"):
        request = urllib.request.Request("http://127.0.0.1:8081" + route, body,
                                         {"Content-Type": content_type})
        with urllib.request.urlopen(request, timeout=30) as answer:
            return json.loads(answer.read())

    def upload(self, path, content=b"content"):
        description = json.dumps({"fileUri": str(path), "fileSize": len(content)}).encode()
        parts = b"".join(b"--b\r\n\r\n" + part + b"\r\n" for part in (description, content))
        return self.ask(FILES, parts + b"--b--\r\n", "multipart/form-data; boundary=b")


REFUSED = {"errorMessage": "Upload failed"}


class HostTest:
    """What every host of the examples does."""

    command = ()

    def host(self):
        return Host(*self.command)

    def test_keeps_the_interface(self):
        with self.host():
            status, report = check("--write")
        self.assertEqual((failures(report), status), ({}, DONE))
        self.assertEqual(report["counts"]["WARN"], 0)

    def test_takes_an_upload_where_it_belongs(self):
        with self.host() as host:
            self.assertEqual(host.upload(host.files / "new"), {})
            self.assertEqual((host.files / "new").read_bytes(), b"content")

    def test_takes_no_upload_beside_the_user_files(self):
        with self.host() as host:
            (host.device / "device.db").write_text("own data")
            for target in ("/../device.db", "/../templates/a.json", "/../../outside", "2"):
                with self.subTest(target=target):
                    self.assertEqual(host.upload(str(host.files) + target), REFUSED)
            self.assertEqual((host.device / "device.db").read_text(), "own data")
            self.assertEqual(list((host.device / "templates").iterdir()), [])
            self.assertFalse((host.folder / "outside").exists())

    def test_takes_no_upload_through_a_link(self):
        with self.host() as host:
            (host.device / "device.db").write_text("own data")
            (host.files / "link").symlink_to(host.device / "device.db")
            self.assertEqual(host.upload(host.files / "link"), REFUSED)
            self.assertEqual((host.device / "device.db").read_text(), "own data")

    def test_writes_nothing_to_its_own_output(self):
        with self.host() as host:
            up = "/.." * str(host.files).count("/")
            self.assertEqual(host.upload(str(host.files) + up + "/proc/self/fd/1"), REFUSED)

    def test_reads_no_large_file_whole(self):
        with self.host() as host:
            with open(host.files / "large", "wb") as file:
                file.truncate(3_000_000_000)
            answer = host.ask("/api/syncfiles/v1/userfiles" + quote(str(host.files / "large")))
        self.assertEqual(answer, {"errorMessage": "File not found"})


class MinimalHost(HostTest, unittest.TestCase):
    command = (os.environ["MINIMAL_HOST"],)


class SqliteHost(HostTest, unittest.TestCase):
    command = (os.environ["SQLITE_HOST"],)

    def test_keeps_what_it_was_told_when_it_is_killed(self):
        with self.host() as host:
            host.ask("/api/v1/techinfo", b'{"techId": "A_1"}')
            host.client("files", "confirm", str(host.files / "readme.txt"))
            host.stop(signal.SIGKILL)
            host.start()
            self.assertEqual(host.ask("/api/workflow/v1/active"), {"activeWorkOrderId": "WO-1"})
            self.assertEqual(host.ask("/api/workflow/v1/list")["workOrderIds"], ["WO-1"])
            self.assertEqual(host.ask("/api/syncfiles/v1/pendingfiles/all"), [])
            self.assertEqual(host.ask("/info")["assetInfo"]["techId"], "A_1")


    def test_tells_the_service_manager_that_its_loop_turns(self):
        """The test takes the manager's place."""
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as manager:
            manager.bind("\0parlowen-hosts-%d" % os.getpid())
            manager.settimeout(60)
            told = {"NOTIFY_SOCKET": "@parlowen-hosts-%d" % os.getpid(), "WATCHDOG_USEC": "100000"}
            with Host(*self.command, environment=told):
                words = [manager.recv(100) for _ in range(4)]
            self.assertEqual(words, [b"READY=1"] + [b"WATCHDOG=1"] * 3)
            while (word := manager.recv(100)) == b"WATCHDOG=1":
                pass
            self.assertEqual(word, b"STOPPING=1")


class SqliteHostInOneThread(HostTest, unittest.TestCase):
    command = (os.environ["SQLITE_HOST"], "--one-thread")


if __name__ == "__main__":
    unittest.main()
