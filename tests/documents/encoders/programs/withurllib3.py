import sys

import urllib3

url, description, name = sys.argv[1:]
with open(name, "rb") as file:
    fields = [("metadata", description), ("file", (name, file.read()))]
urllib3.PoolManager().request("POST", url, fields=fields)
print(urllib3.__version__)
