#!/usr/bin/env bash
# Measures the library beside the programs that others would use, in turn, pair by pair (docs/performance.md):
# `tools/bench.sh [--quick] [NAME...]`. Each line of the result reads `RATIO name ours/peer median min max goal`. --quick
# takes small files and few pairs: it shows that everything works, its times mean nothing.
set -euo pipefail
cd "$(dirname "$0")/.."

size=()
if [ "${1:-}" = --quick ]; then
  size=(--quick --pairs 2)
  shift
fi
tools/setup.sh bench
mkdir -p build
cmake --preset release -DKBL_BUILD_BENCHMARKS=ON >build/configure-benchmarks.log
cmake --build --preset release --target benchmarks
python3 bench/compare.py build/release/bin "$@" "${size[@]}"
