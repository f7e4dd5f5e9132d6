#!/usr/bin/env bash
# Installs the build and test tools that a fresh machine lacks; skips what is present.
#   install-deps.sh [--only GROUP] [PACKAGE...]
# Groups: linux (compiler, CMake, GoogleTest, Google Benchmark), windows (mingw-w64 for i686 and
# x86_64, Wine with its 32- and 64-bit loaders), bigendian (the s390x cross compiler and qemu's
# user-mode emulator, registered with the kernel so that s390x programs start s390x children).
# Without --only every group is installed. Extra package names (a benchmark's or the fuzzer's
# tools) are installed with the linux group.
# Exit status: 0 done; 2 the linux group could not be installed (the message says what is missing
# and how to get it); 1 only an optional group (windows, bigendian) could not be installed.
set -uo pipefail

only=""
if [ "${1:-}" = "--only" ]; then only=$2; shift 2; fi
want() { [ -z "$only" ] || [ "$only" = "$1" ]; }

have_pkg() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "ok installed"; }
missing_of() { local p; for p in "$@"; do have_pkg "$p" || echo "$p"; done; }

sudo=""
[ "$(id -u)" = 0 ] || sudo="sudo"

linux_pkgs=(cmake g++ make python3 libgtest-dev libbenchmark-dev graphviz pkgconf "$@")
windows_pkgs=(g++-mingw-w64-i686-posix g++-mingw-w64-x86-64-posix wine wine64 wine32:i386
              libgstreamer-plugins-base1.0-0:i386)
bigendian_pkgs=(g++-s390x-linux-gnu qemu-user qemu-user-binfmt)

groups=()
want linux && groups+=(linux)
want windows && groups+=(windows)
want bigendian && groups+=(bigendian)

missing=()
for g in "${groups[@]}"; do
  declare -n list="${g}_pkgs"
  mapfile -t -O "${#missing[@]}" missing < <(missing_of "${list[@]}")
  unset -n list
done

# The kernel forgets binfmt_misc entries at boot: register qemu for s390x every time.
register_s390x() {
  local dir=/proc/sys/fs/binfmt_misc conf=/usr/lib/binfmt.d/qemu-s390x.conf
  [ -e "$dir/qemu-s390x" ] && return 0
  [ -e "$dir/register" ] || $sudo mount -t binfmt_misc binfmt_misc "$dir" 2>/dev/null
  [ -f "$conf" ] && $sudo sh -c "cat '$conf' > '$dir/register'" 2>/dev/null
  [ -e "$dir/qemu-s390x" ]
}

status=0
if [ ${#missing[@]} != 0 ]; then
  export DEBIAN_FRONTEND=noninteractive
  if want windows && ! dpkg --print-foreign-architectures | grep -qx i386; then
    $sudo dpkg --add-architecture i386
  fi
  # i386 and amd64 library versions must match: keep the security archive below the main one.
  pin=/etc/apt/preferences.d/qvbase-security-pin
  if want windows && [ ! -f "$pin" ]; then
    printf 'Package: *\nPin: release l=Debian-Security\nPin-Priority: 100\n' | $sudo tee "$pin" >/dev/null
  fi
  $sudo apt-get update -q || true

  for g in "${groups[@]}"; do
    declare -n list="${g}_pkgs"
    mapfile -t need < <(missing_of "${list[@]}")
    unset -n list
    [ ${#need[@]} = 0 ] && continue
    if ! $sudo apt-get install -y -q --no-install-recommends "${need[@]}"; then
      if [ "$g" = linux ]; then
        echo "missing: ${need[*]} (install them with: sudo apt-get install ${need[*]})" >&2
        exit 2
      fi
      echo "could not install the $g tools: ${need[*]}" >&2
      status=1
    fi
  done
fi

if want bigendian && have_pkg qemu-user-binfmt && ! register_s390x; then
  echo "could not register qemu-s390x with binfmt_misc: emulated tests cannot start s390x children" >&2
  status=1
fi
exit $status
