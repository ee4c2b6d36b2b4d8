import importlib.metadata
import sys
import urllib.request

from werkzeug.test import encode_multipart

url, description, name = sys.argv[1:]
with open(name, "rb") as file:
    boundary, body = encode_multipart({"metadata": description, "file": file})
head = {"Content-Type": "multipart/form-data; boundary=" + boundary}
urllib.request.urlopen(urllib.request.Request(url, body, head)).read()
print(importlib.metadata.version("werkzeug"))
