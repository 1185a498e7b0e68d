"""Logins and uploads that go through scripts, with a real interpreter and the real script package."""

import json
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest
import urllib.error
import urllib.parse
import urllib.request

from harness import HostTest, sha256_of, wait_until

MIB = 1024 * 1024
TOOLS = pathlib.Path(__file__).resolve().parents[2] / "tools"
APP = {"MEDIATRANSFER_APP_ID": "sandbox-app-id", "MEDIATRANSFER_APP_SECRET": "sandbox-app-secret",
       "MEDIATRANSFER_APP_REDIRECT": "http://localhost/mediatransfer/signed-in"}
# Platform, and the options of its login and its upload.
PLATFORMS = (("facebook",), ("vimeo",), ("flickr",), ("instagram",), ("twitch",), ("youtube", "--script"))
HOME = None


def setUpModule():
    global HOME
    HOME = tempfile.mkdtemp(prefix="mediatransfer-home-")
    unittest.addModuleCleanup(shutil.rmtree, HOME, ignore_errors=True)
    made = subprocess.run([str(TOOLS / "make_python_home"), HOME], capture_output=True, check=True)
    # Where the home's interpreter is, for those whose search would find another.
    os.environ["KBL_E2E_PYTHON"] = made.stdout.decode().strip()


class NoRedirect(urllib.request.HTTPRedirectHandler):
    def redirect_request(self, *arguments):
        return None


browser = urllib.request.build_opener(urllib.request.ProxyHandler({}), NoRedirect)


def location(url, form=None):
    """Where a page leads, without going there: nothing may listen at that place."""
    data = None if form is None else urllib.parse.urlencode(form).encode()
    try:
        browser.open(url, data, timeout=60).close()
    except urllib.error.HTTPError as answer:
        with answer:
            return answer.headers["Location"]
    raise AssertionError(url + " leads nowhere")


class Scripted(HostTest):
    def setUp(self):
        super().setUp()
        self.env["MEDIATRANSFER_PYTHON_HOME"] = HOME
        self.env["MEDIATRANSFER_PYTHON"] = os.environ["KBL_E2E_PYTHON"]

    def start_services(self, *options):
        """Stand-in servers in a process of their own, which the scripts are told of."""
        servers = self.start_servers(*options)
        self.env.update(APP, MEDIATRANSFER_SERVICES=servers.services)
        return servers

    def login_address(self, *platform):
        """The address that a call prints which nobody answers."""
        result = self.run_program("--json", "login", *platform)
        self.assert_ends(result, 1)
        return result.named("login_url")[0]["url"]

    def sign_in_there(self, *platform):
        reached = location(self.login_address(*platform))
        result = self.run_program("--json", "login", *platform, "--redirect-url", reached)
        self.assert_ends(result, 0)
        return result.named("login_done")[0]

    def kept_login(self, platform):
        return self.folder / "data" / "mediatransfer" / "cache" / (platform + "_script_login")


class WithTheStandIns(Scripted):
    def test_all_six_sign_in_and_upload(self):
        video = self.video(2 * MIB)
        for platform, *way in PLATFORMS:
            login = self.run_program("--sandbox", "--json", "login", platform, *way)
            self.assert_ends(login, 0)
            self.assertEqual([event["event"] for event in login.events], ["login_url", "login_done", "done"])
            done = login.named("login_done")[0]
            self.assertTrue(done["name"], login)

            upload = self.run_program("--sandbox", "--json", "upload", platform, *way, video, "--title", "Ein Tïtel")
            self.assert_ends(upload, 0)
            self.assertEqual(upload.named("verified")[0]["user"], done["user"])
            values = [event["value"] for event in upload.named("progress")]
            self.assertEqual((values, values[-1]), (sorted(values), 100))
            self.assertTrue(upload.named("finished")[0]["text"].startswith("https://www." if platform != "vimeo" else
                                                                           "https://vimeo.com/"), upload)
        state = json.loads((self.folder / "data" / "mediatransfer" / "sandbox" / "sandbox.json").read_text())
        kept = {record["service"]: record for record in state["uploads"].values()}
        self.assertEqual(sorted(kept), sorted(platform for platform, *_ in PLATFORMS))
        for record in kept.values():
            self.assertEqual(record["sha256"], sha256_of(video), record)
            self.assertIn("Ein Tïtel", json.dumps(json.loads(record["metadata"]), ensure_ascii=False))

    def test_tells_people(self):
        login = self.run_program("--sandbox", "login", "vimeo")
        self.assertEqual((login.code, login.err), (0, ""), login)
        self.assertIn("signed in to vimeo as Ada Quill", login.out)
        upload = self.run_program("--sandbox", "upload", "vimeo", self.video(2 * MIB))
        self.assertEqual((upload.code, upload.err), (0, ""), upload)
        self.assertIn("uploading as Ada Quill", upload.out)
        self.assertIn("100% of 2.0 MiB", upload.out)
        self.assertIn("uploaded: https://vimeo.com/", upload.out)

    def test_home_with_blanks_and_letters_of_any_kind(self):
        odd = self.folder / "Pýthon hömé 家"
        odd.symlink_to(HOME)
        result = self.run_program("--sandbox", "--python-home", odd, "login", "flickr")
        self.assertEqual(result.code, 0, result)


class Login(Scripted):
    def test_asks_for_the_address_that_the_browser_reached(self):
        servers = self.start_services()
        program = self.start_program("--json", "login", "vimeo", "--no-browser", stdin=subprocess.PIPE)
        reached = location(program.wait_for_event("login_url")["url"])
        program.say("http://somewhere.example/else")
        program.say("")
        program.say(reached)
        result = program.end()
        self.assert_ends(result, 0)
        self.assertEqual(result.named("login_done")[0]["name"], "Ada Quill")
        self.assertEqual(len(servers.requests("vimeoToken")), 1)

    def test_address_can_be_given_to_a_later_call(self):
        self.start_services()
        for platform in PLATFORMS:
            self.assertTrue(self.sign_in_there(*platform)["name"])
        begun = list((self.folder / "data").rglob("*_script_begun"))
        self.assertEqual(begun, [])

    def test_says_how_to_give_the_address_later(self):
        self.start_services()
        result = self.run_program("login", "youtube", "--script")
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "mediatransfer login youtube --script --redirect-url URL")

    def test_address_of_another_login_is_refused(self):
        servers = self.start_services()
        reached = location(self.login_address("facebook"))
        state = urllib.parse.parse_qs(urllib.parse.urlsplit(reached).query)["state"][0]
        result = self.run_program("login", "facebook", "--redirect-url", reached.replace(state, "another"))
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "state", "mediatransfer login facebook")
        self.assertEqual(servers.requests("facebookToken"), [])
        self.assertFalse(self.kept_login("facebook").exists())

    def test_address_without_a_login_that_was_begun(self):
        self.start_services()
        result = self.run_program("login", "twitch", "--redirect-url", APP["MEDIATRANSFER_APP_REDIRECT"] + "?code=c&state=s")
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "no login has been begun")

    def test_address_of_another_place(self):
        self.start_services()
        self.login_address("twitch")
        result = self.run_program("login", "twitch", "--redirect-url", "http://somewhere.example/?code=c")
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "redirect address")

    def test_refused_consent(self):
        self.start_services("--consent", "ask")
        for platform in ("instagram", "flickr"):
            page = location(self.login_address(platform))
            reached = location(page, {"decision": "deny"})
            result = self.run_program("login", platform, "--redirect-url", reached)
            self.assertEqual(result.code, 1, result)
            self.assert_one_line(result.err, platform, "refused")
            self.assertFalse(self.kept_login(platform).exists())

    def test_consent_on_the_page_for_the_user_chosen_there(self):
        servers = self.start_services("--consent", "ask")
        page = location(self.login_address("twitch"))
        reached = location(page, {"decision": "allow", "user": servers.ask("users")[1]["open_id"]})
        result = self.run_program("--json", "login", "twitch", "--redirect-url", reached)
        self.assertEqual(result.named("login_done")[0]["name"], "Bruno Marsh")

    def test_code_that_the_service_does_not_take(self):
        servers = self.start_services()
        fault = servers.fault("vimeoToken", "status", code=400, text='{"error":"invalid_grant"}')
        reached = location(self.login_address("vimeo"))
        result = self.run_program("login", "vimeo", "--redirect-url", reached)
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "invalid_grant")
        self.assertEqual(servers.delivered(fault), 1)

    def test_interrupt_ends_the_question(self):
        self.start_services()
        program = self.start_program("--json", "login", "vimeo", stdin=subprocess.PIPE)
        program.wait_for_event("login_url")
        program.interrupt()
        self.assert_ends(program.end(), 130)

    def test_timeout_ends_the_question(self):
        self.start_services()
        program = self.start_program("login", "vimeo", "--timeout", "1", stdin=subprocess.PIPE)
        result = program.end()
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "--timeout")

    def test_application_has_to_be_told(self):
        result = self.run_program("login", "vimeo")
        self.assertEqual(result.code, 2, result)
        self.assert_one_line(result.err, "--app-id", "--app-secret", "--app-redirect")


class KeptLogin(Scripted):
    def test_token_stands_in_no_file(self):
        self.start_services()
        for platform in PLATFORMS:
            self.sign_in_there(*platform)
            self.assertEqual(self.kept_login(platform[0]).stat().st_mode & 0o777, 0o600)
        for path in (self.folder / "data").rglob("*"):
            if path.is_file():
                contents = path.read_bytes()
                for secret in (b"sbx-", b"mt1.", b"Quill"):
                    self.assertNotIn(secret, contents, path)

    def test_whoami_needs_no_script(self):
        user = self.sign_in_by_script()
        del self.env["MEDIATRANSFER_PYTHON_HOME"]
        result = self.run_program("--json", "whoami", "vimeo")
        self.assert_ends(result, 0)
        self.assertEqual(result.events[0]["user"], user)
        self.assertIn("Music|", result.events[0]["categories"])
        other = self.run_program("whoami", "vimeo", "--user", "nobody")
        self.assertEqual(other.code, 1, other)
        self.assert_one_line(other.err, "nobody", "mediatransfer whoami vimeo")

    def sign_in_by_script(self, *platform):
        result = self.run_program("--sandbox", "--json", "login", *(platform or ("vimeo",)))
        self.assert_ends(result, 0)
        return result.named("login_done")[0]["user"]

    def test_user_stays_the_same_over_logins(self):
        self.assertEqual(self.sign_in_by_script(), self.sign_in_by_script())

    def test_logins_of_script_and_manager_are_kept_apart(self):
        self.sign_in_by_script("youtube", "--script")
        self.assertEqual(self.run_program("whoami", "youtube").code, 1)
        self.assertEqual(self.run_program("whoami", "youtube", "--script").code, 0)
        self.assertEqual(self.run_program("whoami", "vimeo", "--manager").code, 1)

    def test_verify(self):
        user = self.sign_in_by_script()
        result = self.run_program("--sandbox", "--json", "verify", "vimeo")
        self.assert_ends(result, 0)
        self.assertEqual(result.named("verified")[0]["user"], user)

    def test_logout_tells_the_service_and_forgets(self):
        servers = self.start_services()
        self.sign_in_there("vimeo")
        result = self.run_program("--json", "logout", "vimeo")
        self.assert_ends(result, 0)
        self.assertEqual(result.events[0]["event"], "logged_out")
        self.assertEqual([request["status"] for request in servers.requests("vimeoTokens")], [204])
        self.assertFalse(self.kept_login("vimeo").exists())
        again = self.run_program("logout", "vimeo")
        self.assertEqual(again.code, 1, again)
        self.assert_one_line(again.err, "nobody is signed in")

    def test_logout_without_a_script_forgets_all_the_same(self):
        self.sign_in_by_script()
        del self.env["MEDIATRANSFER_PYTHON_HOME"]
        result = self.run_program("logout", "vimeo")
        self.assertEqual(result.code, 0, result)
        self.assertIn("the service was not told", result.out)
        self.assertFalse(self.kept_login("vimeo").exists())

    def test_damaged_file_counts_for_nobody(self):
        self.sign_in_by_script()
        kept = self.kept_login("vimeo")
        whole = kept.read_bytes()
        for damaged in (b"", whole[:-1], whole[:16], bytes(len(whole)), whole[16:]):
            kept.write_bytes(damaged)
            result = self.run_program("whoami", "vimeo")
            self.assertEqual(result.code, 1, result)
            self.assert_one_line(result.err, "nobody is signed in")


class Upload(Scripted):
    def test_token_that_the_service_forgot_is_renewed_and_kept(self):
        servers = self.start_services()
        for platform, route in ((("youtube", "--script"), "googleToken"), (("twitch",), "twitchToken")):
            self.sign_in_there(*platform)
            servers.ask("tokens/expire", {})
            for calls in (2, 2):
                result = self.run_program("--json", "upload", *platform, self.video())
                self.assert_ends(result, 0)
                self.assertEqual(len(servers.requests(route)), calls, platform)

    def test_token_that_cannot_be_renewed(self):
        servers = self.start_services()
        self.sign_in_there("vimeo")
        servers.ask("tokens/expire", {})
        result = self.run_program("upload", "vimeo", self.video())
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "not good any more", "mediatransfer login vimeo")

    def test_broken_connections_are_resumed(self):
        servers = self.start_services()
        for platform, route in ((("facebook",), "facebookVideos"), (("vimeo",), "vimeoUpload"),
                                (("instagram",), "instagramUpload"), (("twitch",), "twitchPart"),
                                (("flickr",), "flickrUpload"), (("youtube", "--script"), "youtubeUploadChunk")):
            self.sign_in_there(*platform)
            nth = 3 if platform[0] == "facebook" else 1
            fault = servers.fault(route, "resetRequestAfter", bytes=300000, nth=nth)
            video = self.video(9 * MIB, platform[0] + ".mp4")
            result = self.run_program("--json", "upload", *platform, video)
            self.assert_ends(result, 0)
            self.assertEqual(servers.delivered(fault), 1, platform)
            record = [upload for upload in servers.uploads() if upload["service"] == platform[0]][-1]
            self.assertEqual(record["sha256"], sha256_of(video), record)
            self.assertTrue(record["complete"])

    def test_busy_service_is_asked_again(self):
        servers = self.start_services()
        self.sign_in_there("vimeo")
        fault = servers.fault("vimeoVideos", "status", code=503, text="{}", headers={"Retry-After": "1"})
        self.assert_ends(self.run_program("--json", "upload", "vimeo", self.video()), 0)
        self.assertEqual(servers.delivered(fault), 1)

    def test_refusal_is_told(self):
        servers = self.start_services()
        self.sign_in_there("vimeo")
        fault = servers.fault("vimeoVideos", "status", code=403, text='{"error":"The quota is used up."}')
        result = self.run_program("--json", "upload", "vimeo", self.video())
        self.assert_ends(result, 1)
        error, = result.named("error")
        self.assertEqual(error["value"], 12)
        self.assertIn("The quota is used up.", error["text"])
        self.assertEqual(servers.delivered(fault), 1)

    def test_withdrawn_service_is_told_plainly(self):
        self.start_services("--withdrawn")
        self.sign_in_there("twitch")
        result = self.run_program("upload", "twitch", self.video())
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "withdrawn")

    def test_interrupt_stops_the_transfer(self):
        servers = self.start_services()
        self.sign_in_there("vimeo")
        fault = servers.fault("vimeoUpload", "stallRequestAfter", bytes=MIB)
        program = self.start_program("--json", "upload", "vimeo", self.video(64 * MIB))
        program.wait_for_event("progress")
        wait_until(lambda: servers.delivered(fault), "the stall")
        program.interrupt()
        result = program.end(60)
        self.assert_ends(result, 130)
        self.assertEqual(result.named("finished"), [])

    def test_texts_that_describe_the_video_arrive(self):
        servers = self.start_services()
        self.sign_in_there("vimeo")
        picture = self.folder / "thumb.jpg"
        picture.write_bytes(b"\xff\xd8\xff\xe0 picture \xff\xd9")
        result = self.run_program(
            "upload", "vimeo", self.video(), "--title", "Títle", "--description", "Two\nlines", "--tags", "a,b c",
            "--category", "music", "--privacy", "private", "--thumbnail", picture)
        self.assertEqual(result.code, 0, result)
        metadata = json.loads(servers.uploads()[0]["metadata"])
        self.assertEqual((metadata["name"], metadata["description"]), ("Títle", "Two\nlines"))
        self.assertEqual((metadata["tags"], metadata["categories"]), (["a", "b c"], ["music"]))
        self.assertEqual(metadata["privacy"], {"view": "nobody"})
        self.assertEqual(metadata["thumbnail"]["sha256"], sha256_of(picture))

    def test_brand_is_named_to_the_service(self):
        servers = self.start_services()
        self.sign_in_there("facebook")
        self.assertEqual(self.run_program("upload", "facebook", self.video()).code, 0)
        agents = {value for request in servers.requests("facebookVideos")
                  for name, value in request["headers"] if name.lower() == "user-agent"}
        self.assertEqual(len(agents), 1)
        self.assertTrue(agents.pop().startswith("lumenfold"))

    def test_without_a_login_says_how_to_sign_in(self):
        result = self.run_program("--sandbox", "upload", "youtube", "--script", self.video())
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "nobody is signed in", "mediatransfer login youtube --script")


if __name__ == "__main__":
    unittest.main()
