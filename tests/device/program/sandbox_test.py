#!/usr/bin/env python3
"""What a client can reach and what not: uploads to hostile targets, the sandbox that holds them, and
requests of web pages.

usage: sandbox_test.py SIMULATOR
"""
import ctypes
import http.client
import json
import os
import subprocess
import unittest

from simulator import BOUNDARY, Simulator, error, upload_body
from simulatortest import PROGRAM, SimulatorTest

UPLOAD = "/api/filemgr/v2/userfiles"
REFUSED = error("Upload failed")


def kernel_confines():
    landlock_create_ruleset = 444
    version = ctypes.CDLL(None).syscall(landlock_create_ruleset, None, 0, 1)
    return version > 0


class Containment(SimulatorTest):
    """Hostile targets. Where the kernel cannot confine the program, the same targets are written:
    the rule for paths is a plain comparison of text."""

    def setUp(self):
        super().setUp()
        self.outside = os.path.join(self.folder, "outside")
        os.mkdir(self.outside)

    def path(self, name):
        return os.path.join(self.device.files, name)

    def upload(self, target, content=b"abc"):
        return json.loads(self.ask("POST", UPLOAD, upload_body(target, content))[1])

    def check(self, target, written):
        answer = self.upload(target, b"hostile")
        if kernel_confines():
            self.assertEqual(answer, REFUSED)
            self.assertFalse(os.path.lexists(written))
        else:
            self.assertEqual(answer, {})
            self.assertTrue(os.path.lexists(written))
        self.assertEqual(self.upload(self.path("inside")), {}, "uploads inside go on")

    def test_parent_segments_do_not_lead_out(self):
        self.check(f"{self.device.files}/../../../outside/file", f"{self.outside}/file")

    def test_many_parent_segments_do_not_lead_out(self):
        up = "/.." * 64
        self.check(f"{self.device.files}{up}{self.outside}/file", f"{self.outside}/file")

    def test_a_symbolic_link_to_a_folder_does_not_lead_out(self):
        os.symlink(self.outside, self.path("link"))
        self.check(self.path("link/file"), f"{self.outside}/file")

    def test_a_symbolic_link_to_a_file_does_not_lead_out(self):
        os.symlink(f"{self.outside}/file", self.path("link"))
        self.check(self.path("link"), f"{self.outside}/file")

    def test_a_sibling_of_the_data_folder_is_out_of_reach(self):
        os.mkdir(self.device.data + "-sibling")
        self.check(f"{self.device.files}/../../../device-sibling/file",
                   f"{self.device.data}-sibling/file")

    def test_an_existing_file_outside_is_not_emptied(self):
        with open(f"{self.outside}/file", "wb") as file:
            file.write(b"precious")
        answer = self.upload(f"{self.device.files}/../../../outside/file", b"hostile")
        with open(f"{self.outside}/file", "rb") as file:
            content = file.read()
        confined = kernel_confines()
        self.assertEqual(answer, REFUSED if confined else {})
        self.assertEqual(content, b"precious" if confined else b"hostile")

    def test_other_files_of_the_device_are_out_of_reach(self):
        self.check(f"{self.device.files}/../../workorders/new",
                   f"{self.device.data}/workorders/new")

    def test_the_rest_of_the_storage_is_not_held_back(self):
        """The rule names the folder of the mount point, so that storage can be mounted later."""
        self.assertEqual(self.upload(f"{self.device.files}/../templates/new"), {})
        self.assertTrue(os.path.exists(f"{self.device.data}/storage/templates/new"))

    def upload_to_a_hard_link(self):
        """What a file outside holds after an upload to another name of it."""
        with open(f"{self.outside}/file", "wb") as file:
            file.write(b"precious")
        os.link(f"{self.outside}/file", self.path("link"))
        self.assertEqual(self.upload(self.path("link"), b"hostile"), {})
        with open(f"{self.outside}/file", "rb") as file:
            return file.read()

    def test_a_hard_link_to_a_file_outside_is_replaced(self):
        self.assertEqual(self.upload_to_a_hard_link(), b"precious")

    def test_a_folder_inside_whose_name_begins_like_the_root_is_written(self):
        """Below the data folder nothing holds the text of the rule back."""
        os.mkdir(self.device.files + "-sibling")
        self.assertEqual(self.upload(self.device.files + "-sibling/file"), {})
        self.assertTrue(os.path.exists(self.device.files + "-sibling/file"))


class ClassicContainment(Containment):
    """Classic serving writes uploads in place, on the main thread."""

    arguments = ("--serving", "classic")

    def test_a_hard_link_to_a_file_outside_is_replaced(self):
        self.assertEqual(self.upload_to_a_hard_link(), b"hostile", "not held back")

    def test_other_files_of_the_device_are_out_of_reach(self):
        """Not so: the main thread writes uploads, and everything else too."""
        self.assertEqual(self.upload(f"{self.device.files}/../../workorders/new"), {})
        self.assertTrue(os.path.exists(f"{self.device.data}/workorders/new"))


class StorageMountedLater(SimulatorTest):
    """File systems come and go on the folder of the user files while the device serves."""

    starts = False

    def test_takes_uploads(self):
        own = [] if os.geteuid() == 0 else ["--map-root-user"]
        self.device = Simulator(PROGRAM, folder=self.folder, wrapper=["unshare", "--mount", *own])
        self.addCleanup(self.device.kill)
        self.device.start()
        self.ask("POST", UPLOAD, upload_body(f"{self.device.files}/before", b"abc"))
        enter = ["nsenter", "--mount", "--target", str(self.device.process.pid)]
        if own:
            enter += ["--user", "--preserve-credentials"]
        subprocess.run([*enter, "mount", "-t", "tmpfs", "none", self.device.files], check=True)
        body = upload_body(f"{self.device.files}/after", b"abc")
        self.assertEqual(json.loads(self.ask("POST", UPLOAD, body)[1]), {})
        mounted = f"/proc/{self.device.process.pid}/root{self.device.files}"
        self.assertEqual(os.listdir(mounted), ["after"])


class ClassicWebPages(SimulatorTest):
    """Any page in a browser on the network can send requests; that is why the port needs a fence."""

    arguments = ("--serving", "classic")

    def request(self, method, path, body=None, **headers):
        connection = http.client.HTTPConnection("127.0.0.1", 8081, timeout=60)
        self.addCleanup(connection.close)
        sent = {name.replace("_", "-"): value for name, value in headers.items()}
        connection.request(method, path, body, {"Origin": "http://page.example", **sent})
        response = connection.getresponse()
        return response, response.read()

    def test_a_preflight_allows_any_origin(self):
        response, _ = self.request("OPTIONS", "/api/workflow/v1/active",
                                   Access_Control_Request_Method="PUT")
        self.assertEqual(response.status, 200)
        self.assertEqual(response.headers["Access-Control-Allow-Origin"], "*")

    def test_a_form_can_upload_without_one(self):
        path = os.path.join(self.device.files, "form")
        form = f"multipart/form-data; boundary={BOUNDARY[2:].decode()}"
        _, body = self.request("POST", UPLOAD, upload_body(path, b"abc"), Content_Type=form)
        self.assertEqual(json.loads(body), {})
        self.assertTrue(os.path.exists(path))


class RequiredSandbox(SimulatorTest):
    starts = False

    def test_it_is_there_or_the_program_says_why_and_does_not_start(self):
        if kernel_confines():
            self.start("--require-sandbox")
            self.assertEqual(self.device.stop(), (0, "", ""))
        else:
            self.start("--require-sandbox")
            status, _, errors = self.device.stop()
            self.assertEqual(status, 1)
            self.assertEqual(errors.count("\n"), 1)


if __name__ == "__main__":
    unittest.main(verbosity=2)
