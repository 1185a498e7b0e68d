#!/usr/bin/env bash
# Compares the binary interface of the five libraries with what stands in abi/, one file a library: symbols, slots, sizes, offsets
# and values. Silent when they are the same. A change wants a new version: the first number for what a host would notice that was
# built before, the second for what was only added; with a part of CHANGELOG.md of that name, and then --write.
#   tools/abi.sh [--write] [BUILD]     (default: build/release)
set -euo pipefail
cd "$(dirname "$0")/.."

tools/setup.sh abi

write=
if [ "${1:-}" = --write ]; then
  write=yes
  shift
fi
build=${1:-build/release}
work=build/abi
libraries=(KblUtils KblLogger BsCloudConfig BsNet ExternlMediaTransfer)

fail() {
  printf 'abi: %s\n' "$*" >&2
  exit 1
}

[ "$(uname -m)" = x86_64 ] || fail "the files in abi/ are of x86-64"
version=$(sed -nE 's/^project\(.* VERSION ([0-9.]+) .*/\1/p' CMakeLists.txt)

# dump LIBRARY: what is shipped has no debug information. It gets that of the public headers, so that one dump has both.
dump() {
  local library=$1 folder=$PWD/$work/$1 section sections=() added=()
  mkdir -p "$folder"
  (
    cd include
    printf '#include <%s>\n' "$library"/*.h | grep -vE '/(Host|Loopback[A-Za-z]*)\.h>'
    # Names of C say nothing of their parameters.
    nm -D --defined-only "$OLDPWD/$build/lib/lib$library.so" | sed -nE 's/.* T ([a-z]\w*)$/using signature_\1 = decltype(\1);/ip' |
      grep -v signature__Z || true
  ) >"$folder/headers.cpp"
  g++ -std=c++17 -g -gdwarf-4 -O0 -fPIC -shared -fno-eliminate-unused-debug-types -femit-class-debug-always \
    -Iinclude -I"$build/include" "$folder/headers.cpp" -o "$folder/headers.so"
  mapfile -t sections < <(readelf -SW "$folder/headers.so" | grep -o '\.debug_[a-z]*')
  for section in "${sections[@]}"; do
    objcopy --dump-section "$section=$folder/part$section" "$folder/headers.so" "$folder/unused.so"
    added+=(--add-section "$section=$folder/part$section")
  done
  objcopy "${added[@]}" "$(realpath "$build/lib/lib$library.so")" "$folder/lib$library.so"
  abidw --no-comp-dir-path --no-corpus-path --no-elf-needed --load-all-types --out-file "$folder/dump.xml" "$folder/lib$library.so"
  python3 tools/abi.py "$library" "$folder/dump.xml" "include/$library" "$PWD/include/$library" "$folder" >"$work/$library.abi"
}

# digest: of what stands in abi/.
digest() {
  (cd abi && sha256sum "${libraries[@]/%/.abi}" | sha256sum | cut -d' ' -f1)
}

# part VERSION NUMBER: one of its first two numbers.
part() {
  cut -d. -f"$2" <<<"$1"
}

mkdir -p "$work" abi
touch abi/versions
read -r stored_version stored_digest <<<"$(tail -n 1 abi/versions)" || true
[ -z "$stored_version" ] || [ "$stored_digest" = "$(digest)" ] ||
  fail "abi/ is not what tools/abi.sh --write made for version $stored_version"

changes=
for library in "${libraries[@]}"; do
  dump "$library"
  changes+=$(diff -U0 "abi/$library.abi" "$work/$library.abi" 2>&1 || true)$'\n'
done
changes=$(grep -E '^([-+][^-+]|diff:)' <<<"$changes" || true)
[ -n "$changes" ] || exit 0

needed=2 reason="something was added"
if grep -q '^-' <<<"$changes"; then
  needed=1 reason="a host that was built before would notice"
fi
if [ -n "$stored_version" ] && ! {
  [ "$(part "$version" 1)" -gt "$(part "$stored_version" 1)" ] ||
    { [ "$needed" = 2 ] && [ "$version" != "$stored_version" ] && [ "$(part "$version" 2)" -gt "$(part "$stored_version" 2)" ]; }
}; then
  printf '%s\n' "$changes"
  fail "the interface differs from that of $stored_version ($reason), and $version is no new version for it:" \
    "raise number $needed in CMakeLists.txt and python_home/pysocialnetwork/version.py"
fi
grep -qF "## [$version]" CHANGELOG.md || fail "CHANGELOG.md has no part ## [$version], which a changed interface wants"
if [ -z "$write" ]; then
  printf '%s\n' "$changes"
  fail "the interface differs from what stands in abi/; tools/abi.sh --write stores it for version $version"
fi
for library in "${libraries[@]}"; do
  cp "$work/$library.abi" abi/
done
printf '%s %s\n' "$version" "$(digest)" >>abi/versions
