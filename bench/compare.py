#!/usr/bin/env python3
"""Runs ours and a peer, or a limit of the machine, in turn, pair by pair, and prints for each comparison
"RATIO name ours/peer median min max goal". See docs/performance.md."""

import argparse
import json
import os
import tempfile

from rows.table import ROWS
from rows.workplace import Workplace


def keep(path, result):
    rows = {}
    if os.path.exists(path):
        with open(path, encoding="utf-8") as file:
            rows = json.load(file)
    rows[result.name] = vars(result)
    with open(path, "w", encoding="utf-8") as file:
        json.dump(rows, file, indent=1)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("programs", help="folder of the programs that are measured")
    parser.add_argument("names", nargs="*", metavar="NAME", help="comparisons; all when none is given")
    parser.add_argument("--pairs", type=int, default=9)
    parser.add_argument("--quick", action="store_true", help="small files: only whether everything works")
    parser.add_argument("--results", help="JSON file whose rows are replaced by what is measured here")
    options = parser.parse_intermixed_args()
    for name in options.names:
        if name not in ROWS:
            parser.error(f"no comparison {name}: {', '.join(ROWS)}")
    with tempfile.TemporaryDirectory() as place:
        work = Workplace(options.programs, place, options)
        try:
            for name in options.names or ROWS:
                for result in ROWS[name](work):
                    print(result.line(), flush=True)
                    if options.results:
                        keep(options.results, result)
        finally:
            work.close()


if __name__ == "__main__":
    main()
