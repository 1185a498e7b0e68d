"""tools/make_python_home with CPythons for Windows: made-up folders of both kinds, since nothing of them is run."""

import importlib.machinery
import importlib.util
import json
import os
import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
import unittest.mock
import zipfile

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
TOOL = ROOT / "tools" / "make_python_home"
MODULES = ("_ctypes.pyd", "_hashlib.pyd", "_socket.pyd", "_ssl.pyd", "select.pyd", "unicodedata.pyd")
LIBRARIES = ("libcrypto-1_1.dll", "libffi-7.dll", "libssl-1_1.dll", "sqlite3.dll")
NOT_NEEDED = ("_tkinter.pyd", "_testcapi.pyd", "xxlimited.pyd")
# Another version than that of the interpreter that runs this.
OTHER = 8 if sys.version_info[1] != 8 else 9


def loaded_tool():
    loader = importlib.machinery.SourceFileLoader("make_python_home", str(TOOL))
    tool = importlib.util.module_from_spec(importlib.util.spec_from_loader(loader.name, loader))
    with unittest.mock.patch.object(sys, "dont_write_bytecode", True):
        loader.exec_module(tool)
    return tool


def library(machine=0x8664, text=b""):
    """The first bytes of a Windows library, as far as they tell what it is for."""
    return b"MZ" + bytes(58) + struct.pack("<I", 64) + b"PE\0\0" + struct.pack("<H", machine) + bytes(18) + text


def write(path, content=b""):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(content)


def write_tops(folder, minor):
    write(folder / ("python3%d.dll" % minor), library(text=b"version"))
    write(folder / "python3.dll", library())
    write(folder / "vcruntime140.dll", library())
    write(folder / "python.exe", b"a program")
    write(folder / "LICENSE.txt", b"a licence")


def installed(folder, minor=OTHER):
    write_tops(folder, minor)
    for name in MODULES + LIBRARIES + NOT_NEEDED:
        write(folder / "DLLs" / name, name.encode())
    write(folder / "DLLs" / "py.ico")
    write(folder / "Lib" / "os.py", b"name = 'nt'\n")
    write(folder / "Lib" / "encodings" / "__init__.py", b"text = 'encodings'\n")
    write(folder / "Lib" / "test" / "test_os.py", b"")
    write(folder / "Lib" / "site-packages" / "stranger.py", b"")
    write(folder / "Scripts" / "pip.exe", b"")
    return folder


def embeddable(folder, minor=OTHER):
    write_tops(folder, minor)
    for name in MODULES + LIBRARIES:
        write(folder / name, name.encode())
    write(folder / ("python3%d._pth" % minor), b"python3%d.zip\n.\n" % minor)
    with zipfile.ZipFile(folder / ("python3%d.zip" % minor), "w", zipfile.ZIP_DEFLATED) as packed:
        packed.writestr("os.pyc", b"compiled os")
        packed.writestr("encodings/__init__.pyc", b"compiled encodings")
    return folder


def run(*arguments):
    return subprocess.run(
        [sys.executable, str(TOOL), *map(str, arguments)], stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=120
    )


class WindowsHomes(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)

    def made(self, home, source):
        result = run(home, "--python", source)
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        return result.stdout.decode().strip()

    def refused(self, source, reason):
        result = run(self.folder / "home", "--python", source)
        self.assertEqual(result.returncode, 1)
        self.assertIn(reason, result.stderr.decode())
        self.assertNotIn("Traceback", result.stderr.decode())
        self.assertFalse((self.folder / "home").exists())

    def expect_complete(self, home, minor=OTHER):
        tops = {"python3%d.dll" % minor, "python3.dll", "vcruntime140.dll", "python38.zip", "python3%d.zip" % minor}
        tops |= {"DLLs", "pythondlls", "pysocialnetwork", ".python_home.json"}
        self.assertEqual(set(os.listdir(home)), tops)
        self.assertEqual(set(os.listdir(home / "DLLs")), set(MODULES + LIBRARIES))
        self.assertEqual((home / "DLLs" / "_ssl.pyd").read_bytes(), b"_ssl.pyd")
        self.assertEqual((home / "python38.zip").read_bytes(), (home / ("python3%d.zip" % minor)).read_bytes())
        for package in ("pythondlls", "pysocialnetwork"):
            ours = {path.name: path.read_bytes() for path in (ROOT / "python_home" / package).glob("*.py")}
            self.assertEqual({path.name: path.read_bytes() for path in (home / package).iterdir()}, ours)

    def test_an_installed_one_makes_a_home(self):
        source = installed(self.folder / "Python")
        told = self.made(self.folder / "home", source)
        self.expect_complete(self.folder / "home")
        self.assertEqual(told, str(self.folder / "home" / ("python3%d.dll" % OTHER)))

    def test_an_embeddable_one_makes_a_home(self):
        source = embeddable(self.folder / "Python")
        self.made(self.folder / "home", source)
        self.expect_complete(self.folder / "home")
        self.assertEqual(
            (self.folder / "home" / "python38.zip").read_bytes(), (source / ("python3%d.zip" % OTHER)).read_bytes()
        )

    def test_the_oldest_and_the_newest_make_homes(self):
        for minor in (8, 13):
            for kind in (installed, embeddable):
                source = kind(self.folder / (kind.__name__ + str(minor)), minor)
                home = self.folder / ("home" + kind.__name__ + str(minor))
                self.made(home, source)
                self.expect_complete(home, minor)

    def test_paths_may_have_blanks_and_letters_of_other_alphabets(self):
        for kind in (installed, embeddable):
            home = self.folder / ("höme 漢字 [x] " + kind.__name__)
            self.made(home, kind(self.folder / ("Füße %s [1]" % kind.__name__)))
            self.expect_complete(home)
            self.made(home, self.folder / ("Füße %s [1]" % kind.__name__))

    def test_names_are_found_in_any_case(self):
        source = installed(self.folder / "Python")
        for name in ("python3%d.dll" % OTHER, "Lib", "DLLs"):
            (source / name).rename(source / name.upper())
        (source / "DLLS" / "_ssl.pyd").rename(source / "DLLS" / "_SSL.PYD")
        self.made(self.folder / "home", source)
        self.assertTrue((self.folder / "home" / ("python3%d.dll" % OTHER)).is_file())
        self.assertTrue((self.folder / "home" / "DLLs" / "_SSL.PYD").is_file())

    def test_modules_of_this_interpreters_version_are_compiled(self):
        minor = sys.version_info[1]
        self.made(self.folder / "home", installed(self.folder / "Python", minor))
        with zipfile.ZipFile(self.folder / "home" / "python38.zip") as packed:
            self.assertEqual(sorted(packed.namelist()), ["encodings/__init__.pyc", "os.pyc"])
            self.assertEqual(packed.read("os.pyc")[:4], importlib.util.MAGIC_NUMBER)

    def test_modules_of_a_version_that_is_not_here_go_as_they_are(self):
        tool = loaded_tool()
        source = installed(self.folder / "Python")
        with unittest.mock.patch.object(tool, "candidates", lambda: []):
            facts = tool.windows_facts(str(source))
            tool.make(str(self.folder / "home"), facts)
        with zipfile.ZipFile(self.folder / "home" / "python38.zip") as packed:
            self.assertEqual(sorted(packed.namelist()), ["encodings/__init__.py", "os.py"])
            self.assertEqual(packed.read("os.py"), b"name = 'nt'\n")

    def test_a_second_run_changes_nothing(self):
        for kind in (installed, embeddable):
            source, home = kind(self.folder / kind.__name__), self.folder / ("home of " + kind.__name__)
            self.made(home, source)
            before = {str(path): path.lstat().st_mtime_ns for path in home.rglob("*")}
            self.made(home, source)
            self.assertEqual({str(path): path.lstat().st_mtime_ns for path in home.rglob("*")}, before)

    def test_a_changed_part_comes_with_the_next_run(self):
        source, home = installed(self.folder / "Python"), self.folder / "home"
        self.made(home, source)
        (source / "DLLs" / "_ssl.pyd").write_bytes(b"a newer one")
        (source / "DLLs" / "sqlite3.dll").unlink()
        self.made(home, source)
        self.assertEqual((home / "DLLs" / "_ssl.pyd").read_bytes(), b"a newer one")
        self.assertFalse((home / "DLLs" / "sqlite3.dll").exists())

    def test_another_interpreter_replaces_the_former_one_whole(self):
        home = self.folder / "home"
        self.made(home, embeddable(self.folder / "first", 9))
        self.made(home, installed(self.folder / "second", 12))
        self.expect_complete(home, 12)
        self.made(home, sys.executable)
        self.assertFalse(list(home.glob("*.dll")) + list(home.glob("DLLs")))
        self.assertEqual([path.name for path in home.glob("*.zip")], ["python38.zip"])
        self.made(home, self.folder / "first")
        self.expect_complete(home, 9)

    def test_the_interpreters_own_folder_is_left_as_it_is(self):
        for kind in (installed, embeddable):
            source = kind(self.folder / kind.__name__)
            before = {str(path): path.stat().st_mtime_ns for path in source.rglob("*")}
            self.made(self.folder / ("home of " + kind.__name__), source)
            result = run(source, "--python", source)
            self.assertIn(b"holds other things than a Python home", result.stderr)
            self.assertEqual({str(path): path.stat().st_mtime_ns for path in source.rglob("*")}, before)

    def test_a_folder_with_other_things_is_left_alone(self):
        home = self.folder / "home"
        write(home / "precious", b"x")
        result = run(home, "--python", embeddable(self.folder / "Python"))
        self.assertEqual(result.returncode, 1)
        self.assertIn(b"holds other things than a Python home", result.stderr)
        self.assertEqual(os.listdir(home), ["precious"])

    def test_what_a_user_put_into_a_home_stays_there(self):
        source, home = embeddable(self.folder / "Python"), self.folder / "home"
        self.made(home, source)
        write(home / "mine" / "notes.txt", b"x")
        write(source / "_ssl.pyd", b"a newer one")
        self.made(home, source)
        self.assertEqual((home / "mine" / "notes.txt").read_bytes(), b"x")

    def test_versions_that_cannot_serve_are_told(self):
        self.refused(installed(self.folder / "old", 7), "is 3.7, and 3.8 is the oldest that will do")
        self.refused(embeddable(self.folder / "new", 14), "is 3.14, and 3.13 is the newest that will do")

    def test_two_versions_in_one_folder_are_told(self):
        source = installed(installed(self.folder / "Python", 10), 9)
        self.refused(source, "holds more than one CPython for Windows (python39.dll, python310.dll)")

    def test_a_folder_without_an_interpreter_is_told(self):
        (self.folder / "empty").mkdir()
        self.refused(self.folder / "empty", "holds no CPython for Windows (no python3N.dll)")
        write(self.folder / "stable" / "python3.dll", library())
        self.refused(self.folder / "stable", "holds no CPython for Windows (no python3N.dll)")

    def test_libraries_of_other_machines_are_told(self):
        for content in (library(0x14C), library(0xAA64), b"", b"MZ", b"text" * 30, library()[:66], b"\x7fELF" * 30):
            source = installed(self.folder / "Python")
            write(source / ("python3%d.dll" % OTHER), content)
            self.refused(source, "is no CPython for 64-bit Windows")

    def test_a_missing_standard_library_is_told(self):
        source = installed(self.folder / "Python")
        shutil.rmtree(source / "Lib" / "encodings")
        self.refused(source, "has no standard library (neither Lib nor python3%d.zip)" % OTHER)
        source = embeddable(self.folder / "embeddable")
        archive = source / ("python3%d.zip" % OTHER)
        archive.write_bytes(archive.read_bytes()[:50])
        self.refused(source, "has no standard library")
        archive.unlink()
        self.refused(source, "has no standard library")

    def test_missing_modules_and_libraries_are_told(self):
        source = installed(self.folder / "Python")
        (source / "DLLs" / "_ssl.pyd").unlink()
        (source / "DLLs" / "libffi-7.dll").unlink()
        self.refused(source, "is 3.%d without _ssl.pyd, libffi-*.dll" % OTHER)
        source = embeddable(self.folder / "embeddable")
        (source / "_socket.pyd").unlink()
        self.refused(source, "is 3.%d without _socket.pyd" % OTHER)

    def test_an_apostrophe_in_the_path_is_refused(self):
        result = run(self.folder / "it's", "--python", installed(self.folder / "Python"))
        self.assertIn(b"holds a ' or a backslash", result.stderr)
        self.assertFalse((self.folder / "it's").exists())

    def test_the_record_of_a_home_tells_what_it_was_made_of(self):
        source = installed(self.folder / "Python")
        self.made(self.folder / "home", source)
        record = json.loads((self.folder / "home" / ".python_home.json").read_text())
        self.assertEqual(record["library"], str(source / ("python3%d.dll" % OTHER)))


class OnWindows(unittest.TestCase):
    """What the tool does differently there, as far as that can be seen elsewhere."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)
        self.tool = loaded_tool()
        unittest.mock.patch.object(self.tool, "candidates", lambda: []).start()
        unittest.mock.patch.object(self.tool.sys, "base_prefix", str(self.folder / "own")).start()
        self.addCleanup(unittest.mock.patch.stopall)

    def environment(self, *path):
        return {
            "PATH": os.pathsep.join(map(str, path)),
            "LOCALAPPDATA": str(self.folder / "local"),
            "ProgramFiles": str(self.folder / "programs"),
        }

    def test_interpreters_are_found_where_installers_put_them(self):
        for place, minor in (
            ("own", 10),
            ("local/Programs/Python/Python39", 9),
            ("programs/Python312", 12),
            ("path", 11),
            ("programs/Python37", 7),
            ("local/Programs/Python/Python310", 10),
        ):
            installed(self.folder / place, minor)
        found = self.tool.serving_on_windows(self.environment(self.folder / "path", self.folder / "nowhere", ""))
        self.assertEqual([facts["version"][1] for facts in found], [9, 10, 11, 12])
        self.assertEqual(os.path.dirname(found[1]["library"]), str(self.folder / "own"))

    def test_the_oldest_version_is_preferred_then_the_tools_own_then_the_newest(self):
        def chosen(*path):
            return self.tool.choose_on_windows(self.environment(*path))["version"][1]

        twelve = installed(self.folder / "twelve", 12)
        nine = installed(self.folder / "nine", 9)
        self.assertEqual(chosen(nine, twelve), 12)
        installed(self.folder / "own", 11)
        self.assertEqual(chosen(nine, twelve), 11)
        self.assertEqual(chosen(twelve, embeddable(self.folder / "eight", 8)), 8)

    def test_none_is_told(self):
        with self.assertRaisesRegex(self.tool.Trouble, "no CPython from 3.8 to 3.13 is found"):
            self.tool.choose_on_windows({})

    def test_a_program_stands_for_the_folder_of_its_interpreter(self):
        source = installed(self.folder / "Python", 9)
        program = str(self.folder / "venv" / "Scripts" / "python.exe")
        with unittest.mock.patch.object(self.tool.os, "name", "nt"), unittest.mock.patch.object(
            self.tool, "interrogate", {program: {"folder": str(source)}, str(source): None}.get
        ), unittest.mock.patch.object(self.tool.shutil, "which", lambda name: None):
            self.assertEqual(self.tool.choose(program)["version"], [3, 9])
            self.assertEqual(self.tool.choose(str(source))["version"], [3, 9])
            with self.assertRaisesRegex(self.tool.Trouble, "other.exe does not run"):
                self.tool.choose("other.exe")

    def test_the_archive_is_copied_where_files_cannot_have_two_names(self):
        facts = self.tool.windows_facts(str(embeddable(self.folder / "Python", 9)))
        with unittest.mock.patch.object(self.tool.os, "link", side_effect=OSError):
            self.tool.make(str(self.folder / "home"), facts)
        first, second = self.folder / "home" / "python38.zip", self.folder / "home" / "python39.zip"
        self.assertEqual(first.read_bytes(), second.read_bytes())
        self.assertFalse(os.path.samefile(first, second))


if __name__ == "__main__":
    unittest.main()
