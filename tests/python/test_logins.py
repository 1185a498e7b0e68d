"""Logins of each platform, and what a login gives, against the sandbox's services."""

import unittest
from dataclasses import replace

from sandboxed import APP, PLATFORMS, ServicesCase, follow

TOKEN_INVALID = 4


class Logins(ServicesCase):
    def test_a_login_brings_a_token_that_serves_later(self):
        for platform in PLATFORMS:
            with self.subTest(platform):
                first = self.signed_in(platform)
                token = first.GetAccessToken()
                self.assertLess(len(token), 4096)
                self.assertIn("ada", first.GetUserName().lower())
                second = self.uploader(platform)
                self.assertEqual(second.SetAccessToken(token), 1, second.GetLastError())
                self.assertEqual(second.GetUserName(), first.GetUserName())
                end, host, content = self.upload(second, 5000)
                self.assert_finished(end, host, content)

    def test_two_objects_with_one_login_renew_it_once(self):
        for platform in ("twitch", "youtube"):
            login = replace(self.signed_in(platform).login, expires=1)
            for uploader in (self.uploader(platform), self.uploader(platform)):
                with self.subTest(platform):
                    uploader.set_login(login)
                    with uploader.calling() as wire:
                        uploader.authorized(wire, lambda now: uploader._confirm(wire, now))
                    self.assertNotEqual(uploader.login.access, login.access)

    def test_a_wrong_application_secret_is_told(self):
        for platform in PLATFORMS:
            with self.subTest(platform):
                uploader = self.uploader(platform, (APP[0], "wrong-secret", APP[2]))
                address = uploader.GetLoginURL()
                if address:
                    self.assertEqual(uploader.VerifyRedirectURL(follow(address)), 2)
                self.assertNotEqual(uploader.GetLastError(), "")
                self.assertNotIn("wrong-secret", uploader.GetLastError())
                self.assertEqual(uploader.GetAccessToken(), "error")

    def test_a_code_that_was_spent_is_refused(self):
        for platform in PLATFORMS:
            with self.subTest(platform):
                uploader = self.uploader(platform)
                address = follow(uploader.GetLoginURL())
                pending = uploader._pending.values
                self.assertEqual(uploader.VerifyRedirectURL(address), 0)
                uploader._pending.values = pending
                self.assertEqual(uploader.VerifyRedirectURL(address), 2)

    def test_categories_are_what_the_service_offers(self):
        expected = {"facebook": "MUSIC", "youtube": "Music", "vimeo": "Music"}
        for platform in PLATFORMS:
            with self.subTest(platform):
                categories = self.signed_in(platform).GetVideoCategories()
                if platform in expected:
                    self.assertTrue(categories.endswith("|"))
                    self.assertIn(expected[platform], categories.split("|"))
                else:
                    self.assertEqual(categories, "")

    def test_free_space_is_told_in_mib(self):
        self.assertEqual(self.signed_in("vimeo").GetLimitSpace(), 5120)
        self.assertEqual(self.signed_in("flickr").GetLimitSpace(), 512)
        self.assertEqual(self.signed_in("twitch").GetLimitSpace(), 0)

    def test_logging_out_ends_the_token_at_the_service(self):
        for platform in ("facebook", "youtube", "vimeo"):
            with self.subTest(platform):
                uploader = self.signed_in(platform)
                token = uploader.GetAccessToken()
                uploader.Logout()
                self.assertEqual(uploader.GetLastError(), "")
                self.assertEqual(uploader.GetAccessToken(), "error")
                again = self.uploader(platform)
                self.assertEqual(again.SetAccessToken(token), 1)
                end, _, _ = self.upload(again, 5000)
                self.assertEqual(end.code, TOKEN_INVALID, end.text)

    def test_twitch_ends_the_access_token_alone(self):
        uploader = self.signed_in("twitch")
        uploader.Logout()
        self.assertEqual(uploader.GetLastError(), "")
        self.assertEqual([entry["status"] for entry in self.sandbox.get("/sandbox/requests?route=twitchRevoke")], [200])
        self.assertEqual(uploader.GetAccessToken(), "error")

    def test_links_are_posted_where_the_service_takes_them(self):
        uploader = self.signed_in("facebook")
        uploader.ShareLink("Look", "https://example.com/v", "")
        self.assertEqual(uploader.GetLastError(), "")
        self.assertEqual(len(self.sandbox.get("/sandbox/requests?route=facebookFeed")), 1)
        for platform in PLATFORMS[1:]:
            other = self.signed_in(platform)
            other.ShareLink("Look", "https://example.com/v", "")
            self.assertIn("takes no links", other.GetLastError())

    def test_answers_that_lack_a_member_are_no_login(self):
        cases = (
            ("facebook", "facebookToken", "access_token"),
            ("facebook", "facebookProfile", "id"),
            ("youtube", "googleToken", "access_token"),
            ("vimeo", "vimeoToken", "access_token"),
            ("instagram", "instagramToken", "access_token"),
            ("instagram", "instagramAccounts", "data"),
            ("twitch", "twitchToken", "access_token"),
            ("twitch", "twitchUsers", "data"),
        )
        for platform, route, member in cases:
            with self.subTest(route):
                order = self.order(route, "removeMember", path=member)
                uploader = self.uploader(platform)
                self.assertEqual(uploader.VerifyRedirectURL(follow(uploader.GetLoginURL())), 2)
                self.assertEqual(self.delivered(order), 1)
                self.assertEqual(uploader.GetAccessToken(), "error")


if __name__ == "__main__":
    unittest.main()
