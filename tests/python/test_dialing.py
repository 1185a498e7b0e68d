"""Connecting: all addresses of a host within one limit, and families in turn."""

import contextlib
import os
import socket
import threading
import time
import unittest
from types import SimpleNamespace
from unittest import mock

from pysocialnetwork import connection, deadlines, dialing
from pysocialnetwork.connection import TimeLimits
from pysocialnetwork.errors import Stopped, Transient
from pysocialnetwork.stopsignal import StopSignal

import support
from support import LIMIT, Reply, Server, make_wire
from test_patience import Clock

V4, V6 = socket.AF_INET, socket.AF_INET6


def family_of(host):
    return V6 if ":" in host else V4


def address(port, host="127.0.0.1"):
    return (family_of(host), socket.SOCK_STREAM, 0, "", (host, port))


def second_host():
    """This machine in its other family, or by another address where it has no other."""
    try:
        with socket.create_server(("::1", 0), family=V6):
            return "::1"
    except OSError:
        return "127.0.0.2"


@contextlib.contextmanager
def silent_address(host="127.0.0.1"):
    """One that answers no attempt: its queue is full."""
    with contextlib.ExitStack() as opened:
        listener = opened.enter_context(socket.create_server((host, 0), family=family_of(host), backlog=0))
        port = listener.getsockname()[1]
        for _ in range(4):
            waiting = opened.enter_context(socket.socket(family_of(host)))
            waiting.setblocking(False)
            waiting.connect_ex((host, port))
        yield address(port, host)


@contextlib.contextmanager
def listening(host="127.0.0.1"):
    with socket.create_server((host, 0), family=family_of(host)) as listener:
        yield address(listener.getsockname()[1], host)


class Selector:
    """Nothing ever comes; the clock goes on by what is waited."""

    def __init__(self, clock):
        self._clock = clock
        self._registered = {}

    def register(self, file, events):
        self._registered[file] = SimpleNamespace(fileobj=file)

    def get_map(self):
        return self._registered

    def select(self, seconds):
        if seconds <= 0:
            raise AssertionError("it turns on the spot")
        self._clock.wait(seconds)
        return []

    def close(self):
        self._registered.clear()


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
        for seconds, begun in ((0.4, 2), (20.0, 6)):
            clock, started, start = Clock(), [], dialing._Dialing._start

            def recorded(attempts, place):
                started.append(clock.now)
                start(attempts, place)

            with contextlib.ExitStack() as changed:
                for owner, name, value in (
                    (dialing._Dialing, "_start", recorded),
                    (dialing.selectors, "DefaultSelector", lambda: Selector(clock)),
                    (dialing, "time", SimpleNamespace(monotonic=clock.time)),
                ):
                    changed.enter_context(mock.patch.object(owner, name, value))
                silent, began = changed.enter_context(silent_address()), clock.now
                with self.assertRaises(socket.timeout):
                    dialing.connect([silent] * 6, StopSignal(), seconds)
            self.assertAlmostEqual(clock.now - began, seconds, 6)
            self.assertEqual(len(started), begun)
            for number, moment in enumerate(started):
                self.assertAlmostEqual(moment - began, number * dialing.AHEAD, 6)

    def test_the_second_family_answers_where_the_first_is_silent(self):
        hosts = ["127.0.0.1", second_host()]
        for dead, alive in (hosts, hosts[::-1]):
            begun, start = [], dialing._Dialing._start

            def recorded(attempts, place):
                begun.append(place[4][0])
                start(attempts, place)

            with silent_address(dead) as silent, listening(alive) as good:
                with mock.patch.object(dialing._Dialing, "_start", recorded):
                    # The whole of the first family stands before the second one.
                    more = [silent] * 5 if silent[0] != good[0] else []
                    with dialing.connect([silent, *more, good], StopSignal(), LIMIT) as connected:
                        self.assertEqual((connected.family, connected.getpeername()[:2]), (good[0], good[4]))
            self.assertEqual(begun[:2], [dead, alive])

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

    def refused(self, addresses, limits=None):
        """How a request ends whose host has these addresses."""
        with mock.patch.object(connection, "addresses_of", lambda *unused: addresses), make_wire(limits=limits) as wire:
            with self.assertRaises(Transient) as caught:
                wire.exchange("GET", "http://service.invalid/")
        self.assertTrue(caught.exception.unprocessed and caught.exception.offline)
        return str(caught.exception)

    def test_where_none_answers_that_is_told_within_the_limit(self):
        with silent_address() as silent, mock.patch.object(dialing, "connect", wraps=dialing.connect) as dialed:
            told = self.refused([silent] * 5, TimeLimits(0.3, LIMIT, LIMIT))
        self.assertEqual(told, "cannot reach service.invalid: timed out")
        # The limit is that of all together.
        self.assertEqual([call[0][2] for call in dialed.call_args_list], [0.3])

    def test_a_host_without_an_address_is_told(self):
        self.assertEqual(self.refused([]), "cannot reach service.invalid: no address")

    def test_without_a_thread_nobody_is_reached(self):
        for name in ("look-up", "deadlines"):
            plain = threading.Thread.start

            def start(thread):
                if thread.name == name:
                    raise RuntimeError("can't start new thread")
                plain(thread)

            fresh = mock.patch.object(deadlines, "clock", deadlines.DeadlineClock())
            with self.subTest(name), fresh, Server(lambda request: Reply(200)) as server, make_wire() as wire:
                with mock.patch.object(threading.Thread, "start", start):
                    with self.assertRaisesRegex(Transient, "^cannot reach .*: no thread can be started$"):
                        wire.exchange("GET", "http://localhost:%d/" % server.port)
                # That passes.
                self.assertEqual(wire.exchange("GET", "http://localhost:%d/" % server.port).status, 200)
                deadlines.clock.close()


if __name__ == "__main__":
    unittest.main()
