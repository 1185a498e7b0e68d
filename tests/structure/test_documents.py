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


if __name__ == "__main__":
    unittest.main()
