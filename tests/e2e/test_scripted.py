"""Logins that go through scripts, with a real interpreter and the real script package."""

import json
import shutil
import subprocess
import unittest
import urllib.parse

from harness import kept_records, sha256_of
import scripted
from scripted import APP, MIB, PLATFORMS, Scripted, location, make_home


def setUpModule():
    make_home()


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
            self.assertTrue(
                upload.named("finished")[0]["text"].startswith(
                    "https://www." if platform != "vimeo" else "https://vimeo.com/"
                ),
                upload,
            )
        uploads = kept_records(self.folder / "data" / "mediatransfer" / "sandbox" / "sandbox.db", "uploads")
        kept = {record["service"]: record for record in uploads.values()}
        self.assertEqual(sorted(kept), sorted(platform for platform, *_ in PLATFORMS))
        for record in kept.values():
            self.assertEqual(record["sha256"], sha256_of(video), record)
            self.assertIn("Ein Tïtel", json.dumps(json.loads(record["metadata"]), ensure_ascii=False))

    def test_tells_people(self):
        login = self.run_program("--sandbox", "login", "vimeo")
        self.assertEqual((login.code, login.complaints), (0, ""), login)
        self.assertIn("signed in to vimeo as Ada Quill", login.out)
        upload = self.run_program("--sandbox", "upload", "vimeo", self.video(2 * MIB))
        self.assertEqual((upload.code, upload.complaints), (0, ""), upload)
        self.assertIn("uploading as Ada Quill", upload.out)
        self.assertIn("100% of 2.0 MiB", upload.out)
        self.assertIn("uploaded: https://vimeo.com/", upload.out)

    def test_home_with_blanks_and_letters_of_any_kind(self):
        odd = self.folder / "Pýthon hömé 家"
        odd.symlink_to(scripted.HOME)
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
        result = self.run_program(
            "login", "twitch", "--redirect-url", APP["MEDIATRANSFER_APP_REDIRECT"] + "?code=c&state=s"
        )
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "no login has been begun")

    def test_address_of_another_place(self):
        self.start_services()
        self.login_address("twitch")
        result = self.run_program("login", "twitch", "--redirect-url", "http://somewhere.example/?code=c")
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "redirect address")

    def test_address_that_is_no_text(self):
        self.start_services()
        self.login_address("twitch")
        address = b"http://localhost/\xff".decode("utf-8", "surrogateescape")
        result = self.run_program("login", "twitch", "--redirect-url", address)
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "redirect address")

    def test_table_of_addresses_that_cannot_be_read_is_named(self):
        table = self.folder / "services.json"
        table.write_text("{")
        self.env.update(APP, MEDIATRANSFER_SERVICES=str(table))
        result = self.run_program("login", "vimeo")
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "services.json", "MEDIATRANSFER_SERVICES")

    def test_home_without_the_package_is_called_damaged(self):
        home = self.folder / "home"
        shutil.copytree(self.env["MEDIATRANSFER_PYTHON_HOME"], home, symlinks=True)
        shutil.rmtree(home / "pysocialnetwork")
        result = self.run_program("--sandbox", "--python-home", home, "login", "vimeo")
        self.assertEqual(result.code, 1, result)
        self.assertIn("the home '" + str(home) + "' is damaged", result.err)

    def test_options_that_scripts_do_not_know_are_named(self):
        result = self.run_program("--sandbox", "login", "vimeo", "--scope", "a", "--platform-id", "7")
        self.assertEqual(result.code, 0, result)
        self.assertIn("takes no --scope and no --platform-id", result.out)

    def test_token_and_secret_stand_in_no_log(self):
        self.start_services()
        log = self.folder / "log.txt"
        reached = location(self.login_address("vimeo"))
        shown = [
            self.run_program("-v", "-v", "--log", log, *command).err
            for command in (("login", "vimeo", "--redirect-url", reached), ("verify", "vimeo"))
        ]
        text = log.read_text() + "".join(shown)
        self.assertIn("mt1.***", text)
        self.assertNotRegex(text, r"mt1\.[^*]")
        self.assertNotIn(APP["MEDIATRANSFER_APP_SECRET"], text)

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

    def test_proxy_of_another_kind_than_the_scripts_take(self):
        result = self.run_program("--sandbox", "--proxy", "socks5://localhost:1", "login", "vimeo")
        self.assertEqual(result.code, 2, result)
        self.assert_one_line(result.err, "http://", "--proxy")

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
        result = self.run_program("--sandbox", "--json", "whoami", "vimeo")
        self.assert_ends(result, 0)
        self.assertEqual(result.events[0]["user"], user)
        self.assertIn("Music|", result.events[0]["categories"])
        plain = self.run_program("--sandbox", "whoami", "vimeo")
        self.assertRegex(plain.out, r"(?m)^categories  .*Music")
        other = self.run_program("--sandbox", "whoami", "vimeo", "--user", "nobody")
        self.assertEqual(other.code, 1, other)
        self.assert_one_line(other.err, "nobody", "mediatransfer --sandbox whoami vimeo")

    def sign_in_by_script(self, *platform):
        result = self.run_program("--sandbox", "--json", "login", *(platform or ("vimeo",)))
        self.assert_ends(result, 0)
        return result.named("login_done")[0]["user"]

    def test_user_stays_the_same_over_logins(self):
        self.assertEqual(self.sign_in_by_script(), self.sign_in_by_script())

    def test_logins_of_script_and_manager_are_kept_apart(self):
        self.sign_in_by_script("youtube", "--script")
        self.assertEqual(self.run_program("--sandbox", "whoami", "youtube").code, 1)
        self.assertEqual(self.run_program("--sandbox", "whoami", "youtube", "--script").code, 0)
        self.assertEqual(self.run_program("--sandbox", "whoami", "vimeo", "--manager").code, 1)

    def test_verify_of_a_good_login(self):
        user = self.sign_in_by_script()
        result = self.run_program("--sandbox", "--json", "verify", "vimeo")
        self.assert_ends(result, 0)
        self.assertEqual(result.named("verified")[0]["user"], user)

    def test_verify_asks_the_service(self):
        servers = self.start_services()
        for platform in PLATFORMS:
            self.sign_in_there(*platform)
            result = self.run_program("verify", *platform)
            self.assertEqual((result.code, result.complaints), (0, ""), result)
            self.assertRegex(result.out, r" is good\n$")
        servers.ask("tokens/expire", {})
        for platform in PLATFORMS:
            result = self.run_program("verify", *platform)
            if platform[0] in ("youtube", "twitch"):
                self.assertEqual((result.code, result.complaints), (0, ""), "it can be renewed")
                continue
            self.assertEqual((result.code, result.out), (1, ""), result)
            self.assert_one_line(result.err, "not good any more", "mediatransfer login " + " ".join(platform))

    def test_verify_of_a_login_that_cannot_be_renewed(self):
        servers = self.start_services()
        self.sign_in_there("twitch")
        servers.ask("tokens/expire", {})
        servers.fault("twitchToken", "status", code=400, text='{"message":"Invalid refresh token"}')
        result = self.run_program("verify", "twitch")
        self.assertEqual((result.code, result.out), (1, ""), result)
        self.assert_one_line(result.err, "not good any more", "Invalid refresh token")

    def test_verify_without_the_service(self):
        servers = self.start_services()
        table = self.folder / "services.json"
        shutil.copy(servers.services, table)
        self.env["MEDIATRANSFER_SERVICES"] = str(table)
        for platform in PLATFORMS:
            self.sign_in_there(*platform)
        servers.stop()
        for platform in PLATFORMS:
            result = self.run_program("verify", *platform)
            self.assertEqual((result.code, result.out), (1, ""), result)
            self.assert_one_line(result.err, "cannot be reached", "--offline")
            offline = self.run_program("verify", *platform, "--offline")
            self.assertEqual((offline.code, offline.complaints), (0, ""), offline)
            self.assertRegex(offline.out, r" is stored; the service was not asked\n$")
        lines = self.run_program("--json", "verify", "vimeo", "--offline")
        self.assert_ends(lines, 0)
        self.assertEqual((len(lines.named("user")), lines.named("verified")), (1, []))

    def test_verify_with_a_service_that_says_something_else(self):
        servers = self.start_services()
        self.sign_in_there("vimeo")
        servers.fault("vimeoProfile", "status", code=403, text='{"error":"Not for this application."}', times=0)
        result = self.run_program("verify", "vimeo")
        self.assertEqual((result.code, result.out), (1, ""), result)
        self.assert_one_line(result.err, "does not say", "Not for this application.")

    def test_verify_by_scripts_that_cannot_tell(self):
        self.start_services()
        self.sign_in_there("flickr")
        home = self.folder / "home"
        shutil.copytree(self.env["MEDIATRANSFER_PYTHON_HOME"], home, symlinks=True)
        (home / "pysocialnetwork" / "logincheck.py").write_text("def wanted():\n    return ''\n")
        result = self.run_program("--python-home", home, "verify", "flickr")
        self.assertEqual((result.code, result.out), (1, ""), result)
        self.assert_one_line(result.err, str(home), "tools/make_python_home")

    def test_offline_is_for_scripts(self):
        result = self.run_program("--sandbox", "verify", "youtube", "--offline")
        self.assertEqual(result.code, 2, result)
        self.assert_one_line(result.err, "--offline", "mediatransfer --sandbox whoami youtube")

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
        self.assertTrue(self.kept_login("vimeo", "sandbox/cache").exists())
        result = self.run_program("--sandbox", "logout", "vimeo")
        self.assertEqual(result.code, 0, result)
        self.assertIn("the service was not told", result.out)
        self.assertFalse(self.kept_login("vimeo", "sandbox/cache").exists())

    def test_damaged_file_counts_for_nobody(self):
        self.sign_in_by_script()
        kept = self.kept_login("vimeo", "sandbox/cache")
        whole = kept.read_bytes()
        for damaged in (b"", whole[:-1], whole[:16], bytes(len(whole)), whole[16:]):
            kept.write_bytes(damaged)
            result = self.run_program("--sandbox", "whoami", "vimeo")
            self.assertEqual(result.code, 1, result)
            self.assert_one_line(result.err, "nobody is signed in")


if __name__ == "__main__":
    unittest.main()
