#!/usr/bin/env bash
# Runs every benchmark program in the build folder, then prints one table: per case the median
# of the library ("<case>/qv") and of its anchor ("<case>/anchor") measured in the same run,
# their ratio, and the goal from bench/goals.txt.
#   BENCH_REPETITIONS  repetitions per case (default 5; a full run takes about 15 minutes)
set -euo pipefail
build=${1:-build/bench}
reps=${BENCH_REPETITIONS:-5}
here=$(dirname "$0")
shopt -s nullglob
status=0
# The JSON reports stay in the build folder for a closer look.
reports="$build/reports"
mkdir -p "$reports"
args=()
for program in "$build"/bench/*_bench; do
  name=$(basename "$program")
  json="$reports/$name.json"
  echo "running $name ..." >&2
  # Interleaved repetitions: a busy machine then slows a case and its anchor alike.
  "$program" --benchmark_repetitions="$reps" --benchmark_enable_random_interleaving=true \
             --benchmark_report_aggregates_only=true \
             --benchmark_format=json --benchmark_out="$json" --benchmark_out_format=json >/dev/null \
    || { echo "$name failed" >&2; status=1; }
  [ -s "$json" ] && args+=("$name=$json")
done
echo
python3 "$here/ratios.py" "$here/goals.txt" "${args[@]}"
exit $status
