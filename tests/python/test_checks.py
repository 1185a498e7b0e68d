"""Whether a stored login is still good, as each platform's service says."""

import time
import unittest
from dataclasses import replace

import support
from pysocialnetwork.login import Login
from sandboxed import PLATFORMS, ServicesCase, SandboxProcess

REFRESHING = ("youtube", "twitch")
# What the check asks.
ROUTES = {
    "facebook": "facebookProfile",
    "youtube": "youtubeChannels",
    "vimeo": "vimeoProfile",
    "flickr": "flickrMethods",
    "instagram": "instagramStatus",
    "twitch": "twitchUsers",
}


class Checks(ServicesCase):
    def check(self, platform, token, how="service"):
        """The number of SetAccessToken, and the text that the host reads behind it."""
        with support.environment(MEDIATRANSFER_SERVICES=self.sandbox.services, MEDIATRANSFER_LOGIN_CHECK=how):
            self.checked = self.uploader(platform)
            return self.checked.SetAccessToken(token), self.checked.GetLastError()

    def asked(self, platform):
        return len(self.sandbox.get("/sandbox/requests?route=" + ROUTES[platform]))

    def test_the_service_says_that_it_is_good(self):
        for platform in PLATFORMS:
            with self.subTest(platform):
                token = self.signed_in(platform).GetAccessToken()
                before = self.asked(platform)
                self.assertEqual(self.check(platform, token), (1, "good"))
                self.assertEqual(self.asked(platform), before + 1)

    def test_the_service_says_that_it_is_over(self):
        for platform in PLATFORMS:
            with self.subTest(platform):
                uploader = self.signed_in(platform)
                token = replace(uploader.login, refresh="").to_text()
                self.sandbox.post("/sandbox/tokens/expire")
                number, text = self.check(platform, token)
                self.assertEqual(number, 0, text)
                self.assertNotIn("unreachable", text)
                self.assertTrue(text)
                self.assertEqual(self.checked.GetAccessToken(), "error")

    def test_a_token_that_can_be_renewed_is_and_is_good(self):
        for platform in REFRESHING:
            with self.subTest(platform):
                token = self.signed_in(platform).GetAccessToken()
                self.sandbox.post("/sandbox/tokens/expire")
                self.assertEqual(self.check(platform, token), (1, "good"))
                self.assertNotEqual(self.checked.GetAccessToken(), token)

    def test_a_service_that_is_not_there(self):
        for platform in PLATFORMS:
            with self.subTest(platform):
                self.sandbox.post("/sandbox/faults/clear")
                token = self.signed_in(platform).GetAccessToken()
                order = self.order(ROUTES[platform], "closeAtOnce", times=0)
                number, text = self.check(platform, token)
                self.assertEqual(number, 1)
                self.assertTrue(text.startswith("unreachable: "), text)
                delivered = self.delivered(order)
                self.assertGreater(delivered, 1, "a broken connection is tried again")
                self.assertEqual(self.checked.GetAccessToken(), token)
                self.checked.GetVideoCategories()
                self.checked.GetLimitSpace()
                self.assertEqual(self.delivered(order), delivered, "the account was asked for")

    def test_a_refusal_of_another_kind_decides_nothing(self):
        for platform, text in (("vimeo", "{}"), ("twitch", "{}"), ("youtube", "{}")):
            with self.subTest(platform):
                token = self.signed_in(platform).GetAccessToken()
                self.order(ROUTES[platform], "status", code=403, text=text)
                number, said = self.check(platform, token)
                self.assertEqual(number, 1)
                self.assertTrue(said.startswith("undecided: "), said)

    def test_a_renewal_that_is_refused_decides_nothing(self):
        token = self.signed_in("twitch").GetAccessToken()
        stale = replace(Login.from_text(token, "twitch"), expires=int(time.time()) - 5).to_text()
        order = self.order("twitchToken", "status", code=403, text="{}")
        self.assertEqual(self.check("twitch", stale), (1, "undecided: Twitch: status 403"))
        self.assertEqual((self.delivered(order), self.checked.GetAccessToken()), (1, stale))

    def test_a_renewal_that_went_before_is_kept_when_the_rest_fails(self):
        token = self.signed_in("twitch").GetAccessToken()
        stale = replace(Login.from_text(token, "twitch"), expires=int(time.time()) - 5).to_text()
        self.order("twitchUsers", "closeAtOnce", times=0)
        number, text = self.check("twitch", stale)
        self.assertEqual((number, text[:13]), (1, "unreachable: "))
        self.assertFalse(Login.from_text(self.checked.GetAccessToken(), "twitch").has_expired())

    def test_looking_at_the_stored_login_asks_nobody(self):
        for platform in PLATFORMS:
            with self.subTest(platform):
                login = self.signed_in(platform).login
                before = len(self.sandbox.get("/sandbox/requests"))
                self.assertEqual(self.check(platform, login.to_text(), "stored"), (1, "not asked"))
                over = replace(login, expires=int(time.time()) - 5, refresh="").to_text()
                self.assertEqual(self.check(platform, over, "stored"), (0, "the login has expired"))
                renewable = replace(login, expires=int(time.time()) - 5, refresh="r").to_text()
                self.assertEqual(self.check(platform, renewable, "stored"), (1, "not asked"))
                self.checked.GetVideoCategories()
                self.assertEqual(len(self.sandbox.get("/sandbox/requests")), before + 1, "only the question before")

    def test_without_the_question_nothing_is_asked(self):
        token = self.signed_in("vimeo").GetAccessToken()
        before = self.asked("vimeo")
        self.assertEqual(self.check("vimeo", token, ""), (1, ""))
        self.assertEqual(self.asked("vimeo"), before)


class NobodyThere(ServicesCase):
    def test_a_dead_server_is_unreachable(self):
        own = SandboxProcess()
        own.stop()
        with support.environment(MEDIATRANSFER_LOGIN_CHECK="service"):
            uploader = self.uploader("vimeo")
            # The table of addresses has gone with the server.
            uploader.address = lambda key: own.url + "/vimeo"
            self.assertEqual(uploader.SetAccessToken(Login("vimeo", "token").to_text()), 1)
            self.assertTrue(uploader.GetLastError().startswith("unreachable: "), uploader.GetLastError())


if __name__ == "__main__":
    unittest.main()
