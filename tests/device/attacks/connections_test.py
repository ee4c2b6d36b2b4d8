#!/usr/bin/env python3
"""Connections that were made to keep the device from others, or from its own end.

The attacks, each seen to succeed on the interface as it was:
- 300 connections that drip headers: answers took 28 to 30 s or did not come;
- SIGTERM was ignored for 40 s and more while a client uploaded or downloaded steadily, and while
  the digest of a large file was formed;
- 11 connections that sent 4.9 MB at once and then a kilobyte a second held the memory of bodies:
  every other upload above 64 KiB was told 408;
- one upload that sent its first 5 MB at once and then a kilobyte a second kept the storage to itself:
  every other upload was told 408;
- 90 connections that asked for 16 MiB and hardly read took 1.4 GB of memory, and so did 90 that set
  the active work order to 16 kB, which come back indented as 16 MiB;
- a request to one address of the device covered a connection from the same port to another one, which
  could then be as slow as it liked.

usage: connections_test.py SIMULATOR
"""
import os
import socket
import threading
import time
import unittest

from simulator import upload_body
from simulatortest import SimulatorTest

UPLOAD = "/api/filemgr/v2/userfiles"
ACTIVE = "/api/workflow/v1/active"
MIB = 1024 * 1024


def connect(port=8081):
    return socket.create_connection(("127.0.0.1", port), timeout=30)


class Dripping:
    """So many clients at once; each sends `first` and then a byte now and then, until the end."""

    def __init__(self, number, first, drop=b"a"):
        self.first, self.drop = first, drop
        self.clients = [None] * number
        self.ended = threading.Event()
        self.thread = threading.Thread(target=self.drip)

    def __enter__(self):
        self.thread.start()
        return self

    def __exit__(self, *exception):
        self.ended.set()
        self.thread.join()
        for client in filter(None, self.clients):
            client.close()

    def drip(self):
        while not self.ended.wait(0.5):
            for index, client in enumerate(self.clients):
                self.clients[index] = self.dripped(client)

    def dripped(self, client):
        """A client that was shut out comes again."""
        try:
            if client:
                client.send(self.drop)
                return client
            client = socket.socket()
            client.settimeout(0.2)
            client.connect(("127.0.0.1", 8081))
            client.send(self.first)
            return client
        except OSError:
            client.close()
            return None


class Trickling:
    """Clients that send `first` as fast as it is taken, and then 600 bytes each half second."""

    def __init__(self, device, number, announced, first):
        body = upload_body(device.path("slow"), b"x" * announced)[:first]
        head = f"POST {UPLOAD} HTTP/1.1\r\nHost: a\r\nContent-Length: {announced}\r\n\r\n"
        self.clients = [(connect(device.port), head.encode() + body) for _ in range(number)]
        self.ended = threading.Event()
        self.threads = [threading.Thread(target=self.send, args=each) for each in self.clients]

    def __enter__(self):
        for thread in self.threads:
            thread.start()
        return self

    def __exit__(self, *exception):
        self.ended.set()
        for client, _ in self.clients:
            try:
                client.shutdown(socket.SHUT_RDWR)  # wakes a thread that sends
            except OSError:
                pass  # shut out
        for thread in self.threads:
            thread.join()

    def send(self, client, first):
        with client:
            try:
                client.sendall(first)
                while not self.ended.wait(0.5):
                    client.sendall(b"x" * 600)
            except OSError:
                pass  # shut out


class Hoarders(SimulatorTest):
    """Few clients, slow but above the floor, that hold what others need."""

    def check_uploads_are_taken(self, size, times):
        for _ in range(times):
            body = upload_body(self.device.path("honest"), b"x" * size)
            self.assertEqual(self.ask("POST", UPLOAD, body), (200, b"{\n}\n"))

    def test_of_the_memory_of_bodies_keep_no_upload_out(self):
        with Trickling(self.device, 11, 6_000_000, 4_900_000):
            time.sleep(2)  # so that they hold all that they can get
            self.check_uploads_are_taken(5_000_000, 3)

    def test_of_the_storage_keep_no_upload_out(self):
        with Trickling(self.device, 1, 8_000_000, 5_200_000):
            time.sleep(11)  # until the storage takes nobody more
            self.check_uploads_are_taken(1, 2)

    def check_answers_take_no_gigabyte(self, request):
        clients = [connect(self.device.port) for _ in range(90)]
        for client in clients:
            client.send(request)
        highest, end = 0, time.monotonic() + 8
        while time.monotonic() < end:
            highest = max(highest, self.device.resident_kib())
            time.sleep(0.1)
        for client in clients:
            client.close()
        print(f"at most {highest // 1024} MiB", flush=True)
        self.assertLess(highest, 1100 * 1024)
        self.assertEqual(self.ask("GET", "/info")[0], 200)

    def test_of_large_answers_take_no_gigabyte(self):
        body = upload_body(self.device.path("large"), b"x" * (16 * MIB - 1))
        self.ask("POST", UPLOAD, body)
        path = f"/api/syncfiles/v1/userfiles{self.device.path('large')}"
        self.check_answers_take_no_gigabyte(f"GET {path} HTTP/1.0\r\n\r\n".encode())

    def test_of_what_was_sent_as_the_active_work_order_take_no_gigabyte(self):
        self.ask_json("POST", "/api/workflow/v1/workorders", {"cdm": [{"workOrderId": "W"}]})
        deep = "[" * 500 + "1," * 7_600 + "1" + "]" * 500
        body = f'{{"activeWorkOrderId": "W", "x": {deep}}}'
        self.assertEqual(self.ask("PUT", ACTIVE, body)[0], 200)
        head = f"PUT {ACTIVE} HTTP/1.0\r\nContent-Length: {len(body)}\r\n\r\n"
        self.check_answers_take_no_gigabyte((head + body).encode())


class Crowd(SimulatorTest):
    SLOWEST = 15.0  # seconds; an answer waits until those before it were shut out

    def check_others_are_answered(self, seconds=20):
        slowest, end = 0.0, time.monotonic() + seconds
        while time.monotonic() < end:
            before = time.monotonic()
            self.assertEqual(self.ask("GET", "/info")[0], 200)
            slowest = max(slowest, time.monotonic() - before)
            time.sleep(0.1)  # an honest client asks ten times a second
        print(f"slowest answer {slowest:.2f} s", flush=True)
        self.assertLess(slowest, self.SLOWEST)

    def test_that_drips_headers_keeps_nobody_out(self):
        with Dripping(300, b"GET /info HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Slow: "):
            self.check_others_are_answered()

    def test_that_drips_bodies_keeps_nobody_out(self):
        head = f"POST {UPLOAD} HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 100000\r\n\r\n"
        with Dripping(300, head.encode()):
            self.check_others_are_answered()

    def test_that_says_nothing_at_all_keeps_nobody_out(self):
        with Dripping(300, b"", b""):
            self.check_others_are_answered()


class End(SimulatorTest):
    """The program ends within 3 s of SIGTERM whatever clients do; idle within 0.3 s."""

    starts = False

    def setUp(self):
        super().setUp()
        self.moved = threading.Event()

    def serve(self, *arguments):
        self.start(*arguments)
        with open(self.device.path("large"), "wb") as file:
            file.write(os.urandom(100 * MIB))

    def steady(self, act):
        """Lets `act` move bytes, 100 kB ten times a second, until the device ends the connection."""
        def move():
            with connect(self.device.port) as client:
                while self.device.running() and act(client):
                    self.moved.set()
                    time.sleep(0.1)
        client = threading.Thread(target=self.until_cut_off, args=(move,))
        client.start()
        self.addCleanup(client.join)
        self.assertTrue(self.moved.wait(10))

    @staticmethod
    def until_cut_off(move):
        try:
            move()
        except OSError:
            pass

    def upload_steadily(self):
        whole = upload_body(self.device.path("new"), b"x" * (40 * MIB))
        head = f"POST {UPLOAD} HTTP/1.1\r\nHost: a\r\nContent-Length: {len(whole)}\r\n\r\n"
        rest = [head.encode() + whole]

        def act(client):
            client.sendall(rest[0][:100_000])
            rest[0] = rest[0][100_000:]
            return rest[0]
        self.steady(act)

    def download_steadily(self):
        asked = []

        def act(client):
            if not asked:
                path = f"{UPLOAD}{self.device.path('large')}"
                client.sendall(f"GET {path} HTTP/1.1\r\nHost: a\r\n\r\n".encode())
                asked.append(True)
            return client.recv(100_000)
        self.steady(act)

    def check_end(self, within):
        before = time.monotonic()
        self.device.process.terminate()
        status = self.device.process.wait(60)
        taken = time.monotonic() - before
        print(f"ended after {taken:.2f} s", flush=True)
        self.assertEqual(status, 0)
        self.assertLess(taken, within)

    def test_while_a_client_uploads_steadily(self):
        self.serve()
        self.upload_steadily()
        self.check_end(within=3)
        self.assertFalse(os.path.exists(self.device.path("new")))

    def test_while_a_client_downloads_steadily(self):
        self.serve()
        self.download_steadily()
        self.check_end(within=3)

    def test_while_the_digest_of_a_large_file_is_formed(self):
        self.start()
        with open(self.device.path("large"), "wb") as file:
            file.truncate(20_000_000_000)
        path = f"/api/syncfiles/v1/userfiles{self.device.path('large')}"
        request = f"PUT {path} HTTP/1.1\r\nHost: a\r\nContent-Length: 0\r\n\r\n"
        with connect(self.device.port) as client:
            client.send(request.encode())
            while self.device.path("large") not in self.device.open_files():
                time.sleep(0.01)
            self.check_end(within=3)

    def test_while_many_drip(self):
        self.serve()
        with Dripping(100, b"GET /info HTTP/1.1\r\nX-Slow: "):
            time.sleep(2)  # so that they hold all that they can get
            self.check_end(within=3)


if __name__ == "__main__":
    unittest.main(verbosity=2)
