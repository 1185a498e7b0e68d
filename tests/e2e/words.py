"""Runs the tests of one module that have one of some words in their names, as unittest's -k does, and none that has one
with NOT- ahead of it; with words of that kind alone all others. Fails where a word is in no name: a test that was given
another one would else be left out, or taken in, in silence.

    python3 words.py MODULE [WORD|NOT-WORD]...
"""

import sys
import unittest


def tests_of(suite):
    for test in suite:
        if isinstance(test, unittest.TestSuite):
            yield from tests_of(test)
        else:
            yield test


def chosen(tests, words):
    """The tests that the words choose by their names; None where a word is in none."""
    names = {test: test.id() for test in tests}
    left_out = [word[len("NOT-") :] for word in words if word.startswith("NOT-")]
    wanted = [word for word in words if not word.startswith("NOT-")]
    for word in wanted + left_out:
        if not any(word in name for name in names.values()):
            print("words: no test has %r in its name" % word, file=sys.stderr)
            return None
    return [
        test
        for test in tests
        if (not wanted or any(word in names[test] for word in wanted))
        and not any(word in names[test] for word in left_out)
    ]


def main():
    module, words = sys.argv[1], sys.argv[2:]
    tests = chosen(list(tests_of(unittest.defaultTestLoader.loadTestsFromName(module))), words)
    if not tests:
        sys.exit(1)
    result = unittest.TextTestRunner(verbosity=2).run(unittest.TestSuite(tests))
    sys.exit(0 if result.wasSuccessful() else 1)


if __name__ == "__main__":
    main()
