"""An account server that somebody else wrote, from what docs/protocols/account-server.md says: the example."""

import json
import pathlib
import sys
import unittest

from harness import HostTest, Running, opener, sha256_of, wait_until

SERVER = pathlib.Path(__file__).resolve().parents[2] / "examples" / "account_server.py"


class ForeignAccountServer(HostTest):
    def setUp(self):
        super().setUp()
        self.servers = self.start_servers("--app-redirect", "")  # any
        services = json.loads(self.servers.services.read_text())
        platform = {
            "authorize": services["googleLogin"],
            "token": services["googleToken"],
            "client_id": "sandbox-app-id",
            "client_secret": "sandbox-app-secret",
            "scope": "https://www.googleapis.com/auth/youtube.upload",
        }
        settings = self.folder / "settings.json"
        settings.write_text(json.dumps({"app_secret": "foreign-secret", "platforms": {"0": platform}}))
        running = Running([sys.executable, str(SERVER), str(settings)], self.env)
        self.addCleanup(running.kill)
        own = json.loads(running.out.wait_for(lambda line: True, "the configuration"))
        self.config = self.folder / "foreign.json"
        self.config.write_text(json.dumps({**json.loads(self.servers.config.read_text()), **own}))

    def arguments(self, *rest, secret="foreign-secret"):
        return ["--cloud-config", self.config, "--app-secret", secret, *rest]

    def sign_in_by_browser(self):
        login = self.start_program(*self.arguments("--json", "login", "youtube"))
        address = login.wait_for_event("login_url")["url"]
        with opener.open(address, timeout=60) as page:  # consent is automatic; redirections end at the account server
            self.assertIn(b"You may close this window", page.read())
        return login.end()

    def test_login_verification_upload_and_renewal(self):
        done = self.sign_in_by_browser()
        self.assertEqual(done.code, 0, done)
        verified = self.run_program(*self.arguments("verify", "youtube"))
        self.assertEqual(verified.code, 0, verified)
        video = self.video()
        upload = self.run_program(*self.arguments("upload", "youtube", video, "--title", "Sea"))
        self.assertEqual(upload.code, 0, upload)
        sent = wait_until(self.servers.uploads, "the upload")
        self.assertEqual(sent[0]["sha256"], sha256_of(video))

    def test_a_wrong_secret_is_refused(self):
        refused = self.run_program(*self.arguments("login", "youtube", secret="wrong"))
        self.assertNotEqual(refused.code, 0)
        self.assertIn("invalid app_secret", refused.err)


if __name__ == "__main__":
    unittest.main()
