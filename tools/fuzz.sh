#!/usr/bin/env bash
# Builds every fuzz target and lets each run for a while over its seed corpus; one a core at a time; starts no more after the first finding.
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

# run SEEDS: lets the target of these seeds run, and shows what it said where it found something.
run() {
  local seeds=$1 target=${1##*/}
  local found=build/fuzz/corpus/$target log=build/fuzz/$target.log
  mkdir -p "$found"
  if "build/fuzz/bin/$target" -max_total_time="$seconds" -artifact_prefix="build/fuzz/$target-" "$found" "$seeds" \
    >"$log" 2>&1; then
    printf 'fuzz: %s, %s inputs\n' "$target" "$(sed -n 's/^Done \([0-9]*\) runs.*/\1/p' "$log")"
  else
    cat "$log"
    printf 'fuzz: %s found something\n' "$target"
    return 255
  fi
}
export -f run
export seconds
# shellcheck disable=SC2016  # the seeds are the new shell's own argument
printf '%s\0' fuzz/*/corpus/* | xargs -0 -n 1 -P "$(nproc)" bash -c 'run "$0"'
