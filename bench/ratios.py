#!/usr/bin/env python3
"""Reads Google Benchmark's JSON and prints ours against the baseline: the medians and their ratio.

ratios.py BASELINE OURS time|rate [GOAL]: `time` in milliseconds (the ratio shall be at most GOAL), `rate` in GB/s (at
least GOAL). A case that only one of the two has is left out.
"""
import json
import statistics
import sys

baseline, ours, kind = sys.argv[1:4]
goal = float(sys.argv[4]) if len(sys.argv) > 4 else None
runs = {}
for run in json.load(sys.stdin)["benchmarks"]:
    if run["run_type"] != "iteration":
        continue
    name, _, case = run["name"].split("/repeats")[0].partition("/")
    value = run["real_time"] if kind == "time" else run["bytes_per_second"] / 1e9
    runs.setdefault(case.replace("/real_time", "").replace("real_time", ""), {}).setdefault(name, []).append(value)

unit = "ms" if kind == "time" else "GB/s"
for case, values in runs.items():
    if baseline not in values or ours not in values:
        continue
    base, own = statistics.median(values[baseline]), statistics.median(values[ours])
    ratio = own / base
    verdict = "(no goal)"
    if goal is not None:
        met = ratio <= goal if kind == "time" else ratio >= goal
        bound = "at most" if kind == "time" else "at least"
        verdict = f"(goal: {bound} {goal}) {'met' if met else 'MISSED'}"
    print(f"{ours} {case.replace('/', 'x'):10} {own:8.3f} {unit}   {baseline} {base:8.3f} {unit}   "
          f"ratio {ratio:.3f} {verdict}")
