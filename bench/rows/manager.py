"""What a manager costs: its start, and the saves of its users."""

import os

from rows.measure import Result, Run, in_turn, ratios


def cache_rounds(work, way, users, count):
    cache = work.path(f"users{users}")
    os.makedirs(cache, exist_ok=True)
    return Run([work.program("cache_rounds"), way, cache, str(users), str(count)]).timed_by_itself()


def cache_save(work):
    """One update of a user beside SQLite alone, which writes a text of the same length with the same care."""
    count = 3 if work.is_quick else 15
    results = []
    for users in (1, 100, 2000):
        pairs = in_turn(
            work.pairs,
            lambda users=users: cache_rounds(work, "ours", users, count),
            lambda users=users: cache_rounds(work, "sqlite", users, count),
        )
        results += ratios(f"cache-save-{users}", pairs, wall=1.25)
    return results


SAVES_OF_A_VERIFICATION = 2  # one of the account's token, one of the platform's


def cache_crowd(work):
    """200 verifications at once beside their saves one by one; the writes of all, and how long a logout among them takes,
    in each pair at another moment of the crowd, from its beginning on."""
    count = 20 if work.is_quick else 200
    answers = iter(count * pair // work.pairs for pair in range(work.pairs))

    def crowd():
        command = [work.program("cache_crowd"), work.path("http.json"), work.fresh_cache(), work.told["refresh"]]
        return Run([*command, "2000", str(count), str(next(answers))]).timed_by_itself()

    pairs = in_turn(work.pairs, crowd, lambda: cache_rounds(work, "ours", 2000, 5))
    saves = SAVES_OF_A_VERIFICATION * count
    return [
        Result("cache-crowd", [many.wall / (single.wall * saves) for many, single in pairs]),
        Result("cache-crowd-writes", [many.told("writes") for many, _ in pairs], 20),
        Result("cache-crowd-logout-ms", [many.told("logout") for many, _ in pairs], 50),
    ]


def load(work):
    """Milliseconds that four managers with their caches add to an empty program."""
    cache = work.fresh_cache()
    library = os.path.join(os.path.dirname(work.programs), "lib", "libExternlMediaTransfer.so")
    Run([work.program("load_host"), library, cache])
    pairs = in_turn(
        work.pairs,
        lambda: Run([work.program("load_host"), library, cache]),
        lambda: Run([work.program("load_host"), library, "-"]),
    )
    return [Result("load-ms", [1000 * (ours.wall - empty.wall) for ours, empty in pairs], 10)]
