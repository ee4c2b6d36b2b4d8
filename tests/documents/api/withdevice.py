#!/usr/bin/env python3
"""Runs a command while a device simulator of its own serves, and ends the simulator afterwards.

    withdevice.py SIMULATOR COMMAND [ARGUMENT...]

The device starts with its sample content in a new folder. The command finds the folder of its user
files in the environment variable USER_FILES, and the file that sets its faults in FAULTS. The exit
status is the command's.
"""

import os
import subprocess
import sys
import tempfile
from pathlib import Path


def await_readiness(simulator):
    for line in simulator.stdout:
        print(line, end="", flush=True)
        if line.startswith("listening on "):
            return
    sys.exit("the simulator ended before it served")


def run(simulator_path, command):
    with tempfile.TemporaryDirectory(prefix="parlowen-") as folder:
        data = Path(folder).resolve() / "data"
        with open(Path(folder) / "device.log", "w", encoding="utf-8") as log:
            simulator = subprocess.Popen([simulator_path, "--data", str(data)], cwd=folder,
                                         stdout=subprocess.PIPE, stderr=log, text=True)
            try:
                await_readiness(simulator)
                environment = dict(os.environ, USER_FILES=str(data / "storage" / "userfiles"),
                                   FAULTS=str(data / "state" / "faults"))
                return subprocess.run(command, env=environment, check=False).returncode
            finally:
                simulator.terminate()
                simulator.communicate(timeout=30)


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    sys.exit(run(sys.argv[1], sys.argv[2:]))
