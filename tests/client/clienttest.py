"""A simulator, a client and a working folder for each test program."""

import contextlib
import hashlib
import json
import os
import pathlib
import shutil
import subprocess
import tempfile
import threading
import time
import unittest
import urllib.parse
import urllib.request

from faultproxy import FaultProxy

CLIENT = os.environ["PARLOWENCTL"]
SIMULATOR = os.environ["PARLOWEN_DEVICE"]

DONE = 0
LOCAL_FAILURE = 1
USAGE = 2
CANNOT_CONNECT = 3
DEVICE_REFUSED = 4
TRANSFER_CORRUPT = 5

# Longer than one piece of the device, so that it is streamed in more than one.
SEVERAL_PIECES = 12_000_000


def content(size, seed=0):
    """Bytes that look random and are the same in every run."""
    return hashlib.shake_128(b"%d" % seed).digest(size)


class Result:
    def __init__(self, completed):
        self.status = completed.returncode
        self.out = completed.stdout.decode()
        self.err = completed.stderr.decode()

    def json(self):
        return json.loads(self.out)

    def __repr__(self):
        return "status %d\n%s\n%s" % (self.status, self.out, self.err)


class ClientTest(unittest.TestCase):
    """Each class has one device; each test finds it without user files."""

    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="client", dir=os.getcwd()))
        cls.data = cls.folder / "device"
        cls.simulator = subprocess.Popen(
            [SIMULATOR, "--data", str(cls.data)], cwd=cls.folder, stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL)
        line = cls.simulator.stdout.readline()
        if b"listening" not in line:
            raise RuntimeError("the simulator does not start")
        cls.user_files = cls.data / "storage" / "userfiles"

    @classmethod
    def tearDownClass(cls):
        cls.simulator.terminate()
        cls.simulator.wait()
        cls.simulator.stdout.close()
        shutil.rmtree(cls.folder)

    def setUp(self):
        self.proxy = FaultProxy()
        self.local = pathlib.Path(tempfile.mkdtemp(prefix="local", dir=self.folder))
        self.delete_user_files()

    def delete_user_files(self):
        """Through the device where it lists them, so that it forgets what was confirmed."""
        for path in json.loads(self.ask("GET", "/api/filemgr/v2/userfiles"))["files"]:
            self.ask("DELETE", "/api/filemgr/v2/userfiles" + urllib.parse.quote(path["path"]))
        for entry in self.user_files.iterdir():
            shutil.rmtree(entry) if entry.is_dir() else entry.unlink()

    @staticmethod
    def ask(method, path):
        request = urllib.request.Request("http://127.0.0.1:8081" + path, method=method)
        with urllib.request.urlopen(request, timeout=60) as answer:
            return answer.read()

    def tearDown(self):
        self.proxy.close()
        shutil.rmtree(self.local)

    def run_client(self, *arguments, host=None, environment=None, timeout=60):
        """Runs the client through the proxy in the local folder."""
        command = [CLIENT, "--host", host or self.proxy.host, *map(str, arguments)]
        completed = subprocess.run(
            command, cwd=self.local, capture_output=True, timeout=timeout, check=False,
            env={**os.environ, **(environment or {})})
        return Result(completed)

    def expect(self, status, *arguments, **named):
        result = self.run_client(*arguments, **named)
        self.assertEqual(result.status, status, result)
        return result

    def on_device(self, name, data, age=10):
        """Puts a file on the device that was last changed `age` seconds ago; returns its path."""
        path = self.user_files / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(data)
        changed = path.stat().st_mtime - age
        os.utime(path, (changed, changed))
        return str(path)

    @contextlib.contextmanager
    def being_written(self, name, data):
        """Puts a file on the device that changes all the time, however long that is; yields its path."""
        path = self.on_device(name, data, age=0)
        ended = threading.Event()

        def change():
            while not ended.wait(0.1):
                os.utime(path)
        writer = threading.Thread(target=change)
        writer.start()
        try:
            yield path
        finally:
            ended.set()
            writer.join()

    def here(self, name, data):
        path = self.local / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(data)
        return path

    def stop_when(self, held, number, *arguments, release=True):
        """Runs the client, sends it a signal while a delay holds it, and returns its status.

        What is held passes on afterwards, unless `release` is false."""
        before = held.happened
        command = [CLIENT, "--host", self.proxy.host, *map(str, arguments)]
        with subprocess.Popen(command, cwd=self.local, stdout=subprocess.DEVNULL) as process:
            while held.happened == before:
                self.assertIsNone(process.poll(), "the delay did not happen")
                time.sleep(0.001)
            process.send_signal(number)
            status = process.wait()
        if release:
            held.release.set()
        return status

    def pending(self):
        """The names of the files that the device has as pending, those just written included."""
        records = self.expect(DONE, "files", "pending", "--all", "--json",
                              host="127.0.0.1:8081").json()
        return sorted(os.path.relpath(record["path"], self.user_files) for record in records)

    def tree(self, folder):
        """The files below a folder with their content, hidden ones too."""
        folder = self.local / folder
        return {str(path.relative_to(folder)): path.read_bytes()
                for path in folder.rglob("*") if path.is_file()}
