"""What the tests of scripted platforms share: a Python home, and a browser that only looks where a page leads."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest
import urllib.error
import urllib.parse
import urllib.request

from harness import EMULATOR, HostTest

MIB = 1024 * 1024
TOOLS = pathlib.Path(__file__).resolve().parents[2] / "tools"
APP = {
    "MEDIATRANSFER_APP_ID": "sandbox-app-id",
    "MEDIATRANSFER_APP_SECRET": "sandbox-app-secret",
    "MEDIATRANSFER_APP_REDIRECT": "http://localhost/mediatransfer/signed-in",
}
# Platform, and the options of its login and its upload.
PLATFORMS = (("facebook",), ("vimeo",), ("flickr",), ("instagram",), ("twitch",), ("youtube", "--script"))
HOME = None


def make_home():
    """Makes the Python home of a module's tests, from its setUpModule."""
    global HOME
    if EMULATOR:
        return  # no interpreter runs there
    HOME = tempfile.mkdtemp(prefix="mediatransfer-home-")
    unittest.addModuleCleanup(shutil.rmtree, HOME, ignore_errors=True)
    made = subprocess.run([str(TOOLS / "make_python_home"), HOME], capture_output=True, check=True)
    # Where the home's interpreter is, for those whose search would find another.
    os.environ["KBL_E2E_PYTHON"] = made.stdout.decode().strip()


class NoRedirect(urllib.request.HTTPRedirectHandler):
    def redirect_request(self, *arguments):
        return None


browser = urllib.request.build_opener(urllib.request.ProxyHandler({}), NoRedirect)


def location(url, form=None):
    """Where a page leads, without going there: nothing may listen at that place."""
    data = None if form is None else urllib.parse.urlencode(form).encode()
    try:
        browser.open(url, data, timeout=60).close()
    except urllib.error.HTTPError as answer:
        with answer:
            return answer.headers["Location"]
    raise AssertionError(url + " leads nowhere")


class Scripted(HostTest):
    def setUp(self):
        super().setUp()
        self.env["MEDIATRANSFER_PYTHON_HOME"] = HOME
        self.env["MEDIATRANSFER_PYTHON"] = os.environ["KBL_E2E_PYTHON"]

    def start_services(self, *options):
        """Stand-in servers in a process of their own, which the scripts are told of."""
        servers = self.start_servers(*options)
        self.env.update(APP, MEDIATRANSFER_SERVICES=servers.services)
        return servers

    def login_address(self, *platform):
        """The address that a call prints which nobody answers."""
        result = self.run_program("--json", "login", *platform)
        self.assert_ends(result, 1)
        return result.named("login_url")[0]["url"]

    def sign_in_there(self, *platform):
        reached = location(self.login_address(*platform))
        result = self.run_program("--json", "login", *platform, "--redirect-url", reached)
        self.assert_ends(result, 0)
        return result.named("login_done")[0]

    def kept_login(self, platform, folder="cache"):
        return self.folder / "data" / "mediatransfer" / folder / (platform + "_script_login")
