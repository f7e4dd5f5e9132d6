"""Prints one table of every benchmark case against its anchor, with its goal.

    ratios.py GOALS [--previous TABLE.json] [--save TABLE.json] PROGRAM=REPORT.json ...

Each report is a Google Benchmark JSON file of single repetitions, run interleaved: repetition k
of "<case>/qv" and repetition k of "<case>/anchor" ran in the same round, close together in time,
so their ratio is one paired measurement that a busy moment slows on both sides alike. A row
gives the median of those paired ratios and their spread: lowest to highest, leaving out the
single lowest and highest pair when there are five or more (one stray round, such as the first
touch of a file, then does not decide a row). A goal counts as met only when the whole spread
meets it. GOALS (bench/goals.txt) gives the bound per case.
With --previous, each row also shows how far its median moved from the table saved by the
previous run (--save writes this run's table for the next one).
"""
import json
import re
import statistics
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


SKIP_KEYS = {"name", "run_name", "run_type", "aggregate_name", "aggregate_unit", "family_index",
             "per_family_instance_index", "repetitions", "threads", "iterations", "real_time",
             "cpu_time", "time_unit", "bytes_per_second", "items_per_second", "error_occurred",
             "error_message", "repetition_index"}


def load_report(path):
    """Single repetitions per benchmark name: {name: {repetition: figure}}.

    A figure holds the time, its unit, MB/s (or None) and the user counters.
    """
    with open(path) as f:
        report = json.load(f)
    runs = {}
    for b in report.get("benchmarks", []):
        if b.get("run_type") != "iteration" or b.get("error_occurred"):
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
        counters = {k: v for k, v in b.items() if k not in SKIP_KEYS and isinstance(v, (int, float))}
        runs.setdefault(name, {})[b.get("repetition_index", 0)] = {
            "time": b["real_time"], "unit": b["time_unit"], "rate": rate, "counters": counters}
    return runs


def median_figure(figures):
    """The median time and rate of a case's repetitions, for display."""
    figures = list(figures)
    rates = [f["rate"] for f in figures if f["rate"] is not None]
    return {"time": statistics.median(f["time"] for f in figures), "unit": figures[0]["unit"],
            "rate": statistics.median(rates) if rates else None}


def time_text(figure):
    if figure is None:
        return "-"
    if figure["rate"] is not None:
        return f"{figure['rate']:.0f} MB/s"
    t, unit = figure["time"], figure["unit"]
    per = " ns/op" if unit == "ns" else f" {unit}"
    return f"{t:.1f}{per}" if t < 1000 else f"{t:.0f}{per}"


def goal_text(measure, op, bound):
    return f"{measure} {op} {bound:g}x"


def trimmed_range(ratios):
    """Lowest and highest ratio, without the single most extreme pair on each side."""
    ordered = sorted(ratios)
    if len(ordered) >= 5:
        ordered = ordered[1:-1]
    return ordered[0], ordered[-1]


def paired(qv, anchor, value):
    """Per-round ratios qv/anchor of value(figure), for rounds both sides measured."""
    ratios = []
    for k in sorted(set(qv) & set(anchor)):
        a, b = value(qv[k]), value(anchor[k])
        if a is not None and b:
            ratios.append(a / b)
    return ratios


def main():
    args = sys.argv[1:]
    goals = load_goals(args.pop(0))
    previous, save = {}, None
    while args and args[0].startswith("--"):
        option = args.pop(0)
        if option == "--previous":
            try:
                with open(args.pop(0)) as f:
                    previous = json.load(f)
            except (OSError, ValueError):
                previous = {}
        elif option == "--save":
            save = args.pop(0)
        else:
            sys.exit(f"ratios.py: unknown option {option}")

    rows = []  # dicts: label, qv, anchor, ratio, low, high, goal, met
    seen = set()
    for arg in args:
        program, path = arg.split("=", 1)
        try:
            runs = load_report(path)
        except (OSError, ValueError) as e:  # a program that crashed leaves a cut-off report
            print(f"{program}: report unreadable ({e}); its cases are left out", file=sys.stderr)
            continue
        cases = sorted({n.rsplit("/", 1)[0] for n in runs if n.endswith(("/qv", "/anchor"))})
        for case in cases:
            qv = runs.get(case + "/qv", {})
            anchor = runs.get(case + "/anchor", {})
            label = f"{program.replace('_bench', '')}: {case}"
            case_goals = goals.get((program, case), [])
            seen.add((program, case))
            if not any(m in ("time", "speed") for m, _, _ in case_goals):
                case_goals = [None] + case_goals
            for goal in case_goals:
                counter = goal[0] if goal and goal[0] not in ("time", "speed") else None
                if counter is None:
                    figures = (time_text(median_figure(qv.values()) if qv else None),
                               time_text(median_figure(anchor.values()) if anchor else None))
                    ratios = paired(qv, anchor, lambda f: f["time"])
                    row_label = label
                else:
                    ratios = paired(qv, anchor, lambda f: f["counters"].get(counter))
                    a = [f["counters"][counter] for f in qv.values() if counter in f["counters"]]
                    b = [f["counters"][counter] for f in anchor.values() if counter in f["counters"]]
                    figures = (f"{statistics.median(a):.2f}" if a else "-",
                               f"{statistics.median(b):.2f}" if b else "-")
                    row_label = f"{label} ({counter})"
                row = {"label": row_label, "qv": figures[0], "anchor": figures[1], "ratio": None,
                       "low": None, "high": None, "pairs": len(ratios), "goal": "-", "met": "-"}
                if ratios:
                    low, high = trimmed_range(ratios)
                    row.update(ratio=statistics.median(ratios), low=low, high=high)
                if goal is not None:
                    measure, op, bound = goal
                    row["goal"] = goal_text(measure, op, bound)
                    if ratios:
                        # A speed bound holds on anchor time / qv time, the inverse of the ratio.
                        low, high = trimmed_range(ratios)
                        values = [1 / high, 1 / low] if measure == "speed" else [low, high]
                        holds = [v <= bound if op == "<=" else v >= bound for v in values]
                        middle = statistics.median(ratios)
                        middle = 1 / middle if measure == "speed" else middle
                        median_holds = middle <= bound if op == "<=" else middle >= bound
                        row["met"] = ("yes" if all(holds) else
                                      "SPREAD" if median_holds else "NO")
                        if measure == "speed":
                            row["met"] += f" ({min(values):.2f}-{max(values):.2f}x)"
                rows.append(row)
    # Goals whose cases did not run (a program missing, or a case left out of the build).
    for (program, case), case_goals in sorted(goals.items()):
        if (program, case) not in seen:
            for goal in case_goals:
                rows.append({"label": f"{program.replace('_bench', '')}: {case}", "qv": "-",
                             "anchor": "-", "ratio": None, "low": None, "high": None, "pairs": 0,
                             "goal": goal_text(*goal), "met": "not run"})

    width = max([len(r["label"]) for r in rows] + [len("benchmark")])
    header = (f"{'benchmark':{width}}  {'qv':>14}  {'anchor':>14}  {'qv/anchor':>9}  "
              f"{'spread':>13}  {'vs last':>7}  {'goal':22}  met")
    print(header)
    print("-" * len(header))
    for r in rows:
        ratio = f"{r['ratio']:.2f}x" if r["ratio"] is not None else "-"
        spread = f"{r['low']:.2f}-{r['high']:.2f}" if r["low"] is not None else "-"
        before = previous.get(r["label"])
        moved = f"{(r['ratio'] / before - 1) * 100:+.1f}%" if before and r["ratio"] else "-"
        print(f"{r['label']:{width}}  {r['qv']:>14}  {r['anchor']:>14}  {ratio:>9}  "
              f"{spread:>13}  {moved:>7}  {r['goal']:22}  {r['met']}")
    with_goal = [r for r in rows if r["goal"] != "-"]
    checked = [r for r in with_goal if r["met"].startswith(("yes", "NO", "SPREAD"))]
    met = [r for r in checked if r["met"].startswith("yes")]
    straddle = [r for r in checked if r["met"].startswith("SPREAD")]
    moves = [abs(r["ratio"] / previous[r["label"]] - 1) for r in with_goal
             if r["ratio"] and previous.get(r["label"])]
    print(f"\nqv/anchor is the median over rounds of the library's time over the anchor's in the same "
          f"round (the counter's ratio where one is named): below 1 is faster. spread: the lowest "
          f"and highest of those ratios, less the single most extreme pair each side from five pairs. A goal is met only when the whole spread meets it; SPREAD "
          f"marks a median that meets it with a spread that does not. vs last: the median's change "
          f"since the previous run.\nGoals met: {len(met)} of {len(checked)} measured"
          f" ({len(straddle)} SPREAD, {len(with_goal) - len(checked)} not measured).")
    if moves:
        print(f"Goal rows against the previous run: largest change {max(moves) * 100:.1f}%, "
              f"{sum(m <= 0.05 for m in moves)} of {len(moves)} within 5%.")
    if save:
        with open(save, "w") as f:
            json.dump({r["label"]: r["ratio"] for r in rows if r["ratio"]}, f, indent=1)


if __name__ == "__main__":
    main()
