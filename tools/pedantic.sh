#!/usr/bin/env bash
# Has clang look at the C++ sources as the standard's, without any extension of GNU's (tools/pedantic.py): those of the
# libraries, of the sandbox, of the program and of the examples, and where the libraries for Windows are built the sources
# for Windows alone. Silent when all is well.
#   tools/pedantic.sh [--tests]     with --tests at the tests as well, behind a build of the release; takes minutes
set -euo pipefail
cd "$(dirname "$0")/.."

tools/setup.sh test fuzz

mkdir -p build
cmake --preset release -DKBL_BUILD_TESTS=ON >build/configure-pedantic.log || {
  cat build/configure-pedantic.log
  exit 1
}
python3 tools/pedantic.py "$@"
[ ! -e build/mingw/compile_commands.json ] || python3 tools/pedantic.py --windows
