"""Logins, good and bad."""

import stat
import time
import unittest

from harness import SECRET, HostTest, kept_records

# Members of the lines about a user, as a sign-in to YouTube leaves them.
KNOWN = {"event", "user", "account", "name", "first_name", "last_name", "account_uid", "categories"}


class Login(HostTest):
    def test_reports_address_token_closing_address_and_user_in_order(self):
        result = self.run_program("--sandbox", "--json", "login", "youtube")
        self.assert_ends(result, 0)
        self.assertEqual(
            [event["event"] for event in result.events],
            ["login_url", "token_changed", "callback_url", "login_done", "done"],
            result,
        )
        login = result.named("login_done")[0]
        self.assertEqual(set(login), KNOWN)
        self.assertTrue(login["categories"].endswith("|"))
        self.assertEqual({event["user"] for event in result.events[:-1]}, {login["user"]})
        for name in ("login_url", "callback_url"):
            self.assertTrue(result.named(name)[0]["url"].startswith("http://127.0.0.1:"))

    def test_tells_people_who_signed_in(self):
        result = self.run_program("--sandbox", "login", "youtube")
        self.assertEqual(result.code, 0, result)
        self.assertEqual(result.complaints, "")
        self.assertIn("sign in with a browser at: http://127.0.0.1:", result.out)
        self.assertRegex(result.out.splitlines()[-1], r"^signed in to youtube as .+ \(.+@.+\)$")

    def test_serves_the_next_process(self):
        user = self.sign_in()
        whoami = self.run_program("--sandbox", "--json", "whoami", "youtube")
        self.assert_ends(whoami, 0)
        self.assertEqual(whoami.named("user")[0]["user"], user)
        self.assertEqual(set(whoami.named("user")[0]), KNOWN)

    def test_signs_in_to_tiktok_and_douyin(self):
        for platform in ("tiktok", "douyin"):
            result = self.run_program("--sandbox", "--json", "login", platform)
            self.assert_ends(result, 0)
            login = result.named("login_done")[0]
            self.assertTrue(login["name"], result)
            self.assertTrue(login["account_uid"], result)
            self.assertNotIn("categories", login)

    def test_signs_in_to_vimeo_through_its_manager(self):
        result = self.run_program("--sandbox", "--json", "login", "vimeo", "--manager")
        self.assert_ends(result, 0)
        self.assertEqual(len(result.named("login_done")), 1)

    def test_keeps_its_folders_to_their_owner(self):
        self.sign_in()
        data = self.folder / "data" / "mediatransfer"
        sandbox = data / "sandbox"
        self.sign_in(self.start_servers())
        for folder in (data, data / "cache", sandbox, sandbox / "cache"):
            self.assertEqual(stat.S_IMODE(folder.stat().st_mode), 0o700, folder)
        for place in (data, sandbox):
            for name in ("ema_youtube_cache.db", "youtube_origin", "youtube_lock"):
                self.assertEqual(stat.S_IMODE((place / "cache" / name).stat().st_mode), 0o600, name)
            self.assertEqual(stat.S_IMODE((place / "cipher.key").stat().st_mode), 0o600, place)

    def test_keeps_a_cache_elsewhere_with_its_own_key_and_servers(self):
        cache = self.folder / "elsewhere" / "logins"
        result = self.run_program(*self.with_servers(self.start_servers(), "--cache-dir", cache, "login", "youtube"))
        self.assertEqual(result.code, 0, result)
        self.assertTrue((cache / "ema_youtube_cache.db").exists())
        self.assertTrue((cache.parent / "logins.key" / "cipher.key").exists())
        self.assertFalse((self.folder / "data").exists())
        self.assertEqual(self.run_program("--cache-dir", str(cache) + "/", "whoami", "youtube").code, 0)

    def test_keeps_the_stand_ins_logins_and_key_with_them(self):
        cache = self.folder / "elsewhere" / "logins"
        result = self.run_program("--sandbox", "--cache-dir", cache, "login", "youtube")
        self.assertEqual(result.code, 0, result)
        sandbox = cache.parent / "logins.sandbox"
        for name in ("cache/ema_youtube_cache.db", "cipher.key", "sandbox.db"):
            self.assertTrue((sandbox / name).exists(), name)
        self.assertEqual([path.name for path in cache.parent.iterdir()], ["logins.sandbox"])
        self.assertFalse((self.folder / "data").exists())
        self.assertEqual(self.run_program("--sandbox", "--cache-dir", cache, "whoami", "youtube").code, 0)
        self.assertEqual(self.run_program("--cache-dir", cache, "whoami", "youtube").code, 1)

    def test_never_shows_a_token(self):
        log = self.folder / "log.txt"
        outputs = ""
        video = self.video()
        for command in (
            ("login", "youtube"),
            ("verify", "youtube"),
            ("upload", "youtube", video),
            ("whoami", "youtube"),
        ):
            for form in ([], ["--json"]):
                result = self.run_program("--sandbox", "--log", log, "-v", *form, *command)
                self.assertEqual(result.code, 0, result)
                outputs += result.out + result.err
        state = self.folder / "data" / "mediatransfer" / "sandbox" / "sandbox.db"
        tokens = kept_records(state, "tokens")
        self.assertGreater(len(tokens), 3)
        outputs += log.read_text()
        for token in tokens:
            self.assertNotIn(token, outputs)

    def test_denied_by_a_wrong_application_secret(self):
        result = self.run_program("--sandbox", "--app-secret", "wrong", "--json", "login", "youtube")
        self.assert_ends(result, 1)
        self.assertEqual([event["event"] for event in result.events], ["error", "done"])
        self.assertNotEqual(result.events[0]["code"], 0)
        self.assertTrue(result.events[0]["text"])

    def test_takes_the_secret_from_the_environment_and_from_a_file(self):
        servers = self.start_servers()
        shared = ("--cloud-config", servers.config)
        environment = self.run_program(*shared, "login", "youtube", env={"MEDIATRANSFER_APP_SECRET": SECRET})
        self.assertEqual(environment.code, 0, environment)
        file = self.folder / "secret.txt"
        file.write_text(SECRET + "\n")
        self.assertEqual(self.run_program(*shared, "--app-secret", f"@{file}", "login", "youtube").code, 0)
        none = self.run_program(*shared, "login", "youtube")
        self.assertEqual(none.code, 1, none)
        self.assert_one_line(none.err, "MEDIATRANSFER_APP_SECRET")

    def test_sends_the_platform_number_that_is_given(self):
        servers = self.start_servers()
        good = self.run_program(*self.with_servers(servers, "login", "youtube", "--platform-id", "0"))
        self.assertEqual(good.code, 0, good)
        unknown = self.run_program(*self.with_servers(servers, "--json", "login", "youtube", "--platform-id", "77"))
        self.assert_ends(unknown, 1)
        self.assertEqual(unknown.events[0]["event"], "error")

    def test_ends_when_nobody_decides_in_time(self):
        result = self.run_program(
            "--sandbox", "--consent", "ask", "--json", "login", "youtube", "--no-browser", "--timeout", "4"
        )
        self.assert_ends(result, 1)
        self.assertEqual(result.named("error")[0]["code"], -10003)

    def test_second_login_keeps_one_user(self):
        self.assertEqual(self.sign_in(), self.sign_in())

    def test_survives_a_category_list_that_cannot_be_had(self):
        servers = self.start_servers()
        fault = servers.fault("youtubeCategories", "status", code=500, text="{}")
        result = self.run_program(*self.with_servers(servers, "--json", "login", "youtube"))
        self.assert_ends(result, 0)
        self.assertEqual(len(result.named("error")), 1, result)
        self.assertNotIn("categories", result.named("login_done")[0])
        self.assertEqual(servers.delivered(fault), 1)

    def test_categories_that_never_come_do_not_keep_a_login(self):
        servers = self.start_servers()
        fault = servers.fault("youtubeCategories", "stall", times=0)
        begin = time.monotonic()
        result = self.run_program(*self.with_servers(servers, "login", "youtube", "--timeout", "5"))
        self.assertEqual(result.code, 0, result)
        self.assertNotIn("mediatransfer: ", result.err)
        self.assertLess(time.monotonic() - begin, 60)
        self.assertIn("the login is good without it", result.out.splitlines()[-2])
        self.assertTrue(result.out.splitlines()[-1].startswith("signed in to youtube as "), result)
        self.assertGreater(servers.delivered(fault), 0)
        self.assertEqual(self.run_program("whoami", "youtube").code, 0)

    def test_time_limit_behind_the_profile_is_no_failure(self):
        servers = self.start_servers()
        fault = servers.fault("youtubeCategories", "slowAnswer", delay=8000)
        result = self.run_program(*self.with_servers(servers, "--json", "login", "youtube", "--timeout", "5"))
        self.assert_ends(result, 0)
        self.assertEqual((result.named("error"), len(result.named("login_done"))), ([], 1), result)
        self.assertEqual(servers.delivered(fault), 1)

    def test_closing_address_hides_its_code(self):
        result = self.run_program("--sandbox", "--json", "login", "youtube")
        url = result.named("callback_url")[0]["url"]
        self.assertIn("code=***", url)

    def test_fails_when_the_platform_does_not_tell_who_signed_in(self):
        servers = self.start_servers()
        fault = servers.fault("googleUserInfo", "status", code=500, text="{}")
        result = self.run_program(*self.with_servers(servers, "--json", "login", "youtube"))
        self.assert_ends(result, 1)
        self.assertEqual(servers.delivered(fault), 1)

    def test_masks_a_token_in_a_broken_answer(self):
        servers = self.start_servers()
        fault = servers.fault("code", "brokenJson")
        result = self.run_program(*self.with_servers(servers, "--json", "login", "youtube"))
        self.assert_ends(result, 1)
        self.assertEqual(servers.delivered(fault), 1)
        self.assertEqual(result.named("error")[0]["code"], -10000)
        self.assertRegex(result.named("error")[0]["text"], r"\*\*\*")


if __name__ == "__main__":
    unittest.main()
