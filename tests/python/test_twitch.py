"""What is special about Twitch: its parts, and its refusals."""

import unittest
from unittest import mock
from urllib.parse import parse_qs, urlsplit

from pysocialnetwork import twitch
from pysocialnetwork.errors import Refused, TokenInvalid, UploadError
from pysocialnetwork.login import Login

from platformcase import ERROR, FINISHED, TOKEN_INVALID, PlatformCase, answer, as_reply
from support import Host, Reply, in_turn, video_file


class Twitch(PlatformCase):
    module = twitch
    login = {"user_id": "44322889"}

    def test_errors_are_told_apart(self):
        with self.assertRaisesRegex(Refused, "has withdrawn video uploads"):
            twitch.read(answer(410, {"message": "Gone"}))
        with self.assertRaises(TokenInvalid):
            twitch.read(answer(401, {"message": "invalid oauth token"}))
        with self.assertRaisesRegex(Refused, "invalid client"):
            twitch.read(answer(401, {"message": "invalid client"}), with_login=False)

    def test_parts_are_numbered_without_gaps(self):
        def respond(request):
            if request.path.startswith("/twitchApi"):
                return as_reply({"upload": {"url": server.url + "/put", "token": "up-token"}, "video": {"_id": "v12"}})
            return Reply(200)

        with self.serve(respond) as server:
            end = self.upload(twitch.PART * 2 + 5, tags="a,b", title="T" * 200)
            paths = [request.path for request in server.requests]
            sizes = [len(request.body) for request in server.requests]
        self.assertEqual(end.text, "https://www.twitch.tv/videos/12")
        self.assertIn(
            "channel_id=44322889&title=" + "T" * 100 + "&description=&tag_list=a%2Cb&viewable=private", paths[0]
        )
        self.assertEqual(
            paths[1:],
            ["/put?part=%d&upload_token=up-token" % n for n in (1, 2, 3)] + ["/put/complete?upload_token=up-token"],
        )
        self.assertEqual(sizes[1:4], [twitch.PART, twitch.PART, 5])

    def twitch(self, *answers, **states):
        """Answers what belongs to the video by itself, and anything else in turn."""
        waiting = list(answers)

        def respond(request):
            if request.method in states:
                return states[request.method]
            if request.path.startswith("/twitchApi/videos?"):
                return as_reply({"upload": {"url": server.url + "/put", "token": "up-token"}, "video": {"_id": "v12"}})
            return waiting.pop(0)

        server = self.serve(respond)
        return server

    def test_a_lost_completion_is_told_by_the_videos_state(self):
        for state in ("recorded", "transcoding", "pending_transcode"):
            with self.twitch(Reply(200), Reply(500), GET=as_reply({"status": state})) as server:
                self.assertEqual(self.upload().code, FINISHED)
                self.assertEqual(server.requests[-1].path, "/twitchApi/videos/12")
        for state in (as_reply({"status": "created"}), as_reply({"status": "uploading"}), Reply(404)):
            with self.twitch(Reply(200), Reply(500), Reply(200), GET=state) as server:
                self.assertEqual(self.upload().code, FINISHED)
                self.assertEqual(server.requests[-1].path, "/put/complete?upload_token=up-token")

    def test_an_answer_without_the_videos_state_decides_nothing(self):
        for state in (as_reply([]), as_reply({"status": {}}), Reply(200, b"{"), Reply(403)):
            with self.twitch(Reply(200), Reply(500), GET=state) as server:
                self.assertIn("whether the video is out", self.upload().text)
                self.assertEqual([r.path for r in server.requests if "complete" in r.path], [server.requests[2].path])

    def test_a_video_that_will_never_be_whole_is_removed(self):
        with self.twitch(Reply(400), DELETE=Reply(204)) as server:
            self.assertEqual(self.upload().code, ERROR)
            self.assertEqual((server.requests[-1].method, server.requests[-1].path), ("DELETE", "/twitchApi/videos/12"))

    def test_a_refused_completion_removes_the_video_only_for_good(self):
        for status, methods in (
            (400, ["POST", "PUT", "POST", "DELETE"]),
            (404, ["POST", "PUT", "POST", "DELETE"]),
            (401, ["POST", "PUT", "POST", "POST"]),
            (403, ["POST", "PUT", "POST", "POST"]),
        ):
            host = Host()
            host.attach(self.uploader)
            with video_file(5000) as (path, _), self.twitch(
                Reply(200), Reply(status), Reply(200), DELETE=Reply(204)
            ) as server:
                self.uploader.StartUpload(path, "T", "", "", "", "")
                self.assertEqual(host.wait_for_end().code, ERROR)
                if methods[-1] == "POST":
                    self.uploader.StartUpload(path, "T", "", "", "", "")
                    self.assertEqual(host.wait_for_end(2).code, FINISHED)
                self.assertEqual([request.method for request in server.requests], methods)

    def test_a_completion_that_may_be_done_is_never_answered_by_a_removal(self):
        completed = as_reply({"status": 400, "message": "completed already"}, 400)
        for late in ([as_reply({"status": "uploading"})] * 2, [Reply(404)] * 2):
            host = Host()
            host.attach(self.uploader)
            waiting = {"GET": [Reply(403), *late, as_reply({"status": "recorded"})]}
            waiting["complete"] = [Reply(500), completed]

            def respond(request):
                if "complete" in request.path or request.method == "GET":
                    return waiting[request.method if request.method == "GET" else "complete"].pop(0)
                created = {"upload": {"url": server.url + "/put", "token": "up-token"}, "video": {"_id": "v12"}}
                return as_reply(created)

            with video_file(5000) as (path, _), self.serve(respond) as server:
                for number, code in ((1, ERROR), (2, ERROR), (3, FINISHED)):
                    self.uploader.StartUpload(path, "T", "", "", "", "")
                    end = host.wait_for_end(number)
                    self.assertEqual((end.code, "whether the video is out" in end.text), (code, code == ERROR))
                methods = [request.method for request in server.requests]
            self.assertEqual(methods, ["POST", "PUT", "POST", "GET", "GET", "POST", "GET", "GET"])

    def test_a_video_that_is_gone_before_its_completion_begins_anew(self):
        anew = ["DELETE", "POST", "PUT", "POST"]
        for refusal, shown, methods in (
            (404, Reply(500), ["POST", *anew]),
            (400, Reply(404), ["POST", "GET", *anew]),
            (403, Reply(404), ["POST", "GET", *anew]),
            (403, as_reply({"status": "uploading"}), ["POST", "GET"]),
            (400, as_reply({"status": "uploading"}), ["POST", "GET", "DELETE"]),
        ):
            host = Host()
            host.attach(self.uploader)
            moves = [Reply(200), Reply(403), Reply(refusal), Reply(200), Reply(200)]
            with video_file(5000) as (path, _), self.twitch(*moves, GET=shown, DELETE=Reply(204)) as server:
                for number in (1, 2):
                    before = len(server.requests)
                    self.uploader.StartUpload(path, "T", "", "", "", "")
                    end = host.wait_for_end(number)
                self.assertEqual([request.method for request in server.requests[before:]], methods, end.text)
                self.assertEqual(end.code, FINISHED if "PUT" in methods else ERROR)

    def test_a_part_that_is_refused_later_is_decided_by_the_video(self):
        for shown, methods in (
            (as_reply({"status": "uploading"}), ["PUT", "GET"]),
            (Reply(403), ["PUT", "GET"]),
            (Reply(404), ["PUT", "GET", "DELETE", "POST", "PUT", "PUT", "POST"]),
        ):
            host = Host()
            host.attach(self.uploader)
            moves = [Reply(200), Reply(403), Reply(403), *[Reply(200)] * 3]
            part = mock.patch.object(twitch, "PART", 3000)
            with part, video_file(5000) as (path, _), self.twitch(*moves, GET=shown, DELETE=Reply(204)) as server:
                for number in (1, 2):
                    before = len(server.requests)
                    self.uploader.StartUpload(path, "T", "", "", "", "")
                    end = host.wait_for_end(number)
                self.assertEqual([request.method for request in server.requests[before:]], methods, end.text)

    def test_the_upload_address_of_a_protected_service_is_protected(self):
        created = {"upload": {"url": "http://uploads.example/put", "token": "up-token"}, "video": {"_id": "v12"}}
        asked = self.serve_protected(answer(200, created))
        end = self.upload()
        self.assertEqual((end.code, end.text), (ERROR, "url invalid"))
        self.assertEqual(len(asked), 1)

    def test_tags_have_the_services_room(self):
        with self.serve(in_turn(Reply(400))) as server:
            self.upload(tags=",".join(["a" * 101] + [letter * 99 for letter in "bcdefg"]))
            tags = parse_qs(urlsplit(server.requests[0].path).query)["tag_list"][0].split(",")
        self.assertEqual([tag[0] for tag in tags], list("bcdef"))

    def test_only_the_services_word_ends_a_login_that_cannot_be_renewed(self):
        for reply, kept in (
            (as_reply({"status": 400, "message": "Invalid refresh token"}, 400), False),
            (as_reply({"status": 401, "message": "Invalid refresh token"}, 401), False),
            (as_reply({"status": 403, "message": "invalid client secret"}, 403), True),
            (Reply(400, b"<html>"), True),
        ):
            self.uploader.set_login(Login("twitch", "t", refresh="r", expires=1))
            with self.serve(in_turn(reply)):
                self.assertEqual(self.upload().code, ERROR if kept else TOKEN_INVALID)
            self.assertEqual(self.uploader.login is not None, kept)

    def test_refresh_tokens_that_cannot_travel_are_refused(self):
        for token in ("a b", "\u6f22", "\ud800", 7, ["r"]):
            with self.assertRaisesRegex(UploadError, "no usable token"):
                self.uploader.granted({"access_token": "a", "refresh_token": token})
        for token in ("", None):
            self.assertEqual(self.uploader.granted({"access_token": "a", "refresh_token": token}).refresh, "")

    def test_a_renewal_without_application_settings_is_no_renewal(self):
        self.uploader.SetAppKey("")
        with self.uploader.calling() as wire, self.assertRaisesRegex(UploadError, "key and secret"):
            self.uploader._renew(wire, Login("twitch", "t", refresh="r"))


if __name__ == "__main__":
    unittest.main()
