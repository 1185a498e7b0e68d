"""Uploads that go on through ten minutes without a network, on a clock that the test turns."""

import unittest
from unittest import mock

from pysocialnetwork import dialing, outcome, retry, youtube
from pysocialnetwork.errors import Stopped, Transient, UploadError
from pysocialnetwork.login import Login
from pysocialnetwork.retry import BACKGROUND, FOREGROUND, RetryPolicy, Setbacks
from pysocialnetwork.stopsignal import StopSignal
from pysocialnetwork.wire import Wire

import support
from support import Host, Reply, Server

MINUTE = 60.0


def offline():
    return Transient("cannot reach x: timed out", offline=True)


OFFLINE, BUSY = offline(), Transient("x is busy")


class Clock:
    """Moves only by the waits of those who are given it."""

    def __init__(self):
        self.now = 1000.0
        self.waits = []

    def time(self):
        return self.now

    def wait(self, seconds):
        self.waits.append(seconds)
        self.now += seconds


class ClockedStop(StopSignal):
    def __init__(self, clock, stop_at=None):
        super().__init__()
        self._clock = clock
        self._stop_at = stop_at

    def wait(self, seconds):
        self._clock.wait(seconds)
        if self._stop_at is not None and self._clock.now >= self._stop_at:
            self.set()
        self.check()


class Rows(unittest.TestCase):
    def setUp(self):
        self.clock = Clock()

    def outlasted(self, troubles, policy=BACKGROUND):
        """How long it goes on with these troubles, and how many there were."""
        setbacks, began, count = Setbacks(policy, self.clock.time), self.clock.now, 0
        for trouble in troubles:
            count += 1
            seconds = setbacks.pause(trouble)
            if seconds is None:
                return self.clock.now - began, count
            self.clock.wait(seconds)
        raise AssertionError("it never ends")

    def test_without_a_network_it_goes_on_for_ten_minutes(self):
        seconds, _ = self.outlasted([OFFLINE] * 1000)
        self.assertGreaterEqual(seconds, 10 * MINUTE)
        self.assertLess(seconds, 11 * MINUTE)

    def test_the_waits_double_up_to_half_a_minute(self):
        with mock.patch.object(retry.random, "uniform", lambda low, high: high):
            self.outlasted([OFFLINE] * 1000)
        self.assertEqual(self.clock.waits[:7], [1, 2, 4, 8, 16, 30, 30])
        self.assertEqual(max(self.clock.waits), 30)

    def test_a_service_that_answers_has_six_tries(self):
        self.assertEqual(self.outlasted([BUSY] * 1000)[1], 6)

    def test_a_dead_network_uses_up_no_tries_of_the_service(self):
        self.assertEqual(self.outlasted([OFFLINE] * 8 + [BUSY] * 1000)[1], 8 + 6)

    def test_a_network_that_comes_and_goes_does_not_begin_a_new_row(self):
        seconds, _ = self.outlasted([BUSY] + [OFFLINE] * 3 + [BUSY] + [OFFLINE] * 1000)
        self.assertLess(seconds, 11 * MINUTE)

    def test_what_moves_on_begins_a_new_row(self):
        setbacks = Setbacks(BACKGROUND, self.clock.time)
        for _ in range(5):
            for _ in range(20):
                self.clock.wait(setbacks.pause(OFFLINE))
            setbacks.forgive()
        self.assertGreater(self.clock.now, 1000 + 15 * MINUTE)

    def test_calls_that_the_host_waits_for_have_no_patience(self):
        self.assertEqual(self.outlasted([OFFLINE] * 1000, FOREGROUND)[1], 3)
        self.assertEqual(self.outlasted([OFFLINE] * 1000, RetryPolicy())[1], 6)


class Transfers(unittest.TestCase):
    """A file of 100 bytes whose part from byte 40 on meets a network that is gone for a while."""

    def setUp(self):
        self.clock = Clock()
        self.lines = []
        self.asked = []

    def transfer(self, gone, stop_at=None):
        begin = self.clock.now
        wire = Wire(
            ClockedStop(self.clock, stop_at),
            BACKGROUND,
            support.TimeLimits(),
            "tester",
            self.lines.append,
            self.clock.time,
        )

        def reach(position):
            if 0 <= self.clock.now - begin < gone:
                raise offline()
            return position

        def ask(offset):
            self.asked.append(offset)
            return reach(60)

        with wire:
            wire.transfer(0, 100, lambda offset: 40 if offset == 0 else reach(100), ask)

    def test_nine_minutes_without_a_network_are_borne(self):
        self.transfer(9 * MINUTE)
        self.assertGreater(self.clock.now, 1000 + 9 * MINUTE)
        self.assertEqual(set(self.asked), {40})
        self.assertLess(len(self.asked), 40)

    def test_eleven_are_too_many(self):
        with self.assertRaisesRegex(Transient, "cannot reach x"):
            self.transfer(11 * MINUTE)

    def test_a_stop_ends_the_wait(self):
        with self.assertRaises(Stopped):
            self.transfer(9 * MINUTE, stop_at=1000 + 2 * MINUTE)
        self.assertLess(self.clock.now, 1000 + 3 * MINUTE)

    def test_lines_tell_what_is_waited_for(self):
        self.transfer(5 * MINUTE)
        self.assertRegex(self.lines[0], r"^cannot reach x: timed out; next try in \d+\.\d s$")
        self.assertRegex(self.lines[-1], r"^cannot reach x: timed out \(for 2\d\d s now\); next try in \d+\.\d s$")

    def test_a_service_that_always_breaks_off_is_given_up(self):
        def send(offset):
            raise offline()

        wire = Wire(
            ClockedStop(self.clock), BACKGROUND, support.TimeLimits(), "tester", self.lines.append, self.clock.time
        )
        with wire, self.assertRaises(Transient):
            wire.transfer(0, 100, send, lambda offset: 0)
        self.assertLess(self.clock.now, 1000 + 11 * MINUTE)

    def test_rows_within_rows_do_not_add_up(self):
        def gone():
            raise offline()

        def busy():
            tries.append(1)
            raise Transient("x is busy")

        def wire():
            return Wire(
                ClockedStop(self.clock), BACKGROUND, support.TimeLimits(), "tester", self.lines.append, self.clock.time
            )

        nestings = (
            lambda wire, inner: outcome.once(wire, lambda: wire.run(inner), lambda: wire.run(inner)),
            lambda wire, inner: wire.transfer(0, 9, lambda offset: wire.run(inner), lambda offset: wire.run(inner)),
        )
        for nested in nestings:
            tries, began = [], self.clock.now
            with wire() as outer, self.assertRaises(UploadError):
                nested(outer, gone)
            self.assertLess(self.clock.now - began, 11 * MINUTE)
            with wire() as outer, self.assertRaises(UploadError):
                nested(outer, busy)
            self.assertEqual(len(tries), 6)


class WholeUploads(unittest.TestCase):
    def test_an_upload_survives_nine_minutes_without_a_network(self):
        clock, ranges, gone_until = Clock(), [], [0.0]
        connect = dialing.connect

        def dial(*arguments):
            if clock.now < gone_until[0]:
                raise OSError(101, "Network is unreachable")
            return connect(*arguments)

        def respond(request):
            if request.method == "POST":
                return Reply(200, "{}", {"Location": server.url + "/session"})
            ranges.append(request.headers["Content-Range"])
            if len(ranges) == 2:
                gone_until[0] = clock.now + 9 * MINUTE
                return Reply(drop=0)
            if len(ranges) == 4:
                return Reply(200, '{"id": "v1"}')
            return Reply(308, headers={"Range": "bytes=0-%d" % (1999 if ranges[-1].startswith("bytes */") else 999)})

        uploader = youtube.Uploader()
        uploader.clock = clock.time
        uploader.set_login(Login("youtube", "token", user_id="1"))
        host = Host()
        host.attach(uploader)
        with support.environment(), Server(respond) as server, support.video_file(3000) as (path, _):
            uploader.address = lambda key: server.url
            with mock.patch.object(dialing, "connect", dial), mock.patch.object(youtube, "CHUNK", 1000):
                with mock.patch.object(StopSignal, "wait", lambda stop, seconds: clock.wait(seconds)):
                    uploader.StartUpload(path, "T", "", "", "", "")
                    end = host.wait_for_end()
        self.assertEqual(end.text, "https://www.youtube.com/watch?v=v1")
        self.assertEqual(ranges, ["bytes 0-999/3000", "bytes 1000-1999/3000", "bytes */3000", "bytes 2000-2999/3000"])
        self.assertGreater(clock.now, gone_until[0] - 1)
        self.assertIn("Network is unreachable (for ", host.texts())


if __name__ == "__main__":
    unittest.main()
