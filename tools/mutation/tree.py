"""A copy of the repository in which many mutations are built at once, each behind its own number."""

import json
import os
import shlex
import shutil
import subprocess
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from typing import Callable, Dict, Iterator, List, Sequence, Set, Tuple

from places import Place, find_places, overlaps

SWITCH = """#pragma once
// Answers which mutation is on, and notes which ones a test comes by.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

inline bool kblMutant(int number) {
  static const int chosen = [] {
    const char* const text = std::getenv("KBL_MUTANT");
    return text == nullptr ? -1 : std::atoi(text);
  }();
  static const char* const record = std::getenv("KBL_MUTANT_REACHED");
  static std::atomic<bool> seen[@COUNT@] = {};
  if (record != nullptr && !seen[number].exchange(true)) {
    char line[16];
    const int length = std::snprintf(line, sizeof line, "%d\\n", number);
    const int file = ::open(record, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (file >= 0) {
      if (::write(file, line, static_cast<size_t>(length)) < 0) std::abort();
      ::close(file);
    }
  }
  return number == chosen;
}
"""

# A mutation may well be something that the compiler warns of.
LAUNCHER = """#!/bin/sh
for last; do :; done
grep -q @MARK@ "$last" && set -- "$@" -w
exec @CCACHE@ "$@"
"""


class Tree:
    """The copy at `root`; `source` is the repository."""

    def __init__(self, source: Path, root: Path) -> None:
        self.source = source
        self.root = root
        self.build = root / "build" / "release"

    def lay(self) -> None:
        """Copies what git tracks. Unchanged files keep their time, so that a second run builds little."""
        names = subprocess.check_output(["git", "-C", str(self.source), "ls-files", "-z"], text=True).split("\0")
        kept = set()
        for name in filter(None, names):
            kept.add(name)
            self._refresh(self.root / name, (self.source / name).read_bytes(), self.source / name)
        for path in sorted(self.root.rglob("*")):
            name = str(path.relative_to(self.root))
            if path.is_file() and not name.startswith(("build/", ".git")) and name not in kept:
                path.unlink()

    @staticmethod
    def _refresh(path: Path, content: bytes, like: Path) -> None:
        if path.exists() and path.read_bytes() == content:
            return
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)
        shutil.copymode(like, path)

    def configure(self) -> None:
        launcher = self.root / "build" / "launcher"
        launcher.parent.mkdir(parents=True, exist_ok=True)
        launcher.write_text(
            LAUNCHER.replace("@MARK@", str(self.root / "mutant.h")).replace("@CCACHE@", shutil.which("ccache") or "")
        )
        launcher.chmod(0o755)
        command = ["cmake", "--preset", "release", "-DKBL_BUILD_TESTS=ON", f"-DCMAKE_CXX_COMPILER_LAUNCHER={launcher}"]
        subprocess.run(command, cwd=self.root, check=True, stdout=subprocess.DEVNULL)

    def make(self) -> None:
        subprocess.run(["cmake", "--build", str(self.build)], check=True, stdout=subprocess.DEVNULL)

    def commands(self) -> Dict[str, str]:
        """What compiles each file of src/, by its name in the repository. A file that is compiled for several targets
        has one command here: the mutation is the same in all."""
        entries = json.loads((self.build / "compile_commands.json").read_text())
        found = {}
        for entry in entries:
            name = os.path.relpath(entry["file"], self.root)
            if name.startswith("src/"):
                found[name] = entry["command"]
        return found

    def candidates(self, folder: str) -> List[Place]:
        places = []
        for name in sorted(self.commands()):
            if name.startswith(folder):
                places += find_places(name, (self.source / name).read_text())
        return places

    def choose(self, order: Iterator[Place], wanted: int) -> Dict[int, Place]:
        """The first `wanted` places of `order` that the compiler takes and that do not overlap, by number; they are
        planted and compiled."""
        (self.root / "mutant.h").write_text(SWITCH.replace("@COUNT@", str(wanted)))
        commands = self.commands()
        taken: Dict[int, Place] = {}
        refused: Set[str] = set()
        while True:
            fresh = self._fill(taken, order, wanted)
            if not fresh and not refused:
                return taken
            self._plant(taken, refused | {taken[number].path for number in fresh})
            refused = self._refused_files(commands, {taken[number].path for number in fresh} | refused)
            suspects = [number for number, place in taken.items() if place.path in refused]
            check: Callable[[int], bool] = lambda number: self._compiles(commands[taken[number].path], taken[number])
            with ThreadPoolExecutor(os.cpu_count()) as pool:
                verdicts = list(pool.map(check, suspects))
            bad = [number for number, good in zip(suspects, verdicts) if not good]
            for number in bad or suspects:  # those that only together are refused go together
                del taken[number]

    @staticmethod
    def _fill(taken: Dict[int, Place], order: Iterator[Place], wanted: int) -> List[int]:
        """Gives the free numbers to the next places; the numbers given."""
        free = [number for number in range(wanted) if number not in taken]
        given = []
        for place in order:
            if not free:
                break
            if not overlaps(place, iter(taken.values())):
                given.append(free.pop(0))
                taken[given[-1]] = place
            if not free:
                break
        return given

    def _refused_files(self, commands: Dict[str, str], paths: Set[str]) -> Set[str]:
        """Compiles the files; those that the compiler refuses."""
        objects = {}
        for path in paths:
            arguments = shlex.split(commands[path])
            objects[arguments[arguments.index("-o") + 1]] = path
        process = subprocess.run(
            ["ninja", "-k", "0", *objects], cwd=self.build, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True
        )
        failed = {row.split(maxsplit=1)[1].strip() for row in process.stdout.splitlines() if row.startswith("FAILED: ")}
        return {objects[name] for name in failed if name in objects}

    def _compiles(self, command: str, place: Place) -> bool:
        arguments = shlex.split(command)
        arguments = arguments[arguments[0].endswith("/launcher") : arguments.index("-o")]
        folder = str((self.source / place.path).parent)
        arguments += ["-w", "-fsyntax-only", "-x", "c++", "-iquote", folder, "-"]
        text = self.mutated((self.source / place.path).read_text(), [(0, place)])
        return subprocess.run(arguments, input=text, text=True, capture_output=True, cwd=self.build).returncode == 0

    def mutated(self, text: str, places: Sequence[Tuple[int, Place]]) -> str:
        for number, place in sorted(places, key=lambda row: -row[1].start):
            text = text[: place.start] + place.text(number) + text[place.end :]
        return f'#include "{self.root}/mutant.h"\n#line 1\n' + text if places else text

    def _plant(self, places: Dict[int, Place], paths: Set[str]) -> None:
        """Writes the mutations that `paths` have into the copy."""
        for path in paths:
            rows = [(number, place) for number, place in places.items() if place.path == path]
            (self.root / path).write_text(self.mutated((self.source / path).read_text(), rows))
