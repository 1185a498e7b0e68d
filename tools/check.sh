#!/usr/bin/env bash
# The checks that compile nothing: the form of C++ and Python (tools/format.sh), types and names in Python (mypy, pyflakes),
# the shell scripts (shellcheck), the links in the documents (tools/links.py), the reference of the public headers
# (tools/reference.sh), and whether what is made of sources is as they are (tools/codes.py, tools/pictures.py). Silent when all
# is well; all of them run, whichever fails.
set -euo pipefail
cd "$(dirname "$0")/.."

tools/setup.sh check

# The package that the library loads, each module by its own name.
check_types() {
  cd python_home
  mypy --config-file ../pyproject.toml --no-error-summary pysocialnetwork pythondlls/authupload.py
}

code=0
tools/format.sh --check || code=1
(check_types) || code=1
git ls-files -z --cached --others --exclude-standard '*.py' tools/make_python_home | xargs -0 pyflakes3 || code=1
shellcheck tools/*.sh .ci/run || code=1
python3 tools/links.py || code=1
python3 tools/codes.py --check || code=1
python3 tools/pictures.py --check || code=1
tools/reference.sh || code=1
exit "$code"
