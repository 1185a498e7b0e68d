"""What is special about YouTube: its sessions, its ranges, its errors."""

import time
import unittest
from urllib.parse import parse_qs, urlsplit

from pysocialnetwork import youtube
from pysocialnetwork.errors import Refused, TokenInvalid, Transient, UploadError
from pysocialnetwork.job import VideoRequest
from pysocialnetwork.login import Login

from platformcase import ERROR, FINISHED, TOKEN_INVALID, PlatformCase, answer, as_reply
from support import Host, Reply, Server, in_turn, video_file


class Youtube(PlatformCase):
    module = youtube

    def test_the_header_tells_how_far_the_upload_is(self):
        self.assertEqual(youtube.received(answer(308, b"")), 0)
        self.assertEqual(youtube.received(answer(308, b"", Range="bytes=0-9")), 10)
        self.assertEqual(youtube.received(answer(308, b"", Range=" 0-0 ")), 1)
        for header in ("", "bytes=1-9", "bytes=0-", "bytes=0-x", "bytes=0-" + "9" * 30):
            with self.assertRaises(UploadError):
                youtube.received(answer(308, b"", Range=header))

    def test_errors_are_told_apart(self):
        cases = (
            (401, {"error": {"errors": [{"reason": "authError"}]}}, TokenInvalid),
            (401, {"error": {"errors": [{"reason": "required"}]}}, TokenInvalid),
            (401, {"error": {"errors": [{"reason": "expired"}]}}, TokenInvalid),
            (401, {"error": {"errors": [{"reason": "x"}, {"reason": "authorizationRequired"}]}}, TokenInvalid),
            (401, {"error": {"status": "UNAUTHENTICATED"}}, TokenInvalid),
            (401, {"error": {"message": "Unauthorized", "errors": [{"reason": "youtubeSignupRequired"}]}}, Refused),
            (401, {"error": {"message": "Unauthorized"}}, Refused),
            (403, {"error": {"errors": [{"reason": "authError"}]}}, Refused),
            (401, {"error": "invalid_client"}, Refused),
            (400, {"error": "invalid_grant", "error_description": "spent"}, Refused),
            (403, {"error": {"errors": [{"reason": "rateLimitExceeded"}]}}, Transient),
            (403, {"error": {"message": "over", "errors": [{"reason": "quotaExceeded"}]}}, Refused),
            (403, {"error": {"errors": "x"}}, Refused),
            (308, {}, Refused),
        )
        for status, content, kind in cases:
            with self.subTest(content), self.assertRaises(kind):
                youtube.read(answer(status, content))

    def sessions(self, location, put):
        def respond(request):
            return put(request) if request.method == "PUT" else as_reply({}, Location=location(request))

        return respond

    def test_a_session_elsewhere_does_not_see_the_token(self):
        with Server(in_turn(as_reply({"id": "v"}))) as elsewhere:
            with self.serve(self.sessions(lambda request: elsewhere.url + "/session", None)):
                self.assertEqual(self.upload().code, FINISHED)
            self.assertIsNone(elsewhere.requests[0].headers["Authorization"])

    def test_a_session_at_the_service_sees_the_token(self):
        replies = self.sessions(lambda request: server.url + "/session", lambda request: as_reply({"id": "v"}))
        with self.serve(replies) as server:
            self.assertEqual(self.upload().text, "https://www.youtube.com/watch?v=v")
            put = server.requests[-1]
        self.assertEqual(put.headers["Authorization"], "Bearer token")
        self.assertEqual(put.headers["Content-Range"], "bytes 0-4999/5000")
        # Whoever has a session may send to it.
        self.assertEqual(self.uploader._mask.over("at " + server.url + "/session"), "at ***")

    def test_sessions_that_cannot_serve_end_the_upload(self):
        for location in ("", "ftp://x/", "/relative"):
            with self.serve(self.sessions(lambda request: location, None)):
                self.assertEqual(self.upload().code, ERROR)
        for status, text in (
            (404, "start it again"),
            (410, "start it again"),
            (200, "does not name it"),
            (400, "status 400"),
        ):
            with self.serve(self.sessions(lambda request: server.url + "/s", lambda request: Reply(status))) as server:
                self.assertIn(text, self.upload().text)

    def test_a_service_that_has_all_and_wants_more_is_asked_for_the_name(self):
        all_there = Reply(308, b"", {"Range": "bytes=0-4999"})
        for replies, text in (
            ([all_there, as_reply({"id": "v"})], "watch?v=v"),
            ([all_there] * 9, "does not name it; whether the video is out could not be found out"),
        ):
            waiting = list(replies)
            puts = self.sessions(lambda request: server.url + "/s", lambda request: waiting.pop(0))
            with self.serve(puts) as server:
                self.assertIn(text, self.upload().text)
                ranges = [r.headers["Content-Range"] for r in server.requests if r.method == "PUT"]
            self.assertEqual(ranges, ["bytes 0-4999/5000"] + ["bytes */5000"] * (len(ranges) - 1))
            self.assertGreater(len(ranges), 1)

    def test_a_thumbnail_of_another_kind_is_told_and_costs_nothing(self):
        for suffix, kind in (
            (".jpg", ""),
            (".PNG", ""),
            (".unknown", ""),
            (".gif", "image/gif"),
            (".MP4", "video/mp4"),
        ):
            replies = self.sessions(lambda request: server.url + "/s", lambda request: as_reply({"id": "v"}))
            with video_file(10, suffix) as (picture, _), self.serve(replies) as server:
                self.assertEqual(self.upload(thumbnail=picture).text, "https://www.youtube.com/watch?v=v")
                sent = [r for r in server.requests if "/thumbnails/set" in r.path]
            told = self.uploader.GetLastError()
            self.assertEqual(len(sent), int(not kind))
            why = "YouTube takes pictures of the kinds JPEG and PNG alone, not " + kind
            self.assertEqual(told, "the video is uploaded, but without its thumbnail: " + why if kind else "")

    def test_a_session_of_a_protected_service_is_protected(self):
        asked = self.serve_protected(answer(200, {}, Location="http://uploads.example/session"))
        end = self.upload()
        self.assertEqual((end.code, end.text), (ERROR, "url invalid"))
        self.assertEqual(len(asked), 1)
        self.assertEqual(asked[0].split(":")[0], "https")

    def test_a_session_that_has_expired_is_replaced_once(self):
        ends = {"first": 0, "second": 0}

        def respond(request):
            if request.method == "POST":
                return as_reply({}, Location=server.url + ("/second" if ends["first"] else "/first"))
            name = request.path[1:]
            ends[name] += 1
            if name == "second" and finishes:
                return as_reply({"id": "v"})
            return Reply(404 if name == "first" else 410)

        for finishes, code in ((True, FINISHED), (False, ERROR)):
            ends.update(first=0, second=0)
            with self.serve(respond) as server:
                end = self.upload()
                self.assertEqual(server.requests[-1].headers["Content-Range"], "bytes 0-4999/5000")
            self.assertEqual((end.code, ends), (code, {"first": 1, "second": 1}))

    def test_tags_have_the_services_room(self):
        tags = ",".join(["x" * 100, "y " + "z" * 95, "w" * 501, "v" * 200, "u" * 100, "last"])
        host = Host()
        host.attach(self.uploader)
        with self.uploader.calling() as wire:
            resource = self.uploader._resource(wire, VideoRequest("p", "T", "", "", tags, ""))
        kept = resource["snippet"]["tags"]
        self.assertEqual(kept, ["x" * 100, "y " + "z" * 95, "v" * 200, "last"])
        self.assertEqual([event.text for event in host.events], ["youtube has no room for 2 of 6 tags"])

    def test_a_gateway_on_the_way_does_not_cost_the_login(self):
        login = Login("youtube", "old", refresh="kept", expires=1)
        for reply, kept in (
            (Reply(400, b"<html>bad gateway"), True),
            (Reply(404, b"<html>"), True),
            (as_reply({"error": "invalid_client"}, 401), True),
            (as_reply({"error": "invalid_grant"}, 400), False),
        ):
            self.uploader.set_login(login)
            with self.serve(in_turn(reply)):
                self.assertEqual(self.upload().code, ERROR if kept else TOKEN_INVALID)
            self.assertEqual(self.uploader.login is not None, kept)

    def test_a_renewal_keeps_the_refresh_token_that_is_not_replaced(self):
        with self.serve(
            in_turn(as_reply({"access_token": "next", "expires_in": 3600}))
        ), self.uploader.calling() as wire:
            renewed = self.uploader._renew(wire, Login("youtube", "old", refresh="kept"))
        self.assertEqual((renewed.access, renewed.refresh), ("next", "kept"))
        self.assertGreater(renewed.expires, time.time())

    def test_categories_are_found_by_title_or_number(self):
        items = [
            {"id": "1", "snippet": {"title": "Film", "assignable": True}},
            {"id": "2", "snippet": {"title": "Shows", "assignable": False}},
            {"id": 3},
            None,
        ]
        with self.serve(in_turn(as_reply({"items": items}))), self.uploader.calling() as wire:
            self.assertEqual(self.uploader._category_id(wire, " film "), "1")
            self.assertEqual(self.uploader._category_id(wire, "1"), "1")
            with self.assertRaises(UploadError):
                self.uploader._category_id(wire, "Shows")

    def test_categories_are_those_of_the_users_own_country(self):
        music = {"items": [{"id": "10", "snippet": {"title": "Music"}}]}
        unknown = as_reply({"error": {"code": 400, "message": "regionCodeInvalid"}}, 400)
        for channel, refused, asked in (
            ({"country": "de"}, (), ["DE"]),
            ({"country": "XK"}, ("XK",), ["XK", "US"]),
            ({"country": "AQ"}, (), ["AQ", "US"]),
            ({}, (), ["US"]),
            ({"country": "D&part=id"}, (), ["US"]),
            ({"country": 49}, (), ["US"]),
            (None, (), ["US"]),
        ):
            regions = []

            def respond(request, channel=channel, refused=refused, regions=regions):
                if "/channels?" in request.path:
                    return Reply(404, "{}") if channel is None else as_reply({"items": [{"snippet": channel}]})
                regions.append(parse_qs(urlsplit(request.path).query)["regionCode"][0])
                if regions[-1] == "AQ":
                    return as_reply({"items": []})
                return unknown if regions[-1] in refused else as_reply(music)

            self.uploader.set_login(Login("youtube", "token"))
            with self.subTest(channel), self.serve(respond):
                self.assertEqual(self.uploader.GetVideoCategories(), "Music|")
            self.assertEqual(regions, asked)

    def test_without_categories_of_any_country_there_are_none(self):
        with self.serve(in_turn(Reply(400, "{}"))) as server:
            self.assertEqual(self.uploader.GetVideoCategories(), "")
            self.assertEqual(len(server.requests), 2)
        self.assertIn("status 400", self.uploader.GetLastError())


if __name__ == "__main__":
    unittest.main()
