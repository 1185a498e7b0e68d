"""What is special about Facebook: the Graph API's errors, its phases, its words."""

import json
import os
import unittest

from pysocialnetwork import facebook, graph
from pysocialnetwork.errors import Refused, TokenInvalid, Transient, UploadError
from pysocialnetwork.job import VideoRequest

import support
from platformcase import ERROR, FINISHED, PlatformCase, answer, as_reply
from support import Host, Reply, video_file


class Graph(unittest.TestCase):
    def failure(self, status, **error):
        with self.assertRaises(UploadError) as caught:
            graph.read(answer(status, {"error": error}), "Facebook")
        return caught.exception

    def test_errors_are_told_apart_by_number(self):
        self.assertIsInstance(self.failure(400, code=190, message="expired"), TokenInvalid)
        self.assertIsInstance(self.failure(200, code=102), TokenInvalid)
        for code in (1, 2, 4, 17, 32, 341, 613):
            self.assertIsInstance(self.failure(400, code=code), Transient)
        self.assertIsInstance(self.failure(400, code=9, is_transient=True), Transient)
        refused = self.failure(403, code=200, message="no right")
        self.assertIsInstance(refused, Refused)
        self.assertEqual(str(refused), "Facebook: no right")
        self.assertEqual(str(self.failure(500)), "Facebook: status 500")

    def test_subcodes_tell_what_may_be_tried_again(self):
        for code, subcode, kind in (
            (6000, 1363019, Transient),
            (6000, 1363030, Transient),
            (6000, 1363033, Transient),
            (6000, None, Transient),
            (6000, 1363022, Refused),
            (1, 2207001, Transient),
            (-1, 2207032, Transient),
            (24, 2207008, Transient),
            (9007, 2207027, Transient),
            (4, 2207051, Refused),
            (9, 2207042, Refused),
            (-2, 2207020, graph.ContainerLost),
            (-1, 2207053, graph.ContainerLost),
        ):
            with self.subTest(subcode):
                self.assertIs(type(self.failure(400, code=code, error_subcode=subcode)), kind)

    def test_a_wrong_offset_names_the_right_one(self):
        for data in ({"start_offset": "5", "end_offset": 9}, '{"start_offset": 5, "end_offset": "9"}'):
            other = self.failure(400, code=6000, error_subcode=1363037, error_data=data)
            self.assertEqual((other.start, other.end), (5, 9))
        for data in (None, "{", [], {"start_offset": -1, "end_offset": 3}):
            self.assertNotIsInstance(self.failure(400, error_subcode=1363037, error_data=data), graph.WrongOffset)

    def test_an_error_outside_the_pattern_is_told_by_its_status(self):
        for content in (b"", b"<html>", b'{"error_message": []}'):
            with self.assertRaisesRegex(Refused, "status 404"):
                graph.read(answer(404, content), "Instagram")
        with self.assertRaisesRegex(Refused, "Instagram: bad code"):
            graph.read(answer(400, {"error_message": "bad code"}), "Instagram")


class Facebook(PlatformCase):
    module = facebook

    def phases(self, transfers, **states):
        """Answers start, the given transfers one by one, and finish; what belongs to the video by `states`."""
        waiting = list(transfers)

        def respond(request):
            if b'"upload_phase"\r\n\r\nstart' in request.body:
                return as_reply({"video_id": "7", "upload_session_id": "s", "start_offset": "0", "end_offset": "2000"})
            if request.method in states:
                return states[request.method]
            if request.method == "DELETE" or b'"upload_phase"\r\n\r\nfinish' in request.body:
                return states.get("finish") or as_reply({"success": True})
            return waiting.pop(0)

        return respond

    @staticmethod
    def at(start, end):
        return as_reply({"start_offset": str(start), "end_offset": str(end)})

    @staticmethod
    def wrong(start, end):
        data = {"start_offset": str(start), "end_offset": str(end)}
        return as_reply({"error": {"code": 6000, "error_subcode": 1363037, "error_data": data}}, 400)

    def test_the_service_chooses_the_parts(self):
        with self.serve(self.phases([self.at(2000, 4999), self.at(4999, 5000), self.at(5000, 5000)])) as server:
            self.assertEqual(self.upload().text, "https://www.facebook.com/watch/?v=7")
            sizes = [int(request.headers["Content-Length"]) for request in server.requests]
        self.assertTrue(sizes[1] > 2000 and sizes[2] > 2999 and sizes[3] < 2000, sizes)

    def test_the_service_may_want_to_go_back_or_on(self):
        replies = [
            self.at(2000, 4000),
            self.wrong(1000, 3000),
            self.wrong(1000, 3000),
            self.at(3000, 5000),
            self.wrong(5000, 5000),
        ]
        with self.serve(self.phases(replies)):
            self.assertEqual(self.upload().code, FINISHED)
        # To where no byte of the part was that has just been sent.
        with self.serve(
            self.phases([self.at(2000, 4000), self.wrong(0, 1500), self.at(1500, 5000), self.at(5000, 5000)])
        ):
            self.assertEqual(self.upload().code, FINISHED)

    def test_a_part_that_was_lost_is_sent_again(self):
        for subcode in (1363019, 1363030, 1363033):
            lost = as_reply({"error": {"code": 6000, "error_subcode": subcode}}, 400)
            with self.serve(self.phases([self.at(2000, 5000), lost, self.at(5000, 5000)])) as server:
                self.assertEqual(self.upload().code, FINISHED)
                sizes = [int(request.headers["Content-Length"]) for request in server.requests]
            self.assertEqual(sizes[2], sizes[3])

    def test_a_service_that_loses_every_part_is_given_up(self):
        lost = as_reply({"error": {"code": 6000, "error_subcode": 1363033, "message": "partial"}}, 400)
        with self.serve(self.phases([lost] * 50)) as server:
            end = self.upload()
            self.assertEqual((end.code, end.text), (ERROR, "Facebook: partial"))
            self.assertLess(len(server.requests), 10)

    def test_parts_that_lead_nowhere_end_the_upload(self):
        for reply, text in (
            (self.at(2000, 2000), "asks for an empty part"),
            (self.at(9000, 9001), "outside the file"),
            (as_reply({}), "lacks start_offset"),
            (as_reply({"start_offset": "x", "end_offset": "y"}), "lacks start_offset"),
        ):
            with self.serve(self.phases([reply] * 20)):
                end = self.upload()
            self.assertEqual(end.code, ERROR)
            self.assertIn(text, end.text)

    def gone_on(self, first, *moves, finished=True, **states):
        """The end of an upload that broke off at `first` and was started again, and the requests of the second."""
        host = Host()
        host.attach(self.uploader)
        replies = [self.at(2000, 5000), *first, *moves]
        with support.video_file(5000) as (path, _), self.serve(self.phases(replies, **states)) as server:
            for number in (1, 2):
                before = len(server.requests)
                self.uploader.StartUpload(path, "T", "", "", "", "")
                end = host.wait_for_end(number)
                self.assertEqual(end.code == FINISHED, number == 2 and finished, end.text)
            return end, server.requests[before:]

    def test_a_service_that_asks_for_nothing_is_asked_again_at_the_next_start(self):
        for start, end in ((2000, 2000), (3000, 2500), (9000, 9001)):
            end, requests = self.gone_on([self.at(start, end)] * 4, self.at(5000, 5000))
            self.assertEqual(end.text, "https://www.facebook.com/watch/?v=7")
            self.assertEqual([request.method for request in requests], ["POST", "POST"])
            self.assertIn(b"\r\n\r\n2000\r\n", requests[0].body)

    def refused(self, code, subcode=None, status=400):
        return as_reply({"error": {"code": code, "error_subcode": subcode, "message": "said %s" % code}}, status)

    def test_a_session_that_is_no_parameter_any_more_begins_anew_where_the_video_is_gone(self):
        busy = [as_reply({"error": {"code": 2}}, 500)] * 4
        for shown, anew in (
            (self.refused(100, 33), True),
            (Reply(404), True),
            (as_reply({"id": "7"}), False),
            (Reply(403), False),
            (Reply(500), False),
        ):
            moves = [self.refused(100), self.at(5000, 5000)]
            end, requests = self.gone_on(busy, *moves, finished=anew, GET=shown)
            methods = ["POST", "GET"] + ["DELETE", "POST", "POST", "POST"] * anew
            self.assertEqual([request.method for request in requests], methods, end.text)
        # What says so itself needs no question, and what may pass has none.
        for refusal, methods in (
            (self.refused(100, 33), ["POST", "DELETE", "POST", "POST", "POST"]),
            (self.refused(200, status=403), ["POST"]),
        ):
            _, requests = self.gone_on(busy, refusal, self.at(5000, 5000), finished=len(methods) > 1)
            self.assertEqual([request.method for request in requests], methods)

    def test_a_video_that_is_gone_before_its_publication_begins_anew(self):
        gone, done = self.refused(100, 33), as_reply({"success": True})
        anew = ["DELETE", "POST", "POST", "POST", "POST"]
        for refusal, shown, methods in (
            (gone, [], ["POST", *anew]),
            (self.refused(100), [gone], ["POST", "GET", *anew]),
            (self.refused(100), [self.state(video_status="uploading")], ["POST", "GET", "DELETE"]),
            (self.refused(200, status=403), [], ["POST"]),
        ):
            host = Host()
            host.attach(self.uploader)
            finishes = [self.refused(200, status=403), refusal, done]
            with video_file(5000) as (path, _), self.finishes(finishes, shown, uploads=2) as server:
                for number in (1, 2):
                    before = len(server.requests)
                    self.uploader.StartUpload(path, "T", "", "", "", "")
                    end = host.wait_for_end(number)
                self.assertEqual([request.method for request in server.requests[before:]], methods, end.text)
                self.assertEqual(end.code, FINISHED if len(methods) > 3 else ERROR)

    def test_a_stop_during_a_removal_leaves_it_for_the_next_start(self):
        host = Host()
        host.attach(self.uploader)
        waiting = [self.at(2000, 5000), *[Reply(500)] * 4, Reply(404), Reply(404), self.at(5000, 5000)]
        phases, removals = self.phases(waiting), []

        def respond(request):
            if request.method == "DELETE":
                removals.append(request.path)
                if len(removals) == 1:
                    self.uploader.StopUpload()
            return phases(request)

        with support.video_file(5000) as (path, _), self.serve(respond) as server:
            for number, code in ((1, ERROR), (2, ERROR), (3, FINISHED)):
                before = len(server.requests)
                self.uploader.StartUpload(path, "T", "", "", "", "")
                self.assertEqual(host.wait_for_end(number).code, code)
            methods = [request.method for request in server.requests[before:]]
        self.assertEqual(methods, ["POST", "DELETE", "POST", "POST", "POST"])
        self.assertEqual(len(set(removals)), 1)

    def test_a_refusal_behind_the_first_part_keeps_what_is_there(self):
        for refusal in (self.refused(200, status=403), self.refused(368), self.refused(100)):
            end, requests = self.gone_on([refusal], self.at(5000, 5000))
            self.assertEqual([request.method for request in requests], ["POST", "POST"], end.text)
            self.assertIn(b"\r\n\r\n2000\r\n", requests[0].body)
        with self.serve(self.phases([self.refused(200, status=403)])) as server:
            self.assertEqual(self.upload().code, ERROR)
            self.assertEqual(server.requests[-1].method, "DELETE")

    def test_a_refused_finish_removes_the_video_only_for_what_was_said_of_it(self):
        for refusal, removed in (
            (self.refused(100), True),
            (self.refused(100, 33), True),
            (self.refused(200, status=403), False),
            (self.refused(368), False),
        ):
            with self.serve(self.phases([self.at(5000, 5000)], finish=refusal)) as server:
                self.assertEqual(self.upload().code, ERROR)
                self.assertEqual(server.requests[-1].method == "DELETE", removed)

    def test_details_are_in_the_services_words(self):
        host = Host()
        host.attach(self.uploader)
        fields = dict(self.uploader._details(VideoRequest("p", "T" * 300, "D", "Friends", "a,b", "cars trucks")))
        self.assertEqual(json.loads(fields["privacy"]), {"value": "ALL_FRIENDS"})
        self.assertNotIn("content_tags", fields)
        self.assertIn("facebook takes no tags", host.texts())
        self.assertEqual(fields["content_category"], "CARS_TRUCKS")
        self.assertEqual(len(fields["title"]), 255)

    def test_a_publication_that_is_not_confirmed_is_an_error(self):
        with self.serve(
            lambda request: self.at(5000, 5000)
            if b"finish" in request.body
            else as_reply({"video_id": "7", "upload_session_id": "s", "start_offset": "5000", "end_offset": "5000"})
        ):
            self.assertIn("whether the video is out could not be found out", self.upload().text)

    def finishes(self, finish, status, uploads=1):
        """Answers "finish" and the questions about the video in turn, and anything else as usual."""
        waiting = {"finish": list(finish), "status": list(status)}
        usual = self.phases([self.at(2000, 5000), self.at(5000, 5000)] * uploads)
        seen = []

        def respond(request):
            kind = "status" if request.method == "GET" else "finish" if b"\r\nfinish" in request.body else ""
            seen.append(kind or request.method)
            return waiting[kind].pop(0) if kind else usual(request)

        server = self.serve(respond)
        server.seen = seen
        return server

    @staticmethod
    def state(**status):
        return as_reply({"id": "7", "status": status, "published": True})

    def test_a_lost_publication_is_told_by_the_videos_state(self):
        lost, done = Reply(502), as_reply({"success": True})
        out = (
            self.state(publishing_phase={"status": "complete", "publish_status": "published"}),
            self.state(publishing_phase={"status": "in_progress"}),
            self.state(video_status="processing"),
        )
        not_out = (
            self.state(publishing_phase={"status": "not_started"}, video_status="ready"),
            self.state(video_status="upload_complete"),
            as_reply({"error": {"code": 100, "error_subcode": 33}}, 400),
        )
        for state in out:
            with self.finishes([lost], [state]) as server:
                self.assertEqual(self.upload().text, "https://www.facebook.com/watch/?v=7")
                self.assertEqual(server.seen[-2:], ["finish", "status"])
        for state in not_out:
            with self.finishes([lost, done], [state]) as server:
                self.assertEqual(self.upload().code, FINISHED)
                self.assertEqual(server.seen[-3:], ["finish", "status", "finish"])

    def test_an_answer_without_the_videos_state_decides_nothing(self):
        refused = as_reply({"error": {"code": 200, "message": "no right to look"}}, 403)
        with self.finishes([Reply(502)], [refused]) as server:
            self.assertIn("no right to look; whether the video is out", self.upload().text)
            self.assertEqual(server.seen.count("finish"), 1)
        for state in (as_reply({"id": "7", "published": True}), as_reply([]), self.state(video_status={})):
            with self.finishes([Reply(502)], [state] * 20) as server:
                self.assertIn("whether the video is out", self.upload().text)
                self.assertEqual(server.seen.count("finish"), 1)
            with self.finishes([Reply(502)], [state, self.state(video_status="ready")]):
                self.assertEqual(self.upload().code, FINISHED)

    def test_an_answer_to_a_part_that_says_nothing_is_none(self):
        moves = [as_reply([]), self.wrong("x", None), self.at(2000, 5000), self.at(5000, 5000)]
        with self.serve(self.phases(moves)) as server:
            self.assertEqual(self.upload().code, FINISHED)
            self.assertNotIn("DELETE", [request.method for request in server.requests])

    def test_a_publication_that_failed_is_no_doubt(self):
        with self.finishes([as_reply({"success": False})], []):
            self.assertEqual(self.upload().text, "Facebook did not publish the video")

    def test_the_thumbnail_is_blamed_only_where_the_video_goes_without_it(self):
        refused = as_reply({"error": {"code": 100, "message": "no such privacy"}}, 400)
        with video_file(10, ".png") as (picture, _):
            with self.finishes([refused, refused], []):
                end = self.upload(thumbnail=picture)
                self.assertEqual((end.code, end.text), (ERROR, "Facebook: no such privacy"))
                self.assertNotIn("thumbnail", self.uploader.GetLastError())
            with self.finishes([refused, as_reply({"success": True})], []):
                self.assertEqual(self.upload(thumbnail=picture).code, FINISHED)
                self.assertIn("without its thumbnail", self.uploader.GetLastError())

    def test_a_publication_that_may_be_done_is_never_answered_by_a_removal(self):
        refused = as_reply({"error": {"code": 100, "message": "published already"}}, 400)
        ready, late, hidden = self.state(video_status="ready"), self.state(video_status="uploading"), Reply(403)
        host = Host()
        host.attach(self.uploader)
        with video_file(5000) as (path, _), self.finishes([Reply(502), refused], [hidden, late, late, ready]) as server:
            for number, code in ((1, ERROR), (2, ERROR), (3, FINISHED)):
                self.uploader.StartUpload(path, "T", "", "", "", "")
                end = host.wait_for_end(number)
                self.assertEqual((end.code, "whether the video is out" in end.text), (code, code == ERROR))
            self.assertNotIn("DELETE", server.seen)

    def test_a_thumbnail_that_is_refused_in_a_doubt_does_not_cost_the_video(self):
        refused = as_reply({"error": {"code": 100, "message": "no picture"}}, 400)
        late = self.state(video_status="uploading")
        with video_file(10, ".png") as (picture, _):
            with self.finishes([Reply(502), refused, as_reply({"success": True})], [late] * 3):
                self.assertEqual(self.upload(thumbnail=picture).code, FINISHED)
            self.assertIn("without its thumbnail: Facebook: no picture", self.uploader.GetLastError())
            # Who can't be asked is not asked for it once more.
            with self.finishes([Reply(502)], [Reply(500)] * 20) as server:
                self.assertIn("whether the video is out", self.upload(thumbnail=picture).text)
                self.assertLessEqual(server.seen.count("status"), self.uploader.job_policy.attempts)

    def test_a_thumbnail_that_vanishes_does_not_cost_the_video(self):
        with video_file(10, ".png") as (picture, _):
            usual = self.phases([self.at(5000, 5000)])

            def respond(request):
                if b"transfer" in request.body:
                    os.remove(picture)
                return usual(request)

            with self.serve(respond):
                self.assertEqual(self.upload(thumbnail=picture).code, FINISHED)
            self.assertIn("without its thumbnail: cannot open the file", self.uploader.GetLastError())

    def test_a_video_that_is_refused_at_its_end_is_removed(self):
        refused = as_reply({"error": {"code": 100, "message": "no such privacy"}}, 400)
        with self.finishes([refused], []) as server:
            self.assertEqual(self.upload().text, "Facebook: no such privacy")
            self.assertEqual(server.seen[-2:], ["finish", "DELETE"])

    def test_a_video_that_will_never_be_whole_is_removed(self):
        refused = as_reply({"error": {"code": 6000, "error_subcode": 1363022, "message": "no video"}}, 400)
        with self.serve(self.phases([refused])) as server:
            self.assertEqual(self.upload().text, "Facebook: no video")
            last = server.requests[-1]
        self.assertEqual((last.method, last.path.split("?")[0]), ("DELETE", "/facebookGraph/7"))


if __name__ == "__main__":
    unittest.main()
