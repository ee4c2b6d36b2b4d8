#!/usr/bin/env python3
"""Has the workflows of the description carried out against the device that runs."""

import json
import os
import subprocess
import sys

user_files = os.environ["USER_FILES"]
inputs = {
    "userFiles": user_files,
    "uploadMetadata": json.dumps({"fileUri": user_files + "/upload.txt", "fileSize": 15}),
    "strayMetadata": json.dumps({"fileUri": "/stray.txt", "fileSize": 15}),
}
command = ["npm", "run", "--silent", "contract", "--", "--input", json.dumps(inputs)]
sys.exit(subprocess.run(command, check=False).returncode)
