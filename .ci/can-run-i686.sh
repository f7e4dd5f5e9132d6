#!/usr/bin/env bash
# Can this host execute 32-bit x86 programs? Some kernels have IA-32 emulation switched off; there
# every i386 program fails with "Exec format error", Wine's 32-bit loader included.
# Exit 0 when it can. Otherwise exit 1 and print the reason on one line.
# QVBASE_I686_PROBE names another program to try instead of Wine's 32-bit loader.
probe=${QVBASE_I686_PROBE:-/usr/lib/wine/wine}
if [ ! -e "$probe" ]; then
  echo "the 32-bit Wine loader $probe is not installed"
  exit 1
fi
out=$("$probe" --version 2>&1)
status=$?
if [ "$status" = 126 ] || grep -q 'Exec format error' <<<"$out"; then
  echo "this host cannot execute 32-bit programs ($probe: Exec format error)"
  exit 1
fi
# Any other outcome runs the tests: a loader that starts but misbehaves must fail them, not hide.
exit 0
