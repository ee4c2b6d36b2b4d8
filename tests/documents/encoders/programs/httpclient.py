import http.client
import platform
import sys
import urllib.parse

url, description, name = sys.argv[1:]
with open(name, "rb") as file:
    content = file.read()
part = b'--form\r\nContent-Disposition: form-data; name="%s"\r\n\r\n%s\r\n'
body = part % (b"metadata", description.encode()) + part % (b"file", content) + b"--form--\r\n"
place = urllib.parse.urlsplit(url)
connection = http.client.HTTPConnection(place.netloc)
connection.request("POST", place.path, body, {"Content-Type": "multipart/form-data; boundary=form"})
connection.getresponse().read()
print(platform.python_version())
