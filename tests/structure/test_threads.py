"""What the libraries keep for each thread: nothing that has a destructor. One for a thread that ends behind a library's
unloading would be run where nothing is mapped any more, and one of the main thread keeps a Windows library loaded."""

import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
PLAIN = re.compile(r"thread_local (bool|int|(const )?\w+\*( const)?) \w+ = (nullptr|false|0);")


class ThreadLocals(unittest.TestCase):
    def test_all_are_numbers_and_pointers(self):
        found = 0
        for folder in ("src", "include", "sandbox", "apps"):
            for path in [*(ROOT / folder).rglob("*.h"), *(ROOT / folder).rglob("*.cpp")]:
                for line in path.read_text(encoding="utf-8").splitlines():
                    if re.search(r"\bthread_local\b", line.split("//")[0]):
                        found += 1
                        self.assertRegex(line, PLAIN, path)
        self.assertGreater(found, 0)


if __name__ == "__main__":
    unittest.main()
