"""The documents show what is there."""

import pathlib
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]


class Readme(unittest.TestCase):
    def test_shows_the_heart_of_the_upload(self):
        shown = (ROOT / "README.md").read_text().split("```cpp\n")[1].split("```")[0]
        self.assertEqual(len(shown.splitlines()), 7)
        self.assertIn(shown, (ROOT / "examples" / "minimal_upload.cpp").read_text())


if __name__ == "__main__":
    unittest.main()
