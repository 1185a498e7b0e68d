#!/usr/bin/env bash
# Has clang look at the C++ sources as the standard's, without any extension of GNU's (tools/pedantic.py): those of the
# libraries, of the sandbox, of the program, of the examples, benchmarks and fuzz targets; and where build/mingw is, with
# Windows' headers at all, tests among them, that have parts for Windows or include such a header. Silent when all is well.
#   tools/pedantic.sh [--tests] [FILE]...     with --tests at all tests as well, which takes minutes
set -euo pipefail
cd "$(dirname "$0")/.."

tools/setup.sh test bench fuzz

# Configured alone: nothing is built of it.
mkdir -p build/pedantic
cmake --preset release -B build/pedantic/sources -DKBL_BUILD_TESTS=ON -DKBL_BUILD_BENCHMARKS=ON -DKBL_BUILD_FUZZERS=ON \
  >build/pedantic/configure.log || {
  cat build/pedantic/configure.log
  exit 1
}
python3 tools/pedantic.py "$@"
