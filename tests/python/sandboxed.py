"""A running sandbox, and uploaders that talk to its services."""

import importlib
import itertools
import json
import os
import pathlib
import subprocess
import unittest
import urllib.error
import urllib.parse
import urllib.request
from hashlib import sha256

import support
from support import Host, LIMIT, quick

SANDBOX = (str(pathlib.Path(os.environ["KBL_BIN"]) / "mediatransfer"), "--json", "sandbox")
APP = ("sandbox-app-id", "sandbox-app-secret", "http://localhost/mediatransfer/signed-in")
PLATFORMS = ("facebook", "youtube", "vimeo", "flickr", "instagram", "twitch")
FINISHED = 2

# Where each platform's video goes, in the order of the requests; the second is the one that carries it.
STEPS = {
    "facebook": ("facebookVideos", "facebookVideos", "facebookVideos"),
    "youtube": ("youtubeUploadOpen", "youtubeUploadChunk"),
    "vimeo": ("vimeoVideos", "vimeoUpload", "vimeoDetails"),
    "flickr": ("flickrUpload", "flickrUpload", "flickrMethods"),
    "instagram": ("instagramContainer", "instagramUpload", "instagramStatus", "instagramPublish"),
    "twitch": ("twitchVideos", "twitchPart", "twitchComplete"),
}
# Facebook's phases share a route: the video is in its second request.
CARRIER = {name: (steps[1], 2 if name == "facebook" else 1) for name, steps in STEPS.items()}


class NoRedirection(urllib.request.HTTPRedirectHandler):
    def redirect_request(self, *unused):
        return None


# Straight to 127.0.0.1, whatever proxies the machine's environment names.
opener = urllib.request.build_opener(urllib.request.ProxyHandler({}), NoRedirection)


class SandboxProcess:
    def __init__(self, *options):
        self.process = subprocess.Popen(
            [*SANDBOX, *options], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL
        )
        line = self.process.stdout.readline()
        if not line:
            raise AssertionError("the sandbox did not start")
        event = json.loads(line)
        self.url = event["url"]
        self.services = event["script_services"]

    def stop(self):
        self.process.terminate()
        self.process.wait(LIMIT)
        self.process.stdout.close()

    def get(self, path):
        with opener.open(self.url + path, timeout=LIMIT) as answer:
            return json.loads(answer.read().decode("utf-8"))

    def post(self, place, **content):
        with opener.open(self.url + place, json.dumps(content).encode("utf-8"), timeout=LIMIT) as answer:
            return json.loads(answer.read().decode("utf-8"))


def follow(address):
    """Where the login page sends the browser at once, since the sandbox consents by itself."""
    try:
        with opener.open(address, timeout=LIMIT) as answer:
            raise AssertionError("no redirection but: %r" % answer.read()[:300])
    except urllib.error.HTTPError as answer:
        with answer:
            return answer.headers["Location"]


serial = itertools.count(1)


def fresh_video(size):
    """A video like no other, so that the sandbox's copy of it can be told from all others."""
    return support.video_file(size + next(serial))


class ServicesCase(unittest.TestCase):
    options = ()

    @classmethod
    def setUpClass(cls):
        cls.sandbox = SandboxProcess(*cls.options)
        cls.addClassCleanup(cls.sandbox.stop)

    def setUp(self):
        clean = support.environment(MEDIATRANSFER_SERVICES=self.sandbox.services)
        clean.start()
        self.addCleanup(clean.stop)
        self.addCleanup(self.sandbox.post, "/sandbox/faults/clear")

    def uploader(self, platform, app=APP):
        uploader = quick(importlib.import_module("pysocialnetwork." + platform).Uploader())
        uploader.SetAppKey(app[0])
        uploader.SetAppSecret(app[1])
        uploader.SetRedirectURL(app[2])
        return uploader

    def signed_in(self, platform):
        uploader = self.uploader(platform)
        address = uploader.GetLoginURL()
        self.assertTrue(address, uploader.GetLastError())
        self.assertEqual(uploader.VerifyRedirectURL(follow(address)), 0, uploader.GetLastError())
        return uploader

    def start(self, uploader, path, **fields):
        values = {
            "title": "A title",
            "description": "What it shows",
            "privacy": "",
            "tags": "tag",
            "category": "",
            **fields,
        }
        host = Host()
        host.attach(uploader)
        uploader.StartUpload(path, *values.values())
        return host

    def upload(self, uploader, size=100000, **fields):
        """The closing event, the host and the video's bytes."""
        with fresh_video(size) as (path, content):
            host = self.start(uploader, path, **fields)
            return host.wait_for_end(), host, content

    def one_video_in_the_end(self, uploader, size, **more):
        """The closing event of an upload that meets the faults that are ordered, and of a second one without them where
        the first tells of no video. Nothing that is told as failed is there beside the second."""
        with fresh_video(size) as (path, content):
            host = self.start(uploader, path, **more)
            first = host.wait_for_end()
            self.assertEqual(host.closing(), [first])
            self.assertNotIn("unexpected", first.text + host.texts())
            self.sandbox.post("/sandbox/faults/clear")
            if first.code != FINISHED:
                if uploader.login is None:
                    uploader.set_login(self.signed_in(uploader.platform).login)
                again = self.start(uploader, path, **more).wait_for_end()
                self.assertEqual(again.code, FINISHED, (first.text, again.text))
            self.assertEqual(len(self.copies(content)), 1, (first.code, first.text))
            return first, host

    def order(self, route, kind, nth=1, times=1, **more):
        return self.sandbox.post("/sandbox/faults", route=route, kind=kind, nth=nth, times=times, **more)["id"]

    def delivered(self, order):
        return next(entry["delivered"] for entry in self.sandbox.get("/sandbox/faults") if entry["id"] == order)

    def copies(self, content):
        """The videos with this content that arrived whole."""
        digest = sha256(content).hexdigest()
        uploads = self.sandbox.get("/sandbox/uploads")
        return [entry for entry in uploads if entry["complete"] and entry["sha256"] == digest]

    def stored(self, content):
        """The same, where there has to be one."""
        found = self.copies(content)
        self.assertTrue(found, "the video did not arrive")
        return found

    def assert_finished(self, end, host, content):
        self.assertEqual((end.code, host.closing()), (FINISHED, [end]), end.text)
        uploads = self.stored(content)
        self.assertEqual(len(uploads), 1, "the video is there twice")
        self.assertIn(uploads[0]["media_id"], end.text)
        return uploads[0]
