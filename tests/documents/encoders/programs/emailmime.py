import email.mime.application
import email.mime.multipart
import email.policy
import platform
import sys
import urllib.request

url, description, name = sys.argv[1:]
form = email.mime.multipart.MIMEMultipart("form-data")
with open(name, "rb") as file:
    contents = {"metadata": description.encode(), "file": file.read()}
for field, content in contents.items():
    part = email.mime.application.MIMEApplication(content, _encoder=lambda message: None)
    part.add_header("Content-Disposition", "form-data", name=field)
    form.attach(part)
# Its head is that of the request; a body is what follows it.
body = form.as_bytes(policy=email.policy.HTTP).split(b"\r\n\r\n", 1)[1]
head = {"Content-Type": form["Content-Type"]}
urllib.request.urlopen(urllib.request.Request(url, body, head)).read()
print(platform.python_version())
