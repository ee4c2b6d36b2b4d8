#!/usr/bin/env python3
"""Scenarios: what happens to a device by time and by the number of the request.

usage: scenario_test.py SIMULATOR CLIENT EXAMPLES (tests/support must be on the Python path)
"""
import os
import subprocess
import sys
import time
import unittest

from simulator import by_path, upload_body
from simulatortest import PROGRAM, SimulatorTest

CLIENT = os.path.abspath(sys.argv.pop(1))
EXAMPLES = os.path.abspath(sys.argv.pop(1))
SYNC = "/api/syncfiles/v1/"
MANAGER = "/api/filemgr/v2/"


class Scenes(SimulatorTest):
    starts = False

    def play(self, *lines, content="--empty"):
        path = os.path.join(self.folder, "scenario")
        with open(path, "w", encoding="utf-8") as file:
            file.write("\n".join(lines) + "\n")
        self.start("--port", "0", content, "--scenario", path)

    def play_example(self, name, *arguments):
        self.start("--port", "0", "--scenario", os.path.join(EXAMPLES, name), *arguments)

    def statuses(self, count, route="/info"):
        """What so many requests see; 0 where the connection broke or there was none."""
        seen = []
        for _ in range(count):
            try:
                seen.append(self.ask("GET", route)[0])
            except OSError:
                seen.append(0)
        return seen

    def await_status(self, status=200):
        end = time.monotonic() + 60
        while self.statuses(1) != [status] and time.monotonic() < end:
            time.sleep(0.02)
        self.assertEqual(self.statuses(1), [status])

    def client(self, *arguments):
        command = [CLIENT, "--host", f"127.0.0.1:{self.device.port}", *arguments]
        return subprocess.run(command, capture_output=True, text=True, check=False, timeout=120,
                              cwd=self.folder)


class ByRequest(Scenes):
    def test_a_fault_is_on_from_one_request_to_another(self):
        self.play("# a comment", "", "request 3 fault busy", "request 5 clear busy")
        self.assertEqual(self.statuses(6), [200, 200, 408, 408, 200, 200])

    def test_it_happens_the_same_each_time(self):
        seen = []
        for _ in range(3):
            self.play("request 2 fault http-500*2", "request 4 fault busy*1",
                      "request 6 fault drop-after=0*1")
            seen.append(self.statuses(8))
            self.device.stop()
        self.assertEqual(seen, [[200, 500, 500, 408, 200, 0, 200, 200]] * 3)

    def test_a_file_is_there_for_its_request(self):
        self.play("request 2 file results/deep/new.bin 20000")
        self.assertEqual(self.ask_json("GET", SYNC + "pendingfiles/all"), [])
        self.assertEqual([file["size"] for file in self.ask_json("GET", SYNC + "pendingfiles/all")],
                         [20000])

    def test_the_guarded_storage_goes_and_comes_back(self):
        self.play("request 2 storage away", "request 3 storage back")
        body = upload_body(self.device.path("a"), b"abc")
        answers = [self.ask("POST", MANAGER + "userfiles", body)[1] for _ in range(3)]
        self.assertEqual([b"Upload failed" in answer for answer in answers], [False, True, False])

    def test_a_restart_breaks_its_request_and_comes_back_on_the_same_port(self):
        self.play("request 2 restart")
        self.assertEqual(self.statuses(3), [200, 0, 0])
        self.await_status()
        self.assertEqual(self.device.stop()[0], 0)

    def test_a_device_can_be_stopped_while_it_restarts(self):
        self.play("request 1 restart")
        self.assertEqual(self.statuses(1), [0])
        self.assertEqual(self.device.stop()[0], 0)


class ByTime(Scenes):
    def test_a_fault_is_on_for_a_time(self):
        self.play("after 0 fault busy", "after 1 clear busy")
        self.assertEqual(self.statuses(1), [408])
        self.await_status()
        self.assertEqual(self.statuses(1), [200])

    def test_a_file_appears(self):
        self.play("after 0.2 file new.bin 5")
        end = time.monotonic() + 60
        while not os.path.exists(self.device.path("new.bin")) and time.monotonic() < end:
            time.sleep(0.02)
        self.assertEqual(len(self.ask("GET", by_path(SYNC + "userfiles", self.device.path("new.bin")))[1]), 5)

    def test_a_restart_passes(self):
        self.play("after 0.2 restart")
        end = time.monotonic() + 60
        while self.statuses(1) == [200] and time.monotonic() < end:
            time.sleep(0.02)
        self.assertEqual(self.statuses(1), [0])
        self.await_status()


class Wrong(Scenes):
    def test_a_wrong_line_is_named_in_one_line(self):
        path = os.path.join(self.folder, "scenario")
        for line in ("request 0 restart", "request x restart", "after -1 restart", "sometimes restart",
                     "request 1", "request 1 explode", "request 1 fault meteorite",
                     "request 1 clear meteorite", "request 1 storage gone", "request 1 file ../a 5",
                     "request 1 file /a 5", "request 1 file a", "request 1 file a -1",
                     "request 1 restart now"):
            with open(path, "w", encoding="utf-8") as file:
                file.write(f"# first\n{line}\n")
            run = subprocess.run([PROGRAM, "--temporary", "--scenario", path], capture_output=True,
                                 text=True, check=False, timeout=60)
            self.assertEqual((run.returncode, run.stderr.count("\n")), (2, 1), line)
            self.assertIn("line 2: ", run.stderr)

    def test_a_missing_file_is_named(self):
        run = subprocess.run([PROGRAM, "--temporary", "--scenario", "/none"], capture_output=True,
                             text=True, check=False, timeout=60)
        self.assertEqual((run.returncode, run.stderr.count("\n")), (2, 1))
        self.assertIn("/none", run.stderr)


class Examples(Scenes):
    """What the command line client makes of the bad days that come with the simulator."""

    def test_the_begin_of_a_shift_is_waited_out(self):
        self.play_example("shift-begin.scenario")
        for _ in range(3):
            run = self.client("info")
            self.assertEqual(run.returncode, 0, run.stderr)
        self.assertIn("408", self.device.errors())
        self.assertIn("500", self.device.errors())

    def test_over_a_bad_line_every_file_arrives_in_the_end(self):
        self.play_example("bad-line.scenario")
        target = os.path.join(self.folder, "fetched")
        end = time.monotonic() + 100
        run = self.client("sync", target)
        while (run.returncode or not self.has(target, "late.bin")) and time.monotonic() < end:
            run = self.client("sync", target)
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertEqual(self.ask_json("GET", SYNC + "pendingfiles/all"), [])
        for name in ("readme.txt", "waveform.bin", "late.bin"):
            self.assertTrue(self.has(target, name), name)
        self.assertIn("the connection broke", self.device.errors())

    def has(self, target, name):
        return any(name in files for _, _, files in os.walk(target))

    def test_after_a_power_cut_the_work_goes_on(self):
        self.play_example("power-cut.scenario")
        source = os.path.join(self.folder, "plan.txt")
        with open(source, "w", encoding="utf-8") as file:
            file.write("plan")
        self.assertEqual(self.client("info").returncode, 0)
        self.assertNotEqual(self.client("--retries", "0", "info").returncode, 0)
        end = time.monotonic() + 60
        run = self.client("files", "put", source, self.device.files)
        while run.returncode and time.monotonic() < end:
            run = self.client("files", "put", source, self.device.files)
        self.assertEqual(run.returncode, 0, run.stderr)
        with open(self.device.path("plan.txt"), encoding="utf-8") as file:
            self.assertEqual(file.read(), "plan")


if __name__ == "__main__":
    unittest.main(verbosity=2)
