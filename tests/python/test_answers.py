"""Answers that end early, never or in drips, over real sockets."""

import socket
import threading
import time
import unittest
from unittest import mock

from pysocialnetwork.connection import Answer, TimeLimits
from pysocialnetwork.errors import Transient, UploadError

from support import LIMIT, WireCase, make_wire, raw_server


class HostileAnswers(WireCase):
    def trouble_with(self, answer, limits=None, scheme="http"):
        def serve(connection):
            connection.recv(65536)
            answer(connection)

        with raw_server(serve) as port, make_wire(limits=limits) as wire:
            with self.assertRaises(UploadError) as caught:
                wire.exchange("GET", "%s://127.0.0.1:%d/" % (scheme, port))
        return caught.exception

    def test_a_connection_that_breaks_may_be_tried_again(self):
        for start in (
            b"",
            b"HTTP/1.1 200",
            b"HTTP/1.1 200 OK\r\nContent-Le",
            b"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nabc",
            b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n",
        ):
            with self.subTest(start):
                trouble = self.trouble_with(lambda connection: connection.sendall(start))
                self.assertIsInstance(trouble, Transient)
                self.assertFalse(trouble.unprocessed)

    def test_only_a_service_that_is_silent_is_none_that_answered(self):
        for answer, offline in (
            (b"", True),
            (b"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nabc", True),
            (b"nonsense\r\n\r\n", False),
            (b"HTTP/1.1 none\r\n\r\n", False),
        ):
            with self.subTest(answer):
                trouble = self.trouble_with(lambda connection: connection.sendall(answer))
                self.assertEqual((type(trouble), trouble.offline), (Transient, offline))

    def test_a_tls_that_is_refused_is_an_answer(self):
        alert = b"\x15\x03\x03\x00\x02\x02\x28"
        for answer, offline in ((alert, False), (b"HTTP/1.1 400 Bad Request\r\n\r\n", False), (b"", True)):
            with self.subTest(answer):
                trouble = self.trouble_with(lambda connection: connection.sendall(answer), scheme="https")
                self.assertEqual((type(trouble), trouble.offline), (Transient, offline), trouble)

    def test_endless_headers_and_bodies_are_cut_off(self):
        def headers(connection):
            connection.sendall(b"HTTP/1.1 200 OK\r\n" + b"A: b\r\n" * 1000)

        def body(connection):
            connection.sendall(b"HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n")
            while True:
                connection.sendall(b"x" * 65536)

        self.assertIsInstance(self.trouble_with(headers), Transient)
        too_large = self.trouble_with(body)
        self.assertIsInstance(too_large, Transient)
        self.assertIn("larger than expected", str(too_large))

    def test_a_doubled_answer_is_never_that_of_the_next_request(self):
        for late in (False, True):
            doubled, served = threading.Event(), []

            def serve(connection, late=late, doubled=doubled, served=served):
                while connection.recv(65536):
                    served.append(1)
                    reply = b"HTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\n%d" % len(served)
                    connection.sendall(reply if late else reply * 2)
                    if late:
                        time.sleep(0.01)
                        connection.sendall(reply)
                    doubled.set()

            with self.subTest(late=late), raw_server(serve) as port, make_wire() as wire:
                for number in (b"1", b"2", b"3"):
                    self.assertEqual(wire.exchange("GET", "http://127.0.0.1:%d/" % port).body, number)
                    self.assertTrue(doubled.wait(LIMIT))
                    doubled.clear()

    def test_an_answer_that_comes_too_late_is_never_that_of_the_next_request(self):
        served, go_on = [], threading.Event()

        def serve(connection):
            while connection.recv(65536):
                served.append(1)
                number = len(served)
                if number == 1:
                    go_on.wait(LIMIT)
                connection.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\n%d" % number)

        with raw_server(serve) as port, make_wire(limits=TimeLimits(5, 0.2, LIMIT)) as wire:
            url = "http://127.0.0.1:%d/" % port
            with self.assertRaises(Transient):
                wire.exchange("GET", url)
            go_on.set()
            self.assertEqual(wire.exchange("GET", url).body, b"2")

    def test_silence_ends(self):
        waiting = threading.Event()
        trouble = self.trouble_with(lambda connection: waiting.wait(LIMIT), TimeLimits(5, 0.1, LIMIT))
        waiting.set()
        self.assertRegex(str(trouble), "timed out")

    def test_a_look_up_has_its_time(self):
        done = threading.Event()
        with mock.patch("socket.getaddrinfo", lambda *unused, **more: done.wait(LIMIT)):
            with make_wire(limits=TimeLimits(0.1, LIMIT, LIMIT)) as wire:
                with self.assertRaisesRegex(Transient, "cannot reach video.test: timed out") as caught:
                    wire.exchange("GET", "http://video.test/")
        self.assertTrue(caught.exception.unprocessed)
        done.set()

    def test_a_name_that_is_not_known_is_told(self):
        unknown = OSError(-2, "Name or service not known")
        with mock.patch("socket.getaddrinfo", side_effect=unknown), make_wire() as wire:
            with self.assertRaisesRegex(Transient, "cannot reach video.test: Name or service not known"):
                wire.exchange("GET", "http://video.test/")

    def test_an_answer_that_drips_ends_although_it_is_never_silent(self):
        def drip(connection):
            while True:
                connection.sendall(b"H")
                time.sleep(0.02)

        trouble = self.trouble_with(drip, TimeLimits(5, LIMIT, 0.3))
        self.assertIsInstance(trouble, Transient)
        self.assertRegex(str(trouble), "took longer")


# Answers as they come over the wire, and what of them is enough: all, the head where the connection ends the body, or
# the last chunk, since nobody asks for what may stand behind it.
WHOLE = (
    (b'HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 12\r\n\r\n{"id": "17"}', b""),
    (b"HTTP/1.1 201 Created\r\nContent-Length: 2\r\nConnection: close\r\n\r\n{}", b""),
    (
        b'HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\n{"id"\r\na;x=y\r\n: "seven"}\r\n0\r\n\r\n',
        b"\r\n0\r\n",
    ),
    (b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n0\r\nX-Trailer: x\r\n\r\n", b"\r\n0\r\n"),
    (b"HTTP/1.1 204 No Content\r\nUpload-Offset: 123456\r\n\r\n", b""),
    (b"HTTP/1.1 308 Resume Incomplete\r\nRange: bytes=0-524287\r\nContent-Length: 0\r\n\r\n", b""),
    (b"HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}", b""),
    (b'HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n{"id": "17"}', b"\r\n\r\n"),
    (b'HTTP/1.0 200 OK\r\n\r\n{"id": "17"}', b"\r\n\r\n"),
)


class CutAnswers(WireCase):
    def exchanges(self, answers):
        """What comes of one exchange for each answer: the answer or the trouble."""
        waiting = list(answers)

        def serve(connection):
            connection.recv(65536)
            connection.sendall(waiting.pop(0))

        results = []
        with raw_server(serve) as port, make_wire() as wire:
            for _ in answers:
                try:
                    results.append(wire.exchange("GET", "http://127.0.0.1:%d/" % port))
                except UploadError as trouble:
                    results.append(trouble)
        return results

    def test_a_connection_that_ends_at_any_byte_is_no_answer(self):
        for whole, enough in WHOLE:
            least = whole.index(enough) + len(enough) if enough else len(whole)
            for length, result in enumerate(self.exchanges([whole[:length] for length in range(least)])):
                with self.subTest(whole=whole, length=length):
                    self.assertIsInstance(result, Transient)
                    self.assertFalse(result.unprocessed)
            self.assertIsInstance(self.exchanges([whole])[0], Answer)

    def test_an_answer_may_come_byte_by_byte(self):
        for whole, _ in WHOLE:

            def drip(connection):
                connection.recv(65536)
                connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
                for place in range(len(whole)):
                    connection.sendall(whole[place : place + 1])

            with raw_server(drip) as port, make_wire() as wire:
                answer = wire.exchange("GET", "http://127.0.0.1:%d/" % port)
            self.assertEqual(answer, self.exchanges([whole])[0]._replace(headers=answer.headers))


if __name__ == "__main__":
    unittest.main()
