"""A program's run, and what comes of pairs of runs."""

import os
import statistics
import subprocess
import sys
import tempfile
import time


CORES = sorted(os.sched_getaffinity(0))
CLIENTS_CORE = {CORES[0]}
SERVERS_CORE = {CORES[-1]}


class Run:
    """What one program took: wall and processor time in seconds, and what it printed. One that sends to the servers has a
    core of its own, as they have: whether two threads that hand each other bytes are put on one core or on two is chance,
    and worth more than what is compared."""

    def __init__(self, command, sends=False, **environment):
        with tempfile.TemporaryFile() as out:
            begun = time.monotonic()
            if sends:
                os.sched_setaffinity(0, CLIENTS_CORE)
            process = subprocess.Popen(command, stdout=out, stderr=subprocess.STDOUT, env={**os.environ, **environment})
            if sends:
                os.sched_setaffinity(0, CORES)
            _, status, used = os.wait4(process.pid, 0)
            self.wall = time.monotonic() - begun
            process.returncode = os.waitstatus_to_exitcode(status)
            self.cpu = used.ru_utime + used.ru_stime
            out.seek(0)
            self.text = out.read().decode(errors="replace").strip()
        if process.returncode != 0:
            sys.exit(f"bench: {command[0]} ended with {process.returncode}: {self.text}")

    def told(self, name):
        """The number behind this name in what the program printed, a name and a number a line."""
        return float(dict(line.split(" ", 1) for line in self.text.splitlines() if " " in line)[name])

    def timed_by_itself(self):
        """The same run with the time that the program measured as its wall time."""
        self.wall = self.told("seconds")
        return self


class Result:
    """One line of the result: the ratios, or figures of ours alone, of all pairs."""

    def __init__(self, name, figures, goal=None):
        self.name = name
        self.median = statistics.median(figures)
        self.least = min(figures)
        self.most = max(figures)
        self.goal = goal

    def line(self):
        goal = "-" if self.goal is None else self.goal
        return f"RATIO {self.name} ours/peer {self.median:.2f} {self.least:.2f} {self.most:.2f} {goal}"


def in_turn(count, ours, peer):
    """Ours and the peer, one after the other, `count` times."""
    return [(ours(), peer()) for _ in range(count)]


def ratios(name, pairs, **goals):
    """A result for each of `goals`, which says what of a run should be at most so many times the peer's."""
    return [
        Result(
            name if what == "wall" else f"{name}-{what}",
            [getattr(one, what) / max(getattr(other, what), 1e-6) for one, other in pairs],
            goal,
        )
        for what, goal in goals.items()
    ]
