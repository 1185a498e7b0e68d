"""A platform whose steps the test gives, and the ground that its tests stand on."""

import unittest
from unittest import mock

from pysocialnetwork import oauth2, renewal
from pysocialnetwork.login import Login
from pysocialnetwork.account import Account

import support
from support import Host, quick

REDIRECT = "http://localhost/done"


class Probe(oauth2.OAuth2Uploader):
    """A platform whose steps the test gives."""

    platform = "probe"
    login_service = "vimeoLogin"
    scope = "all"
    uses_pkce = True

    def __init__(self):
        super().__init__()
        self.upload = lambda job, wire: "https://video"
        self.exchange = lambda code, verifier: Login("probe", "token-" + code, user_name="Zoë")
        self.renew = lambda login: None
        self.account = Account
        self.revoked = []

    def _upload(self, job, wire):
        return self.upload(job, wire)

    def _exchange_code(self, wire, code, verifier):
        return self.exchange(code, verifier)

    def _confirm(self, wire, login):
        pass

    def _renew(self, wire, login):
        return self.renew(login)

    def _read_account(self, wire):
        return self.account()

    def _revoke(self, wire, login):
        self.revoked.append(login.access)


class UploaderCase(unittest.TestCase):
    def setUp(self):
        clean = support.environment()
        clean.start()
        self.addCleanup(clean.stop)
        # What became of a login of another test's is none of this one's.
        own = mock.patch.object(renewal, "renewals", renewal.Renewals())
        own.start()
        self.addCleanup(own.stop)
        self.host = Host()
        self.uploader = quick(self.host.attach(Probe()))
        self.uploader.SetAppKey("key")
        self.uploader.SetAppSecret("app-secret")
        self.uploader.SetRedirectURL(REDIRECT)

    def sign_in(self, **fields):
        self.uploader.set_login(Login(**{"platform": "probe", "access": "old-token", **fields}))

    def start(self, path="/x", **fields):
        values = {"title": "", "description": "", "privacy": "", "tags": "", "category": "", **fields}
        self.uploader.StartUpload(path, *values.values())

    def state(self):
        return self.uploader._pending.values[0]
