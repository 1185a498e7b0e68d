"""The base of the platforms: the library's protocol, logins, jobs and their one closing event."""

import threading
import time
import unittest
from unittest import mock

from pysocialnetwork import job as job_module, oauth2
from pysocialnetwork.connection import TimeLimits
from pysocialnetwork.errors import Refused, Stopped, TokenInvalid, Transient, UploadError
from pysocialnetwork.login import Login
from pysocialnetwork.account import Account
from pysocialnetwork.texts import same_place

import support
from support import LIMIT, Host, quick, wait_until

PROGRESS, FINISHED, ERROR, TOKEN_INVALID, DEBUG = 1, 2, 3, 4, 99
REDIRECT = "http://localhost/done"


class Probe(oauth2.OAuth2Uploader):
    """A platform whose steps the test gives."""

    platform = "probe"
    login_service = "vimeoLogin"
    scope = "all"
    uses_pkce = True

    def __init__(self):
        super().__init__()
        self.upload = lambda job, wire: "https://video"
        self.exchange = lambda code, verifier: Login("probe", "token-" + code, user_name="Zoë")
        self.renew = lambda login: None
        self.account = Account
        self.revoked = []

    def _upload(self, job, wire):
        return self.upload(job, wire)

    def _exchange_code(self, wire, code, verifier):
        return self.exchange(code, verifier)

    def _renew(self, wire, login):
        return self.renew(login)

    def _read_account(self, wire):
        return self.account()

    def _revoke(self, wire, login):
        self.revoked.append(login.access)


class UploaderCase(unittest.TestCase):
    def setUp(self):
        clean = support.environment()
        clean.start()
        self.addCleanup(clean.stop)
        self.host = Host()
        self.uploader = quick(self.host.attach(Probe()))
        self.uploader.SetAppKey("key")
        self.uploader.SetAppSecret("app-secret")
        self.uploader.SetRedirectURL(REDIRECT)

    def sign_in(self, **fields):
        self.uploader.set_login(Login(**{"platform": "probe", "access": "old-token", **fields}))

    def start(self, path="/x", **fields):
        values = {"title": "", "description": "", "privacy": "", "tags": "", "category": "", **fields}
        self.uploader.StartUpload(path, *values.values())

    def state(self):
        return self.uploader._pending.state


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
        wait_until(lambda: not uploader._job.is_running(), "the job's end")

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
            raise Refused("revoked", 400)

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
        with self.uploader._renewal, support.make_wire() as wire:
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
        self.assertEqual(self.uploader._agent(), "lumenfold media-transfer/1.0")


class Jobs(UploaderCase):
    def test_an_upload_ends_with_its_address(self):
        self.start()
        self.assertEqual(self.host.wait_for_end().text, "https://video")
        self.assertEqual([event.text for event in self.host.of(PROGRESS)], ["100"])
        self.assertEqual(self.uploader.GetLastError(), "")

    def test_start_returns_while_the_upload_runs(self):
        go = threading.Event()
        self.uploader.upload = lambda job, wire: go.wait(LIMIT) and "https://video"
        self.start()
        self.assertEqual(self.host.closing(), [])
        go.set()
        self.host.wait_for_end()

    def test_the_thumbnail_is_an_optional_seventh_argument(self):
        seen = []
        self.uploader.upload = lambda job, wire: seen.append(job.request) or "x"
        self.uploader.StartUpload("p", "t", "d", "pr", "ta", "c")
        self.host.wait_for_end(1)
        self.uploader.StartUpload("p", "t", "d", "pr", "ta", "c", "th")
        self.host.wait_for_end(2)
        self.assertEqual([request.thumbnail for request in seen], ["", "th"])
        self.assertEqual(seen[0].path + seen[0].title + seen[0].description, "ptd")
        self.assertEqual((seen[0].privacy, seen[0].tags, seen[0].category), ("pr", "ta", "c"))

    def test_progress_only_grows_and_keeps_the_hundred_for_the_end(self):
        def upload(job, wire):
            for position in (0, 5, 500, 400, 501, 999, 1000):
                job.progress(position, 1000)
            return "x"

        self.uploader.upload = upload
        self.start()
        self.host.wait_for_end()
        self.assertEqual([event.text for event in self.host.of(PROGRESS)], ["0", "50", "99", "100"])

    def test_each_failure_has_its_closing_event(self):
        cases = (
            (UploadError("the file is bad"), ERROR, "the file is bad"),
            (Transient("is busy"), ERROR, "is busy"),
            (TokenInvalid("expired"), TOKEN_INVALID, "expired"),
            (ZeroDivisionError("inner secret"), ERROR, "unexpected ZeroDivisionError at test_uploader:"),
        )
        for error, code, text in cases:

            def upload(job, wire, error=error):
                def call(login):
                    raise error

                return self.uploader.authorized(wire, call)

            host = Host()
            host.attach(self.uploader)
            self.uploader.upload = upload
            self.sign_in()
            self.start()
            end = host.wait_for_end()
            self.assertEqual((end.code, end.text[: len(text)]), (code, text))
            self.assertNotIn("inner secret", end.text)
            self.assertEqual(self.uploader.GetLastError(), end.text)
            self.assertEqual(len(host.closing()), 1)
            self.assertEqual(self.uploader.GetAccessToken() == "error", code == TOKEN_INVALID)

    def test_an_upload_without_a_login_tells_that_the_token_is_invalid(self):
        self.uploader.upload = lambda job, wire: self.uploader.authorized(wire, lambda login: "x")
        self.start()
        self.assertEqual(self.host.wait_for_end().code, TOKEN_INVALID)

    def test_a_stop_ends_the_upload_with_one_event(self):
        asked, done = threading.Event(), threading.Event()

        def serve(connection):
            connection.recv(65536)
            asked.set()
            done.wait(LIMIT)

        with support.raw_server(serve) as port:
            url = "http://127.0.0.1:%d/" % port
            self.uploader.upload = lambda job, wire: wire.run(lambda: wire.exchange("GET", url))
            self.start()
            self.assertTrue(asked.wait(LIMIT))
            self.uploader.StopUpload()
            self.uploader.StopUpload()
            end = self.host.wait_for_end()
            self.assertEqual((end.code, end.text), (ERROR, "User cancelled!"))
            wait_until(lambda: not self.uploader._job.is_running(), "the job's end")
            done.set()
        self.assertEqual(len(self.host.closing()), 1)

    def test_whatever_fails_after_a_stop_is_the_stop(self):
        def upload(job, wire):
            self.uploader.StopUpload()
            raise TokenInvalid("x")

        self.sign_in()
        self.uploader.upload = upload
        self.start()
        self.assertEqual(self.host.wait_for_end()[1:], (ERROR, "User cancelled!"))
        self.assertNotEqual(self.uploader.GetAccessToken(), "error")

    def test_a_stop_without_an_upload_does_nothing(self):
        self.uploader.StopUpload()
        self.assertEqual(self.host.events, [])

    def test_a_second_upload_beside_the_first_is_refused(self):
        go = threading.Event()
        self.uploader.upload = lambda job, wire: go.wait(LIMIT) and "https://video"
        self.start()
        self.start()
        self.assertEqual(self.host.wait_for_end(1)[1:], (ERROR, "an upload is running already"))
        go.set()
        self.assertEqual(self.host.wait_for_end(2).code, FINISHED)

    def test_a_stopped_upload_need_not_have_ended_before_the_next_begins(self):
        go = threading.Event()
        self.uploader.upload = lambda job, wire: go.wait(LIMIT) and wire.stop.check()
        self.start()
        self.uploader.StopUpload()
        self.uploader.upload = lambda job, wire: "https://second"
        self.start()
        self.assertEqual(self.host.wait_for_end(1)[1:], (FINISHED, "https://second"))
        go.set()
        self.assertEqual(self.host.wait_for_end(2)[1:], (ERROR, "User cancelled!"))

    def test_a_hundred_uploads_in_a_row_leave_nothing_behind(self):
        threads = threading.active_count()
        for number in range(1, 101):
            self.start()
            self.host.wait_for_end(number)
        wait_until(lambda: threading.active_count() <= threads, "the threads' end")
        self.assertEqual(len(self.host.of(FINISHED)), 100)

    def test_the_host_may_start_the_next_upload_when_it_hears_of_the_end(self):
        def on_event(event):
            if event.code == FINISHED and len(host.closing()) < 5:
                self.start()

        host = Host(on_event)
        host.attach(self.uploader)
        self.start()
        wait_until(lambda: len(host.closing()) >= 5, "five uploads")
        self.assertEqual(host.of(ERROR), [])

    def test_secrets_stay_out_of_every_text(self):
        self.sign_in(refresh="refresh-me", secret="token/secret=")

        def upload(job, wire):
            self.uploader._debug("old-token refresh-me")
            raise UploadError("echo: app-secret old-token refresh-me token/secret= token%2Fsecret%3D")

        self.uploader.upload = upload
        self.start()
        self.assertEqual(self.host.wait_for_end().text, "echo: *** *** *** *** ***")
        for secret in ("old-token", "refresh-me", "app-secret", "token/secret"):
            self.assertNotIn(secret, self.host.texts() + self.uploader.GetLastError())

    def test_a_step_after_the_upload_may_fail_but_not_be_stopped(self):
        def fail(error):
            raise error

        def upload(job, wire):
            self.uploader.afterwards("tags", lambda: fail(Refused("no", 400)))
            return "https://video"

        self.uploader.upload = upload
        self.start()
        self.assertEqual(self.host.wait_for_end().code, FINISHED)
        self.assertIn("the video is uploaded, but without its tags: no", self.uploader.GetLastError())
        # A second upload after a new login would make a second video.
        self.uploader.afterwards("tags", lambda: fail(TokenInvalid("ended")))
        self.assertIn("without its tags: ended", self.uploader.GetLastError())
        with self.assertRaises(Stopped):
            self.uploader.afterwards("tags", lambda: fail(Stopped()))

    def test_the_end_of_the_interpreter_stops_uploads(self):
        self.uploader.upload = lambda job, wire: wire.stop.wait(LIMIT)
        self.start()
        job_module._stop_all()
        self.assertEqual(self.host.wait_for_end().text, "User cancelled!")

    def test_without_a_thread_the_upload_fails_and_the_next_one_may_begin(self):
        with mock.patch("threading.Thread.start", side_effect=RuntimeError("can't start new thread")):
            self.start()
        self.assertEqual(self.host.wait_for_end()[1:], (ERROR, "cannot start a thread: can't start new thread"))
        self.start()
        self.assertEqual(self.host.wait_for_end(2).code, FINISHED)

    def test_upload_threads_do_not_hold_the_process(self):
        go = threading.Event()
        self.uploader.upload = lambda job, wire: go.wait(LIMIT) and "x"
        self.start()
        self.assertTrue(self.uploader._job._thread.daemon)
        go.set()
        self.host.wait_for_end()


if __name__ == "__main__":
    unittest.main()
