"""What spares people words: settings in the environment, and calls that say little."""

import os
import shutil
import unittest

from harness import BIN, SECRET, HostTest


class Environment(HostTest):
    def test_stands_for_every_global_option(self):
        cache = self.folder / "elsewhere"
        self.env["MEDIATRANSFER_SANDBOX"] = "1"
        self.env["MEDIATRANSFER_CACHE_DIR"] = str(cache)
        self.env["MEDIATRANSFER_JSON"] = "true"
        self.env["MEDIATRANSFER_LOG"] = str(self.folder / "log.txt")
        result = self.run_program("login", "tiktok")
        self.assert_ends(result, 0)
        self.assertTrue((self.folder / "elsewhere.sandbox" / "cache").exists())
        self.assertTrue((self.folder / "log.txt").exists())
        self.assert_ends(self.run_program("nonsense"), 2)

    def test_command_line_goes_before_it(self):
        servers = self.start_servers()
        self.env["MEDIATRANSFER_CLOUD_CONFIG"] = str(self.folder / "none.json")
        self.assertEqual(self.run_program("--sandbox", "login", "tiktok").code, 0)
        del self.env["MEDIATRANSFER_CLOUD_CONFIG"]
        self.env["MEDIATRANSFER_SANDBOX"] = "1"
        self.env["MEDIATRANSFER_CONSENT"] = "ask"
        result = self.run_program(*self.with_servers(servers, "login", "tiktok"))
        self.assertEqual(result.code, 0, result)
        origin = self.folder / "data" / "mediatransfer" / "cache" / "tiktok_origin"
        self.assertEqual(origin.read_text().strip(), servers.url)

    def test_two_kinds_of_servers_are_refused(self):
        self.env["MEDIATRANSFER_SANDBOX"] = "1"
        self.env["MEDIATRANSFER_CLOUD_CONFIG"] = "x.json"
        result = self.run_program("whoami", "youtube")
        self.assertEqual(result.code, 2, result)
        self.assert_one_line(result.err, "exclude each other")


class Hints(HostTest):
    def paste(self, hint):
        """What somebody's shell makes of the line."""
        return self.run_command(["sh", "-c", hint], env={**self.env, "PATH": f"{BIN}:{os.environ['PATH']}"})

    def hint(self, result):
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "sign in with: ")
        return result.err.split("sign in with: ", 1)[1].strip()

    def test_can_be_pasted_as_they_are(self):
        servers = self.start_servers()
        secret = self.folder / "it's secret.txt"
        secret.write_text(SECRET + "\n")
        config = self.folder / "my $servers & mine.json"
        shutil.copy(servers.config, config)
        options = ["--cloud-config", config, "--app-secret", f"@{secret}", "--profile", "work"]
        options += ["--cache-dir", self.folder / "the cache"]
        hint = self.hint(self.run_program(*options, "verify", "tiktok"))
        pasted = self.paste(hint)
        self.assertEqual(pasted.code, 0, pasted)
        self.assertEqual(self.run_program(*options, "verify", "tiktok").code, 0)

    def test_leave_out_what_is_in_force_anyway(self):
        servers = self.start_servers()
        self.env["MEDIATRANSFER_CLOUD_CONFIG"] = str(servers.config)
        self.assertEqual(self.run_program("config", "set", "app-secret", SECRET).code, 0)
        hint = self.hint(self.run_program("verify", "tiktok"))
        self.assertEqual(hint, "mediatransfer login tiktok")
        self.assertEqual(self.paste(hint).code, 0)

    def test_tell_no_secret(self):
        servers = self.start_servers()
        result = self.run_program(*self.with_servers(servers, "verify", "tiktok"))
        self.assertTrue(self.hint(result).endswith("--app-secret SECRET login tiktok"), result)


class Quiet(HostTest):
    def test_prints_results_alone(self):
        self.signed_in()
        upload = self.run_program("--sandbox", "--quiet", "upload", "youtube", self.video())
        self.assertEqual((upload.code, upload.complaints), (0, ""), upload)
        self.assertRegex(upload.out, r"^uploaded: https://[^\n]+\n$")
        target = self.folder / "x.jpg"
        for command in (
            ("verify", "youtube"),
            ("download", "/media/pictures/7_64x64.jpg", target),
            ("logout", "youtube"),
        ):
            result = self.run_program("--sandbox", "-q", *command)
            self.assertEqual((result.code, result.out, result.err), (0, "", ""), result)
        self.assertTrue(target.exists())

    def test_prints_troubles_all_the_same(self):
        result = self.run_program("-q", "--sandbox", "verify", "youtube")
        self.assertEqual((result.code, result.out), (1, ""), result)
        self.assert_one_line(result.err, "nobody is signed in")

    def test_a_login_says_what_has_to_be_done(self):
        result = self.run_program(
            "-q", "--sandbox", "--consent", "ask", "login", "tiktok", "--no-browser", "--timeout", "1"
        )
        self.assertEqual(result.code, 1, result)
        self.assertIn("sign in with a browser at: http://", result.out)


class Causes(HostTest):
    def cause(self, *arguments):
        return self.run_program("--json", *arguments).named("error")[0]["cause"]

    def test_of_each_kind_are_told_apart(self):
        servers = self.start_servers()
        self.signed_in(servers)
        picture = servers.url + "/media/pictures/none.jpg"
        self.assertEqual(self.cause("uplaod"), "interface")
        self.assertEqual(self.cause("--sandbox", "verify", "youtube"), "login")
        self.assertEqual(self.cause("whoami", "tiktok"), "login")
        self.assertEqual(self.cause("download", picture, self.folder / "x"), "refused")
        self.assertEqual(self.cause("download", picture, self.folder / "none" / "x"), "file")
        self.assertEqual(self.cause("--sandbox", "upload", "youtube", self.folder / "none.mp4"), "file")
        servers.stop()
        self.assertEqual(self.cause("download", picture, self.folder / "x"), "network")
        self.assertEqual(self.cause(*self.with_servers(servers, "verify", "youtube")), "network")


if __name__ == "__main__":
    unittest.main()
