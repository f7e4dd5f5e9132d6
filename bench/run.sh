#!/usr/bin/env bash
# Runs every benchmark program in the build folder, then prints one table: per case the median
# of the paired ratios of the library ("<case>/qv") to its anchor ("<case>/anchor"), their
# spread, the goal from bench/goals.txt, and the change since the previous run's table.
#   BENCH_REPETITIONS  rounds per program (default 12); each round runs every case of the
#                      program once, in a random order, so a case and its anchor share a round.
#   BENCH_MIN_TIME     seconds each case runs per round (default 0.2)
set -euo pipefail
build=${1:-build/bench}
reps=${BENCH_REPETITIONS:-12}
min_time=${BENCH_MIN_TIME:-0.2}
here=$(dirname "$0")
shopt -s nullglob
status=0
start=$SECONDS
# The JSON reports stay in the build folder for a closer look.
reports="$build/reports"
mkdir -p "$reports"
args=()
for program in "$build"/bench/*_bench; do
  name=$(basename "$program")
  json="$reports/$name.json"
  echo "running $name ..." >&2
  "$program" --benchmark_repetitions="$reps" --benchmark_enable_random_interleaving=true \
             --benchmark_min_time="$min_time" \
             --benchmark_format=json --benchmark_out="$json" --benchmark_out_format=json >/dev/null \
    || { echo "$name failed" >&2; status=1; }
  [ -s "$json" ] && args+=("$name=$json")
done
echo
python3 "$here/ratios.py" "$here/goals.txt" --previous "$reports/table.json" \
        --save "$reports/table.json" "${args[@]}"
# The encryption rows' reference: AES-128-CBC as the openssl command runs it on this machine
# (encryption is serial in CBC; decryption is not).
if command -v openssl >/dev/null; then
  cbc() { openssl speed "$@" -evp aes-128-cbc -seconds 1 -bytes 16384 2>/dev/null |
          awk '/^AES-128-CBC/ { sub(/k$/, "", $2); printf "%.0f MB/s", $2 / 1000 }'; }
  echo "openssl AES-128-CBC (16 KiB blocks): encrypt $(cbc), decrypt $(cbc -decrypt); no goal"
else
  echo "openssl AES-128-CBC: not measured (no openssl command)"
fi
echo "The table took $(( (SECONDS - start) / 60 )) min $(( (SECONDS - start) % 60 )) s" \
     "($reps rounds of ${min_time} s per case)."
exit $status
