#!/usr/bin/python3
"""Writes tests/data/volatility_reference.txt: variance paths and regime probabilities.

Variance paths are recursed in 50 digits (mpmath). Regime probabilities are summed over every path of the regimes, and
compared with statsmodels on the flow of the Nile.
"""

import itertools
import pathlib

import mpmath
import numpy
import pandas
import statsmodels
import statsmodels.api as sm
from mpmath import mpf
from scipy.stats import norm

from reference_cases import Cases

mpmath.mp.dps = 50
ROOT = pathlib.Path(__file__).resolve().parent.parent
cases = Cases(ROOT / "tests" / "data" / "volatility_reference.txt",
              "Written by tools/volatility_reference.py with "
              f"mpmath {mpmath.__version__}, statsmodels {statsmodels.__version__}.")
random = numpy.random.default_rng(11)


def rounded(values):
    return [round(float(v), 3) for v in values]


def garch(p, q, kind, delta, tau, gamma, T=14):
    y, c = rounded(random.standard_normal(T)), rounded(random.uniform(0.1, 0.4, T))
    alpha = rounded(random.uniform(0.02, 0.1, q))
    beta = rounded(random.uniform(0.05, 0.2, p))
    A = [(alpha[j] if j < q else 99) + (beta[j] if j < p and j < q else 0) for j in range(max(p, q))]
    alpha = [mpf(A[j]) - (mpf(beta[j]) if j < p else 0) for j in range(q)]
    start = sum(mpf(v) ** 2 for v in y) / T
    h, e = {}, {}
    for t in range(T):
        h[t] = mpf(c[t])
        for j, a in enumerate(alpha, 1):
            h[t] += a * ((e[t - j] - mpf(tau)) ** 2 if t - j in e else start)
        for j, b in enumerate(beta, 1):
            h[t] += mpf(b) * h.get(t - j, start)
        if t - 1 in e and e[t - 1] < mpf(tau):
            h[t] += mpf(gamma) * (e[t - 1] - mpf(tau)) ** 2
        e[t] = mpf(y[t]) - mpf(delta) * {1: h[t], 2: mpmath.sqrt(h[t]), 3: mpmath.log(h[t])}.get(kind, 0)
    cases.case("FnGarchVar", f"({p},{q})-kind-{kind}", y, c, [77.0, *A, *beta], p, q, kind, delta, tau, gamma, None, None)
    cases.value(9, 1e-13, list(h.values()))
    cases.value(10, 1e-13, list(e.values()))


def egarch(a, b, kind, delta, T=12, level=0.0):
    y, c = rounded(random.standard_normal(T)), rounded(level + random.uniform(-0.5, 0.3, T))
    theta2, theta1, m = -0.3, 0.4, 0.7978
    start = mpmath.log(sum(mpf(v) ** 2 for v in y) / T)
    stored, news, e = {}, {}, {}
    for t in range(T):
        value = mpf(c[t]) + sum(mpf(x) * news.get(t - j, 0) for j, x in enumerate(a, 1))
        value += sum(mpf(x) * stored.get(t - j, start) for j, x in enumerate(b, 1))
        bounded = min(value, mpf(709))
        stored[t] = value if t < max(len(a), len(b)) else bounded
        e[t] = mpf(y[t]) - mpf(delta) * {1: mpmath.exp(bounded), 2: mpmath.exp(bounded / 2), 3: bounded}.get(kind, 0)
        z = e[t] / mpmath.exp(bounded / 2)
        news[t] = mpf(theta1) * (abs(z) - mpf(m)) + mpf(theta2) * z
    cases.case("FnEgarchVar", f"({len(a)},{len(b)})-kind-{kind}", y, c, theta2, theta1, m, [a] if a else [],
               [b] if b else [], kind, delta, None, None)
    cases.value(9, 1e-13, list(stored.values()))
    cases.value(10, 1e-13, list(e.values()))


def regimes(name, T, n, zero_density=False):
    F = [rounded(row) for row in random.uniform(0.05, 1.5, (T, n))]
    if zero_density:
        F[3][1] = 0.0
    P = random.dirichlet(numpy.ones(n), n).T
    prior = rounded(random.dirichlet(numpy.ones(n)))
    prior[0] = 1.0 - sum(prior[1:])
    joint = numpy.zeros((T, n))     # of the observations to t and the regime at t
    smoothed, moves = numpy.zeros((T, n)), numpy.zeros((n, n))
    for length in range(1, T + 1):
        for path in itertools.product(range(n), repeat=length):
            weight = prior[path[0]]
            for t, regime in enumerate(path):
                weight *= (P[regime][path[t - 1]] if t else 1.0) * F[t][regime]
            joint[length - 1][path[-1]] += weight
            if length == T:
                for t, regime in enumerate(path):
                    smoothed[t][regime] += weight
                    if t:
                        moves[regime][path[t - 1]] += weight
    total = joint.sum(axis=1)
    filtered = joint / total[:, None]
    cases.case("FnFilterMS", name, F, P, [prior], None, None)
    cases.value(3, 1e-13, total / numpy.append(1.0, total[:-1]))
    cases.value(4, 1e-13, filtered)
    cases.case("FnSmoothMS", name, filtered, P, None, None)
    cases.value(2, 1e-12, smoothed / total[-1])
    cases.value(3, 1e-12, moves / total[-1])


def smoother(name, filtered, P):
    """The documented recursion in 50 digits, for inputs that no filter gives: they reach the bounds."""
    T, n, tiny = len(filtered), len(P), mpf(1e-100)
    f, p = [[mpf(v) for v in row] for row in filtered], [[mpf(v) for v in row] for row in P]
    smoothed, moves = {T - 1: f[-1]}, [[mpf(0)] * n for _ in range(n)]
    for t in range(T - 2, -1, -1):
        predicted = [sum(p[i][j] * f[t][j] for j in range(n)) for i in range(n)]
        ratio = [s * mpf(1e100) if q <= tiny else s / q for s, q in zip(smoothed[t + 1], predicted)]
        for i in range(n):
            for j in range(n):
                moves[i][j] += ratio[i] * p[i][j] * f[t][j]
        values = [f[t][j] * sum(ratio[i] * p[i][j] for i in range(n)) for j in range(n)]
        smoothed[t] = [0 if v <= tiny else min(v, mpf(1)) for v in values]
    cases.case("FnSmoothMS", name, filtered, P, None, None)
    cases.value(2, 1e-13, [smoothed[t] for t in range(T)])
    cases.value(3, 1e-13, moves)


def nile():
    y = pandas.read_csv(ROOT / "tests" / "data" / "nile.csv")["volume"].to_numpy(dtype=float)[:40]
    model = sm.tsa.MarkovRegression(y, k_regimes=2, switching_variance=True)
    params = [0.9, 0.2, 1100.0, 850.0, 20000.0, 15000.0]
    result = model.smooth(params)
    F = numpy.column_stack([norm.pdf(y, params[2 + j], numpy.sqrt(params[4 + j])) for j in range(2)])
    P = result.regime_transition[:, :, 0]
    cases.case("FnFilterMS", "nile", F, P, [result.initial_probabilities], None, None)
    cases.value(3, 1e-10, numpy.exp(result.llf_obs))
    cases.value(4, 1e-10, result.filtered_marginal_probabilities)
    cases.case("FnSmoothMS", "nile", result.filtered_marginal_probabilities, P, None, None)
    cases.value(2, 1e-10, result.smoothed_marginal_probabilities)


for arguments in ((1, 1, 0, 0.0, 0.0, 0.0), (1, 1, 1, 0.3, 0.1, 0.2), (2, 1, 2, 0.3, -0.2, 0.1), (1, 3, 3, 0.2, 0.1, 0.0),
                  (3, 1, 0, 0.5, 0.0, 0.15), (0, 2, 1, 0.1, 0.0, 0.0), (2, 0, 2, 0.4, 0.3, 0.3), (0, 0, 2, 0.5, 0.0, 0.0)):
    garch(*arguments)
for kind, delta in ((0, 0.5), (1, 0.1), (2, 0.2), (3, 0.1)):
    egarch([0.2, 0.1], [0.6], kind, delta)
egarch([], [0.3, 0.2, 0.1], 0, 0.0)
egarch([0.3], [], 2, 0.1)
egarch([0.1], [0.5, 0.6], 0, 0.0, level=400.0)
regimes("every-path", 8, 3)
regimes("every-path-of-two", 8, 2, zero_density=True)
regimes("every-path-of-five", 5, 5)
regimes("one-observation", 1, 4)
nile()
egarch([], [0.1, 0.05], 3, 0.1, level=720.0)
egarch([0.2, 0.1, 0.05], [0.3], 2, 0.4, level=720.0)
smoother("bounded-at-1", [[0.3, 0.7], [0.5, 0.4], [0.2, 0.3], [0.9, 1.2]], [[0.9, 0.3], [0.1, 0.7]])
smoother("bounded-at-1-of-five", random.uniform(0.1, 0.3, (4, 5)).tolist()[:3] + [[0.9] * 5],
         random.dirichlet(numpy.ones(5), 5).T)
smoother("predicted-near-1e-100", [[1.0, 1.0], [1e-101, 1e-99], [1.0, 1.0]], [[1.0, 0.0], [0.0, 1.0]])
cases.write()
