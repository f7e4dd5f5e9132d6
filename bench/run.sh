#!/usr/bin/env bash
# Runs every benchmark program in the build folder and prints, per case, the median time of the
# library ("<case>/qv") and of its anchor ("<case>/anchor") measured in the same run, and
# their ratio (library time / anchor time: below 1 means faster than the anchor).
set -euo pipefail
build=${1:-build/bench}
reps=${BENCH_REPETITIONS:-5}
shopt -s nullglob
status=0
for program in "$build"/bench/*_bench; do
  json=$(mktemp)
  # Interleaved repetitions: a busy machine then slows a case and its anchor alike.
  "$program" --benchmark_repetitions="$reps" --benchmark_enable_random_interleaving=true \
             --benchmark_report_aggregates_only=true \
             --benchmark_format=json --benchmark_out="$json" --benchmark_out_format=json >/dev/null \
    || status=1
  python3 "$(dirname "$0")/ratios.py" "$(basename "$program")" "$json"
  rm -f "$json"
done
exit $status
