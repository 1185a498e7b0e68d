#!/usr/bin/env bash
# Measures the library beside the programs that others would use, in turn, pair by pair (docs/performance.md):
# `tools/bench.sh [--quick] [NAME...]`. Each line of the result reads `RATIO name ours/peer median min max goal`. --quick
# takes small files and few pairs: it shows that everything works, its times mean nothing. Without it the rows
# that were measured replace theirs in build/bench.json, from which the table and the chart of docs/performance.* are made.
set -euo pipefail
cd "$(dirname "$0")/.."

size=(--results build/bench.json)
if [ "${1:-}" = --quick ]; then
  size=(--quick --pairs 2)
  shift
fi
tools/setup.sh bench
mkdir -p build
cmake --preset release -DKBL_BUILD_BENCHMARKS=ON >build/configure-benchmarks.log
cmake --build --preset release --target benchmarks
python3 bench/compare.py build/release/bin "$@" "${size[@]}"
[ "${size[0]}" = --quick ] || /usr/bin/python3 bench/report.py build/bench.json
