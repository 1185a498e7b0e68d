#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test; ends with ctest's closing lines and its exit code.
#   tools/test.sh [release|debug|asan|tsan|windows] [options of ctest]...     (default: release)
# "windows" builds for 64-bit Windows and runs under wine, each test program as one test.
set -euo pipefail
cd "$(dirname "$0")/.."

preset=${1:-release}
shift || true
case $preset in
  release | debug | asan | tsan) groups='test' ;;
  windows)
    preset=mingw
    groups='windows'
    ;;
  *)
    printf 'test: unknown build %s; use: tools/test.sh [release|debug|asan|tsan|windows] [options of ctest]...\n' \
      "$preset" >&2
    exit 2
    ;;
esac

tools/setup.sh "$groups"

mkdir -p build
cmake --preset "$preset" -DKBL_BUILD_TESTS=ON >"build/configure-$preset.log" || {
  cat "build/configure-$preset.log"
  exit 1
}
cmake --build --preset "$preset"

# The first report of a sanitizer ends the program, and with it the test.
export ASAN_OPTIONS=halt_on_error=1:detect_leaks=1:detect_stack_use_after_return=1:strict_string_checks=1
export LSAN_OPTIONS=suppressions=$PWD/tests/lsan.supp:print_suppressions=0
export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1:atexit_sleep_ms=100:suppressions=$PWD/tests/tsan.supp

# Wine has a system of its own in the build folder, which is made before the tests and ends behind them. It is made to its end
# first: some seconds behind the first start it still can't seal a key. Its services start here, and stay: started by a test,
# they would keep that test's output open for as long as they run.
if [ "$preset" = mingw ]; then
  export WINEPREFIX=$PWD/build/mingw/wine WINEDEBUG=-all WINEDLLOVERRIDES='mscoree,mshtml='
  trap '/usr/lib/wine/wineserver64 -k || true' EXIT
  mkdir -p "$WINEPREFIX"
  /usr/lib/wine/wineserver64 -k || true  # one that a former run left would be waited for below
  {
    /usr/lib/wine/wine64 wineboot --init && timeout 300 /usr/lib/wine/wineserver64 --wait &&
      /usr/lib/wine/wineserver64 --persistent && /usr/lib/wine/wine64 wineboot
  } </dev/null >build/mingw/wine.log 2>&1 || {
    cat build/mingw/wine.log
    printf 'test: wine does not start, or does not come to rest\n' >&2
    exit 1
  }
  ctest --preset mingw --parallel $(($(nproc) * 2)) "$@"
  exit
fi

# Most tests wait more than they compute, but under a sanitizer.
tests_at_once=$(($(nproc) * 4))
case $preset in asan | tsan) tests_at_once=$(($(nproc) * 3)) ;; esac
exec ctest --preset "$preset" --parallel "$tests_at_once" "$@"
