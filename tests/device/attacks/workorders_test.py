#!/usr/bin/env python3
"""Updates that were made to fill the device with work orders that nobody can delete.

The attack, seen to succeed on the interface as it was: one update of 4.5 MB with 190,000 work orders
was answered with 500, all of them were stored, took 750 MB of the disk and made a list of 24 MB.

usage: workorders_test.py SIMULATOR
"""
import json
import os
import unittest

from simulatortest import SimulatorTest

ORDERS = "/api/workflow/v1/workorders"
LIST = "/api/workflow/v1/list"


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


if __name__ == "__main__":
    unittest.main(verbosity=2)
