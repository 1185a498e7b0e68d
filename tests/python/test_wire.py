"""Requests over real sockets: retries, pauses, resumption and stops."""

import threading
import time
import unittest
from unittest import mock

from pysocialnetwork.bodies import LocalFile, form
from pysocialnetwork.connection import Origin, TimeLimits, origin_of
from pysocialnetwork.errors import Deferred, Refused, Stopped, Transient, UploadError
from pysocialnetwork.retry import RetryPolicy
from pysocialnetwork.stopsignal import StopSignal
from pysocialnetwork.wire import Wire, require_same_safety

import support
from support import LIMIT, QUICK, Reply, Server, WireCase, in_turn, make_wire, raw_server, wait_until


class PatientlessWire(Wire):
    """Keeps the pauses that it was to make."""

    def __init__(self, policy):
        super().__init__(RecordingStop(), policy, TimeLimits(5, LIMIT, LIMIT), "tester", lambda line: None)


class RecordingStop(StopSignal):
    def __init__(self):
        super().__init__()
        self.pauses = []

    def wait(self, seconds):
        self.pauses.append(seconds)
        self.check()


class Exchanges(WireCase):
    def test_any_status_is_an_answer_and_redirections_are_not_followed(self):
        for status in (200, 201, 204, 302, 308, 400, 404, 409):
            with Server(in_turn(Reply(status, b"", {"Location": "/x"}))) as server, make_wire() as wire:
                self.assertEqual(wire.exchange("GET", server.url + "/p?q=1").status, status)
                self.assertEqual([request.path for request in server.requests], ["/p?q=1"])

    def test_the_request_carries_what_it_was_given(self):
        with Server(in_turn(Reply(200, b"ok", {"X-Y": "z"}))) as server, make_wire() as wire:
            answer = wire.exchange("POST", server.url + "/p", {"X-A": "b"}, form({"k": "v"}))
            self.assertEqual((answer.body, answer.header("x-y")), (b"ok", "z"))
        request = server.requests[0]
        self.assertEqual(request.body, b"k=v")
        self.assertEqual(request.headers["Content-Type"], "application/x-www-form-urlencoded")
        self.assertEqual(request.headers["User-Agent"], "tester")
        self.assertEqual(request.headers["Host"], "127.0.0.1:%d" % server.port)
        self.assertEqual(request.headers["X-A"], "b")

    def test_a_post_without_a_body_says_so(self):
        with Server(in_turn(Reply())) as server, make_wire() as wire:
            wire.exchange("POST", server.url)
            self.assertEqual(server.requests[0].headers["Content-Length"], "0")

    def test_a_connection_serves_again(self):
        with Server(in_turn(Reply(200, b"x"))) as server, make_wire() as wire:
            for _ in range(5):
                wire.exchange("GET", server.url)
            self.assertEqual(server.connections, 1)

    def test_a_connection_that_the_server_closed_meanwhile_is_not_used_again(self):
        closed = threading.Event()

        def serve(connection):
            connection.recv(65536)
            connection.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n")
            connection.shutdown(2)
            closed.set()

        with raw_server(serve) as port, make_wire() as wire:
            for _ in range(3):
                closed.clear()
                self.assertEqual(wire.exchange("POST", "http://127.0.0.1:%d/" % port).status, 200)
                self.assertTrue(closed.wait(LIMIT))

    def test_headers_that_could_smuggle_are_refused_and_not_tried_again(self):
        with Server(in_turn(Reply())) as server, make_wire() as wire:
            for headers, path in (({"X": "a\r\nY: b"}, "/"), ({"X": "漢"}, "/"), ({}, "/a b")):
                with self.subTest(path), self.assertRaises(UploadError) as caught:
                    wire.exchange("GET", server.url + path, headers)
                self.assertNotIsInstance(caught.exception, Transient)
            self.assertEqual(server.requests, [])

    def test_an_answer_that_comes_before_the_body_is_read_is_heard(self):
        refusal = Reply(413, b"too large")
        with Server(in_turn(Reply()), refuse=lambda head: refusal) as server, make_wire() as wire:
            with support.video_file(30 * 1024 * 1024) as (path, _), LocalFile(path) as file:
                try:
                    self.assertEqual(wire.exchange("POST", server.url, body=file.whole()).status, 413)
                except Transient:
                    pass  # the reset overtook the answer

    def test_addresses_that_are_none_are_told(self):
        for url in ("", "ftp://h/", "http://", "http://h:x/", "http://[h/", "/path"):
            with self.subTest(url), self.assertRaisesRegex(UploadError, "no URL"):
                origin_of(url)
        self.assertEqual(origin_of("https://H.example"), Origin("https", "h.example", 443))
        self.assertEqual(Origin("http", "::1", 8080).authority(), "[::1]:8080")
        self.assertEqual(Origin("https", "h", 443).authority(), "h")

    def test_an_upload_address_is_as_safe_as_its_service(self):
        self.assertEqual(require_same_safety("https://a", "https://b/c"), "https://b/c")
        self.assertEqual(require_same_safety("HTTPS://a", "HTTPS://b/c"), "HTTPS://b/c")
        self.assertEqual(require_same_safety("http://127.0.0.1", "http://b/"), "http://b/")
        self.assertEqual(require_same_safety("http://127.0.0.1", "https://b/"), "https://b/")
        for address in ("http://b/", "HTTP://b/", "file:///etc", "ftp://b/", "//b/", "/path", "", "https:/b"):
            with self.subTest(address), self.assertRaisesRegex(UploadError, "^url invalid$"):
                require_same_safety("https://a", address)
        for address in (None, 5, ["https://b/"]):
            with self.subTest(address), self.assertRaisesRegex(UploadError, "named no address"):
                require_same_safety("https://a", address)
        for service, address in (
            ("http://127.0.0.1", "ftp://b/"),
            ("https://a", "https://"),
            ("https://a", "https://[b/"),
        ):
            with self.subTest(address), self.assertRaisesRegex(UploadError, "no URL"):
                require_same_safety(service, address)


class Retries(WireCase):
    def test_busy_answers_are_tried_again_until_one_is_good(self):
        with Server(in_turn(Reply(500), Reply(503), Reply(429), Reply(200, b"ok"))) as server, make_wire() as wire:
            self.assertEqual(wire.run(lambda: wire.exchange("GET", server.url)).body, b"ok")
            self.assertEqual(len(server.requests), 4)

    def test_tries_end(self):
        with Server(in_turn(Reply(502))) as server, make_wire() as wire:
            with self.assertRaisesRegex(Transient, "status 502"):
                wire.run(lambda: wire.exchange("GET", server.url))
            self.assertEqual(len(server.requests), QUICK.attempts)

    def test_pauses_grow_with_jitter_and_honour_the_service(self):
        policy = RetryPolicy(attempts=5, first_pause=1.0, longest_pause=3.0)
        replies = in_turn(Reply(500), Reply(503, b"", {"Retry-After": "7"}), Reply(500), Reply(500), Reply(200))
        with Server(replies) as server, PatientlessWire(policy) as wire:
            wire.run(lambda: wire.exchange("GET", server.url))
        first, asked, third, fourth = wire.stop.pauses
        self.assertTrue(0.5 <= first <= 1.0, first)
        self.assertEqual(asked, 7.0)
        self.assertTrue(1.5 <= third <= 3.0 and 1.5 <= fourth <= 3.0, (third, fourth))

    def test_the_end_of_a_limit_is_waited_for(self):
        limited = Reply(429, b"", {"X-RateLimit-Reset": str(int(time.time()) + 40)})
        with Server(in_turn(limited, Reply(200))) as server, PatientlessWire(RetryPolicy()) as wire:
            wire.run(lambda: wire.exchange("GET", server.url))
        self.assertTrue(20 < wire.stop.pauses[0] <= 41, wire.stop.pauses)

    def test_a_service_that_asks_for_too_much_is_given_up(self):
        replies = in_turn(Reply(503, b"", {"Retry-After": "86400"}), Reply(200))
        with Server(replies) as server, PatientlessWire(RetryPolicy()) as wire:
            with self.assertRaises(Transient):
                wire.run(lambda: wire.exchange("GET", server.url))
            self.assertEqual(wire.stop.pauses, [])

    def test_what_must_not_be_done_twice_is_sent_again_only_if_it_was_not_done(self):
        for status, tries in ((500, 1), (503, 1), (429, 2), (504, 1), (520, 1), (599, 1)):
            with Server(in_turn(Reply(status), Reply(200))) as server, make_wire() as wire:
                try:
                    wire.run(lambda: wire.exchange("POST", server.url), repeatable=False)
                except Transient:
                    pass
                self.assertEqual(len(server.requests), tries, status)
        with Server(in_turn(Reply(drop=0), Reply(200))) as server, make_wire() as wire:
            with self.assertRaises(Transient):
                wire.run(lambda: wire.exchange("POST", server.url), repeatable=False)
            self.assertEqual(len(server.requests), 1)

    def test_a_server_that_is_not_there_has_done_nothing(self):
        with raw_server(lambda connection: None) as port:
            pass
        with make_wire() as wire, self.assertRaises(Transient) as caught:
            wire.exchange("GET", "http://127.0.0.1:%d/" % port)
        self.assertTrue(caught.exception.unprocessed)
        self.assertIn("cannot reach 127.0.0.1", str(caught.exception))


class Transfers(WireCase):
    def run_transfer(self, steps, answers, size=100):
        sent, asked = [], []

        def play(script, log, offset):
            log.append(offset)
            step = script.pop(0)
            if isinstance(step, Exception):
                raise step
            return step

        with make_wire() as wire:
            wire.transfer(
                0, size, lambda offset: play(steps, sent, offset), lambda offset: play(answers, asked, offset)
            )
        return sent, asked

    def test_a_smooth_transfer_asks_nothing(self):
        self.assertEqual(self.run_transfer([40, 80, 100], []), ([0, 40, 80], []))

    def test_after_a_trouble_the_service_says_where_to_go_on(self):
        self.assertEqual(self.run_transfer([40, Transient("x"), 100], [60]), ([0, 40, 60], [40]))

    def test_the_service_may_have_lost_what_it_had(self):
        self.assertEqual(self.run_transfer([40, Transient("x"), 50, 100], [10]), ([0, 40, 10, 50], [40]))

    def test_a_part_whose_answer_was_lost_may_have_been_the_last(self):
        self.assertEqual(self.run_transfer([Transient("x")], [100]), ([0], [0]))

    def test_the_question_too_is_asked_again(self):
        self.assertEqual(self.run_transfer([Transient("x"), 100], [Transient("y"), 50]), ([0, 50], [0, 0]))

    def test_failures_are_forgiven_when_the_transfer_moves_on(self):
        steps, answers = [], []
        for end in range(10, 101, 10):
            steps += [Transient("x"), Transient("x"), end]
            answers += [end - 10, end - 10]
        sent, _ = self.run_transfer(steps, answers)
        self.assertEqual(len(sent), 30)

    def test_a_service_that_turns_in_circles_is_given_up(self):
        with self.assertRaises(Transient):
            self.run_transfer([40] + [Transient("x"), 40] * 20, [0] * 20)
        with self.assertRaisesRegex(Transient, "did not take"):
            self.run_transfer([0] * 20, [0] * 20)

    def test_a_refusal_leaves_what_the_service_may_have(self):
        refused, busy = Refused("a limit", 403), Transient("x", unprocessed=True)
        for steps, answers, told in (
            ([refused], [], Refused),
            ([busy, refused], [0], Refused),
            ([40, refused], [], Deferred),
            ([Transient("x")], [refused], Deferred),
            # Of a service that can't be asked the answer is where the part began.
            ([Transient("x"), refused], [0], Deferred),
            ([Transient("x"), Refused("gone", 404)], [0], Refused),
        ):
            with self.assertRaises(Refused) as caught:
                self.run_transfer(list(steps), list(answers))
            self.assertIs(type(caught.exception), told, steps)

    def test_positions_outside_the_file_are_refused(self):
        for reached in (-1, 101):
            with self.assertRaisesRegex(UploadError, "outside the file"):
                self.run_transfer([reached], [reached] * 9)
            self.assertEqual(self.run_transfer([reached, 100], [0]), ([0, 0], [0]))


class Stops(WireCase):
    def stopped(self, wire, operation, ready):
        """Runs the operation on a thread, stops it once it is `ready`, and returns how it ended."""
        endings = []

        def run():
            try:
                operation()
                endings.append(None)
            except Exception as error:
                endings.append(error)

        thread = threading.Thread(target=run, daemon=True)
        thread.start()
        wait_until(ready, "the operation to wait")
        started = time.monotonic()
        wire.stop.set()
        thread.join(LIMIT)
        self.assertLess(time.monotonic() - started, 5)
        self.assertIsInstance(endings[0], Stopped)
        self.assertEqual(str(endings[0]), "User cancelled!")

    def test_a_wait_for_an_answer_ends_at_once(self):
        asked, done = threading.Event(), threading.Event()

        def serve(connection):
            connection.recv(65536)
            asked.set()
            done.wait(LIMIT)

        with raw_server(serve) as port, make_wire() as wire:
            self.stopped(
                wire, lambda: wire.run(lambda: wire.exchange("GET", "http://127.0.0.1:%d/" % port)), asked.is_set
            )
            done.set()

    def test_a_body_that_nobody_reads_ends_at_once(self):
        done, sent = threading.Event(), []
        with raw_server(lambda connection: done.wait(LIMIT)) as port, make_wire() as wire:
            with support.video_file(30 * 1024 * 1024) as (path, _), LocalFile(path) as file:
                body = file.part(0, file.size, sent.append)
                last = []

                def stuck():
                    last.append(len(sent))
                    return len(last) > 50 and last[-1] == last[-40] > 0

                url = "http://127.0.0.1:%d/" % port
                self.stopped(wire, lambda: wire.run(lambda: wire.exchange("POST", url, body=body)), stuck)
            done.set()

    def test_a_handshake_that_never_ends_ends_at_once(self):
        asked, done = threading.Event(), threading.Event()

        def serve(connection):
            connection.recv(1)
            asked.set()
            done.wait(LIMIT)

        with raw_server(serve) as port, make_wire() as wire:
            self.stopped(wire, lambda: wire.exchange("GET", "https://127.0.0.1:%d/" % port), asked.is_set)
            done.set()

    def test_a_look_up_that_never_ends_ends_at_once(self):
        asked, done = threading.Event(), threading.Event()

        def look_up(*unused, **more):
            asked.set()
            done.wait(LIMIT)
            return []

        with mock.patch("socket.getaddrinfo", look_up), make_wire() as wire:
            self.stopped(wire, lambda: wire.exchange("GET", "http://video.test/"), asked.is_set)
        done.set()

    def test_a_pause_ends_at_once(self):
        replies = in_turn(Reply(503, b"", {"Retry-After": "60"}))
        with Server(replies) as server, make_wire(policy=RetryPolicy()) as wire:
            self.stopped(wire, lambda: wire.run(lambda: wire.exchange("GET", server.url)), lambda: server.requests)

    def test_nothing_is_sent_after_a_stop(self):
        with Server(in_turn(Reply())) as server, make_wire() as wire:
            wire.stop.set()
            with self.assertRaises(Stopped):
                wire.exchange("GET", server.url)
            self.assertEqual(server.connections, 0)


if __name__ == "__main__":
    unittest.main()
