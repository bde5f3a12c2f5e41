"""Nanoseconds per variate of numpy's Generator(MT19937) at n = 1,000 and
1,000,000, best of five rounds: the peer figures beside bench_dist."""
import timeit

import numpy as np

g = np.random.Generator(np.random.MT19937(12345))
tests = {
    "random": lambda n: g.random(n),
    "random float32": lambda n: g.random(n, dtype=np.float32),
    "integers int32": lambda n: g.integers(0, 1000, n, dtype=np.int32),
    "exponential": lambda n: g.exponential(1.0, n),
    "standard_exponential float32": lambda n: g.standard_exponential(n, dtype=np.float32),
    "laplace": lambda n: g.laplace(0.0, 1.0, n),
    "weibull": lambda n: g.weibull(1.5, n),
    "standard_cauchy": lambda n: g.standard_cauchy(n),
    "rayleigh": lambda n: g.rayleigh(1.0, n),
    "gumbel": lambda n: g.gumbel(0.0, 1.0, n),
    "binomial(1, 0.3)": lambda n: g.binomial(1, 0.3, n),
    "geometric": lambda n: g.geometric(0.3, n),
}
print(f"{'ns per variate':30s} {'n=1000':>10s} {'n=1000000':>10s}")
for name, f in tests.items():
    res = []
    for n in (1000, 1000000):
        reps = max(1, 20000000 // n)
        best = min(timeit.repeat(lambda: f(n), number=reps, repeat=5))
        res.append(best / (reps * n) * 1e9)
    print(f"{name:30s} {res[0]:10.2f} {res[1]:10.2f}")
