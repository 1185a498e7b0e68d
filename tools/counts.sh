#!/usr/bin/env bash
# Counts the instructions of the hot paths (bench/counts/HotPaths.cpp) and fails when one takes over 3 % more than what
# bench/counts.json says: a slow-down is seen without a clock. `--store` writes the figures anew.
set -euo pipefail
cd "$(dirname "$0")/.."

tools/setup.sh bench
mkdir -p build
cmake --preset release -DKBL_BUILD_BENCHMARKS=ON >build/configure-benchmarks.log
cmake --build --preset release --target benchmarks
python3 bench/count.py build/release/bin "$@"
