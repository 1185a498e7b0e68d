"""The consent page in a real browser, and what its buttons do to a login."""

import unittest

from harness import HostTest, wait_until
from webdriver import Browser


class Consent(HostTest):
    def setUp(self):
        super().setUp()
        self.browser = Browser(self.folder, self.env)
        self.addCleanup(self.browser.close)

    def start_login(self, *options):
        running = self.start_program(
            "--sandbox", "--consent", "ask", "--json", "login", "youtube", "--no-browser", *options
        )
        self.browser.open(running.wait_for_event("login_url")["url"])
        return running

    def test_allow_signs_in(self):
        running = self.start_login()
        self.assertIn("YouTube", self.browser.text())
        self.assertIn("/auth/youtube.upload", self.browser.text())
        self.browser.click("button[value=allow]")
        wait_until(lambda: "Access allowed" in self.browser.text(), "the page that says so")
        result = running.end()
        self.assert_ends(result, 0)
        self.assertTrue(result.named("login_done")[0]["account"])
        self.assertTrue(result.named("callback_url")[0]["url"])

    def test_the_chosen_person_signs_in(self):
        running = self.start_login()
        self.browser.click("label:nth-of-type(2) input")
        self.browser.click("button[value=allow]")
        login = running.end().named("login_done")[0]
        first = self.run_program("--sandbox", "--cache-dir", self.folder / "other", "--json", "login", "youtube")
        self.assertNotEqual(login["account_uid"], first.named("login_done")[0]["account_uid"])

    def test_deny_ends_at_the_time_limit(self):
        running = self.start_login("--timeout", "20")  # time enough for a browser on a slow machine
        self.browser.click("button[value=deny]")
        wait_until(lambda: "Access denied" in self.browser.text(), "the page that says so")
        result = running.end()
        self.assert_ends(result, 1)
        self.assertEqual(result.named("error")[0]["code"], -10003)
        self.assertEqual(self.run_program("verify", "youtube", "--sandbox").code, 1)

    def test_scopes_that_were_asked_for_stand_on_the_page(self):
        running = self.start_login("--scope", "one.scope,another.scope")
        self.assertIn("one.scope", self.browser.text())
        self.assertIn("another.scope", self.browser.text())
        running.interrupt()
        self.assert_ends(running.end(), 130)


if __name__ == "__main__":
    unittest.main()
