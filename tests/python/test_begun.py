"""Logins that one object begins and another one finishes."""

import json
import os
import tempfile
import unittest
from unittest import mock

from pysocialnetwork import begun

from support import quick
from test_uploader import Probe, REDIRECT, UploaderCase


class BegunElsewhere(UploaderCase):
    """The redirect address is given to another object than the one that named the login address."""

    def setUp(self):
        super().setUp()
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.file = os.path.join(folder.name, "begun")
        patch = mock.patch.dict(os.environ, {begun.ENVIRONMENT_VARIABLE: self.file})
        patch.start()
        self.addCleanup(patch.stop)

    def another(self):
        uploader = quick(Probe())
        uploader.SetAppKey("key")
        uploader.SetAppSecret("app-secret")
        uploader.SetRedirectURL(REDIRECT)
        return uploader

    def begin(self):
        self.assertTrue(self.uploader.GetLoginURL(), self.uploader.GetLastError())
        return self.state()

    def test_another_object_finishes_the_login_once(self):
        state = self.begin()
        self.assertEqual(os.stat(self.file).st_mode & 0o777, 0o600)
        other = self.another()
        self.assertEqual(other.VerifyRedirectURL(REDIRECT + "?code=c&state=" + state), 0, other.GetLastError())
        self.assertNotEqual(other.GetAccessToken(), "error")
        self.assertFalse(os.path.exists(self.file))
        self.assertEqual(self.another().VerifyRedirectURL(REDIRECT + "?code=c&state=" + state), 2)

    def test_a_foreign_state_does_not(self):
        self.uploader.GetLoginURL()
        other = self.another()
        self.assertEqual(other.VerifyRedirectURL(REDIRECT + "?code=c&state=foreign"), 2)
        self.assertTrue(os.path.exists(self.file))

    def test_what_is_old_or_damaged_or_of_another_platform_counts_for_nothing(self):
        state = self.begin()
        with open(self.file, encoding="utf-8") as file:
            good = json.load(file)
        for change in (
            {"platform": "other"},
            {"begun": good["begun"] - begun.LIFETIME - 1},
            {"begun": None},
            {"values": [state]},
            {"values": [1, 2]},
            {"values": None},
        ):
            with open(self.file, "w", encoding="utf-8") as file:
                json.dump({**good, **change}, file)
            other = self.another()
            self.assertEqual(other.VerifyRedirectURL(REDIRECT + "?code=c&state=" + state), 2, change)
            self.assertIn("begun", other.GetLastError())
        for text in ("", "[", "[]", "7"):
            with open(self.file, "w", encoding="utf-8") as file:
                file.write(text)
            self.assertEqual(self.another().VerifyRedirectURL(REDIRECT + "?code=c&state=" + state), 2, text)

    def test_a_file_that_cannot_be_written_leaves_the_object_its_login(self):
        with mock.patch.dict(os.environ, {begun.ENVIRONMENT_VARIABLE: os.path.join(self.file, "below")}):
            state = self.begin()
            self.assertEqual(self.uploader.VerifyRedirectURL(REDIRECT + "?code=c&state=" + state), 0)


if __name__ == "__main__":
    unittest.main()
