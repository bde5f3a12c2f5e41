"""Ratios numpy / ours for the distribution generators, each of our rows timed
right beside its numpy peer, alternately, so that the load of a shared
machine moves both alike. Times: the best of the rounds for each; ratios:
the median of the rounds' ratios.

    /usr/bin/python3 tests/distributions/bench_pairs.py build/tests/distributions/bench_dist [rounds] [filter]

Prints ns per variate at n = 1,000 and 1,000,000 for ours and numpy's
Generator(MT19937), and the ratios (above 1: ours is faster).
"""
import os
import statistics
import subprocess
import sys

import bench_numpy as peers

# Our row (bench_dist's name) and numpy's peer (bench_numpy's name).
PAIRS = [
    ("dUniform", "random"),
    ("dGaussian BOXMULLER2", "standard_normal"),
    ("dGaussian BOXMULLER2 SFMT19937", "standard_normal"),
    ("dGaussian ICDF", "standard_normal"),
    ("dGaussian BOXMULLER", "standard_normal"),
    ("dExponential", "exponential"),
    ("sExponential", "standard_exponential float32"),
    ("dLaplace", "laplace"),
    ("dWeibull c=1.5", "weibull"),
    ("dCauchy", "standard_cauchy"),
    ("dRayleigh", "rayleigh"),
    ("dGumbel", "gumbel"),
    ("iBernoulli p=0.3", "binomial(1, 0.3)"),
    ("iGeometric p=0.3", "geometric"),
    ("dGamma a=2.5", "gamma(2.5)"),
    ("sGamma a=2.5", "gamma(2.5)"),
    ("dGamma a=0.5", "gamma(0.5)"),
    ("dChiSquare df=4", "chisquare(4)"),
    ("dBeta 2,3", "beta(2, 3)"),
    ("dBeta 0.5,0.5", "beta(0.5, 0.5)"),
    ("iPoisson mu=3", "poisson(3)"),
    ("iPoisson mu=100 (table)", "poisson(100)"),
    ("iPoisson mu=1000 PTRS", "poisson(1000)"),
    ("iPoisson mu=1e6 PTRS", "poisson(1e6)"),
    ("iPoissonV mu=3", "poisson(array of 3)"),
    ("iBinomial 100,0.3 (table)", "binomial(100, 0.3)"),
    ("iBinomial 1e6,0.3 BTRS", "binomial(1e6, 0.3)"),
    ("iBinomial 20,0.1", "binomial(20, 0.1)"),
    ("iHypergeometric 900,300,200 (table)", "hypergeometric(300, 600, 200)"),
    ("iHypergeometric 1e6,3e5,2e5 HRUA", "hypergeometric(3e5, 7e5, 2e5)"),
    ("iHypergeometric 30,10,5", "hypergeometric(10, 20, 5)"),
    ("iNegbinomial 5,0.3", "negative_binomial(5, 0.3)"),
    ("iMultinomial 100,(.2,.3,.5) a vector", "multinomial(100, (.2,.3,.5)) a vector"),
]
TOTAL = 2000000  # variates a round


def ours(binary, row):
    env = dict(os.environ, BENCH_DIST_ONLY="=" + row, BENCH_DIST_TOTAL=str(TOTAL))
    out = subprocess.run([binary], env=env, capture_output=True, text=True, check=True).stdout
    line = out.splitlines()[1]
    return [float(x) for x in line[len(row):].split()]


def main():
    binary = sys.argv[1]
    rounds = int(sys.argv[2]) if len(sys.argv) > 2 else 3
    only = sys.argv[3] if len(sys.argv) > 3 else None
    print(f"{'ours':38s} {'numpy':32s} {'ours 1e3':>9s} {'ours 1e6':>9s} {'np 1e3':>9s} {'np 1e6':>9s}"
          f" {'ratio 1e3':>9s} {'ratio 1e6':>9s}")
    for row, peer in PAIRS:
        if only and only not in row:
            continue
        a = [float("inf")] * 2
        b = [float("inf")] * 2
        ratios = ([], [])
        for _ in range(rounds):
            x = ours(binary, row)
            y = [peers.best_ns(peers.tests[peer], n, TOTAL) for n in (1000, 1000000)]
            for j in range(2):
                ratios[j].append(y[j] / x[j])
            a = [min(p, q) for p, q in zip(a, x)]
            b = [min(p, q) for p, q in zip(b, y)]
        med = [statistics.median(r) for r in ratios]
        print(f"{row:38s} {peer:32s} {a[0]:9.2f} {a[1]:9.2f} {b[0]:9.2f} {b[1]:9.2f}"
              f" {med[0]:9.2f} {med[1]:9.2f}", flush=True)


if __name__ == "__main__":
    main()
