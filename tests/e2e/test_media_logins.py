"""Listings with the login that a script has stored: nobody copies a token."""

import unittest

from scripted import Scripted, make_home


def setUpModule():
    make_home()


class StoredLogin(Scripted):
    def list_there(self, servers, *command):
        return self.run_program("--cloud-config", servers.config, "--json", *command)

    def test_lists_with_all_three_logins(self):
        servers = self.start_services()
        for platform, command, count in (
            ("facebook", ("albums", "facebook"), 58),
            ("facebook", ("media", "facebook", "--album", "FACEBOOK_VIDEO"), 15),
            ("flickr", ("media", "flickr"), 138),
            ("instagram", ("media", "instagram"), 76),
        ):
            self.sign_in_there(platform)
            # Nothing but the stored login: no script takes part.
            result = self.run_program(
                "--cloud-config",
                servers.config,
                "--json",
                *command,
                env={"MEDIATRANSFER_PYTHON_HOME": "", "MEDIATRANSFER_SERVICES": ""},
            )
            self.assert_ends(result, 0)
            self.assertEqual(len(result.events), count + 1)

    def test_lists_the_media_of_who_signed_in_at_the_programs_own_stand_ins(self):
        self.assertEqual(self.run_program("--sandbox", "login", "flickr").code, 0)
        result = self.run_program("--sandbox", "--json", "media", "flickr")
        self.assert_ends(result, 0)
        self.assertEqual(len(result.events), 139)

    def test_a_token_that_is_given_goes_before(self):
        servers = self.start_services()
        self.sign_in_there("instagram")
        given = self.list_there(servers, "media", "instagram", "--token", "instagram-token-bruno")
        self.assertEqual(len(given.events), 33, given)

    def test_goes_to_no_other_server(self):
        self.start_services()
        self.sign_in_there("facebook")
        other = self.start_servers()
        result = self.list_there(other, "albums", "facebook")
        self.assert_ends(result, 1)
        self.assertIn("is not given to another server", result.named("error")[0]["text"])
        self.assertEqual(other.requests("facebookAlbums"), [])
        public = self.run_program("albums", "facebook")
        self.assertEqual(public.code, 1, public)
        self.assert_one_line(public.err, "is not given to another server, public")

    def test_without_a_login_says_how_to_sign_in(self):
        for command in (("albums", "facebook"), ("media", "instagram"), ("media", "flickr")):
            result = self.run_program(*command)
            self.assertEqual(result.code, 2, result)
            self.assert_one_line(result.err, "mediatransfer login " + command[1], "--token")

    def test_flickrs_application_is_named_whole(self):
        servers = self.start_services()
        self.sign_in_there("flickr")
        for name in ("MEDIATRANSFER_APP_ID", "MEDIATRANSFER_APP_SECRET"):
            del self.env[name]
        result = self.run_program("--cloud-config", servers.config, "media", "flickr")
        self.assertEqual(result.code, 2, result)
        self.assert_one_line(result.err, "--key K", "--secret S")

    def test_expired_login_says_how_to_renew_it(self):
        servers = self.start_services()
        short = '{"access_token":"long","expires_in":30}'
        servers.fault("instagramToken", "status", code=200, text=short, nth=2)
        page = '{"data":[{"instagram_business_account":{"id":"1","username":"ada"}}]}'
        servers.fault("instagramAccounts", "status", code=200, text=page)
        self.sign_in_there("instagram")
        result = self.run_program("--cloud-config", servers.config, "media", "instagram")
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "has expired", " verify instagram")

    def test_shows_the_token_nowhere(self):
        servers = self.start_services()
        self.sign_in_there("flickr")
        log = self.folder / "log.txt"
        result = self.run_program("--cloud-config", servers.config, "-v", "-v", "--log", log, "media", "flickr")
        self.assertEqual(result.code, 0, result)
        requests = servers.requests("flickrPhotos")
        token = requests[0]["target"].partition("oauth_token=")[2].partition("&")[0]
        self.assertGreater(len(token), 8)
        self.assertNotIn(token, log.read_text() + result.out + result.err)


if __name__ == "__main__":
    unittest.main()
