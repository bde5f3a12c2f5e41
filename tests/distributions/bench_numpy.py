"""Nanoseconds per variate of numpy's Generator(MT19937) at n = 1,000 and
1,000,000, best of five rounds: the peer figures beside bench_dist."""
import timeit

import numpy as np

import sys

g = np.random.Generator(np.random.MT19937(12345))
means = np.full(1000000, 3.0)
tests = {
    "random": lambda n: g.random(n),
    "random float32": lambda n: g.random(n, dtype=np.float32),
    "integers int32": lambda n: g.integers(0, 1000, n, dtype=np.int32),
    "standard_normal": lambda n: g.standard_normal(n),
    "standard_normal float32": lambda n: g.standard_normal(n, dtype=np.float32),
    "exponential": lambda n: g.exponential(1.0, n),
    "standard_exponential float32": lambda n: g.standard_exponential(n, dtype=np.float32),
    "laplace": lambda n: g.laplace(0.0, 1.0, n),
    "weibull": lambda n: g.weibull(1.5, n),
    "standard_cauchy": lambda n: g.standard_cauchy(n),
    "rayleigh": lambda n: g.rayleigh(1.0, n),
    "gumbel": lambda n: g.gumbel(0.0, 1.0, n),
    "binomial(1, 0.3)": lambda n: g.binomial(1, 0.3, n),
    "geometric": lambda n: g.geometric(0.3, n),
    "gamma(2.5)": lambda n: g.gamma(2.5, 1.0, n),
    "gamma(0.5)": lambda n: g.gamma(0.5, 1.0, n),
    "chisquare(4)": lambda n: g.chisquare(4.0, n),
    "beta(2, 3)": lambda n: g.beta(2.0, 3.0, n),
    "beta(0.5, 0.5)": lambda n: g.beta(0.5, 0.5, n),
    "poisson(3)": lambda n: g.poisson(3.0, n),
    "poisson(100)": lambda n: g.poisson(100.0, n),
    "poisson(1000)": lambda n: g.poisson(1000.0, n),
    "poisson(1e6)": lambda n: g.poisson(1e6, n),
    "poisson(array of 3)": lambda n: g.poisson(means[:n]),
    "binomial(100, 0.3)": lambda n: g.binomial(100, 0.3, n),
    "binomial(1e6, 0.3)": lambda n: g.binomial(1000000, 0.3, n),
    "binomial(20, 0.1)": lambda n: g.binomial(20, 0.1, n),
    "hypergeometric(300, 600, 200)": lambda n: g.hypergeometric(300, 600, 200, n),
    "hypergeometric(3e5, 7e5, 2e5)": lambda n: g.hypergeometric(300000, 700000, 200000, n),
    "hypergeometric(10, 20, 5)": lambda n: g.hypergeometric(10, 20, 5, n),
    "negative_binomial(5, 0.3)": lambda n: g.negative_binomial(5, 0.3, n),
    "multinomial(100, (.2,.3,.5)) a vector": lambda n: g.multinomial(100, [0.2, 0.3, 0.5], n),
}


def best_ns(f, n, total):
    """Best of five rounds of total variates, in ns per variate."""
    reps = max(1, total // n)
    return min(timeit.repeat(lambda: f(n), number=reps, repeat=5)) / (reps * n) * 1e9


if __name__ == "__main__":
    # An argument (texts separated by commas) times only the rows whose name
    # holds one of them, at 5,000,000 variates a round.
    only = sys.argv[1].split(",") if len(sys.argv) > 1 else None
    total = 5000000 if only else 20000000
    print(f"{'ns per variate':30s} {'n=1000':>10s} {'n=1000000':>10s}")
    for name, f in tests.items():
        if only and not any(o in name for o in only):
            continue
        res = [best_ns(f, n, total) for n in (1000, 1000000)]
        print(f"{name:30s} {res[0]:10.2f} {res[1]:10.2f}")
