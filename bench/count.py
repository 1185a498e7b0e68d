#!/usr/bin/env python3
"""Counts the instructions of the hot paths under callgrind and compares them with bench/counts.json, where the figures stand
beside the versions under which they were counted; under other versions nothing is compared. A path that takes more than 3 %
beyond its figure ends the program with 1. `--store` writes the figures anew."""

import argparse
import json
import os
import re
import subprocess
import sys
import tempfile

from rows.measure import Run
from rows.workplace import MIB, Workplace

TOLERANCE = 0.03
STORED = os.path.join(os.path.dirname(os.path.abspath(__file__)), "counts.json")
PACKAGES = ["libc6", "libcurl4", "libjsoncpp25", "libmbedcrypto7", "libsqlite3-0", "libssl3", "libstdc++6", "valgrind"]
USERS = 100


def output_of(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout


def compiler(programs):
    """The name and version of the compiler of the build that the programs belong to."""
    with open(os.path.join(os.path.dirname(programs), "CMakeCache.txt"), encoding="utf-8") as cache:
        path = re.search(r"^CMAKE_CXX_COMPILER:\w+=(.*)$", cache.read(), re.M).group(1)
    return output_of(path, "--version").splitlines()[0]


def versions(programs):
    """All that a count depends on but the library itself: libraries pick their code by what the processor can do."""
    told = output_of("dpkg-query", "-W", "-f", "${Package} ${Version}\\n", *PACKAGES)
    found = dict(line.split(" ") for line in told.splitlines())
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        flags = set(re.search(r"^flags\s*:(.*)$", file.read(), re.M).group(1).split())
    found["compiler"] = compiler(programs)
    found["processor"] = " ".join(
        sorted(flags & {"aes", "avx2", "bmi2", "erms", "fsrm", "pclmulqdq", "sse4_2", "vaes"})
    )
    return found


def count(work, path, rounds, *arguments):
    """Instructions of one round, of the best of three runs: what waits for a server may have to ask twice."""
    return min(count_once(work, path, rounds, arguments) for _ in range(3))


def count_once(work, path, rounds, arguments):
    with tempfile.TemporaryDirectory() as place:
        record = os.path.join(place, "record")
        Run(
            [
                "valgrind",
                "--tool=callgrind",
                "--quiet",
                f"--callgrind-out-file={record}",
                "--toggle-collect=hotPathRounds",
            ]
            + [work.program("hot_paths"), path, str(rounds), *arguments]
        )
        with open(record, encoding="utf-8") as file:
            return int(re.search(r"^(?:summary|totals): (\d+)", file.read(), re.M).group(1)) // rounds


def count_all(work):
    cache = work.fresh_cache()
    Run([work.program("cache_rounds"), "ours", cache, str(USERS), "1"])
    url = work.told["http"]
    return {
        "page": count(work, "page", 20),
        "exchange": count(work, "exchange", 20, url + "/request"),
        "chunk": count(work, "chunk", 20, url + "/session", work.make_file("chunks", 4 * MIB)),
        "save": count(work, "save", 5, cache),
        "load": count(work, "load", 5, cache),
    }


def compare(counted, stored):
    """The names of the paths that have become slower."""
    for name, instructions in counted.items():
        print(f"COUNT {name} {instructions} stored {stored[name]} change {instructions / stored[name] - 1:+.1%}")
    return [name for name, instructions in counted.items() if instructions > stored[name] * (1 + TOLERANCE)]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("programs", help="folder of the programs that are measured")
    parser.add_argument("--store", action="store_true", help="write the figures anew")
    options = parser.parse_args()
    here = versions(options.programs)
    with tempfile.TemporaryDirectory() as place:
        work = Workplace(options.programs, place, argparse.Namespace(pairs=1, quick=True))
        try:
            counted = count_all(work)
        finally:
            work.close()
    if options.store:
        with open(STORED, "w", encoding="utf-8") as file:
            json.dump({"versions": here, "instructions": counted}, file, indent=2)
            file.write("\n")
        return
    with open(STORED, encoding="utf-8") as file:
        stored = json.load(file)
    others = [name for name, version in here.items() if stored["versions"].get(name) != version]
    if others:
        print(f"counts: not compared, stored under other versions of {', '.join(others)}")
        return
    unknown = counted.keys() - stored["instructions"].keys()
    if unknown:
        sys.exit(f"counts: no figure for {', '.join(sorted(unknown))}; `tools/counts.sh --store` writes one")
    slower = compare(counted, stored["instructions"])
    if slower:
        sys.exit(
            f"counts: slower by more than {TOLERANCE:.0%}: {', '.join(slower)}; `tools/counts.sh --store` if it has to be"
        )


if __name__ == "__main__":
    main()
