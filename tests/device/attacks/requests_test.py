#!/usr/bin/env python3
"""Requests that were made to hide another one, to write lines into the log, or to hit a file of
another name.

Of these attacks three succeeded on the interface as it was: a name with half of a surrogate pair, or
with a NUL, replaced the file whose name stands before it, and was told stored; half of a surrogate
pair in such a name gave a line of the JSON log that many readers refuse; and the name of an upload
with a million characters gave a line of megabytes.

usage: requests_test.py SIMULATOR
"""
import json
import os
import re
import socket
import unittest

from simulator import BOUNDARY, error
from simulatortest import SimulatorTest

TECHNICIAN = "/api/v1/techinfo"
UPLOAD = "/api/filemgr/v2/userfiles"
FIRST = b'{"techId":"first"}'
SIZE = b"%d" % len(FIRST)
CHUNKED = b"Transfer-Encoding: chunked"
LAST_CHUNK = b"0\r\n\r\n"
ONE_CHUNK = b"%x\r\n%s\r\n" % (len(FIRST), FIRST) + LAST_CHUNK


def post(*headers, body=FIRST, line=b"POST /api/v1/techinfo HTTP/1.1"):
    return b"\r\n".join([line, b"Host: 127.0.0.1", *headers, b"", body])


def length(text):
    return b"Content-Length: " + text


HIDDEN = post(length(b"17"), body=b'{"techId":"evil"}')

# What stands before the hidden request. One way to read its length ends where that begins.
COVERS = {
    "a whole request": post(length(SIZE)),
    "a kept connection": post(b"Connection: keep-alive", length(SIZE)),
    "two equal lengths": post(length(SIZE), length(SIZE)),
    "a short length, then a long one": post(length(b"0"), length(SIZE)),
    "a long length, then a short one": post(length(b"9999"), length(SIZE)),
    "a list of lengths": post(length(SIZE + b", " + SIZE)),
    "a length with a sign": post(length(b"+" + SIZE)),
    "a negative length": post(length(b"-1")),
    "a length in hexadecimal digits": post(length(b"0x12")),
    "a length with blanks": post(length(b" " + SIZE + b" ")),
    "a length with a tab": post(b"Content-Length:\t" + SIZE),
    "a length with more behind it": post(length(SIZE + b"abc")),
    "an empty length": post(length(b"")),
    "a length of 2^64 and more": post(length(b"18446744073709551634")),
    "a blank before the colon": post(b"Content-Length : " + SIZE),
    "a length and chunks": post(length(SIZE), CHUNKED, body=LAST_CHUNK),
    "chunks and a length": post(CHUNKED, length(SIZE), body=LAST_CHUNK),
    "chunks": post(CHUNKED, body=ONE_CHUNK),
    "chunks in another case": post(b"transfer-encoding: CHUNKED", body=ONE_CHUNK),
    "chunks after a tab": post(b"Transfer-Encoding:\tchunked", body=ONE_CHUNK),
    "chunks in a list": post(b"Transfer-Encoding: gzip, chunked", body=ONE_CHUNK),
    "a coding that is none": post(b"Transfer-Encoding: xchunked", length(SIZE)),
    "a chunk with an extension": post(CHUNKED, body=ONE_CHUNK.replace(b"\r\n", b";a=b\r\n", 1)),
    "a chunk with line feeds": post(CHUNKED, body=ONE_CHUNK.replace(b"\r\n", b"\n")),
    "a negative chunk": post(CHUNKED, body=b"-1\r\n" + FIRST + b"\r\n" + LAST_CHUNK),
    "a chunk of 2^64 and more": post(CHUNKED, body=b"10000000000000012\r\n" + FIRST + LAST_CHUNK),
    "a chunk longer than told": post(CHUNKED, body=b"5\r\n" + FIRST + b"\r\n" + LAST_CHUNK),
    "trailers": post(CHUNKED, body=ONE_CHUNK[:-2] + b"X: y\r\n\r\n"),
    "a folded header": post(b"Content-Length:", b" " + SIZE),
    "a carriage return alone": post(b"X: a\rContent-Length: 0", length(SIZE)),
    "line feeds alone": post(b"X: a", length(SIZE)).replace(b"\r\n", b"\n"),
    "a NUL in a header": post(b"X: a\0b", length(SIZE)),
    "a header without a name": post(b": x", length(SIZE)),
    "a header without a colon": post(b"Nonsense", length(SIZE)),
    "70 headers": post(*[b"A: b"] * 70, length(SIZE)),
    "10,000 headers": post(*[b"A: b"] * 10_000, length(SIZE)),
    "100-continue": post(b"Expect: 100-continue", length(SIZE)),
    "an expectation": post(b"Expect: 200-ok", length(SIZE)),
    "a body of GET": post(length(SIZE), line=b"GET /info HTTP/1.1"),
    "HEAD": post(length(b"0"), body=b"", line=b"HEAD /info HTTP/1.1"),
    "OPTIONS": post(length(b"0"), body=b"", line=b"OPTIONS * HTTP/1.1"),
    "TRACE": post(length(SIZE), line=b"TRACE /info HTTP/1.1"),
    "CONNECT": post(body=b"", line=b"CONNECT 127.0.0.1:22 HTTP/1.1"),
    "an absolute URI": post(body=b"", line=b"GET http://127.0.0.2:80/info HTTP/1.1"),
    "absurd ranges": post(b"Range: bytes=18446744073709551615-0,-1", body=b"", line=b"GET /info HTTP/1.1"),
    "HTTP/0.9": b"GET /info\r\n",
    "HTTP/1.0, kept": post(b"Connection: keep-alive", length(SIZE),
                           line=b"POST /api/v1/techinfo HTTP/1.0"),
    "HTTP/2": b"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n" + b"\0\0\0\4\0\0\0\0\0",
    "an upgrade to HTTP/2": post(b"Connection: Upgrade", b"Upgrade: h2c", length(SIZE)),
    "an upgrade to a web socket": post(b"Connection: Upgrade", b"Upgrade: websocket",
                                       b"Sec-WebSocket-Version: 13",
                                       b"Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==",
                                       body=b"", line=b"GET /info HTTP/1.1"),
    "empty lines": b"\r\n\r\n" + post(length(SIZE)),
    "no request": b"GARBAGE\r\n\r\n",
    "an error": post(length(SIZE), line=b"POST /nowhere HTTP/1.1"),
}

# In URIs and headers, and as escapes of JSON. Each could end a line, steer a terminal or hide text.
BYTES = [b"%0a%0d2026", b"%1b[31m", b"%00", b"%7f", b"%c2%9b31m", b"%e2%80%a8", b"%e2%80%ae", b"%ff%fe",
         b"%ed%a0%80", b"%22%5c", b"%f0%9f%92%a9", b"%ef%bb%bf", b"%d8%9c", b"\x80\xff", b"\xc2\x9b31m"]
ESCAPES = ["\\ud800", "\\udc80x", "\\n2026", "\\u2028", "\\u001b[1m", "\\u0000", "\\u009b", "\\u202e",
           "\\ud83d\\udca9", "\\\""]
HARMFUL = re.compile("[\0-\x1f\x7f-\x9f\u061c\u200b-\u200f\u2028-\u202e\u2060-\u2069\ufeff\ud800-\udfff]")


def upload(target):
    """The parts of an upload whose target is written in JSON already."""
    part = BOUNDARY + b"\r\nContent-Disposition: form-data\r\n\r\n%s\r\n"
    metadata = '{"fileUri":"%s","fileSize":1}' % target
    return part % metadata.encode() + part % b"x" + BOUNDARY + b"--\r\n"


class Attack(SimulatorTest):
    def exchange(self, message):
        """All that comes back."""
        with socket.create_connection(("127.0.0.1", self.device.port), timeout=60) as connection:
            answer = b""
            try:
                connection.sendall(message)
                connection.shutdown(socket.SHUT_WR)
                while piece := connection.recv(65536):
                    answer += piece
            except OSError:
                pass  # ended before it was read whole
            return answer

    def technician(self):
        with open(f"{self.device.data}/state/technician.json", encoding="utf-8") as file:
            return json.load(file)["techId"]


class Hidden(Attack):
    def test_nothing_behind_a_request_is_taken_for_another(self):
        self.ask_json("POST", TECHNICIAN, {"techId": "nobody"})
        for name, cover in COVERS.items():
            answer = self.exchange(cover + HIDDEN)
            self.assertIn(self.technician(), ("nobody", "first"), name)
            self.assertLessEqual(len(re.findall(rb"HTTP/\d\.\d \d\d\d ", answer)), 1, name)
        self.exchange(HIDDEN)
        self.assertEqual(self.technician(), "evil", "by itself it is one")


class HiddenClassic(Hidden):
    arguments = ("--serving", "classic")


class JsonLog(Attack):
    arguments = ("--log-requests=json",)

    def attack(self):
        """Leaves what tries to get into the log, and gives the lines."""
        for name in BYTES:
            for start in (b"GET /nowhere/", b"GET /api/filemgr/v2/metadata/",
                          b"DELETE /api/filemgr/v2/userfiles/", b"GET /api/workflow/v1/workorder/"):
                self.exchange(start + name + b" HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n")
            self.exchange(b"GET /info HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Forwarded-For: %s\r\n"
                          b"Origin: http://%s\r\n\r\n" % (name, name))
        for text in ESCAPES:
            self.ask("POST", "/api/workflow/v1/workorders", '{"cdm":[{"workOrderId":"%s"}]}' % text)
            self.ask("PUT", "/api/workflow/v1/active", '{"activeWorkOrderId":"%s"}' % text)
            self.ask("POST", TECHNICIAN, '{"techId":"%s"}' % text)
            self.ask("POST", UPLOAD, upload("/" + text))
        status, output, errors = self.device.stop()
        self.assertEqual(status, 0)
        for line in errors.splitlines():
            self.assertRegex(line, r"^\d{4}-\d\d-\d\dT\S+ (error|refused): ")
        for line in output.split("\n") + errors.split("\n"):
            self.assertNotRegex(line, HARMFUL)
        return [line for line in output.split("\n") if line and not line.startswith("view: ")]

    def test_each_line_is_one_object_of_harmless_texts(self):
        for line in self.attack():
            for value in json.loads(line).values():
                self.assertNotRegex(str(value), HARMFUL, line)

    def test_a_name_of_nearly_a_megabyte_gives_no_long_line(self):
        for name in ("x" * 900_000, "\x01" * 900_000, "\\u0001" * 150_000):
            self.ask("POST", UPLOAD, upload(self.device.path(name)))
        _, output, errors = self.device.stop()
        self.assertEqual(output.count("\n"), 3)
        self.assertEqual(errors.count("\n"), 3)
        for line in output.split("\n") + errors.split("\n"):
            self.assertLess(len(line), 20_000)


class TextLog(JsonLog):
    arguments = ("--log-requests",)

    def test_each_line_is_one_object_of_harmless_texts(self):
        for line in self.attack():
            self.assertRegex(line, r"^\d{4}-\d\d-\d\dT\S+Z 127\.0\.0\.1:\d+ [A-Z]+ /")


class Names(Attack):
    def test_a_name_that_the_system_cannot_hold_replaces_no_other(self):
        with open(self.device.path("kept"), "wb") as file:
            file.write(b"kept")
        for end in ("\\u0000", "\\u0000.txt", "\\ud800", "\\udc80"):
            answer = self.ask("POST", UPLOAD, upload(self.device.path("kept") + end))
            self.assertEqual(json.loads(answer[1]), error("Upload failed"), end)
        with open(self.device.path("kept"), "rb") as file:
            self.assertEqual(file.read(), b"kept")

    def test_names_of_every_kind_are_listed_and_can_be_deleted(self):
        sample = set(os.listdir(self.device.files))
        for name in ("n" * 255, " lead", "a.", "a..", "%2e%2e%2fx", ".x.new", "x.damaged-1", "~", "*",
                     "a\\nb", "a\\u202eb", "\\uffff", "e\\u0301"):
            answer = self.ask("POST", UPLOAD, upload(self.device.path(name)))
            self.assertEqual(json.loads(answer[1]), {}, name)
        for name in set(os.listdir(self.device.files)) - sample:
            path = "".join(f"%{byte:02x}" for byte in os.fsencode(self.device.path(name)))
            self.assertEqual(json.loads(self.ask("DELETE", f"{UPLOAD}{path}".replace("%2f", "/"))[1]), {})
        self.assertEqual(set(os.listdir(self.device.files)), sample)


if __name__ == "__main__":
    unittest.main(verbosity=2)
