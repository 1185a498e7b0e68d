"""What is run for Windows is what the lists say."""

import pathlib
import re
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
E2E = ROOT / "tests" / "e2e"
sys.path.insert(0, str(E2E))

import words  # noqa: E402


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

    def test_each_word_of_the_list_is_in_a_name(self):
        lists = re.findall(r"^  set\((test_\w+) ([^)]+)\)", (E2E / "CMakeLists.txt").read_text(), re.MULTILINE)
        self.assertGreater(len(lists), 5)
        for module, chosen in lists:
            source = (E2E / (module + ".py")).read_text()
            for word in chosen.split():
                self.assertRegex(source, r"(class|def) \w*%s" % word, module)


class Lists(unittest.TestCase):
    def test_each_source_that_is_left_out_by_its_name_is_told(self):
        page = (ROOT / "docs" / "windows.md").read_text()
        for path in sorted((ROOT / "tests").rglob("*.cpp")):
            if re.search(r"(Posix|OpenSsl)Test\.cpp$", path.name):
                self.assertIn("`%s`" % path.name, page)


if __name__ == "__main__":
    unittest.main()
