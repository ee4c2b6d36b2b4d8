"""Transfers that are cut, delayed or corrupted: nothing goes unnoticed."""

import unittest

from clienttest import (DEVICE_REFUSED, DONE, SEVERAL_PIECES, TRANSFER_CORRUPT, ClientTest,
                        content)

BUSY = (b"HTTP/1.1 408 Request Timeout\r\nContent-Type: text/plain; charset=utf-8\r\n"
        b"Connection: close\r\nContent-Length: 43\r\n\r\nRequest timed out waiting on other requests")

INTERNAL_TIMEOUT = (b"HTTP/1.1 500 Internal Server Error\r\nConnection: close\r\n\r\n"
                    b"{\"errorString\":\"internal timeout\"}")

DOWNLOAD = rb"^GET /api/filemgr/v2/userfiles/"
UPLOAD = rb"^POST /api/filemgr/v2/userfiles "
METADATA = rb"^GET /api/syncfiles/v1/metadata/"

# Bytes of a download of several pieces: its headers, the first size line, the middle and the end
# of pieces, and the last byte before the end of the body.
DOWNLOAD_BODY = [0, 1, 8, 100, 4_999_999, 5_000_008, 5_000_020, 10_000_021, 11_999_000, 12_000_020]


class Downloads(ClientTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.data_of_file = content(SEVERAL_PIECES)

    def setUp(self):
        super().setUp()
        self.path = self.on_device("f.bin", self.data_of_file)
        self.here("f.bin", b"as it was")

    def fails(self, *fault, statuses=(TRANSFER_CORRUPT,), **named):
        self.proxy.faults.clear()
        added = self.proxy.add(*fault, **named)
        result = self.run_client("files", "get", self.path, "--retries", 0, "--timeout", 1)
        self.assertGreater(added.happened, 0, "the fault did not happen")
        self.assertIn(result.status, statuses, result)
        self.assertEqual(self.tree("."), {"f.bin": b"as it was"})

    def test_cut_in_the_body(self):
        for at in DOWNLOAD_BODY:
            with self.subTest(at=at):
                self.fails("cut", request=DOWNLOAD, body=True, at=at)

    def test_cut_before_the_end_of_the_body(self):
        # All pieces have arrived, but not the end of the body: the answer is not whole.
        length = self.length_of_download()
        self.fails("cut", request=DOWNLOAD, body=True, at=length - len(b"0\r\n\r\n"))

    def length_of_download(self):
        self.expect(DONE, "files", "get", self.path, "-o", "probe")
        (self.local / "probe").unlink()
        download = self.proxy.connections[-1]["down"]
        return len(download) - download.find(b"\r\n\r\n") - 4

    def test_cut_in_the_headers(self):
        for at in (0, 1, 9, 30):
            with self.subTest(at=at):
                self.fails("cut", request=DOWNLOAD, at=at)

    def test_corrupted_content(self):
        for at in (7, 100, 4_999_999, 5_000_030, 11_999_999):
            with self.subTest(at=at):
                self.fails("flip", request=DOWNLOAD, body=True, at=at)

    def test_corrupted_chunk_size(self):
        for at in (0, 1, 5, 5_000_010, 5_000_011):
            with self.subTest(at=at):
                self.fails("flip", request=DOWNLOAD, body=True, at=at)

    def test_corrupted_status_line(self):
        for at in (0, 9, 10, 11):
            with self.subTest(at=at):
                self.fails("flip", request=DOWNLOAD, at=at,
                           statuses=(TRANSFER_CORRUPT, DEVICE_REFUSED))

    def test_corrupted_request(self):
        for at in (5, 25, 40):
            with self.subTest(at=at):
                self.fails("flip", "up", request=DOWNLOAD, at=at,
                           statuses=(TRANSFER_CORRUPT, DEVICE_REFUSED))

    def flips_in_metadata(self):
        """Where a corrupted byte changes what the metadata say."""
        self.expect(DONE, "files", "get", self.path, "-o", "probe")
        (self.local / "probe").unlink()
        answer = next(c["down"] for c in self.proxy.connections if b"sha256" in c["down"])
        start = answer.find(b"\r\n\r\n") + 4
        return [answer.find(name) + offset - start for name in (b'"size": ', b'"sha256": "')
                for offset in (0, 1, len(name), len(name) + 3)]

    def test_corrupted_metadata(self):
        for at in self.flips_in_metadata():
            with self.subTest(at=at):
                self.fails("flip", request=METADATA, body=True, at=at)

    def test_metadata_corrupted_once_is_read_again_or_fails(self):
        for at in self.flips_in_metadata():
            with self.subTest(at=at):
                self.here("f.bin", b"as it was")
                self.proxy.faults.clear()
                self.proxy.add("flip", request=METADATA, body=True, at=at, times=1)
                status = self.run_client("files", "get", self.path).status
                self.assertIn(status, (DONE, TRANSFER_CORRUPT))
                expected = self.data_of_file if status == DONE else b"as it was"
                self.assertTrue(self.tree(".") == {"f.bin": expected})

    def test_stalled_download(self):
        self.fails("delay", request=DOWNLOAD, body=True, at=6_000_000, seconds=20)

    def test_delayed_download_arrives(self):
        self.proxy.add("delay", request=DOWNLOAD, body=True, at=6_000_000, seconds=0.5)
        self.expect(DONE, "files", "get", self.path)
        self.assertEqual(self.tree("."), {"f.bin": self.data_of_file})


class Uploads(ClientTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.data_of_file = content(SEVERAL_PIECES, seed=1)

    def setUp(self):
        super().setUp()
        self.here("f.bin", self.data_of_file)

    def put(self, *options):
        return self.run_client("files", "put", "f.bin", self.user_files, *options)

    def fails(self, *fault, statuses=(TRANSFER_CORRUPT,), **named):
        self.proxy.faults.clear()
        added = self.proxy.add(*fault, **named)
        result = self.put("--retries", 0)
        self.assertGreater(added.happened, 0, "the fault did not happen")
        self.assertIn(result.status, statuses, result)

    def test_cut_in_the_body(self):
        for at in (0, 40, 400, 1_000_000, 5_000_000, 11_999_000):
            with self.subTest(at=at):
                self.fails("cut", "up", request=UPLOAD, body=True, at=at,
                           statuses=(TRANSFER_CORRUPT, DEVICE_REFUSED))

    def test_corrupted_content(self):
        for at in (600, 4_999_999, 5_000_000, 11_999_999):
            with self.subTest(at=at):
                self.fails("flip", "up", request=UPLOAD, body=True, at=at)

    def test_corrupted_closing_line_is_refused_or_harmless(self):
        result = self.put()
        self.assertEqual(result.status, DONE, result)
        post = next(c["up"] for c in self.proxy.connections if c["up"].startswith(b"POST"))
        end = len(post) - post.find(b"\r\n\r\n") - 4
        for before_end in (4, 5, 20, 40):
            with self.subTest(before_end=before_end):
                self.proxy.faults.clear()
                self.proxy.add("flip", "up", request=UPLOAD, body=True, at=end - before_end)
                result = self.put("--retries", 0)
                if result.status == DONE:
                    self.assertEqual((self.user_files / "f.bin").read_bytes(), self.data_of_file)

    def test_lost_answer(self):
        for at in (0, 10, 60):
            with self.subTest(at=at):
                self.fails("cut", request=UPLOAD, at=at)

    def test_corrupted_answer(self):
        self.fails("flip", request=UPLOAD, body=True, at=0)

    def test_upload_that_breaks_off_is_sent_again(self):
        fault = self.proxy.add("cut", "up", request=UPLOAD, body=True, at=7_000_000, times=1)
        result = self.put("--retries", 1)
        self.assertEqual((result.status, fault.happened), (DONE, 1), result)
        self.assertEqual((self.user_files / "f.bin").read_bytes(), self.data_of_file)


class Busy(ClientTest):
    def test_busy_device_is_asked_again_after_a_pause(self):
        self.proxy.add("answer", request=rb"^GET /info", answer=BUSY, times=2)
        result = self.expect(DONE, "info")
        self.assertEqual(result.err.count("trying again"), 2)
        self.assertIn("the device is busy; trying again in 0.5 s", result.err)
        self.assertIn("the device is busy; trying again in 1 s", result.err)

    def test_device_that_stays_busy(self):
        self.proxy.add("answer", answer=BUSY)
        result = self.expect(DEVICE_REFUSED, "info", "--retries", 1)
        self.assertIn("Request timed out waiting on other requests", result.err)
        self.assertEqual(result.err.count("trying again"), 1)

    def test_busy_at_a_download(self):
        path = self.on_device("f", b"abc")
        self.proxy.add("answer", request=DOWNLOAD, answer=BUSY, times=1)
        self.expect(DONE, "files", "get", path)
        self.assertEqual(self.tree("."), {"f": b"abc"})

    def test_busy_before_an_upload_was_read(self):
        self.here("f", content(20_000_000))
        self.proxy.add("answer", request=UPLOAD, answer=BUSY, times=1)
        self.expect(DONE, "files", "put", "f", self.user_files)
        self.assertEqual((self.user_files / "f").read_bytes(), content(20_000_000))

    def test_late_answer_of_the_request_before(self):
        late = b'{\n    "activeWorkOrderId": ""\n}\n'
        self.proxy.add("answer", answer=b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\n"
                       b"Connection: close\r\n\r\n%s" % (len(late), late))
        path = self.on_device("f", b"abc")
        for command in (["info"], ["tech", "A"], ["templates"], ["workorders", "list"],
                        ["workorders", "get", "x"], ["workorders", "active", "x"],
                        ["files", "list"], ["files", "pending"], ["files", "stat", path],
                        ["files", "get", path], ["files", "rm", path], ["files", "confirm", path],
                        ["sync", "out"]):
            with self.subTest(command=command):
                self.expect(TRANSFER_CORRUPT, *command)

    def test_device_whose_own_answer_takes_too_long_is_asked_again(self):
        fault = self.proxy.add("answer", answer=INTERNAL_TIMEOUT, times=1)
        self.expect(DONE, "info")
        self.assertEqual(fault.happened, 1)

    def test_device_whose_own_answer_always_takes_too_long(self):
        self.proxy.add("answer", answer=INTERNAL_TIMEOUT)
        self.assertIn("internal timeout", self.expect(DEVICE_REFUSED, "info", "--retries", 0).err)


if __name__ == "__main__":
    unittest.main()
