import sys

import httpx

url, description, name = sys.argv[1:]
with open(name, "rb") as file:
    httpx.post(url, files=[("metadata", (None, description)), ("file", file)], timeout=60)
print(httpx.__version__)
