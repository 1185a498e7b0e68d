"""The smallest hosts do what the README says."""

import unittest

from harness import BIN, SECRET, HostTest, sha256_of


class Examples(HostTest):
    def run_example(self, name, *arguments):
        return self.run_command([BIN / name, *arguments])

    def test_login_and_upload(self):
        servers = self.start_servers()
        login = self.run_example("minimal_login", servers.config, SECRET)
        self.assertEqual(login.code, 0, login)
        video = self.video(3 * 1024 * 1024)
        upload = self.run_example("minimal_upload", servers.config, SECRET, video)
        self.assertEqual(upload.code, 0, upload)
        self.assertEqual(servers.uploads()[0]["sha256"], sha256_of(video))

    def test_upload_after_the_program_signed_in(self):
        servers = self.start_servers()
        self.sign_in(servers)
        upload = self.run_example("minimal_upload", servers.config, SECRET, self.video())
        self.assertEqual(upload.code, 0, upload)

    def test_login_with_a_wrong_secret(self):
        servers = self.start_servers()
        self.assertEqual(self.run_example("minimal_login", servers.config, "wrong").code, 1)

    def test_list(self):
        servers = self.start_servers()
        picture = self.folder / "picture"
        listed = self.run_example("minimal_list", servers.config, "instagram-token-ada", picture)
        self.assertEqual(listed.code, 0, listed)
        self.assertGreater(picture.stat().st_size, 0)
        self.assertEqual(self.run_example("minimal_list", servers.config, "nobody", picture).code, 1)

    def test_own_surroundings(self):
        servers = self.start_servers()
        cache = self.folder / "own-cache"
        cache.mkdir()
        (cache / "ema_youtube_cache.db").write_text("no database")
        asked = self.run_example("own_surroundings", servers.url, self.folder, SECRET)
        self.assertEqual(asked.code, 1, asked)
        self.assertEqual(asked.out.splitlines()[0], "nobody")
        self.assertRegex(asked.err, r"\A([EW] \w+\.(cpp|h):\d+ .+\n)+\Z")

    def test_wrong_use(self):
        for name in ("minimal_list", "minimal_login", "minimal_upload", "own_surroundings"):
            self.assertEqual(self.run_example(name).code, 2)


if __name__ == "__main__":
    unittest.main()
