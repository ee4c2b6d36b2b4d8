"""A flipped bit in any request line: success is told only of what was really asked for."""

import hashlib
import json
import os
import re
import unittest

from clienttest import DONE, ClientTest


def positions(line, folder):
    """The bytes of a request line whose flipped bit is likely to ask for something else: in the
    method, the version and the end of the route, the end of the path, and the version of HTTP."""
    path_end = line.rfind(b" ")
    chosen = {0, path_end - 1, len(line) - 1}
    if b"/v" in line:
        chosen.add(line.find(b"/v") + 2)
    if folder in line:
        chosen.update((line.find(folder) - 1, path_end - 2))
    return sorted(chosen)


class RequestLines(ClientTest):
    def setUp(self):
        super().setUp()
        self.round = 0
        self.prepare()
        for order in ("w0", "w1"):
            self.put_order(order)

    def put_order(self, order):
        self.here("setup.json", json.dumps({"workOrderId": order}).encode())
        self.expect(DONE, "workorders", "put", "setup.json", host="127.0.0.1:8081")

    def prepare(self):
        """Two new files, whose names differ in one bit."""
        self.round += 1
        self.data_of = {}
        for name in ("f0", "f1"):
            self.data_of[name] = b"%s in round %d" % (name.encode(), self.round)
            self.on_device(name, self.data_of[name])
        (self.local / "mine").unlink(missing_ok=True)
        for path in self.local.glob("out/f*"):
            path.unlink()
        self.here("p1", b"sent in round %d" % self.round)
        self.here("orders.json", json.dumps({"workOrderId": "w1", "r": self.round}).encode())

    def sweep(self, verify, *command):
        """Flips one bit of each request line of a command, in the first request of this line and in
        all, and verifies what the command then tells."""
        self.prepare()
        self.proxy.faults.clear()
        self.proxy.connections.clear()
        verify(self.expect(DONE, *command))
        folder = str(self.user_files).encode() + b"/"
        lines = self.proxy.requests()
        for line in sorted(set(lines)):
            for at in positions(line, folder):
                for times in (1, None)[:lines.count(line)]:
                    with self.subTest(line=line, at=at, times=times):
                        self.prepare()
                        self.proxy.faults.clear()
                        fault = self.proxy.add("flip", "up", at=at, times=times,
                                               request=b"^" + re.escape(line) + b"\r\n")
                        result = self.run_client(*command, "--retries", 0, "--timeout", 1)
                        self.assertGreater(fault.happened, 0)
                        verify(result)

    def of_success(self, holds):
        def verify(result):
            if result.status == DONE:
                self.assertTrue(holds(result), result)
        return verify

    def on_the_device(self, name):
        path = self.user_files / name
        return path.read_bytes() if path.exists() else None

    def test_files_stat(self):
        self.sweep(self.of_success(lambda result: result.json()["sha256"] == hashlib.sha256(
            self.data_of["f1"]).hexdigest()), "files", "stat", "f1", "--json")

    def test_files_list(self):
        names = ["f0", "f1"]
        self.sweep(self.of_success(lambda result: names == [
            os.path.basename(r["path"]) for r in result.json()["files"]]), "files", "list", "--json")

    def test_files_pending(self):
        for option in ([], ["--all"]):
            self.sweep(self.of_success(lambda result: len(result.json()) == 2),
                       "files", "pending", "--json", *option)

    def test_files_get(self):
        self.sweep(self.of_success(lambda _: (self.local / "mine").read_bytes()
                                   == self.data_of["f1"]),
                   "files", "get", self.user_files / "f1", "-o", "mine")

    def test_files_put(self):
        self.sweep(self.of_success(lambda _: self.on_the_device("p1")
                                   == b"sent in round %d" % self.round),
                   "files", "put", "p1", self.user_files)

    def test_files_rm(self):
        self.sweep(self.of_success(lambda _: self.on_the_device("f1") is None),
                   "files", "rm", self.user_files / "f1")

    def test_files_confirm(self):
        self.sweep(self.of_success(lambda _: "f1" not in self.pending()),
                   "files", "confirm", self.user_files / "f1")

    def test_sync(self):
        def verify(result):
            here = {path.name: path.read_bytes() for path in self.local.glob("out/f*")}
            for name, data in here.items():
                self.assertEqual(data, self.data_of[name])
            if result.status == DONE:
                self.assertEqual(here, self.data_of)
                self.assertEqual(self.pending(), [])
        self.sweep(verify, "sync", "out")

    def test_workorders_list(self):
        self.sweep(self.of_success(lambda result: {"w0", "w1"} <= set(
            result.json()["workOrderIds"])), "workorders", "list", "--json")

    def test_workorders_get(self):
        self.sweep(self.of_success(lambda result: result.json()["cdm"]["workOrderId"] == "w1"),
                   "workorders", "get", "w1")

    def test_workorders_put(self):
        def stored(_):
            return self.expect(DONE, "workorders", "get", "w1", host="127.0.0.1:8081").json()[
                "cdm"]["r"] == self.round
        self.sweep(self.of_success(stored), "workorders", "put", "orders.json")

    def test_workorders_active(self):
        def active(result):
            return "w1" in result.out and "w1" in self.expect(
                DONE, "workorders", "active", host="127.0.0.1:8081").out
        self.sweep(self.of_success(active), "workorders", "active", "w1")

    def test_tech(self):
        stored = self.data / "state" / "technician.json"
        def is_stored(_):
            there = "Anna" in stored.read_text()
            stored.write_text("{}")
            return there
        self.sweep(self.of_success(is_stored), "tech", "Anna")

    def test_info(self):
        self.sweep(self.of_success(lambda result: result.json()["infoVersion"] == 1),
                   "info", "--json")

    def test_templates(self):
        self.sweep(self.of_success(lambda result: result.json()["templates"]), "templates")


if __name__ == "__main__":
    unittest.main()
