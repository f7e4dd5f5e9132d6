"""Pairs "<case>/qv" with "<case>/anchor" in a Google Benchmark JSON report and prints ratios."""
import json
import re
import sys

program, path = sys.argv[1], sys.argv[2]
with open(path) as f:
    report = json.load(f)

medians = {}
rates = {}
for b in report["benchmarks"]:
    if b.get("aggregate_name") != "median":
        continue
    # Options such as Iterations(1) or UseRealTime() append "/iterations:1", "/real_time".
    name = re.sub(r"(/(iterations|min_time|repeats):[^/]*|/(real|manual)_time)+$", "", b["run_name"])
    medians[name] = b["real_time"], b["time_unit"]
    if "bytes_per_second" in b:
        rates[name] = b["bytes_per_second"] / 1e6

print(f"== {program}")
print(f"{'case':40} {'qv':>14} {'anchor':>14} {'qv/anchor':>10}")
for name in sorted(medians):
    if not name.endswith("/qv"):
        continue
    case = name[: -len("/qv")]
    anchor = case + "/anchor"
    qv_time, unit = medians[name]
    if anchor not in medians:
        print(f"{case:40} {qv_time:>11.1f} {unit:2} {'-':>14} {'-':>10}")
        continue
    anchor_time, _ = medians[anchor]
    extra = ""
    if name in rates and anchor in rates:
        extra = f"   ({rates[name]:.0f} MB/s vs {rates[anchor]:.0f} MB/s)"
    print(f"{case:40} {qv_time:>11.1f} {unit:2} {anchor_time:>11.1f} {unit:2} "
          f"{qv_time / anchor_time:>9.2f}x{extra}")
