import sys

import requests

url, description, name = sys.argv[1:]
with open(name, "rb") as file:
    # A list keeps the order, and a pair without a file name is a field.
    requests.post(url, files=[("metadata", (None, description)), ("file", file)], timeout=60)
print(requests.__version__)
