#!/usr/bin/env bash
# Where a program of the build spends its time: `tools/profile.sh COMMAND [ARGUMENT...]`, by perf where it may sample, else
# by callgrind, which counts instructions. Prints the functions at the top; the whole record lies in build/profile/.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ $# -eq 0 ]; then
  echo 'profile: use: tools/profile.sh COMMAND [ARGUMENT...]' >&2
  exit 2
fi

mkdir -p build/profile
record=build/profile/perf.data
rm -f "$record" build/profile/callgrind.out
if command -v perf >/dev/null && perf record --quiet -o "$record" true >/dev/null 2>&1; then
  perf record --quiet --call-graph fp -o "$record" "$@"
  perf report -i "$record" --no-children -g none --percent-limit 1 --stdio 2>/dev/null | grep -v '^#' | grep .
else
  tools/setup.sh bench
  valgrind --tool=callgrind --callgrind-out-file=build/profile/callgrind.out "$@"
  callgrind_annotate build/profile/callgrind.out | sed -n '1,60p'
fi
