#!/usr/bin/env python3
"""Ratios of our vector-math kernels over their peers, from zev_bench's JSON.

    zev_bench --benchmark_repetitions=5 --benchmark_format=json > out.json
    bench/ratios.py out.json [--markdown] [--metric cpu_time|real_time]

Benchmarks are named <row>/<implementation>/<n>; implementations starting with
zev_ are ours (zev_LA, zev_HA, zev_EP), the others are peers. With repetitions
the median of each benchmark is used, otherwise its single measurement. For
each row, size and level the script prints our time per element, the ratio
ours / best peer (below 1 means we are faster) and the ratio over every peer.
"""
import argparse
import json
import re
import statistics
import sys
from collections import defaultdict

TIME_SCALE = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


def load(path, metric):
    with open(path) as f:
        data = json.load(f)
    runs = defaultdict(list)      # (row, impl, n) -> per-repetition times in ns per element
    medians = {}                  # (row, impl, n) -> median reported by the library
    for b in data.get("benchmarks", []):
        name = b.get("run_name", b["name"])
        parts = name.split("/")
        # Only the vector-math benchmarks: <row>/<implementation>/<n>.
        if len(parts) != 3 or not parts[2].isdigit() or not re.match(r"^[sdcz][A-Z]\w*$", parts[0]):
            continue
        row, impl, n = parts[0], parts[1], int(parts[2])
        t = b[metric] * TIME_SCALE[b.get("time_unit", "ns")] / n
        if b.get("run_type") == "aggregate":
            if b.get("aggregate_name") == "median":
                medians[(row, impl, n)] = t
        else:
            runs[(row, impl, n)].append(t)
    times = {k: statistics.median(v) for k, v in runs.items()}
    times.update(medians)
    return times, data.get("context", {})


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("json")
    ap.add_argument("--markdown", action="store_true", help="print a Markdown table")
    ap.add_argument("--metric", default="cpu_time", choices=["cpu_time", "real_time"])
    args = ap.parse_args()

    times, ctx = load(args.json, args.metric)
    groups = defaultdict(dict)    # (row, n) -> impl -> ns per element
    for (row, impl, n), t in times.items():
        groups[(row, n)][impl] = t

    lines = []
    for (row, n) in sorted(groups):
        impls = groups[(row, n)]
        ours = {k: v for k, v in impls.items() if k.startswith("zev_")}
        peers = {k: v for k, v in impls.items() if not k.startswith("zev_")}
        for level in sorted(ours):
            t = ours[level]
            if peers:
                best = min(peers, key=peers.get)
                each = ", ".join(f"{p} {t / peers[p]:.2f}" for p in sorted(peers))
                lines.append((row, n, level[4:], t, best, t / peers[best], each))
            else:
                lines.append((row, n, level[4:], t, "-", float("nan"), ""))
        if not ours:
            each = ", ".join(f"{p} {peers[p]:.3f} ns" for p in sorted(peers))
            lines.append((row, n, "not built", float("nan"), "-", float("nan"), each))

    if args.markdown:
        print("| Function | n | Level | ours ns/elem | best peer | ours / best | ours / each peer |")
        print("|---|---|---|---|---|---|---|")
        for row, n, lv, t, best, r, each in lines:
            print(f"| {row} | {n:,} | {lv} | {t:.3f} | {best} | {r:.2f} | {each} |")
    else:
        print(f"{'function':<10} {'n':>10} {'level':<9} {'ns/elem':>9} {'best peer':<10} {'ratio':>6}  each peer")
        for row, n, lv, t, best, r, each in lines:
            print(f"{row:<10} {n:>10,} {lv:<9} {t:>9.3f} {best:<10} {r:>6.2f}  {each}")
    if ctx:
        print(f"\n{ctx.get('host_name', '?')}: {ctx.get('num_cpus', '?')} cpus at {ctx.get('mhz_per_cpu', '?')} MHz, "
              f"{args.metric}, medians", file=sys.stderr)


if __name__ == "__main__":
    main()
