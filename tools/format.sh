#!/usr/bin/env bash
# Formats our own C++ (clang-format) and Python (black).
#   tools/format.sh [--check] [FILE]...     (default: every file of the repository)
# With --check nothing is written: it says what is not in form and ends with 1, or says nothing.
set -euo pipefail
cd "$(dirname "$0")/.."

tools/setup.sh check

check=
if [ "${1:-}" = --check ]; then
  check=yes
  shift
fi
if [ $# -eq 0 ]; then
  listed=$(git ls-files --cached --others --exclude-standard)
  mapfile -t all <<<"$listed"
  set -- "${all[@]}"
fi

cpp=()
python=()
for file in "$@"; do
  [ -e "$file" ] || continue
  case $file in
    *.h | *.cpp) cpp+=("$file") ;;
    *.py | tools/make_python_home) python+=("$file") ;;
  esac
done

if [ -n "$check" ]; then
  clang_format=(clang-format --dry-run -Werror)
  black=(black --quiet --check --diff)
else
  clang_format=(clang-format -i)
  black=(black --quiet)
fi

code=0
[ ${#cpp[@]} -eq 0 ] || "${clang_format[@]}" "${cpp[@]}" || code=1
[ ${#python[@]} -eq 0 ] || "${black[@]}" "${python[@]}" || code=1
exit "$code"
