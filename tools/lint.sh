#!/usr/bin/env bash
# Checks the form (clang-format, black) and the code (clang-tidy, mypy, pyflakes) of our own files; silent when all is
# well.
#   tools/lint.sh [FILE]...     (default: every file of the repository)
set -euo pipefail
cd "$(dirname "$0")/.."

# The script package, the tests and the tools that are written in Python.
lint_python() {
  local files
  mapfile -t files < <(git ls-files '*.py' tools/make_python_home)
  black --quiet --check --diff "${files[@]}"
  (cd python_home && mypy --config-file ../pyproject.toml --no-error-summary pysocialnetwork pythondlls/authupload.py)
  pyflakes3 "${files[@]}"
}

tools/setup.sh test lint

build=build/debug
cmake --preset debug -DKBL_BUILD_TESTS=ON -DKBL_BUILD_BENCHMARKS=ON >/dev/null

if [ $# -gt 0 ]; then
  files=("$@")
else
  lint_python
  mapfile -t files < <(git ls-files '*.h' '*.cpp')
fi
clang-format --dry-run -Werror "${files[@]}"

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
