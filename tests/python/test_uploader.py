"""The base of the platforms: the library's protocol, logins and what is known of the account."""

import threading
import time
import unittest

from pysocialnetwork.connection import TimeLimits
from pysocialnetwork.errors import TokenInvalid, Transient, UploadError
from pysocialnetwork.login import Login
from pysocialnetwork.account import Account
from pysocialnetwork.texts import same_place
from pysocialnetwork.version import VERSION

import support
from probe import REDIRECT, Probe, UploaderCase
from support import LIMIT, Host, wait_until

FINISHED = 2


class Callback(UploaderCase):
    def test_events_reach_the_host_with_its_user_object(self):
        for user in (0x7FFFFFFFFFFFFFFF, -5, 0):
            host = Host()
            host.attach(self.uploader, user)
            self.uploader._report(FINISHED, "Zoë\0x")
            self.assertEqual(host.events, [(user, FINISHED, "Zoë x")])

    def test_a_capsule_of_another_name_is_refused(self):
        with self.assertRaises(ValueError):
            self.uploader.SetCallback(self.host.capsule(b"Other"))

    def test_without_a_callback_nothing_is_told_and_nothing_fails(self):
        uploader = Probe()
        uploader.StartUpload("/x", "", "", "", "", "")
        wait_until(lambda: not uploader._slot.job.is_running(), "the job's end")

    def test_the_host_may_call_back_into_the_uploader(self):
        def on_event(event):
            if event.code == FINISHED:
                self.uploader.StopUpload()
                self.uploader.GetLastError()

        host = Host(on_event)
        host.attach(self.uploader)
        self.start()
        host.wait_for_end()


class Signing(UploaderCase):
    def redirect(self, **query):
        return REDIRECT + "?" + "&".join("%s=%s" % pair for pair in query.items())

    def test_the_login_address_has_state_and_challenge_of_its_own(self):
        first, second = self.uploader.GetLoginURL(), self.uploader.GetLoginURL()
        for url in (first, second):
            self.assertIn("client_id=key&redirect_uri=http%3A%2F%2Flocalhost%2Fdone&response_type=code&scope=all", url)
            self.assertIn("code_challenge_method=S256", url)
            self.assertNotIn("app-secret", url)
        self.assertNotEqual(first, second)

    def test_without_settings_there_is_no_login_address(self):
        for name, message in (
            ("app_key", "key and secret"),
            ("app_secret", "key and secret"),
            ("redirect_url", "redirect address"),
        ):
            kept = getattr(self.uploader, name)
            setattr(self.uploader, name, "")
            self.assertEqual(self.uploader.GetLoginURL(), "")
            self.assertIn(message, self.uploader.GetLastError())
            setattr(self.uploader, name, kept)

    def test_a_table_of_services_that_cannot_be_used_is_told(self):
        with support.environment(MEDIATRANSFER_SERVICES="/nowhere.json"):
            self.assertEqual(self.uploader.GetLoginURL(), "")
            self.assertIn("cannot read the service addresses", self.uploader.GetLastError())

    def test_the_right_redirect_signs_in(self):
        self.uploader.GetLoginURL()
        self.assertEqual(self.uploader.VerifyRedirectURL(self.redirect(code="c0de", state=self.state()) + "#_"), 0)
        self.assertEqual(self.uploader.GetLastError(), "")
        self.assertEqual(self.uploader.GetUserName(), "Zoë")
        self.assertTrue(self.uploader.GetAccessToken().startswith("mt1."))

    def test_the_verifier_belongs_to_the_challenge(self):
        seen = []
        self.uploader.exchange = lambda code, verifier: seen.append(verifier) or Login("probe", "t")
        url = self.uploader.GetLoginURL()
        self.uploader.VerifyRedirectURL(self.redirect(code="c0de", state=self.state()))
        digest = __import__("hashlib").sha256(seen[0].encode()).digest()
        challenge = __import__("base64").urlsafe_b64encode(digest).decode().rstrip("=")
        self.assertIn("code_challenge=%s&" % challenge, url)
        self.assertGreaterEqual(len(seen[0]), 43)

    def test_other_addresses_on_the_way_are_not_usable_yet(self):
        self.uploader.GetLoginURL()
        good = "?code=c&state=" + self.state()
        for url in (
            "",
            "https://service/login",
            "http://localhost/done2" + good,
            "https://localhost/done" + good,
            "http://localhost.evil/done" + good,
            "http://localhost:81/done" + good,
            REDIRECT,
            "http://[x/" + good,
            REDIRECT + "?code=a&code=b&state=x",
        ):
            with self.subTest(url):
                self.assertEqual(self.uploader.VerifyRedirectURL(url), 1)
                self.assertNotEqual(self.uploader.GetLastError(), "")
        self.assertEqual(self.uploader.VerifyRedirectURL(REDIRECT + good), 0)

    def test_a_foreign_state_fails_and_leaves_the_login_open(self):
        self.assertEqual(self.uploader.VerifyRedirectURL(self.redirect(code="c", state="s")), 2)
        self.assertIn("no login has been begun", self.uploader.GetLastError())
        self.uploader.GetLoginURL()
        for query in (
            {"code": "c"},
            {"code": "c", "state": "other"},
            {"code": "c", "state": "é"},
            {"error": "x", "state": "y"},
        ):
            self.assertEqual(self.uploader.VerifyRedirectURL(self.redirect(**query)), 2)
            self.assertIn("belongs to another login", self.uploader.GetLastError())
        self.assertEqual(self.uploader.VerifyRedirectURL(self.redirect(code="c", state=self.state())), 0)

    def test_an_address_is_good_once(self):
        self.uploader.GetLoginURL()
        url = self.redirect(code="c", state=self.state())
        self.assertEqual([self.uploader.VerifyRedirectURL(url) for _ in range(2)], [0, 2])

    def test_a_refused_consent_is_told(self):
        self.uploader.GetLoginURL()
        self.assertEqual(self.uploader.VerifyRedirectURL(self.redirect(error="access_denied", state=self.state())), 2)
        self.assertEqual(self.uploader.GetLastError(), "the login was refused: access_denied")
        self.assertEqual(self.uploader.GetAccessToken(), "error")

    def test_no_exception_passes_for_a_success(self):
        for error in (UploadError("service said no"), KeyError("x"), RuntimeError("secret stuff"), RecursionError()):

            def fail(*unused, error=error):
                raise error

            self.uploader.exchange = self.uploader.renew = fail
            self.uploader.GetLoginURL()
            self.assertEqual(self.uploader.VerifyRedirectURL(self.redirect(code="c", state=self.state())), 2)
            self.assertNotIn("stuff", self.uploader.GetLastError())
            expired = Login("probe", "t", refresh="r", expires=1).to_text()
            self.assertEqual(self.uploader.SetAccessToken(expired), 0)
        self.assertEqual(self.uploader.SetAccessToken("x"), 0)
        self.assertIn("damaged", self.uploader.GetLastError())

    def test_redirect_addresses_are_compared_by_their_place(self):
        self.assertTrue(same_place("HTTP://LocalHost/done?x#y", REDIRECT))
        self.assertTrue(same_place("http://h?code=1", "http://h/"))
        self.assertFalse(same_place("http://h/", ""))


class Tokens(UploaderCase):
    def test_a_token_goes_out_and_comes_back(self):
        self.sign_in(user_name="N" * 200, refresh="r")
        text = self.uploader.GetAccessToken()
        other = Probe()
        self.assertEqual(other.SetAccessToken(text), 1)
        self.assertEqual(other.GetLastError(), "")
        self.assertEqual(other.GetAccessToken(), text)
        self.assertEqual(other.GetUserName(), "N" * 99)

    def test_without_a_login_the_token_is_the_word_error(self):
        self.assertEqual(self.uploader.GetAccessToken(), "error")
        self.assertEqual(self.uploader.GetUserName(), "")
        self.sign_in(expires=1)
        self.assertEqual(self.uploader.GetAccessToken(), "error")
        self.assertIn("expired", self.uploader.GetLastError())

    def test_an_expired_token_is_renewed_when_it_is_handed_in(self):
        self.uploader.renew = lambda login: Login("probe", "new-token", refresh="r")
        self.assertEqual(self.uploader.SetAccessToken(Login("probe", "t", refresh="r", expires=1).to_text()), 1)
        self.assertEqual(self.uploader.login.access, "new-token")

    def test_an_expired_token_that_cannot_be_renewed_is_refused(self):
        def refuse(login):
            raise TokenInvalid("revoked; sign in again")

        text = Login("probe", "t", refresh="r", expires=1).to_text()
        self.uploader.renew = refuse
        self.assertEqual(self.uploader.SetAccessToken(text), 0)
        self.assertIn("sign in again", self.uploader.GetLastError())
        self.assertEqual(self.uploader.GetAccessToken(), "error")

    def test_a_token_that_the_service_rejects_is_renewed_once(self):
        self.sign_in(refresh="r")
        self.uploader.renew = lambda login: Login("probe", "new-token")
        used = []

        def call(login):
            used.append(login.access)
            if login.access == "old-token":
                raise TokenInvalid("no")
            return "done"

        with support.make_wire() as wire:
            self.assertEqual(self.uploader.authorized(wire, call), "done")
            with self.assertRaises(TokenInvalid):
                self.uploader.authorized(wire, lambda login: call(Login("probe", "old-token")))
        self.assertEqual(used[:2], ["old-token", "new-token"])

    def test_two_threads_renew_a_token_only_once(self):
        self.sign_in(refresh="r", expires=1)
        renewals = []

        def renew(login):
            renewals.append(login.access)
            time.sleep(0.05)
            return Login("probe", "new-token", refresh="r2")

        self.uploader.renew = renew

        def use():
            with support.make_wire() as wire:
                self.uploader.authorized(wire, lambda login: None)

        threads = [threading.Thread(target=use) for _ in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join(LIMIT)
        self.assertEqual(renewals, ["old-token"])

    def test_a_login_that_ends_soon_is_used_where_it_cannot_be_renewed(self):
        self.sign_in(expires=int(time.time()) + 60)
        with support.make_wire() as wire:
            self.assertEqual(self.uploader.authorized(wire, lambda login: login.access), "old-token")
            self.sign_in(expires=int(time.time()) - 1)
            with self.assertRaisesRegex(TokenInvalid, "has expired; sign in again"):
                self.uploader.authorized(wire, lambda login: login.access)

    def test_a_call_does_not_wait_for_ever_for_anothers_renewal(self):
        self.sign_in(expires=1)
        self.uploader.call_limits = TimeLimits(answer=0.05)
        with self.uploader._renewal.lock, support.make_wire() as wire:
            with self.assertRaisesRegex(UploadError, "is being renewed"):
                self.uploader.authorized(wire, lambda login: None)

    def test_a_renewal_does_not_bring_back_who_has_logged_out(self):
        self.sign_in(refresh="r")
        self.uploader.renew = lambda login: Login("probe", "new-token")

        def call(login):
            self.uploader.Logout()
            raise TokenInvalid("revoked")

        with support.make_wire() as wire, self.assertRaises(TokenInvalid):
            self.uploader.authorized(wire, call)
        self.assertIsNone(self.uploader.login)

    def test_logging_out_revokes_and_forgets(self):
        self.sign_in()
        self.uploader.Logout()
        self.assertEqual(self.uploader.revoked, ["old-token"])
        self.assertEqual(self.uploader.GetAccessToken(), "error")
        self.uploader.Logout()
        self.assertEqual(len(self.uploader.revoked), 1)


class AccountFacts(UploaderCase):
    def test_what_the_service_grants_is_asked_once(self):
        asked = []
        self.uploader.account = lambda: asked.append(1) or Account(False, True, 2**40, ("A", "B"))
        self.sign_in()
        self.assertEqual(self.uploader.GetVideoCategories(), "A|B|")
        self.assertEqual((self.uploader.GetVideoHD(), self.uploader.GetVideoSD()), (0, 1))
        self.assertEqual(self.uploader.GetLimitSpace(), 2**31 - 1)
        self.assertEqual(len(asked), 1)

    def test_a_service_that_does_not_answer_is_not_asked_for_each_number(self):
        asked = []

        def fail():
            asked.append(1)
            raise Transient("down")

        self.uploader.account = fail
        self.sign_in()
        self.assertEqual(self.uploader.GetVideoCategories(), "")
        self.assertEqual(
            (self.uploader.GetVideoHD(), self.uploader.GetVideoSD(), self.uploader.GetLimitSpace()), (1, 1, 0)
        )
        self.assertEqual(len(asked), 1)

    def test_what_was_asked_about_one_user_is_not_kept_for_the_next(self):
        def another_signs_in():
            if self.uploader.login.user_id == "1":
                self.sign_in(user_id="2")
                return Account(categories=("of the first",))
            return Account(categories=("of the second",))

        def fails_and_another_signs_in():
            another_signs_in()
            raise Transient("down")

        for ask in (another_signs_in, fails_and_another_signs_in):
            self.uploader.account = ask
            self.sign_in(user_id="1")
            self.uploader.GetVideoCategories()
            self.uploader.account = another_signs_in
            self.assertEqual(self.uploader.GetVideoCategories(), "of the second|")

    def test_a_login_that_is_renewed_meanwhile_is_the_same_users(self):
        asked = []

        def renewed():
            asked.append(1)
            self.sign_in(access="new-token", user_id="1")
            return Account(categories=("A",))

        self.uploader.account = renewed
        self.sign_in(user_id="1")
        for _ in range(2):
            self.assertEqual(self.uploader.GetVideoCategories(), "A|")
        self.assertEqual(len(asked), 1)

    def test_texts_fit_into_the_hosts_fields(self):
        self.uploader.SetAppKey("k" * 300)
        self.uploader.SetAppSecret("é" * 100)
        self.assertEqual(len(self.uploader.GetAppKey().encode()), 127)
        self.assertEqual(self.uploader.GetAppSecret(), "é" * 63)

    def test_a_users_name_of_any_kind_leaves_the_token_usable(self):
        for name, told in (("n" * 9000, "n" * 99), ("half \ud83d", "half ?")):
            self.sign_in(user_name=name)
            self.assertEqual(self.uploader.GetUserName(), told)
            token = self.uploader.GetAccessToken()
            self.assertNotEqual(token, "error")
            self.assertEqual(self.uploader.SetAccessToken(token), 1)

    def test_a_users_number_of_any_kind_leaves_the_token_usable(self):
        for number in ("7" * 9000, "half \ud83d"):
            self.sign_in(user_id=number)
            token = self.uploader.GetAccessToken()
            self.assertNotEqual(token, "error")
            self.assertEqual(self.uploader.SetAccessToken(token), 1)

    def test_a_platform_without_links_says_so(self):
        self.uploader.ShareLink("message", "http://x", "")
        self.assertEqual(self.uploader.GetLastError(), "probe takes no links")

    def test_a_null_of_the_hosts_is_an_empty_text(self):
        self.uploader.GetLoginURL()
        for call, result in (
            (lambda: self.uploader.VerifyRedirectURL(None), 1),
            (lambda: self.uploader.SetAccessToken(None), 0),
            (lambda: self.uploader.ShareLink(None, None, ""), None),
            (lambda: self.uploader.SetBrand(None), None),
            (lambda: self.uploader.SetAppKey(None), None),
            (lambda: self.uploader.SetAppSecret(None), None),
            (lambda: self.uploader.SetRedirectURL(None), None),
        ):
            self.assertEqual(call(), result)
        self.assertEqual(
            (self.uploader.GetAppKey(), self.uploader.GetAppSecret(), self.uploader.redirect_url), ("", "", "")
        )

    def test_a_thumbnail_that_cannot_be_read_is_noticed_first(self):
        with self.assertRaisesRegex(UploadError, "cannot open the file /nowhere.png"):
            self.uploader.check_thumbnail("/nowhere.png")
        self.uploader.check_thumbnail("")

    def test_the_brand_is_named_to_the_service(self):
        self.uploader.SetBrand("lumen\r\nfold")
        self.assertEqual(self.uploader._agent(), "lumenfold media-transfer/" + VERSION)


if __name__ == "__main__":
    unittest.main()
