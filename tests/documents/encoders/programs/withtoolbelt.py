import sys

import requests
import requests_toolbelt

url, description, name = sys.argv[1:]
with open(name, "rb") as file:
    form = requests_toolbelt.MultipartEncoder([("metadata", description), ("file", (name, file))])
    requests.post(url, data=form, headers={"Content-Type": form.content_type}, timeout=60)
print(requests_toolbelt.__version__)
