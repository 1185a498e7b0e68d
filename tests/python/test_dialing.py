"""Connecting: all addresses of a host within one limit, and families in turn."""

import contextlib
import os
import socket
import threading
import time
import unittest
from unittest import mock

from pysocialnetwork import connection, dialing
from pysocialnetwork.connection import TimeLimits
from pysocialnetwork.errors import Stopped, Transient
from pysocialnetwork.stopsignal import StopSignal

import support
from support import LIMIT, Reply, Server, make_wire

V4, V6 = socket.AF_INET, socket.AF_INET6


def address(port, family=V4):
    return (family, socket.SOCK_STREAM, 0, "", ("127.0.0.1", port))


@contextlib.contextmanager
def silent_address():
    """One that answers no attempt: its queue is full."""
    with contextlib.ExitStack() as opened:
        listener = opened.enter_context(socket.create_server(("127.0.0.1", 0), backlog=0))
        port = listener.getsockname()[1]
        for _ in range(4):
            waiting = opened.enter_context(socket.socket())
            waiting.setblocking(False)
            waiting.connect_ex(("127.0.0.1", port))
        yield address(port)


@contextlib.contextmanager
def listening():
    with socket.create_server(("127.0.0.1", 0)) as listener:
        yield address(listener.getsockname()[1])


def refusing_address():
    with socket.create_server(("127.0.0.1", 0)) as listener:
        return address(listener.getsockname()[1])


class Dialing(unittest.TestCase):
    def connect(self, *addresses, seconds=LIMIT, stop=None):
        """The port that answered, and how long that took."""
        started = time.monotonic()
        with dialing.connect(addresses, stop or StopSignal(), seconds) as connected:
            self.assertIsNone(connected.gettimeout())
            return connected.getpeername()[1], time.monotonic() - started

    def test_families_take_turns(self):
        names = [(V6, "a"), (V6, "b"), (V4, "c"), (V6, "d"), (V4, "e")]
        self.assertEqual("".join(entry[1] for entry in dialing.interleaved(names)), "acbed")
        self.assertEqual(dialing.interleaved([]), [])

    def test_an_address_that_is_silent_costs_a_quarter_of_a_second(self):
        with silent_address() as silent, listening() as good:
            port, seconds = self.connect(silent, good)
        self.assertEqual(port, good[4][1])
        self.assertGreaterEqual(seconds, dialing.AHEAD)
        self.assertLess(seconds, LIMIT / 2)

    def test_one_that_refuses_costs_nothing(self):
        with silent_address() as silent, listening() as good:
            with mock.patch.object(dialing, "AHEAD", LIMIT):
                self.assertEqual(self.connect(refusing_address(), good, silent)[0], good[4][1])

    def test_a_family_that_the_system_does_not_have_is_passed_over(self):
        with listening() as good:
            self.assertEqual(self.connect((-5, *good[1:]), good)[0], good[4][1])

    def test_the_first_is_not_given_up_for_a_later_one(self):
        # The first answers once its queue has room again, while the others never do.
        with socket.create_server(("127.0.0.1", 0), backlog=0) as listener, silent_address() as silent:
            port = listener.getsockname()[1]
            with socket.create_connection(("127.0.0.1", port)), mock.patch.object(dialing, "AHEAD", 0.01):
                accepted = threading.Timer(0.1, lambda: listener.accept()[0].close())
                accepted.start()
                self.assertEqual(self.connect(address(port), silent)[0], port)
                accepted.join(LIMIT)

    def test_all_addresses_share_one_limit(self):
        with silent_address() as silent:
            started = time.monotonic()
            with self.assertRaises(socket.timeout):
                self.connect(*[silent] * 6, seconds=0.4)
            seconds = time.monotonic() - started
        self.assertGreaterEqual(seconds, 0.4)
        self.assertLess(seconds, 2.0)

    def test_refusals_end_in_the_last_of_them(self):
        with self.assertRaises(ConnectionRefusedError):
            self.connect(refusing_address(), refusing_address())
        with self.assertRaisesRegex(OSError, "no address"):
            self.connect()

    def test_a_stop_ends_it(self):
        stop = StopSignal()
        with silent_address() as silent:
            threading.Timer(0.05, stop.set).start()
            started = time.monotonic()
            with self.assertRaises(Stopped):
                self.connect(silent, stop=stop)
        self.assertLess(time.monotonic() - started, LIMIT / 2)

    def test_no_connection_is_left_open(self):
        def open_files():
            return len(os.listdir("/proc/self/fd"))

        with silent_address() as silent, listening() as good:
            before = open_files()
            self.connect(silent, silent, good)
            with self.assertRaises(socket.timeout):
                self.connect(silent, silent, seconds=0.3)
            self.assertEqual(open_files(), before)


class ByWire(support.WireCase):
    def test_a_request_goes_to_the_address_that_answers(self):
        with silent_address() as silent, Server(lambda request: Reply(200, b"here")) as server:
            found = [silent, address(server.port)]
            with mock.patch.object(connection, "addresses_of", lambda *unused: found), make_wire() as wire:
                self.assertEqual(wire.exchange("GET", "http://service.invalid/").body, b"here")

    def test_where_none_answers_that_is_told_within_the_limit(self):
        limits = TimeLimits(0.3, LIMIT, LIMIT)
        with silent_address() as silent, make_wire(limits=limits) as wire:
            with mock.patch.object(connection, "addresses_of", lambda *unused: [silent] * 5):
                started = time.monotonic()
                with self.assertRaisesRegex(Transient, "^cannot reach service.invalid: timed out$"):
                    wire.exchange("GET", "http://service.invalid/")
        self.assertLess(time.monotonic() - started, 2.0)


if __name__ == "__main__":
    unittest.main()
