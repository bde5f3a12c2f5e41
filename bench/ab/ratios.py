#!/usr/bin/python3
"""Ratios of library B over library A from a zev_bench_ab JSON file.

    python3 bench/ab/ratios.py out.json [--all]

Prints, per size, the geometric mean of B/A time over every entry, the
slowest ratios, and with --all one line per entry.
"""
import json
import math
import sys

data = json.load(open(sys.argv[1]))
t = {}
for b in data["benchmarks"]:
    if b.get("run_type") == "aggregate":
        continue
    row, lvl, lib, n = b["run_name"].split("/") if "run_name" in b else b["name"].split("/")
    t.setdefault((row, lvl, n), {}).setdefault(lib, []).append(b["cpu_time"])
rat = {}
for k, v in t.items():
    if "A" in v and "B" in v:
        rat[k] = sorted(v["B"])[len(v["B"]) // 2] / sorted(v["A"])[len(v["A"]) // 2]  # medians of CPU time
for n in sorted({k[2] for k in rat}, key=int):
    rs = sorted((r, k) for k, r in rat.items() if k[2] == n)
    g = math.exp(sum(math.log(r) for r, _ in rs) / len(rs))
    print("n=%s: %d entries, geometric mean B/A %.3f, min %.3f, max %.3f" % (n, len(rs), g, rs[0][0], rs[-1][0]))
    print("  slowest: " + ", ".join("%s%s %.2f" % (k[0], k[1], r) for r, k in rs[-8:]))
if "--all" in sys.argv:
    for k in sorted(rat):
        print("%-14s %-4s %8s  %.3f" % (k[0], k[1], k[2], rat[k]))
