#!/usr/bin/python3
"""Times SciPy's CubicSpline (natural ends) on the data of bench_fitting.cpp's
interpolation benchmark: 1,000 knots with gaps in [0.5, 1.5], 1,000,000
uniformly random sites inside them. Prints milliseconds per evaluation of all
sites (best of several runs), to stand beside BM_fit_Interp_Zev."""
import time

import numpy as np
from scipy.interpolate import CubicSpline

rng = np.random.default_rng(2024)
x = np.concatenate(([0.0], np.cumsum(rng.uniform(0.5, 1.5, 999))))
y = rng.uniform(-1.0, 1.0, 1000)
s = rng.uniform(x[0], x[-1], 1_000_000)
spline = CubicSpline(x, y, bc_type="natural")
spline(s)
best = min(
    (lambda t0: (spline(s), time.perf_counter() - t0)[1])(time.perf_counter()) for _ in range(10)
)
print(f"scipy CubicSpline natural, 1000 knots, 1e6 random sites: {best * 1e3:.2f} ms")
