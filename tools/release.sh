#!/usr/bin/env bash
# What has to pass before packages leave the house, and is too slow for every change: makes the packages (tools/package.sh), looks
# at them with lintian, and installs, uses, renews and removes them in a Debian of their own (debootstrap); unpacks the archive for
# Windows, builds an example against it and runs it under wine, behind clang's look at all sources and tests. As root.
#   tools/release.sh [debian|windows]...     (default: both)
set -euo pipefail
cd "$(dirname "$0")/.."

[ "$(id -u)" -eq 0 ] || {
  printf 'release: needs to be root, for a system of its own below build/\n' >&2
  exit 1
}
mkdir -p build
work=$(mktemp -d "$PWD/build/release-XXXXXX")
mounted=()
cleanup() {
  local place
  for place in "${mounted[@]}"; do umount "$place" || true; done
  rm -rf --one-file-system "$work"
}
trap cleanup EXIT

say() {
  printf 'release: %s\n' "$*"
}

# The address of the machine's own archive, and the name of its release.
# shellcheck disable=SC2016  # the fields are apt's
apt_source() {
  apt-get indextargets --format '$(SITE)|$(RELEASE)|$(COMPONENT)' 'Created-By: Packages' |
    awk -F'|' -v release="$1" '$2 == release && $3 == "main" { print $1; exit }'
}

# inside COMMAND...: in the new system.
inside() {
  chroot "$work/root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 HOME=/root DEBIAN_FRONTEND=noninteractive "$@"
}

new_system() {
  local codename mirror
  # shellcheck disable=SC1091  # the system's own
  codename=$(. /etc/os-release && echo "$VERSION_CODENAME")
  mirror=$(apt_source "$codename")
  debootstrap --variant=minbase "$codename" "$work/root" "$mirror" >"$work/debootstrap.log" || {
    tail "$work/debootstrap.log"
    exit 1
  }
  # What the machine knows of archives and how to reach them; the copy goes with the system.
  rm "$work/root/etc/apt/sources.list"
  cp -r /etc/apt/sources.list* "$work/root/etc/apt/"
  cp -r /etc/apt/apt.conf.d/. "$work/root/etc/apt/apt.conf.d/"
  mount -t proc proc "$work/root/proc"
  mounted+=("$work/root/proc")
  inside apt-get -qq update
}

# What is in the new system and of no package, but for what the package manager, Python and readline make for themselves.
strays() {
  (cd "$work/root" && find . -xdev \( -path ./proc -o -path ./root -o -path ./tmp -o -path ./new -o -path ./packages -o -path ./var/cache \
    -o -path ./var/log -o -path ./var/lib/apt -o -path ./var/lib/dpkg -o -path ./etc/alternatives -o -path ./etc/python3 \
    -o -path ./etc/inputrc -o -path ./var/lib/python -o -path ./usr/local/lib -o -name __pycache__ \) -prune \
    -o ! -lname '/etc/alternatives/*' ! -path ./etc/ld.so.cache -printf '/%P\n') | sort -u |
    comm -23 - <(cat "$work"/root/var/lib/dpkg/info/*.list | sed -E 's,^/(bin|sbin|lib[0-9x]*)(/|$),/usr/\1\2,' | sort -u)
}

# raised PACKAGE: the same package with a higher version, to be upgraded to.
raised() {
  dpkg-deb -R "$1" "$work/raised"
  sed -Ei "s/^(Version: .*)/\1+1/; s/(libexternlmediatransfer1 \(= [0-9.]+)\)/\1+1)/" "$work/raised/DEBIAN/control"
  dpkg-deb --root-owner-group -b "$work/raised" "$work/root/new/$(basename "$1")" >/dev/null
  rm -rf "$work/raised"
}

# works: the program signs in and uploads by a native platform and by a script.
works() {
  # shellcheck disable=SC2016  # for the shell inside
  inside sh -ec '
    cd /root; rm -rf .local; head -c 3000000 /dev/zero >video.mp4
    for platform in youtube vimeo; do
      mediatransfer --sandbox login $platform
      mediatransfer --sandbox upload $platform video.mp4
    done' >"$work/works.log" 2>&1 || {
    cat "$work/works.log"
    exit 1
  }
}

debian() {
  local found package
  tools/package.sh debian >"$work/packages.log" || {
    cat "$work/packages.log"
    exit 1
  }
  found=$(lintian --allow-root --fail-on error,warning build/packages/*.deb 2>&1) || {
    printf '%s\n' "$found"
    exit 1
  }
  say 'lintian has nothing to say but what is excepted by name'
  new_system
  mkdir "$work/root/packages" "$work/root/new"
  strays >"$work/strays"
  cp build/packages/*.deb "$work/root/packages"
  inside sh -c 'apt-get -qq -y --no-install-recommends install /packages/mediatransfer-tools*.deb /packages/libexternlmediatransfer1*.deb' \
    >"$work/install.log" 2>&1 || {
    tail -n 30 "$work/install.log"
    exit 1
  }
  works
  say 'installed, it signs in and uploads, by a script as well'
  # As where a removal is broken off half-way.
  inside sh -ec 'cd /var/lib/dpkg/info; ./mediatransfer-tools.prerm remove; ./mediatransfer-tools.postinst abort-remove'
  [ -s "$work/root/usr/lib/ExternlMediaTransfer/python_home/python38.zip" ] || {
    printf 'release: no Python home after a removal that was broken off\n'
    exit 1
  }
  inside sh -c 'apt-get -qq -y --no-install-recommends install /packages/*.deb g++ pkg-config' >"$work/install.log" 2>&1 || {
    tail -n 30 "$work/install.log"
    exit 1
  }
  # shellcheck disable=SC2016  # for the shell inside
  inside sh -ec 'cd /root
    g++ -std=c++17 /usr/share/doc/ExternlMediaTransfer/examples/minimal_list.cpp $(pkg-config --cflags --libs ExternlMediaTransfer) -o list
    mediatransfer sandbox --config-file servers.json >sandbox.log 2>&1 & servers=$!
    tries=0; until [ -s servers.json ] || [ $tries -ge 600 ]; do tries=$((tries + 1)); sleep 0.1; done
    code=0; ./list servers.json instagram-token-ada picture >listed || code=$?
    kill $servers; [ -s picture ] && exit $code'
  say 'a host is built with the -dev package, and runs'

  for package in build/packages/*.deb; do raised "$package"; done
  inside sh -c 'apt-get -qq -y --no-install-recommends install /new/*.deb' >"$work/install.log" 2>&1 || {
    tail -n 30 "$work/install.log"
    exit 1
  }
  works
  inside apt-get -qq -y purge mediatransfer-tools libexternlmediatransfer-dev libexternlmediatransfer1 >"$work/install.log" 2>&1 || {
    tail -n 30 "$work/install.log"
    exit 1
  }
  found=$(strays | comm -13 "$work/strays" -)
  [ -z "$found" ] || {
    printf 'release: left behind:\n%s\n' "$found"
    exit 1
  }
  say 'renewed and removed, nothing of it is left'
}

windows() {
  local unpacked settings file
  tools/package.sh windows >"$work/packages.log" || {
    cat "$work/packages.log"
    exit 1
  }
  tools/pedantic.sh --tests >"$work/pedantic.log" 2>&1 || {
    cat "$work/pedantic.log"
    exit 1
  }
  say 'clang has nothing to say of any source'
  unzip -q build/packages/mediatransfer-*-Windows-x86_64.zip -d "$work/windows"
  unpacked=$(echo "$work"/windows/*)
  for file in share/man/man1/mediatransfer.1 share/bash-completion/completions/mediatransfer \
    share/doc/ExternlMediaTransfer/licences/{libcurl4-openssl-dev,common-licenses/GPL-3}; do
    [ -s "$unpacked/$file" ] || {
      printf 'release: the archive for Windows has no %s\n' "$file"
      exit 1
    }
  done
  # As a host would that knows nothing of our own build.
  settings=(-DCMAKE_SYSTEM_NAME=Windows -DCMAKE_CXX_COMPILER=x86_64-w64-mingw32-g++-posix -DCMAKE_CXX_STANDARD=17
    -DCMAKE_EXE_LINKER_FLAGS=-static "-DCMAKE_PREFIX_PATH=$unpacked")
  cmake -S "$unpacked/share/doc/ExternlMediaTransfer/examples" -B "$work/example" -G Ninja "${settings[@]}" >"$work/example.log"
  cmake --build "$work/example" --target minimal_list >>"$work/example.log" || {
    tail "$work/example.log"
    exit 1
  }
  cp "$work/example/minimal_list.exe" "$unpacked/bin"

  # The example and the program, both on Windows.
  export WINEPREFIX=$work/wine WINEDEBUG=-all WINEDLLOVERRIDES='mscoree,mshtml='
  mkdir -p "$WINEPREFIX"
  (
    cd "$work"
    trap '/usr/lib/wine/wineserver64 -k || true' EXIT
    # The list below has errexit off here.
    /usr/lib/wine/wine64 wineboot --init || exit 1
    /usr/lib/wine/wine64 "$unpacked/bin/mediatransfer.exe" sandbox --config-file servers.json >sandbox.log 2>&1 &
    tries=0
    until [ -s servers.json ] || [ $tries -ge 600 ]; do
      tries=$((tries + 1))
      sleep 0.1
    done
    /usr/lib/wine/wine64 "$unpacked/bin/minimal_list.exe" servers.json instagram-token-ada picture || exit 1
    [ -s picture ]
  ) >"$work/run.log" 2>&1 || {
    cat "$work/run.log"
    exit 1
  }
  say 'an example is built against the archive for Windows, and runs under wine'
}

tools/setup.sh package
[ $# -gt 0 ] || set -- debian windows
for kind in "$@"; do
  case $kind in
    debian | windows) "$kind" ;;
    *)
      printf 'release: unknown kind %s; use: tools/release.sh [debian|windows]...\n' "$kind" >&2
      exit 2
      ;;
  esac
done
