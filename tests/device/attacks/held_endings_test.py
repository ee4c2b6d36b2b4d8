#!/usr/bin/env python3
"""Clients that go away at every moment of a request, in every way. None of these attacks succeeded:
descriptors and memory came back, nothing stored was lost, and the next client was served.

usage: held_endings_test.py SIMULATOR
"""
import json
import os
import socket
import struct
import time
import unittest

from simulator import BOUNDARY, upload_body
from simulatortest import SimulatorTest

UPLOAD = "/api/filemgr/v2/userfiles"
WHOLE = "/api/syncfiles/v1/userfiles"
ORDERS = "/api/workflow/v1/workorders"
ACTIVE = "/api/workflow/v1/active"
STORED = (200, b"{\n}\n")
MIB = 1024 * 1024
AT_ONCE = 3


def get(path, version="1.1"):
    return f"GET {path} HTTP/{version}\r\nHost: a\r\n\r\n".encode()


def post(path, body, method="POST"):
    return f"{method} {path} HTTP/1.1\r\nHost: a\r\nContent-Length: {len(body)}\r\n\r\n".encode() + body


def chunked(*pieces):
    head = f"POST {UPLOAD} HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n".encode()
    return head + b"".join(b"%x\r\n%s\r\n" % (len(piece), piece) for piece in pieces)


def reset(client):
    client.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    client.close()


def finish(client):
    client.close()


def finish_sending(client):
    """And read what comes back, if it does."""
    with client:
        try:
            client.shutdown(socket.SHUT_WR)
            while client.recv(MIB):
                pass
        except OSError:
            pass


class Ending(SimulatorTest):
    arguments = ("--port", "0", "--empty")

    def connect(self, receives=None):
        client = socket.socket()
        client.settimeout(60)
        if receives:
            client.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, receives)
        client.connect(("127.0.0.1", self.device.port))
        return client

    def descriptors(self):
        return len(os.listdir(f"/proc/{self.device.process.pid}/fd"))

    def wait_for(self, holds):
        end = time.monotonic() + 60
        while not holds():
            self.assertLess(time.monotonic(), end)
            time.sleep(0.01)

    def check_uploads_are_taken(self, size):
        body = upload_body(self.device.path("honest"), b"x" * size)
        self.assertEqual(self.ask("POST", UPLOAD, body), STORED)


class EveryMoment(Ending):
    def setUp(self):
        super().setUp()
        self.ask("POST", UPLOAD, upload_body(self.device.path("big"), b"x" * 8_000_000))
        self.ask("POST", UPLOAD, upload_body(self.device.path("new"), b"old"))
        self.wait_for(lambda: self.descriptors() == self.descriptors_at_rest())

    def descriptors_at_rest(self):
        """Least of what is seen, as the last connection may still be closed."""
        self.at_rest = min(getattr(self, "at_rest", 1000), self.descriptors())
        return self.at_rest

    def moments(self):
        body = upload_body(self.device.path("new"), b"y" * 300_000)
        upload = post(UPLOAD, body)
        head = len(upload) - len(body)
        return {
            "nothing": b"",
            "half of a line": b"GET /in",
            "a line": b"GET /info HTTP/1.1\r\n",
            "half of a head": b"GET /info HTTP/1.1\r\nHost: a\r\nX: ",
            "a question": get("/info"),
            "a head": upload[:head],
            "the boundary": upload[:head + 10],
            "half of the description": upload[:head + 80],
            "the first bytes of the file": upload[:head + 300],
            "half of the file": upload[:head + 150_000],
            "all but the end": upload[:-3],
            "a file to come": get(UPLOAD + self.device.path("big")),
            "a file to come at once": get(UPLOAD + self.device.path("big"), "1.0"),
            "a whole file to come": get(WHOLE + self.device.path("new")),
            "half of a chunk": chunked()[:-2] + b"\r\nffff\r\nabc",
            "the size of a chunk": chunked(body[:1000]) + b"ff",
            "chunks without an end": chunked(body[:1000], body[1000:]),
            "half of an update": post(ORDERS, b"x" * 200_000)[:-100_000],
        }

    def check(self, end):
        for name, message in self.moments().items():
            clients = [self.connect() for _ in range(AT_ONCE)]
            for client in clients:
                client.sendall(message)
            for client in clients:
                end(client)
            with self.subTest(name):
                self.wait_for(lambda: self.descriptors() <= self.at_rest)
                self.assertEqual(sorted(os.listdir(self.device.files)), ["big", "new"])
                self.assertEqual(self.ask("GET", UPLOAD + self.device.path("new")), (200, b"old"))
        status, _, errors = self.device.stop()
        self.assertEqual(status, 0)
        self.assertNotIn("guarded storage", errors)

    def test_reset(self):
        self.check(reset)

    def test_closed(self):
        self.check(finish)

    def test_closed_for_sending_alone(self):
        self.check(finish_sending)


class WhatWasHeld(Ending):
    """Is there for others once those who held it are gone."""

    def held_after(self, requests, receives=4096):
        """Clients that have each got the first bytes of an answer."""
        clients = [self.connect(receives) for _ in requests]
        for client, request in zip(clients, requests):
            client.sendall(request)
        return clients

    def test_memory_of_large_answers(self):
        self.ask("POST", UPLOAD, upload_body(self.device.path("large"), b"x" * (16 * MIB - 1)))
        question = get(WHOLE + self.device.path("large"))
        clients = self.held_after([question] * 45)
        for client in clients[:20]:  # those behind them may wait for memory
            self.assertTrue(client.recv(1))
        for client in clients:
            reset(client)
        status, answer = self.ask("GET", WHOLE + self.device.path("large"))
        self.assertEqual((status, len(answer)), (200, 16 * MIB - 1))
        self.wait_for(lambda: self.device.resident_kib() < 100 * 1024)

    def test_memory_of_bodies(self):
        body = upload_body(self.device.path("never"), b"x" * 6_000_000)
        clients = [self.connect() for _ in range(11)]
        for client in clients:
            client.sendall(post(UPLOAD, body)[:4_900_000])
        for client in clients:
            reset(client)
        self.check_uploads_are_taken(5_000_000)
        self.assertEqual(os.listdir(self.device.files), ["honest"])

    def test_memory_of_bodies_whose_answers_nobody_reads(self):
        self.ask("POST", ORDERS, b'{"cdm":[{"workOrderId":"W"}]}')
        body = b'{"activeWorkOrderId":"W","x":[' + b"1," * 450_000 + b"1]}"
        body += b" " * (4_900_000 - len(body))
        clients = self.held_after([post(ACTIVE, body, "PUT")] * 12)
        for client in clients:
            self.assertTrue(client.recv(1))
        self.check_uploads_are_taken(2_000_000)
        for client in clients:
            reset(client)


class Chunks(Ending):
    """An upload in chunks counts when it came whole, whatever stands between them."""

    def exchange(self, message):
        with self.connect() as client:
            answer = b""
            try:
                client.sendall(message)
                client.shutdown(socket.SHUT_WR)
                while piece := client.recv(65536):
                    answer += piece
            except OSError:
                pass
            return answer.split(b"\r\n\r\n", 1)[-1]

    def body(self):
        return upload_body(self.device.path("file"), b"content\r\n" * 20_000)

    def check_is_stored(self, message):
        self.assertEqual(json.loads(self.exchange(message)), {})
        with open(self.device.path("file"), "rb") as file:
            self.assertEqual(file.read(), b"content\r\n" * 20_000)
        os.unlink(self.device.path("file"))

    def test_of_every_size(self):
        body = self.body()
        for size in (1, 7, 4096, 65_536, len(body)):
            pieces = [body[start:start + size] for start in range(0, len(body), size)]
            self.check_is_stored(chunked(*pieces) + b"0\r\n\r\n")

    def test_with_extensions_and_trailers(self):
        whole = chunked(self.body()) + b"0\r\n"
        size = b"%x" % len(self.body())
        self.check_is_stored(whole + b"X: y\r\nContent-Length: 3\r\n\r\n")
        self.check_is_stored(whole.replace(size, size.upper(), 1) + b"\r\n")
        self.check_is_stored(whole.replace(size, b"000" + size, 1) + b"\r\n")

    def test_that_are_cut_anywhere_store_nothing(self):
        body = self.body()
        whole = chunked(body[:100], body[100:])
        for cut in (*range(60, 360, 7), 100_000, len(whole) - 1, len(whole)):
            self.exchange(whole[:cut])
            self.assertEqual(os.listdir(self.device.files), [], cut)

    def test_of_wrong_size_store_nothing(self):
        for wrong in (b"-5\r\nabcde\r\n", b"g\r\nabcde\r\n", b"4\r\nabcde\r\n", b"6\r\nabcde\r\n", b"\r\n",
                      b"ffffffffffffffff\r\nabcde\r\n", b"10000000000000005\r\nabcde\r\n"):
            self.exchange(chunked(self.body()[:100]) + wrong + chunked(self.body()[100:]).split(b"\r\n\r\n", 1)[1]
                          + b"0\r\n\r\n")
            self.assertEqual(os.listdir(self.device.files), [], wrong)

    def test_that_are_no_form_are_no_upload(self):
        for body in (b"", BOUNDARY, b"\r\n" * 1000, b"-" * 10_000):
            answer = json.loads(self.exchange(chunked(*filter(None, [body])) + b"0\r\n\r\n"))
            self.assertIn("errorMessage", answer)
        self.assertEqual(os.listdir(self.device.files), [])


if __name__ == "__main__":
    unittest.main(verbosity=2)
