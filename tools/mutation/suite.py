"""The tests of a tree, which of them come by a mutation, and whether one of them notices it."""

import json
import os
import re
import signal
import subprocess
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass, field
from pathlib import Path
from typing import Dict, List, Sequence, Set, Tuple

Environment = Tuple[str, ...]

# What stands beside src/ and runs nothing of it, or packs what the others run.
ELSEWHERE = ("python", "sandbox", "install")
LATE = "e2e."  # modules that run for minutes: they are asked only about what no other test comes by
MEMORY = 16 << 30  # address space of a test program: a mutation may allocate for ever
TOGETHER = 60  # tests in one process


@dataclass
class Test:
    """One test of ctest's list."""

    name: str
    command: List[str]
    environment: Environment
    folder: str
    room: str
    seconds: float = 0.0
    reached: Set[int] = field(default_factory=set)

    @property
    def filter(self) -> str:
        """The name inside a GoogleTest program; empty for any other test."""
        found = [part for part in self.command if part.startswith("--gtest_filter=")]
        return found[0].split("=", 1)[1] if found else ""

    @property
    def late(self) -> bool:
        return self.name.startswith(LATE)


def list_tests(build: Path) -> List[Test]:
    """The tests that run something of src/; of those that run under each Python the ones of the newest."""
    told = json.loads(subprocess.check_output(["ctest", "--test-dir", str(build), "--show-only=json-v1"], text=True))
    rows = []
    for entry in told["tests"]:
        properties = {row["name"]: row["value"] for row in entry.get("properties", [])}
        folder = properties.get("WORKING_DIRECTORY", str(build))
        room = folder.rpartition("/tests/")[2].split("/")[0]
        if "command" in entry and room not in ELSEWHERE:
            labels = [label for label in properties.get("LABELS", []) if label.startswith("Python ")]
            environment = tuple(properties.get("ENVIRONMENT", []))
            rows.append((labels, Test(entry["name"], entry["command"], environment, folder, room)))
    newest = max((labels for labels, _ in rows), key=lambda labels: [int(n) for n in re.findall(r"\d+", str(labels))])
    return [test for labels, test in rows if labels in ([], newest)]


def _scratch() -> "tempfile.TemporaryDirectory[str]":
    """For the files of a test that was killed; what it wrote-protected stays."""
    return tempfile.TemporaryDirectory(ignore_cleanup_errors=True)  # type: ignore[call-overload,no-any-return]


def run(
    command: Sequence[str], environment: Environment, extra: Dict[str, str], folder: str, limit: float
) -> Tuple[bool, str]:
    """Runs one program in a process group of its own; whether it passed, and what it printed. A crash and more than
    `limit` seconds are failures."""
    with _scratch() as own, tempfile.TemporaryFile() as printed:
        os.chmod(own, 0o755)  # a test may go on as another user
        variables = {**os.environ, "TMPDIR": own, **dict(row.split("=", 1) for row in environment), **extra}
        # A browser reserves more than it ever uses.
        is_program = any(part.startswith("--gtest_filter=") for part in command)
        limits = ["prlimit", "--core=0"] + ([f"--as={MEMORY}"] if is_program else [])
        process = subprocess.Popen(
            [*limits, *command],
            env=variables,
            cwd=folder,
            stdin=subprocess.DEVNULL,
            stdout=printed,
            stderr=subprocess.DEVNULL,
            start_new_session=True,
        )
        try:
            good = process.wait(limit) == 0
        except subprocess.TimeoutExpired:
            good = False
        finally:
            try:
                os.killpg(process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            process.wait()
        printed.seek(0)
        return good, printed.read().decode(errors="replace")


def measure(tests: Sequence[Test], jobs: int, limit: float) -> List[Test]:
    """Runs every test once without a mutation and notes its time and what it comes by. The tests that passed, at the
    latest when run once more with less beside them."""

    def one(test: Test) -> bool:
        with tempfile.TemporaryDirectory() as folder:
            record = Path(folder) / "reached"
            begin = time.monotonic()
            good, _ = run(test.command, test.environment, {"KBL_MUTANT_REACHED": str(record)}, test.folder, limit)
            test.seconds = time.monotonic() - begin
            if record.exists():
                test.reached = {int(line) for line in re.findall(r"^\d+$", record.read_text(), re.MULTILINE)}
            return good

    with ThreadPoolExecutor(jobs) as pool:
        results = list(pool.map(one, tests))
    return [test for test, good in zip(tests, results) if good or one(test)]


class Judge:
    """Finds the test that notices a mutation."""

    def __init__(self, tests: Sequence[Test]) -> None:
        self.tests = tests
        self.alone: Set[str] = set()  # programs whose tests disturb each other in one process

    def killer(self, number: int, path: str) -> str:
        """The name of a test that notices the mutation of a file; empty when it survives."""
        reaching = [test for test in self.tests if number in test.reached]
        room = path.split("/")[1].lower()
        for group in batches(reaching, room, self.alone):
            name = self._noticing(group, number)
            if name:
                return name
        return ""

    def _noticing(self, group: Sequence[Test], number: int) -> str:
        """The test of one batch that notices the mutation; empty without one. A failure counts only if the same tests
        pass without the mutation and fail with it once more."""
        name, bad = self._failure(group, number)
        if not bad:
            return ""
        if not self._failure(group, -1)[1]:
            return name if self._failure(group, number)[1] else ""
        if len(group) == 1:
            return ""
        self.alone.add(group[0].command[0])
        return next(filter(None, (self._noticing([test], number) for test in group)), "")

    @staticmethod
    def _failure(group: Sequence[Test], number: int) -> Tuple[str, bool]:
        """Which test fails under the mutation, and whether one does."""
        first = group[0]
        command = list(first.command)
        if first.filter:
            names = ":".join(test.filter for test in group)
            command = [f"--gtest_filter={names}" if part.startswith("--gtest_filter=") else part for part in command]
            command.append("--gtest_fail_fast")
        limit = 20 + 4 * sum(test.seconds for test in group)
        good, printed = run(command, first.environment, {"KBL_MUTANT": str(number)}, first.folder, limit)
        failed = re.findall(r"^\[  FAILED  \] (\w\S+)", printed, re.MULTILINE)
        begun = re.findall(r"^\[ RUN      \] (\S+)", printed, re.MULTILINE)
        return (failed[:1] or begun[-1:] or [first.name])[0], not good


def batches(tests: Sequence[Test], room: str, alone: Set[str]) -> List[List[Test]]:
    """The tests of one GoogleTest program and environment go together. Those of the mutation's room come first, and then
    the quick ones."""
    groups: Dict[Tuple[str, Environment, str], List[Test]] = {}
    for test in sorted(tests, key=lambda test: test.seconds):
        together = test.filter and test.command[0] not in alone
        key = (test.command[0], test.environment, test.folder) if together else (test.name, (), "")
        groups.setdefault(key, []).append(test)
    cut = [group[at : at + TOGETHER] for group in groups.values() for at in range(0, len(group), TOGETHER)]
    return sorted(cut, key=lambda group: (group[0].room != room, sum(test.seconds for test in group)))
