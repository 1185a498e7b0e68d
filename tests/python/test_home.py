"""tools/make_python_home: a home that serves an embedded interpreter, and the script that the library loads from it."""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
TOOL = ROOT / "tools" / "make_python_home"
PROBE = pathlib.Path(os.environ["KBL_BIN"]) / "python_probe"

# What the library does before it loads the script, and a look at where everything came from.
CHECK = """
import sys
home = {home!r}
sys.path += [home + "python38.zip", home + "pythondlls", home + "pysocialnetwork"]
import ssl, ctypes, hashlib, json, http.client, socket, zlib, xml.etree.ElementTree, decimal, unicodedata
source = open({script!r}, encoding="utf-8").read()
code = compile(source, "pythonrt", "exec")
module = type(sys)("pythonrt")
exec(code, module.__dict__)
for name in ("facebook", "youtube", "vimeo", "flickr", "instagram", "twitch"):
    assert module.CreateAuInstance(name).platform == name
try:
    module.CreateAuInstance("other")
except ValueError:
    pass
else:
    raise AssertionError("an uploader of no platform")
strangers = [found.__file__ for found in list(sys.modules.values())
             if getattr(found, "__file__", None) and not found.__file__.startswith(home)]
assert not strangers, strangers
assert sys.version_info[:2] == {version}, sys.version_info
hashlib.sha256(b"x"), ssl.create_default_context()
"""

# An upload that waits for a service when the interpreter ends.
WAITING = """
import sys
home = {home!r}
sys.path += [home + "python38.zip", home + "pythondlls", home + "pysocialnetwork"]
import socket, tempfile, authupload
from _mediatransfer_pysocialnetwork import hostcallback, login
uploader = authupload.CreateAuInstance("vimeo")
told = hostcallback._Function(lambda user, code, text: print(code, text.decode(), flush=True))
uploader._callback._function = told
listener = socket.create_server(("127.0.0.1", 0))
uploader.address = lambda key: "http://127.0.0.1:%d" % listener.getsockname()[1]
uploader.set_login(login.Login("vimeo", "token"))
video = tempfile.NamedTemporaryFile()
video.write(b"x" * 1000)
video.flush()
uploader.StartUpload(video.name, "", "", "", "", "")
connection, _ = listener.accept()
"""


def make(folder, *options):
    return subprocess.run(
        [sys.executable, str(TOOL), *([str(folder)] if folder else []), *options],
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        timeout=120,
    )


class Homes(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)

    def made(self, folder, *options):
        result = make(folder, *options)
        self.assertEqual(result.returncode, 0, result.stderr)
        return result.stdout.decode().strip()

    def probe(self, library, home, statements, *thread):
        # The interpreter keeps memory to its end, which is not what is tested here.
        clean = {"PATH": os.environ["PATH"], "ASAN_OPTIONS": "detect_leaks=0"}
        return subprocess.run(
            [str(PROBE), library, home, statements, *thread],
            env=clean,
            timeout=120,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
        )

    def test_a_home_serves_by_itself(self):
        home = self.folder / "a home"
        library = self.made(home, "--python", sys.executable)
        check = CHECK.format(
            home=str(home) + "/", script=str(home / "pythondlls" / "authupload.py"), version=sys.version_info[:2]
        )
        result = self.probe(library, str(home) + "/", check)
        self.assertEqual((result.returncode, result.stderr), (0, b""))

    def test_a_home_with_letters_of_other_alphabets_serves(self):
        home = self.folder / "höme 漢字"
        library = self.made(home, "--python", sys.executable)
        check = CHECK.format(
            home=str(home) + "/", script=str(home / "pythondlls" / "authupload.py"), version=sys.version_info[:2]
        )
        result = self.probe(library, str(home) + "/", check)
        self.assertEqual((result.returncode, result.stderr), (0, b""))

    def test_the_end_of_the_interpreter_ends_an_upload_in_order(self):
        home = self.folder / "home"
        library = self.made(home, "--python", sys.executable)
        for thread in ((), ("same",)):
            started = time.monotonic()
            result = self.probe(library, str(home) + "/", WAITING.format(home=str(home) + "/"), *thread)
            self.assertEqual((result.returncode, result.stderr, result.stdout), (0, b"", b"3 User cancelled!\n"))
            self.assertLess(time.monotonic() - started, 30)

    def test_the_library_lies_where_the_runtime_looks(self):
        library = self.made(self.folder / "home", "--python", sys.executable)
        self.assertTrue(os.path.isfile(library))
        links = list((self.folder / "home" / "lib").glob("libpython3.%d*.so*" % sys.version_info[1]))
        self.assertTrue(links and all(link.resolve() == pathlib.Path(library) for link in links), links)

    def test_a_second_run_changes_nothing(self):
        home = self.folder / "home"
        self.made(home, "--python", sys.executable)
        before = self.times(home)
        self.made(home, "--python", sys.executable)
        self.assertEqual(self.times(home), before)

    def test_a_second_run_repairs_the_package(self):
        home = self.folder / "home"
        self.made(home, "--python", sys.executable)
        (home / "pysocialnetwork" / "vimeo.py").write_text("broken")
        (home / "pysocialnetwork" / "stranger.py").write_text("old")
        self.made(home, "--python", sys.executable)
        for folder in ("pysocialnetwork", "pythondlls"):
            ours = {path.name: path.read_bytes() for path in (ROOT / "python_home" / folder).glob("*.py")}
            self.assertEqual({path.name: path.read_bytes() for path in (home / folder).glob("*.py")}, ours)

    def test_a_folder_with_other_things_is_left_alone(self):
        (self.folder / "precious").write_text("x")
        result = make(self.folder, "--python", sys.executable)
        self.assertNotEqual(result.returncode, 0)
        self.assertIn(b"holds other things than a Python home", result.stderr)
        self.assertEqual(os.listdir(self.folder), ["precious"])

    def test_a_path_that_the_library_cannot_hand_on_is_refused(self):
        for name in ("it's", "back\\slash"):
            result = make(self.folder / name, "--python", sys.executable)
            self.assertNotEqual(result.returncode, 0)
            self.assertIn(b"holds a ' or a backslash", result.stderr)
            self.assertFalse((self.folder / name).exists())

    def test_a_file_is_no_folder(self):
        (self.folder / "file").write_text("x")
        result = make(self.folder / "file", "--python", sys.executable)
        self.assertNotEqual(result.returncode, 0)
        self.assertIn(b"is no folder", result.stderr)

    def test_interpreters_that_cannot_serve_are_told(self):
        result = make(self.folder / "home", "--python", "/nowhere/python")
        self.assertNotEqual(result.returncode, 0)
        self.assertIn(b"/nowhere/python does not run", result.stderr)
        self.assertFalse((self.folder / "home").exists())

    def test_wrong_use_is_told(self):
        self.assertEqual(make(None).returncode, 2)

    def test_this_interpreter_is_among_those_listed(self):
        listed = self.made(None, "--list").splitlines()
        version = ".".join(map(str, sys.version_info[:3]))
        self.assertTrue(any(line.startswith(version + " ") for line in listed), listed)

    @staticmethod
    def times(home):
        return {str(path): path.lstat().st_mtime_ns for path in home.rglob("*")}


if __name__ == "__main__":
    unittest.main()
