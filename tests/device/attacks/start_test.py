#!/usr/bin/env python3
"""What could be put into the folder of a device so that it did not start, or did not serve.

The attacks, each seen to succeed on the interface as it was, by uploads that reach all of the folder.
They do not reach it any more (see uploads_test.py); here the files are put there by hand:
- 1.1 GB in a work order, the technician, the description or a template ended the program;
- a file where the journal of the work orders writes its folder made every later batch fail;
- a file "state/faults" with "slow-call=4000000000" answered every request with 500 and held up the
  end of the program;
- a FIFO as a state file held up the start;
- many megabytes of work orders, read at the start, held up the end of the program for seconds.

usage: start_test.py SIMULATOR
"""
import os
import socket
import threading
import time
import unittest

from simulatortest import SimulatorTest

DOCUMENTS = ("workorders/x.json", "state/technician.json", "asset.json", "templates/big.json")
BATCH = {"cdm": [{"workOrderId": "WO-after"}]}


class Placed(SimulatorTest):
    """A device that has served once, and whose folder was changed since."""

    def setUp(self):
        super().setUp()
        self.assertEqual(self.device.stop()[0], 0)

    def place(self, name):
        path = os.path.join(self.device.data, name)
        if os.path.lexists(path):
            os.remove(path)
        return path

    def place_text(self, name, text):
        with open(self.place(name), "w", encoding="utf-8") as file:
            file.write(text)

    def check_it_starts_serves_and_ends(self):
        before = time.monotonic()
        self.start()
        self.assertIn("listening on", self.device.ready_line)
        for path in ("/info", "/api/workflow/v1/list", "/api/workflow/v1/templates"):
            self.assertEqual(self.ask("GET", path)[0], 200)
        self.assertEqual(self.ask_json("POST", "/api/workflow/v1/workorders", BATCH), {})
        self.assertEqual(self.device.stop()[0], 0)
        self.assertLess(time.monotonic() - before, 20)

    def test_documents_of_a_gigabyte_are_told_and_not_read(self):
        for name in DOCUMENTS:
            with open(self.place(name), "wb") as file:
                file.truncate(1_100_000_000)
        self.start()
        self.assertEqual(self.ask("GET", "/info")[0], 200)
        self.assertEqual(self.ask("GET", "/api/workflow/v1/list")[0], 200)
        self.assertLess(self.device.resident_kib(), 200 * 1024)
        self.device.stop()
        self.assertIn("x.json", self.device.errors())
        self.check_it_starts_serves_and_ends()

    def test_files_in_the_way_of_the_journal_are_told_and_cleared(self):
        for name in ("state/workorders.staged", "state/workorders.committed"):
            self.place_text(name, "hostile")
        self.check_it_starts_serves_and_ends()
        self.assertIn("workorders.staged", self.device.errors())

    def test_faults_among_the_state_are_not_read(self):
        self.place_text("state/faults", "slow-call=4000000000\n")
        self.check_it_starts_serves_and_ends()

    def test_pipes_in_place_of_documents_hold_nothing_up(self):
        for name in DOCUMENTS:
            os.mkfifo(self.place(name))
        self.check_it_starts_serves_and_ends()
        self.assertIn("technician.json", self.device.errors())

    def test_many_work_orders_do_not_hold_up_the_end_while_they_are_read(self):
        keys = ",".join(f'"\\n{key:06x}":0' for key in range(350_000))
        for number in range(20):
            self.place_text(f"workorders/{number:02}.json",
                            f'{{"workOrderId":"{number}","x":{{{keys}}}}}')
        self.device.ready_line = ""
        starts = threading.Thread(target=self.device.start)
        starts.start()
        while not self.listens():  # which it does before it reads
            time.sleep(0.01)
        self.device.process.terminate()
        starts.join()
        self.assertEqual(self.device.process.wait(60), 0)
        self.assertEqual(self.device.ready_line, "")

    def listens(self):
        with socket.socket() as client:
            return client.connect_ex(("127.0.0.1", self.device.port)) == 0



if __name__ == "__main__":
    unittest.main(verbosity=2)
