"""Uploads to TikTok, good, bad and stopped."""

import time
import unittest

from harness import HostTest, SignedInTest, sha256_of, wait_until
from limited import LimitedUpload

MIB = 1024 * 1024


class TiktokUpload(LimitedUpload, SignedInTest):
    PLATFORM = "tiktok"
    LIMIT = 50 * MIB
    LIMIT_TEXT = "50MB"
    FIRST_ROUTE = "tiktokUpload"

    def test_arrives_whole(self):
        video = self.video(5 * MIB + 1, "Ein Vidéo.mp4")
        result = self.upload(video, "--json", "--user", self.user)
        self.assert_ends(result, 0)

        (upload,) = self.servers.uploads()
        self.assertEqual((upload["service"], upload["complete"]), ("tiktok", True))
        self.assertEqual(upload["received_size"], 5 * MIB + 1)
        self.assertEqual(upload["sha256"], sha256_of(video))
        self.assertTrue(self.servers.kept(upload) == video.read_bytes())
        self.assertEqual(upload["file_name"], "Ein Vidéo.mp4")
        self.assertEqual(result.named("finished"), [{"event": "finished", "text": upload["media_id"]}])

    def test_tells_its_events_in_order(self):
        result = self.upload(self.video(20 * MIB), "--json")
        self.assert_ends(result, 0)
        names = [event["event"] for event in result.events]
        self.assertEqual(names[:2], ["token_changed", "verified"])
        self.assertEqual(set(names[2:-2]), {"progress"})
        self.assertEqual(names[-2:], ["finished", "done"])
        values = [event["value"] for event in result.named("progress")]
        self.assertEqual(values, sorted(values))
        self.assertEqual(values[-2:], [100, 100])
        # A fast transfer ends before a beat of the progress.
        self.assertTrue(all(value <= 99 for value in values[:-2]), values)

    def test_for_people(self):
        result = self.upload(self.video(), "--title", "A title")
        self.assertEqual((result.code, result.complaints), (0, ""), result)
        lines = result.out.splitlines()
        self.assertEqual(lines[1], "tiktok takes the video alone: its title and the like are not sent")
        self.assertEqual(lines[-1], "uploaded: " + self.servers.uploads()[0]["media_id"])

    def test_largest_file(self):
        largest = self.sparse_file(self.LIMIT - 1)
        self.assert_ends(self.upload(largest, "--json"), 0)
        self.assertEqual(self.servers.uploads()[0]["sha256"], sha256_of(largest))

    def test_token_that_the_service_refuses(self):
        self.servers.ask("tokens/expire", {})
        self.servers.fault("token", "status", code=500, text="{}", times=2)
        result = self.upload(self.video(), "--json")
        self.assert_ends(result, 1)
        self.assertEqual(
            result.named("error")[1],
            {"event": "error", "value": 12, "text": "2190008,Access token expired", "cause": "login"},
        )
        plain = self.upload(self.video())
        self.assertEqual(plain.code, 1, plain)
        self.assertIn(
            "the service refused (2190008: Access token expired); sign in with: mediatransfer --cloud-config ",
            plain.err,
        )

    def test_faults_of_the_server_end_in_one_error(self):
        video = self.video(2 * MIB)
        for kind, members, text in (
            ("closeAtOnce", {}, "2000"),
            ("resetRequestAfter", {"bytes": 100000}, "2000"),
            ("truncatedBody", {"bytes": 10}, "2000"),
            ("status", {"code": 503, "text": "busy"}, "503,"),
            ("replaceMember", {"path": "data.error_code", "text": "2100004"}, "2100004,"),
        ):
            with self.subTest(kind=kind, members=members):
                fault = self.servers.fault("tiktokUpload", kind, **members)
                result = self.upload(video, "--json")
                self.assert_ends(result, 1)
                self.assertEqual(result.named("finished"), [])
                (error,) = result.named("error")
                self.assertTrue(error["text"].startswith(text), result)
                self.assertEqual(self.servers.delivered(fault), 1)

    def test_answers_that_say_nothing_are_no_success(self):
        faults = [
            self.servers.fault("tiktokUpload", kind, **members)
            for kind, members in (
                ("status", {"code": 200, "text": "no json"}),
                ("brokenJson", {}),
                ("removeMember", {"path": "data.share_id"}),
            )
        ]
        for result in self.upload_side_by_side(len(faults), self.video(2 * MIB), "--json", "--patience", "10"):
            self.assert_ends(result, 1)
            self.assertEqual(result.named("finished"), [])
        self.assertEqual([self.servers.delivered(fault) for fault in faults], [1] * len(faults))

    def test_refused_entitlement(self):
        fault = self.servers.fault("consume", "replaceMember", path="code", text="50011")
        result = self.upload(self.video(), "--json")
        self.assert_ends(result, 1)
        self.assertTrue(result.named("error")[0]["text"].startswith("50011,"), result)
        self.assertEqual(self.servers.delivered(fault), 1)

    def test_ctrl_c_cuts_the_transfer_off(self):
        for kind, members in (
            ("stallRequestAfter", {"bytes": 1000000}),
            ("slowRequest", {"bytes": 65536, "delay": 100}),
        ):
            with self.subTest(kind=kind):
                fault = self.servers.fault("tiktokUpload", kind, **members)
                running = self.start_upload(self.video(40 * MIB), "--json")
                running.wait_for_event("progress")
                wait_until(lambda: self.servers.delivered(fault), "the fault")
                begin = time.monotonic()
                running.interrupt()
                result = running.end()
                self.assert_ends(result, 130)
                self.assertLess(time.monotonic() - begin, 20)
                self.assertEqual(
                    result.named("error"),
                    [{"event": "error", "value": 12, "text": "-10007,User cancelled!", "cause": "refused"}],
                )
        self.assertEqual(self.servers.uploads(), [])

    def test_ctrl_c_for_people(self):
        self.servers.fault("tiktokUpload", "stallRequestAfter", bytes=1000000)
        running = self.start_upload(self.video(40 * MIB))
        running.out.wait_for(lambda line: "% of " in line, "progress")
        running.interrupt()
        result = running.end()
        self.assertEqual((result.code, result.err), (130, ""), result)
        # Bytes that were on their way may still be told.
        lines = [line for line in result.out.splitlines() if "% of " not in line]
        self.assertEqual(
            lines[-3:],
            ["stopping; Ctrl-C again ends at once", "the transfer was cut off (-10007,User cancelled!)", "stopped"],
        )


class TiktokWithoutLogin(HostTest):
    def test_says_how_to_sign_in(self):
        result = self.run_program("--sandbox", "upload", "tiktok", self.video())
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "nobody is signed in", "mediatransfer --sandbox login tiktok")


if __name__ == "__main__":
    unittest.main()
