"""An uploader of one platform that is signed in, and a small server in the place of all its services."""

import json
import unittest
from unittest import mock

from pysocialnetwork import renewal
from pysocialnetwork.connection import Answer
from pysocialnetwork.login import Login
from pysocialnetwork.wire import Wire

import support
from support import Host, Reply, Server, quick

FINISHED, ERROR, TOKEN_INVALID = 2, 3, 4


def answer(status, content, **headers):
    body = content if isinstance(content, bytes) else json.dumps(content).encode()
    return Answer(status, headers, body)


def as_reply(content, status=200, **headers):
    return Reply(status, json.dumps(content), {name.replace("_", "-"): value for name, value in headers.items()})


class PlatformCase(unittest.TestCase):
    """The platform's module is `module`; `login` is what is known of the user."""

    module = None
    login = {}

    def setUp(self):
        clean = support.environment()
        clean.start()
        self.addCleanup(clean.stop)
        # What became of a login of another test's is none of this one's.
        own = mock.patch.object(renewal, "renewals", renewal.Renewals())
        own.start()
        self.addCleanup(own.stop)
        self.uploader = quick(self.module.Uploader())
        self.uploader.SetAppKey("key")
        self.uploader.SetAppSecret("app-secret")
        self.uploader.SetRedirectURL("http://localhost/done")
        self.uploader.set_login(Login(self.uploader.platform, "token", **self.login))

    def serve(self, answer_request):
        server = Server(answer_request)
        self.uploader.address = lambda key: server.url + "/" + key
        return server

    def serve_protected(self, *answers):
        """Answers that come from the platform's own https addresses; gives the list of the addresses asked."""
        waiting, asked = list(answers), []

        def exchange(wire, method, url, headers=None, body=None):
            asked.append(url)
            return waiting.pop(0)

        changed = mock.patch.object(Wire, "exchange", exchange)
        changed.start()
        self.addCleanup(changed.stop)
        return asked

    def upload(self, size=5000, thumbnail="", **fields):
        host = Host()
        host.attach(self.uploader)
        values = {"title": "T", "description": "", "privacy": "", "tags": "", "category": "", **fields}
        with support.video_file(size) as (path, _):
            self.uploader.StartUpload(path, *values.values(), thumbnail)
            return host.wait_for_end()
