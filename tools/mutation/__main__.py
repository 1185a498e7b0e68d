"""python3 tools/mutation [N] [SEED] [FOLDER]: see tools/mutate.sh."""

import os
import random
import sys
import threading
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from typing import Dict, Iterator, List, Sequence

from places import KINDS, Place, by_kind
from results import Measured, Results
from suite import Judge, Test, list_tests, measure
from tree import Tree

TEST_SECONDS = 300.0  # the longest that one test may take without a mutation


def shuffled(places: List[Place], seed: int) -> Iterator[Place]:
    """All places in a random order in which the kinds come equally often."""
    dice = random.Random(seed)
    piles = by_kind(places)
    for pile in piles.values():
        dice.shuffle(pile)
    while any(piles.values()):
        for kind in KINDS:
            if piles[kind]:
                yield piles[kind].pop()


def tell(places: Dict[int, Place], tests: Sequence[Test], results: Results) -> None:
    killed = [place for place in places.values() if results.killer(place)]
    for number, place in places.items():
        if place not in killed:
            reached = sum(number in test.reached for test in tests)
            print(f"SURVIVED mutant {number}, reached by {reached} tests: {place.describe()}")
    for kind in KINDS:
        of_kind = [place for place in places.values() if place.kind == kind]
        print(f"{kind}: {sum(place in killed for place in of_kind)} of {len(of_kind)} killed")
    share = 100.0 * len(killed) / len(places) if places else 0.0
    print(f"mutants: {len(killed)} of {len(places)} killed ({share:.1f} %)")


def main(arguments: Sequence[str]) -> int:
    wanted = int(arguments[0]) if arguments else 150
    seed = int(arguments[1]) if len(arguments) > 1 else random.SystemRandom().randrange(1 << 31)
    folder = arguments[2].rstrip("/") if len(arguments) > 2 else "src"
    source = Path(__file__).resolve().parents[2]
    begin = time.monotonic()

    def say(text: str) -> None:
        print(f"mutate: {text} ({time.monotonic() - begin:.0f} s)", flush=True)

    tree = Tree(source, source / "build" / "mutate")
    tree.lay()
    tree.configure()
    candidates = tree.candidates(folder)
    say(f"seed {seed}, {len(candidates)} places in {folder}")
    places = tree.choose(shuffled(candidates, seed), wanted)
    say(f"{len(places)} mutants compile")
    tree.make()
    say("built")

    jobs = 2 * (os.cpu_count() or 1)
    results = Results(source / "build" / f"mutate-{seed}.txt")
    measured = Measured(source / "build" / f"mutate-{seed}.json", places)
    lock = threading.Lock()

    def passing(tests: Sequence[Test]) -> List[Test]:
        unknown = measured.recall(tests)
        good = measure(unknown, jobs, TEST_SECONDS)
        measured.keep(good)
        bad = {test.name for test in unknown} - {test.name for test in good}
        for name in sorted(bad):
            print(f"left out, since it fails without a mutation: {name}")
        say(f"{len(tests) - len(bad)} tests pass without a mutation")
        return [test for test in tests if test.name not in bad]

    def judge(tests: Sequence[Test], numbers: Sequence[int]) -> None:
        judgement = Judge(tests)

        def decide(number: int) -> None:
            killer = judgement.killer(number, places[number].path)
            with lock:
                results.note(places[number], killer)
                say(f"{'killed by ' + killer if killer else 'SURVIVED'}: {number} {places[number].describe()}")

        with ThreadPoolExecutor(jobs) as pool:
            list(pool.map(decide, numbers))

    tests = list_tests(tree.build)
    quick = passing([test for test in tests if not test.late])
    undecided = [number for number, place in places.items() if not results.killer(place)]
    reached = {number for test in quick for number in test.reached}
    judge(quick, [number for number in undecided if number in reached])
    late: List[Test] = []
    unreached = [number for number in undecided if number not in reached]
    if unreached:
        late = passing([test for test in tests if test.late])
        judge(late, unreached)
    say("done")
    tell(places, quick + late, results)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
