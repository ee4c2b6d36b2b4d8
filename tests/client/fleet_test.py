"""Named devices, and the synchronisation of twenty of them at once."""

import ctypes
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import tempfile
import threading
import time
import unittest

from clienttest import (CANNOT_CONNECT, CLIENT, DONE, LOCAL_FAILURE, SIMULATOR, TRANSFER_CORRUPT,
                        USAGE, Result, content)

CLONE_NEWNET = 0x40000000
LIBC = ctypes.CDLL(None, use_errno=True)


class Instrument:
    """A simulator in a network of its own, and a port of this one that leads to it."""

    def __init__(self, folder, files):
        self.folder = folder
        self.slow = 0.0
        self.lies = False
        self.process = subprocess.Popen(
            ["unshare", "--net", "sh", "-c", 'ip link set lo up; exec "$@"', "sh", SIMULATOR,
             "--data", str(folder)], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        assert b"listening" in self.process.stdout.readline()
        user_files = folder / "storage/userfiles"
        shutil.rmtree(user_files)
        for name, data in files.items():
            path = user_files / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(data)
            os.utime(path, (time.time() - 60,) * 2)
        self.listener = socket.create_server(("127.0.0.1", 0), backlog=64)
        self.host = "127.0.0.1:%d" % self.listener.getsockname()[1]
        threading.Thread(target=self._accept, daemon=True).start()

    def close(self):
        self.listener.close()
        self.process.terminate()
        self.process.wait()
        self.process.stdout.close()

    def _accept(self):
        while True:
            try:
                client, _ = self.listener.accept()
            except OSError:
                return
            threading.Thread(target=self._serve, args=(client,), daemon=True).start()

    def _serve(self, client):
        # The network is that of the thread, and the socket keeps it.
        with open("/proc/%d/ns/net" % self.process.pid, "rb") as network:
            LIBC.setns(network.fileno(), CLONE_NEWNET)
        with client, socket.create_connection(("127.0.0.1", 8081)) as device:
            time.sleep(self.slow)
            request = client.recv(1 << 16)
            device.sendall(request)
            while data := device.recv(1 << 16):
                if self.lies and b"metadata" in request:
                    data = data.replace(b'"sha256": "', b'"sha256": "0')[:-len(b'"\n}\n')] + b'"\n}\n'
                client.sendall(data)


def files_of(number):
    return {"f%d.bin" % i: content(5000, seed=100 * number + i) for i in range(5)}


class Fleet(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="fleet", dir=os.getcwd()))
        self.book = self.folder / "devices.toml"
        self.instruments = {}

    def tearDown(self):
        for instrument in self.instruments.values():
            instrument.close()
        shutil.rmtree(self.folder)

    def start(self, *numbers):
        for number in numbers:
            name = "lab-%02d" % number
            self.instruments[name] = Instrument(self.folder / name, files_of(number))

    def write_book(self, **more):
        hosts = {name: i.host for name, i in self.instruments.items()}
        self.book.write_text("".join('["%s"]\nhost = "%s"\n' % item
                                     for item in {**hosts, **more}.items()))

    def run_client(self, *arguments):
        completed = subprocess.run(
            [CLIENT, *arguments], cwd=self.folder, capture_output=True, check=False, timeout=300,
            env={**os.environ, "PARLOWEN_DEVICES": str(self.book)})
        return Result(completed)

    def collected(self, name):
        return {path.name: path.read_bytes() for path in (self.folder / "out" / name).glob("f*")}

    def test_twenty_devices_two_dead_one_slow_one_that_lies(self):
        self.start(*range(18))
        self.instruments["lab-03"].slow = 0.3
        self.instruments["lab-07"].lies = True
        self.write_book(**{"lab-18": "127.0.0.1:9", "lab-19": "127.0.0.1:9"})
        result = self.run_client("sync", "--all", "out", "--retries", "0")
        self.assertEqual(result.status, TRANSFER_CORRUPT, result)
        whole = [number for number in range(18)
                 if self.collected("lab-%02d" % number) == files_of(number)]
        self.assertEqual(whole, [number for number in range(18) if number != 7])
        self.assertRegex(result.out, r"(?m)^lab-03 +5 +0 +0$")
        self.assertRegex(result.out, r"(?m)^lab-07 +0 +5 +5  \S+")
        for dead in ("lab-18", "lab-19"):
            self.assertRegex(result.out, r"(?m)^%s +0 +0 +3  cannot connect to" % dead)

    def test_result_as_json(self):
        self.start(0)
        self.write_book(**{"lab-18": "127.0.0.1:9"})
        result = self.run_client("sync", "--all", "--json", "out")
        self.assertEqual(result.status, CANNOT_CONNECT)
        self.assertEqual([(d["device"], d["exitStatus"]) for d in result.json()["devices"]],
                         [("lab-00", DONE), ("lab-18", CANNOT_CONNECT)])

    def test_options_count_for_each(self):
        self.start(0, 1)
        self.write_book()
        result = self.run_client("sync", "--include", "f1*", "--all", "out", "--at-once", "1")
        self.assertEqual(result.status, DONE, result)
        for number in (0, 1):
            self.assertEqual(list(self.collected("lab-%02d" % number)), ["f1.bin"])

    def test_signal_reaches_all(self):
        self.start(0, 1)
        for instrument in self.instruments.values():
            instrument.slow = 3
        self.write_book()
        with subprocess.Popen([CLIENT, "sync", "--all", "out"], cwd=self.folder,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              env={**os.environ, "PARLOWEN_DEVICES": str(self.book)}) as process:
            while not (self.folder / "out/lab-01/.parlowenctl.lock").exists():
                time.sleep(0.01)
            process.send_signal(signal.SIGINT)
            out, _ = process.communicate(timeout=60)
        self.assertEqual(process.returncode, 128 + signal.SIGINT)
        self.assertRegex(out.decode(), r"(?m)^lab-01 +0 +0 +130")

    def test_name_of_a_device_as_host(self):
        self.start(0)
        self.write_book()
        listed = self.run_client("--host", "lab-00", "files", "list").out
        self.assertEqual(len(listed.splitlines()), 5)

    def test_no_named_devices(self):
        self.assertIn("devices.toml", self.run_client("sync", "--all", "out").err)
        self.assertEqual(self.run_client("sync", "--all", "out").status, USAGE)

    def test_book_that_cannot_be_used(self):
        for text, problem in (('[a]\nhots = "x"\n', "hots"), ('host = "x"\n', "belongs to no device"),
                              ("[a]\nkey = 'k'\n", 'has no "host"'),
                              ('["b/a"]\nhost = "x"\n', "is no name")):
            with self.subTest(text=text):
                self.book.write_text(text)
                result = self.run_client("--host", "a", "info")
                self.assertEqual(result.status, LOCAL_FAILURE, result)
                self.assertIn(problem, result.err)


if __name__ == "__main__":
    unittest.main()
