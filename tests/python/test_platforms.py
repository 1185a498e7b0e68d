"""What is special about each platform: its errors, its limits, its answers."""

import json
import time
import unittest

from pysocialnetwork import facebook, flickr, graph, instagram, twitch, vimeo, youtube
from pysocialnetwork.connection import Answer
from pysocialnetwork.errors import Refused, TokenInvalid, Transient, UploadError
from pysocialnetwork.job import VideoRequest
from pysocialnetwork.login import Login

import support
from support import Host, Reply, Server, in_turn, quick

FINISHED, ERROR, TOKEN_INVALID = 2, 3, 4


def answer(status, content, **headers):
    body = content if isinstance(content, bytes) else json.dumps(content).encode()
    return Answer(status, headers, body)


def as_reply(content, status=200, **headers):
    return Reply(status, json.dumps(content), {name.replace("_", "-"): value for name, value in headers.items()})


class PlatformCase(unittest.TestCase):
    """An uploader that is signed in, and whose services are one small server."""

    module = None
    login = {}

    def setUp(self):
        clean = support.environment()
        clean.start()
        self.addCleanup(clean.stop)
        self.uploader = quick(self.module.Uploader())
        self.uploader.SetAppKey("key")
        self.uploader.SetAppSecret("app-secret")
        self.uploader.SetRedirectURL("http://localhost/done")
        self.uploader.set_login(Login(self.uploader.platform, "token", **self.login))

    def serve(self, answer_request):
        server = Server(answer_request)
        self.uploader.address = lambda key: server.url + "/" + key
        return server

    def upload(self, size=5000, thumbnail="", **fields):
        host = Host()
        host.attach(self.uploader)
        values = {"title": "T", "description": "", "privacy": "", "tags": "", "category": "", **fields}
        with support.video_file(size) as (path, _):
            self.uploader.StartUpload(path, *values.values(), thumbnail)
            return host.wait_for_end()


class Graph(unittest.TestCase):
    def failure(self, status, **error):
        with self.assertRaises(UploadError) as caught:
            graph.read(answer(status, {"error": error}), "Facebook")
        return caught.exception

    def test_errors_are_told_apart_by_number(self):
        self.assertIsInstance(self.failure(400, code=190, message="expired"), TokenInvalid)
        self.assertIsInstance(self.failure(200, code=102), TokenInvalid)
        for code in (1, 2, 4, 17, 341):
            self.assertIsInstance(self.failure(400, code=code), Transient)
        self.assertIsInstance(self.failure(400, code=9, is_transient=True), Transient)
        refused = self.failure(403, code=200, message="no right")
        self.assertIsInstance(refused, Refused)
        self.assertEqual(str(refused), "Facebook: no right")
        self.assertEqual(str(self.failure(500)), "Facebook: status 500")

    def test_a_wrong_offset_names_the_right_one(self):
        for data in ({"start_offset": "5", "end_offset": 9}, '{"start_offset": 5, "end_offset": "9"}'):
            other = self.failure(400, code=6001, error_subcode=1363037, error_data=data)
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

    def phases(self, transfers):
        """Answers start, the given transfers one by one, and finish."""
        waiting = list(transfers)

        def respond(request):
            if b'"upload_phase"\r\n\r\nstart' in request.body:
                return as_reply({"video_id": "7", "upload_session_id": "s", "start_offset": "0", "end_offset": "2000"})
            if b'"upload_phase"\r\n\r\nfinish' in request.body:
                return as_reply({"success": True})
            return waiting.pop(0)

        return respond

    @staticmethod
    def at(start, end):
        return as_reply({"start_offset": str(start), "end_offset": str(end)})

    @staticmethod
    def wrong(start, end):
        data = {"start_offset": str(start), "end_offset": str(end)}
        return as_reply({"error": {"code": 6001, "error_subcode": 1363037, "error_data": data}}, 400)

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

    def test_parts_that_lead_nowhere_end_the_upload(self):
        for reply in (
            self.at(2000, 2000),
            self.at(9000, 9001),
            as_reply({}),
            as_reply({"start_offset": "x", "end_offset": "y"}),
        ):
            with self.serve(self.phases([reply])):
                self.assertEqual(self.upload().code, ERROR)

    def test_details_are_in_the_services_words(self):
        fields = dict(self.uploader._details(VideoRequest("p", "T" * 300, "D", "Friends", "a,b", "cars trucks")))
        self.assertEqual(json.loads(fields["privacy"]), {"value": "ALL_FRIENDS"})
        self.assertEqual(json.loads(fields["content_tags"]), ["a", "b"])
        self.assertEqual(fields["content_category"], "CARS_TRUCKS")
        self.assertEqual(len(fields["title"]), 255)

    def test_a_publication_that_is_not_confirmed_is_an_error(self):
        with self.serve(
            lambda request: self.at(5000, 5000)
            if b"finish" in request.body
            else as_reply({"video_id": "7", "upload_session_id": "s", "start_offset": "5000", "end_offset": "5000"})
        ):
            self.assertEqual(self.upload().text, "Facebook did not publish the video")


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
            (401, {"error": {"message": "Invalid Credentials"}}, TokenInvalid),
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

    def test_sessions_that_cannot_serve_end_the_upload(self):
        for location in ("", "ftp://x/", "/relative"):
            with self.serve(self.sessions(lambda request: location, None)):
                self.assertEqual(self.upload().code, ERROR)
        for status, text in ((404, "start it again"), (410, "start it again"), (200, "does not name it")):
            with self.serve(self.sessions(lambda request: server.url + "/s", lambda request: Reply(status))) as server:
                self.assertIn(text, self.upload().text)

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


class Vimeo(PlatformCase):
    module = vimeo

    def tus(self, *moves):
        waiting = list(moves)

        def respond(request):
            if request.method == "POST":
                return as_reply({"uri": "/videos/5", "upload": {"upload_link": server.url + "/tus"}}, 201)
            return waiting.pop(0)

        server = self.serve(respond)
        return server

    @staticmethod
    def at(offset, status=204):
        return Reply(status, b"", {"Upload-Offset": str(offset)})

    def test_the_upload_goes_on_where_the_service_is(self):
        with self.tus(
            self.at(2000), self.at(1000, 409), self.at(1000, 200), self.at(1000, 200), self.at(5000)
        ) as server:
            self.assertEqual(self.upload().text, "https://vimeo.com/5")
            moves = [(r.method, r.headers["Upload-Offset"]) for r in server.requests[1:]]
        self.assertEqual(moves[0], ("PATCH", "0"))
        self.assertEqual(moves[-1], ("PATCH", "1000"))
        self.assertIn(("HEAD", None), moves)

    def test_answers_without_an_offset_end_the_upload(self):
        for reply in (Reply(204), self.at("x"), self.at(-1), self.at(6000), Reply(404), Reply(410)):
            with self.tus(reply):
                self.assertEqual(self.upload().code, ERROR)

    def test_the_upload_address_must_be_as_safe_as_the_service(self):
        created = {"uri": "/videos/5", "upload": {"upload_link": "ftp://x/"}}
        with self.serve(in_turn(as_reply(created, 201))):
            self.assertIn("no URL", self.upload().text)

    def test_errors_are_told_in_the_services_words(self):
        self.assertIsInstance(vimeo.refusal(answer(401, {"error": "bad token"})), TokenInvalid)
        self.assertEqual(str(vimeo.refusal(answer(400, {"error": "a", "developer_message": "b"}))), "Vimeo: b")
        self.assertEqual(str(vimeo.refusal(answer(500, b"<"))), "Vimeo: status 500")

    def test_quotas_that_are_not_told_are_no_limits(self):
        with self.serve(in_turn(as_reply({}))), self.uploader.calling() as wire:
            account = self.uploader._read_account(wire)
        self.assertEqual((account.hd, account.sd, account.space, account.categories), (True, True, 0, ()))
        quota = {"upload_quota": {"space": {"free": 3 << 20}, "quota": {"hd": False, "sd": True}}}
        with self.serve(in_turn(as_reply(quota))), self.uploader.calling() as wire:
            account = self.uploader._read_account(wire)
        self.assertEqual((account.hd, account.sd, account.space), (False, True, 3))


class Flickr(PlatformCase):
    module = flickr
    login = {"secret": "token-secret", "user_id": "1@N01"}

    ticket = Reply(200, b'<?xml version="1.0"?><rsp stat="ok"><ticketid>9-1</ticketid></rsp>')

    @staticmethod
    def state(complete, photo=None, name="9-1"):
        entry = {"id": name, "complete": complete}
        return as_reply({"stat": "ok", "uploader": {"ticket": [{**entry, **({"photoid": photo} if photo else {})}]}})

    def test_the_ticket_is_looked_at_until_the_video_is_there(self):
        with self.serve(in_turn(self.ticket, self.state(0), self.state(0), self.state(1, "77"))):
            self.assertEqual(self.upload().text, "https://www.flickr.com/photos/1@N01/77")

    def test_tickets_that_lead_nowhere_end_the_upload(self):
        for reply in (
            self.state(2),
            self.state(1),
            self.state(1, "7", "other"),
            as_reply({"stat": "ok", "uploader": {"ticket": "x"}}),
        ):
            with self.serve(in_turn(self.ticket, reply)):
                self.assertIn("could not make a video", self.upload().text)
        self.uploader.longest_wait = 0.0
        with self.serve(in_turn(self.ticket, self.state(0))):
            self.assertIn("not made a video of the file in time", self.upload().text)

    def test_answers_to_the_upload_are_told_apart(self):
        cases = (
            (b'<rsp stat="fail"><err code="98" msg="Invalid auth token"/></rsp>', TokenInvalid),
            (b'<rsp stat="fail"><err code="105" msg="Down"/></rsp>', Transient),
            (b'<rsp stat="fail"><err code="5" msg="Filetype"/></rsp>', Refused),
            (b'<rsp stat="ok"></rsp>', UploadError),
            (b"nonsense", UploadError),
            (b'<!DOCTYPE x [<!ENTITY a "b">]><rsp stat="ok"><ticketid>&a;</ticketid></rsp>', Refused),
        )
        for body, kind in cases:
            with self.subTest(body), self.assertRaises(kind):
                flickr.ticket_of(answer(200, body))

    def test_problems_of_oauth_are_told_apart(self):
        self.assertIsInstance(flickr.failure(answer(401, b"oauth_problem=token_rejected")), TokenInvalid)
        wrong = flickr.failure(answer(401, b"oauth_problem=signature_invalid&debug_sbs=x"))
        self.assertIsInstance(wrong, Refused)
        self.assertEqual(str(wrong), "Flickr: signature_invalid")

    def test_fields_are_in_the_services_words(self):
        fields = self.uploader._fields(VideoRequest("p", "T", "", "friends", 'a,two "words"', ""))
        self.assertEqual(fields["tags"], 'a "two words"')
        self.assertEqual([fields[name] for name in ("is_public", "is_friend", "is_family")], ["0", "1", "0"])
        self.assertNotIn("description", fields)

    def test_a_redirect_address_that_is_not_confirmed_is_no_login(self):
        with self.serve(in_turn(Reply(200, b"oauth_token=a&oauth_token_secret=b"))):
            self.assertEqual(self.uploader.GetLoginURL(), "")
            self.assertIn("did not accept the redirect address", self.uploader.GetLastError())

    def test_redirects_are_checked(self):
        reply = Reply(200, b"oauth_token=ask&oauth_token_secret=b&oauth_callback_confirmed=true")
        with self.serve(in_turn(reply)):
            self.assertIn("oauth_token=ask&perms=write", self.uploader.GetLoginURL())
        place = "http://localhost/done"
        self.assertEqual(self.uploader.VerifyRedirectURL(place), 1)
        self.assertEqual(self.uploader.VerifyRedirectURL(place + "?oauth_token=other&oauth_verifier=v"), 2)
        self.assertEqual(self.uploader.VerifyRedirectURL(place + "?denied=other"), 2)
        self.assertIn("belongs to another login", self.uploader.GetLastError())
        self.assertEqual(self.uploader.VerifyRedirectURL(place + "?denied=ask"), 2)
        self.assertEqual(self.uploader.GetLastError(), "the login was refused")
        self.assertEqual(self.uploader.VerifyRedirectURL(place + "?oauth_token=ask&oauth_verifier=v"), 2)
        self.assertEqual(self.uploader.GetLastError(), "no login has been begun")


class Instagram(PlatformCase):
    module = instagram
    login = {"user_id": "17"}

    def test_the_caption_holds_all_texts(self):
        request = VideoRequest("p", "Title", "Words", "", "one, two words, #three!", "")
        self.assertEqual(instagram.caption(request), "Title\n\nWords\n\n#one #twowords #three")
        self.assertEqual(instagram.caption(VideoRequest("p", "", "", "", "", "")), "")
        self.assertEqual(len(instagram.caption(VideoRequest("p", "x" * 9000, "", "", "", ""))), 2200)
        many = ",".join("t%d" % number for number in range(50))
        self.assertEqual(instagram.caption(VideoRequest("p", "", "", "", many, "")).count("#"), 30)

    def test_a_token_is_renewed_between_its_first_day_and_its_end(self):
        now, day = int(time.time()), 24 * 3600
        cases = (
            (now - 2 * day, now + 5 * day, True),
            (now - 2 * day, now + 30 * day, False),
            (now - 100, now + 5 * day, False),
            (now - 70 * day, now - 1, False),
        )
        for obtained, expires, wanted in cases:
            login = Login("instagram", "t", obtained=obtained, expires=expires)
            self.assertEqual(self.uploader._wants_renewal(login), wanted)

    def test_a_token_that_is_handed_in_is_renewed_or_kept(self):
        now, day = int(time.time()), 24 * 3600
        text = Login("instagram", "old", obtained=now - 2 * day, expires=now + day).to_text()
        with self.serve(in_turn(as_reply({"access_token": "new", "expires_in": 60 * day}))):
            self.assertEqual(self.uploader.SetAccessToken(text), 1)
        self.assertEqual(self.uploader.login.access, "new")
        self.assertGreater(self.uploader.login.expires, now + 59 * day)
        with self.serve(in_turn(Reply(400))):
            self.assertEqual(self.uploader.SetAccessToken(text), 1)
        self.assertEqual(self.uploader.login.access, "old")

    def test_the_first_token_may_come_in_a_list(self):
        for first in ({"access_token": "s", "user_id": 1}, {"data": [{"access_token": "s", "user_id": "1"}]}):
            replies = in_turn(
                as_reply(first),
                as_reply({"access_token": "long", "expires_in": 100}),
                as_reply({"user_id": 17, "username": "ada"}),
            )
            with self.serve(replies), self.uploader.calling() as wire:
                login = self.uploader._exchange_code(wire, "c", "")
            self.assertEqual((login.access, login.user_id, login.user_name), ("long", "17", "ada"))

    def test_a_lost_upload_goes_on_where_the_service_is(self):
        def respond(request):
            if request.path.startswith("/instagramUpload"):
                offsets.append(request.headers["offset"])
                lost = {"debug_info": {"retriable": True, "message": "again"}}
                return as_reply(lost, 400) if len(offsets) == 1 else as_reply({"success": True})
            if "video_status" in request.path:
                return as_reply({"video_status": {"uploading_phase": {"bytes_transferred": 3000}}})
            return as_reply({"id": "c", "status_code": "FINISHED", "permalink": "https://reel"})

        offsets = []
        with self.serve(respond):
            self.assertEqual(self.upload().text, "https://reel")
        self.assertEqual(offsets, ["0", "3000"])

    def test_a_published_reel_without_an_address_is_no_failure(self):
        for trouble in (
            as_reply({"error": {"code": 100, "message": "no"}}, 400),
            as_reply({"error": {"code": 190}}, 400),
        ):
            replies = in_turn(
                as_reply({"id": "c"}),
                as_reply({"success": True}),
                as_reply({"status_code": "FINISHED"}),
                as_reply({"id": "reel-7"}),
                trouble,
            )
            self.uploader.set_login(Login("instagram", "token", **self.login))
            with self.serve(replies):
                end = self.upload()
            self.assertEqual((end.code, end.text), (FINISHED, "reel-7"))
            self.assertIn("uploaded, but without its address", self.uploader.GetLastError())

    def test_a_token_that_ends_before_the_video_is_sent_is_told(self):
        refusal = {"debug_info": {"retriable": False, "type": "NotAuthorizedError", "message": "unauthorized"}}
        with self.serve(in_turn(as_reply({"id": "c"}), as_reply(refusal, 401))):
            end = self.upload()
        self.assertEqual((end.code, end.text), (TOKEN_INVALID, "Instagram: unauthorized"))
        self.assertEqual(self.uploader.GetAccessToken(), "error")

    def test_containers_that_lead_nowhere_end_the_upload(self):
        for state in ({"status_code": "ERROR", "status": "bad codec"}, {"status_code": "EXPIRED"}, {}):
            replies = in_turn(as_reply({"id": "c"}), as_reply({"success": True}), as_reply(state))
            with self.serve(replies):
                end = self.upload()
                self.assertIn(state.get("status", "could not use the video"), end.text)


class Twitch(PlatformCase):
    module = twitch
    login = {"user_id": "ada"}

    def test_errors_are_told_apart(self):
        with self.assertRaisesRegex(Refused, "has withdrawn video uploads"):
            twitch.read(answer(410, {"message": "Gone"}))
        with self.assertRaises(TokenInvalid):
            twitch.read(answer(401, {"message": "invalid oauth token"}))
        with self.assertRaisesRegex(Refused, "invalid client"):
            twitch.read(answer(401, {"message": "invalid client"}), login_call=True)

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
        self.assertIn("channel_name=ada&title=" + "T" * 100 + "&description=&tag_list=a%2Cb&viewable=private", paths[0])
        self.assertEqual(
            paths[1:],
            ["/put?part=%d&upload_token=up-token" % n for n in (1, 2, 3)] + ["/put/complete?upload_token=up-token"],
        )
        self.assertEqual(sizes[1:4], [twitch.PART, twitch.PART, 5])

    def test_a_renewal_without_application_settings_is_no_renewal(self):
        self.uploader.SetAppKey("")
        with self.uploader.calling() as wire, self.assertRaisesRegex(UploadError, "key and secret"):
            self.uploader._renew(wire, Login("twitch", "t", refresh="r"))


if __name__ == "__main__":
    unittest.main()
