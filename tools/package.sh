#!/usr/bin/env bash
# Makes packages in build/packages of what is installed.
#   tools/package.sh [debian|windows]     (default: debian)
# debian: three packages (library; -dev; program and scripts) for the Debian that this runs on.
# windows: an archive with program, DLLs, headers, import libraries and CMake package, by the mingw-w64 compiler.
set -euo pipefail
cd "$(dirname "$0")/.."

version=$(sed -nE 's/^project\(.* VERSION ([0-9.]+) .*/\1/p' CMakeLists.txt)
packages=$PWD/build/packages

# licences FOLDER PACKAGE...: the terms of the libraries of which code stands in the binaries, as the packages tell them.
licences() {
  local folder=$1 package
  shift
  rm -rf "$folder"
  mkdir -p "$folder"
  for package in "$@"; do cp "/usr/share/doc/$package/copyright" "$folder/$package"; done
}

windows() {
  local build=$PWD/build/package-windows named
  tools/setup.sh windows
  mkdir -p build
  licences "$build/licences" libcurl4-openssl-dev libjsoncpp-dev libmbedtls-dev libsqlite3-dev libfmt-dev libspdlog-dev \
    libcpp-httplib-dev libssl-dev libz-mingw-w64-dev libutfcpp-dev libcli11-dev g++-mingw-w64-x86-64-posix mingw-w64-x86-64-dev
  # What these leave to the folder of licences that every Debian has.
  grep -Eho '/usr/share/common-licenses/[A-Z][A-Za-z0-9]*(-[0-9]+(\.[0-9]+)?)?' "$build"/licences/* | sort -u >"$build/named"
  mkdir "$build/licences/common-licenses"
  while read -r named; do cp -L "$named" "$build/licences/common-licenses"; done <"$build/named"
  # Of its own: the build that is tested is made to compile fast.
  cmake --preset mingw -B "$build" -DCMAKE_CXX_FLAGS_RELEASE='-O2 -DNDEBUG' -DKBL_BUILD_TESTS=OFF -DKBL_BUILD_EXAMPLES=OFF \
    -DKBL_LICENCES_DIR="$build/licences" >build/configure-package.log
  cmake --build "$build"
  write_manual "$build"
  (cd "$build" && cpack -G ZIP -B "$packages/work" >/dev/null)
  mv "$packages"/work/*.zip "$packages"
}

# The program's own manual and completions, which only a Windows of its own can have it write.
write_manual() {
  local written=$1/apps/mediatransfer/written
  mkdir -p "$written" "$1/wine"
  (
    export WINEPREFIX=$1/wine WINEDEBUG=-all WINEDLLOVERRIDES='mscoree,mshtml='
    trap 'timeout 60 /usr/lib/wine/wineserver64 --wait || /usr/lib/wine/wineserver64 -k || true' EXIT
    /usr/lib/wine/wine64 wineboot --init >build/wine.log 2>&1 || {
      cat build/wine.log
      exit 1
    }
    program=$1/bin/mediatransfer.exe
    for shell in bash zsh fish; do
      /usr/lib/wine/wine64 "$program" completion "$shell" | tr -d '\r' >"$written/mediatransfer.$shell"
    done
    /usr/lib/wine/wine64 "$program" manual | tr -d '\r' >"$written/mediatransfer.1"
  ) </dev/null
}

# The date of the version's part in CHANGELOG.md; of the last commit while it has none.
released() {
  local day
  day=$(sed -nE "s/^## \[${version//./\\.}\] - ([0-9-]{10})$/\1/p" CHANGELOG.md)
  date -u -R -d "${day:-$(git log -1 --format=%cI)}"
}

# What a Debian package wants beside what is installed.
write_debian() {
  local folder=$1 python=$2 name
  mkdir -p "$folder"/{library,development,tools}
  cat >"$folder/copyright" <<'TEXT'
Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: media-transfer library
Comment: The sources name neither owners nor terms of a licence. Libraries of
 others have terms of their own: THIRD-PARTY-NOTICES.md in the -dev package
 names them. These packages depend on the libraries; of the headers of some code
 is compiled in, and their terms are in the folder "licences" beside this file.

Files: *
Copyright: the authors of the media-transfer library
License: not-stated
 No licence is stated. Ask the authors before you pass copies on.
TEXT
  {
    printf 'mediatransfer (%s) stable; urgency=medium\n\n' "$version"
    printf '  * What changed stands in CHANGELOG.md of the -dev package.\n\n'
    printf ' -- The media-transfer authors <mediatransfer@localhost>  %s\n' "$(released)"
  } | gzip -9n >"$folder/changelog.gz"

  for name in BsCloudConfig BsNet ExternlMediaTransfer KblLogger KblUtils; do
    printf 'lib%s %s libexternlmediatransfer%s (>= %s)\n' "$name" "${version%%.*}" "${version%%.*}" "${version%.*}"
  done >"$folder/library/shlibs"
  echo 'activate-noawait ldconfig' >"$folder/library/triggers"
  echo "interest-noawait /usr/bin/$python" >"$folder/tools/triggers"
  sed "s|@PYTHON@|$python|" tools/packaging/postinst >"$folder/tools/postinst"
  cp tools/packaging/prerm "$folder/tools"
  chmod 755 "$folder"/tools/{postinst,prerm}
  chmod 644 "$folder"/*/triggers "$folder/library/shlibs"
  for name in library development tools; do
    cp "tools/packaging/$name.overrides" "$folder/$name/overrides"
  done
}

debian() {
  local build=build/package-debian python
  tools/setup.sh python package
  licences "$PWD/$build/debian/licences" libutfcpp-dev libcli11-dev libcpp-httplib-dev libspdlog-dev libfmt-dev
  python=$(/usr/bin/python3 -c 'import sys; print("python%d.%d" % sys.version_info[:2])')
  write_debian "$PWD/$build/debian" "$python"
  # Compiled as in the release build; protected and without search paths as the system wants its libraries.
  cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_SKIP_INSTALL_RPATH=ON \
    -DKBL_BUILD_TESTS=OFF -DKBL_BUILD_EXAMPLES=OFF -DKBL_DEBIAN_DIR="$PWD/$build/debian" -DKBL_DEBIAN_PYTHON="$python, lib$python" \
    -DCMAKE_SHARED_LINKER_FLAGS='-Wl,-z,relro -Wl,-z,now' -DCMAKE_EXE_LINKER_FLAGS='-Wl,-z,relro -Wl,-z,now' \
    >build/configure-package.log
  cmake --build "$build"
  (cd "$build" && umask 022 && cpack -G DEB -B "$packages/work" >/dev/null)
  mv "$packages"/work/*.deb "$packages"
}

rm -rf "$packages/work"
mkdir -p "$packages/work"
case ${1:-debian} in
  debian | windows) "${1:-debian}" ;;
  *)
    printf 'package: unknown kind %s; use: tools/package.sh [debian|windows]\n' "$1" >&2
    exit 2
    ;;
esac
rm -rf "$packages/work"
printf '%s\n' "$packages"/*
