#!/usr/bin/env python3
"""Per-element cost of numpy's bit generators, to set beside zev_bench's rng/ lines.

    python3 bench/numpy_bitgen.py [n] [repeats]

random_raw(n) fills n raw outputs (32-bit words for MT19937, 64-bit for the
others); the script prints the best of `repeats` timings in ns per element.
"""
import sys
import time

import numpy as np


def best_ns_per_element(bitgen, n, repeats):
    bitgen.random_raw(n)  # warm up
    best = float("inf")
    for _ in range(repeats):
        t0 = time.perf_counter()
        bitgen.random_raw(n)
        best = min(best, time.perf_counter() - t0)
    return best * 1e9 / n


def main():
    n = int(sys.argv[1]) if len(sys.argv) > 1 else 1_000_000
    repeats = int(sys.argv[2]) if len(sys.argv) > 2 else 20
    for name in ("MT19937", "Philox", "PCG64", "SFC64"):
        bg = getattr(np.random, name)(12345)
        print(f"numpy {name:8s} random_raw: {best_ns_per_element(bg, n, repeats):6.2f} ns/element")


if __name__ == "__main__":
    main()
