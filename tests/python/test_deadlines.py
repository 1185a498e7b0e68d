"""Deadlines of many exchanges on one thread, and the settings of https that all of them share."""

import os
import signal
import ssl
import threading
import unittest
import warnings
from unittest import mock

from pysocialnetwork import tls
from pysocialnetwork.deadlines import DeadlineClock, clock

import support
from support import LIMIT, Reply, Server, make_wire, wait_until


def clock_threads():
    return [thread for thread in threading.enumerate() if thread.name == "deadlines"]


class Deadlines(unittest.TestCase):
    def setUp(self):
        self.clock = DeadlineClock(idle=0.05)
        self.addCleanup(self.clock.close)
        self.struck = []

    def start(self, seconds, name):
        return self.clock.start(seconds, lambda: self.struck.append(name))

    def test_they_strike_in_the_order_of_their_time(self):
        late = self.start(0.06, "late")
        early = self.start(0.01, "early")
        wait_until(lambda: len(self.struck) == 2, "both deadlines")
        self.assertEqual(self.struck, ["early", "late"])
        self.assertTrue(early.expired and late.expired)

    def test_a_cancelled_one_never_strikes(self):
        cancelled = self.start(0.01, "cancelled")
        cancelled.cancel()
        self.start(0.02, "other")
        wait_until(lambda: self.struck, "the other deadline")
        self.assertEqual((self.struck, cancelled.expired), (["other"], False))

    def test_cancelling_waits_for_one_that_strikes(self):
        begun, go_on = threading.Event(), threading.Event()

        def strike():
            begun.set()
            go_on.wait(LIMIT)
            self.struck.append("whole")

        deadline = self.clock.start(0.0, strike)
        self.assertTrue(begun.wait(LIMIT))
        threading.Timer(0.02, go_on.set).start()
        deadline.cancel()
        self.assertEqual(self.struck, ["whole"])

    def test_one_thread_serves_them_all_and_ends_when_there_is_none(self):
        before = len(clock_threads())
        deadlines = [self.start(LIMIT, "far") for _ in range(50)]
        self.assertEqual(len(clock_threads()), before + 1)
        for deadline in deadlines:
            deadline.cancel()
        # The thread looks at those that were cancelled when it is woken.
        self.start(0.0, "now")
        wait_until(lambda: len(clock_threads()) == before, "the end of the thread")
        self.start(0.0, "again")
        wait_until(lambda: self.struck == ["now", "again"], "a deadline of a second thread")

    def test_closed_it_ends_its_thread_and_starts_no_other(self):
        before = len(clock_threads())
        self.start(LIMIT, "far")
        self.clock.close()
        self.start(0.0, "later")
        self.assertEqual((len(clock_threads()), self.struck), (before, []))

    def test_the_child_of_a_fork_begins_anew(self):
        with warnings.catch_warnings():
            warnings.simplefilter("ignore", DeprecationWarning)  # of a fork beside other threads
            # The clock's thread may hold its lock at that moment.
            with clock._changed:
                child = os.fork()
        if child == 0:
            signal.alarm(LIMIT // 2)
            try:
                struck = threading.Event()
                clock.start(0.0, struck.set)
                os._exit(0 if struck.wait(LIMIT) else 1)
            finally:
                os._exit(1)
        _, status = os.waitpid(child, 0)
        self.assertEqual(status, 0)

    def test_exchanges_start_no_threads_of_their_own(self):
        started = []
        start = threading.Thread.start

        def noted(thread):
            started.append(thread.name)
            start(thread)

        with support.environment(), Server(lambda request: Reply()) as server, make_wire() as wire:
            wire.exchange("GET", server.url)
            with mock.patch.object(threading.Thread, "start", noted):
                for _ in range(5):
                    wire.exchange("GET", server.url)
        self.assertEqual(started, [])


class Authorities(unittest.TestCase):
    def test_they_are_read_once(self):
        made = []

        def make():
            made.append(1)
            return ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)

        with mock.patch.dict(tls._contexts, clear=True), mock.patch("ssl.create_default_context", make):
            first = tls.client_context()
            self.assertIs(tls.client_context(), first)
            with support.environment(SSL_CERT_FILE="/elsewhere"):
                self.assertIsNot(tls.client_context(), first)
        self.assertEqual(len(made), 2)
        self.assertEqual(first.minimum_version, ssl.TLSVersion.TLSv1_2)


if __name__ == "__main__":
    unittest.main()
