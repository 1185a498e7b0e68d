#!/usr/bin/env bash
# Builds for 64-bit Windows the third-party libraries that Debian has for Linux alone, of Debian's source packages in the
# versions that are installed here. Each is a static library, so that what is built with them needs the system alone.
#   tools/windows/libraries.sh            builds them where they are missing
#   tools/windows/libraries.sh --where    says where they are, or will be
# They stand in the user's cache, in a folder named by the versions and by this recipe: a change of either builds them anew.
set -euo pipefail
cd "$(dirname "$0")/../.."

recipe=tools/windows/libraries.sh
# The packages whose versions count; of the first lines the source is fetched.
built=(libcurl4-openssl-dev libjsoncpp-dev libmbedtls-dev libsqlite3-dev libfmt-dev libspdlog-dev libcpp-httplib-dev libssl-dev)
taken=(libgtest-dev libutfcpp-dev libcli11-dev libz-mingw-w64-dev g++-mingw-w64-x86-64-posix)
host=x86_64-w64-mingw32

where() {
  local key
  # shellcheck disable=SC2016  # the fields are dpkg-query's
  key=$({
    dpkg-query -W -f '${Package} ${Version}\n' "${built[@]}" "${taken[@]}" | sort
    cat "$recipe"
  } | sha256sum | cut -c1-16)
  printf '%s/mediatransfer-windows/%s\n' "${XDG_CACHE_HOME:-$HOME/.cache}" "$key"
}

fail() {
  printf 'windows libraries: %s\n' "$*" >&2
  exit 1
}

# The machine's own list of Debian's archives, as one of sources, with lists of its own: apt's configuration stays as it is.
archives() {
  local keyring=/usr/share/keyrings/debian-archive-keyring.gpg signed=
  [ ! -e "$keyring" ] || signed="[signed-by=$keyring] "
  mkdir -p "$work/apt/parts" "$work/apt/lists/partial"
  # shellcheck disable=SC2016  # the fields are apt's
  apt-get indextargets --format "deb-src $signed"'$(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' \
    'Origin: Debian' | sort -u >"$work/apt/sources.list"
  [ -s "$work/apt/sources.list" ] || fail "apt knows no archive of Debian; run apt-get update"
  from_sources=(-qq -o "Dir::Etc::SourceList=$work/apt/sources.list" -o "Dir::Etc::SourceParts=$work/apt/parts"
    -o "Dir::State::Lists=$work/apt/lists" -o APT::Sandbox::User=root -o Acquire::Retries=3)
  apt-get "${from_sources[@]}" update
}

# source_of PACKAGE: unpacks its source, in the version that is installed or, if that is gone, in the newest that is there.
source_of() {
  local name version candidate
  # shellcheck disable=SC2016  # the fields are dpkg-query's
  read -r name version < <(dpkg-query -W -f '${source:Package} ${source:Version}\n' "$1")
  mkdir -p "$work/sources/$name"
  for candidate in "$version" $(apt-cache "${from_sources[@]}" showsrc "$name" | sed -n 's/^Version: //p' | sort -rV); do
    (cd "$work/sources/$name" && apt-get "${from_sources[@]}" source --download-only "$name=$candidate") && break
    rm -f "$work/sources/$name"/*.dsc
  done
  dpkg-source --no-check -x "$work/sources/$name"/*.dsc "$work/$name"
}

# with_cmake FOLDER OPTION...: configures, builds and installs it.
with_cmake() {
  local source=$work/$1
  shift
  cmake -G Ninja -S "$source" -B "$source/build" \
    -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_SYSTEM_PROCESSOR=AMD64 \
    -DCMAKE_C_COMPILER=$host-gcc-posix -DCMAKE_CXX_COMPILER=$host-g++-posix -DCMAKE_RC_COMPILER=$host-windres \
    -DCMAKE_FIND_ROOT_PATH="$staged;/usr/$host" -DCMAKE_FIND_ROOT_PATH_MODE_PROGRAM=NEVER \
    -DCMAKE_FIND_ROOT_PATH_MODE_LIBRARY=ONLY -DCMAKE_FIND_ROOT_PATH_MODE_INCLUDE=ONLY \
    -DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=ONLY \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$prefix" -DCMAKE_INSTALL_LIBDIR=lib \
    -DBUILD_SHARED_LIBS=OFF -DCMAKE_POSITION_INDEPENDENT_CODE=ON "$@"
  cmake --build "$source/build" --parallel "$jobs"
  DESTDIR=$work/staged cmake --install "$source/build" >/dev/null
}

googletest() {
  cp -r /usr/src/googletest "$work/googletest"
  with_cmake googletest
}

jsoncpp() {
  source_of libjsoncpp-dev
  with_cmake libjsoncpp -DJSONCPP_WITH_TESTS=OFF -DJSONCPP_WITH_POST_BUILD_UNITTEST=OFF -DJSONCPP_WITH_EXAMPLE=OFF \
    -DBUILD_OBJECT_LIBS=OFF -DBUILD_STATIC_LIBS=ON
}

curl() {
  source_of libcurl4-openssl-dev
  # A static zlib: wine brings a library of the other's name.
  with_cmake curl -DBUILD_CURL_EXE=OFF -DBUILD_TESTING=OFF -DHTTP_ONLY=ON -DCURL_USE_SCHANNEL=ON -DCURL_ZLIB=ON \
    -DZLIB_LIBRARY=/usr/$host/lib/libz.a -DZLIB_INCLUDE_DIR=/usr/$host/include -DENABLE_MANUAL=OFF \
    -DCURL_USE_LIBPSL=OFF -DCURL_USE_LIBSSH2=OFF -DUSE_LIBIDN2=OFF -DUSE_WIN32_LDAP=OFF -DCURL_BROTLI=OFF -DCURL_ZSTD=OFF
}

mbedtls() {
  source_of libmbedtls-dev
  with_cmake mbedtls -DENABLE_PROGRAMS=OFF -DENABLE_TESTING=OFF -DUSE_SHARED_MBEDTLS_LIBRARY=OFF -DGEN_FILES=OFF
}

fmt() {
  source_of libfmt-dev
  with_cmake fmtlib -DFMT_TEST=OFF -DFMT_DOC=OFF
}

spdlog() {
  source_of libspdlog-dev
  with_cmake spdlog -DSPDLOG_FMT_EXTERNAL=ON -DSPDLOG_WCHAR_FILENAMES=ON -DSPDLOG_BUILD_EXAMPLE=OFF \
    -Dfmt_DIR="$staged/lib/cmake/fmt"
}

sqlite() {
  source_of libsqlite3-dev
  cd "$work/sqlite3"
  ./configure --disable-readline --disable-amalgamation-dependency >/dev/null 2>&1 || ./configure >/dev/null
  make -s sqlite3.c sqlite3.h
  $host-gcc-posix -O2 -DSQLITE_THREADSAFE=1 -DSQLITE_OMIT_LOAD_EXTENSION -c sqlite3.c -o sqlite3.o
  mkdir -p "$staged/lib" "$staged/include"
  $host-ar rcs "$staged/lib/libsqlite3.a" sqlite3.o
  cp sqlite3.h "$staged/include"
}

# Servers and clients of TLS over the usual ciphers, and certificates, are all that is used of it.
openssl() {
  source_of libssl-dev
  cd "$work/openssl"
  CC=gcc-posix CXX=g++-posix ./Configure mingw64 --cross-compile-prefix=$host- --prefix="$prefix" --libdir=lib --release \
    no-shared no-tests no-engine no-legacy no-dso no-module no-comp no-cms no-cmp no-ts no-srp no-psk no-dtls no-sctp \
    no-ct no-gost no-ssl3 no-idea no-camellia no-seed no-bf no-cast no-rc2 no-rc4 no-rc5 no-md4 no-mdc2 no-whirlpool \
    no-sm2 no-sm3 no-sm4 no-aria no-blake2 no-srtp no-ui-console no-capieng no-autoload-config >/dev/null
  make -s -j"$jobs" build_libs
  make -s DESTDIR="$work/staged" install_dev >/dev/null
}

# One header, for clients and servers of HTTP, and what it needs to be linked with.
httplib() {
  source_of libcpp-httplib-dev
  mkdir -p "$staged/include" "$staged/lib/pkgconfig"
  python3 "$work/cpp-httplib/split.py" --out "$work/cpp-httplib/out"
  cp "$work/cpp-httplib/out/httplib.h" "$staged/include"
  local flags=(-D_WIN32_WINNT=0x0A00 -DCPPHTTPLIB_OPENSSL_SUPPORT -DCPPHTTPLIB_ZLIB_SUPPORT)
  (cd "$work/cpp-httplib/out" && $host-g++-posix -std=c++17 -O2 "${flags[@]}" -I "$staged/include" -c httplib.cc)
  $host-ar rcs "$staged/lib/libcpp-httplib.a" "$work/cpp-httplib/out/httplib.o"
  cat >"$staged/lib/pkgconfig/cpp-httplib.pc" <<END
Name: cpp-httplib
Description: HTTP servers and clients
Version: $(sed -n 's/^#define CPPHTTPLIB_VERSION "\(.*\)"/\1/p' "$work/cpp-httplib/out/httplib.h")
Cflags: -I$prefix/include ${flags[*]}
Libs: -L$prefix/lib -lcpp-httplib -lssl -lcrypto /usr/$host/lib/libz.a -lws2_32 -lcrypt32
END
}

# Headers alone, and the files by which CMake finds them; that of utf8cpp's package holds only where it stands.
headers() {
  local found=$staged/lib/cmake
  mkdir -p "$staged/include" "$found/utf8cpp"
  cp -r /usr/include/CLI /usr/include/utf8cpp "$staged/include"
  cp -r /usr/share/cmake/CLI11 "$found"
  cat >"$found/utf8cpp/utf8cppConfig.cmake" <<'END'
add_library(utf8cpp INTERFACE IMPORTED)
target_include_directories(utf8cpp INTERFACE ${CMAKE_CURRENT_LIST_DIR}/../../../include/utf8cpp)
END
}

# in_turn STEP...: each with its output in a file, which is shown if the step fails.
in_turn() {
  local step begun
  for step in "$@"; do
    begun=$SECONDS
    # In the background, since the shell overlooks failures within a command whose own failure is asked for.
    ("$step") >"$work/$step.log" 2>&1 &
    wait $! || {
      tail -n 40 "$work/$step.log" >&2
      fail "$step could not be built"
    }
    printf 'windows libraries: %s, %d s\n' "$step" $((SECONDS - begun))
  done
}

prefix=$(where)
case ${1:-} in
  --where) printf '%s\n' "$prefix" && exit ;;
  '') ;;
  *) fail "unknown option $1; use: tools/windows/libraries.sh [--where]" ;;
esac
[ ! -e "$prefix" ] || exit 0

mkdir -p "$(dirname "$prefix")"
work=$(mktemp -d "$prefix.building.XXXXXX")
openssl_step=
trap '[ -z "$openssl_step" ] || kill "$openssl_step" 2>/dev/null || true; rm -rf "$work"' EXIT
staged=$work/staged$prefix
jobs=$(nproc)
mkdir -p "$staged"

archives
in_turn openssl &
openssl_step=$!
in_turn googletest jsoncpp headers curl sqlite mbedtls fmt spdlog
wait "$openssl_step"
in_turn httplib

# Whoever was quicker has built the same.
mv -T "$staged" "$prefix" 2>/dev/null || [ -d "$prefix" ]
printf 'windows libraries: built in %d s into %s\n' "$SECONDS" "$prefix"
