"""The reverse proxy of the packaging, in front of a device, with certificates made for the test."""

import os
import pathlib
import re
import socket
import subprocess

SOURCE = pathlib.Path(os.environ["PARLOWEN_SOURCE"])


def openssl(folder, *arguments):
    subprocess.run(["openssl", *arguments], cwd=folder, check=True, capture_output=True)


def make_certificates(folder):
    """The device's own certificates (one for another name, one out of date), the authority of the
    clients, and a client with its key in each form."""
    new_key = ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes"]
    for name, alternative in (("device", "DNS:localhost,IP:127.0.0.1"),
                              ("elsewhere", "DNS:elsewhere.example"), ("clients-ca", "DNS:ca")):
        openssl(folder, "req", "-x509", *new_key, "-keyout", name + ".key", "-out", name + ".crt",
                "-subj", "/CN=" + name, "-days", "2", "-addext", "subjectAltName=" + alternative)
    openssl(folder, "req", *new_key, "-keyout", "client.key", "-out", "client.csr", "-subj",
            "/CN=client")
    openssl(folder, "x509", "-req", "-in", "client.csr", "-CA", "clients-ca.crt", "-CAkey",
            "clients-ca.key", "-CAcreateserial", "-out", "client.crt", "-days", "2")
    (folder / "client.pem").write_text((folder / "client.crt").read_text()
                                       + (folder / "client.key").read_text())
    openssl(folder, "pkcs12", "-export", "-in", "client.crt", "-inkey", "client.key", "-out",
            "client.p12", "-passout", "pass:secret")
    openssl(folder, "ec", "-in", "client.key", "-out", "locked.key", "-aes128", "-passout",
            "pass:secret")


class TlsProxy:
    """Serves until it is closed; `host` is what the client is given."""

    def __init__(self, folder, device="127.0.0.1:8081"):
        self.folder = folder
        with socket.create_server(("127.0.0.1", 0)) as taken:
            self.port = taken.getsockname()[1]
        with socket.create_server(("127.0.0.1", 0)) as taken:
            self.elsewhere_port = taken.getsockname()[1]
        self.host = "https://127.0.0.1:%d" % self.port
        self.elsewhere = "https://127.0.0.1:%d" % self.elsewhere_port
        make_certificates(folder)
        (folder / "nginx.conf").write_text(self.configuration(device))
        self.process = subprocess.Popen(["nginx", "-c", folder / "nginx.conf"],
                                        stderr=subprocess.DEVNULL)
        self.wait_until_it_serves()

    def configuration(self, device):
        """The one of the packaging with this test's folder, device and port; and once more with a
        certificate for another name."""
        example = (SOURCE / "packaging/reverse-proxy/parlowen-device.conf").read_text()
        example = example.replace("/etc/parlowen-device/tls", str(self.folder))
        example = example.replace("http://127.0.0.1:8081", "http://" + device)
        zone, server = re.fullmatch(r"(.*?)(\nserver \{.*)", example, re.DOTALL).groups()
        first = server.replace("listen 443 ssl", "listen 127.0.0.1:%d ssl" % self.port)
        second = server.replace("listen 443 ssl", "listen 127.0.0.1:%d ssl" % self.elsewhere_port)
        second = second.replace("/device.", "/elsewhere.")
        temporary = "".join("%s_temp_path %s/%s;\n" % (kind, self.folder, kind) for kind in
                            ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
        return ("daemon off;\nmaster_process off;\nerror_log %s/error.log;\npid %s/pid;\n"
                "events {}\nhttp {\naccess_log %s/access.log;\n%s%s%s%s}\n"
                % (self.folder, self.folder, self.folder, temporary, zone, first, second))

    def wait_until_it_serves(self):
        while self.process.poll() is None:
            try:
                socket.create_connection(("127.0.0.1", self.elsewhere_port)).close()
                return
            except ConnectionRefusedError:
                pass
        raise RuntimeError("nginx does not serve: " + (self.folder / "error.log").read_text())

    def close(self):
        self.process.terminate()
        self.process.wait()

    def requests(self):
        """The request lines of the access log."""
        return re.findall(r'"([A-Z]+ [^"]*)"', (self.folder / "access.log").read_text())
