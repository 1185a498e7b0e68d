"""The smallest hosts do what the README says."""

import subprocess
import unittest

from harness import BIN, LIMIT, MEDIA, SECRET, HostTest, sha256_of


class Examples(HostTest):
    def run_example(self, name, *arguments):
        return subprocess.run(
            [str(BIN / name), *map(str, arguments)], env=self.env, capture_output=True, timeout=LIMIT, check=False
        )

    def test_login_and_upload(self):
        servers = self.start_servers()
        login = self.run_example("minimal_login", servers.config, SECRET)
        self.assertEqual(login.returncode, 0, login)
        video = self.video(3 * 1024 * 1024)
        upload = self.run_example("minimal_upload", servers.config, SECRET, video)
        self.assertEqual(upload.returncode, 0, upload)
        self.assertEqual(servers.uploads()[0]["sha256"], sha256_of(video))

    def test_upload_after_the_program_signed_in(self):
        servers = self.start_servers()
        self.sign_in(servers)
        upload = self.run_example("minimal_upload", servers.config, SECRET, self.video())
        self.assertEqual(upload.returncode, 0, upload)

    def test_readme_shows_the_heart_of_the_upload(self):
        root = MEDIA.parent.parent
        shown = (root / "README.md").read_text().split("```cpp\n")[1].split("```")[0]
        self.assertEqual(len(shown.splitlines()), 10)
        self.assertIn(shown, (root / "examples" / "minimal_upload.cpp").read_text())

    def test_login_with_a_wrong_secret(self):
        servers = self.start_servers()
        self.assertEqual(self.run_example("minimal_login", servers.config, "wrong").returncode, 1)

    def test_wrong_use(self):
        for name in ("minimal_login", "minimal_upload"):
            self.assertEqual(self.run_example(name).returncode, 2)


if __name__ == "__main__":
    unittest.main()
