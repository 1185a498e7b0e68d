#!/usr/bin/env bash
# Checks the form (tools/check.sh) and the C++ code (clang-tidy) of our own files; silent when all is well.
#   tools/lint.sh                    every file of the repository
#   tools/lint.sh --since COMMIT     what has changed since COMMIT, and the C++ files that include it
#   tools/lint.sh FILE...            these C++ and Python files
set -euo pipefail
cd "$(dirname "$0")/.."

fail() {
  printf 'lint: %s\n' "$*" >&2
  exit 2
}

# What this branch has changed since it left COMMIT, committed or not.
changed_since() {
  git diff --name-only --diff-filter=d --merge-base "$1" --
  git ls-files --others --exclude-standard
}

# One C++ file a line: those that changed and their includers, or all where the rules themselves changed.
touched_since() {
  local changed
  changed=$(changed_since "$1")
  if grep -q '\.clang-tidy$' <<<"$changed"; then
    git ls-files '*.h' '*.cpp'
  else
    xargs -r -d '\n' python3 tools/includers.py <<<"$changed"
  fi
}

tools/setup.sh test lint

case ${1:-} in
  --since)
    [ $# -eq 2 ] || fail "use: tools/lint.sh [--since COMMIT | FILE...]"
    git rev-parse --quiet --verify "$2^{commit}" >/dev/null || fail "no commit $2"
    tools/check.sh
    touched=$(touched_since "$2")
    mapfile -t files <<<"$touched"
    ;;
  '')
    tools/check.sh
    mapfile -t files < <(git ls-files '*.h' '*.cpp')
    ;;
  -*) fail "unknown option $1" ;;
  *)
    tools/format.sh --check "$@"
    files=("$@")
    ;;
esac

build=build/debug
cmake --preset debug -DKBL_BUILD_TESTS=ON -DKBL_BUILD_BENCHMARKS=ON >/dev/null

# clang-tidy takes the files that are built; headers are checked through them. Warning options that only GCC knows stand
# in their commands. Deleting a network client is sound without a virtual destructor: its operator delete destroys it.
tidy() {
  local options=(-p "$1" --quiet --warnings-as-errors='*' --extra-arg=-Wno-unknown-warning-option
    --extra-arg=-Wno-delete-abstract-non-virtual-dtor)
  clang-tidy-16 "${options[@]}" "$2" 2>&1 | { grep -vE '^[0-9]+ warnings? (generated|treated as)|^$' || true; }
}
export -f tidy

# shellcheck disable=SC2016  # the inner shell expands them
for file in "${files[@]}"; do
  if grep -qF "\"$PWD/$file\"" "$build/compile_commands.json"; then printf '%s\0' "$file"; fi
done | xargs -0 -r -n 1 -P "$(nproc)" bash -c 'set -o pipefail; tidy "$0" "$1"' "$build"
