"""What is special about Instagram: its containers, its tokens, its captions."""

import time
import unittest

from pysocialnetwork import instagram
from pysocialnetwork.job import VideoRequest
from pysocialnetwork.login import Login

from platformcase import FINISHED, TOKEN_INVALID, PlatformCase, as_reply
from support import Reply, in_turn


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


if __name__ == "__main__":
    unittest.main()
