#!/usr/bin/env bash
# Installs the build and test tools that a fresh machine lacks; skips what is present.
# Extra package names given as arguments (a benchmark's or the fuzzer's tools) are installed too.
# Exit status 1 means only that the Windows cross toolchain or Wine could not be installed.
set -uo pipefail

have_pkg() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "ok installed"; }

sudo=""
[ "$(id -u)" = 0 ] || sudo="sudo"

linux_pkgs=(cmake g++ make python3 libgtest-dev libbenchmark-dev graphviz "$@")
windows_pkgs=(g++-mingw-w64-i686-posix wine wine32:i386 libgstreamer-plugins-base1.0-0:i386)

missing=()
for p in "${linux_pkgs[@]}" "${windows_pkgs[@]}"; do have_pkg "$p" || missing+=("$p"); done
[ ${#missing[@]} = 0 ] && exit 0

export DEBIAN_FRONTEND=noninteractive
if ! dpkg --print-foreign-architectures | grep -qx i386; then
  $sudo dpkg --add-architecture i386
fi
# i386 and amd64 library versions must match: keep the security archive below the main one.
pin=/etc/apt/preferences.d/qvbase-security-pin
if [ ! -f "$pin" ]; then
  printf 'Package: *\nPin: release l=Debian-Security\nPin-Priority: 100\n' | $sudo tee "$pin" >/dev/null
fi
$sudo apt-get update -q || true

linux_missing=()
for p in "${linux_pkgs[@]}"; do have_pkg "$p" || linux_missing+=("$p"); done
if [ ${#linux_missing[@]} != 0 ]; then
  $sudo apt-get install -y -q --no-install-recommends "${linux_missing[@]}" || exit 2
fi
windows_missing=()
for p in "${windows_pkgs[@]}"; do have_pkg "$p" || windows_missing+=("$p"); done
if [ ${#windows_missing[@]} != 0 ]; then
  $sudo apt-get install -y -q --no-install-recommends "${windows_missing[@]}" || exit 1
fi
exit 0
