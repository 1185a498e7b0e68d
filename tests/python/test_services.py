"""Whole uploads of each platform against the sandbox's services, which are strict."""

import importlib
import json
import os
import resource
import unittest
from hashlib import sha256
from unittest import mock

import support
from sandboxed import APP, CARRIER, PLATFORMS, ServicesCase, fresh_video
from support import Host

PROGRESS, FINISHED, ERROR = 1, 2, 3


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
                for word in ("Tïtle", "Über"):
                    self.assertIn(word, told)
                self.assertEqual("one" in told, platform != "facebook")
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
                for secret in filter(None, [APP[1], *uploader._mask.secrets()]):
                    self.assertNotIn(secret, said)


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
