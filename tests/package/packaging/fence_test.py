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
    with open(os.path.join(PACKAGING, "firewall", "parlowen-device.nft"), encoding="utf-8") as file:
        EXAMPLE = file.read()

    def alone(self, *command):
        """Runs in a network namespace of its own, where nothing that is running is touched."""
        namespace = ["--net"] if os.geteuid() == 0 else ["--map-root-user", "--net"]
        return subprocess.run(["unshare", *namespace, *command], check=False, capture_output=True,
                              text=True, timeout=60)

    def rule(self, clients=(), clients_v6=()):
        """The example with these addresses, put in as its first lines tell."""
        text = self.EXAMPLE
        for name, addresses in (("clients", clients), ("clients_v6", clients_v6)):
            if addresses:
                line = f"add element inet parlowen_device {name} {{ {', '.join(addresses)} }}"
                text, lines = re.subn(f"#add element inet parlowen_device {name} {{.*}}", line, text)
                self.assertEqual(lines, 1)
        file = tempfile.NamedTemporaryFile("w", suffix=".nft", encoding="utf-8")
        self.addCleanup(file.close)
        file.write(text)
        file.flush()
        return file.name

    def check_taken(self, rule):
        result = self.alone("sh", "-eu", "-c", 'nft -f "$0"; nft -f "$0"; nft list ruleset', rule)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertIn("dport != 8081", result.stdout)
        return result.stdout

    def reached(self, rule):
        result = self.alone("sh", "-eu", "-c", NETWORK, "sh", rule)
        return result.stdout.replace("000 status 7", "refused").split()

    def test_the_example_is_taken_again_and_again_with_no_address(self):
        self.check_taken(self.rule())

    def test_it_is_taken_with_one_address(self):
        self.assertIn("192.0.2.10", self.check_taken(self.rule(["192.0.2.10"])))

    def test_it_is_taken_with_one_address_of_the_other_kind(self):
        self.assertIn("2001:db8::1", self.check_taken(self.rule([], ["2001:db8::1"])))

    def test_it_is_taken_with_many_addresses_and_networks(self):
        many = [f"10.0.{number // 250}.{number % 250}" for number in range(0, 4000, 2)]
        many_v6 = [f"2001:db8::{number:x}" for number in range(0, 4000, 2)]
        rules = self.check_taken(self.rule([*many, "198.51.100.0/24"], [*many_v6, "2001:db8:1::/48"]))
        for address in (many[-1], "198.51.100.0/24", many_v6[-1], "2001:db8:1::/48"):
            self.assertIn(address, rules)

    def test_with_no_address_only_the_device_itself_reaches_the_port(self):
        self.assertEqual(self.reached(self.rule()), ["200", "refused", "refused"])

    def test_a_listed_address_reaches_the_port_and_no_other(self):
        self.assertEqual(self.reached(self.rule(["192.0.2.10"])), ["200", "200", "refused"])

    def test_one_of_many_reaches_the_port_and_no_other(self):
        many = [f"10.0.0.{number}" for number in range(1, 250, 2)]
        self.assertEqual(self.reached(self.rule([*many, "192.0.2.10"])), ["200", "200", "refused"])

    def test_a_listed_network_reaches_the_port(self):
        self.assertEqual(self.reached(self.rule(["192.0.2.64/26"])), ["200", "refused", "200"])


class Backend(http.server.BaseHTTPRequestHandler):
    """Stands for the device: answers with the method, the path and the size of the body, or with
    the large file."""

    LARGE = "/api/filemgr/v2/userfiles/large"
    HUGE = "/api/filemgr/v2/userfiles/huge"
    begun = []
    large_was_taken = threading.Event()

    def answer(self):
        self.begun.append(self.command)
        size = len(self.rfile.read(int(self.headers.get("Content-Length", 0))))
        body = f"{self.command} {self.path} {size}".encode()
        if self.path == self.LARGE:
            body = b"x" * 30_000_000
        if self.path == self.HUGE:
            body = b"x" * 120_000_000
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
    """An authority of the clients, three clients of it, a stranger, and the device."""
    def openssl(*arguments):
        run("openssl", *arguments, cwd=folder)

    for name in ("clients-ca", "device", "stranger"):
        openssl("req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
                "-keyout", f"{name}.key", "-out", f"{name}.crt", "-subj", f"/CN={name}", "-days", "2")
    for name in ("client", "second", "third"):
        openssl("req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
                "-keyout", f"{name}.key", "-out", f"{name}.csr", "-subj", f"/CN={name}")
        openssl("x509", "-req", "-in", f"{name}.csr", "-CA", "clients-ca.crt",
                "-CAkey", "clients-ca.key", "-CAcreateserial", "-out", f"{name}.crt", "-days", "2")


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

    def setting(self, name):
        with open(self.configuration, encoding="utf-8") as file:
            value, = re.findall(rf"^\s*{name} (.*);$", file.read(), re.MULTILINE)
        return value

    def begin_body(self, certificate, size=1000):
        """A request whose body does not end while the test runs."""
        connection = self.connect(certificate)
        self.addCleanup(connection.close)
        connection.putrequest("PUT", "/api/workflow/v1/active")
        connection.putheader("Content-Length", str(size))
        connection.endheaders(b"first")
        return connection

    def test_what_is_kept_on_the_disk_is_bounded_as_the_comment_says(self):
        body, answer = (int(re.fullmatch("([0-9]+)m", self.setting(name))[1])
                        for name in ("client_max_body_size", "proxy_max_temp_file_size"))
        requests = int(self.setting("limit_conn parlowen_all"))
        with open(self.configuration, encoding="utf-8") as file:
            self.assertIn(f"{requests} x ({body} + {answer}) MiB = {requests * (body + answer)} MiB",
                          file.read())
        self.assertLessEqual(requests * (body + answer), 2048)

    def test_a_body_over_the_bound_is_refused_unread(self):
        limit = int(self.setting("client_max_body_size")[:-1]) * 1024 * 1024
        self.assertEqual(self.begin_body("client", limit + 1).getresponse().status, 413)

    def test_one_client_has_half_of_the_places_and_all_together_have_eight(self):
        held = [self.begin_body(name) for name in ["client"] * 4 + ["second"] * 4]
        self.wait_until_turned_away("third")
        for connection in held[4:]:
            connection.close()
        self.wait_until_served("third")
        self.assertEqual(self.ask("GET", "/info", "client")[0], 429)
        for connection in held:
            connection.close()
        self.wait_until_served("client")

    def wait_until_turned_away(self, certificate):
        self.wait_for_status(certificate, 429)

    def wait_until_served(self, certificate):
        self.wait_for_status(certificate, 200)

    def wait_for_status(self, certificate, wanted):
        """Bodies that were begun, or given up, count once the proxy has seen it."""
        end = time.monotonic() + 20
        while time.monotonic() < end and self.ask("GET", "/info", certificate)[0] != wanted:
            time.sleep(0.05)
        self.assertEqual(self.ask("GET", "/info", certificate)[0], wanted)

    def test_of_an_answer_that_nobody_reads_no_more_than_the_bound_is_kept(self):
        limit = int(self.setting("proxy_max_temp_file_size")[:-1]) * 1024 * 1024
        connection = self.connect("client")
        self.addCleanup(connection.close)
        connection.request("GET", Backend.HUGE)
        response = connection.getresponse()
        kept, before = 0, -1
        while kept > before:
            time.sleep(1)  # the proxy takes what it can; nothing tells when it is full
            before, kept = kept, self.kept_of_answers()
        self.assertGreater(kept, limit // 2)
        self.assertLessEqual(kept, limit + 1024 * 1024)
        self.assertEqual(len(response.read()), 120_000_000)

    def kept_of_answers(self):
        """Temporary files of the proxy have lost their names: seen through its descriptors."""
        folder = f"/proc/{self.proxy.pid}/fd"
        files = [os.path.join(folder, name) for name in os.listdir(folder)]
        return sum(os.stat(file).st_blocks * 512 for file in files
                   if os.readlink(file).startswith(f"{self.folder}/proxy/"))

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
