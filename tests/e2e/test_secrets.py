"""Marked secrets: whatever the program signs in, uploads, lists and fails with, they stand in no line and in no file."""

import base64
import json
import shutil
import unittest
import urllib.parse

from harness import Running, accepts, free_port, kept_records, wait_until
from scripted import PLATFORMS, Scripted, location, make_home

APP_SECRET = "marked+app/secret=7f3c"
PASSWORD = "marked.proxy.password-91d2"


def setUpModule():
    make_home()


def spellings(secret):
    """How a text can stand in a file: as it is, percent-encoded, in JSON, in base64, as hexadecimal digits."""
    raw = secret.encode() if isinstance(secret, str) else secret
    text = raw.decode("latin-1")
    forms = {
        raw,
        raw.hex().encode(),
        base64.b64encode(raw).rstrip(b"="),
        urllib.parse.quote_from_bytes(raw, safe="").encode(),
    }
    if text.isascii() and text.isprintable():
        forms.add(json.dumps(text)[1:-1].replace("/", "\\/").encode())
    return forms


class Secrets(Scripted):
    def setUp(self):
        super().setUp()
        self.state = self.folder / "state"
        self.servers = self.start_services("--app-secret", APP_SECRET, "--state-dir", self.state)
        self.env["MEDIATRANSFER_APP_SECRET"] = APP_SECRET
        self.log = self.folder / "log.txt"
        self.shown = b""
        self.texts = {}

    def run_marked(self, *arguments, code=0):
        """One command with all that it has to tell, for people and as JSON lines."""
        result = self.run_program("--log", self.log, "-v", "-v", *arguments)
        self.assertEqual(result.code, code, result)
        self.shown += (result.out + result.err).encode()
        return result

    def both_forms(self, *arguments, code=0):
        for form in ((), ("--json",)):
            self.run_marked(*form, *arguments, code=code)

    def native(self, *arguments):
        return ("--cloud-config", self.servers.config, *arguments)

    def start_proxy(self):
        port = free_port()
        config = self.folder / "tinyproxy.conf"
        config.write_text(f"Port {port}\nListen 127.0.0.1\nTimeout 60\nMaxClients 20\nBasicAuth visitor {PASSWORD}\n")
        proxy = Running([shutil.which("tinyproxy") or "/usr/bin/tinyproxy", "-d", "-c", str(config)], self.env)
        self.addCleanup(proxy.kill)
        wait_until(lambda: accepts(port), "the proxy")
        self.own = {config}
        return f"http://visitor:{urllib.parse.quote(PASSWORD, safe='')}@127.0.0.1:{port}"

    def issued_tokens(self):
        """All tokens that the servers gave out, of every kind and platform."""
        tokens = [token for token in kept_records(self.state / "sandbox.db", "tokens") if len(token) >= 16]
        self.assertGreater(len(tokens), 6)
        return tokens

    def assert_nowhere(self, secrets, but=()):
        """Searches what was shown and every file that the program made."""
        places = {"what was shown": self.shown}
        # The servers' own memory, the proxy's configuration and the interpreter's home are not the program's.
        theirs = {self.state, self.servers.config, *but, *getattr(self, "own", ())}
        for path in self.folder.rglob("*"):
            if path.is_file() and not any(path == other or other in path.parents for other in theirs):
                places[str(path.relative_to(self.folder))] = path.read_bytes()
        self.assertIn("log.txt", places)
        for secret in secrets:
            for form in spellings(secret):
                for name, contents in places.items():
                    at = contents.find(form)
                    self.assertEqual(at, -1, (name, secret, contents[max(0, at - 150) : at + 80]))

    def key(self):
        return self.folder / "data/mediatransfer/cipher.key"

    def test_native_journeys(self):
        video = self.video()
        for platform in ("youtube", "tiktok", "douyin"):
            for command in (
                ("login", platform),
                ("verify", platform),
                ("upload", platform, video),
                ("whoami", platform),
            ):
                self.both_forms(*self.native(*command))
        self.assert_nowhere([APP_SECRET, *self.issued_tokens()])
        self.assert_nowhere([self.key().read_bytes()], but=[self.key()])
        for platform in ("youtube", "tiktok", "douyin"):
            self.run_marked("logout", platform)
        self.assert_nowhere([APP_SECRET, *self.issued_tokens()])

    def test_through_a_proxy(self):
        proxy = ("--proxy", self.start_proxy())
        self.both_forms(*proxy, *self.native("login", "youtube"))
        self.both_forms(*proxy, *self.native("upload", "youtube", self.video()))
        wrong = "http://visitor:marked-wrong-word@" + proxy[1].rsplit("@", 1)[1]
        self.both_forms("--proxy", wrong, *self.native("verify", "youtube"), code=1)
        self.assert_nowhere([PASSWORD, "marked-wrong-word", "visitor:" + PASSWORD, APP_SECRET, *self.issued_tokens()])

    def test_scripted_journeys(self):
        video = self.video()
        for platform in PLATFORMS:
            address = self.run_marked("--json", "login", *platform, code=1).named("login_url")[0]["url"]
            self.run_marked("login", *platform, "--redirect-url", location(address))
            self.both_forms("verify", *platform)
            self.both_forms("upload", *platform, video)
            self.both_forms("whoami", *platform)
        self.assert_nowhere([APP_SECRET, *self.issued_tokens()])
        # What is left of a stored login where a line held one.
        self.shown = self.shown.replace(b"mt1.***", b"")
        self.log.write_bytes(self.log.read_bytes().replace(b"mt1.***", b""))
        self.assert_nowhere([b"mt1."])
        for platform in PLATFORMS:
            self.run_marked("logout", *platform)
        self.assert_nowhere([APP_SECRET, *self.issued_tokens()])

    def test_servers_that_quote_what_they_were_sent(self):
        self.run_marked(*self.native("login", "youtube"))
        access, refresh = "quoted-access-token-1", "quoted-refresh-token-2"
        quotes = (
            f"X-App-Secret: {APP_SECRET}\r\nAuthorization: Bearer {access}",
            json.dumps({"code": 5, "msg": f"app_secret={APP_SECRET}", "data": {"access_token": access}}),
            json.dumps({"error": {"message": f"{APP_SECRET} refresh_token={refresh}", "code": 403}}),
            json.dumps({"access_token": [access], "refresh_token": [refresh]}),
        )
        for text in quotes:
            for route, command in (
                ("token", ("verify", "youtube")),
                ("youtubeUploadOpen", ("upload", "youtube", self.video(), "--patience", "5")),
            ):
                for status in (200, 403):
                    fault = self.servers.fault(route, "status", code=status, text=text, times=0)
                    # Both wait in silence for some seconds, and do so at once.
                    forms = (("--log", self.log), ("--log", self.folder / "log_of_lines.txt", "--json"))
                    for program in [self.start_program(*form, "-v", "-v", *self.native(*command)) for form in forms]:
                        result = program.end()
                        self.assertEqual(result.code, 1, result)
                        self.shown += (result.out + result.err).encode()
                    self.assertGreater(self.servers.delivered(fault), 0)
                    self.servers.ask("faults/clear", {})
        self.assert_nowhere([APP_SECRET, access, refresh])

    def test_listings(self):
        token, secret = "marked-listing-token-3", "marked-listing-secret-4"
        for command in (
            ("albums", "facebook", "--token", token),
            ("media", "facebook", "--token", token, "--album", "1"),
            ("media", "instagram", "--token", token),
            ("media", "flickr", "--key", "marked-key", "--secret", secret, "--token", f"{token}|{secret}-5"),
            ("media", "flickr", "--key", "marked-key", "--secret", secret, "--token", "|" + token),
        ):
            self.both_forms(*self.native(*command), code=1)
        self.both_forms(*self.native("albums", "facebook", "--token", "facebook-token-ada"))
        self.both_forms(*self.native("media", "instagram", "--token", "instagram-token-ada"))
        self.assert_nowhere([token, secret, "facebook-token-ada", "instagram-token-ada"])


if __name__ == "__main__":
    unittest.main()
