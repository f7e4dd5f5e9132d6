"""Prints one table of every benchmark case against its anchor, with its goal.

    ratios.py GOALS PROGRAM=REPORT.json ...

Each report is a Google Benchmark JSON file with median aggregates. A case "<case>/qv" is paired
with "<case>/anchor" of the same program; GOALS (bench/goals.txt) gives the bound per case.
"""
import json
import re
import sys


def load_goals(path):
    goals = {}  # (program, case) -> [(measure, op, bound)]
    with open(path) as f:
        for line in f:
            line = line.split("#", 1)[0].strip()
            if not line:
                continue
            program, case, measure, op, bound = line.split()
            if op not in ("<=", ">="):
                sys.exit(f"{path}: bad comparison in: {line}")
            goals.setdefault((program, case), []).append((measure, op, float(bound)))
    return goals


def load_report(path):
    """Median figures per benchmark name: time, unit, MB/s (or None), counters."""
    with open(path) as f:
        report = json.load(f)
    medians = {}
    for b in report.get("benchmarks", []):
        # Medians of the repetitions; a single repetition has no aggregates, so its run stands.
        is_median = b.get("aggregate_name") == "median"
        if not is_median and (b.get("run_type") != "iteration" or b.get("repetitions", 1) > 1):
            continue
        # Options such as Iterations(1) or UseRealTime() append "/iterations:1", "/real_time".
        name = re.sub(r"(/(iterations|min_time|repeats):[^/]*|/(real|manual)_time)+$", "", b["run_name"])
        # The benchmark library derives bytes_per_second from CPU time unless the case uses real
        # or manual time; the table compares those times, so the rate is brought onto them too.
        rate = None
        if "bytes_per_second" in b:
            rate = b["bytes_per_second"] / 1e6
            timed = "/real_time" in b["run_name"] or "/manual_time" in b["run_name"]
            if not timed and b["real_time"] > 0:
                rate *= b["cpu_time"] / b["real_time"]
        skip = {"name", "run_name", "run_type", "aggregate_name", "aggregate_unit", "family_index",
                "per_family_instance_index", "repetitions", "threads", "iterations", "real_time",
                "cpu_time", "time_unit", "bytes_per_second", "items_per_second", "error_occurred",
                "error_message", "repetition_index"}
        counters = {k: v for k, v in b.items() if k not in skip and isinstance(v, (int, float))}
        medians[name] = {"time": b["real_time"], "unit": b["time_unit"], "rate": rate,
                         "counters": counters}
    return medians


def time_text(figure):
    t, unit = figure["time"], figure["unit"]
    per = " ns/op" if unit == "ns" else f" {unit}"
    text = f"{t:.1f}{per}" if t < 1000 else f"{t:.0f}{per}"
    if figure["rate"] is not None:
        text = f"{figure['rate']:.0f} MB/s"
    return text


def goal_text(measure, op, bound):
    if measure == "time":
        return f"time {op} {bound:g}x"
    if measure == "speed":
        return f"speed {op} {bound:g}x"
    return f"{measure} {op} {bound:g}x"


def main():
    goals = load_goals(sys.argv[1])
    rows = []  # (benchmark, qv, anchor, ratio, goal, met)
    seen = set()
    for arg in sys.argv[2:]:
        program, path = arg.split("=", 1)
        try:
            medians = load_report(path)
        except (OSError, ValueError) as e:  # a program that crashed leaves a cut-off report
            print(f"{program}: report unreadable ({e}); its cases are left out", file=sys.stderr)
            continue
        cases = sorted({n.rsplit("/", 1)[0] for n in medians if n.endswith(("/qv", "/anchor"))})
        for case in cases:
            qv = medians.get(case + "/qv")
            anchor = medians.get(case + "/anchor")
            label = f"{program.replace('_bench', '')}: {case}"
            time_ratio = qv["time"] / anchor["time"] if qv and anchor and anchor["time"] > 0 else None
            case_goals = goals.get((program, case), [])
            seen.add((program, case))
            if not any(m in ("time", "speed") for m, _, _ in case_goals):
                case_goals = [None] + case_goals
            for goal in case_goals:
                if goal is None or goal[0] in ("time", "speed"):
                    figures = (time_text(qv) if qv else "-", time_text(anchor) if anchor else "-")
                    ratio = time_ratio
                    row_label = label
                else:
                    counter = goal[0]
                    a = qv["counters"].get(counter) if qv else None
                    b = anchor["counters"].get(counter) if anchor else None
                    figures = (f"{a:.2f}" if a is not None else "-", f"{b:.2f}" if b is not None else "-")
                    ratio = a / b if a is not None and b else None
                    row_label = f"{label} ({counter})"
                if goal is None:
                    rows.append((row_label, *figures, ratio, "-", "-"))
                    continue
                measure, op, bound = goal
                # A speed bound holds on anchor time / qv time, the inverse of the printed ratio.
                value = (1 / ratio if ratio else None) if measure == "speed" else ratio
                met = "-" if value is None else (
                    "yes" if (value <= bound if op == "<=" else value >= bound) else "NO")
                if measure == "speed" and value is not None:
                    met += f" ({value:.2f}x)"
                rows.append((row_label, *figures, ratio, goal_text(measure, op, bound), met))
    # Goals whose cases did not run (a program missing, or a case left out of the build).
    for (program, case), case_goals in sorted(goals.items()):
        if (program, case) not in seen:
            for goal in case_goals:
                rows.append((f"{program.replace('_bench', '')}: {case}", "-", "-", None,
                             goal_text(*goal), "not run"))

    width = max([len(r[0]) for r in rows] + [len("benchmark")])
    header = f"{'benchmark':{width}}  {'qv':>14}  {'anchor':>14}  {'qv/anchor':>9}  {'goal':22}  met"
    print(header)
    print("-" * len(header))
    for label, qv, anchor, ratio, goal, met in rows:
        ratio_text = f"{ratio:.2f}x" if ratio is not None else "-"
        print(f"{label:{width}}  {qv:>14}  {anchor:>14}  {ratio_text:>9}  {goal:22}  {met}")
    with_goal = [r for r in rows if r[4] != "-"]
    checked = [r for r in with_goal if r[5].startswith(("yes", "NO"))]
    met = [r for r in checked if r[5].startswith("yes")]
    print(f"\nqv/anchor is the library's time over the anchor's (the counter's ratio where one is "
          f"named): below 1 is faster.\nGoals met: {len(met)} of {len(checked)} measured"
          f" ({len(with_goal) - len(checked)} not measured).")


if __name__ == "__main__":
    main()
