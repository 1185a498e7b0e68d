"""Further users with logins of their own, and who is signed in where."""

import re
import stat
import unittest

from scripted import Scripted, location, make_home


def setUpModule():
    make_home()


class Profiles(Scripted):
    def sign_in_as(self, servers, place, *profile):
        """The person at that place of the stand-ins' list, by a script."""
        page = location(self.login_address("vimeo", *profile))
        reached = location(page, {"decision": "allow", "user": servers.ask("users")[place]["open_id"]})
        result = self.run_program("--json", "login", "vimeo", *profile, "--redirect-url", reached)
        self.assert_ends(result, 0)
        return result.named("login_done")[0]

    def test_two_people_stay_signed_in_to_one_platform(self):
        servers = self.start_services("--consent", "ask")
        ada = self.sign_in_as(servers, 0)
        bruno = self.sign_in_as(servers, 1, "--profile", "work")
        self.assertNotEqual(ada["name"], bruno["name"])
        for login, options in ((ada, ()), (bruno, ("--profile", "work"))):
            self.assertEqual(self.run_program("--json", "whoami", "vimeo", *options).events[0]["name"], login["name"])
            upload = self.run_program("--json", "upload", "vimeo", self.video(), *options)
            self.assert_ends(upload, 0)
            self.assertEqual(upload.named("verified")[0]["name"], login["name"])
        self.assertEqual(self.run_program("logout", "vimeo").code, 0)
        self.assertEqual(self.run_program("verify", "vimeo", "--profile", "work").code, 0)

    def test_profile_has_key_and_logins_of_its_own(self):
        servers = self.start_servers()
        result = self.run_program(*self.with_servers(servers, "--profile", "work", "login", "youtube"))
        self.assertEqual(result.code, 0, result)
        data = self.folder / "data" / "mediatransfer"
        self.assertEqual([path.name for path in data.iterdir()], ["profiles"])
        own = data / "profiles" / "work"
        for path in (data / "profiles", own, own / "cache"):
            self.assertEqual(stat.S_IMODE(path.stat().st_mode), 0o700, path)
        for name in ("cipher.key", "cache/ema_youtube_cache.db"):
            self.assertTrue((own / name).exists(), name)

    def test_status_shows_everybody(self):
        for arguments in (
            ("login", "youtube"),
            ("login", "vimeo", "--manager"),
            ("--profile", "work", "login", "youtube", "--script"),
            ("--profile", "work", "login", "flickr"),
        ):
            result = self.run_program("--sandbox", *arguments)
            self.assertEqual(result.code, 0, result)
        plain = self.run_program("--sandbox", "status")
        self.assertEqual((plain.code, plain.complaints), (0, ""), plain)
        rows = [re.split(" {2,}", line) for line in plain.out.splitlines()]
        self.assertEqual(
            [(row[0], row[1]) for row in rows],
            [
                ("PROFILE", "PLATFORM"),
                ("default", "youtube"),
                ("default", "vimeo --manager"),
                ("work", "youtube --script"),
                ("work", "flickr"),
            ],
        )
        for line in plain.out.splitlines()[1:]:
            self.assertRegex(line, "Ada Quill|[0-9]{20}")
        lines = self.run_program("--sandbox", "--json", "status")
        self.assert_ends(lines, 0)
        self.assertEqual(
            [(login["profile"], login["platform"], login["way"]) for login in lines.named("login")],
            [
                ("default", "youtube", "manager"),
                ("default", "vimeo", "manager"),
                ("work", "youtube", "script"),
                ("work", "flickr", "script"),
            ],
        )
        # The stand-ins' logins are no real ones.
        nobody = self.run_program("status")
        self.assertEqual(
            (nobody.code, nobody.out), (0, "nobody is signed in; sign in with: mediatransfer login PLATFORM\n")
        )

    def test_status_names_the_server(self):
        servers = self.start_services()
        self.signed_in(servers)
        result = self.run_program("--json", "status")
        self.assert_ends(result, 0)
        self.assertEqual(result.named("login")[0]["server"], servers.url)

    def test_status_goes_on_behind_a_login_that_cannot_be_read(self):
        self.start_services()
        self.sign_in_there("flickr")
        self.sign_in_there("twitch")
        self.kept_login("flickr").write_bytes(b"damaged")
        result = self.run_program("status")
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "flickr login", "is damaged", "mediatransfer login flickr")
        self.assertRegex(result.out, r"(?m)^default +twitch ")

    def test_hints_name_the_profile(self):
        result = self.run_program("--profile", "work", "whoami", "youtube")
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "sign in with: mediatransfer --profile work login youtube")

    def test_names_that_lead_elsewhere_are_refused(self):
        for name in ("..", "a/b", "-x", "a.key", "ä", "x" * 65):
            result = self.run_program("--profile=" + name, "whoami", "youtube")
            self.assertEqual(result.code, 2, result)
            self.assert_one_line(result.err, "the name of a profile")

    def test_environment_names_a_profile_and_default_is_the_one_without(self):
        self.start_services()
        self.sign_in_there("vimeo")
        self.env["MEDIATRANSFER_PROFILE"] = "work"
        self.assertEqual(self.run_program("whoami", "vimeo").code, 1)
        self.assertEqual(self.run_program("--profile", "default", "whoami", "vimeo").code, 0)


if __name__ == "__main__":
    unittest.main()
