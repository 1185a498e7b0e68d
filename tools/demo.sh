#!/usr/bin/env bash
# Shows the main job against the stand-in servers, which run inside the program: installs what is missing, builds,
# signs in to YouTube, uploads a video of 25 MiB, compares what arrived with what was sent, verifies the stored login
# in another process and signs out. Needs no network but for the packages, and no account.
set -euo pipefail
cd "$(dirname "$0")/.."

step() { printf '\n== %s\n' "$*"; }
fail() {
  printf 'demo: %s\n' "$*" >&2
  exit 1
}

# A playable MP4 of 25 MiB: the sample, and behind it one `free` box (4 bytes of size, "free", zeros), which players
# skip.
make_video() {
  local target=$((25 * 1024 * 1024)) sample=tests/media/sample.mp4 size box
  size=$(stat -c %s "$sample")
  box=$((target - size))
  {
    cat "$sample"
    # shellcheck disable=SC2059  # the escapes are the bytes of the size, most significant first
    printf "$(printf '\\x%02x\\x%02x\\x%02x\\x%02x' $((box >> 24 & 255)) $((box >> 16 & 255)) $((box >> 8 & 255)) \
      $((box & 255)))"
    printf 'free'
    head -c $((box - 8)) /dev/zero
  } >"$1"
}

step "Install and build"
tools/setup.sh
[ -f build/release/build.ninja ] || cmake --preset release -DKBL_BUILD_TESTS=OFF >/dev/null
cmake --build build/release --target mediatransfer

folder=build/demo
rm -rf "$folder"
mkdir -p "$folder"
video=$folder/demo.mp4
make_video "$video"
mediatransfer() { build/release/bin/mediatransfer --sandbox --cache-dir "$folder/cache" "$@"; }

step "Sign in to YouTube"
mediatransfer login youtube

step "Upload $video ($(stat -c %s "$video") bytes)"
mediatransfer upload youtube "$video" --title "A demonstration" --privacy unlisted

step "Compare what the servers received with what was sent"
sent=$(sha256sum "$video" | cut -d ' ' -f 1)
received=$(grep -o '"sha256"[^,}]*' "$folder/cache.sandbox/sandbox.json" | grep -oE '[0-9a-f]{64}') ||
  fail "the servers kept no finished upload"
printf 'sent      %s\nreceived  %s\n' "$sent" "$received"
[ "$sent" = "$received" ] || fail "the video arrived changed"

step "Verify the stored login in another process"
mediatransfer verify youtube

step "Sign out"
mediatransfer logout youtube

step "Done: signed in, uploaded, compared, verified and signed out"
