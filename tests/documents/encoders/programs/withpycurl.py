import io
import sys

import pycurl

url, description, name = sys.argv[1:]
curl = pycurl.Curl()
curl.setopt(pycurl.URL, url)
curl.setopt(pycurl.HTTPPOST, [("metadata", description.encode()), ("file", (pycurl.FORM_FILE, name.encode()))])
curl.setopt(pycurl.WRITEDATA, io.BytesIO())
curl.perform()
print(pycurl.version_info()[1])
