"""Several videos by one call: files and folders, failures among them, one session."""

import unittest

from harness import SignedInTest, sha256_of
from scripted import Scripted, make_home


def setUpModule():
    make_home()


MIB = 1024 * 1024


class Several(SignedInTest):
    def test_uploads_all_with_one_session(self):
        videos = [self.video(size, name) for size, name in ((None, "b.mp4"), (3 * MIB, "a.mp4"), (None, "c.mp4"))]
        renewals = len(self.servers.requests("token"))
        result = self.upload(videos[0], videos[1], videos[2], "--json")
        self.assert_ends(result, 0)
        self.assertEqual(len(self.servers.requests("token")), renewals + 1)
        self.assertEqual(len(result.named("verified")), 1)
        self.assertEqual(
            [(event["file"], event["number"], event["of"]) for event in result.named("file")],
            [(str(video), place + 1, 3) for place, video in enumerate(videos)],
        )
        self.assertEqual([event["exit"] for event in result.named("file_done")], [0, 0, 0])
        self.assertEqual(len(result.named("finished")), 3)
        self.assertEqual(result.named("uploads"), [{"event": "uploads", "files": 3, "uploaded": 3, "failed": 0}])
        self.assertEqual(
            sorted(upload["sha256"] for upload in self.servers.uploads()), sorted(sha256_of(video) for video in videos)
        )

    def test_tells_people_of_each_and_of_all(self):
        result = self.upload(self.video(name="a.mp4"), self.video(name="b.mp4"))
        self.assertEqual((result.code, result.complaints), (0, ""), result)
        for line in ("[1/2] " + str(self.folder / "a.mp4"), "[2/2] " + str(self.folder / "b.mp4")):
            self.assertIn(line, result.out.splitlines())
        self.assertEqual(result.out.count("uploaded: https://"), 2)
        self.assertEqual(result.out.splitlines()[-1], "2 of 2 videos uploaded")

    def test_takes_the_videos_of_a_folder_in_their_order(self):
        folder = self.folder / "videos"
        (folder / "sub.mp4").mkdir(parents=True)
        for name in ("2.MOV", "1.mp4", "notes.txt", ".hidden.mp4"):
            self.video(name=name).rename(folder / name)
        result = self.upload(folder, "--json")
        self.assert_ends(result, 0)
        self.assertEqual(
            [event["file"] for event in result.named("file")], [str(folder / "1.mp4"), str(folder / "2.MOV")]
        )

    def test_a_folder_without_a_video_is_no_success(self):
        (self.folder / "empty").mkdir()
        result = self.upload(self.folder / "empty")
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "there is no video in the folder")

    def test_ends_at_the_first_failure(self):
        self.servers.fault(
            "youtubeUploadOpen", "status", code=400, text='{"error":{"code":400,"message":"no"}}', times=0
        )
        result = self.upload(self.video(name="a.mp4"), self.video(name="b.mp4"), "--json")
        self.assert_ends(result, 1)
        self.assertEqual(len(result.named("file")), 1)
        self.assertEqual(result.named("uploads")[0], {"event": "uploads", "files": 2, "uploaded": 0, "failed": 1})

    def test_continue_goes_on_past_failures(self):
        missing = self.folder / "missing.mp4"
        result = self.upload(self.video(name="a.mp4"), missing, self.video(name="c.mp4"), "--continue")
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "there is no file", "missing.mp4")
        self.assertEqual(result.out.splitlines()[-1], f"2 of 3 videos uploaded; not: {missing}")
        self.assertEqual(len(self.servers.uploads()), 2)

    def test_all_are_looked_at_before_anything_is_sent(self):
        result = self.upload(self.video(name="a.mp4"), self.folder / "missing.mp4")
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "there is no file", "missing.mp4")
        self.assertEqual(self.servers.uploads(), [])

    def test_a_title_is_for_one_video(self):
        result = self.upload(self.video(name="a.mp4"), self.video(name="b.mp4"), "--title", "One")
        self.assertEqual(result.code, 2, result)
        self.assert_one_line(result.err, "--title is for one video")

    def test_ctrl_c_ends_all(self):
        self.servers.fault("youtubeUploadChunk", "slowAnswer", times=0, delay=1000)
        running = self.start_upload(self.video(9 * MIB, "a.mp4"), self.video(name="b.mp4"), "--json", "--continue")
        running.wait_for_event("progress")
        running.interrupt()
        result = running.end()
        self.assert_ends(result, 130)
        self.assertEqual(len(result.named("file")), 1)

    def test_another_command_may_renew_the_login_between_two(self):
        second = self.video(6000000, "b.mp4")
        fault = self.servers.fault("youtubeUploadChunk", "slowAnswer", times=0, delay=500)
        running = self.start_upload(self.video(6000000, "a.mp4"), second, "--json")
        running.wait_for_event("progress")
        verified = self.run_program(*self.with_servers(self.servers, "verify", "youtube"))
        self.assertEqual(verified.code, 0, verified)
        self.assert_ends(running.end(), 0)
        self.assertGreater(self.servers.delivered(fault), 0)
        self.assertEqual(self.run_program(*self.with_servers(self.servers, "verify", "youtube")).code, 0)


class SeveralByDouyin(SignedInTest):
    PLATFORM = "douyin"

    def test_each_end_counts_for_its_own_video(self):
        result = self.upload(self.video(name="a.mp4"), self.video(name="b.mp4"), "--json")
        self.assert_ends(result, 0)
        names = [event["event"] for event in result.events if event["event"] in ("file", "finished", "file_done")]
        self.assertEqual(names, ["file", "finished", "finished", "file_done"] * 2)


class SeveralByScript(Scripted):
    def test_uploads_all_through_the_script(self):
        self.assertEqual(self.run_program("--sandbox", "login", "vimeo").code, 0)
        result = self.run_program(
            "--sandbox", "--json", "upload", "vimeo", self.video(name="a.mp4"), self.video(name="b.mp4")
        )
        self.assert_ends(result, 0)
        self.assertEqual([event["exit"] for event in result.named("file_done")], [0, 0])
        self.assertEqual(len({event["text"] for event in result.named("finished")}), 2)


if __name__ == "__main__":
    unittest.main()
