"""What the Windows build's libraries and its program offer, ask for and tell of themselves, read from their files."""

import os
import pathlib
import re
import subprocess
import unittest

import portable_executable

ROOT = pathlib.Path(__file__).resolve().parents[3]
BIN = pathlib.Path(os.environ["KBL_BIN"])
# Undoes the names of C++.
FILTER = os.environ["KBL_CXXFILT"]

FOUNDATION = {
    "BsCloudConfig": "KBL_CLOUDCONFIG_API",
    "BsNet": "KBL_BSNET_API",
    "KblLogger": "KBL_LOGGER_API",
    "KblUtils": "KBL_UTILS_API",
}
LIBRARIES = ("ExternlMediaTransfer", *FOUNDATION)
FUNCTIONS = {
    "createEMTDlTransfer",
    "createEMTUpTransfer",
    "createExternlMediaAuthInfoObject",
    "getExternlMediaAuthorize",
    "getOrCreateExternlMediaAuthorize",
    "setupTransferEnv",
    "teardownTransferEnv",
}
# Of Windows itself; every installation has them.
SYSTEM = {
    "advapi32.dll",
    "bcrypt.dll",
    "crypt32.dll",
    "iphlpapi.dll",
    "kernel32.dll",
    "msvcrt.dll",
    "ole32.dll",
    "secur32.dll",
    "shell32.dll",
    "user32.dll",
    "ws2_32.dll",
}


def library(name):
    return portable_executable.PortableExecutable(str(BIN / (name + ".dll")))


def readable(names):
    """Names as the sources have them, without arguments and the compiler's own marks."""
    told = subprocess.run([FILTER], input="\n".join(names), stdout=subprocess.PIPE, check=True, universal_newlines=True)
    return told.stdout.splitlines()


def declared_names(name, macro):
    """The classes, functions and variables that the public headers of a library give its export macro."""
    found = set()
    for header in set((ROOT / "include" / name).glob("*.h")) - {ROOT / "include" / "KblUtils" / "Export.h"}:
        text = header.read_text(encoding="utf-8")
        found |= set(re.findall(r"(?:class|struct) %s (\w+)" % macro, text))
        found |= set(re.findall(r"%s (?!\w+ [:{])[^;(]*?(\w+)\(" % macro, text))
    return found


def owner(name):
    """The class or function that a readable name belongs to; empty for one that is none of ours."""
    name = re.sub(r"^(vtable|VTT|typeinfo( name)?|guard variable) for ", "", name)
    name = re.sub(r"^construction vtable for .*-in-", "", name)
    name = re.sub(r"^(non-virtual|virtual) thunk to ", "", name)
    match = re.match(r"(?:KBL::)?(\w+)", name)
    return match.group(1) if match else ""


class WindowsFiles(unittest.TestCase):
    def test_the_library_exports_seven_plain_functions_and_the_keys(self):
        expected = (pathlib.Path(__file__).parent / "exported_surface.txt").read_text().splitlines()
        exported = library("ExternlMediaTransfer").exports()
        self.assertEqual({name for name in exported if not name.startswith("_Z")}, FUNCTIONS)
        self.assertEqual(sorted(readable(exported)), sorted(line.split(" ", 1)[1] for line in expected))

    def test_each_foundation_library_exports_what_its_headers_declare(self):
        for name, macro in FOUNDATION.items():
            with self.subTest(library=name):
                owners = {owner(one) for one in readable(library(name).exports())}
                self.assertEqual(owners, declared_names(name, macro))

    def test_no_name_is_exported_twice(self):
        seen = {}
        for name in LIBRARIES:
            for exported in library(name).exports():
                self.assertNotIn(exported, seen, name)
                seen[exported] = name

    def test_imports_are_of_the_system_and_of_the_foundation(self):
        ours = {name.lower() + ".dll" for name in FOUNDATION}
        files = [BIN / (name + ".dll") for name in LIBRARIES]
        for path in files + [BIN / "mediatransfer.exe"]:
            with self.subTest(file=path.name):
                asked = {name.lower() for name in portable_executable.PortableExecutable(str(path)).imports()}
                hosts = {"externlmediatransfer.dll"} if path.suffix == ".exe" else set()
                self.assertEqual(asked - SYSTEM - ours - hosts, set())
                self.assertIn("kernel32.dll", asked)

    def test_each_library_asks_only_those_below_it(self):
        below = {
            "KblUtils": set(),
            "KblLogger": {"KblUtils"},
            "BsCloudConfig": {"KblUtils"},
            "BsNet": {"KblUtils", "KblLogger"},
            "ExternlMediaTransfer": set(FOUNDATION),
        }
        for name, allowed in below.items():
            asked = {one[: -len(".dll")] for one in library(name).imports()} & set(LIBRARIES)
            self.assertLessEqual(asked, allowed, name)

    def test_all_are_of_the_64_bit_system(self):
        for name in LIBRARIES:
            self.assertEqual(library(name).machine, portable_executable.MACHINE_AMD64)

    def test_each_file_tells_the_version(self):
        version = os.environ["KBL_VERSION"]
        numbers = (*map(int, version.split(".")), 0)
        for file in [name + ".dll" for name in LIBRARIES] + ["mediatransfer.exe"]:
            with self.subTest(file=file):
                told, texts = portable_executable.PortableExecutable(str(BIN / file)).version()
                self.assertEqual(told, numbers)
                self.assertEqual((texts["FileVersion"], texts["ProductVersion"]), (version, version))
                self.assertEqual(texts["OriginalFilename"], file)
                self.assertEqual(texts["ProductName"], "ExternlMediaTransfer")
                self.assertEqual(texts["CompanyName"], "ExternlMediaTransfer")
                self.assertTrue(texts["FileDescription"])


if __name__ == "__main__":
    unittest.main()
