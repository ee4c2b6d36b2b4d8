"""A device to be checked, and the check as a program."""

import json
import os
import pathlib
import shutil
import subprocess
import tempfile

from clienttest import CLIENT, SIMULATOR

ACTIVE = "WO-1002"


class CheckedDevice:
    """A simulator with its sample content, or without, in a folder that goes with it."""

    def __init__(self, *options, work_orders=0, empty=False):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="checked", dir=os.getcwd()))
        self.data = self.folder / "device"
        self.user_files = self.data / "storage" / "userfiles"
        self.start(options)
        if empty:
            self.stop()
            for name in ("workorders", "templates", "storage/templates", "storage/userfiles"):
                shutil.rmtree(self.data / name)
                (self.data / name).mkdir()
            self.start(options)
        for first in range(0, work_orders, 500):
            self.put_work_orders(range(first, min(first + 500, work_orders)))

    def start(self, options):
        self.simulator = subprocess.Popen(
            [SIMULATOR, "--data", str(self.data), *options], cwd=self.folder,
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        if b"listening" not in self.simulator.stdout.readline():
            raise RuntimeError("the simulator does not start")

    def stop(self):
        self.simulator.terminate()
        self.simulator.wait()
        self.simulator.stdout.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()
        shutil.rmtree(self.folder)

    def put_work_orders(self, numbers):
        batch = self.folder / "batch.json"
        batch.write_text(json.dumps([{"workOrderId": "many-%05d" % n} for n in numbers]))
        self.client("workorders", "put", str(batch))

    def activate(self, work_order=ACTIVE):
        self.client("workorders", "active", work_order)

    def active(self):
        return self.client("workorders", "active").strip()

    def client(self, *arguments):
        return subprocess.run([CLIENT, *arguments], check=True, capture_output=True,
                              cwd=self.folder, text=True).stdout

    def files(self):
        """The user files with content and time of the last change."""
        return {str(path.relative_to(self.user_files)): (path.read_bytes(), path.stat().st_mtime_ns)
                for path in self.user_files.rglob("*") if path.is_file()}


def start_check(*arguments, **named):
    return subprocess.Popen([CLIENT, "check", "--json", *arguments], stdout=subprocess.PIPE,
                            stderr=subprocess.PIPE, text=True, **named)


def check(*arguments, **named):
    """Runs a check; returns its status and its report."""
    process = start_check(*arguments, **named)
    out, err = process.communicate(timeout=300)
    try:
        return process.returncode, json.loads(out)
    except ValueError:
        raise AssertionError("status %d\n%s\n%s" % (process.returncode, out, err)) from None


def failures(report):
    """The assertions that failed, with the reason."""
    return {one["id"]: one["text"] for one in report["assertions"] if one["verdict"] == "FAIL"}


def verdict(report, name):
    return next(one["verdict"] for one in report["assertions"] if one["id"] == name)
