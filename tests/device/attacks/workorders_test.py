#!/usr/bin/env python3
"""Updates that were made to fill the device with work orders that nobody can delete.

The attack, seen to succeed on the interface as it was: one update of 4.5 MB with 190,000 work orders
was answered with 500, all of them were stored, took 750 MB of the disk and made a list of 24 MB; and
updates took the last free bytes of the disk, those that the device keeps for itself included.

usage: workorders_test.py SIMULATOR
"""
import json
import os
import unittest

from simulator import error
from simulatortest import SimulatorTest, SmallDiskTest

ORDERS = "/api/workflow/v1/workorders"
LIST = "/api/workflow/v1/list"
MIB = 1024 * 1024
RESERVE = 16 * MIB
REFUSED = error("Error in request handler")


def batch(numbers):
    return {"cdm": [{"workOrderId": f"{number}"} for number in numbers]}


class Flooded(SimulatorTest):
    def stored(self):
        return len(os.listdir(f"{self.device.data}/workorders"))


class DefaultLimit(Flooded):
    def test_an_update_of_190_000_work_orders_is_refused_whole(self):
        before = self.stored()
        body = json.dumps(batch(range(190_000)), separators=(",", ":"))
        self.assertLess(len(body), 5_000_000)
        self.assertIn("errorMessage", json.loads(self.ask("POST", ORDERS, body)[1]))
        self.assertEqual(self.stored(), before)
        self.assertIn("10000", self.device.errors().replace(",", ""))


class SmallLimit(Flooded):
    arguments = ("--work-order-limit", "300")

    def test_the_number_stays_bounded_however_many_updates_come(self):
        for part in range(6):
            self.ask("POST", ORDERS, json.dumps(batch(range(part * 100, part * 100 + 100))))
        self.assertLessEqual(self.stored(), 300)
        self.assertGreater(self.stored(), 200)

    def test_work_orders_that_are_there_can_still_be_replaced(self):
        self.assertEqual(self.ask_json("POST", ORDERS, batch(range(200))), {})
        self.assertIn("errorMessage", self.ask_json("POST", ORDERS, batch(range(200, 600))))
        self.assertEqual(self.ask_json("POST", ORDERS, batch(range(200))), {})


class SmallDisk(SmallDiskTest):
    megabytes = 64

    def store(self, identifier, size, letter="x"):
        document = {"workOrderId": identifier, "text": letter * size}
        return self.ask_json("POST", ORDERS, {"cdm": [document]})

    def check_nothing_is_stored_of(self, update):
        before = self.free(), self.device.ask("GET", LIST)
        self.assertEqual(self.ask_json("POST", ORDERS, update), REFUSED)
        self.assertEqual((self.free(), self.device.ask("GET", LIST)), before)
        self.assertIn("16 MiB", self.device.errors())

    def test_updates_never_take_the_reserve(self):
        number = 0
        while self.store(f"{number}", 4 * MIB) == {}:
            number += 1
        self.assertGreater(number, 5)
        self.assertGreaterEqual(self.free(), RESERVE)
        self.assertLess(self.free(), RESERVE + 5 * MIB)

    def test_an_update_that_would_take_the_reserve_is_refused_whole(self):
        self.leave(RESERVE + 3 * MIB)
        self.check_nothing_is_stored_of(
            {"cdm": [{"workOrderId": "small"}, {"workOrderId": "large", "text": "x" * (4 * MIB)}]})

    def test_many_small_work_orders_count_with_the_blocks_that_they_take(self):
        self.leave(RESERVE + MIB)
        self.check_nothing_is_stored_of(batch(range(1000)))

    def test_work_orders_can_be_replaced_while_the_reserve_is_in_use(self):
        self.assertEqual(self.store("a", 2 * MIB), {})
        self.leave(RESERVE // 2)
        self.assertEqual(self.store("a", 2 * MIB, "y"), {})
        self.assertEqual(self.store("a", 3 * MIB), REFUSED)
        self.assertEqual(self.store("a", MIB), {})
        self.assertEqual(self.store("a", 2 * MIB), REFUSED)

    def test_the_technician_and_the_active_work_order_are_what_the_reserve_is_for(self):
        self.assertEqual(self.store("a", 10), {})
        self.leave(MIB)
        self.assertEqual(self.ask_json("POST", "/api/v1/techinfo", {"techId": "new"}), {})
        active = "/api/workflow/v1/active"
        self.assertNotIn("errorMessage", self.ask_json("PUT", active, {"activeWorkOrderId": "a"}))
        self.assertEqual(self.ask_json("GET", active), {"activeWorkOrderId": "a"})
        self.assertEqual(self.device.errors(), "")


if __name__ == "__main__":
    unittest.main(verbosity=2)
