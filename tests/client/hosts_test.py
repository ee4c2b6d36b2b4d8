"""The hosts of the examples keep the interface, and their uploads stay where they belong."""

import json
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import unittest
import urllib.request
from urllib.parse import quote

from checksupport import check, failures
from clienttest import CLIENT, DONE

HOST = os.environ["MINIMAL_HOST"]
FILES = "/api/filemgr/v2/userfiles"


class Host:
    """A host with one work order, which is active, and one file."""

    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(dir=os.getcwd())).resolve()
        self.device = self.folder / "device"
        self.device.mkdir()
        self.files = self.device / "files"
        self.process = subprocess.Popen([HOST, str(self.device)], cwd=self.folder,
                                        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        if b"listening" not in self.process.stdout.readline():
            raise RuntimeError("the host does not start")
        (self.files / "readme.txt").write_text("content")
        (self.folder / "order.json").write_text('{"workOrderId": "WO-1"}')
        self.client("workorders", "put", "order.json")
        self.client("workorders", "active", "WO-1")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.send_signal(signal.SIGTERM)
        status = self.process.wait(timeout=30)
        self.process.stdout.close()
        shutil.rmtree(self.folder)
        if status != 0:
            raise AssertionError("the host left with status %d" % status)

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


class MinimalHost(unittest.TestCase):
    def test_keeps_the_interface(self):
        with Host():
            status, report = check("--write")
        self.assertEqual((failures(report), status), ({}, DONE))
        self.assertEqual(report["counts"]["WARN"], 0)

    def test_takes_an_upload_where_it_belongs(self):
        with Host() as host:
            self.assertEqual(host.upload(host.files / "new"), {})
            self.assertEqual((host.files / "new").read_bytes(), b"content")

    def test_takes_no_upload_beside_the_user_files(self):
        with Host() as host:
            (host.device / "device.db").write_text("own data")
            for target in ("/../device.db", "/../templates/a.json", "/../../outside", "2"):
                with self.subTest(target=target):
                    self.assertEqual(host.upload(str(host.files) + target), REFUSED)
            self.assertEqual((host.device / "device.db").read_text(), "own data")
            self.assertEqual(list((host.device / "templates").iterdir()), [])
            self.assertFalse((host.folder / "outside").exists())

    def test_takes_no_upload_through_a_link(self):
        with Host() as host:
            (host.device / "device.db").write_text("own data")
            (host.files / "link").symlink_to(host.device / "device.db")
            self.assertEqual(host.upload(host.files / "link"), REFUSED)
            self.assertEqual((host.device / "device.db").read_text(), "own data")

    def test_writes_nothing_to_its_own_output(self):
        with Host() as host:
            up = "/.." * str(host.files).count("/")
            self.assertEqual(host.upload(str(host.files) + up + "/proc/self/fd/1"), REFUSED)

    def test_reads_no_large_file_whole(self):
        with Host() as host:
            with open(host.files / "large", "wb") as file:
                file.truncate(3_000_000_000)
            answer = host.ask("/api/syncfiles/v1/userfiles" + quote(str(host.files / "large")))
        self.assertEqual(answer, {"errorMessage": "File not found"})


if __name__ == "__main__":
    unittest.main()
