"""Starts and asks the simulator, for tests. One at a time: it serves on port 8081."""
import hashlib
import http.client
import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from urllib.parse import quote

PROGRAM = os.path.abspath(sys.argv.pop(1))
BOUNDARY = b"--simulator-test"


def error(message):
    return {"errorMessage": message}


class Simulator:
    """A simulator in a folder of its own; `arguments` are added to its command line."""

    def __init__(self, folder, *arguments):
        self.data = os.path.join(folder, "device")
        self.files = os.path.join(self.data, "storage", "userfiles")
        self.process = subprocess.Popen(
            [PROGRAM, "--data", self.data, *arguments], cwd=folder,
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.ready_line = self.process.stdout.readline()

    def stop(self):
        """Ends it and returns its status, the rest of its output and its errors."""
        self.process.terminate()
        output, errors = self.process.communicate(timeout=60)
        return self.process.returncode, output, errors

    def kill(self):
        self.process.kill()
        self.process.communicate()


def ask(method, path, body=None):
    """The status and the body of one request."""
    connection = http.client.HTTPConnection("127.0.0.1", 8081, timeout=120)
    try:
        connection.request(method, path, body)
        response = connection.getresponse()
        return response.status, response.read()
    finally:
        connection.close()


def ask_json(method, path, document=None):
    body = None if document is None else json.dumps(document)
    return json.loads(ask(method, path, body)[1])


def upload_body(target, content):
    metadata = json.dumps({"fileUri": target, "fileSize": len(content)}).encode()
    part = b"%s\r\nContent-Disposition: form-data\r\n\r\n%s\r\n"
    return part % (BOUNDARY, metadata) + part % (BOUNDARY, content) + BOUNDARY + b"--\r\n"


def by_path(prefix, path):
    return prefix + quote(path)


def sha256(content):
    return hashlib.sha256(content).hexdigest()


class SimulatorTest(unittest.TestCase):
    """Runs each test in a new folder, with a running simulator unless the class says otherwise."""

    arguments = ()
    starts = True

    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)
        self.device = None
        if self.starts:
            self.start(*self.arguments)

    def start(self, *arguments):
        self.device = Simulator(self.folder, *arguments)
        self.addCleanup(self.device.kill)

    def restart(self):
        status, _, errors = self.device.stop()
        self.assertEqual((status, errors), (0, ""))
        self.start(*self.arguments)
