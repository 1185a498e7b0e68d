#!/usr/bin/env bash
# Builds every fuzz target and lets each run for a while over its seed corpus; ends with the first finding.
#   tools/fuzz.sh [SECONDS]     (default: 10 a target)
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-10}
tools/setup.sh fuzz

mkdir -p build
cmake --preset fuzz >build/configure-fuzz.log || {
  cat build/configure-fuzz.log
  exit 1
}
cmake --build --preset fuzz --target fuzzers

for seeds in fuzz/*/corpus/*; do
  target=${seeds##*/}
  found=build/fuzz/corpus/$target
  mkdir -p "$found"
  printf 'fuzz: %s\n' "$target"
  log=build/fuzz/$target.log
  "build/fuzz/bin/$target" -max_total_time="$seconds" -artifact_prefix="build/fuzz/$target-" "$found" "$seeds" \
    >"$log" 2>&1 || {
    cat "$log"
    exit 1
  }
done
