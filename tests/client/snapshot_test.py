"""A device that is kept as a folder and served again answers as it did."""

import json
import os
import pathlib
import subprocess
import sys
import unittest
import urllib.parse
import urllib.request

from clienttest import (DEVICE_REFUSED, DONE, LOCAL_FAILURE, SIMULATOR, TRANSFER_CORRUPT,
                        ClientTest, content)

# Serves a folder in a network of its own and prints the answers to the requests that it is given.
ASK = """
import json, subprocess, sys, urllib.request
simulator = subprocess.Popen(sys.argv[1:], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
assert b"listening" in simulator.stdout.readline()
answers = {}
for path in json.load(sys.stdin):
    with urllib.request.urlopen("http://127.0.0.1:8081" + path) as reply:
        answers[path] = reply.read().decode("latin-1")
simulator.terminate()
simulator.wait()
print(json.dumps(answers))
"""


class Snapshot(ClientTest):
    def setUp(self):
        super().setUp()
        for name, data in (("a.txt", b"a"), ("sub/b ü.bin", content(6_000_000)), ("empty", b"")):
            self.on_device(name, data, age=3600)

    def take(self, status=DONE):
        return self.expect(status, "snapshot", "kept")

    def paths(self, root):
        """What can be asked for below this folder of user files."""
        listing = self.expect(DONE, "files", "list", "--json").json()["files"]
        names = [os.path.relpath(r["path"], self.user_files) for r in listing]
        orders = self.expect(DONE, "workorders", "list", "--json").json()["workOrderIds"]
        quoted = [urllib.parse.quote("%s/%s" % (root, name)) for name in names]
        return (["/info", "/api/workflow/v1/list", "/api/workflow/v1/templates",
                 "/api/workflow/v1/active", "/api/filemgr/v2/userfiles",
                 "/api/syncfiles/v1/pendingfiles", "/api/syncfiles/v1/pendingfiles/all"]
                + ["/api/workflow/v1/workorder/" + urllib.parse.quote(o, safe="") for o in orders]
                + ["/api/syncfiles/v1/metadata" + q for q in quoted]
                + ["/api/filemgr/v2/metadata" + q for q in quoted]
                + ["/api/filemgr/v2/userfiles" + q for q in quoted])

    def answers_of_the_device(self):
        answers = {}
        for path in self.paths(self.user_files):
            with urllib.request.urlopen("http://127.0.0.1:8081" + path) as reply:
                answers[self.relative(path, self.user_files)] = self.relative(
                    reply.read().decode(errors="replace"), self.user_files)
        return answers

    def answers_of_the_copy(self, copy, *options):
        """Serves the folder `copy`, with these options besides."""
        completed = subprocess.run(
            ["unshare", "--net", "sh", "-c", 'ip link set lo up; exec "$@"', "sh", sys.executable,
             "-c", ASK, SIMULATOR, "--data", str(copy), *map(str, options)], cwd=self.local, capture_output=True, check=False,
            input=json.dumps(self.paths(copy / "storage/userfiles")).encode())
        self.assertEqual(completed.returncode, 0, completed.stderr)
        answers = json.loads(completed.stdout)
        return {self.relative(path, copy / "storage/userfiles"):
                self.relative(answer.encode("latin-1").decode(errors="replace"),
                              copy / "storage/userfiles") for path, answer in answers.items()}

    @staticmethod
    def relative(text, root):
        return text.replace(str(root), "ROOT").replace(urllib.parse.quote(str(root)), "ROOT")

    def fill_and_take(self):
        self.here("orders.json", json.dumps([{"workOrderId": "Ü %?#", "tests": []},
                                             {"workOrderId": ".x", "a": [1, {"b": None}]}]).encode())
        self.expect(DONE, "workorders", "put", "orders.json")
        self.expect(DONE, "workorders", "active", ".x")
        self.expect(DONE, "files", "confirm", "a.txt")
        self.assertIn("3 files", self.take().out)

    def expect_alike(self, before, after):
        self.assertEqual(set(before), set(after))
        for path, answer in before.items():
            with self.subTest(path=path):
                self.assertEqual(self.plain(after[path]), self.plain(answer))

    def test_every_answer_is_alike_when_it_is_served_again(self):
        self.fill_and_take()
        self.expect_alike(self.answers_of_the_device(),
                          self.answers_of_the_copy(self.local / "kept"))

    def test_every_answer_is_alike_when_another_device_begins_with_it(self):
        self.fill_and_take()
        kept = self.tree("kept")
        self.expect_alike(
            self.answers_of_the_device(),
            self.answers_of_the_copy(self.local / "other", "--from", self.local / "kept"))
        self.assertEqual(self.tree("kept"), kept)

    @staticmethod
    def plain(answer):
        try:
            return json.loads(answer)
        except ValueError:
            return answer

    def test_ids_of_digits_take_the_place_of_no_other_work_order(self):
        ids = ["%06d" % number for number in range(1, 20)] + ["Ü", "a b", "é", "e\u0301", "x:y"]
        self.here("orders.json", json.dumps([{"workOrderId": each} for each in ids]).encode())
        self.expect(DONE, "workorders", "put", "orders.json")
        self.take()
        kept = {json.loads(path.read_bytes())["workOrderId"]
                for path in (self.local / "kept/workorders").iterdir()}
        self.assertEqual(kept, set(self.expect(DONE, "workorders", "list", "--json").json()["workOrderIds"]))

    def test_folder_that_is_there_stays(self):
        (self.local / "kept").mkdir()
        self.assertIn("is there already", self.take(LOCAL_FAILURE).err)
        self.assertEqual(self.tree("kept"), {})

    def test_broken_snapshot_takes_no_name(self):
        self.proxy.add("cut", request=rb"^GET /api/filemgr/v2/userfiles/.*b%20", body=True, at=100)
        self.expect(TRANSFER_CORRUPT, "snapshot", "kept", "--retries", 0)
        self.assertFalse((self.local / "kept").exists())
        self.proxy.faults.clear()
        self.take()

    def test_device_that_refuses_takes_no_name(self):
        self.proxy.add("answer", request=rb"templates", answer=b"HTTP/1.1 404 No\r\n\r\n")
        self.take(DEVICE_REFUSED)
        self.assertFalse(pathlib.Path(self.local / "kept").exists())


if __name__ == "__main__":
    unittest.main()
