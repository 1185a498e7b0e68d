"""Uploads to Douyin, good, bad and stopped."""

import time
import unittest

from harness import SignedInTest, sha256_of, wait_until
from limited import LimitedUpload

MIB = 1024 * 1024
PART = 4 * MIB
# An end that may not be the last word is waited for this long, in place of 35 s.
SHORT = ("--patience", "8")


class DouyinUpload(LimitedUpload, SignedInTest):
    PLATFORM = "douyin"
    LIMIT = 128 * MIB
    LIMIT_TEXT = "128MB"
    FIRST_ROUTE = "douyinUploadInit"

    def test_arrives_whole_in_parts(self):
        video = self.video(2 * PART + 1)
        result = self.upload(video, "--json", "--user", self.user)
        self.assert_ends(result, 0)

        (upload,) = self.servers.uploads()
        self.assertEqual((upload["service"], upload["complete"], upload["chunks"]), ("douyin", True, 3))
        self.assertEqual(upload["sha256"], sha256_of(video))
        self.assertTrue(self.servers.kept(upload) == video.read_bytes())
        self.assertEqual(
            [
                len(self.servers.requests(route))
                for route in ("douyinUploadInit", "douyinUploadPart", "douyinUploadComplete")
            ],
            [1, 3, 1],
        )

    def test_tells_its_end_twice(self):
        result = self.upload(self.video(3 * PART), "--json")
        self.assert_ends(result, 0)
        end = [("progress", 100), ("progress", 100), ("finished", "")]
        self.assertEqual(
            [(event["event"], event.get("value", event.get("text"))) for event in result.events[2:-1]],
            [("progress", 32), ("progress", 65), ("progress", 99), *end, *end],
        )

    def test_for_people(self):
        result = self.upload(self.video(), "--tags", "a,b")
        self.assertEqual((result.code, result.complaints), (0, ""), result)
        lines = result.out.splitlines()
        self.assertEqual(lines[1], "douyin takes the video alone: its title and the like are not sent")
        self.assertEqual(lines[-2:], ["uploaded", "uploaded, told once more"])

    def test_sends_no_token(self):
        self.assert_ends(self.upload(self.video(), "--json"), 0)
        for route in ("douyinUploadInit", "douyinUploadPart", "douyinUploadComplete"):
            (request,) = self.servers.requests(route)
            self.assertNotIn("token", request["target"])
            names = {name.lower() for name, _ in request["headers"]}
            self.assertFalse(names & {"authorization", "access-token"}, request)

    def test_largest_file(self):
        largest = self.sparse_file(self.LIMIT - 1)
        self.assert_ends(self.upload(largest, "--json"), 0)
        (upload,) = self.servers.uploads()
        self.assertEqual((upload["received_size"], upload["chunks"]), (self.LIMIT - 1, 32))
        self.assertEqual(upload["sha256"], sha256_of(largest))

    def test_token_that_the_service_forgot_is_not_asked_for(self):
        self.servers.ask("tokens/expire", {})
        self.servers.fault("token", "status", code=500, text="{}")
        result = self.upload(self.video(), "--json")
        self.assert_ends(result, 0)
        self.assertEqual([error["code"] for error in result.named("error")], [500])

    def test_refused_opening_ends_it_at_once(self):
        for route, path, code in (("consume", "code", "50011"), ("douyinUploadInit", "data.error_code", "2190004")):
            fault = self.servers.fault(route, "replaceMember", path=path, text=code)
            begin = time.monotonic()
            result = self.upload(self.video(), "--json")
            self.assertLess(time.monotonic() - begin, 30)
            self.assert_ends(result, 1)
            (error,) = result.named("error")
            self.assertTrue(error["text"].startswith(code + ","), result)
            self.assertEqual(self.servers.delivered(fault), 1)
        self.assertEqual(self.servers.requests("douyinUploadPart"), [])

    def test_faults_of_the_opening(self):
        faults = [
            self.servers.fault("douyinUploadInit", kind, **members)
            for kind, members in (
                ("closeAtOnce", {}),
                ("truncatedBody", {"bytes": 10}),
                ("brokenJson", {}),
                ("status", {"code": 503, "text": "busy"}),
                ("status", {"code": 200, "text": "[]"}),
            )
        ]
        for result in self.upload_side_by_side(len(faults), self.video(), "--json", *SHORT):
            self.assert_ends(result, 1)
            self.assertEqual(result.named("finished"), [])
        self.assertEqual([self.servers.delivered(fault) for fault in faults], [1] * len(faults))

    def test_part_that_is_mended_by_another_try(self):
        video = self.video(PART + 1000)
        for kind, members in (
            ("resetRequestAfter", {"bytes": 100000}),
            ("brokenJson", {}),
            ("replaceMember", {"path": "data.error_code", "text": "2100004"}),
        ):
            with self.subTest(kind=kind):
                fault = self.servers.fault("douyinUploadPart", kind, nth=1, **members)
                result = self.upload(video, "--json")
                self.assert_ends(result, 0)
                self.assertEqual(len(result.named("finished")), 2)
                self.assertEqual(self.servers.delivered(fault), 1)
                self.assertEqual(self.servers.uploads()[-1]["sha256"], sha256_of(video))

    def refuse_the_last_part(self):
        return self.servers.fault(
            "douyinUploadPart", "replaceMember", path="data.error_code", text="2100004", nth=3, times=3
        )

    def test_part_that_is_given_up_is_no_success(self):
        fault = self.refuse_the_last_part()
        result = self.upload(self.sparse_file(2 * PART + 1000), "--json")
        self.assert_ends(result, 1)
        self.assertEqual(self.servers.delivered(fault), 3)
        ends = [(event["event"], event["text"]) for event in result.events if event["event"] in ("error", "finished")]
        self.assertEqual(ends[-4:-1], [("error", "-10007,User cancelled!"), ("finished", ""), ("finished", "")])
        self.assertTrue(ends[-1][1].startswith("the video arrived without its end"), result)

    def test_part_that_is_given_up_is_told_to_people(self):
        self.refuse_the_last_part()
        result = self.upload(self.sparse_file(2 * PART + 1000))
        self.assertEqual(result.code, 1, result)
        self.assertIn("the video arrived without its end", result.err.splitlines()[-1])

    def test_part_that_is_given_up_before_a_completion_that_fails_too(self):
        self.refuse_the_last_part()
        self.servers.fault("douyinUploadComplete", "replaceMember", path="data.error_code", text="2100004")
        result = self.upload(self.sparse_file(2 * PART + 1000), "--json", *SHORT)
        self.assert_ends(result, 1)
        self.assertTrue(result.named("error")[-1]["text"].startswith("the video arrived without its end"), result)

    def test_complete_that_fails(self):
        faults = [
            self.servers.fault("douyinUploadComplete", kind, **members)
            for kind, members in (
                ("replaceMember", {"path": "data.error_code", "text": "2100004"}),
                ("brokenJson", {}),
                ("status", {"code": 503, "text": "busy"}),
            )
        ]
        results = self.upload_side_by_side(len(faults), self.video(), "--json", *SHORT)
        for result in results:
            self.assert_ends(result, 1)
            self.assertEqual(result.named("finished"), [])
        self.assertEqual([self.servers.delivered(fault) for fault in faults], [1] * len(faults))
        last = [error["text"] for result in results for error in result.named("error")[-1:]]
        self.assertEqual(len([text for text in last if text.startswith("2100004,")]), 1, results)

    def test_complete_whose_connection_ends(self):
        # The client asks once more over a new connection when a kept one ended.
        fault = self.servers.fault("douyinUploadComplete", "closeAtOnce", times=2)
        result = self.upload(self.video(), "--json", *SHORT)
        self.assert_ends(result, 1)
        self.assertEqual(result.named("finished"), [])
        self.assertEqual(self.servers.delivered(fault), 2)

    def test_ctrl_c_between_two_parts_completes_what_was_sent(self):
        self.servers.fault("douyinUploadPart", "slowAnswer", delay=1000, times=0)
        running = self.start_upload(self.sparse_file(12 * PART), "--json")
        running.wait_for_event("progress")
        begin = time.monotonic()
        running.interrupt()
        result = running.end()
        self.assert_ends(result, 130)
        self.assertLess(time.monotonic() - begin, 34)
        self.assertEqual(result.named("error"), [])
        self.assertEqual(len(result.named("finished")), 2)
        (upload,) = self.servers.uploads()
        self.assertTrue(upload["complete"])
        self.assertLess(upload["chunks"], 12)
        self.assertEqual(len(self.servers.requests("douyinUploadComplete")), 1)

    def test_ctrl_c_for_people(self):
        self.servers.fault("douyinUploadPart", "slowAnswer", delay=1000, times=0)
        running = self.start_upload(self.sparse_file(12 * PART))
        running.out.wait_for(lambda line: "% of " in line, "progress")
        running.interrupt()
        result = running.end()
        self.assertEqual((result.code, result.err), (130, ""), result)
        lines = result.out.splitlines()
        self.assertIn("stopping after the part that is on its way; Ctrl-C again ends at once", lines)
        self.assertEqual(lines[-1], "stopped; the service keeps a video of the parts that it has")

    def test_part_that_is_given_up_after_ctrl_c_is_a_stop(self):
        self.servers.fault("douyinUploadPart", "stall", nth=2)
        running = self.start_upload(self.sparse_file(3 * PART), *SHORT)
        wait_until(lambda: len(self.servers.requests("douyinUploadPart")) == 2, "the stalled part")
        running.interrupt()
        running.out.wait_for(lambda line: line.startswith("stopping"), "the stop")
        self.servers.stop()
        result = running.end()
        self.assertEqual(result.code, 130, result)
        self.assertIn("the transfer was cut off (-10007,User cancelled!)", result.out.splitlines())
        self.assertNotIn("without its end", result.err)

    def test_ctrl_c_after_the_last_part_is_too_late(self):
        fault = self.servers.fault("douyinUploadComplete", "slowAnswer", delay=2000)
        running = self.start_upload(self.video(PART + 1), "--json")
        running.wait_for_event("progress", value=99)
        wait_until(lambda: self.servers.requests("douyinUploadComplete"), "the complete call")
        running.interrupt()
        self.assert_ends(running.end(), 0)
        self.assertEqual(self.servers.delivered(fault), 1)

    def test_ctrl_c_with_a_stalled_part_ends_within_its_limit(self):
        self.servers.fault("douyinUploadPart", "stall", nth=2, times=0)
        running = self.start_upload(self.sparse_file(3 * PART), "--json")
        wait_until(lambda: len(self.servers.requests("douyinUploadPart")) == 2, "the stalled part")
        begin = time.monotonic()
        running.interrupt()
        self.assert_ends(running.end(), 130)
        self.assertLess(time.monotonic() - begin, 60)


if __name__ == "__main__":
    unittest.main()
