"""Uploads that go through scripts, good and bad."""

import json
import unittest

from harness import sha256_of, wait_until
from scripted import MIB, Scripted, make_home


def setUpModule():
    make_home()


class Upload(Scripted):
    def test_token_that_the_service_forgot_is_renewed_and_kept(self):
        servers = self.start_services()
        for platform, route in ((("youtube", "--script"), "googleToken"), (("twitch",), "twitchToken")):
            self.sign_in_there(*platform)
            servers.ask("tokens/expire", {})
            for calls in (2, 2):
                result = self.run_program("--json", "upload", *platform, self.video())
                self.assert_ends(result, 0)
                self.assertEqual(len(servers.requests(route)), calls, platform)

    def test_token_that_cannot_be_renewed(self):
        servers = self.start_services()
        self.sign_in_there("vimeo")
        servers.ask("tokens/expire", {})
        result = self.run_program("upload", "vimeo", self.video())
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "not good any more", "mediatransfer login vimeo")

    def test_broken_connections_are_resumed(self):
        servers = self.start_services()
        for platform, route in (
            (("facebook",), "facebookVideos"),
            (("vimeo",), "vimeoUpload"),
            (("instagram",), "instagramUpload"),
            (("twitch",), "twitchPart"),
            (("flickr",), "flickrUpload"),
            (("youtube", "--script"), "youtubeUploadChunk"),
        ):
            self.sign_in_there(*platform)
            nth = 3 if platform[0] == "facebook" else 1
            fault = servers.fault(route, "resetRequestAfter", bytes=300000, nth=nth)
            video = self.video(9 * MIB, platform[0] + ".mp4")
            result = self.run_program("--json", "upload", *platform, video)
            self.assert_ends(result, 0)
            self.assertEqual(servers.delivered(fault), 1, platform)
            record = [upload for upload in servers.uploads() if upload["service"] == platform[0]][-1]
            self.assertEqual(record["sha256"], sha256_of(video), record)
            self.assertTrue(servers.kept(record) == video.read_bytes(), platform)
            self.assertTrue(record["complete"])

    def test_busy_service_is_asked_again(self):
        servers = self.start_services()
        self.sign_in_there("vimeo")
        fault = servers.fault("vimeoVideos", "status", code=503, text="{}", headers={"Retry-After": "1"})
        self.assert_ends(self.run_program("--json", "upload", "vimeo", self.video()), 0)
        self.assertEqual(servers.delivered(fault), 1)

    def test_refusal_is_told(self):
        servers = self.start_services()
        self.sign_in_there("vimeo")
        fault = servers.fault("vimeoVideos", "status", code=403, text='{"error":"The quota is used up."}')
        result = self.run_program("--json", "upload", "vimeo", self.video())
        self.assert_ends(result, 1)
        (error,) = result.named("error")
        self.assertEqual(error["value"], 12)
        self.assertIn("The quota is used up.", error["text"])
        self.assertEqual(servers.delivered(fault), 1)

    def test_withdrawn_service_is_told_plainly(self):
        self.start_services("--withdrawn")
        self.sign_in_there("twitch")
        result = self.run_program("upload", "twitch", self.video())
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "withdrawn")

    def test_interrupt_stops_the_transfer(self):
        servers = self.start_services()
        self.sign_in_there("vimeo")
        fault = servers.fault("vimeoUpload", "stallRequestAfter", bytes=MIB)
        program = self.start_program("--json", "upload", "vimeo", self.video(64 * MIB))
        program.wait_for_event("progress")
        wait_until(lambda: servers.delivered(fault), "the stall")
        program.interrupt()
        result = program.end(60)
        self.assert_ends(result, 130)
        self.assertEqual(result.named("finished"), [])

    def test_texts_that_describe_the_video_arrive(self):
        servers = self.start_services()
        self.sign_in_there("vimeo")
        picture = self.folder / "thumb.jpg"
        picture.write_bytes(b"\xff\xd8\xff\xe0 picture \xff\xd9")
        result = self.run_program(
            "upload",
            "vimeo",
            self.video(),
            "--title",
            "Títle",
            "--description",
            "Two\nlines",
            "--tags",
            "a,b c",
            "--category",
            "music",
            "--privacy",
            "private",
            "--thumbnail",
            picture,
        )
        self.assertEqual(result.code, 0, result)
        metadata = json.loads(servers.uploads()[0]["metadata"])
        self.assertEqual((metadata["name"], metadata["description"]), ("Títle", "Two\nlines"))
        self.assertEqual((metadata["tags"], metadata["categories"]), (["a", "b c"], ["music"]))
        self.assertEqual(metadata["privacy"], {"view": "nobody"})
        self.assertEqual(metadata["thumbnail"]["sha256"], sha256_of(picture))

    def test_brand_is_named_to_the_service(self):
        servers = self.start_services()
        self.sign_in_there("facebook")
        self.assertEqual(self.run_program("upload", "facebook", self.video()).code, 0)
        agents = {
            value
            for request in servers.requests("facebookVideos")
            for name, value in request["headers"]
            if name.lower() == "user-agent"
        }
        self.assertEqual(len(agents), 1)
        self.assertTrue(agents.pop().startswith("lumenfold"))

    def test_without_a_login_says_how_to_sign_in(self):
        result = self.run_program("--sandbox", "upload", "youtube", "--script", self.video())
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "nobody is signed in", "mediatransfer --sandbox login youtube --script")


if __name__ == "__main__":
    unittest.main()
