"""What a run has found so far, kept in files: the next run with the same seed goes on from there."""

import json
from pathlib import Path
from typing import Dict, Iterable, List, Sequence

from places import Place
from suite import Test


class Results:
    """One line a mutation: the test that noticed it, or `survived`, and what was changed. The last line counts. What
    survived is tried again by the next run, since a test may have come."""

    def __init__(self, path: Path) -> None:
        self.path = path
        self.killers: Dict[str, str] = {}
        if path.exists():
            for row in path.read_text().splitlines():
                killer, _, told = row.partition("\t")
                self.killers[told] = killer

    def note(self, place: Place, killer: str) -> None:
        self.killers[place.describe()] = killer or "survived"
        with self.path.open("a") as file:
            file.write(f"{killer or 'survived'}\t{place.describe()}\n")

    def killer(self, place: Place) -> str:
        """The test that noticed the mutation; empty without one."""
        found = self.killers.get(place.describe(), "survived")
        return "" if found == "survived" else found


class Measured:
    """What each test comes by and how long it takes, for one list of places."""

    def __init__(self, path: Path, places: Dict[int, Place]) -> None:
        self.path = path
        self.places = {str(number): place.describe() for number, place in places.items()}
        self.rows: Dict[str, List[float]] = {}
        known = json.loads(path.read_text()) if path.exists() else {}
        if known.get("places") == self.places:
            self.rows = known["tests"]

    def recall(self, tests: Sequence[Test]) -> List[Test]:
        """Fills in the tests that are known to pass; gives those back that are not."""
        unknown = []
        for test in tests:
            row = self.rows.get(test.name)
            if row is None:
                unknown.append(test)
            else:
                test.seconds, test.reached = row[0], {int(number) for number in row[1:]}
        return unknown

    def keep(self, tests: Iterable[Test]) -> None:
        self.rows.update({test.name: [test.seconds, *sorted(test.reached)] for test in tests})
        self.path.write_text(json.dumps({"places": self.places, "tests": self.rows}))
