"""Uploads to YouTube, good and bad."""

import json
import unittest

from harness import HostTest, SignedInTest, sha256_of

MIB = 1024 * 1024


class Upload(HostTest):
    def test_reports_progress_that_grows_up_to_100(self):
        self.signed_in()
        result = self.run_program("--sandbox", "--json", "upload", "youtube", self.video(9 * MIB))
        self.assert_ends(result, 0)
        values = [event["value"] for event in result.named("progress")]
        self.assertEqual(values, sorted(values))
        self.assertGreaterEqual(len(values), 5)
        self.assertEqual(values[-1], 100)
        names = [event["event"] for event in result.events]
        self.assertEqual(names[:2], ["token_changed", "verified"])
        self.assertEqual(names[-2:], ["finished", "done"])

    def test_prints_plain_lines_without_a_terminal(self):
        self.signed_in()
        result = self.run_program("--sandbox", "upload", "youtube", self.video(9 * MIB))
        self.assertEqual(result.code, 0, result)
        self.assertNotIn("\r", result.out)
        self.assertNotIn("\x1b", result.out)
        self.assertIn("100% of 9.0 MiB", result.out)
        self.assertRegex(result.out.splitlines()[-1], r"^uploaded: https://.+/watch\?v=.+$")

    def test_missing_file(self):
        self.signed_in()
        for command in (("none.mp4",), (self.video(), "--thumbnail", "none.png")):
            plain = self.run_program("--sandbox", "upload", "youtube", *command)
            self.assertEqual(plain.code, 1, plain)
            self.assert_one_line(plain.err, "none.")
            self.assert_ends(self.run_program("--sandbox", "--json", "upload", "youtube", *command), 1)

    def test_folder_or_empty_file(self):
        self.signed_in()
        empty = self.folder / "empty.mp4"
        empty.touch()
        for path in (empty, self.folder):
            result = self.run_program("--sandbox", "upload", "youtube", path)
            self.assertEqual(result.code, 1, result)
            self.assert_one_line(result.err, str(path))

    def test_without_a_login_says_how_to_sign_in(self):
        plain = self.run_program("--sandbox", "upload", "youtube", self.video())
        self.assertEqual(plain.code, 1, plain)
        self.assert_one_line(plain.err, "nobody is signed in", "mediatransfer --sandbox login youtube")
        lines = self.run_program("--sandbox", "--json", "upload", "youtube", self.video())
        self.assert_ends(lines, 1)
        self.assertEqual(lines.events[0]["code"], -10021)

    def test_of_a_user_who_is_not_signed_in(self):
        self.signed_in()
        result = self.run_program("--sandbox", "--json", "upload", "youtube", self.video(), "--user", "nobody")
        self.assert_ends(result, 1)
        self.assertEqual(len(result.named("error")), 1)


class UploadToServers(SignedInTest):
    def test_arrives_whole_with_its_metadata(self):
        video = self.video(5 * MIB + 1)
        metadata = ("--title", "Ein Tïtel", "--description", "Two\nlines", "--tags", "a,b", "--privacy", "unlisted")
        result = self.upload(video, "--json", *metadata, "--user", self.user)
        self.assert_ends(result, 0)

        (upload,) = self.servers.uploads()
        self.assertTrue(upload["complete"])
        self.assertEqual(upload["sha256"], sha256_of(video))
        metadata = json.loads(upload["metadata"])
        self.assertEqual(metadata["snippet"], {"title": "Ein Tïtel", "description": "Two\nlines", "tags": "a,b"})
        self.assertEqual(metadata["status"]["privacyStatus"], "unlisted")
        self.assertEqual(result.named("finished")[0]["text"].split("/watch?v=")[1], upload["media_id"])

    def test_title_is_cut_to_what_the_platform_takes(self):
        result = self.upload(self.video(name="ü" * 120 + ".mp4"))
        self.assertEqual(result.code, 0, result)
        self.assertIn("the title is cut to what youtube takes: " + "ü" * 100 + "\n", result.out)
        (upload,) = self.servers.uploads()
        self.assertEqual(json.loads(upload["metadata"])["snippet"]["title"], "ü" * 100)

    def test_letters_that_the_platform_refuses_are_left_out_of_the_title(self):
        result = self.upload(self.video(), "--title", "a <b> c", "--privacy", "Unlisted")
        self.assertEqual(result.code, 0, result)
        (upload,) = self.servers.uploads()
        self.assertEqual(json.loads(upload["metadata"])["snippet"]["title"], "a b c")
        self.assertEqual(json.loads(upload["metadata"])["status"]["privacyStatus"], "unlisted")
        described = self.upload(self.video(), "--description", "a < b")
        self.assertEqual(described.code, 2, described)
        self.assert_one_line(described.err, "--description")

    def test_title_is_the_file_name_and_privacy_private_unless_given(self):
        result = self.upload(self.video(name="Holiday ünd more.mp4"))
        self.assertEqual(result.code, 0, result)
        metadata = json.loads(self.servers.uploads()[0]["metadata"])
        self.assertEqual(metadata["snippet"]["title"], "Holiday ünd more")
        self.assertEqual(metadata["status"]["privacyStatus"], "private")

    def test_with_an_access_token_that_the_service_forgot(self):
        self.servers.ask("tokens/expire", {})
        result = self.upload(self.video(), "--json")
        self.assert_ends(result, 0)

    def test_goes_on_with_the_stored_token_when_it_cannot_be_renewed(self):
        fault = self.servers.fault("token", "status", code=500, text="{}")
        result = self.upload(self.video(), "--json")
        self.assert_ends(result, 0)
        self.assertEqual(result.named("error")[0]["code"], 500)
        self.assertEqual(self.servers.delivered(fault), 1)

    def test_refused_at_its_opening(self):
        fault = self.servers.fault(
            "youtubeUploadOpen", "status", code=403, text='{"error":{"code":403,"message":"quota"}}'
        )
        result = self.upload(self.video(), "--json")
        self.assert_ends(result, 1)
        (error,) = result.named("error")
        self.assertEqual(error["value"], 10)
        self.assertTrue(error["text"].startswith("403,"), error)
        self.assertEqual(self.servers.delivered(fault), 1)

    def test_chunk_refused_three_times(self):
        fault = self.servers.fault("youtubeUploadChunk", "status", code=500, text="{}", times=3)
        result = self.upload(self.video())
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "User cancelled!")
        self.assertEqual(self.servers.delivered(fault), 3)

    def test_chunk_lost_once_is_sent_again(self):
        fault = self.servers.fault("youtubeUploadChunk", "resetRequestAfter", bytes=100000, nth=2)
        video = self.video(5 * MIB)
        result = self.upload(video, "--json")
        self.assert_ends(result, 0)
        self.assertEqual(self.servers.uploads()[0]["sha256"], sha256_of(video))
        self.assertEqual(self.servers.delivered(fault), 1)

    def test_refused_entitlement_is_one_error(self):
        fault = self.servers.fault("consume", "status", code=200, text='{"code":7,"msg":"no quota"}')
        result = self.upload(self.video(), "--json")
        self.assert_ends(result, 1)
        self.assertIn("7,no quota", [event["text"] for event in result.named("error")])
        self.assertEqual(self.servers.delivered(fault), 1)

    def test_silence_ends_with_what_was_last_heard(self):
        # The first exchange of the upload itself; the one before it belongs to the check of the login.
        fault = self.servers.fault("clientCredentials", "status", code=500, text="{}", nth=2)
        result = self.upload(self.video(), "--patience", "3")
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "no news", "3 s", "last heard", "--patience")
        self.assertEqual(self.servers.delivered(fault), 1)

    def test_two_uploads_at_once_from_two_processes(self):
        videos = [self.video(4 * MIB, "one.mp4"), self.video(6 * MIB, "two.mp4")]
        running = [self.start_upload(video, "--json") for video in videos]
        for program in running:
            self.assert_ends(program.end(), 0)
        self.assertEqual(
            {upload["sha256"] for upload in self.servers.uploads()}, {sha256_of(video) for video in videos}
        )


if __name__ == "__main__":
    unittest.main()
