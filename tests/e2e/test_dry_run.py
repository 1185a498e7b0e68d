"""Uploads that are checked and told, and not sent."""

import unittest

from harness import SignedInTest
from scripted import Scripted, make_home


def setUpModule():
    make_home()


class DryRun(SignedInTest):
    def plan(self, *arguments):
        return self.run_program(
            *self.with_servers(self.servers, "--json", "upload", self.PLATFORM, "--dry-run", *arguments)
        )

    def assert_nothing_sent(self):
        self.assertEqual(self.servers.uploads(), [])
        for route in ("consume", "youtubeUploadOpen", "youtubeUploadChunk", "tiktokUpload"):
            self.assertEqual(self.servers.requests(route), [], route)

    def test_tells_who_and_what(self):
        video = self.video(name="A talk.mp4")
        result = self.upload(video, "--dry-run", "--tags", "a,b", "--privacy", "unlisted")
        self.assertEqual((result.code, result.err), (0, ""), result)
        lines = result.out.splitlines()
        self.assertTrue(lines[0].startswith("would upload as "), result)
        self.assertEqual(
            lines[1:],
            [
                f"would upload {video} ({video.stat().st_size / 1024:.1f} KiB) to youtube",
                "  title        A talk",
                "  tags         a,b",
                "  privacy      unlisted",
            ],
        )
        self.assert_nothing_sent()

    def test_json_lines(self):
        video = self.video()
        result = self.plan(video, "--title", "x" * 150, "--category", "Music")
        self.assert_ends(result, 0)
        self.assertEqual(len(result.named("verified")), 1)
        self.assertEqual(
            result.named("planned"),
            [
                {
                    "event": "planned",
                    "file": str(video),
                    "bytes": video.stat().st_size,
                    "title": "x" * 100,
                    "privacy": "private",
                }
            ],
        )
        self.assert_nothing_sent()

    def test_several(self):
        result = self.upload(self.video(name="a.mp4"), self.folder / "none.mp4", "--continue", "--dry-run")
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "there is no file")
        self.assertTrue(result.out.splitlines()[-1].startswith("1 of 2 videos would be uploaded; not: "), result)
        lines = self.plan(self.video(name="a.mp4"), self.video(name="b.mp4"))
        self.assertEqual(
            lines.named("uploads"), [{"event": "uploads", "files": 2, "uploaded": 0, "failed": 0, "planned": 2}]
        )
        self.assert_nothing_sent()

    def test_exit_codes_are_those_of_an_upload(self):
        video = self.video()
        for arguments, code in (
            ((self.folder / "none.mp4",), 1),
            ((video, "--privacy", "unlistet"), 2),
            ((video, "--thumbnail", self.folder / "none.png"), 1),
            ((video, "--user", "nobody"), 1),
            ((video, "--title", "a", "--description", "<"), 2),
        ):
            real = self.upload(*arguments)
            dry = self.upload(*arguments, "--dry-run")
            self.assertEqual((dry.code, dry.err, real.code), (code, real.err, code), dry)
        self.assert_nothing_sent()

    def test_nobody_signed_in_and_a_dead_server(self):
        video = self.video()
        nobody = self.run_program("--sandbox", "upload", "vimeo", video, "--dry-run")
        self.assertEqual(nobody.code, 1, nobody)
        self.servers.stop()
        dead = self.upload(video, "--dry-run")
        self.assertEqual(dead.code, 1, dead)


class DryRunOfTiktok(SignedInTest):
    PLATFORM = "tiktok"

    def test_tells_the_video_alone(self):
        result = self.upload(self.video(), "--dry-run", "--title", "x", "--json")
        self.assert_ends(result, 0)
        self.assertEqual(sorted(result.named("planned")[0]), ["bytes", "event", "file"])

    def test_a_file_too_large_fails_as_it_would(self):
        large = self.sparse_file(50 << 20)
        real = self.upload(large)
        dry = self.upload(large, "--dry-run")
        self.assertEqual((real.code, dry.code), (1, 1))
        self.assertEqual(dry.err, real.err)
        self.assertEqual(self.upload(self.sparse_file((50 << 20) - 1), "--dry-run").code, 0)


class DryRunByScript(Scripted):
    def test_tells_all_that_the_script_gets(self):
        self.assertEqual(self.run_program("--sandbox", "login", "flickr").code, 0)
        video = self.video()
        result = self.run_program(
            "--sandbox", "upload", "flickr", video, "--dry-run", "--category", "Cats", "--privacy", "family"
        )
        self.assertEqual(result.code, 0, result)
        for line in ("  title        video", "  category     Cats", "  privacy      family"):
            self.assertIn(line, result.out.splitlines())


if __name__ == "__main__":
    unittest.main()
