#!/usr/bin/env python3
"""The firewall rule is taken by nft; the reverse proxy lets in who has a certificate, and nobody else.

usage: fence_test.py PACKAGING
"""
import http.client
import http.server
import os
import re
import shutil
import ssl
import subprocess
import sys
import tempfile
import threading
import time
import unittest

PACKAGING = os.path.abspath(sys.argv.pop(1))
PROXY_PORT = 8443


def run(*command, **options):
    return subprocess.run(command, check=True, capture_output=True, text=True, timeout=60, **options)


# A network of its own: a device with the rule in force, and one client that has two addresses. What
# becomes of a request from the device itself, from the listed address and from the other one.
NETWORK = """
ip link set lo up
unshare --net sleep 60 &
client=$!
until [ "$(readlink /proc/$client/ns/net)" != "$(readlink /proc/self/ns/net)" ]; do sleep 0.05; done
ip link add device type veth peer name client netns $client
ip address add 192.0.2.1/24 dev device
ip link set device up
nsenter --target $client --net sh -eu -c '
    ip address add 192.0.2.10/24 dev client
    ip address add 192.0.2.99/24 dev client
    ip link set client up'
nft --file "$1"
python3 -m http.server 8081 >/dev/null 2>&1 &
server=$!
request() {
    "$@" curl --silent --show-error --max-time 20 --output /dev/null --write-out '%{http_code} ' $options
}
options="--retry 100 --retry-connrefused --retry-delay 1 http://127.0.0.1:8081/" request env
for address in 192.0.2.10 192.0.2.99; do
    options="--interface $address http://192.0.2.1:8081/" \
        request nsenter --target $client --net || echo "status $?"
done
kill $client $server
"""


class Firewall(unittest.TestCase):
    rule = os.path.join(PACKAGING, "firewall", "parlowen-device.nft")

    def alone(self, *command):
        """Runs in a network namespace of its own, where nothing that is running is touched."""
        namespace = ["--net"] if os.geteuid() == 0 else ["--map-root-user", "--net"]
        return subprocess.run(["unshare", *namespace, *command], check=False, capture_output=True,
                              text=True, timeout=60)

    def test_the_rule_is_taken(self):
        result = self.alone("nft", "--check", "--file", self.rule)
        self.assertEqual((result.returncode, result.stderr), (0, ""))

    def test_it_can_be_loaded_again(self):
        result = self.alone("sh", "-eu", "-c", 'nft -f "$0"; nft -f "$0"', self.rule)
        self.assertEqual((result.returncode, result.stderr), (0, ""))

    def test_only_the_device_itself_and_listed_addresses_reach_the_port(self):
        result = self.alone("sh", "-eu", "-c", NETWORK, "sh", self.rule)
        refused_at_once = "000 status 7"
        self.assertEqual(result.stdout, f"200 200 {refused_at_once}\n", result.stderr)


class Backend(http.server.BaseHTTPRequestHandler):
    """Stands for the device: answers with the method, the path and the size of the body, or with
    the large file."""

    LARGE = "/api/filemgr/v2/userfiles/large"
    begun = []
    large_was_taken = threading.Event()

    def answer(self):
        self.begun.append(self.command)
        size = len(self.rfile.read(int(self.headers.get("Content-Length", 0))))
        body = f"{self.command} {self.path} {size}".encode()
        if self.path == self.LARGE:
            body = b"x" * 30_000_000
        self.send_response(200)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)
        if self.path == self.LARGE:
            self.large_was_taken.set()

    do_GET = do_POST = do_PUT = do_DELETE = answer

    def log_message(self, *arguments):
        pass


def make_certificates(folder):
    """An authority of the clients, a client of it, a stranger, and the device."""
    def openssl(*arguments):
        run("openssl", *arguments, cwd=folder)

    for name in ("clients-ca", "device", "stranger"):
        openssl("req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
                "-keyout", f"{name}.key", "-out", f"{name}.crt", "-subj", f"/CN={name}", "-days", "2")
    openssl("req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
            "-keyout", "client.key", "-out", "client.csr", "-subj", "/CN=client")
    openssl("x509", "-req", "-in", "client.csr", "-CA", "clients-ca.crt", "-CAkey", "clients-ca.key",
            "-CAcreateserial", "-out", "client.crt", "-days", "2")


def proxy_configuration(folder):
    """The example with this test's folders and port around it."""
    with open(os.path.join(PACKAGING, "reverse-proxy", "parlowen-device.conf"), encoding="utf-8") as file:
        example = file.read()
    example = example.replace("/etc/parlowen-device/tls", folder)
    example, ports = re.subn(r"listen 443 ssl", f"listen 127.0.0.1:{PROXY_PORT} ssl", example)
    assert ports == 1
    temporary = "".join(f"{kind}_temp_path {folder}/{kind};\n"
                        for kind in ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
    return (f"daemon off;\nmaster_process off;\nerror_log {folder}/error.log;\npid {folder}/pid;\n"
            f"events {{}}\nhttp {{\naccess_log off;\n{temporary}{example}}}\n")


class ReverseProxy(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp()
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        make_certificates(cls.folder)
        cls.configuration = os.path.join(cls.folder, "nginx.conf")
        with open(cls.configuration, "w", encoding="utf-8") as file:
            file.write(proxy_configuration(cls.folder))
        cls.backend = http.server.ThreadingHTTPServer(("127.0.0.1", 8081), Backend)
        cls.addClassCleanup(cls.backend.server_close)
        threading.Thread(target=cls.backend.serve_forever, daemon=True).start()
        cls.addClassCleanup(cls.backend.shutdown)
        cls.proxy = subprocess.Popen(["nginx", "-c", cls.configuration])
        cls.addClassCleanup(cls.proxy.wait)
        cls.addClassCleanup(cls.proxy.terminate)
        cls.wait_until_it_serves()

    @classmethod
    def wait_until_it_serves(cls):
        end = time.monotonic() + 20
        while time.monotonic() < end:
            try:
                cls.ask("GET", "/info", "client")
                return
            except ConnectionRefusedError:
                time.sleep(0.05)
        raise RuntimeError("nginx does not serve")

    @classmethod
    def connect(cls, certificate=None):
        context = ssl.create_default_context(cafile=f"{cls.folder}/device.crt")
        context.check_hostname = False
        if certificate:
            context.load_cert_chain(f"{cls.folder}/{certificate}.crt", f"{cls.folder}/{certificate}.key")
        return http.client.HTTPSConnection("127.0.0.1", PROXY_PORT, context=context, timeout=30)

    @classmethod
    def ask(cls, method, path, certificate=None, body=None, headers=()):
        connection = cls.connect(certificate)
        try:
            connection.request(method, path, body, dict(headers))
            response = connection.getresponse()
            return response.status, response.read()
        finally:
            connection.close()

    def test_the_configuration_is_taken(self):
        run("nginx", "-t", "-q", "-c", self.configuration)

    def test_a_client_with_a_certificate_reaches_the_device(self):
        self.assertEqual(self.ask("GET", "/info", "client"), (200, b"GET /info 0"))
        self.assertEqual(self.ask("DELETE", "/api/filemgr/v2/userfiles/a%20b", "client"),
                         (200, b"DELETE /api/filemgr/v2/userfiles/a%20b 0"))

    def test_a_large_body_passes(self):
        self.assertEqual(self.ask("POST", "/api/filemgr/v2/userfiles", "client", b"x" * 5_000_000),
                         (200, b"POST /api/filemgr/v2/userfiles 5000000"))

    def test_a_body_that_comes_slowly_keeps_the_device_free(self):
        connection = self.connect("client")
        self.addCleanup(connection.close)
        connection.putrequest("PUT", "/api/workflow/v1/active")
        connection.putheader("Content-Length", "10")
        connection.endheaders(b"first")
        self.assertEqual(self.ask("GET", "/info", "client")[0], 200)
        self.assertNotIn("PUT", Backend.begun)
        connection.send(b" half")
        self.assertEqual(connection.getresponse().read(), b"PUT /api/workflow/v1/active 10")

    def test_an_answer_that_nobody_reads_is_taken_off_the_device(self):
        connection = self.connect("client")
        self.addCleanup(connection.close)
        connection.request("GET", Backend.LARGE)
        self.assertTrue(Backend.large_was_taken.wait(20))
        self.assertEqual(len(connection.getresponse().read()), 30_000_000)

    def test_without_a_certificate_nothing_is_served(self):
        self.assertEqual(self.ask("GET", "/info")[0], 400)

    def test_a_certificate_of_somebody_else_is_no_use(self):
        self.assertEqual(self.ask("GET", "/info", "stranger")[0], 400)

    def test_a_page_of_another_origin_is_turned_away(self):
        status = self.ask("POST", "/api/v1/techinfo", "client", b"{}", {"Origin": "http://evil.example"})[0]
        self.assertEqual(status, 403)

    def test_other_paths_do_not_exist(self):
        self.assertEqual(self.ask("GET", "/other", "client")[0], 404)


if __name__ == "__main__":
    unittest.main(verbosity=2)
