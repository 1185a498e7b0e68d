#!/usr/bin/env bash
# Makes the reference of the public headers, build/reference/html/index.html. A warning of Doxygen's fails.
set -euo pipefail
cd "$(dirname "$0")/.."

tools/setup.sh check
mkdir -p build
doxygen docs/reference/Doxyfile
# Only a reference of the headers as they are is installed.
cmake -D "ROOT=$PWD" -P cmake/Reference.cmake
