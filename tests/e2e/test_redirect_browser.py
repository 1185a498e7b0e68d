"""Logins by a click in a real browser, which comes back to the program by itself: one browser for all of them."""

import unittest

from harness import wait_until
from scripted import PLATFORMS, Scripted, make_home
from webdriver import Browser


def setUpModule():
    make_home()


class InABrowser(Scripted):
    def test_all_six_sign_in_by_a_click(self):
        self.start_services("--consent", "ask", "--app-redirect", "")
        self.env["MEDIATRANSFER_APP_REDIRECT"] = "http://127.0.0.1:0/signed-in"
        browser = Browser(self.folder, self.env)
        self.addCleanup(browser.close)
        for platform, *way in PLATFORMS:
            login = self.start_program("--json", "login", platform, *way, "--no-browser")
            browser.open(login.wait_for_event("login_url")["url"])
            browser.click("button[value=allow]")
            wait_until(lambda: "You may close this window." in browser.text(), "the closing page")
            self.assertIn("Signed in to " + platform, browser.text())
            self.assertRegex(browser.url(), r"^http://127\.0\.0\.1:[0-9]+/signed-in\?")
            result = login.end()
            self.assert_ends(result, 0)
            self.assertTrue(result.named("login_done")[0]["name"])

        # Chromium takes localhost for ::1 first; and what is denied says so in both places.
        self.env["MEDIATRANSFER_APP_REDIRECT"] = "http://localhost:0/signed-in"
        login = self.start_program("login", "vimeo", "--no-browser")
        page = login.out.wait_for(lambda line: "sign in with a browser at: " in line, "the address")
        browser.open(page.partition(": ")[2])
        browser.click("button[value=deny]")
        wait_until(lambda: "Not signed in to vimeo" in browser.text(), "the page that says so")
        result = login.end()
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "vimeo did not accept the login", "mediatransfer login vimeo")


if __name__ == "__main__":
    unittest.main()
