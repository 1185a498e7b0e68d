"""Whole uploads of each platform against the sandbox's services, which are strict and err on request."""

import importlib
import json
import os
import resource
import time
import unittest
from hashlib import sha256
from unittest import mock

import support
from sandboxed import APP, PLATFORMS, ServicesCase, fresh_video
from support import Host, wait_until

PROGRESS, FINISHED, ERROR, TOKEN_INVALID, DEBUG = 1, 2, 3, 4, 99

# Where each platform's video goes, in the order of the requests; the second is the one that carries it.
STEPS = {
    "facebook": ("facebookVideos", "facebookVideos", "facebookVideos"),
    "youtube": ("youtubeUploadOpen", "youtubeUploadChunk"),
    "vimeo": ("vimeoVideos", "vimeoUpload", "vimeoDetails"),
    "flickr": ("flickrUpload", "flickrUpload", "flickrMethods"),
    "instagram": ("instagramContainer", "instagramUpload", "instagramStatus", "instagramPublish"),
    "twitch": ("twitchVideos", "twitchPart", "twitchComplete"),
}
# Facebook's phases share a route: the video is in its second request.
CARRIER = {name: (steps[1], 2 if name == "facebook" else 1) for name, steps in STEPS.items()}
RENEWABLE = ("youtube", "twitch")


class Uploads(ServicesCase):
    def test_what_the_host_says_arrives(self):
        privacy = {
            "facebook": '"value":"EVERYONE"',
            "youtube": '"privacyStatus": "unlisted"',
            "vimeo": '"view": "unlisted"',
            "flickr": "is_family",
            "twitch": "public",
        }
        said = {
            "facebook": "public",
            "youtube": "unlisted",
            "vimeo": "unlisted",
            "flickr": "family",
            "instagram": "public",
            "twitch": "public",
        }
        for platform in PLATFORMS:
            with self.subTest(platform), support.video_file(3000, ".png") as (picture, image):
                uploader = self.signed_in(platform)
                category = uploader.GetVideoCategories().split("|")[0]
                with fresh_video(300000) as (path, content):
                    host = Host()
                    host.attach(uploader)
                    uploader.StartUpload(
                        path,
                        "Tïtle & <more>"[: 7 if platform == "youtube" else 99],
                        "Über\nlines",
                        said[platform],
                        "one, two words",
                        category,
                        picture,
                    )
                    end = host.wait_for_end()
                upload = self.assert_finished(end, host, content)
                told = json.dumps(json.loads(upload["metadata"]), ensure_ascii=False) if upload["metadata"] else ""
                for word in ("Tïtle", "Über", "one"):
                    self.assertIn(word, told)
                if platform in privacy:
                    self.assertIn(privacy[platform].replace(" ", ""), told.replace(" ", "").replace('\\"', '"'))
                if platform in ("facebook", "vimeo"):
                    self.assertIn(sha256(image).hexdigest(), told)

    def test_texts_are_limited_by_characters_and_not_by_bytes(self):
        for platform in PLATFORMS:
            module = importlib.import_module("pysocialnetwork." + platform)
            name = "LONGEST_CAPTION" if platform == "instagram" else "LONGEST_TITLE"
            limit = getattr(module, name)
            with self.subTest(platform):
                uploader = self.signed_in(platform)
                upload = self.assert_finished(*self.upload(uploader, title="ü映" * limit, description=""))
                told = json.dumps(json.loads(upload["metadata"]), ensure_ascii=False)
                self.assertIn(("ü映" * limit)[:limit], told)
                self.assertNotIn(("ü映" * limit)[: limit + 1], told)
                with mock.patch.object(module, name, limit + 1):
                    self.assertEqual(self.upload(uploader, title="ü映" * limit)[0].code, ERROR)

    def test_progress_grows_to_a_hundred_and_then_the_end_comes(self):
        for platform in PLATFORMS:
            with self.subTest(platform):
                end, host, _ = self.upload(self.signed_in(platform), 2000000)
                values = [int(event.text) for event in host.of(PROGRESS)]
                self.assertEqual(values, sorted(set(values)))
                self.assertEqual(values[-1], 100)
                self.assertGreater(len(values), 10)
                self.assertEqual(host.events[-1], end)

    def test_large_files_go_in_parts(self):
        for platform, size, route in (
            ("facebook", 9 << 20, "facebookVideos"),
            ("youtube", 17 << 20, "youtubeUploadChunk"),
            ("twitch", 45 << 20, "twitchPart"),
            ("vimeo", 70 << 20, "vimeoUpload"),
        ):
            with self.subTest(platform):
                before = len(self.sandbox.get("/sandbox/requests?route=" + route))
                end, host, content = self.upload(self.signed_in(platform), size)
                self.assert_finished(end, host, content)
                self.assertGreaterEqual(len(self.sandbox.get("/sandbox/requests?route=" + route)) - before, 3)

    def test_a_file_is_not_taken_into_memory(self):
        uploader = self.signed_in("vimeo")
        with support.video_file(10) as (path, _):
            os.truncate(path, 160 << 20)
            before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
            end = self.start(uploader, path).wait_for_end()
            self.assertEqual(end.code, FINISHED, end.text)
            self.assertLess(resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before, 40 << 10)

    def test_an_unknown_category_or_privacy_is_told_before_anything_is_sent(self):
        for platform in ("facebook", "youtube", "vimeo"):
            with self.subTest(platform):
                before = len(self.sandbox.get("/sandbox/uploads"))
                uploader = self.signed_in(platform)
                for fields, message in (
                    ({"category": "Nonsense"}, "no category 'Nonsense'"),
                    ({"privacy": "open"}, "'open' is not known"),
                ):
                    end, _, _ = self.upload(uploader, 5000, **fields)
                    self.assertEqual(end.code, ERROR)
                    self.assertIn(message, end.text)
                self.assertEqual(len(self.sandbox.get("/sandbox/uploads")), before)

    def test_a_file_that_is_not_there_is_told(self):
        for platform in PLATFORMS:
            end = self.start(self.signed_in(platform), "/nowhere/video.mp4").wait_for_end()
            self.assertEqual(
                (end.code, end.text), (ERROR, "cannot open the file /nowhere/video.mp4: No such file or directory")
            )

    def test_uploads_follow_one_another(self):
        for platform in PLATFORMS:
            uploader = self.signed_in(platform)
            for size in (1001, 1002, 1003):
                end, host, content = self.upload(uploader, size)
                self.assert_finished(end, host, content)

    def test_no_text_for_the_host_holds_a_secret(self):
        for platform in PLATFORMS:
            with self.subTest(platform):
                uploader = self.signed_in(platform)
                self.order(
                    CARRIER[platform][0],
                    "status",
                    nth=CARRIER[platform][1],
                    code=400,
                    text='{"error":{"message":"%s"}}' % uploader.login.access,
                )
                end, host, _ = self.upload(uploader, 6000)
                self.assertEqual(end.code, ERROR)
                said = host.texts() + uploader.GetLastError()
                for secret in filter(None, [APP[1], *uploader._secrets]):
                    self.assertNotIn(secret, said)


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
                if platform == "flickr" and end.code == ERROR:
                    # All had been sent, and nobody can ask Flickr whether it has the video.
                    self.assertEqual(len(host.closing()), 1)
                else:
                    self.assert_finished(end, host, content)

    def test_a_lost_answer_makes_no_second_video(self):
        for platform in PLATFORMS:
            with self.subTest(platform):
                end, host, content = self.carried(platform, "resetAnswerAfter", bytes=0)
                if platform == "flickr":
                    # Nobody can ask Flickr whether it has the video, so that it is not sent again.
                    self.assertEqual(end.code, ERROR, end.text)
                    self.assertEqual(len(host.closing()), 1)
                else:
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
                for kind in kinds:
                    with self.subTest(route, **kind):
                        self.order(route, times=1000, **kind)
                        end, host, _ = self.upload(self.signed_in(platform), 5000)
                        self.sandbox.post("/sandbox/faults/clear")
                        self.assertEqual(len(host.closing()), 1)
                        self.assertNotIn("unexpected", end.text)

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


class Withdrawn(ServicesCase):
    options = ("--withdrawn",)

    def test_a_withdrawn_service_is_told_plainly(self):
        uploader = self.signed_in("twitch")
        end, host, _ = self.upload(uploader, 5000)
        self.assertEqual((end.code, host.closing()), (ERROR, [end]))
        self.assertIn("Twitch has withdrawn video uploads from its API", end.text)
        self.assertEqual(uploader.GetLastError(), end.text)
        self.assertNotEqual(uploader.GetAccessToken(), "error")


if __name__ == "__main__":
    unittest.main()
