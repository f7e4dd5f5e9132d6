#!/usr/bin/env bash
# Runs every fuzz target for the given number of seconds each, with its corpus under
# build/fuzz/corpus/<target> and the seeds in fuzz/seeds/<target> when present.
set -euo pipefail
build=${1:-build/fuzz}
seconds=${2:-60}
here=$(cd "$(dirname "$0")" && pwd)
shopt -s nullglob
for program in "$build"/fuzz/*_fuzz; do
  name=$(basename "$program")
  corpus="$build/corpus/$name"
  mkdir -p "$corpus"
  seeds=()
  [ -d "$here/seeds/$name" ] && seeds=("$here/seeds/$name")
  echo "== $name for ${seconds}s"
  "$program" -max_total_time="$seconds" -print_final_stats=1 "$corpus" "${seeds[@]}"
done
