"""Who is trusted: certificates of servers that the test makes."""

import shutil
import ssl
import tempfile
import unittest

from pysocialnetwork.errors import Transient, UploadError

import support
from support import make_wire, raw_server


class Certificates(unittest.TestCase):
    def setUp(self):
        clean = support.environment()
        clean.start()
        self.addCleanup(clean.stop)

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp()
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.certificate, cls.key = support.make_certificate(cls.folder)

    def secured(self, port_taker):
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(self.certificate, self.key)

        def serve(connection):
            try:
                with context.wrap_socket(connection, server_side=True) as secured:
                    secured.recv(65536)
                    secured.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok")
            except OSError:
                pass

        with raw_server(serve) as port:
            port_taker(port)

    def test_an_unknown_certificate_is_refused_and_not_tried_again(self):
        def use(port):
            with make_wire() as wire, self.assertRaises(UploadError) as caught:
                wire.run(lambda: wire.exchange("GET", "https://127.0.0.1:%d/" % port))
            self.assertNotIsInstance(caught.exception, Transient)
            self.assertRegex(str(caught.exception), "certificate is not accepted")

        self.secured(use)

    def test_a_trusted_one_serves_for_its_own_name_only(self):
        def use(port):
            with support.environment(SSL_CERT_FILE=self.certificate), make_wire() as wire:
                self.assertEqual(wire.exchange("GET", "https://127.0.0.1:%d/" % port).body, b"ok")
                with self.assertRaisesRegex(UploadError, "certificate is not accepted"):
                    wire.exchange("GET", "https://localhost:%d/" % port)

        self.secured(use)

    def test_a_trusted_one_serves_through_a_tunnel(self):
        def use(port):
            def tunnel(connection):
                head = connection.recv(65536)
                self.assertTrue(head.startswith(b"CONNECT service.invalid:443 HTTP/1.1\r\n"))
                connection.sendall(b"HTTP/1.1 200 Connection established\r\n\r\n")
                support.relay(connection, port)

            with raw_server(tunnel) as proxy:
                variables = {"SSL_CERT_FILE": self.certificate, "https_proxy": "http://127.0.0.1:%d" % proxy}
                with support.environment(**variables), make_wire() as wire:
                    self.assertEqual(wire.exchange("GET", "https://service.invalid/").body, b"ok")

        self.secured(use)


if __name__ == "__main__":
    unittest.main()
