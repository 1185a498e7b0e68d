"""Whole uploads of each platform against the sandbox's services, which err on request."""

import time
import unittest

import support
from sandboxed import CARRIER, PLATFORMS, STEPS, ServicesCase, fresh_video
from support import Host, wait_until

PROGRESS, FINISHED, ERROR, TOKEN_INVALID = 1, 2, 3, 4

RENEWABLE = ("youtube", "twitch")


class Troubles(ServicesCase):
    # More than the system keeps on its way, so that a break is noticed while the video is being sent.
    size = 12 << 20

    def carried(self, platform, kind, **more):
        """An upload whose video meets a trouble on its way."""
        route, nth = CARRIER[platform]
        order = self.order(route, kind, nth=nth, **more)
        result = self.upload(self.signed_in(platform), self.size)
        self.assertGreaterEqual(self.delivered(order), 1, "the trouble did not come")
        return result

    def test_a_connection_that_breaks_while_the_video_is_sent_is_mended(self):
        for platform in PLATFORMS:
            with self.subTest(platform):
                self.assert_finished(*self.carried(platform, "resetRequestAfter", bytes=1000000))

    def test_a_service_that_hangs_up_is_called_again(self):
        for platform in PLATFORMS:
            with self.subTest(platform):
                end, host, content = self.carried(platform, "closeAtOnce")
                self.assert_finished(end, host, content)

    def test_a_lost_answer_makes_no_second_video(self):
        for platform in PLATFORMS:
            with self.subTest(platform):
                end, host, content = self.carried(platform, "resetAnswerAfter", bytes=0)
                self.assert_finished(end, host, content)

    def test_a_busy_service_is_asked_again(self):
        for platform in PLATFORMS:
            for code in (503, 429):
                with self.subTest(platform, code=code):
                    more = {"code": code, "headers": {"Retry-After": "0"}}
                    self.assert_finished(*self.carried(platform, "status", **more))

    def test_every_step_survives_a_busy_moment(self):
        for platform in PLATFORMS:
            for route in dict.fromkeys(STEPS[platform]):
                with self.subTest(route):
                    order = self.order(route, "status", code=503)
                    end, host, content = self.upload(self.signed_in(platform), 5000)
                    self.assertEqual(self.delivered(order), 1)
                    self.assert_finished(end, host, content)

    def test_a_service_that_stays_busy_is_given_up(self):
        for platform in PLATFORMS:
            with self.subTest(platform):
                end, host, _ = self.carried(platform, "status", code=500, times=1000)
                self.sandbox.post("/sandbox/faults/clear")
                self.assertEqual((end.code, len(host.closing())), (ERROR, 1))
                self.assertIn("busy", end.text)

    def test_answers_that_make_no_sense_end_the_upload_in_order(self):
        kinds = (
            {"kind": "brokenJson"},
            {"kind": "status", "code": 200, "text": "[]"},
            {"kind": "status", "code": 200, "text": ""},
            {"kind": "deepNesting", "bytes": 100000},
            {"kind": "status", "code": 404},
            {"kind": "gzip"},
        )
        for platform in PLATFORMS:
            for route in dict.fromkeys(STEPS[platform]):
                # Twitch's last answer has no content, so that any is good.
                for kind in kinds if route != "twitchComplete" else [kinds[0], kinds[4]]:
                    with self.subTest(route, **kind):
                        self.order(route, times=1000, **kind)
                        self.one_video_in_the_end(self.signed_in(platform), 5000)

    def test_a_chunk_that_counts_in_part_goes_on_behind_that(self):
        order = self.order("youtubeUploadChunk", "acceptLess", bytes=1 << 20)
        end, host, content = self.upload(self.signed_in("youtube"), 9 << 20)
        self.assertEqual(self.delivered(order), 1)
        self.assert_finished(end, host, content)

    def test_a_session_that_the_service_gave_up_is_replaced(self):
        for code in (404, 410):
            order = self.order("youtubeUploadChunk", "status", nth=2, code=code)
            end, host, content = self.upload(self.signed_in("youtube"), 9 << 20)
            self.assertEqual(self.delivered(order), 1)
            self.assert_finished(end, host, content)

    def test_a_stop_ends_a_stalled_upload_promptly(self):
        for platform in PLATFORMS:
            with self.subTest(platform), support.video_file(40000000) as (path, _):
                route, nth = CARRIER[platform]
                order = self.order(route, "stallRequestAfter", nth=nth, bytes=1000)
                uploader = self.signed_in(platform)
                host = self.start(uploader, path)
                wait_until(lambda: self.delivered(order), "the stall")
                started = time.monotonic()
                uploader.StopUpload()
                end = host.wait_for_end()
                self.assertLess(time.monotonic() - started, 5)
                self.assertEqual((end.code, end.text), (ERROR, "User cancelled!"))
                self.sandbox.post("/sandbox/faults/release")
                self.assertNotEqual(uploader.GetAccessToken(), "error")
                again, host, content = self.upload(uploader, 7000)
                self.assert_finished(again, host, content)

    def test_an_expired_token_is_renewed_or_told(self):
        for platform in PLATFORMS:
            with self.subTest(platform):
                uploader = self.signed_in(platform)
                before = uploader.GetAccessToken()
                self.sandbox.post("/sandbox/tokens/expire")
                end, host, content = self.upload(uploader, 8000)
                if platform in RENEWABLE:
                    self.assert_finished(end, host, content)
                    self.assertNotEqual(uploader.GetAccessToken(), before)
                else:
                    self.assertEqual((end.code, host.closing()), (TOKEN_INVALID, [end]), end.text)
                    self.assertEqual(uploader.GetAccessToken(), "error")

    def test_a_token_that_expires_in_the_middle_is_renewed(self):
        uploader = self.signed_in("youtube")
        with fresh_video(20 << 20) as (path, content):
            expired = []

            def on_event(event):
                if event.code == PROGRESS and int(event.text) > 45 and not expired:
                    expired.append(self.sandbox.post("/sandbox/tokens/expire"))

            host = Host(on_event)
            host.attach(uploader)
            uploader.StartUpload(path, "T", "", "", "", "")
            end = host.wait_for_end()
        self.assertTrue(expired)
        self.assert_finished(end, host, content)

    def test_facebook_publishes_without_a_thumbnail_that_it_does_not_take(self):
        with support.video_file(100, ".txt") as (picture, _), fresh_video(9000) as (path, content):
            uploader = self.signed_in("facebook")
            host = Host()
            host.attach(uploader)
            uploader.StartUpload(path, "T", "", "", "", "", picture)
            self.assert_finished(host.wait_for_end(), host, content)
            self.assertIn("without its thumbnail", uploader.GetLastError())

    def test_a_thumbnail_that_is_refused_does_not_fail_the_upload(self):
        for platform, route in (("youtube", "youtubeThumbnail"), ("vimeo", "vimeoPicture")):
            with self.subTest(platform), support.video_file(100, ".jpg") as (picture, _):
                order = self.order(route, "status", code=400)
                uploader = self.signed_in(platform)
                with fresh_video(9000) as (path, content):
                    host = Host()
                    host.attach(uploader)
                    uploader.StartUpload(path, "T", "", "", "", "", picture)
                    self.assert_finished(host.wait_for_end(), host, content)
                self.assertEqual(self.delivered(order), 1)
                self.assertIn("without its thumbnail", uploader.GetLastError())


if __name__ == "__main__":
    unittest.main()
