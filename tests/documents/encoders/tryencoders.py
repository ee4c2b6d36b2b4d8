"""Uploads a file to the simulator with each encoder of forms that the page on the HTTP interface names,
and compares what was stored.

    tryencoders.py test FOLDER PAGE    those that every test run has: they work, and the page has them
    tryencoders.py write FOLDER PAGE   all of them, and writes the table of the page

FOLDER holds the packages from npm. The programs are named by the environment: PARLOWEN_DEVICE,
PARLOWENCTL, CHROMIUM, NODE, and QT_VERSION beside them.
"""

import contextlib
import dataclasses
import hashlib
import http.client
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import urllib.parse

HERE = pathlib.Path(__file__).parent
ROUTE = "/api/filemgr/v2/userfiles"
HEADING = "| Encoder | Tried with |\n|---|---|\n"

# Debian's, for whose Python the libraries are installed.
PYTHON = "/usr/bin/python3"
NODE = os.environ["NODE"]
CLIENT = os.environ["PARLOWENCTL"]
CHROMIUM = os.environ["CHROMIUM"]

# Looks like the end of a part, but is none.
CONTENT = b"\r\n--\r\n--fo\r\n" + hashlib.shake_128(b"").digest(300_000) + b"\0\r\n--\r\n\r\n--"


@dataclasses.dataclass
class Encoder:
    """`command` runs in the folder of the packages, with URL, description and file added. The last
    line that it prints is its version."""

    name: str
    command: list
    in_every_run: bool = False
    version: str = None  # where the command does not print it


def program(interpreter, name):
    return [interpreter, str(HERE / "programs" / name)]


def in_browser(way):
    return [*program(NODE, "browser.mjs"), way, CHROMIUM]


ENCODERS = [
    Encoder("`curl -F`", program("sh", "curl.sh"), True),
    Encoder("by hand in a shell, `curl --data-binary`", program("sh", "shell.sh"), True),
    Encoder("Python `http.client`, by hand", program(PYTHON, "httpclient.py"), True),
    Encoder("Python requests", program(PYTHON, "withrequests.py")),
    Encoder("Python urllib3", program(PYTHON, "withurllib3.py")),
    Encoder("Python HTTPX", program(PYTHON, "withhttpx.py")),
    Encoder("Python aiohttp", program(PYTHON, "withaiohttp.py")),
    Encoder("Python requests-toolbelt, `MultipartEncoder`", program(PYTHON, "withtoolbelt.py")),
    Encoder("Python PycURL, `HTTPPOST` of libcurl", program(PYTHON, "withpycurl.py")),
    Encoder("HTTPie, `--multipart`", program("sh", "httpie.sh")),
    Encoder("Node.js `fetch` with `FormData`", program(NODE, "fetch.mjs"), True),
    Encoder("Node.js undici, `request` with `FormData`", program(NODE, "undici.mjs")),
    Encoder("Node.js node-fetch", program(NODE, "nodefetch.mjs")),
    Encoder("Node.js axios", program(NODE, "axios.mjs")),
    Encoder("Node.js form-data, `submit`", program(NODE, "formdata.mjs")),
    Encoder("Node.js SuperAgent", program(NODE, "superagent.mjs")),
    Encoder("Chromium, `fetch` with `FormData`", in_browser("fetch"), True),
    Encoder("Chromium, a `<form>`", in_browser("form"), True),
    Encoder("Qt 5 `QHttpMultiPart`, `parlowenctl`", [], True, os.environ["QT_VERSION"]),
    Encoder("Perl LWP, `HTTP::Request::Common`", program("perl", "lwp.pl")),
    Encoder("Perl `Mojo::UserAgent`, which sorts the parts by name", program("perl", "mojo.pl")),
    Encoder("Perl `HTTP::Tiny::Multipart`", program("perl", "httptiny.pl")),
    Encoder("Ruby `Net::HTTP`, `set_form`", program("ruby", "nethttp.rb")),
    Encoder("PHP `CURLFile`", program("php", "curlfile.php")),
    Encoder("Wget `--post-file`, by hand", program("sh", "wget.sh")),
    Encoder("C++ cpp-httplib", program("sh", "cpphttplib.sh")),
]

# Those that change the bytes of a file, or put something before the first boundary.
FAILING = [
    Encoder("Python `email.mime`", program(PYTHON, "emailmime.py"), True),
    Encoder("Python Werkzeug, `encode_multipart`", program(PYTHON, "withwerkzeug.py")),
]


class EncoderFails(Exception):
    pass


class Device:
    """A simulator without files."""

    def __init__(self, folder):
        self.process = subprocess.Popen(
            [os.environ["PARLOWEN_DEVICE"], "--data", str(folder / "device"), "--empty",
             "--port", "0", "--allow-origin", "*"],
            cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.address = self.process.stdout.readline().decode().strip().rsplit("/", 1)[1]
        self.target = str(folder / "device/storage/userfiles/sent ä.bin")

    def close(self):
        self.process.terminate()
        self.process.communicate()

    def ask(self, method, route):
        connection = http.client.HTTPConnection(self.address, timeout=60)
        connection.request(method, route + urllib.parse.quote(self.target))
        return json.loads(connection.getresponse().read())

    def digest(self):
        return self.ask("GET", "/api/filemgr/v2/metadata").get("sha256")


@contextlib.contextmanager
def device_and_file():
    with tempfile.TemporaryDirectory(dir=os.getcwd()) as name:
        folder = pathlib.Path(name).resolve()
        file = folder / "measured ä.bin"
        file.write_bytes(CONTENT)
        device = Device(folder)
        try:
            yield device, str(file)
        finally:
            device.close()


def command_of(encoder, device, file):
    if not encoder.command:
        folder, name = os.path.split(device.target)
        return [CLIENT, "--host", device.address, "files", "put", file, folder, "--as", name]
    description = json.dumps({"fileUri": device.target, "fileSize": len(CONTENT)},
                             ensure_ascii=False)
    return [*encoder.command, "http://" + device.address + ROUTE, description, file]


def version_that_works(encoder, device, file, packages):
    """The version of an encoder; raises when what it sent is not what was stored."""
    device.ask("DELETE", ROUTE)
    done = subprocess.run(command_of(encoder, device, file), cwd=packages, capture_output=True,
                          text=True, timeout=120, check=False)
    if done.returncode != 0 or device.digest() != hashlib.sha256(CONTENT).hexdigest():
        raise EncoderFails("%s: status %d\n%s%s" % (encoder.name, done.returncode, done.stdout,
                                                    done.stderr))
    return encoder.version or done.stdout.split()[-1]


def rows_of(encoders, packages):
    with device_and_file() as (device, file):
        return ["| %s | %s |\n" % (first_column(encoder),
                                   version_that_works(encoder, device, file, packages))
                for encoder in encoders]


def expect_failures(encoders, packages):
    with device_and_file() as (device, file):
        for encoder in encoders:
            try:
                version_that_works(encoder, device, file, packages)
            except EncoderFails:
                continue
            raise AssertionError(encoder.name + " works: put it into the table")


def first_column(encoder):
    return encoder.name + ("*" if encoder.in_every_run else "")


def rows_on(page):
    table = page.split(HEADING)[1].split("\n\n")[0]
    return [line + "\n" for line in table.splitlines()]


def every_run(encoders):
    return [encoder for encoder in encoders if encoder.in_every_run]


def test(packages, page):
    rows_of(every_run(ENCODERS), packages)
    expect_failures(every_run(FAILING), packages)
    shown = [row.strip("| \n").split(" | ")[0] for row in rows_on(page.read_text(encoding="utf-8"))]
    assert shown == [first_column(encoder) for encoder in ENCODERS], "the page has other encoders"


def write(packages, page):
    rows = rows_of(ENCODERS, packages)
    expect_failures(FAILING, packages)
    text = page.read_text(encoding="utf-8")
    page.write_text(text.replace("".join(rows_on(text)), "".join(rows)), encoding="utf-8")


if __name__ == "__main__":
    {"test": test, "write": write}[sys.argv[1]](sys.argv[2], pathlib.Path(sys.argv[3]))
