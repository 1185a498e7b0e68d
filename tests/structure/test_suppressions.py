"""What the sanitizers pass over is other people's code, by the name of its library, and has a reason."""

import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
FOLDERS = ("apps", "bench", "cmake", "examples", "fuzz", "sandbox", "src", "tests", "tools")
# Built without the sanitizers: the library of the tests' server, OpenSSL's, and the interpreter with its names.
OTHERS = {"libcpp-httplib.so", "libcrypto.so", "libssl.so", "libpython", "_Py", "Py_"}
HOOK = re.compile(r"__(?:asan|lsan|tsan|ubsan)_default_suppressions\(\) \{\n  return ((?:\"[^\"]*\"\s*)+);\n\}")
EXEMPTION = re.compile(r"no_sanitize|disable_sanitizer_instrumentation|__lsan_(?:disable|ignore_object)")


def files():
    for folder in FOLDERS:
        for path in (ROOT / folder).rglob("*"):
            if path.is_file() and path != pathlib.Path(__file__).resolve():
                yield path, path.read_text(encoding="utf-8", errors="replace")


class Suppressions(unittest.TestCase):
    def check(self, where, line):
        kind, colon, pattern = line.partition(":")
        self.assertTrue(kind and colon, f"{where}: {line}")
        self.assertIn(pattern, OTHERS, f"{where}: {line}")

    def test_files_name_other_libraries_with_a_reason_each(self):
        found = 0
        for path in sorted((ROOT / "tests").rglob("*.supp")):
            reason = ""
            for line in path.read_text(encoding="utf-8").splitlines():
                if line.startswith("#"):
                    reason = line
                    continue
                self.check(path.name, line)
                self.assertTrue(reason, f"{path.name}: {line} has no reason")
                reason = ""
                found += 1
        self.assertGreater(found, 0)

    def test_programs_name_other_libraries_behind_a_reason(self):
        found = 0
        for path, text in files():
            if "_default_suppressions() {" not in text:
                continue
            match = HOOK.search(text)
            self.assertIsNotNone(match, path)
            for line in "".join(re.findall(r'"([^"]*)"', match[1])).split("\\n"):
                if line:
                    self.check(path.name, line)
                    found += 1
            self.assertRegex(text[: match.start()], r"(?m)^//", path)
        self.assertGreater(found, 0)

    def test_nothing_of_ours_is_exempt(self):
        for path, text in files():
            self.assertNotRegex(text, EXEMPTION, path)


if __name__ == "__main__":
    unittest.main()
