"""Fifteen hundred files over TLS through the proxy, interrupted three times."""

import pathlib
import random
import signal
import subprocess
import tempfile
import time
import unittest

from clienttest import CLIENT, DONE, ClientTest, content
from tlsproxy import TlsProxy

COUNT = 1500


class ManyFiles(ClientTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.tls = pathlib.Path(tempfile.mkdtemp(prefix="tls", dir=cls.folder))
        cls.nginx = TlsProxy(cls.tls)

    @classmethod
    def tearDownClass(cls):
        cls.nginx.close()
        super().tearDownClass()

    def fill(self):
        files = {}
        for i in range(COUNT):
            name = "%02d/f%04d.bin" % (i % 15, i)
            files[name] = content(200 + i, seed=i)
            self.here("in/" + name, files[name])
            (self.user_files / name).parent.mkdir(exist_ok=True)
        return files

    def command(self):
        return [CLIENT, "--host", self.nginx.host, "--cacert", self.tls / "device.crt", "--cert",
                self.tls / "client.crt", "--key", self.tls / "client.key", "files", "put", "-r",
                "in", self.user_files]

    def run_until_some_are_sent(self, count):
        """Stops the client with a signal once it has sent so many; it is told what is done."""
        with subprocess.Popen(self.command(), cwd=self.local, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE) as process:
            for _ in range(count):
                process.stdout.readline()
            time.sleep(random.random() / 50)
            process.send_signal(signal.SIGINT)
            _, errors = process.communicate()
        self.assertEqual(process.returncode, 128 + signal.SIGINT)
        self.assertRegex(errors.decode(), r"\(\d+ of 1500 are done\)")

    def test_interrupted_three_times_ends_verified_and_sends_nothing_twice_that_was_whole(self):
        files = self.fill()
        for count in random.sample(range(100, 500), 3):
            self.run_until_some_are_sent(count)
        completed = subprocess.run(self.command(), cwd=self.local, capture_output=True, check=False)
        self.assertEqual(completed.returncode, DONE, completed.stderr)
        there = {str(path.relative_to(self.user_files)): path.read_bytes()
                 for path in self.user_files.rglob("*") if path.is_file()}
        self.assertEqual(there, files)
        posts = [line for line in self.nginx.requests() if line.startswith("POST")]
        # The one in hand when the signal came may have been whole on the device or not.
        self.assertLessEqual(len(posts), COUNT + 3)


if __name__ == "__main__":
    unittest.main()
