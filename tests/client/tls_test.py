"""Connections over TLS, through the reverse proxy of the packaging."""

import pathlib
import tempfile
import unittest

from clienttest import (CANNOT_CONNECT, DEVICE_REFUSED, DONE, LOCAL_FAILURE, SEVERAL_PIECES, USAGE,
                        ClientTest, content)
from tlsproxy import TlsProxy


class Tls(ClientTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.tls = pathlib.Path(tempfile.mkdtemp(prefix="tls", dir=cls.folder))
        cls.nginx = TlsProxy(cls.tls)

    @classmethod
    def tearDownClass(cls):
        cls.nginx.close()
        super().tearDownClass()

    def through(self, status, *arguments, host=None, cacert="device.crt", cert="client.crt",
                key="client.key", password=None):
        named = {"--cacert": cacert, "--cert": cert, "--key": key}
        options = [word for option, file in named.items() if file
                   for word in (option, self.tls / file)]
        return self.expect(status, *options, *arguments, host=host or self.nginx.host,
                           environment={"PARLOWEN_KEY_PASSWORD": password} if password else None)

    def test_certificate_and_key(self):
        self.assertIn("interface filemgr", self.through(DONE, "info").out)

    def test_device_behind_the_proxy_is_checked(self):
        self.assertIn("0 failed", self.through(DONE, "check").out)

    def test_certificate_with_its_key_in_one_file(self):
        self.through(DONE, "info", cert="client.pem", key=None)

    def test_encrypted_key(self):
        self.through(DONE, "info", key="locked.key", password="secret")

    def test_encrypted_key_without_its_password(self):
        result = self.through(LOCAL_FAILURE, "info", key="locked.key")
        self.assertIn("PARLOWEN_KEY_PASSWORD", result.err)

    def test_pkcs12(self):
        self.through(DONE, "info", cert="client.p12", key=None, password="secret")

    def test_pkcs12_with_the_wrong_password(self):
        result = self.through(LOCAL_FAILURE, "info", cert="client.p12", key=None, password="no")
        self.assertIn("client.p12", result.err)

    def test_upload_and_download_are_verified(self):
        self.here("f.bin", content(SEVERAL_PIECES))
        self.through(DONE, "files", "put", "f.bin", self.user_files)
        self.through(DONE, "files", "get", self.user_files / "f.bin", "-o", "back.bin")
        self.assertEqual((self.local / "back.bin").read_bytes(), content(SEVERAL_PIECES))

    def test_no_client_certificate(self):
        result = self.through(DEVICE_REFUSED, "info", cert=None, key=None)
        self.assertIn("No required SSL certificate was sent", result.err)
        self.assertNotIn("<", result.err)

    def test_client_certificate_of_another_authority(self):
        self.through(DEVICE_REFUSED, "info", cert="elsewhere.crt", key="elsewhere.key")

    def test_unknown_authority(self):
        result = self.through(CANNOT_CONNECT, "info", cacert=None)
        self.assertIn("is not trusted: its authority is not known here", result.err)
        self.assertIn("--cacert", result.err)

    def test_certificate_for_another_name(self):
        result = self.through(CANNOT_CONNECT, "info", cacert="elsewhere.crt",
                              host=self.nginx.elsewhere)
        self.assertIn("it is not made out to 127.0.0.1", result.err)

    def test_nothing_is_sent_when_the_certificate_is_not_trusted(self):
        before = self.nginx.requests()
        self.through(CANNOT_CONNECT, "tech", "Anna", cacert=None)
        self.assertEqual(self.nginx.requests(), before)

    def test_insecure_is_said_loudly(self):
        result = self.through(DONE, "--insecure", "--quiet", "info", cacert=None)
        self.assertIn("WARNING: the certificate of 127.0.0.1:", result.err)

    def test_tls_with_a_device_that_has_none(self):
        result = self.through(CANNOT_CONNECT, "info", host="https://" + self.proxy.host)
        self.assertIn("does this port serve https?", result.err)

    def test_plain_http_to_a_port_with_tls(self):
        self.expect(DEVICE_REFUSED, "info", host=self.nginx.host.replace("https", "http"))

    def test_options_of_tls_without_https(self):
        self.assertIn("https://", self.through(USAGE, "info", host=self.proxy.host).err)

    def test_key_without_a_certificate(self):
        self.assertIn("--cert", self.through(USAGE, "info", cert=None).err)

    def test_files_that_are_none(self):
        self.here("text", b"no certificate")
        for options in ({"cacert": "missing.crt"}, {"cacert": self.local / "text"},
                        {"cert": self.local / "text"}, {"key": self.local / "text"}):
            with self.subTest(options=options):
                name = str(next(iter(options.values())))
                self.assertIn(name, self.through(LOCAL_FAILURE, "info", **options).err)


if __name__ == "__main__":
    unittest.main()
