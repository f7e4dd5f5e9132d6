#!/usr/bin/env bash
# Runs every fuzz target for the given number of seconds each, with its corpus under
# build/fuzz/corpus/<target> and the seeds in fuzz/seeds/<target> when present.
#   FUZZ_JOBS  targets run side by side (default 1); each target's output goes to
#              build/fuzz/logs/<target>.log, and a line per target ends the run.
set -euo pipefail
build=${1:-build/fuzz}
seconds=${2:-60}
jobs=${FUZZ_JOBS:-1}
here=$(cd "$(dirname "$0")" && pwd)
logs="$build/logs"
mkdir -p "$logs"
shopt -s nullglob

run_one() {
  local program=$1 name corpus seeds=()
  name=$(basename "$program")
  corpus="$build/corpus/$name"
  mkdir -p "$corpus"
  [ -d "$here/seeds/$name" ] && seeds=("$here/seeds/$name")
  echo "== $name for ${seconds}s"
  "$program" -max_total_time="$seconds" -print_final_stats=1 "$corpus" "${seeds[@]}" \
    > "$logs/$name.log" 2>&1
}

status=0
running=0
for program in "$build"/fuzz/*_fuzz; do
  run_one "$program" &
  running=$((running + 1))
  if [ "$running" -ge "$jobs" ]; then
    wait -n || status=1
    running=$((running - 1))
  fi
done
while [ "$running" -gt 0 ]; do
  wait -n || status=1
  running=$((running - 1))
done

# One line per target: runs, coverage, and whether it ended on a finding.
for log in "$logs"/*_fuzz.log; do
  name=$(basename "$log" .log)
  runs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$' || true)
  cov=$(grep -o 'cov: [0-9]* ft: [0-9]*' "$log" | tail -1 || true)
  if grep -qE '^==[0-9]+==ERROR|runtime error|deadly signal|SUMMARY: ' "$log"; then
    result="FINDING (see $log)"; status=1
  else
    result="no finding"
  fi
  printf '%-24s %12s runs  %-20s %s\n' "$name" "${runs:-?}" "${cov:-}" "$result"
done
exit $status
