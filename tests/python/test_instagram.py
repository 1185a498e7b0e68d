"""What is special about Instagram: its containers, its tokens, its captions."""

import unittest

from pysocialnetwork import instagram
from pysocialnetwork.errors import UploadError
from pysocialnetwork.job import VideoRequest
from pysocialnetwork.login import Login

from platformcase import ERROR, FINISHED, TOKEN_INVALID, PlatformCase, as_reply
from support import Host, Reply, in_turn


class Instagram(PlatformCase):
    module = instagram
    login = {"user_id": "17"}

    def test_the_caption_holds_all_texts(self):
        request = VideoRequest("p", "Title", "Words", "", "one, two words, #three!", "")
        self.assertEqual(instagram.caption(request), "Title\n\nWords\n\n#one #twowords #three")
        self.assertEqual(instagram.caption(VideoRequest("p", "", "", "", "", "")), "")
        self.assertEqual(len(instagram.caption(VideoRequest("p", "x" * 9000, "", "", "", ""))), 2200)
        many = ",".join("t%d" % number for number in range(50))
        for words, tags in (("", 30), ("#a #b", 30), ("#" * 40, 40)):
            self.assertEqual(instagram.caption(VideoRequest("p", "", words, "", many, "")).count("#"), tags)

    def test_the_account_behind_a_page_is_the_users(self):
        account = {"instagram_business_account": {"id": "17", "username": "ada"}}
        other = {"instagram_business_account": {"id": "18", "username": "bo"}}
        tokens = (as_reply({"access_token": "short"}), as_reply({"access_token": "long", "expires_in": 100}))
        for pages in ([account], [{"id": "1"}, account], [account, other], ["x", {}, account]):
            host = Host()
            host.attach(self.uploader)
            with self.serve(in_turn(*tokens, as_reply({"data": pages}))) as server:
                with self.uploader.calling() as wire:
                    login = self.uploader._exchange_code(wire, "c", "")
                paths = [request.path.split("?")[0] for request in server.requests]
            self.assertEqual((login.access, login.user_id, login.user_name), ("long", "17", "ada"))
            self.assertEqual(paths, ["/instagramGraph/oauth/access_token"] * 2 + ["/instagramGraph/me/accounts"])
            self.assertEqual("2 accounts" in host.texts(), other in pages)

    def test_a_user_without_a_professional_account_is_told(self):
        tokens = (as_reply({"access_token": "short"}), as_reply({"access_token": "long", "expires_in": 100}))
        for content in ({}, {"data": []}, {"data": [{"id": "1"}]}, {"data": "x"}):
            with self.serve(in_turn(*tokens, as_reply(content))), self.uploader.calling() as wire:
                with self.assertRaisesRegex(UploadError, "connected to a professional account"):
                    self.uploader._exchange_code(wire, "c", "")

    def test_a_lost_upload_goes_on_where_the_service_is(self):
        def respond(request):
            if request.path.startswith("/instagramUpload"):
                offsets.append(request.headers["offset"])
                return waiting.pop(0)
            if "video_status" in request.path:
                return as_reply({"video_status": {"uploading_phase": {"bytes_transferred": 3000}}})
            return as_reply({"id": "c", "status_code": "FINISHED", "permalink": "https://reel"})

        # An answer that does not say that the video came is none.
        for lost in (as_reply({"debug_info": {"retriable": True, "message": "again"}}, 400), Reply(200, b"{")):
            offsets, waiting = [], [lost, as_reply({"success": True})]
            with self.serve(respond):
                self.assertEqual(self.upload().text, "https://reel")
            self.assertEqual(offsets, ["0", "3000"])

    def reels(self, **answers):
        """Answers each step with its replies in turn, and the last of them from then on."""
        usual = {
            "media": [as_reply({"id": "c"})],
            "upload": [as_reply({"success": True})],
            "status": [as_reply({"status_code": "FINISHED", "permalink": "https://reel"})],
            "publish": [as_reply({"id": "reel-7"})],
        }
        waiting = {**usual, **answers}

        def step(request):
            if request.path.startswith("/instagramUpload"):
                return "upload"
            if request.method == "GET":
                return "status"
            return "publish" if "media_publish" in request.path else "media"

        def respond(request):
            name = step(request)
            seen.append(name)
            replies = waiting[name]
            return replies.pop(0) if len(replies) > 1 else replies[0]

        seen = []
        server = self.serve(respond)
        server.seen = seen
        return server

    @staticmethod
    def lost(kind):
        return as_reply({"debug_info": {"retriable": False, "type": kind, "message": kind}}, 400)

    @staticmethod
    def refused(code, subcode):
        return as_reply({"error": {"code": code, "error_subcode": subcode, "message": "said"}}, 400)

    def test_a_part_at_the_wrong_place_is_asked_after(self):
        reached = {"uploading_phase": {"bytes_transferred": 2000}}
        replies = [as_reply({"video_status": reached}), as_reply({"status_code": "FINISHED"})]
        for kind in ("OffsetInvalidError", "PartialRequestError"):
            uploads = [self.lost(kind), as_reply({"success": True})]
            with self.reels(upload=uploads, status=list(replies)) as server:
                self.assertEqual(self.upload().code, FINISHED)
                parts = [r for r in server.requests if r.path.startswith("/instagramUpload")]
            self.assertEqual([part.headers["offset"] for part in parts], ["0", "2000"])
            self.assertEqual(len(parts[1].body), 3000)

    def test_a_service_that_does_not_tell_how_far_it_is_tells_the_state(self):
        refused = self.refused(100, None)
        for state, sent in (("FINISHED", ["0"]), ("IN_PROGRESS", ["0", "0"])):

            def respond(request, state=state):
                if request.path.startswith("/instagramUpload"):
                    offsets.append(request.headers["offset"])
                    return Reply(502) if len(offsets) == 1 else as_reply({"success": True})
                if "video_status" in request.path:
                    return refused
                code = "FINISHED" if len(offsets) == 2 else state
                return as_reply({"id": "c", "status_code": code, "permalink": "https://reel"})

            offsets = []
            with self.subTest(state), self.serve(respond):
                self.assertEqual(self.upload().text, "https://reel")
                self.assertEqual(offsets, sent)
        # Another refusal says nothing of the fields.
        for other in (Reply(403), self.refused(100, 33)):
            with self.reels(upload=[Reply(502)], status=[other]) as server:
                self.assertEqual(self.upload().code, ERROR)
                self.assertEqual(server.seen, ["media", "upload", "status"])

    def test_a_broken_container_is_replaced_once(self):
        expired = as_reply({"status_code": "EXPIRED", "status": "too late"})
        ready = as_reply({"status_code": "FINISHED"})
        done = as_reply({"success": True})
        for name, replies in (
            ("upload", [self.lost("ProcessingFailedError"), done]),
            ("status", [expired, ready]),
            ("publish", [self.refused(-1, 2207053), as_reply({"id": "reel-7"})]),
        ):
            with self.subTest(name), self.reels(**{name: list(replies)}) as server:
                self.assertEqual(self.upload().code, FINISHED)
                self.assertEqual(server.seen.count("media"), 2)
            with self.subTest(name), self.reels(**{name: replies[:1]}) as server:
                self.assertEqual(self.upload().code, ERROR)
                self.assertEqual(server.seen.count("media"), 2)

    def test_the_address_is_that_of_whoever_uploaded(self):
        states = [as_reply({"status_code": code}) for code in ("FINISHED", "PUBLISHED")]
        with self.reels(publish=[Reply(502)], status=[*states, as_reply({"data": []})]) as server:
            plain = server._answer

            def respond(request):
                if request.method == "GET" and "/17/media?" in request.path:
                    self.uploader.set_login(Login("instagram", "other", user_id="18", user_name="bo"))
                return plain(request)

            server._answer = respond
            self.uploader.set_login(Login("instagram", "token", user_id="17", user_name="ada"))
            self.assertEqual(self.upload().text, "https://www.instagram.com/ada")
            self.assertEqual(self.uploader.GetUserName(), "bo")

    def test_a_publication_whose_answer_is_lost_is_asked_after(self):
        published = as_reply({"status_code": "PUBLISHED"})
        ready = as_reply({"status_code": "FINISHED"})
        for trouble in (Reply(drop=0), Reply(200, b"<html>"), Reply(502), self.refused(24, 2207008)):
            with self.reels(publish=[trouble], status=[ready, published]) as server:
                self.uploader.set_login(Login("instagram", "token", user_id="17", user_name="ada"))
                end = self.upload()
                self.assertEqual((end.code, end.text), (FINISHED, "https://www.instagram.com/ada"))
                self.assertEqual(server.seen.count("publish"), 1)
            with self.reels(publish=[trouble, as_reply({"id": "reel-7"})]) as server:
                self.assertEqual(self.upload().text, "https://reel")
                self.assertEqual(server.seen.count("publish"), 2)
            with self.reels(publish=[trouble]) as server:
                self.assertEqual(self.upload().code, ERROR)
                self.assertLess(server.seen.count("publish"), 10)

    def test_a_reel_that_is_not_ready_yet_is_waited_for(self):
        states = [as_reply({"status_code": code}) for code in ("FINISHED", "IN_PROGRESS", "FINISHED")]
        publish = [self.refused(9007, 2207027), as_reply({"id": "reel-7"})]
        with self.reels(publish=publish, status=states) as server:
            self.assertEqual(self.upload().code, FINISHED)
            self.assertEqual(server.seen[-6:], ["status", "publish", "status", "status", "publish", "status"])

    def test_a_restricted_account_is_not_tried_again(self):
        with self.reels(publish=[self.refused(4, 2207051)]) as server:
            self.assertEqual(self.upload().text, "Instagram: said")
            self.assertEqual(server.seen.count("publish"), 1)

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
        for state, text in (
            ({"status_code": "ERROR", "status": "bad codec"}, "could not use the video: bad codec"),
            ({"status_code": "EXPIRED"}, "could not use the video: EXPIRED"),
            ({}, "does not tell the state of the video"),
        ):
            with self.reels(status=[as_reply(state)]):
                self.assertIn(text, self.upload().text)


if __name__ == "__main__":
    unittest.main()
