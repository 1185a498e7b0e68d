"""Includes point to the same floor or down; floors.txt is the list of floors."""

import pathlib
import re
import tempfile
import unittest

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[1]
INCLUDE = re.compile(r'^\s*#\s*include\s*[<"]([^>"]+)[>"]', re.MULTILINE)
# Where the compiler looks, from the root of the repository; the folder of the file itself comes first.
SEARCHED = ("src", "include", "", "apps/mediatransfer")


def houses(text):
    """The floors of each house, the ground first."""
    found = [[]]
    for line in text.splitlines():
        if not line.strip():
            found.append([])
        elif not line.startswith("#"):
            found[-1].append(line.strip())
    return [house for house in found if house]


def floor_of(house, path):
    """The place of a file in a house's list, or None."""
    for folder in path.parents:
        if str(folder) in house:
            return house.index(str(folder))
    return None


def included(root, path, name):
    """The file of ours that an include names, from the root, or None."""
    for folder in (path.parent, *map(pathlib.Path, SEARCHED)):
        if (root / folder / name).is_file():
            return (root / folder / name).resolve().relative_to(root.resolve())
    return None


def sources(root, folder):
    return sorted(
        file.relative_to(root)
        for file in (root / folder).rglob("*")
        if file.suffix in (".h", ".cpp") and "build" not in file.relative_to(root).parts
    )


def upward(root, house, seen):
    """What points up or out of a house, as a line each. A folder that two houses name is looked at in the first."""
    for folder in dict.fromkeys(floor.split("/")[0] for floor in house):
        if folder in seen:
            continue
        seen.add(folder)
        for path in sources(root, folder):
            own = floor_of(house, path)
            if own is None:
                yield f"{path} stands on no floor"
                continue
            for name in INCLUDE.findall((root / path).read_text(encoding="utf-8")):
                target = included(root, path, name)
                if target is None or target.parts[0] == "build":
                    continue
                floor = floor_of(house, target)
                if floor is None:
                    yield f"{path} includes {target}, which is of another house"
                elif floor > own:
                    yield f"{path} includes {target}, which stands above it"


def all_upward(root, text):
    seen = set()
    return [line for house in houses(text) for line in upward(root, house, seen)]


class IncludesPointDown(unittest.TestCase):
    def test_in_all_houses(self):
        text = (HERE / "floors.txt").read_text(encoding="utf-8")
        for house in houses(text):
            for floor in house:
                self.assertTrue((ROOT / floor).is_dir(), floor)
        self.assertGreater(sum(len(sources(ROOT, folder)) for folder in ("src", "include", "apps", "sandbox")), 300)
        self.assertEqual(all_upward(ROOT, text), [])

    def test_a_planted_upward_include_is_found(self):
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            for name, content in (
                ("src/low/Low.h", '#include "high/High.h"\n'),
                ("src/high/High.h", '#include "low/Low.h"\n#include <string>\n'),
                ("src/stray/Stray.h", ""),
                ("apps/Program.cpp", '#include "low/Low.h"\n'),
            ):
                (root / name).parent.mkdir(parents=True, exist_ok=True)
                (root / name).write_text(content, encoding="utf-8")
            self.assertEqual(
                all_upward(root, "src/low\nsrc/high\n\napps\n"),
                [
                    "src/low/Low.h includes src/high/High.h, which stands above it",
                    "src/stray/Stray.h stands on no floor",
                    "apps/Program.cpp includes src/low/Low.h, which is of another house",
                ],
            )


if __name__ == "__main__":
    unittest.main()
