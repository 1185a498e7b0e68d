"""The script in a host's interpreter, whose path has modules of its own under names that the package imports."""

import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest
import zipfile

from pysocialnetwork import ownimports

import support
from support import LIMIT, Reply, Server, video_file

HOME = str(pathlib.Path(__file__).resolve().parents[2] / "python_home") + "/"

# What an interpreter of the host's does before and after the library has loaded the script into it.
PROGRAM = """
import sys
sys.path[:1] = {path!r}
exec({finder!r})
for name in {loaded!r}:
    __import__(name)
before = list(sys.path)

home = {home!r}
sys.path += [home + "python38.zip", home + "pythondlls", home + "pysocialnetwork"]
with open(home + "pythondlls/authupload.py", encoding="utf-8") as file:
    code = compile(file.read(), "pythonrt", "exec")
script = sys.modules["pythonrt"] = type(sys)("pythonrt")
exec(code, script.__dict__)
if {begun!r}:
    script.CreateAuInstance("facebook")
sys.path[:0] = {late!r}
exec({late_finder!r})
before[:0] = {late!r}
for platform in ("facebook", "vimeo", "flickr", "instagram", "twitch"):
    assert script.CreateAuInstance(platform).platform == platform
uploader = script.CreateAuInstance("youtube")

import threading
ended = threading.Event()
def told(user, code, text):
    if code != 99:
        print(code, text.decode(), flush=True)
    if code in (2, 3, 4):
        ended.set()
uploader._callback._function = told
package = type(uploader).__module__.rpartition(".")[0]
uploader.set_login(sys.modules[package + ".login"].Login("youtube", "token"))
uploader.StartUpload({video!r}, "T", "", "", "", "")
assert ended.wait({limit})

import _ssl
assert isinstance(sys.modules[package + ".tls"].client_context(), _ssl._SSLContext)
print("copies", sum(name.startswith(package + ".standard.") for name in sys.modules) > 0)
assert sys.path == before + [home + "python38.zip", home + "pythondlls", home + "pysocialnetwork"], sys.path
for name in {foreign!r}:
    assert __import__(name).FOREIGN, name
"""

FOREIGN = {
    "json.py": "def loads(*all, **more):\n    raise RuntimeError('not as expected')\n\n\ndumps = loads\n",
    "ssl.py": "def create_default_context():\n    return None\n",
    "socket.py": "SOCK_STREAM = 'old'\n",
    "selectors.py": "",
    "pysocialnetwork/__init__.py": "",
    "pysocialnetwork/youtube.py": "class Uploader:\n    platform = 'another'\n",
}


class Surroundings(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def foreign(self, files):
        for name, text in files.items():
            place = self.folder / "foreign" / name
            place.parent.mkdir(parents=True, exist_ok=True)
            place.write_text(text + "\nFOREIGN = True\n")
        return [str(self.folder / "foreign")]

    def run_host(
        self, path=(), loaded=(), foreign=(), late=(), begun=False, finder="", late_finder="", server_of=Server, **more
    ):
        """What the host's program prints: the events of an upload, and whether the package has copies."""

        def respond(request):
            if request.method == "POST":
                return Reply(200, "{}", {"Location": server.url + "/session"})
            return Reply(200, json.dumps({"id": "v1"}))

        with server_of(respond) as server, video_file(3000) as (video, _):
            services = self.folder / "services.json"
            services.write_text(json.dumps({"youtubeUpload": server.url}))
            program = PROGRAM.format(
                path=list(path),
                loaded=loaded,
                home=HOME,
                video=video,
                limit=LIMIT,
                foreign=foreign,
                late=list(late),
                begun=begun,
                finder=finder,
                late_finder=late_finder,
            )
            with support.environment(MEDIATRANSFER_SERVICES=str(services), PYTHONUTF8="1", **more):
                os.environ.pop("PYTHONPATH", None)
                result = subprocess.run(
                    [sys.executable, "-B", "-c", program],
                    env=os.environ,
                    cwd=str(self.folder),
                    timeout=2 * LIMIT,
                    stdout=subprocess.PIPE,
                    stderr=subprocess.PIPE,
                )
        self.assertEqual((result.returncode, result.stderr.decode()), (0, ""))
        lines = result.stdout.decode().splitlines()
        self.assertIn("2 https://www.youtube.com/watch?v=v1", lines)
        return lines

    def test_a_host_without_modules_of_such_names_shares_its_own(self):
        self.assertIn("copies False", self.run_host())

    def test_modules_of_other_makers_change_nothing(self):
        names = ("json", "ssl", "socket", "selectors", "pysocialnetwork")
        path = self.foreign(FOREIGN)
        self.assertIn("copies True", self.run_host(path, foreign=names))

    def test_a_foreign_ssl_does_not_speak_for_a_protected_service(self):
        certificate, key = support.make_certificate(str(self.folder))

        def protected(respond):
            return support.TlsServer(respond, certificate, key)

        names = ("json", "ssl", "socket", "selectors")
        path = self.foreign({name + ".py": FOREIGN[name + ".py"] for name in names})
        for loaded in ((), ("ssl",)):
            lines = self.run_host(path, loaded, names, server_of=protected, SSL_CERT_FILE=certificate)
            self.assertIn("copies True", lines)

    def test_nor_do_those_that_a_finder_of_the_hosts_hands_out(self):
        names = ("json", "ssl", "socket", "selectors")
        [folder] = self.foreign({name + ".py": FOREIGN[name + ".py"] for name in names})
        specs = """
import sys
from importlib.machinery import PathFinder
class Finder:
    @staticmethod
    def find_spec(name, path=None, target=None):
        return PathFinder.find_spec(name, [%r]) if name in %r else None
sys.meta_path.insert(0, Finder)
""" % (
            folder,
            names,
        )
        self.assertIn("copies True", self.run_host(finder=specs, foreign=names))
        self.assertIn("copies True", self.run_host(late_finder=specs, foreign=names))
        begun = specs.replace(repr(names), "('xml',)")
        self.foreign({"xml/__init__.py": ""})
        self.assertIn("copies True", self.run_host(late_finder=begun, begun=True, foreign=("xml",)))
        if sys.version_info < (3, 12):
            loaders = specs.replace("find_spec(name, path=None, target=None)", "find_module(name, path=None)").replace(
                "PathFinder.find_spec(name, [%r])" % folder, "PathFinder.find_spec(name, [%r]).loader" % folder
            )
            self.assertIn("copies True", self.run_host(finder=loaders, foreign=names, PYTHONWARNINGS="ignore"))

    def test_a_finder_that_breaks_is_not_asked_by_ours(self):
        broken = """
import sys
class Finder:
    @staticmethod
    def find_spec(name, path=None, target=None):
        if name in ("json", "ssl", "http"):
            raise ZeroDivisionError(name)
sys.meta_path.insert(0, Finder)
"""
        self.assertIn("copies True", self.run_host(finder=broken))

    def test_a_finder_that_finds_the_same_or_comes_last_is_left_alone(self):
        same = """
import sys
from importlib.machinery import PathFinder
class Finder:
    @staticmethod
    def find_spec(name, path=None, target=None):
        return PathFinder.find_spec(name, path)
sys.meta_path.insert(0, Finder)
"""
        self.assertIn("copies False", self.run_host(finder=same))
        [folder] = self.foreign({"json.py": FOREIGN["json.py"]})
        last = same.replace("insert(0, Finder)", "append(Finder)").replace("(name, path)", "(name, [%r])" % folder)
        self.assertIn("copies False", self.run_host(finder=last))

    def test_nor_do_those_that_the_host_has_loaded(self):
        names = ("json", "ssl", "pysocialnetwork")
        path = self.foreign({name: text for name, text in FOREIGN.items() if name.split(".")[0].split("/")[0] in names})
        # The standard library's own client has taken up the foreign ssl.
        loaded = ("json", "ssl", "pysocialnetwork", "pysocialnetwork.youtube", "http.client", "urllib.request")
        self.assertIn("copies True", self.run_host(path, loaded, names))

    def test_nor_do_those_in_an_archive(self):
        names = ("json", "ssl", "socket", "selectors", "pysocialnetwork")
        archive = str(self.folder / "foreign.zip")
        with zipfile.ZipFile(archive, "w") as file:
            for name, text in FOREIGN.items():
                file.writestr(name, text + "\nFOREIGN = True\n")
        self.assertIn("copies True", self.run_host([archive], foreign=names))

        # The library itself may lie in one.
        self.assertEqual(ownimports._names_in_archive(archive), set(names))
        self.assertEqual(ownimports._names_in_archive(str(self.folder)), ())

    def test_an_archive_without_such_names_is_left_alone(self):
        archive = str(self.folder / "other.zip")
        with zipfile.ZipFile(archive, "w") as file:
            file.writestr("another_name.py", "")
        self.assertIn("copies False", self.run_host([archive]))

    def test_a_path_that_leads_elsewhere_after_the_script_is_loaded_changes_nothing(self):
        names = ("json", "ssl", "socket", "selectors", "pysocialnetwork")
        path = self.foreign(FOREIGN)
        self.assertIn("copies True", self.run_host(late=path, foreign=names))
        # Nor between two platforms, of which the first shares the host's modules.
        path = self.foreign({"xml/__init__.py": ""})
        self.assertIn("copies True", self.run_host(late=path, begun=True, foreign=("xml",)))

    def test_a_package_of_our_name_alone_needs_no_copies(self):
        path = self.foreign({name: text for name, text in FOREIGN.items() if name.startswith("pysocial")})
        self.assertIn("copies False", self.run_host(path, ("pysocialnetwork.youtube",), ("pysocialnetwork",)))


if __name__ == "__main__":
    unittest.main()
