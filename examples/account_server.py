#!/usr/bin/env python3
"""The smallest account server: what stands between the library and a platform's OAuth, so that a host never sees a password.

    account_server.py SETTINGS.json

SETTINGS is an object: "app_secret", which hosts have to show; "port" (0 takes a free one); "platforms", by the number that hosts
name, each with "authorize" and "token" (addresses of its OAuth 2), "client_id", "client_secret" and "scope". Prints the cloud
configuration for `mediatransfer --cloud-config`, but for the platforms' own addresses. What it knows ends with it: keep sessions
and tokens in a database, enciphered, and serve https, before anybody else uses it. See docs/protocols/account-server.md.
"""

import base64
import hashlib
import http.server
import json
import secrets
import sys
import threading
import time
import urllib.error
import urllib.parse
import urllib.request

LIFE_OF_A_TOKEN = 3600  # seconds, of the account server's own
LIFE_OF_A_SESSION = 900
LARGEST_BODY = 1 << 16

opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))


class Refused(Exception):
    """What the host hears as `code` and `msg`."""

    def __init__(self, code, message):
        super().__init__(message)
        self.code = code


class Session:
    """One login, from its opening until the host has fetched its outcome."""

    def __init__(self, number, platform, closing_url, scopes):
        self.number = number
        self.platform = platform
        self.closing_url = closing_url
        self.scope = " ".join(scopes) or platform["scope"]
        self.verifier = secrets.token_urlsafe(48)
        self.end = time.monotonic() + LIFE_OF_A_SESSION
        self.status = 0  # 0 pending, 1 done, 2 refused
        self.tokens = {}


class Broker:
    def __init__(self, settings):
        self.settings = settings
        self.url = ""
        self.lock = threading.Lock()
        self.account_tokens = {}
        self.sessions = {}
        self.platform_of_token = {}

    # What hosts ask; each answers with `data`.

    def credentials(self, body):
        if not secrets.compare_digest(str(body.get("app_secret")), self.settings["app_secret"]):
            raise Refused(40101, "invalid app_secret")
        token = secrets.token_urlsafe(32)
        with self.lock:
            now = time.monotonic()
            self.account_tokens = {kept: end for kept, end in self.account_tokens.items() if end > now}
            self.account_tokens[token] = now + LIFE_OF_A_TOKEN
        return {"access_token": token, "expires_in": LIFE_OF_A_TOKEN}

    def check(self, bearer):
        with self.lock:
            if self.account_tokens.get(bearer, 0) < time.monotonic():
                raise Refused(40102, "invalid access_token")

    def open_session(self, body):
        platform = self.settings["platforms"].get(str(body.get("platform")))
        if platform is None:
            raise Refused(40001, "unknown platform")
        number = secrets.token_urlsafe(24)
        with self.lock:
            now = time.monotonic()
            self.sessions = {key: kept for key, kept in self.sessions.items() if kept.end > now}
            self.sessions[number] = Session(number, platform, body.get("url"), body.get("scope") or [])
        return {"open_url": f"{self.url}/login/{number}", "session_id": number}

    def outcome(self, number):
        session = self.session(number)
        if session.status != 1:
            return {"status": session.status}
        return {"status": 1, "code": "", "callback_url": session.closing_url or f"{self.url}/done", **session.tokens}

    def renew(self, body):
        refresh = str(body.get("refresh_token"))
        with self.lock:
            platform = self.platform_of_token.get(refresh)
        if platform is None:
            raise Refused(40103, "invalid refresh_token")
        return self.fetch_tokens(platform, {"grant_type": "refresh_token", "refresh_token": refresh}, refresh)

    # What the browser and the platform do.

    def session(self, number):
        with self.lock:
            session = self.sessions.get(number)
        if session is None or session.end < time.monotonic():
            raise Refused(40401, "unknown login session")
        return session

    def authorize_address(self, number):
        session = self.session(number)
        digest = hashlib.sha256(session.verifier.encode()).digest()
        return f"{session.platform['authorize']}?" + urllib.parse.urlencode(
            {
                "response_type": "code",
                "client_id": session.platform["client_id"],
                "redirect_uri": f"{self.url}/callback",
                "scope": session.scope,
                "state": session.number,
                "code_challenge": base64.urlsafe_b64encode(digest).rstrip(b"=").decode(),
                "code_challenge_method": "S256",
                "access_type": "offline",
                "prompt": "consent",
            }
        )

    def finish(self, query):
        """The browser came back: with a code, or with the person's refusal."""
        session = self.session(query.get("state", ""))
        if session.status != 0:
            return
        if "code" not in query:
            session.status = 2
            return
        session.tokens = self.fetch_tokens(
            session.platform,
            {
                "grant_type": "authorization_code",
                "code": query["code"],
                "redirect_uri": f"{self.url}/callback",
                "code_verifier": session.verifier,
            },
        )
        session.status = 1

    def fetch_tokens(self, platform, fields, former=""):
        form = {**fields, "client_id": platform["client_id"], "client_secret": platform["client_secret"]}
        try:
            with opener.open(platform["token"], urllib.parse.urlencode(form).encode(), timeout=20) as reply:
                told = json.load(reply)
        except (urllib.error.URLError, ValueError) as failure:
            raise Refused(50201, f"the platform gave no token: {failure}") from failure
        refresh = told.get("refresh_token") or former  # many services keep the one that was given
        with self.lock:
            self.platform_of_token[refresh] = platform
        return {"access_token": told["access_token"], "refresh_token": refresh, "expires_in": int(told["expires_in"])}


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    broker = None  # of the server

    def do_POST(self):
        self.answer_host(
            {"/credentials": self.broker.credentials},
            {"/session": self.broker.open_session, "/token": self.broker.renew, "/consume": lambda body: {}},
        )

    def do_GET(self):
        path, _, query = self.path.partition("?")
        if path.startswith("/code/"):
            return self.answer_host({}, {path: lambda body: self.broker.outcome(path[len("/code/") :])})
        try:
            if path.startswith("/login/"):
                return self.send(302, "", {"Location": self.broker.authorize_address(path[len("/login/") :])})
            if path == "/callback":
                self.broker.finish(dict(urllib.parse.parse_qsl(query)))
        except Refused as refusal:
            return self.send(400, str(refusal))
        return self.send(200, "You may close this window.")

    def answer_host(self, open_to_all, with_bearer):
        try:
            length = int(self.headers.get("Content-Length") or 0)
            if length > LARGEST_BODY:
                raise Refused(40002, "too large")
            body = json.loads(self.rfile.read(length) or b"{}")
            if self.path not in open_to_all:
                self.broker.check((self.headers.get("Authorization") or "").removeprefix("Bearer "))
            data = {**open_to_all, **with_bearer}[self.path](body)
            reply = {"code": 0, "msg": "success", "data": data}
        except Refused as refusal:
            reply = {"code": refusal.code, "msg": str(refusal), "data": {}}
        except (KeyError, ValueError, AttributeError):
            reply = {"code": 40000, "msg": "no such request", "data": {}}
        self.send(200, json.dumps(reply), {"Content-Type": "application/json"})

    def send(self, status, text, headers=None):
        body = text.encode()
        self.send_response(status)
        for name, value in {"Content-Type": "text/plain; charset=utf-8", **(headers or {})}.items():
            self.send_header(name, value)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *_):
        """Addresses hold secrets."""


def main():
    if len(sys.argv) != 2:
        sys.exit("use: account_server.py SETTINGS.json")
    with open(sys.argv[1], encoding="utf-8") as file:
        broker = Broker(json.load(file))
    server = http.server.ThreadingHTTPServer(
        ("127.0.0.1", broker.settings.get("port", 0)), type("Own", (Handler,), {"broker": broker})
    )
    broker.url = f"http://127.0.0.1:{server.server_port}"
    keys = {
        "ClientCredentials": "credentials",
        "UserSupportSession": "session",
        "UserSupportCode": "code",
        "UserSupportToken": "token",
    }
    config = {f"urlLFServer{key}": f"{broker.url}/{path}" for key, path in keys.items()}
    config["urlUserSupportQueryConsume"] = f"{broker.url}/consume"
    print(json.dumps(config), flush=True)
    server.serve_forever()


if __name__ == "__main__":
    main()
