#!/usr/bin/env python3
"""Uploads that were made to mix, to reach what is no user file, or to eat memory and disk.

The attacks, each seen to succeed on the interface as it was:
- 690,000 empty parts in one upload kept the device busy for so long that every later answer went to
  the wrong client; 500,000 of them let one client's bytes end up in the other's file;
- uploads to "<files>/../../state/faults", to the journal of the work orders, to "workorders/x.json",
  "asset.json", "templates/big.json" and the state took the device out of service over restarts;
- an upload to "/proc/self/fd/1" wrote into the pipe behind standard output, and stopped the program
  once nobody read there;
- a first part that never ends took all memory;
- 5 MB of parts after refused metadata wrote 714,279 lines to the log;
- a file that was replaced while it was downloaded reached its client with bytes of both, one that was
  deleted was cut short, and both downloads ended properly;
- an upload named ".parlowen-upload-passing" was told stored, and removed by the next one;
- a client that deleted that name again and again ended every hundredth upload of others, and lists held
  it now and then;
- "fileSize" 0 filled the disk, reserve included, and was answered with success;
- with 9 MiB free, no file could be confirmed any more when the list of 10 MB was to be written anew;
- 300,000 files without content made a list of 482 MB, which took 1 GB of memory.

usage: uploads_test.py SIMULATOR
"""
import http.client
import json
import os
import socket
import threading
import time
import unittest
from urllib.parse import quote

from simulator import BOUNDARY, ask, error, sha256, upload_body
from simulatortest import SimulatorTest, SmallDiskTest

UPLOAD = "/api/filemgr/v2/userfiles"
REFUSED = error("Upload failed")
EMPTY_PART = BOUNDARY + b"\r\n\r\n\r\n"
END = BOUNDARY + b"--\r\n"
MIB = 1024 * 1024


def metadata_part(target, size=1):
    return upload_body(target, b"", size).split(BOUNDARY)[1].join([BOUNDARY, b""])


def send(body, port=8081, timeout=60):
    """The answer to an upload, also to one that the device ends before it is sent whole."""
    with socket.create_connection(("127.0.0.1", port), timeout=timeout) as connection:
        head = f"POST {UPLOAD} HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: {len(body)}\r\n\r\n"
        try:
            connection.sendall(head.encode() + body)
        except OSError:
            pass  # the answer, if any, is there all the same
        answer = http.client.HTTPResponse(connection)
        try:
            answer.begin()
            return json.loads(answer.read())
        except (OSError, http.client.HTTPException):
            return None


class Attack(SimulatorTest):
    def upload(self, target, content=b"abc", size=None):
        return json.loads(self.ask("POST", UPLOAD, upload_body(target, content, size))[1])

    def check_it_serves(self):
        """Another client is answered, and with its own answer."""
        self.assertEqual(self.ask("GET", "/info")[0], 200)
        target = self.device.path("honest")
        self.assertEqual(self.upload(target, b"honest"), {})
        self.assertEqual(self.ask("GET", UPLOAD + target)[1], b"honest")


class ManyParts(Attack):
    def test_an_upload_of_empty_parts_ends_and_every_answer_stays_with_its_client(self):
        hostile = threading.Thread(target=send, args=(EMPTY_PART * 690_000,))
        hostile.start()
        content = os.urandom(5_000_000)
        self.assertEqual(self.upload(self.device.path("b"), content), {})
        hostile.join()
        for number in range(30):
            self.upload(self.device.path(f"file-{number}"), str(number).encode())
            answer = self.ask("GET", UPLOAD + self.device.path(f"file-{number}"))[1]
            self.assertEqual(answer, str(number).encode())

    def test_no_byte_of_one_upload_is_in_the_file_of_another(self):
        hostile_content = b"A" * 1_000_000
        hostile_body = (metadata_part(self.device.path("a")) + EMPTY_PART * 500_000 +
                        upload_body(self.device.path("a"), hostile_content))
        hostile = threading.Thread(target=send, args=(hostile_body,))
        hostile.start()
        content = b"B" * 30_000_000
        self.assertEqual(self.upload(self.device.path("b"), content), {})
        hostile.join()
        with open(self.device.path("b"), "rb") as file:
            self.assertEqual(sha256(file.read()), sha256(content))
        self.assertFalse(os.path.exists(self.device.path("a")), "a failed upload leaves no file")

    def test_empty_parts_cost_no_memory(self):
        self.check_it_serves()
        before = self.device.resident_kib()
        for _ in range(5):
            self.assertIn(send(EMPTY_PART * 400_000), (REFUSED, None))
        self.assertLess(self.device.resident_kib() - before, 16 * 1024)

    def test_parts_after_refused_metadata_are_not_told_one_by_one(self):
        body = metadata_part("/outside/file")
        self.assertIn(send(body + EMPTY_PART * 600_000 + END), (REFUSED, None))
        self.assertLess(os.path.getsize(self.device.error_file), 64 * 1024)
        self.check_it_serves()


class FirstPart(Attack):
    def test_one_that_does_not_end_takes_no_memory_and_ends_nothing(self):
        self.check_it_serves()
        process, before = self.device.process.pid, self.device.resident_kib()
        for _ in range(5):
            body = BOUNDARY + b"\r\n\r\n" + b"x" * (64 * MIB)
            self.assertIn(send(body), (REFUSED, None))
        self.assertLess(self.device.resident_kib() - before, 32 * 1024)
        self.assertEqual(self.device.process.pid, process)
        self.assertTrue(self.device.running())
        self.check_it_serves()


class ManyFiles(Attack):
    arguments = ("--port", "0", "--empty", "--user-file-limit", "20")

    def fill(self, begin, count=40):
        """How many of so many uploads were stored."""
        answers = [self.upload(f"{begin}{number}", b"") for number in range(count)]
        self.assertEqual(answers.count({}) + answers.count(REFUSED), count)
        return answers.count({})

    def test_uploads_beyond_the_limit_are_refused_with_a_reason(self):
        self.assertEqual(self.fill(self.device.path("")), 20)
        self.assertEqual(len(os.listdir(self.device.files)), 20)
        self.assertIn("holds the 20 that are allowed", self.device.errors())

    def test_the_whole_storage_holds_no_more_wherever_they_are_sent(self):
        self.assertEqual(self.fill(self.device.path("../")), 20)
        self.assertEqual(self.fill(self.device.path("../templates/")), 0)
        self.assertEqual(self.fill(self.device.path("")), 0)

    def test_at_the_limit_files_can_be_read_and_deleted_and_then_uploaded_again(self):
        self.fill(self.device.path(""))
        first = self.device.path("0")
        self.assertEqual(self.upload(first), REFUSED)
        self.assertEqual(self.ask_json("DELETE", UPLOAD + first), {})
        self.assertEqual(self.upload(first), {})

    def test_uploads_at_once_take_no_more_than_one_for_each_of_them_beyond_the_limit(self):
        threads = [threading.Thread(target=self.fill, args=(self.device.path(letter), 10)) for letter in "abcdefgh"]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertIn(len(os.listdir(self.device.files)), range(16, 28))


class ManyFilesServedClassically(ManyFiles):
    arguments = ("--port", "0", "--empty", "--user-file-limit", "20", "--serving", "classic")
    test_uploads_at_once_take_no_more_than_one_for_each_of_them_beyond_the_limit = None


class OtherFilesOfTheDevice(Attack):
    """Uploads reach the storage, where the user files are, and nothing else."""

    TARGETS = ("state/faults", "state/workorders.staged", "state/workorders.committed",
               "state/technician.json", "workorders/x.json", "asset.json", "templates/big.json")

    def test_none_is_reached_by_an_upload(self):
        before = self.device.checksum()
        for name in self.TARGETS:
            answer = self.upload(f"{self.device.files}/../../{name}", b"slow-call=4000000000")
            self.assertEqual(answer, REFUSED, name)
        self.assertEqual(self.device.checksum(), before)

    def test_after_the_attempts_batches_are_stored_and_the_program_ends_and_starts(self):
        for name in self.TARGETS:
            self.upload(f"{self.device.files}/../../{name}", b"hostile")
        for number in range(3):
            batch = {"cdm": [{"workOrderId": f"WO-{number}"}]}
            self.assertEqual(self.ask_json("POST", "/api/workflow/v1/workorders", batch), {})
        self.assertEqual(self.device.stop()[0], 0)
        self.start()
        self.assertEqual(self.ask("GET", "/api/workflow/v1/workorder/WO-2")[0], 200)

    def test_links_lead_to_none_of_them(self):
        os.symlink(f"{self.device.data}/workorders", self.device.path("folder"))
        os.symlink(f"{self.device.data}/asset.json", self.device.path("file"))
        before = self.device.checksum()
        for name in ("folder/x.json", "file"):
            self.assertEqual(self.upload(self.device.path(name)), REFUSED, name)
        self.assertEqual(self.device.checksum(), before)


    def test_a_link_that_changes_while_uploads_run_leads_to_none_of_them(self):
        before = sorted(os.listdir(f"{self.device.data}/workorders"))
        folder, swapped = self.device.path("folder"), self.device.path("swapped")
        os.mkdir(self.device.path("real"))
        os.symlink(self.device.path("real"), folder)
        ended = threading.Event()

        def swap():
            while not ended.is_set():
                for place in (f"{self.device.data}/workorders", self.device.path("real")):
                    os.symlink(place, swapped)
                    os.replace(swapped, folder)
        swapping = threading.Thread(target=swap)
        swapping.start()
        answers = [self.upload(f"{folder}/hostile-{number}.json") for number in range(300)]
        ended.set()
        swapping.join()
        self.assertIn({}, answers)
        self.assertIn(REFUSED, answers)
        self.assertEqual(sorted(os.listdir(f"{self.device.data}/workorders")), before)


class Downloads(Attack):
    """Of files that change on their way; the window of the client is small, so that they are slow."""

    SIZE = 40_000_000

    def begin_download(self, name):
        client = socket.socket()
        client.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 65536)
        client.connect(("127.0.0.1", self.device.port))
        client.sendall(f"GET {UPLOAD}{self.device.path(name)} HTTP/1.1\r\nHost: a\r\n\r\n".encode())
        answer = http.client.HTTPResponse(client)
        client.close()  # the answer keeps it
        answer.begin()
        self.addCleanup(answer.close)
        self.assertEqual(answer.read(1000), b"A" * 1000)
        return answer

    def check_it_is_broken(self, answer):
        with self.assertRaises(http.client.IncompleteRead) as broken:
            answer.read()
        self.assertNotIn(b"B", broken.exception.partial)

    def check_replacing_breaks(self, name):
        self.assertEqual(self.upload(self.device.path("file"), b"A" * self.SIZE), {})
        answer = self.begin_download(name)
        self.assertEqual(self.upload(self.device.path("file"), b"B" * self.SIZE), {})
        self.check_it_is_broken(answer)

    def test_of_a_file_that_is_replaced_is_broken(self):
        self.check_replacing_breaks("file")

    def test_of_a_file_that_is_named_by_way_of_a_missing_folder_is_broken_too(self):
        self.check_replacing_breaks("missing/../file")

    def test_of_a_file_that_is_named_by_way_of_a_link_is_broken_too(self):
        os.symlink("/usr/share", self.device.path("link"))
        self.check_replacing_breaks("link/../file")

    def test_of_a_file_that_is_deleted_is_broken(self):
        self.assertEqual(self.upload(self.device.path("file"), b"A" * self.SIZE), {})
        answer = self.begin_download("file")
        self.assertEqual(self.ask_json("DELETE", UPLOAD + self.device.path("file")), {})
        self.check_it_is_broken(answer)


class HiddenNames(Attack):
    def test_are_refused_and_nothing_stored_is_lost(self):
        for name in (".parlowen-upload-passing", ".parlowen-upload-1-1"):
            self.assertEqual(self.upload(self.device.path(name)), REFUSED, name)
        self.assertEqual(self.upload(self.device.path("file"), b"first"), {})
        self.assertEqual(self.upload(self.device.path("file"), b"second"), {})
        self.assertEqual(self.ask("GET", UPLOAD + self.device.path("file"))[1], b"second")


    def test_of_uploads_on_their_way_are_no_user_files(self):
        name = self.device.path(".parlowen-upload-passing")
        with open(name, "wb") as file:
            file.write(b"on its way")
        for path in (UPLOAD, "/api/syncfiles/v1/pendingfiles/all"):
            self.assertNotIn(b"passing", self.ask("GET", path)[1])
        for method, path in (("GET", UPLOAD), ("DELETE", UPLOAD), ("GET", "/api/filemgr/v2/metadata"),
                             ("GET", "/api/syncfiles/v1/metadata"),
                             ("GET", "/api/syncfiles/v1/userfiles"),
                             ("PUT", "/api/syncfiles/v1/userfiles")):
            self.assertIn("errorMessage", self.ask_json(method, path + name), (method, path))
        self.assertTrue(os.path.exists(name))

    def test_cannot_be_deleted_while_an_upload_goes_by_one(self):
        ended = threading.Event()

        def delete():
            while not ended.is_set():
                self.ask("DELETE", UPLOAD + self.device.path(".parlowen-upload-passing"))
        deleting = threading.Thread(target=delete)
        self.addCleanup(ended.set)
        deleting.start()
        answers = [self.upload(self.device.path("file")) for _ in range(300)]
        ended.set()
        deleting.join()
        self.assertEqual(answers, [{}] * 300)


class NoRegularFiles(Attack):
    def test_nothing_arrives_in_the_pipe_behind_standard_output(self):
        for descriptor in range(8):
            target = f"{self.device.files}{'/..' * 20}/proc/self/fd/{descriptor}"
            self.assertEqual(self.upload(target, b"x" * 200_000), REFUSED)
        self.check_it_serves()
        self.assertEqual(self.device.stop(), (0, "", self.device.errors()))

    def test_a_pipe_a_device_and_a_folder_are_refused_at_once(self):
        os.mkfifo(self.device.path("pipe"))
        os.mkdir(self.device.path("folder"))
        os.symlink("/dev/null", self.device.path("device"))
        before = time.monotonic()
        for name in ("pipe", "folder", "device"):
            self.assertEqual(self.upload(self.device.path(name)), REFUSED, name)
        self.assertLess(time.monotonic() - before, 5)
        self.check_it_serves()


class SmallDisk(SmallDiskTest):
    RESERVE = 16 * MIB

    def test_an_upload_that_lies_about_its_size_is_told_and_leaves_the_reserve(self):
        answer = send(upload_body(self.device.path("big"), b"x" * (120 * MIB), size=0),
                      self.device.port)
        self.assertIn(answer, (REFUSED, None))
        self.assertGreaterEqual(self.free(), self.RESERVE)
        self.assertFalse(os.path.exists(self.seen("device/storage/userfiles/big")))
        self.assertEqual(json.loads(ask("POST", UPLOAD, upload_body(self.device.path("small"), b"x"),
                                        port=self.device.port)[1]), {})

    def test_two_that_would_fit_alone_do_not_eat_the_reserve_together(self):
        bodies = [upload_body(self.device.path(name), b"x" * (50 * MIB), size=0) for name in "ab"]
        uploads = [threading.Thread(target=send, args=(body, self.device.port)) for body in bodies]
        for upload in uploads:
            upload.start()
        lowest = self.free()
        while any(upload.is_alive() for upload in uploads):
            lowest = min(lowest, self.free())
        self.assertGreaterEqual(lowest, self.RESERVE - 2 * 8 * MIB)

    def confirm(self, name):
        path = quote(self.device.path(name))
        return json.loads(self.ask("PUT", f"/api/syncfiles/v1/userfiles{path}")[1])

    def make(self, folders, names):
        """Files deep below the user files, where a path is too long for one call."""
        place = os.open(self.seen("device/storage/userfiles"), os.O_RDONLY)
        for folder in folders:
            os.mkdir(folder, dir_fd=place)
            below = os.open(folder, os.O_RDONLY, dir_fd=place)
            os.close(place)
            place = below
        for name in names:
            os.close(os.open(name, os.O_CREAT | os.O_WRONLY, dir_fd=place))
        os.close(place)

    def test_files_can_be_confirmed_while_there_is_no_room_for_a_second_list_of_them(self):
        folders = ["\x01" * 240] * 14  # six bytes each in the list
        names = [f"{number}" for number in range(480)]
        self.make(folders, names)
        for name in names:
            self.assertEqual(self.confirm("/".join([*folders, name])), {})
        self.assertGreater(os.path.getsize(self.seen("device/state/confirmed-files.jsonl")), 9 * MIB)
        for name in "ab":
            self.make([], [name])
        self.assertEqual(self.confirm("a"), {})
        os.utime(self.seen("device/storage/userfiles/a"), (0, 0))
        self.ask("GET", "/api/syncfiles/v1/pendingfiles/all")  # it is seen that "a" is the same file
        self.leave(9 * MIB)
        self.assertEqual(self.confirm("b"), {})
        self.assertGreater(self.free(), 8 * MIB)
        self.assertEqual(self.device.errors(), "")


if __name__ == "__main__":
    unittest.main(verbosity=2)
