#!/usr/bin/env bash
# Changes random places of src/ (conditions, constants, dropped calls, the order of two statements, texts, severities of
# log lines), one at a time, and prints those that no test notices.
#   tools/mutate.sh [N] [SEED] [FOLDER]     (default: 150 places, a fresh seed, src)
# All changes stand in one build, in build/mutate, each behind a number that the environment chooses; a change meets the
# tests that come by it. Takes about half an hour on two cores. What is found is kept in build/mutate-SEED.txt: the same
# call goes on where it was broken off, and tries what survived again.
set -euo pipefail
cd "$(dirname "$0")/.."

tools/setup.sh test
exec python3 tools/mutation "$@"
