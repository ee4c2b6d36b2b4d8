"""Starts the simulator and asks it, for the tests of every area."""
import hashlib
import http.client
import json
import os
import re
import shutil
import subprocess
import tempfile
from urllib.parse import quote

PORT = 8081
BOUNDARY = b"--simulator-test"


class Simulator:
    """A simulator with a folder of its own, made when none is given and then removed at the end.

    `arguments` are added to its command line, `wrapper` is run around it, `options` are those of
    `subprocess.Popen`. Only a `faulty` one takes `set_faults`. As a context it is started and ended; otherwise `start` and `stop` do that.
    """

    def __init__(self, program, *arguments, folder=None, wrapper=(), faulty=False, **options):
        self.program = os.path.abspath(program)
        self.arguments = arguments
        self.wrapper = list(wrapper)
        self.options = options
        self.owns_folder = folder is None
        self.folder = tempfile.mkdtemp() if folder is None else str(folder)
        self.data = os.path.join(self.folder, "device")
        self.files = os.path.join(self.data, "storage", "userfiles")
        self.fault_file = os.path.join(self.folder, "faults")
        if faulty:
            self.arguments = ("--fault-file", self.fault_file, *arguments)
        self.error_file = os.path.join(self.folder, "errors")
        open(self.error_file, "wb").close()
        self.ready_line = ""
        self.port = PORT
        self.process = None

    def __enter__(self):
        self.start()
        if not self.ready_line:
            raise RuntimeError(f"the simulator does not start: {self.errors()}")
        return self

    def __exit__(self, *exception):
        self.kill()
        if self.owns_folder:
            shutil.rmtree(self.folder)

    def start(self):
        """Starts it, again too, and waits until it answers or has ended."""
        with open(self.error_file, "ab") as errors:
            self.process = subprocess.Popen(
                [*self.wrapper, self.program, "--data", self.data, *self.arguments],
                cwd=self.folder, stdout=subprocess.PIPE, stderr=errors, text=True, **self.options)
        self.ready_line = self.process.stdout.readline()
        ready = re.fullmatch(r"listening on http://\S+:(\d+)\n", self.ready_line)
        if ready:
            self.port = int(ready[1])

    def stop(self):
        """Ends it and returns its status, the rest of its output and its errors."""
        self.process.terminate()
        output, _ = self.process.communicate(timeout=60)
        return self.process.returncode, output, self.errors()

    def printed(self, count):
        """The next lines of its output, so many. A line of a request may follow its answer."""
        return [self.process.stdout.readline() for _ in range(count)]

    def kill(self):
        if self.process and self.process.poll() is None:
            self.process.kill()
        if self.process and not self.process.stdout.closed:
            self.process.communicate()

    def running(self):
        return self.process.poll() is None

    def open_files(self):
        """The paths of what it has open."""
        folder = f"/proc/{self.process.pid}/fd"
        return [os.path.realpath(os.path.join(folder, name)) for name in os.listdir(folder)]

    def errors(self):
        with open(self.error_file, encoding="utf-8", errors="replace") as file:
            return file.read()

    def path(self, name):
        return os.path.join(self.files, name)

    def set_faults(self, *faults):
        """Puts the faults in force, instead of those before."""
        with open(self.fault_file + ".new", "w", encoding="utf-8") as file:
            file.write("\n".join(faults) + "\n")
        os.replace(self.fault_file + ".new", self.fault_file)

    def ask(self, method, path, body=None, timeout=120):
        return ask(method, path, body, timeout, self.port)

    def ask_json(self, method, path, document=None):
        return ask_json(method, path, document, self.port)

    def checksum(self):
        """One number over the names and contents of everything that is stored."""
        total = hashlib.sha256()
        for folder, folders, files in os.walk(self.data):
            folders.sort()
            for name in sorted(files):
                path = os.path.join(folder, name)
                total.update(os.fsencode(path) + b"\0")
                with open(path, "rb") as file:
                    total.update(hashlib.sha256(file.read()).digest())
        return total.hexdigest()

    def resident_kib(self):
        return self.kib_of("VmRSS")

    def highest_kib(self):
        """Of resident memory, since the start."""
        return self.kib_of("VmHWM")

    def kib_of(self, matter):
        with open(f"/proc/{self.process.pid}/status", encoding="ascii") as status:
            return next(int(line.split()[1]) for line in status if line.startswith(matter + ":"))


def ask(method, path, body=None, timeout=120, port=PORT):
    """The status and the body of one request."""
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=timeout)
    try:
        connection.request(method, path, body)
        response = connection.getresponse()
        return response.status, response.read()
    except http.client.HTTPException as problem:
        raise ConnectionError(f"no whole answer: {problem!r}") from problem
    finally:
        connection.close()


def ask_json(method, path, document=None, port=PORT):
    body = None if document is None else json.dumps(document)
    return json.loads(ask(method, path, body, port=port)[1])


def upload_body(target, content, size=None):
    """The parts of an upload; `size` is announced instead of the real one."""
    announced = len(content) if size is None else size
    metadata = json.dumps({"fileUri": target, "fileSize": announced}).encode()
    part = b"%s\r\nContent-Disposition: form-data\r\n\r\n%s\r\n"
    return part % (BOUNDARY, metadata) + part % (BOUNDARY, content) + BOUNDARY + b"--\r\n"


def by_path(prefix, path):
    return prefix + quote(path)


def error(message):
    return {"errorMessage": message}


def sha256(content):
    return hashlib.sha256(content).hexdigest()
