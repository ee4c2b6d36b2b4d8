#!/usr/bin/env python3
"""Clients that fight for one name, and answers that other clients could get. None of these attacks
succeeded: each client got its own answer, and each file was always one that somebody had sent whole.

usage: held_races_test.py SIMULATOR
"""
import contextlib
import json
import os
import random
import threading
import unittest

from simulator import by_path, error, sha256, upload_body
from simulatortest import SimulatorTest

UPLOAD = "/api/filemgr/v2/userfiles"
WHOLE = "/api/syncfiles/v1/userfiles"
PENDING = "/api/syncfiles/v1/pendingfiles/all"
METADATA = "/api/syncfiles/v1/metadata"
ORDERS = "/api/workflow/v1/workorders"
ORDER = "/api/workflow/v1/workorder/"
ACTIVE = "/api/workflow/v1/active"
SIZES = (1, 1000, 300_000)


class Race(SimulatorTest):
    arguments = ("--port", "0", "--empty")

    def setUp(self):
        super().setUp()
        self.problems = []
        self.ended = threading.Event()

    def run_at_once(self, clients):
        """Each is a function; what it raises is a problem of the test. `ended` is set by the first that ends."""
        def guarded(client):
            try:
                client()
            except Exception as problem:  # told by the main thread
                self.problems.append(problem)
            self.ended.set()
        threads = [threading.Thread(target=guarded, args=(client,)) for client in clients]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(self.problems, [])

    def upload(self, name, content):
        return json.loads(self.ask("POST", UPLOAD, upload_body(self.device.path(name), content))[1])


class OneName(Race):
    def check_is_whole(self, content):
        """Each file is one letter, again and again."""
        self.assertIn(len(content), SIZES)
        self.assertEqual(content.count(content[:1]), len(content))

    def fight(self, seed):
        dice = random.Random(seed)
        for _ in range(60):
            name = dice.choice("abc")
            path = self.device.path(name)
            act = dice.choice(("upload", "read", "delete", "confirm", "describe", "list"))
            if act == "upload":
                content = bytes([dice.randrange(65, 91)]) * dice.choice(SIZES)
                self.assertEqual(self.upload(name, content), {})
            elif act == "read":
                status, content = self.ask("GET", WHOLE + path)
                self.assertEqual(status, 200)
                if b"errorMessage" not in content:
                    self.check_is_whole(content)
            elif act == "delete":
                self.assertIn(self.ask_json("DELETE", UPLOAD + path), ({}, error("Invalid URI")))
            elif act == "confirm":
                self.assertIn(self.ask_json("PUT", WHOLE + path), ({}, error("File not found")))
            elif act == "describe":
                described = self.ask_json("GET", METADATA + path)
                self.assertIn(described.get("size", 1), SIZES)
            else:
                names = {os.path.basename(file["path"]) for file in self.ask_json("GET", UPLOAD)["files"]}
                self.assertLessEqual(names, set("abc"))

    def test_that_is_uploaded_read_confirmed_and_deleted_at_once(self):
        self.run_at_once([lambda seed=seed: self.fight(seed) for seed in range(6)])
        self.assertEqual(self.upload("last", b"x"), {})
        for name in os.listdir(self.device.files):
            with open(self.device.path(name), "rb") as file:
                content = file.read()
            self.check_is_whole(content)
            self.assertEqual(self.ask_json("GET", by_path(METADATA, self.device.path(name)))["sha256"], sha256(content))
        self.assertEqual(self.device.stop()[0], 0)

    def test_that_is_deleted_by_many_is_deleted_once(self):
        for _ in range(20):
            self.upload("f", b"content")
            answers = []
            path = UPLOAD + self.device.path("f")
            self.run_at_once([lambda: answers.append(self.ask_json("DELETE", path))] * 4)
            self.assertEqual(sorted(map(str, answers)), sorted([str({})] + [str(error("Invalid URI"))] * 3))

    def test_that_is_uploaded_by_many_holds_what_one_of_them_sent(self):
        for _ in range(10):
            contents = [letter * 200_000 for letter in (b"A", b"B", b"C", b"D")]
            answers = []
            self.run_at_once([lambda sent=sent: answers.append(self.upload("f", sent)) for sent in contents])
            self.assertEqual(answers, [{}] * 4)
            with open(self.device.path("f"), "rb") as file:
                self.assertIn(file.read(), contents)
            self.assertEqual(os.listdir(self.device.files), ["f"])

    def test_of_a_folder_that_changes_with_a_file_holds_one_of_both(self):
        """Somebody at the device exchanges them; uploads go on."""
        place, folder = self.device.path("f"), self.device.path("folder")
        os.mkdir(folder)

        def exchange():
            while not self.ended.is_set():
                try:
                    os.rename(folder, place)
                    os.rename(place, folder)
                except OSError:
                    if os.path.isfile(place):
                        os.unlink(place)

        def upload():
            for _ in range(100):
                self.assertIn(self.upload("f", b"content"), ({}, error("Upload failed")))
                self.assertEqual(self.ask("GET", "/info")[0], 200)
        self.run_at_once([exchange, upload])
        self.assertLessEqual(set(os.listdir(self.device.files)), {"f", "folder"})
        self.assertEqual(os.listdir(folder if os.path.isdir(folder) else place), [])

    def test_of_a_folder_that_goes_away_on_the_way_leaves_nothing(self):
        folder = self.device.path("folder")

        def come_and_go():
            while not self.ended.is_set():
                os.mkdir(folder)
                while os.path.exists(folder):
                    try:
                        os.rmdir(folder)
                    except OSError:
                        with contextlib.suppress(OSError):  # a name may be gone already
                            for name in os.listdir(folder):
                                os.unlink(os.path.join(folder, name))

        def upload():
            for _ in range(100):
                self.assertIn(self.upload("folder/f", b"content"), ({}, error("Upload failed")))
        self.run_at_once([come_and_go, upload])
        self.assertEqual(os.listdir(self.device.files), [])
        self.assertEqual(self.upload("f", b"content"), {})


class Answers(Race):
    def test_stay_with_their_clients(self):
        def client(number):
            for turn in range(20):
                content = b"%d of %d" % (turn, number)
                self.assertEqual(self.upload(f"f{number}", content), {})
                self.assertEqual(self.ask("GET", UPLOAD + self.device.path(f"f{number}")), (200, content))
                missing = self.ask_json("GET", f"{ORDER}none{number}")
                self.assertEqual(missing, error("Job not found"))
                self.assertEqual(self.ask_json("POST", ORDERS, {"cdm": [{"workOrderId": f"W{number}", "n": turn}]}), {})
                self.assertEqual(self.ask_json("GET", f"{ORDER}W{number}")["cdm"]["n"], turn)
        self.run_at_once([lambda number=number: client(number) for number in range(4)])

    def test_that_set_the_active_work_order_at_once_leave_one_of_them(self):
        ids = [f"W{number}" for number in range(4)]
        self.ask_json("POST", ORDERS, {"cdm": [{"workOrderId": each} for each in ids]})

        def client(each):
            for turn in range(15):
                sent = {"activeWorkOrderId": each, "turn": turn}
                self.assertEqual(self.ask_json("PUT", ACTIVE, sent), sent)
                self.assertIn(self.ask_json("GET", ACTIVE)["activeWorkOrderId"], ids)
        self.run_at_once([lambda each=each: client(each) for each in ids])
        chosen = self.ask_json("GET", ACTIVE)
        self.restart()
        self.assertEqual(self.ask_json("GET", ACTIVE), chosen)


class AtTheLimit(Race):
    arguments = ("--port", "0", "--empty", "--user-file-limit", "10", "--work-order-limit", "10")

    def test_the_last_file_may_be_of_every_size(self):
        for size in (0, 1, 100_000, 9_000_000):
            for number in range(9):
                with open(self.device.path(f"f{number}"), "wb"):
                    pass
            self.assertEqual(self.upload("last", b"x" * size), {}, size)
            self.assertEqual(self.upload("beyond", b"x" * size), error("Upload failed"), size)
            for name in os.listdir(self.device.files):
                self.assertEqual(self.ask_json("DELETE", UPLOAD + self.device.path(name)), {})

    def test_work_orders_of_many_clients_stay_within_it_and_batches_whole(self):
        def client(number):
            batch = {"cdm": [{"workOrderId": f"{number}-{each}"} for each in range(4)]}
            for _ in range(5):
                self.assertIn(self.ask_json("POST", ORDERS, batch), ({}, error("Error in request handler")))
        self.run_at_once([lambda number=number: client(number) for number in range(5)])
        stored = self.ask_json("GET", "/api/workflow/v1/list")["workOrderIds"]
        self.assertEqual(len(stored), 8)
        self.assertEqual(len({each.split("-")[0] for each in stored}), 2)


if __name__ == "__main__":
    unittest.main(verbosity=2)
