"""Prints the C++ files of the repository that are among the named files or include one of them, at whatever depth.

    python3 tools/includers.py FILE...

FILE stands as git names it. An include is taken for every file whose path ends in it: one file too many at worst.
"""

import collections
import re
import subprocess
import sys
from typing import Dict, Iterable, Iterator, List, Set

INCLUDE = re.compile(r'^\s*#\s*include\s*["<]([^">]+)[">]', re.MULTILINE)


def cpp_files() -> List[str]:
    command = ["git", "ls-files", "--cached", "--others", "--exclude-standard", "*.h", "*.cpp"]
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout.splitlines()


def endings(path: str) -> Iterator[str]:
    """The texts by which an include may mean this file: "a/b.h", "b.h"."""
    parts = path.split("/")
    return ("/".join(parts[start:]) for start in range(len(parts)))


def includers_by_text(paths: Iterable[str]) -> Dict[str, Set[str]]:
    found: Dict[str, Set[str]] = collections.defaultdict(set)
    for path in paths:
        with open(path, encoding="utf-8") as file:
            for text in INCLUDE.findall(file.read()):
                found[text].add(path)
    return found


def main() -> None:
    paths = cpp_files()
    by_text = includers_by_text(paths)
    touched = set(sys.argv[1:]).intersection(paths)
    waiting = list(touched)
    while waiting:
        path = waiting.pop()
        news = {includer for text in endings(path) for includer in by_text.get(text, ())} - touched
        touched |= news
        waiting.extend(news)
    print("\n".join(sorted(touched)), end="\n" if touched else "")


main()
