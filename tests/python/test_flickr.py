"""What is special about Flickr: its tickets, its errors, its way to sign in."""

import time
import unittest

from pysocialnetwork import flickr
from pysocialnetwork.errors import Refused, TokenInvalid, Transient
from pysocialnetwork.job import VideoRequest
from pysocialnetwork.login import Login
from pysocialnetwork.retry import Looks

from platformcase import FINISHED, PlatformCase, answer, as_reply
import support
from support import Reply, in_turn


class Flickr(PlatformCase):
    module = flickr
    login = {"secret": "token-secret", "user_id": "1@N01"}

    listed = as_reply({"stat": "ok", "photos": {"photo": []}})
    ticket = Reply(200, b'<?xml version="1.0"?><rsp stat="ok"><ticketid>9-1</ticketid></rsp>')

    @staticmethod
    def state(complete, photo=None, name="9-1"):
        entry = {"id": name, "complete": complete}
        return as_reply({"stat": "ok", "uploader": {"ticket": [{**entry, **({"photoid": photo} if photo else {})}]}})

    def test_the_ticket_is_looked_at_until_the_video_is_there(self):
        with self.serve(in_turn(self.listed, self.ticket, self.state(0), self.state(0), self.state(1, "77"))):
            self.assertEqual(self.upload().text, "https://www.flickr.com/photos/1@N01/77")

    def test_the_address_is_that_of_whoever_uploaded(self):
        def look(request):
            self.uploader.set_login(Login("flickr", "other", secret="s", user_id="2@N02"))
            return self.state(1, "77")

        replies = [lambda request: self.listed, lambda request: self.ticket, look]
        with self.serve(lambda request: replies.pop(0)(request)):
            self.assertEqual(self.upload().text, "https://www.flickr.com/photos/1@N01/77")

    def test_tickets_that_lead_nowhere_end_the_upload(self):
        with self.serve(in_turn(self.listed, self.ticket, self.state(2))):
            self.assertEqual(self.upload().text, "Flickr could not make a video of the file")
        for reply in (
            self.state(1),
            self.state(1, "7", "other"),
            as_reply({"stat": "ok", "uploader": {"ticket": "x"}}),
        ):
            with self.serve(in_turn(self.listed, self.ticket, reply)):
                self.assertIn("does not tell whether it made a video of the file; whether", self.upload().text)
        self.uploader.looks = Looks(0.0, 0.0, 0.0)
        with self.serve(in_turn(self.listed, self.ticket, self.state(0))):
            self.assertIn("not made a video of the file in time", self.upload().text)

    def test_answers_to_the_upload_are_told_apart(self):
        cases = (
            (b'<rsp stat="fail"><err code="98" msg="Invalid auth token"/></rsp>', TokenInvalid),
            (b'<rsp stat="fail"><err code="105" msg="Down"/></rsp>', Transient),
            (b'<rsp stat="fail"><err code="5" msg="Filetype"/></rsp>', Refused),
            (b'<rsp stat="ok"></rsp>', Transient),
            (b"nonsense", Transient),
            (b'<rsp stat="fail"><err code="9" msg="Twin" duplicate_photo_id="x"/></rsp>', Refused),
            (b'<!DOCTYPE x [<!ENTITY a "b">]><rsp stat="ok"><ticketid>&a;</ticketid></rsp>', Refused),
        )
        for body, kind in cases:
            with self.subTest(body), self.assertRaises(kind):
                flickr.ticket_of(answer(200, body))

    def test_a_service_that_says_it_did_nothing_is_sent_the_video_again(self):
        for code in ("105", "106"):
            down = Reply(200, '<rsp stat="fail"><err code="%s" msg="Down"/></rsp>' % code)
            with self.serve(in_turn(self.listed, down, self.ticket, self.state(1, "9"))) as server:
                self.assertEqual(self.upload().code, FINISHED)
                self.assertEqual(len(server.requests), 4)

    @staticmethod
    def photo(name, posted, title="T", media="video"):
        return {"id": name, "dateupload": str(int(posted)), "title": title, "media": media}

    def test_only_a_new_video_with_the_title_is_what_was_sent(self):
        now = time.time()
        wanted = self.photo("77", now)
        others = [
            self.photo("1", now - 3600),
            self.photo("2", now, title="Other"),
            self.photo("3", now, media="photo"),
            {"id": "4"},
            {**wanted, "id": "5", "dateupload": "soon"},
            {**wanted, "id": "6", "dateupload": "9" * 30},
            "7",
        ]
        known = as_reply({"stat": "ok", "photos": {"photo": [self.photo("8", now)]}})
        found = as_reply({"stat": "ok", "photos": {"photo": [self.photo("8", now), *others, wanted]}})
        with self.serve(in_turn(known, Reply(500), found)):
            self.assertEqual(self.upload().text, "https://www.flickr.com/photos/1@N01/77")

    def test_a_second_try_has_the_service_look_for_a_twin(self):
        twin = Reply(200, b'<rsp stat="fail"><err code="9" msg="Twin" duplicate_photo_id="55"/></rsp>')
        with self.serve(in_turn(self.listed, Reply(500), self.listed, self.listed, twin)) as server:
            self.uploader.doubts = Looks(0.0, 0.0, 0.0)
            server_answer = server._answer
            server._answer = lambda request: twin if b"dedup_check" in request.body else server_answer(request)
            self.assertEqual(self.upload().text, "https://www.flickr.com/photos/1@N01/55")
            posts = [request.body for request in server.requests if request.method == "POST"]
        self.assertEqual([b"dedup_check" in body for body in posts], [False, True])

    def test_a_twin_from_before_does_not_tell_what_came_of_the_first_request(self):
        twin = Reply(200, b'<rsp stat="fail"><err code="9" msg="Twin" duplicate_photo_id="55"/></rsp>')
        old = as_reply({"stat": "ok", "photos": {"photo": [self.photo("55", 1)]}})
        self.uploader.doubts = Looks(0.0, 0.0, 0.0)
        for again in (twin, Reply(200, b'<rsp stat="fail"><err code="6" msg="Full"/></rsp>')):
            posts = []

            def respond(request):
                if request.method == "POST":
                    posts.append(b"dedup_check" in request.body)
                    # The first one was taken, and is not listed yet.
                    return again if posts[-1] else Reply(502)
                return old

            with self.subTest(again.body), self.serve(respond), support.video_file(5000) as (path, _):
                host = support.Host()
                host.attach(self.uploader)
                for number in (1, 2):
                    # The next start asks again, and sends nothing without the order either.
                    self.uploader.StartUpload(path, "T", "", "", "", "")
                    self.assertIn("whether the video is out", host.wait_for_end(number).text)
            self.assertEqual(posts, [False, True, True])

    def test_a_twin_that_may_be_older_than_the_list_is_ours_where_it_is_listed_now(self):
        twin = Reply(200, b'<rsp stat="fail"><err code="9" msg="Twin" duplicate_photo_id="55"/></rsp>')
        full = [self.photo(str(number), 1) for number in range(100, 100 + flickr.MOST_LISTED)]
        refused = as_reply({"stat": "fail", "code": 1, "message": "no"})
        now, long_ago = (
            as_reply({"stat": "ok", "photos": {"photo": [self.photo("55", posted, media="photo"), *full[1:]]}})
            for posted in (time.time(), 1)
        )
        before = as_reply({"stat": "ok", "photos": {"photo": full}})
        self.uploader.doubts = Looks(0.0, 0.0, 0.0)
        for first in (before, refused):
            for last, text in (
                (now, "https://www.flickr.com/photos/1@N01/55"),
                (before, "whether the video is"),
                (long_ago, "whether the video is"),
            ):
                posts = []

                def respond(request):
                    if request.method == "POST":
                        posts.append(request.body)
                        return Reply(500) if len(posts) == 1 else twin
                    return before if posts and len(posts) < 2 else last if posts else first

                with self.subTest(text), self.serve(respond):
                    self.assertIn(text, self.upload().text)
                self.assertEqual(len(posts), 2)

    def test_a_listing_that_is_refused_does_not_stop_an_upload(self):
        refused = as_reply({"stat": "fail", "code": 1, "message": "no"})
        with self.serve(in_turn(refused, self.ticket, self.state(1, "77"))):
            self.assertEqual(self.upload().code, FINISHED)

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


if __name__ == "__main__":
    unittest.main()
