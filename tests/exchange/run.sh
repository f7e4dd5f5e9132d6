#!/usr/bin/env bash
# Scene files across the builds: every build whose tests ran here writes the test scene in every
# method and filter stack, and every other build reads those files back to the same scene. Text
# files must be the same bytes everywhere; binary files the same bytes among builds of one byte
# order, and readable (through the swapped readers) by builds of the other.
#   tests/exchange/run.sh BUILD_ROOT      (each BUILD_ROOT/<preset>/scene-exchange takes part)
set -euo pipefail
root=${1:-build}
out=$root/exchange
rm -rf "$out"
mkdir -p "$out"

builds=()
for launcher in "$root"/{default,mingw-i686,mingw-x86_64,s390x}/scene-exchange; do
  [ -x "$launcher" ] || continue
  dir=$(dirname "$launcher")
  name=$(basename "$dir")
  if [ -f "$dir/SKIPPED" ]; then
    echo "exchange: $name takes no part: $(cat "$dir/SKIPPED")"
    continue
  fi
  mkdir -p "$out/$name"
  echo "exchange: $name writes: $("$launcher" write "$(cd "$out/$name" && pwd)")"
  builds+=("$name")
done
[ ${#builds[@]} -ge 2 ] || { echo "exchange: fewer than two builds to compare (${builds[*]:-none})" >&2; exit 1; }

failed=0
compared=0
# Byte comparisons against the first build of each byte order.
declare -A first
for b in "${builds[@]}"; do
  order=$(tr -d "\r" < "$out/$b/ORDER")
  for f in "$out/$b"/*.qv; do
    file=$(basename "$f")
    case "$file" in ascii*) key=text;; *) key=$order;; esac
    ref=${first[$key:$file]:-}
    if [ -z "$ref" ]; then
      first[$key:$file]=$b
    elif cmp -s "$f" "$out/$ref/$file"; then
      compared=$((compared + 1))
    else
      echo "exchange: $b/$file differs from $ref/$file" >&2
      failed=1
    fi
  done
done

pairs=0
for reader in "${builds[@]}"; do
  for writer in "${builds[@]}"; do
    [ "$reader" = "$writer" ] && continue
    if result=$("$root/$reader/scene-exchange" read "$(cd "$out/$writer" && pwd)"); then
      echo "exchange: $reader reads $writer ($(tr -d "\r" < "$out/$writer/ORDER")-endian): $result"
    else
      echo "exchange: $reader reads $writer: FAILED: $result" >&2
      failed=1
    fi
    pairs=$((pairs + 1))
  done
done
echo "exchange: ${#builds[@]} builds (${builds[*]}), $compared files equal byte for byte to another build's, $pairs reading pairs"
[ "$failed" = 0 ] && echo "exchange: passed" || { echo "exchange: FAILED" >&2; exit 1; }
