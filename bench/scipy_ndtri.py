#!/usr/bin/python3
"""SciPy's ndtri (the inverse normal distribution) per element, the peer of
CdfNormInv that the benchmark binary cannot call:

    /usr/bin/python3 bench/scipy_ndtri.py

Times scipy.special.ndtri on arrays of 1,000 and 1,000,000 doubles and singles
drawn uniformly from [0.001, 0.999] and prints the best of several runs in
nanoseconds per element."""
import timeit

import numpy as np
from scipy.special import ndtri

rng = np.random.default_rng(7)
for n in (1000, 1000000):
    for dt in (np.float64, np.float32):
        p = rng.uniform(0.001, 0.999, n).astype(dt)
        out = np.empty_like(p)
        reps = max(1, 2000000 // n)
        best = min(timeit.repeat(lambda: ndtri(p, out=out), number=reps, repeat=7))
        print(f"ndtri {np.dtype(dt).name:8s} n={n:8d}: {best / reps / n * 1e9:7.2f} ns/element")
