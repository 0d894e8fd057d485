#!/usr/bin/python3
"""Writes tests/data/limdep_reference.txt: likelihoods of limited dependent variable models with their derivatives.

Small cases: the log-likelihood of each observation is written down directly, from the probability of its outcome, and
differenced numerically with 60 digits (mpmath). Cases on real data: maximum-likelihood estimates of statsmodels, with
its log-likelihood and information matrix.
"""

import pathlib

import mpmath
import numpy
import pandas
import scipy
import statsmodels
import statsmodels.api as sm
from mpmath import mpf

from reference_cases import Cases, gradient, hessian, outer

mpmath.mp.dps = 60
DATA = pathlib.Path(__file__).resolve().parent.parent / "tests" / "data"
cases = Cases(DATA / "limdep_reference.txt",
              "Written by tools/limdep_reference.py with "
              f"mpmath {mpmath.__version__}, statsmodels {statsmodels.__version__}, scipy {scipy.__version__}.")
random = numpy.random.default_rng(7)


def normals(rows, columns, scale=1.0):
    return [[round(float(scale * x), 3) for x in row] for row in random.standard_normal((rows, columns))]


def exact(rows):
    return [[mpf(x) for x in row] for row in rows]


def derivatives(positions, log_liks, theta, information=None, tolerance=1e-11, total=1e-13):
    """Expected values of score, information, log-likelihoods and outer product, at their positions, and the result."""
    theta = [mpf(x) for x in theta]
    scores = [gradient(f, theta) for f in log_liks]
    values = [f(theta) for f in log_liks]
    if information is None:
        information = [[-x for x in row] for row in hessian(lambda at: sum(f(at) for f in log_liks), theta)]
    elif information == "outer":
        information = outer(scores)
    cases.value(-1, total, sum(values))
    for position, value in zip(positions, ([sum(s) for s in zip(*scores)], information, values, outer(scores))):
        cases.value(position, tolerance, value)


# Logit.

def probabilities(theta, J, x, z, d):
    k, nz = len(x), len(z) // J
    beta = [[0] * k] + [theta[j * k:(j + 1) * k] for j in range(J - 1)]
    gamma = theta[(J - 1) * k:]
    e = [mpmath.exp(d[j] + sum(a * b for a, b in zip(x, beta[j])) + sum(z[m * J + j] * gamma[m] for m in range(nz)))
         for j in range(J)]
    return [value / sum(e) for value in e]


def logit(name, T, J, k, nz, counts, weighted, offsets):
    x, z, d = normals(T, k), normals(T, nz * J), normals(T, J, 0.5)
    w = [round(float(v), 3) for v in random.uniform(0.2, 2, T)]
    y = [[round(float(v), 2) for v in row] for row in random.uniform(0, 3, (T, J))] if counts else \
        [[int(v)] for v in random.integers(0, J, T)]
    theta = [row[0] for row in normals((J - 1) * k + nz, 1, 0.5)]
    cases.case("FnLogitJD", name, theta, y, J, x if k else [], z if nz else [], w if weighted else [],
               d if offsets else [], *[None] * 5)
    X, Z, D = exact(x), exact(z), exact(d)

    def p(t, at):
        return probabilities(at, J, X[t], Z[t], D[t] if offsets else [0] * J)

    def log_lik(t):
        weight = mpf(w[t]) if weighted else 1
        if counts:
            return lambda at: weight * sum(mpf(n) * mpmath.log(q) for n, q in zip(y[t], p(t, at)))
        return lambda at: weight * mpmath.log(p(t, at)[y[t][0]])
    derivatives([7, 8, 10, 11], [log_lik(t) for t in range(T)], theta)
    cases.value(9, 1e-13, [p(t, [mpf(v) for v in theta]) for t in range(T)])


def logit_derivatives():
    J, k, nz = 3, 2, 2
    theta, x, z = [row[0] for row in normals(6, 1)], exact(normals(1, k))[0], exact(normals(1, nz * J))[0]
    at = [mpf(v) for v in theta]
    p = probabilities(at, J, x, z, [0] * J)
    cases.case("FnLogitProbDeriv", "against-differences", theta, [p], k, J, nz * J)
    by_x = [gradient(lambda v, j=j: probabilities(at, J, v, z, [0] * J)[j], x) for j in range(J)]
    by_z = [gradient(lambda v, j=j: probabilities(at, J, x, v, [0] * J)[j], z) for j in range(J)]
    rows = [[by_x[j][i] for j in range(J)] for i in range(k)]
    rows += [[by_z[j][m * J + j] for j in range(J)] for m in range(nz)] + [[0] * J] * (nz * J - nz)
    cases.value(-1, 1e-14, rows)


# Models of one index.

def probit(name, T, k):
    x, theta = normals(T, k), [row[0] for row in normals(k, 1, 0.7)]
    y, w = [int(v) for v in random.integers(0, 2, T)], [round(float(v), 3) for v in random.uniform(0.2, 2, T)]
    X, at = exact(x), [mpf(v) for v in theta]
    cases.case("FnBinProbitJD", name, theta, y, x, w, *[None] * 5)

    def log_p(t, outcome):
        return lambda v: mpmath.log(mpmath.ncdf((2 * outcome - 1) * sum(a * b for a, b in zip(X[t], v))))
    log_liks = [lambda v, t=t: mpf(w[t]) * log_p(t, y[t])(v) for t in range(T)]
    # The expected information: the outer product of the scores, over the distribution of each outcome.
    parts = [outer([[mpmath.sqrt(mpf(w[t]) * mpmath.exp(log_p(t, o)(at))) * g for g in gradient(log_p(t, o), at)]])
             for t in range(T) for o in (0, 1)]
    information = [[sum(part[i][j] for part in parts) for j in range(k)] for i in range(k)]
    derivatives([4, 5, 7, 8], log_liks, theta, information)
    cases.value(6, 1e-14, [[mpmath.exp(log_p(t, o)(at)) for o in (0, 1)] for t in range(T)])


def poisson_pmf(b, y):
    return y * b - mpmath.exp(b) - mpmath.loggamma(y + 1)


def negative_binomial_pmf(P):
    def log_pmf(b, y, log_alpha):
        mu, alpha = mpmath.exp(b), mpmath.exp(log_alpha)
        a = mu ** P / alpha
        return (mpmath.loggamma(y + a) - mpmath.loggamma(y + 1) - mpmath.loggamma(a) + a * mpmath.log(a / (mu + a))
                + y * mpmath.log(mu / (mu + a)))
    return log_pmf


def count(name, kind, L, P, y, b0, spread, shape=(), cells=0, support=None, tolerance=1e-11, total=1e-13):
    T, k = len(y), 2
    x = [[1.0, row[0]] for row in normals(T, 1)]
    theta = [b0, spread, *shape]
    X = exact(x)
    pmf = poisson_pmf if kind == 0 else negative_binomial_pmf(mpf(P))
    cases.case("FnCountJD", name, theta, y, x, kind, L, cells, float(P), *[None] * 5)

    def log_f(t, c, at):
        b = sum(u * v for u, v in zip(X[t], at))
        value = pmf(b, c, *at[k:])
        if L > 0:
            value -= mpmath.log(sum(mpmath.exp(pmf(b, j, *at[k:])) for j in range((support or L) + 1)))
        return value
    at = [mpf(v) for v in theta]
    derivatives([7, 8, 10, 11], [lambda v, t=t: log_f(t, y[t], v) for t in range(T)], theta,
                None if kind == 0 else "outer", tolerance, total)
    if cells:
        cases.value(9, 1e-12, [[sum(mpmath.exp(log_f(t, c, at)) for t in range(T)) for c in range(cells)]])


# Real data.

def polished(model, start):
    """Newton's method to the last digits, from estimates of the package."""
    params = numpy.asarray(start, dtype=float).flatten(order="F")
    for _ in range(5):
        params = params - numpy.linalg.solve(model.hessian(params), numpy.asarray(model.score(params)).flatten(order="F"))
    return params


def vote():
    data = pandas.read_csv(DATA / "anes96.csv")
    names = ["logpopul", "selfLR", "age", "educ", "income"]
    X = sm.add_constant(data[names].to_numpy())
    model = sm.MNLogit(data["PID"].to_numpy(), X)
    params = polished(model, model.fit(method="newton", disp=False).params)
    cases.case("FnLogitJD", "party-identification", params, ("csv", "anes96.csv", "PID"), 7,
               ("csv", "anes96.csv", "1", *names), [], [], [], *[None] * 5)
    cases.value(-1, 1e-10, model.loglike(params))
    cases.value(7, 1e-8, [0] * len(params))
    cases.sums(8, 1e-11, -model.hessian(params))

    binary = sm.Probit(data["vote"].to_numpy(), X)
    params = polished(binary, binary.fit(disp=False).params)
    link = sm.families.Binomial(link=sm.families.links.probit())
    weights = link.weights(link.link.inverse(X @ params))
    cases.case("FnBinProbitJD", "vote", params, ("csv", "anes96.csv", "vote"), ("csv", "anes96.csv", "1", *names), [],
               *[None] * 5)
    cases.value(-1, 1e-10, binary.loglike(params))
    cases.value(4, 1e-8, [0] * len(params))
    cases.sums(5, 1e-11, X.T @ (weights[:, None] * X))


def visits():
    data = pandas.read_csv(DATA / "health_visits.csv")
    names = [name for name in data.columns if name != "mdvis"]
    y, X = data["mdvis"].to_numpy(), sm.add_constant(data[names].to_numpy())
    arguments = [("csv", "health_visits.csv", "mdvis"), ("csv", "health_visits.csv", "1", *names)]

    model = sm.Poisson(y, X)
    params = polished(model, model.fit(disp=False).params)
    cases.case("FnCountJD", "visits-poisson", params, *arguments, 0, 0, 5, 0.0, *[None] * 5)
    cases.value(-1, 1e-10, model.loglike(params))
    cases.value(7, 1e-8, [0] * len(params))
    cases.sums(8, 1e-11, -model.hessian(params))
    cases.value(9, 1e-10, [[scipy.stats.poisson.pmf(c, numpy.exp(X @ params)).sum() for c in range(5)]])

    for form, P in (("nb2", 0.0), ("nb1", 1.0)):
        model = sm.NegativeBinomial(y, X, loglike_method=form)
        params = model.fit(method="newton", maxiter=200, disp=False).params
        alpha = params[-1]
        scores = model.score_obs(params)
        scores[:, -1] *= alpha
        a = numpy.exp(X @ params[:-1]) ** P / alpha
        theta = [*params[:-1], numpy.log(alpha)]
        cases.case("FnCountJD", "visits-" + form, theta, *arguments, 1, 0, 5, P, *[None] * 5)
        cases.value(-1, 1e-10, model.loglike(params))
        cases.value(7, 1e-8, [0] * len(params))
        cases.sums(8, 1e-9, scores.T @ scores)
        mu = numpy.exp(X @ params[:-1])
        cases.value(9, 1e-9, [[scipy.stats.nbinom.pmf(c, a, a / (a + mu)).sum() for c in range(5)]])


logit("outcomes-with-everything", 9, 3, 2, 2, False, True, True)
logit("counts-with-everything", 7, 3, 2, 2, True, True, True)
logit("conditional-alone", 6, 3, 0, 2, False, False, False)
logit("regressors-alone", 19, 4, 3, 0, False, False, False)
logit_derivatives()
probit("weighted", 9, 3)
SMALL = [0, 1, 4, 2, 0, 3, 1, 2, 5]
count("poisson", 0, 0, 0, SMALL, 0.5, 0.4, cells=7)
count("poisson-up-to-5", 0, 5, 0, SMALL, 0.5, 0.4, cells=6)
count("poisson-far-end", 0, 2000000000, 0, SMALL, 0.5, 0.4, cells=4, support=60)
count("poisson-large-mean", 0, 3000, 0, [900, 1003, 1100], 6.9, 0.05, support=1800)
for power in (0, 1, 0.5):
    count(f"negative-binomial-{power}", 1, 0, power, SMALL, 0.5, 0.4, (-0.3,), cells=7)
    count(f"negative-binomial-{power}-up-to-6", 1, 6, power, SMALL, 0.5, 0.4, (-0.3,), cells=7)
count("negative-binomial-far-end", 1, 2000000000, 0, SMALL, 0.5, 0.4, (-0.3,), cells=4, support=900)
count("negative-binomial-near-poisson", 1, 0, 0, SMALL, 0.5, 0.4, (-25.0,), cells=4)
count("negative-binomial-large-counts", 1, 0, 0, [300, 1200, 2500], 7.0, 0.3, (-0.5,))
count("negative-binomial-large-counts-near-poisson", 1, 0, 1, [900, 1005, 1100], 6.9, 0.02, (-14.0,),
      tolerance=1e-10)
count("negative-binomial-millions", 1, 0, 0, [300000, 1200000, 2500000], 14.0, 0.3, (-0.5,))
vote()
visits()
count("negative-binomial-large-mean-up-to-3000", 1, 3000, 0, [900, 1003, 1100], 6.9, 0.05, (-9.0,), support=2000,
      tolerance=1e-10)
count("negative-binomial-large-counts-low-dispersion", 1, 0, 0, [1300, 1001, 2500], 7.0, 0.3, (-4.0,))
count("negative-binomial-large-counts-large-shape", 1, 0, 0, [1300, 1150, 1250], 7.1, 0.03, (-12.0,), tolerance=1e-10,
      total=1e-12)
cases.write()
