"""Verify, whoami and logout, good and bad."""

import unittest

from harness import HostTest, login_folders


class Verify(HostTest):
    def test_renews_the_token_of_the_stored_login(self):
        user = self.signed_in()
        result = self.run_program("--sandbox", "--json", "verify", "youtube", "--user", user)
        self.assert_ends(result, 0)
        self.assertEqual([event["event"] for event in result.events], ["token_changed", "verified", "done"])
        self.assertEqual(result.named("verified")[0]["user"], user)
        self.assertTrue(result.named("verified")[0]["account"])

    def test_tells_people(self):
        self.signed_in()
        result = self.run_program("--sandbox", "verify", "youtube")
        self.assertEqual(result.code, 0, result)
        self.assertRegex(result.out, r"the youtube login of .+ is good\n$")

    def test_without_a_login_says_how_to_sign_in(self):
        plain = self.run_program("--sandbox", "verify", "youtube")
        self.assertEqual(plain.code, 1, plain)
        self.assert_one_line(plain.err, "nobody is signed in", "mediatransfer --sandbox login youtube")
        lines = self.run_program("--sandbox", "--json", "verify", "youtube")
        self.assert_ends(lines, 1)
        self.assertEqual(
            lines.events[0], {"event": "error", "code": -10021, "text": "ema_youtube.1, empty data", "cause": "login"}
        )

    def test_of_an_unknown_user(self):
        self.signed_in()
        lines = self.run_program("--sandbox", "--json", "verify", "youtube", "--user", "nobody")
        self.assert_ends(lines, 1)
        self.assertEqual(lines.named("error")[0]["code"], -10021)
        plain = self.run_program("--sandbox", "verify", "youtube", "--user", "nobody")
        self.assert_one_line(plain.err, "no such user is signed in", "mediatransfer --sandbox whoami")

    def test_a_refresh_token_that_was_spent_elsewhere(self):
        servers = self.start_servers()
        self.signed_in(servers)
        former = (self.folder / "data/mediatransfer/cache/ema_youtube_cache.db").read_bytes()
        self.assertEqual(self.run_program(*self.with_servers(servers, "verify", "youtube")).code, 0)
        (self.folder / "data/mediatransfer/cache/ema_youtube_cache.db").write_bytes(former)
        plain = self.run_program(*self.with_servers(servers, "verify", "youtube"))
        self.assertEqual(plain.code, 1, plain)
        self.assert_one_line(plain.err, "does not renew the login (40103", " login youtube")
        upload = self.run_program(*self.with_servers(servers, "upload", "youtube", self.video()))
        self.assertEqual(upload.code, 0, upload)
        self.assert_one_line(upload.err, "does not renew the login (40103", "going on with the stored token")

    def test_refused_by_the_account_server(self):
        servers = self.start_servers()
        self.signed_in(servers)
        fault = servers.fault("token", "status", code=500, text="broken")
        result = self.run_program(*self.with_servers(servers, "--json", "verify", "youtube"))
        self.assert_ends(result, 1)
        self.assertEqual(result.named("error")[0]["code"], 500)
        self.assertEqual(servers.delivered(fault), 1)


class Whoami(HostTest):
    def test_shows_people_what_is_known(self):
        user = self.signed_in()
        result = self.run_program("--sandbox", "whoami", "youtube")
        self.assertEqual(result.code, 0, result)
        for word in ("name", "account", "account id", user):
            self.assertIn(word, result.out)

    def test_lists_no_categories_where_uploads_send_none(self):
        self.signed_in()
        result = self.run_program("--sandbox", "whoami", "youtube")
        self.assertEqual(result.code, 0, result)
        self.assertNotIn("categories", result.out)

    def test_without_a_login(self):
        result = self.run_program("whoami", "youtube")
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "mediatransfer login youtube")

    def test_of_an_unknown_user(self):
        self.signed_in()
        result = self.run_program("--sandbox", "whoami", "youtube", "--user", "nobody")
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "nobody", "mediatransfer --sandbox whoami youtube")

    def test_after_the_key_was_lost(self):
        self.signed_in()
        (login_folders(self.folder, servers=None)[1] / "cipher.key").unlink()
        self.assertEqual(self.run_program("--sandbox", "whoami", "youtube").code, 1)
        self.sign_in()


class Logout(HostTest):
    def test_forgets_the_user(self):
        user = self.signed_in()
        result = self.run_program("--sandbox", "--json", "logout", "youtube")
        self.assert_ends(result, 0)
        self.assertEqual(result.events[0]["event"], "logged_out")
        self.assertEqual(result.events[0]["user"], user)
        self.assertEqual(self.run_program("--sandbox", "whoami", "youtube").code, 1)

    def test_tells_people(self):
        self.signed_in()
        result = self.run_program("--sandbox", "logout", "youtube")
        self.assertEqual(result.code, 0, result)
        self.assertRegex(result.out, r"^signed out .+ of youtube\n$")

    def test_without_a_login(self):
        result = self.run_program("--json", "logout", "youtube")
        self.assert_ends(result, 1)
        self.assertEqual(result.events[0]["code"], -10021)

    def test_of_an_unknown_user_leaves_the_others(self):
        user = self.signed_in()
        result = self.run_program("--sandbox", "logout", "youtube", "--user", "nobody")
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "nobody")
        self.assertEqual(self.run_program("--sandbox", "whoami", "youtube", "--user", user).code, 0)


if __name__ == "__main__":
    unittest.main()
