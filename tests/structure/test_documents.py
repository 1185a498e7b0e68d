"""The documents show what is there."""

import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]


class Readme(unittest.TestCase):
    def test_shows_the_heart_of_the_upload(self):
        shown = (ROOT / "README.md").read_text().split("```cpp\n")[1].split("```")[0]
        self.assertEqual(len(shown.splitlines()), 7)
        self.assertIn(shown, (ROOT / "examples" / "minimal_upload.cpp").read_text())


class Sandbox(unittest.TestCase):
    def test_lists_every_route_and_every_fault(self):
        section = (ROOT / "docs" / "sandbox.md").read_text().split("\n## Faults\n")[1].split("\n## ")[0]
        kinds, routes = (re.findall(r"`(\w+)[(`]", table) for table in section.split("| of | routes |"))
        names = re.findall(r'\{Route::\w+, "(\w+)"\}', (ROOT / "sandbox/base/Route.cpp").read_text())
        self.assertGreater(len(names), 60)
        self.assertEqual(sorted(routes), sorted(names))
        table = (ROOT / "sandbox/services/inspection/FaultJson.cpp").read_text()
        for kind in re.findall(r'\{Kind::\w+, "(\w+)"', table):
            self.assertIn(kind, kinds)


class EventsAndCodes(unittest.TestCase):
    """The texts of the library's errors stand in the table, and no others."""

    SECTIONS = {"ErrorCode": "Error codes", "MediaError": "Error codes of listings and downloads"}

    def setUp(self):
        sources = [path.read_text() for path in sorted((ROOT / "src").rglob("*")) if path.suffix in (".cpp", ".h")]
        self.source = "\n".join(sources)
        page = (ROOT / "docs" / "events-and-codes.md").read_text()
        self.texts = {}
        for scope, heading in self.SECTIONS.items():
            section = page.split("\n## %s\n" % heading)[1].split("\n## ")[0]
            for name, texts in re.findall(r"^\| -?\d+ \| `(\w+)` \|.*\| (.*) \|$", section, re.MULTILINE):
                self.texts[scope, name] = re.findall(r"`([^`]*)`", texts)

    def test_table_has_what_the_source_tells(self):
        named = dict(re.findall(r'constexpr const char\* (\w+) = "([^"]+)";', self.source))
        told = re.findall(r"(ErrorCode|MediaError)::(\w+),(?!\s*\.)\s*([^;]*?)\)?[;}]", self.source)
        count = 0
        for scope, code, expression in told:
            literals = re.findall(r'"([^"]+)"', expression)
            bare = re.sub(r'"[^"]*"', "", expression)
            literals += [named[word] for word in re.findall(r"\w+", bare) if word in named]
            for literal in literals:
                count += 1
                self.assertTrue(any(literal in text for text in self.texts[scope, code]), (code, literal))
        self.assertGreater(count, 27)

    def test_source_tells_what_the_table_has(self):
        for code, texts in self.texts.items():
            for fragment in (part for text in texts for part in text.split("...") if part):
                self.assertIn(fragment, self.source, code)


if __name__ == "__main__":
    unittest.main()
