"""The sandbox's page in a real browser: what it shows while the program works, and what its buttons do."""

import unittest

from harness import HostTest, wait_until
from webdriver import Browser


browsers = []


def setUpModule():
    """One browser for all tests: each looks at servers of its own."""
    host = HostTest()
    host.setUp()
    unittest.addModuleCleanup(host.doCleanups)
    browsers.append(Browser(host.folder, host.env))
    host.addCleanup(browsers[0].close)


class PageTest(HostTest):
    def setUp(self):
        super().setUp()
        self.servers = self.start_servers("--consent", "ask")
        self.browser = browsers[0]
        self.browser.emulate(width=1200)
        self.browser.open(self.servers.url)
        self.see("#connection", "live")

    def see(self, css, text):
        """Until the text stands inside the first element that fits."""
        wait_until(lambda: text in self.browser.text(css), f"{text!r} in {css}")

    def start_login(self, *options):
        running = self.start_program(
            *self.with_servers(self.servers, "--json", "login", "youtube", "--no-browser", *options)
        )
        self.see("#pending", "YouTube")
        return running


class SignIn(PageTest):
    def test_a_click_signs_in_and_another_ends_it(self):
        running = self.start_login()
        self.browser.click("#pending button.main")
        result = running.end()
        self.assert_ends(result, 0)
        self.see("#decided", "YouTube: allowed for Ada Quill")
        self.see("#signed-in", "YouTube: Ada Quill")
        self.see("#signed-in", "sbx-access-")
        self.see("#exchange-rows", "/account/session")

        self.browser.click("#signed-in button:nth-of-type(2)")
        self.see("#people-said", "signed out")
        wait_until(lambda: "Ada" not in self.browser.text("#signed-in"), "nobody there")
        verified = self.run_program(*self.with_servers(self.servers, "verify", "youtube"))
        self.assertEqual(verified.code, 1, verified)

    def test_a_denial(self):
        running = self.start_login("--timeout", "6")
        self.browser.click("#pending button:nth-of-type(2)")
        self.see("#people-said", "denied")
        self.see("#decided", "YouTube: denied")
        self.see("#nobody", "Nobody is signed in")
        self.assert_ends(running.end(), 1)

    def test_the_choice_of_consent_holds_for_logins_to_come(self):
        self.browser.click("input[value=auto]")
        self.see("#people-said", "allowed at once")
        login = self.run_program(*self.with_servers(self.servers, "--json", "login", "youtube"))
        self.assert_ends(login, 0)


class Fault(PageTest):
    def test_ordered_seen_and_looked_into(self):
        self.signed_in(self.servers)
        self.browser.choose("#fault-route", "youtubeUploadOpen")
        self.browser.choose("#fault-kind", "status")
        self.browser.type("input[name=code]", "403")
        self.browser.type("input[name=text]", '{"access_token":"hush"}')
        self.browser.click("#fault-form button")
        self.see("#fault-orders", "status of youtubeUploadOpen")
        self.see("#fault-orders", "delivered 0, 1 to come")

        upload = self.run_program(*self.with_servers(self.servers, "upload", "youtube", self.video()))

        self.assertEqual(upload.code, 1, upload)
        self.see("#fault-orders", "delivered 1, none to come")
        self.see("#exchange-rows", "403fault")
        self.browser.type("#exchange-filter", "403")
        self.browser.click("tr:not([hidden]) button.path")
        self.see(".details", "disturbed by the ordered fault 1")
        self.see(".details", "HTTP/1.1 403")
        self.assertNotIn("hush", self.browser.text(".details"))


class Upload(PageTest):
    def test_watched_to_its_end_and_played(self):
        self.signed_in(self.servers)
        self.servers.fault("youtubeUploadChunk", "slowRequest", bytes=200000, delay=100, times=2)
        video = self.video(4_000_000)
        upload = self.start_program(
            *self.with_servers(self.servers, "upload", "youtube", video, "--title", "Holiday at the sea")
        )
        self.see("#upload-list", "youtube: Holiday at the sea")
        self.see("#upload-list", "on its way")
        share = "return document.querySelector('#upload-list progress').value"
        wait_until(lambda: 0 < self.browser.run(share) < 1, "a part of it")
        wait_until(lambda: "MB/s at most" in self.browser.text("#upload-list"), "a rate")
        curve = "return document.querySelector('#upload-list path').getAttribute('d')"
        self.assertRegex(self.browser.run(curve), r"^M0,30 L[0-9., L]+ L100,30 Z$")
        self.see("#upload-list", "complete: 4.0 MB")
        self.assertEqual(upload.end().code, 0)

        self.browser.click("#upload-list summary")
        self.see("#upload-list details", '"title" : "Holiday at the sea"')
        self.see("#upload-list details", self.servers.uploads()[0]["sha256"])
        self.browser.run("const video = document.querySelector('video'); video.muted = true; video.play()")
        wait_until(lambda: self.browser.run("return document.querySelector('video').currentTime") > 0.2, "pictures")
        size = "const video = document.querySelector('video'); return [video.videoWidth, video.videoHeight]"
        self.assertEqual(self.browser.run(size), [640, 360])
        self.browser.run("document.querySelector('video').currentTime = 8")
        wait_until(lambda: self.browser.run("return document.querySelector('video').currentTime") > 8, "a later part")


class Reach(PageTest):
    def test_by_keyboard_on_a_narrow_screen_in_the_dark(self):
        self.browser.emulate(width=360, dark=True)
        self.assertLessEqual(self.browser.run("return document.documentElement.scrollWidth"), 360)
        self.assertEqual(self.browser.run("return getComputedStyle(document.body).backgroundColor"), "rgb(21, 23, 26)")
        self.browser.focus("#fault-form button")
        self.browser.press("\ue007")
        self.see("#fault-orders", "closeAtOnce of clientCredentials")
        self.browser.focus("#fault-orders button")
        self.browser.press(" ")
        self.see("#fault-orders", "withdrawn")

    def test_has_a_name_for_everything_that_can_be_used(self):
        nameless = self.browser.run(
            "return [...document.querySelectorAll('button, input, select, a')]"
            ".filter(e => !(e.getAttribute('aria-label') || e.labels?.length || e.textContent.trim()))"
            ".map(e => e.outerHTML)"
        )
        self.assertEqual(nameless, [])

    def test_says_when_the_sandbox_has_gone(self):
        self.servers.stop()
        self.see("#connection", "doesn't answer")


if __name__ == "__main__":
    unittest.main()
