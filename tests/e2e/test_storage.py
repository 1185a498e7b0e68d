"""Logins that cannot be read or kept: nobody is told of a success that the next call would not find."""

import contextlib
import resource
import signal
import sqlite3
import unittest

from harness import HostTest, wait_until


class Storage(HostTest):
    def setUp(self):
        super().setUp()
        self.cache = self.folder / "data" / "mediatransfer" / "cache"

    def run_without_room(self, *arguments):
        """As on a full disk: no file grows beyond 4 KiB, whoever the program runs as."""

        def keep_files_small():
            resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096))
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)

        return self.run_command(self.command(*arguments), preexec_fn=keep_files_small, restore_signals=False)

    @contextlib.contextmanager
    def held_by_a_writer(self):
        """Who wants to save waits for half a minute and gives up."""
        writer = sqlite3.connect(self.cache / "ema_youtube_cache.db", isolation_level=None)
        try:
            writer.execute("BEGIN IMMEDIATE")
            yield
        finally:
            writer.close()

    def assert_still_signed_in(self, user):
        result = self.run_program("--json", "whoami", "youtube")
        self.assertEqual(result.named("user")[0]["user"], user, result)

    def test_a_disk_without_room_stops_a_command_before_it_spends_anything(self):
        servers = self.start_servers()
        user = self.sign_in(servers)
        asked = len(servers.requests("clientCredentials"))
        video = self.video()
        for command in (
            ("login", "youtube"),
            ("verify", "youtube"),
            ("logout", "youtube"),
            ("upload", "youtube", video),
        ):
            result = self.run_without_room(*self.with_servers(servers, *command))
            self.assertEqual(result.code, 1, result)
            self.assertEqual(result.out, "", result)
            self.assert_one_line(result.err, str(self.cache), "cannot be written", "room on its disk", "--cache-dir")
        self.assertEqual(self.run_without_room("whoami", "youtube").code, 0)
        self.assertGreater(asked, 0)
        self.assertEqual(len(servers.requests("clientCredentials")), asked)
        self.assertEqual(
            sorted(path.name for path in self.cache.iterdir()),
            ["ema_youtube_cache.db", "youtube_lock", "youtube_origin"],
        )
        self.assert_still_signed_in(user)

    def test_something_else_in_the_place_of_the_file(self):
        for name, platform in (("ema_youtube_cache.db", "youtube"), ("vimeo_script_login", "vimeo")):
            (self.cache / name).mkdir(parents=True)
            result = self.run_program("whoami", platform)
            self.assertEqual(result.code, 1, result)
            self.assert_one_line(result.err, name, "cannot be read")

    def lose_the_folder(self):
        """From now on a save fails at once, whoever the program runs as."""
        self.cache.rename(self.cache.with_name("lost"))
        self.cache.write_text("no folder")

    def test_a_login_that_cannot_be_kept_is_no_success(self):
        running = self.start_program(*self.with_servers(self.start_servers(), "--json", "login", "youtube"))
        running.wait_for_event("login_url")
        self.lose_the_folder()
        result = running.end()
        self.assert_ends(result, 1)
        self.assertEqual(result.named("login_done"), [])
        self.assertIn("cannot be kept", result.named("error")[-1]["text"])

    def run_and_lose_the_renewal(self, *command):
        servers = self.start_servers()
        self.signed_in(servers)
        fault = servers.fault("token", "stall")
        running = self.start_program(*self.with_servers(servers, "--json", *command))
        wait_until(lambda: servers.delivered(fault) == 1, "the stalled renewal")
        self.lose_the_folder()
        servers.ask("faults/release", {})
        return running.end()

    def test_a_renewal_that_cannot_be_kept_is_told(self):
        result = self.run_and_lose_the_renewal("verify", "youtube")
        self.assert_ends(result, 1)
        self.assertEqual(result.named("verified"), [])
        self.assertIn("cannot be kept", result.named("error")[-1]["text"])

    def test_an_upload_goes_on_with_a_renewal_that_cannot_be_kept(self):
        result = self.run_and_lose_the_renewal("upload", "youtube", self.video())
        self.assert_ends(result, 0)
        self.assertIn("cannot be kept", result.named("error")[0]["text"])
        self.assertEqual(len(result.named("finished")), 1)

    def test_a_logout_that_cannot_be_kept_is_no_success(self):
        user = self.signed_in(self.start_servers())
        with self.held_by_a_writer():
            result = self.run_program("--json", "logout", "youtube")
        self.assert_ends(result, 1)
        self.assertEqual(result.named("logged_out"), [])
        self.assertIn("cannot be taken out", result.named("error")[-1]["text"])
        self.assert_still_signed_in(user)

    def test_listings_and_downloads_need_no_folder_of_logins(self):
        self.env["XDG_DATA_HOME"] = "/dev/null/data"
        self.env["HOME"] = "/dev/null"
        servers = self.start_servers()
        picture = self.folder / "picture.jpg"
        done = self.run_program("download", servers.url + "/media/pictures/7_64x64.jpg", picture)
        self.assertEqual(done.code, 0, done)
        self.assertTrue(picture.stat().st_size > 0)
        albums = self.run_program(
            "--cloud-config", servers.config, "albums", "facebook", "--token", "facebook-token-ada"
        )
        self.assertEqual(albums.code, 0, albums)
        refused = self.run_program("whoami", "youtube")
        self.assertEqual(refused.code, 1, refused)
        self.assert_one_line(refused.err, "cannot be made")


if __name__ == "__main__":
    unittest.main()
