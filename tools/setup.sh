#!/usr/bin/env bash
# Installs the Debian packages that are missing, as root or with sudo; says nothing when all are there.
#   tools/setup.sh [build|python|test|check|lint|abi|package|fuzz|bench|windows|all]...     (default: build)
# "build" is enough for the library and the programs; the others add to it what their name says. "windows" also builds the
# third-party libraries for Windows, once.
set -euo pipefail
cd "$(dirname "$0")/.."

build_packages=(build-essential cmake ninja-build ccache pkg-config
  libcurl4-openssl-dev libjsoncpp-dev libmbedtls-dev libsqlite3-dev libspdlog-dev libfmt-dev libutfcpp-dev
  libcli11-dev libcpp-httplib-dev)
# libpython3-dev brings the shared library of the system's Python, whichever version that is.
python_packages=(python3 libpython3-dev)
# The proxies, the browser and the screen are servers and clients that the tests start themselves; Qt is for the desktop example,
# the shells complete calls of the program, and the last two check its manual.
test_packages=(qt6-base-dev xvfb xdotool fonts-dejavu-core libgtest-dev libgmock-dev libbenchmark-dev clang openssl sqlite3 curl "${python_packages[@]}"
  python3-oauthlib tinyproxy dante-server chromium chromium-driver zsh fish groff-base mandoc)
check_packages=(git clang-format black doxygen graphviz mypy pyflakes3 shellcheck)
lint_packages=("${check_packages[@]}" clang-tidy-16)
# Reads the binary interface out of a library.
abi_packages=(abigail-tools)
# Make packages, look at them, and install them in a system of their own.
package_packages=(dpkg-dev lintian debootstrap unzip)
fuzz_packages=(clang-16 libclang-rt-16-dev "${python_packages[@]}")
# The clients that uploads are measured beside, what draws the result, and what counts instructions.
bench_packages=(openssl libssl-dev curl "${python_packages[@]}" python3-googleapi nodejs node-axios python3-matplotlib
  valgrind libgtest-dev libgmock-dev)
# The compiler, what runs the result, the two libraries that there are for Windows (GoogleTest as source), and what the
# others are made with from their sources.
windows_packages=(g++-mingw-w64-x86-64-posix wine64 libz-mingw-w64-dev googletest libgtest-dev libssl-dev dpkg-dev python3 tcl)

fail() {
  printf 'setup: %s\n' "$*" >&2
  exit 1
}

wanted() {
  local group
  printf '%s\n' "${build_packages[@]}"
  for group in "$@"; do
    case $group in
      build) ;;
      python) printf '%s\n' "${python_packages[@]}" ;;
      test) printf '%s\n' "${test_packages[@]}" ;;
      check) printf '%s\n' "${check_packages[@]}" ;;
      lint) printf '%s\n' "${lint_packages[@]}" ;;
      abi) printf '%s\n' "${abi_packages[@]}" ;;
      package) printf '%s\n' "${package_packages[@]}" ;;
      fuzz) printf '%s\n' "${fuzz_packages[@]}" ;;
      bench) printf '%s\n' "${bench_packages[@]}" ;;
      windows) printf '%s\n' "${windows_packages[@]}" ;;
      all) wanted test lint abi package fuzz bench windows ;;
      *) fail "unknown group $group; use: tools/setup.sh [build|python|test|check|lint|abi|package|fuzz|bench|windows|all]..." ;;
    esac
  done
}

missing() {
  local packages=("$@")
  # shellcheck disable=SC2016  # the fields are dpkg-query's
  comm -23 <(printf '%s\n' "${packages[@]}" | sort -u) \
    <(dpkg-query -W -f '${db:Status-Status} ${Package}\n' "${packages[@]}" 2>/dev/null |
      sed -n 's/^installed //p' | sort -u)
}

as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    fail "needs root or sudo to run: $*"
  fi
}

# Installed proxies must neither start now nor with the machine.
forbid_daemons() {
  local policy=/usr/sbin/policy-rc.d
  [ -e "$policy" ] && return
  printf '#!/bin/sh\nexit 101\n' | as_root tee "$policy" >/dev/null
  as_root chmod 755 "$policy"
  trap 'as_root rm -f /usr/sbin/policy-rc.d' EXIT
}

disable_daemon() {
  command -v systemctl >/dev/null || return 0
  as_root systemctl disable --quiet "$1.service" 2>/dev/null || true
}

install() {
  local options=(-y -qq --no-install-recommends -o Acquire::Retries=3 -o DPkg::Lock::Timeout=600
    -o Dpkg::Use-Pty=0)
  printf 'setup: installing %s\n' "$*"
  forbid_daemons
  as_root apt-get "${options[@]}" update
  as_root env DEBIAN_FRONTEND=noninteractive apt-get "${options[@]}" install "$@" >/dev/null
  case " $* " in *" tinyproxy "*) disable_daemon tinyproxy ;; esac
  case " $* " in *" dante-server "*) disable_daemon danted ;; esac
}

names=$(wanted "$@")
command -v dpkg-query >/dev/null || fail "no Debian system; install the counterparts of:" "${names//$'\n'/ }"
# shellcheck disable=SC2086  # names of packages, one a line
lacking=$(missing $names)
# shellcheck disable=SC2086
[ -z "$lacking" ] || install $lacking
case " $* " in *" windows "* | *" all "*) tools/windows/libraries.sh ;; esac
