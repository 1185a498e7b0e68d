"""Uploads on threads of their own: progress, the one closing event, stops and ends."""

import contextlib
import threading
import unittest
from dataclasses import replace
from unittest import mock

from pysocialnetwork import job as job_module, renewal
from pysocialnetwork.errors import Refused, Stopped, TokenInvalid, Transient, UploadError
from pysocialnetwork.login import Login

import support
from probe import UploaderCase
from support import LIMIT, Host, wait_until

PROGRESS, FINISHED, ERROR, TOKEN_INVALID, DEBUG = 1, 2, 3, 4, 99


class Jobs(UploaderCase):
    def test_an_upload_ends_with_its_address(self):
        self.start()
        self.assertEqual(self.host.wait_for_end().text, "https://video")
        self.assertEqual([event.text for event in self.host.of(PROGRESS)], ["100"])
        self.assertEqual(self.uploader.GetLastError(), "")

    def test_start_returns_while_the_upload_runs(self):
        go = threading.Event()
        self.uploader.upload = lambda job, wire: go.wait(LIMIT) and "https://video"
        self.start()
        self.assertEqual(self.host.closing(), [])
        go.set()
        self.host.wait_for_end()

    def test_the_thumbnail_is_an_optional_seventh_argument(self):
        seen = []
        self.uploader.upload = lambda job, wire: seen.append(job.request) or "x"
        self.uploader.StartUpload("p", "t", "d", "pr", "ta", "c")
        self.host.wait_for_end(1)
        self.uploader.StartUpload("p", "t", "d", "pr", "ta", "c", "th")
        self.host.wait_for_end(2)
        self.assertEqual([request.thumbnail for request in seen], ["", "th"])
        self.assertEqual(seen[0].path + seen[0].title + seen[0].description, "ptd")
        self.assertEqual((seen[0].privacy, seen[0].tags, seen[0].category), ("pr", "ta", "c"))

    def test_progress_only_grows_and_keeps_the_hundred_for_the_end(self):
        def upload(job, wire):
            for position in (0, 5, 500, 400, 501, 999, 1000):
                job.progress(position, 1000)
            return "x"

        self.uploader.upload = upload
        self.start()
        self.host.wait_for_end()
        self.assertEqual([event.text for event in self.host.of(PROGRESS)], ["0", "50", "99", "100"])

    def test_each_failure_has_its_closing_event(self):
        cases = (
            (UploadError("the file is bad"), ERROR, "the file is bad"),
            (Transient("is busy"), ERROR, "is busy"),
            (TokenInvalid("expired"), TOKEN_INVALID, "expired"),
            (ZeroDivisionError("inner secret"), ERROR, "unexpected ZeroDivisionError at test_jobs:"),
        )
        for error, code, text in cases:

            def upload(job, wire, error=error):
                def call(login):
                    raise error

                return self.uploader.authorized(wire, call)

            host = Host()
            host.attach(self.uploader)
            self.uploader.upload = upload
            self.sign_in()
            self.start()
            end = host.wait_for_end()
            self.assertEqual((end.code, end.text[: len(text)]), (code, text))
            self.assertNotIn("inner secret", end.text)
            self.assertEqual(self.uploader.GetLastError(), end.text)
            self.assertEqual(len(host.closing()), 1)
            self.assertEqual(self.uploader.GetAccessToken() == "error", code == TOKEN_INVALID)

    def test_an_upload_without_a_login_tells_that_the_token_is_invalid(self):
        self.uploader.upload = lambda job, wire: self.uploader.authorized(wire, lambda login: "x")
        self.start()
        self.assertEqual(self.host.wait_for_end().code, TOKEN_INVALID)

    def test_a_stop_ends_the_upload_with_one_event(self):
        asked, done = threading.Event(), threading.Event()

        def serve(connection):
            connection.recv(65536)
            asked.set()
            done.wait(LIMIT)

        with support.raw_server(serve) as port:
            url = "http://127.0.0.1:%d/" % port
            self.uploader.upload = lambda job, wire: wire.run(lambda: wire.exchange("GET", url))
            self.start()
            self.assertTrue(asked.wait(LIMIT))
            self.uploader.StopUpload()
            self.uploader.StopUpload()
            end = self.host.wait_for_end()
            self.assertEqual((end.code, end.text), (ERROR, "User cancelled!"))
            wait_until(lambda: not self.uploader._slot.job.is_running(), "the job's end")
            done.set()
        self.assertEqual(len(self.host.closing()), 1)

    def test_whatever_fails_after_a_stop_is_the_stop(self):
        def upload(job, wire):
            self.uploader.StopUpload()
            raise TokenInvalid("x")

        self.sign_in()
        self.uploader.upload = upload
        self.start()
        self.assertEqual(self.host.wait_for_end()[1:], (ERROR, "User cancelled!"))
        self.assertNotEqual(self.uploader.GetAccessToken(), "error")

    def test_nothing_that_fails_behind_the_publication_is_a_failure(self):
        cases = ((Refused("no picture", 400), "no picture"), (ZeroDivisionError(), "unexpected ZeroDiv"))
        for number, (error, told) in enumerate(cases, 1):
            with self.subTest(told):

                def fail():
                    raise error

                self.uploader.upload = lambda job, wire: self.uploader.afterwards("thumbnail", fail) or "https://video"
                self.start()
                end = self.host.wait_for_end(number)
                self.assertEqual(end.code, FINISHED)
                self.assertIn("without its thumbnail: " + told, self.uploader.GetLastError())

    def test_another_user_who_signs_in_meanwhile_does_not_get_the_rest(self):
        self.sign_in(user_id="1")
        other = Login("probe", "other-token", user_id="2")

        def refuse(login):
            self.uploader.set_login(other)
            raise TokenInvalid("ended")

        self.uploader.upload = lambda job, wire: self.uploader.authorized(wire, refuse)
        self.start()
        end = self.host.wait_for_end()
        self.assertEqual((end.code, end.text), (TOKEN_INVALID, "another user has signed in meanwhile"))
        self.assertEqual(self.uploader.login, other)

    def test_a_renewal_by_another_thread_is_waited_for_and_then_tried_again(self):
        self.sign_in(refresh="r", expires=1)
        self.uploader.call_limits = replace(self.uploader.call_limits, answer=0.01)
        for held in (self.uploader._renewal.lock, None):
            with self.subTest(held), contextlib.ExitStack() as stack, self.uploader.calling() as wire:
                stack.enter_context(held or renewal.renewals.turn(self.uploader.login, wire, 0.0))
                with self.assertRaisesRegex(Transient, "is being renewed") as caught:
                    self.uploader.authorized(wire, lambda login: None)
                self.assertTrue(caught.exception.unprocessed)
        self.assertEqual(len(renewal.renewals._turns), 0)

    def test_a_stop_without_an_upload_does_nothing(self):
        self.uploader.StopUpload()
        self.assertEqual(self.host.events, [])

    def test_a_second_upload_beside_the_first_is_refused(self):
        go = threading.Event()
        self.uploader.upload = lambda job, wire: go.wait(LIMIT) and "https://video"
        self.start()
        self.start()
        self.assertEqual(self.host.wait_for_end(1)[1:], (ERROR, "an upload is running already"))
        go.set()
        self.assertEqual(self.host.wait_for_end(2).code, FINISHED)

    def test_a_stopped_upload_need_not_have_ended_before_the_next_begins(self):
        go = threading.Event()
        self.uploader.upload = lambda job, wire: go.wait(LIMIT) and wire.stop.check()
        self.start()
        self.uploader.StopUpload()
        self.uploader.upload = lambda job, wire: "https://second"
        self.start()
        self.assertEqual(self.host.wait_for_end(1)[1:], (FINISHED, "https://second"))
        go.set()
        self.assertEqual(self.host.wait_for_end(2)[1:], (ERROR, "User cancelled!"))

    def test_a_hundred_uploads_in_a_row_leave_nothing_behind(self):
        threads = threading.active_count()
        for number in range(1, 101):
            self.start()
            self.host.wait_for_end(number)
        wait_until(lambda: threading.active_count() <= threads, "the threads' end")
        self.assertEqual(len(self.host.of(FINISHED)), 100)

    def test_the_host_may_start_the_next_upload_when_it_hears_of_the_end(self):
        def on_event(event):
            if event.code == FINISHED and len(host.closing()) < 5:
                self.start()

        host = Host(on_event)
        host.attach(self.uploader)
        self.start()
        wait_until(lambda: len(host.closing()) >= 5, "five uploads")
        self.assertEqual(host.of(ERROR), [])

    def test_secrets_stay_out_of_every_text(self):
        self.sign_in(refresh="refresh-me", secret="token/secret=")

        def upload(job, wire):
            self.uploader._debug("old-token refresh-me")
            raise UploadError("echo: app-secret old-token refresh-me token/secret= token%2Fsecret%3D")

        self.uploader.upload = upload
        self.start()
        self.assertEqual(self.host.wait_for_end().text, "echo: *** *** *** *** ***")
        for secret in ("old-token", "refresh-me", "app-secret", "token/secret"):
            self.assertNotIn(secret, self.host.texts() + self.uploader.GetLastError())

    def test_a_step_after_the_upload_may_fail_or_be_stopped(self):
        def fail(error):
            raise error

        def upload(job, wire):
            self.uploader.afterwards("tags", lambda: fail(Refused("no", 400)))
            return "https://video"

        self.uploader.upload = upload
        self.start()
        self.assertEqual(self.host.wait_for_end().code, FINISHED)
        self.assertIn("the video is uploaded, but without its tags: no", self.uploader.GetLastError())
        # A second upload after a new login would make a second video.
        self.uploader.afterwards("tags", lambda: fail(TokenInvalid("ended")))
        self.assertIn("without its tags: ended", self.uploader.GetLastError())
        self.uploader.afterwards("tags", lambda: fail(Stopped()))
        self.assertIn("without its tags: User cancelled!", self.uploader.GetLastError())

    def test_the_end_of_the_interpreter_stops_uploads(self):
        self.uploader.upload = lambda job, wire: wire.stop.wait(LIMIT)
        self.start()
        job_module._stop_all()
        self.assertEqual(self.host.wait_for_end().text, "User cancelled!")

    def test_without_a_thread_the_upload_fails_and_the_next_one_may_begin(self):
        with mock.patch("threading.Thread.start", side_effect=RuntimeError("can't start new thread")):
            self.start()
        self.assertEqual(self.host.wait_for_end()[1:], (ERROR, "cannot start a thread: can't start new thread"))
        self.start()
        self.assertEqual(self.host.wait_for_end(2).code, FINISHED)

    def test_upload_threads_do_not_hold_the_process(self):
        go = threading.Event()
        self.uploader.upload = lambda job, wire: go.wait(LIMIT) and "x"
        self.start()
        self.assertTrue(self.uploader._slot.job._thread.daemon)
        go.set()
        self.host.wait_for_end()


if __name__ == "__main__":
    unittest.main()
