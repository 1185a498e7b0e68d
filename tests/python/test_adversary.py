"""Whole uploads against services that answer with malice, hosts that stop at any moment, and files that change."""

import itertools
import json
import os
import random
import time
import unittest
from unittest import mock

from pysocialnetwork import unfinished
from pysocialnetwork.retry import Looks
from pysocialnetwork.wire import Wire

from sandboxed import PLATFORMS, STEPS, ServicesCase, fresh_video
from support import Host, Reply, Server, in_turn

PROGRESS, FINISHED, ERROR, TOKEN_INVALID = 1, 2, 3, 4

# More tries than any upload of a small file may need.
MOST_REQUESTS = 60


# Halves of letters, in every place that an uploader reads.
HALF_LETTERS = json.dumps(
    {
        **dict.fromkeys(("id", "uri", "link", "upload_session_id", "video_id", "status", "permalink"), "a\ud800"),
        "upload": dict.fromkeys(("upload_link", "url", "token"), "http://127.0.0.1:9/\ud800"),
        "video": {"_id": "\ud800", "url": "\ud800"},
        "start_offset": "0",
        "end_offset": "5000",
        "status_code": "FINISHED",
        "success": True,
        "error_message": "\udfff",
    }
)


class AdversaryCase(ServicesCase):
    def setUp(self):
        super().setUp()
        self.exchanges = 0
        self.users = {}
        exchange = Wire.exchange

        def counted(wire, *request, **more):
            self.exchanges += 1
            return exchange(wire, *request, **more)

        counting = mock.patch.object(Wire, "exchange", counted)
        counting.start()
        self.addCleanup(counting.stop)

    def user_of(self, platform):
        """One who is signed in, also after an upload that cost the login."""
        if platform not in self.users or self.users[platform].login is None:
            self.users[platform] = self.signed_in(platform)
            self.users[platform].looks = Looks(0.01, 0.05, 0.5)
        return self.users[platform]

    def assert_ended(self, end, host):
        self.assertEqual(host.closing(), [end])
        self.assertNotIn("unexpected", end.text + host.texts())
        self.assertLess(self.exchanges, MOST_REQUESTS)

    def disturbed(self, platform, route, size=5000, times=1000, **fault):
        """The closing event of an upload whose requests to the route meet the fault."""
        uploader = self.user_of(platform)
        order = self.order(route, times=times, **fault)
        self.exchanges = 0
        end, host, _ = self.upload(uploader, size)
        self.assert_ended(end, host)
        self.assertGreaterEqual(self.delivered(order), 1)
        self.sandbox.post("/sandbox/faults/clear")
        return end


class Answers(AdversaryCase):
    def test_pages_and_other_nonsense_end_the_upload(self):
        page = "<!DOCTYPE html><html><body>Please sign in to the network</body></html>"
        answers = (
            {"kind": "status", "code": 200, "text": page, "contentType": "text/html"},
            {"kind": "status", "code": 403, "text": page, "contentType": "text/html"},
            {"kind": "status", "code": 401, "text": page, "contentType": "text/html"},
            {"kind": "status", "code": 200, "text": "null"},
            {"kind": "status", "code": 200, "text": '{"id":1e400,"error":[],"upload":7,"uri":{}}'},
            {"kind": "status", "code": 400, "text": '{"error":{"code":"190","message":{}},"debug_info":[]}'},
            {"kind": "status", "code": 200, "text": HALF_LETTERS},
            {"kind": "status", "code": 204},
            {"kind": "status", "code": 599, "text": "x"},
        )
        for platform in PLATFORMS:
            for route in dict.fromkeys(STEPS[platform]):
                for answer in answers:
                    with self.subTest(route, **answer):
                        end = self.disturbed(platform, route, **answer)
                        self.assertNotIn("<", end.text)

    def test_answers_without_measure_end_the_upload(self):
        for platform in PLATFORMS:
            route = STEPS[platform][0]
            for answer in ({"kind": "hugeBody", "bytes": 5 << 20}, {"kind": "gzipBomb", "bytes": 8 << 20}):
                with self.subTest(route, **answer):
                    self.assertEqual(self.disturbed(platform, route, **answer).code, ERROR)

    def test_redirections_lead_nowhere(self):
        with Server(in_turn(Reply(200, b"{}"))) as elsewhere:
            for platform in PLATFORMS:
                for route in dict.fromkeys(STEPS[platform]):
                    for code in (301, 302, 303, 307, 308):
                        with self.subTest(route, code=code):
                            self.disturbed(
                                platform, route, kind="status", code=code, headers={"Location": elsewhere.url}
                            )
            self.assertEqual(elsewhere.connections, 0)

    def test_positions_that_cannot_be_end_the_upload(self):
        places = {
            "facebook": ("facebookVideos", "start_offset", ('"-1"', '"99999999"', '"x"', "null", "1e400", "[]")),
            "instagram": (
                "instagramStatus",
                "video_status.uploading_phase.bytes_transferred",
                ("-1", "99999999", '"x"', "null", "true", "1e400"),
            ),
        }
        for platform, (route, path, values) in places.items():
            for value in values:
                with self.subTest(platform, value=value):
                    if platform == "instagram":
                        self.order("instagramUpload", "resetRequestAfter", times=1000, bytes=600000)
                    end = self.disturbed(platform, route, 2 << 20, kind="replaceMember", path=path, text=value)
                    self.assertEqual(end.code, ERROR)

    def test_headers_that_tell_impossible_positions_end_the_upload(self):
        for platform, route, code, name, values in (
            ("vimeo", "vimeoUpload", 204, "Upload-Offset", ("-1", "0", "99999999", "x", "", "1e3", "0x10", "²")),
            ("youtube", "youtubeUploadChunk", 308, "Range", ("bytes=0-99999999", "bytes=5-9", "bytes=0--1", "0-x", "")),
        ):
            for value in values:
                with self.subTest(platform, value=value):
                    end = self.disturbed(platform, route, kind="status", code=code, headers={name: value})
                    self.assertEqual(end.code, ERROR)

    def test_a_service_that_always_wants_another_try_is_given_up(self):
        answers = {
            "facebook": ('{"error":{"code":2,"is_transient":true}}', '{"error":{"code":6000,"error_subcode":1363033}}'),
            "youtube": ('{"error":{"errors":[{"reason":"backendError"}]}}',),
            "instagram": ('{"debug_info":{"retriable":true}}', '{"error":{"code":9007,"error_subcode":2207027}}'),
            "flickr": ('{"stat":"fail","code":105}', '<rsp stat="fail"><err code="105" msg="m"/></rsp>'),
        }
        for platform, texts in answers.items():
            for route in dict.fromkeys(STEPS[platform]):
                for text in texts:
                    with self.subTest(route, text=text):
                        end = self.disturbed(platform, route, kind="status", code=403, text=text)
                        self.assertEqual(end.code, ERROR)

    def test_an_answer_that_is_cut_anywhere_ends_in_order(self):
        seed = random.randrange(2**32)
        chance = random.Random(seed)
        for platform in PLATFORMS:
            uploader = self.user_of(platform)
            for route in dict.fromkeys(STEPS[platform]):
                for position in sorted(chance.sample(range(400), 4)):
                    with self.subTest(route, position=position, seed=seed):
                        self.order(route, "resetAnswerAfter", bytes=position)
                        self.exchanges = 0
                        self.one_video_in_the_end(uploader, 3000)
                        self.assertLess(self.exchanges, MOST_REQUESTS)

    def test_an_answer_in_drips_is_put_together(self):
        for platform in PLATFORMS:
            with self.subTest(platform):
                for route in dict.fromkeys(STEPS[platform]):
                    self.order(route, "trickle", times=1000, bytes=1, delay=0)
                self.assert_finished(*self.upload(self.signed_in(platform), 5000))
                self.sandbox.post("/sandbox/faults/clear")


class Moments(AdversaryCase):
    def stopped_at(self, uploader, path, moment, after):
        """The closing event of an upload that is stopped at one of its exchanges, and how many there were."""
        exchange = Wire.exchange
        seen = []

        def watched(wire, *request, **more):
            seen.append(request)
            if len(seen) == moment and not after:
                uploader.StopUpload()
            answer = exchange(wire, *request, **more)
            if len(seen) == moment and after:
                uploader.StopUpload()
            return answer

        with mock.patch.object(Wire, "exchange", watched):
            host = self.start(uploader, path)
            end = host.wait_for_end()
        self.assertEqual(host.closing(), [end])
        return end, len(seen)

    def test_a_stop_at_any_exchange_and_another_start_leave_one_video(self):
        for platform in PLATFORMS:
            uploader = self.user_of(platform)
            with fresh_video(4000) as (path, _):
                whole, total = self.stopped_at(uploader, path, 0, False)
            self.assertEqual(whole.code, FINISHED, whole.text)
            for moment in range(1, total + 1):
                for after in (False, True):
                    with self.subTest(platform, moment=moment, after=after), fresh_video(4000) as (path, content):
                        end, count = self.stopped_at(uploader, path, moment, after)
                        if end.code != FINISHED:
                            self.assertEqual((end.code, end.text), (ERROR, "User cancelled!"))
                            # The next exchange is refused before it has begun.
                            self.assertLessEqual(count, moment + 1)
                            end = self.start(uploader, path).wait_for_end()
                        self.assertEqual(end.code, FINISHED, end.text)
                        self.assertEqual(len(self.copies(content)), 1, "there is a second video")


class Files(AdversaryCase):
    def changed(self, platform, change):
        """The closing event of an upload whose file is changed when a part of it has been sent."""
        uploader = self.user_of(platform)
        self.exchanges = 0
        done = []
        with fresh_video(3 << 20) as (path, _):

            def on_event(event):
                if event.code == PROGRESS and not done:
                    done.append(change(path))

            host = Host(on_event)
            host.attach(uploader)
            uploader.StartUpload(path, "T", "", "", "", "")
            end = host.wait_for_end()
        self.assert_ended(end, host)
        return end

    def test_a_file_that_changes_while_it_is_sent_ends_the_upload(self):
        def rewrite(path):
            with open(path, "r+b") as file:
                file.write(b"other")
            os.utime(path, (1, 1))

        def grow(path):
            with open(path, "ab") as file:
                file.write(b"more")

        changes = (lambda path: os.truncate(path, 100), lambda path: os.truncate(path, 0), rewrite, grow)
        for platform in PLATFORMS:
            for number, change in enumerate(changes):
                with self.subTest(platform, change=number):
                    end = self.changed(platform, change)
                    self.assertEqual(end.code, ERROR)
                    self.assertIn("changed while it was being sent", end.text)

    def test_a_file_that_is_gone_before_it_is_sent_is_told(self):
        for platform in PLATFORMS:
            with self.subTest(platform):
                end, host, _ = self.upload_of(platform, "/nowhere/at all.mp4")
                self.assert_ended(end, host)
                self.assertEqual(end.text, "cannot open the file /nowhere/at all.mp4: No such file or directory")

    def upload_of(self, platform, path):
        host = self.start(self.user_of(platform), path)
        return host.wait_for_end(), host, None

    def test_a_file_that_is_removed_while_it_is_sent_is_still_whole(self):
        for platform in PLATFORMS:
            with self.subTest(platform):
                self.assertEqual(self.changed(platform, os.remove).code, FINISHED)


class ClocksThatJump(AdversaryCase):
    def jumped(self, platform, days, nth):
        """An upload whose wall clock jumps before its `nth` exchange."""
        user = self.user_of(platform)
        now, exchange, seen = time.time, Wire.exchange, []
        self.exchanges = 0

        def watched(wire, *request, **more):
            seen.append(1)
            return exchange(wire, *request, **more)

        with mock.patch.object(Wire, "exchange", watched):
            with mock.patch("time.time", lambda: now() + (days * 86400 if len(seen) >= nth else 0)):
                end, host, content = self.upload(user, 5000)
        self.assert_ended(end, host)
        self.assertLessEqual(len(self.copies(content)), 1, "there is a second video")
        return end

    def test_each_upload_has_one_end_and_no_second_video(self):
        for platform in PLATFORMS:
            for days in (-4000, -1, 1, 4000):
                for nth in (0, 1, 2, 3):
                    with self.subTest(platform, days=days, nth=nth):
                        end = self.jumped(platform, days, nth)
                        if days in (-1, 1) and platform != "flickr":
                            self.assertEqual(end.code, FINISHED, end.text)
                        self.users.clear()


class Anything(dict):
    """Has the same for every key."""

    def __init__(self, value):
        super().__init__()
        self._value = value

    def pop(self, *unused):
        return time.monotonic(), dict(self._value)


class RubbishRecords(AdversaryCase):
    """What is kept of an upload that broke off may be anything."""

    names = {
        "facebook": ("upload_session_id", "video_id", "start_offset", "end_offset"),
        "youtube": ("session",),
        "vimeo": ("place", "link", "page"),
        "instagram": ("container",),
        "twitch": ("place", "token", "name", "page", "sent"),
        "flickr": ("ticket", "known", "started"),
    }

    def test_they_end_in_order_and_in_no_second_video(self):
        values = ("", "rubbish", "\ud800", "7", "-1", "9" * 400, "http://127.0.0.1:9/x", "a\r\nb", "../..")
        doubts = ({}, {unfinished.MAYBE_OUT: "yes"})
        for (platform, names), value, doubt in itertools.product(self.names.items(), values, doubts):
            with self.subTest(platform, value=value, **doubt), fresh_video(5000) as (path, content):
                rubbish = {**dict.fromkeys(names, value), **doubt}
                user, self.exchanges = self.user_of(platform), 0
                with mock.patch.object(unfinished.kept, "_kept", Anything(rubbish)):
                    host = self.start(user, path)
                    end = host.wait_for_end()
                self.assert_ended(end, host)
                self.assertEqual(len(self.copies(content)), 1 if end.code == FINISHED else 0, end.text)


if __name__ == "__main__":
    unittest.main()
