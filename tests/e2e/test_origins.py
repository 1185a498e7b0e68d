"""A login is of one server: its tokens travel to no other, and the stand-ins' logins never meet real ones."""

import unittest

from harness import HostTest
from scripted import Scripted, make_home


def setUpModule():
    make_home()


class AccountServer(HostTest):
    def setUp(self):
        super().setUp()
        self.former = self.start_servers()
        self.user = self.signed_in(self.former)
        self.other = self.start_servers()
        self.record = self.folder / "data/mediatransfer/cache/youtube_origin"

    def verify(self, servers):
        return self.run_program(*self.with_servers(servers, "verify", "youtube"))

    def assert_refused(self, servers, *command):
        asked = len(servers.ask("requests"))
        result = self.run_program(*self.with_servers(servers, *(command or ("verify", "youtube"))))
        self.assertEqual(result.code, 1, result)
        self.assertEqual(len(servers.ask("requests")), asked + 1, "only this question itself has come")
        self.assertEqual(result.out, "")
        return result

    def test_no_token_travels_to_another_server(self):
        for command in (("verify", "youtube"), ("upload", "youtube", self.video())):
            result = self.assert_refused(self.other, *command)
            self.assert_one_line(result.err, self.former.url, self.other.url, " login youtube")
        self.assertEqual(self.verify(self.former).code, 0)

    def test_signing_in_there_makes_it_the_login_s_server(self):
        self.assertEqual(self.sign_in(self.other), self.user)
        self.assertEqual(self.record.read_text(), self.other.url + "\n")
        self.assertEqual(self.verify(self.other).code, 0)
        self.assert_refused(self.former)

    def test_login_that_failed_there_leaves_the_former_one(self):
        self.other.fault("session", "status", code=500, text="{}")
        failed = self.run_program(*self.with_servers(self.other, "login", "youtube"))
        self.assertEqual(failed.code, 1, failed)
        self.assertEqual(self.verify(self.former).code, 0)

    def test_login_that_was_stopped_there_leaves_the_former_one(self):
        running = self.start_login_there()
        running.interrupt()
        self.assert_ends(running.end(), 130)
        self.assertEqual(self.verify(self.former).code, 0)

    def start_login_there(self):
        self.other.ask("consent", {"mode": "ask"})
        running = self.start_program(*self.with_servers(self.other, "--json", "login", "youtube", "--no-browser"))
        running.wait_for_event("login_url")
        return running

    def test_login_that_was_killed_there_leaves_a_doubt(self):
        self.start_login_there().kill()
        for servers in (self.former, self.other):
            self.assert_one_line(self.assert_refused(servers).err, "sign in again", " login youtube")
        self.sign_in(self.former)
        self.assertEqual(self.verify(self.former).code, 0)

    def test_login_without_a_record_takes_the_first_server_used(self):
        self.record.unlink()
        self.assertEqual(self.verify(self.former).code, 0)
        self.assert_refused(self.other)

    def test_logout_forgets_the_server_too(self):
        self.assertTrue(self.record.exists())
        self.assertEqual(self.run_program("logout", "youtube").code, 0)
        self.assertFalse(self.record.exists())

    def test_each_platform_has_a_server_of_its_own(self):
        self.sign_in(self.other, "tiktok")
        self.assertEqual(self.verify(self.former).code, 0)


class Sandbox(HostTest):
    def stored(self):
        cache = self.folder / "data/mediatransfer/cache"
        return {path.name: path.read_bytes() for path in cache.iterdir() if not path.name.endswith("_lock")}

    def test_logins_of_the_stand_ins_are_apart(self):
        servers = self.start_servers()
        self.signed_in(servers)
        before = self.stored()
        nobody = self.run_program("--sandbox", "verify", "youtube")
        self.assertEqual(nobody.code, 1, nobody)
        self.assert_one_line(nobody.err, "nobody is signed in", "mediatransfer --sandbox login youtube")
        for command in (("login",), ("verify",), ("whoami",), ("logout",)):
            self.assertEqual(self.run_program("--sandbox", *command, "youtube").code, 0, command)
        self.assertEqual(self.stored(), before)
        self.assertEqual(self.run_program(*self.with_servers(servers, "verify", "youtube")).code, 0)

    def test_login_of_the_stand_ins_is_taken_by_no_server(self):
        self.signed_in()
        cache = self.folder / "data/mediatransfer/sandbox/cache"
        servers = self.start_servers()
        result = self.run_program(*self.with_servers(servers, "--cache-dir", cache, "verify", "youtube"))
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "--sandbox", servers.url)
        self.assertEqual(servers.requests("clientCredentials"), [])


class Scripts(Scripted):
    def use(self, servers):
        self.env["MEDIATRANSFER_SERVICES"] = servers.services

    def test_no_token_travels_to_another_service(self):
        former = self.start_services()
        other = self.start_servers()
        for platform in (("vimeo",), ("youtube", "--script")):
            self.use(former)
            self.sign_in_there(*platform)
            self.use(other)
            for command in (("verify",), ("upload",)):
                file = [self.video()] if command == ("upload",) else []
                result = self.run_program(*command, *platform, *file)
                self.assertEqual(result.code, 1, result)
                self.assert_one_line(result.err, former.url, other.url, " login " + " ".join(platform))
            gone = self.run_program("logout", *platform)
            self.assertEqual(gone.code, 0, gone)
            self.assertIn("the service was not told: the stored login is from " + former.url, gone.out)
        self.assertEqual([entry["route"] for entry in other.ask("requests")], ["inspection"])

    def test_login_of_replaced_services_does_not_go_to_the_public_ones(self):
        servers = self.start_services()
        self.sign_in_there("flickr")
        del self.env["MEDIATRANSFER_SERVICES"]
        result = self.run_program("verify", "flickr")
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, servers.url, "public")

    def test_logins_of_the_stand_ins_are_apart(self):
        self.start_services()
        self.sign_in_there("vimeo")
        del self.env["MEDIATRANSFER_SERVICES"]
        before = self.kept_login("vimeo").read_bytes()
        for command in ("login", "verify", "logout"):
            self.assertEqual(self.run_program("--sandbox", command, "vimeo").code, 0, command)
        self.assertEqual(self.kept_login("vimeo").read_bytes(), before)


if __name__ == "__main__":
    unittest.main()
