#!/usr/bin/env bash
# Shows the main jobs against the stand-in servers: installs what is missing and builds; for each of YouTube, TikTok and
# Douyin, and for Vimeo by its script, signs in, uploads a video of 25 MiB, compares what arrived with what was sent,
# verifies the stored login in another process and signs out; lists an album and downloads one of its pictures, which it
# compares too. Needs no network but for the packages, and no account.
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
tools/setup.sh build python
[ -f build/release/build.ninja ] || cmake --preset release -DKBL_BUILD_TESTS=OFF >/dev/null
cmake --build build/release --target mediatransfer

folder=build/demo
rm -rf "$folder"
mkdir -p "$folder"
video=$folder/demo.mp4
make_video "$video"
mediatransfer() { build/release/bin/mediatransfer --sandbox --cache-dir "$folder/cache" "$@"; }

# The SHA-256 of what the service named $1 kept; the stand-ins run inside each call and keep their state in a file.
received() {
  python3 - "$folder/cache.sandbox/sandbox.db" "$1" <<'END'
import json, sqlite3, sys

path, service = sys.argv[1:]
for (record,) in sqlite3.connect(path).execute("select record from uploads"):
    upload = json.loads(record)
    if upload["service"] == service:
        print(upload["sha256"])
END
}

# The value of the member $1 in the first line that has it, of JSON lines or of JSON text.
member() {
  sed -n "/\"$1\"/{s/.*\"$1\" *: *\"\([^\"]*\)\".*/\1/p;q}"
}

same() {
  printf '%-12s%s\n%-12s%s\n' "$1" "$2" "$3" "$4"
  [ "$2" = "$4" ] || fail "$5"
}

step "Make a Python home for the platforms that scripts serve"
tools/make_python_home "$folder/python"
export MEDIATRANSFER_PYTHON_HOME=$folder/python

sent=$(sha256sum "$video" | cut -d ' ' -f 1)
for platform in youtube tiktok douyin vimeo; do
  step "Sign in to $platform"
  mediatransfer login "$platform"

  step "Upload $video ($(stat -c %s "$video") bytes) to $platform"
  mediatransfer upload "$platform" "$video"

  step "Compare what $platform received with what was sent"
  same sent "$sent" received "$(received "$platform")" "the video arrived changed"

  step "Verify the stored login in another process, and sign out"
  mediatransfer verify "$platform"
  mediatransfer logout "$platform"
done

step "Start the stand-ins as servers of their own"
config=$folder/cloud-config.json
build/release/bin/mediatransfer sandbox >"$config" &
servers=$!
trap 'kill $servers' EXIT
for _ in $(seq 200); do
  grep -q '^}' "$config" && break
  sleep 0.05
done
service() { build/release/bin/mediatransfer --cloud-config "$config" --cache-dir "$folder/cache" "$@"; }
base=$(member urlMediaFacebookGraph <"$config" | grep -oE '^http://[^/]+') || fail "the servers did not start"

step "List the albums of a user, and the media of the first"
export MEDIATRANSFER_TOKEN=facebook-token-ada
service albums facebook >"$folder/albums.txt"
sed -n '1,4p; $p' "$folder/albums.txt"
service --json albums facebook >"$folder/albums.json"
album=$(member id <"$folder/albums.json")
service --json media facebook --album "$album" >"$folder/media.json"
picture=$(member url <"$folder/media.json")
printf 'album %s has %s pictures, the first at %s\n' "$album" "$(grep -c '"more":1' "$folder/media.json")" "$picture"

step "Download the first picture and compare it with what the servers hold"
service download "$picture" "$folder/picture.jpg"
service --json download "$base/sandbox/media/${picture##*/}" "$folder/picture.json" >/dev/null
same downloaded "$(sha256sum "$folder/picture.jpg" | cut -d ' ' -f 1)" held "$(member sha256 <"$folder/picture.json")" \
  "the picture arrived changed"

step "Done: four videos uploaded and compared, an album listed, a picture downloaded and compared"
