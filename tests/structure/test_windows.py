"""What is run for Windows is what the lists say."""

import pathlib
import re
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
TESTS = ROOT / "tests"
E2E = TESTS / "e2e"
sys.path.insert(0, str(E2E))

import words  # noqa: E402

NOT_WINDOWS = re.compile(r"!defined\(_WIN32\)|defined\(__linux__\)|defined\(__GLIBC__\)")


def is_elsewhere(parts):
    """Whether a condition of CMake keeps Windows out."""
    return parts[0] == "UNIX" or parts[:2] == ["NOT", "WIN32"]


def commands_left_out(text):
    """Of a CMake list the words of each command that Windows does not come to."""
    conditions, gone, found = [], False, []
    for command, arguments in re.findall(r"(\w+)\s*\(([^()]*)\)", re.sub(r"#.*", "", text)):
        parts = arguments.split()
        if command == "if":
            conditions.append((is_elsewhere(parts), parts == ["WIN32"]))
        elif command in ("else", "elseif"):
            left_out, windows = conditions.pop()
            conditions.append((windows and command == "else", False))
        elif command == "endif":
            conditions.pop()
        elif command == "return":
            gone = gone or any(windows for _, windows in conditions)
        elif gone or any(left_out for left_out, _ in conditions):
            found.append(parts)
    return found


def tests_left_out(text):
    """The tests of a source that are not compiled for Windows."""
    conditions, found = [], []
    for line in text.splitlines():
        directive = re.match(r"#\s*(if|ifdef|ifndef|elif|else|endif)\b(.*)", line)
        if directive and directive[1] in ("ifdef", "ifndef", "elif"):
            raise ValueError("write #if defined(...): " + line)
        if directive and directive[1] == "if":
            conditions.append((bool(NOT_WINDOWS.search(directive[2])), "defined(_WIN32)" in directive[2]))
        elif directive and directive[1] == "else":
            left_out, windows = conditions.pop()
            conditions.append((windows and not left_out, False))
        elif directive:
            conditions.pop()
        test = re.match(r"TEST(?:_F|_P)?\((\w+), (\w+)\)", line)
        if test and any(left_out for left_out, _ in conditions):
            found.append("%s.%s" % test.groups())
    return found


class Named:
    def __init__(self, name):
        self.name = name

    def id(self):
        return self.name


class Words(unittest.TestCase):
    def test_a_word_that_is_in_no_name_is_refused(self):
        tests = [Named("test_a.A.test_one"), Named("test_a.A.test_two")]
        self.assertEqual(words.chosen(tests, ["one"]), tests[:1])
        self.assertEqual(words.chosen(tests, ["one", "A.test"]), tests)
        self.assertIsNone(words.chosen(tests, ["one", "three"]))
        self.assertIsNone(words.chosen(tests, ["NOT-three"]))
        self.assertEqual(words.chosen(tests, ["NOT-one"]), tests[1:])
        self.assertEqual(words.chosen(tests, ["A.test", "NOT-two"]), tests[:1])
        self.assertEqual(words.chosen(tests, []), tests)

    def test_each_word_of_the_list_is_in_a_name(self):
        lists = re.findall(r"^  set\((test_\w+) ([^)]+)\)", (E2E / "CMakeLists.txt").read_text(), re.MULTILINE)
        self.assertGreater(len(lists), 5)
        for module, chosen in lists:
            source = (E2E / (module + ".py")).read_text()
            for word in chosen.split():
                self.assertRegex(source, r"(class|def) \w*%s" % word.removeprefix("NOT-"), module)


class Lists(unittest.TestCase):
    """Every test that is not built for Windows is on the page, by its own name, its source's or its program's."""

    page = (ROOT / "docs" / "windows.md").read_text()

    def is_told(self, name):
        return "`%s`" % name in self.page

    def test_each_source_that_is_left_out_is_told(self):
        seen = 0
        for path in sorted(TESTS.rglob("CMakeLists.txt")):
            for command in commands_left_out(path.read_text()):
                for source in (word for word in command if word.endswith(".cpp")):
                    if not re.search(r"^TEST", (path.parent / source).read_text(), re.MULTILINE):
                        continue
                    seen += 1
                    name = pathlib.PurePath(source).name
                    self.assertTrue(self.is_told(name) or self.is_told(command[0]), "%s of %s" % (name, command[0]))
        self.assertGreater(seen, 20)

    def test_each_folder_that_is_left_out_is_told(self):
        folders = [command[0] for command in commands_left_out((TESTS / "CMakeLists.txt").read_text())]
        self.assertIn("python", folders)
        for folder in folders:
            self.assertTrue(self.is_told("tests/" + folder), folder)

    def test_each_test_of_cmake_that_is_left_out_is_told(self):
        names = [
            command[1]
            for path in sorted(TESTS.rglob("CMakeLists.txt"))
            for command in commands_left_out(path.read_text())
            if command[:1] == ["NAME"] and "$" not in command[1]
        ]
        self.assertIn("ExportedSurface.IsTheFunctionsAndTheKeysAndNothingElse", names)
        for name in names:
            self.assertTrue(self.is_told(name), name)

    def test_each_module_that_is_left_out_is_told(self):
        text = (E2E / "CMakeLists.txt").read_text()
        run = re.search(r"foreach\(module IN ITEMS ([^)]+)\)", text)[1].split()
        for path in sorted(E2E.glob("test_*.py")):
            if path.stem not in run:
                self.assertTrue(self.is_told(path.stem), path.stem)

    def test_each_test_that_is_left_out_is_told(self):
        names = [name for path in sorted(TESTS.rglob("*.cpp")) for name in tests_left_out(path.read_text())]
        self.assertGreater(len(names), 20)
        for name in names:
            self.assertTrue(self.is_told(name), name)

    def test_what_is_told_is_there(self):
        for name in re.findall(r"`(\w+Test\.cpp)`", self.page):
            self.assertTrue(list(TESTS.rglob(name)), name)
        sources = "".join(path.read_text() for path in TESTS.rglob("*.cpp"))
        lists = re.sub(r" COMMAND", "\n", "".join(path.read_text() for path in TESTS.rglob("CMakeLists.txt")))
        for suite, name in re.findall(r"`([A-Z]\w+)\.([A-Z]\w+)`", self.page):
            there = re.search(r"TEST(_F|_P)?\(%s, %s\)" % (suite, name), sources)
            self.assertTrue(there or "add_test(NAME %s.%s\n" % (suite, name) in lists, "%s.%s" % (suite, name))

    def test_what_windows_does_not_come_to_is_found(self):
        self.assertEqual(
            commands_left_out(
                "if(UNIX)\na(one)\nelse()\na(two)\nendif()\nif(WIN32)\na(three)\nreturn()\nendif()\na(four)"
            ),
            [["one"], ["four"]],
        )
        self.assertEqual(
            tests_left_out(
                "#if defined(_WIN32)\nTEST(A, One) {\n#else\nTEST(A, Two) {\n#endif\n#if defined(__linux__)\n"
                "TEST_P(A, Three) {\n#endif\nTEST_F(A, Four) {"
            ),
            ["A.Two", "A.Three"],
        )
        for line in ("#ifdef _WIN32", "#ifndef _WIN32", "#elif defined(_WIN32)"):
            self.assertRaises(ValueError, tests_left_out, line)


if __name__ == "__main__":
    unittest.main()
