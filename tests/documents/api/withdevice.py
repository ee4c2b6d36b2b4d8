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
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "support"))
from simulator import Simulator  # noqa: E402


def run(program, command):
    with Simulator(program, faulty=True) as device:
        environment = dict(os.environ, USER_FILES=device.files, FAULTS=device.fault_file)
        return subprocess.run(command, env=environment, check=False).returncode


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    sys.exit(run(sys.argv[1], sys.argv[2:]))
