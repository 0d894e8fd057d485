#!/usr/bin/python3
"""Writes tests/data/diagnostics_reference.txt: autocovariances, common factor tests and encompassing tests.

Autocovariances are integrals of the spectral density in 30 digits. Restrictions of common factors are eliminated in 50
digits and compared, for two polynomials, with the principal subresultants as determinants.
Encompassing statistics are formed with the T x T projection matrices, and F tests compared with statsmodels.
"""

import itertools
import pathlib

import mpmath
import numpy
import statsmodels
import statsmodels.api as sm
from mpmath import mpc, mpf

from reference_cases import Cases, gradient

ROOT = pathlib.Path(__file__).resolve().parent.parent
cases = Cases(ROOT / "tests" / "data" / "diagnostics_reference.txt",
              "Written by tools/diagnostics_reference.py with "
              f"mpmath {mpmath.__version__}, statsmodels {statsmodels.__version__}.")
random = numpy.random.default_rng(7)


def rounded(values, digits=2):
    return numpy.round(values, digits).tolist()


# Autocovariances

def autocovariance(d, phi, theta, sigma2, lag):
    d, power = mpf(d), 1 / (1 - 2 * mpf(d)) if d > 0 else mpf(1)

    def density(u):
        w = u ** power
        z = mpmath.expj(-w)
        theta_z = 1 + sum(mpf(t) * z ** j for j, t in enumerate(theta, 1))
        phi_z = 1 - sum(mpf(f) * z ** j for j, f in enumerate(phi, 1))
        jacobian = power * u ** (power - 1)
        return jacobian * abs(theta_z / phi_z) ** 2 * (2 * mpmath.sin(w / 2)) ** (-2 * d) * mpmath.cos(lag * w)

    nodes = [mpmath.pi * i / (4 + lag) for i in range(5 + lag)]
    return mpf(sigma2) / mpmath.pi * mpmath.quad(density, [w ** (1 / power) for w in nodes])


def fractional(name, d, phi, theta, sigma2, n, tolerance=1e-12):
    mpmath.mp.dps = 30
    cases.case("FnFracSigma", name, [[d, *phi, *theta]], len(phi), len(theta), sigma2, n, None)
    cases.value(-1, 0, 0)
    cases.value(5, tolerance, [[autocovariance(d, phi, theta, sigma2, k) for k in range(n)]])


fractional("noise", 0.3, [], [], 2.0, 5)
fractional("near-the-limit", 0.45, [], [0.5], 1.0, 4)
fractional("antipersistent-moving-average", -0.4, [], [0.5, -0.3], 1.5, 6)
fractional("moving-average", 0.0, [], [0.5, -0.3], 1.5, 5)
fractional("moving-average-one-lag", 0.0, [], [0.5, -0.3], 1.5, 1)
fractional("real-root", 0.2, [0.7], [], 1.0, 6)
fractional("real-root-one-lag", 0.2, [0.7], [0.4], 1.0, 1)
fractional("negative-root", -0.3, [-0.8], [0.4], 0.5, 5)
fractional("zero-root", 0.3, [0.5, 0.0], [0.4], 0.5, 5)
fractional("complex-roots", 0.35, [1.1, -0.6], [0.3, 0.2], 1.0, 8)
fractional("mixed-roots", 0.1, [0.6, -0.2, 0.3], [-0.5], 3.0, 7)
fractional("four-complex-roots-two-lags", 0.25, [0.2, 0.1, -0.2, -0.5], [0.1, 0.2, 0.3], 1.0, 2)
fractional("hardly-fractional", 1e-9, [1.1, -0.6], [0.3], 1.0, 5)
fractional("slow-root", 0.2, [0.98], [-0.4], 1.0, 3, 1e-10)


# Common factors

def pivots(orders, r):
    m = len(orders)
    wanted = sum(orders) - (m - 1) * orders[-1] - r
    extra = next(e for e in itertools.count() if e * (m - 1) >= wanted)
    return [i for stage in range(orders[0], orders[-1] + extra + 1)
            for i in reversed(range(m)) if orders[i] <= stage][:-1]


def restrictions(polynomials, r):
    """Euclid's algorithm: a polynomial loses its leading coefficient to the pivot's. The cofactor clears denominators."""
    left, values, cofactor = [list(p) for p in polynomials], [], mpf(1)
    for p in pivots([len(a) - 1 for a in polynomials], r):
        if left[p] is None:
            continue
        pivot, cofactor = left[p], cofactor * left[p][0]
        for q, a in enumerate(left):
            if q == p or a is None:
                continue
            rest = [x - a[0] / pivot[0] * y for x, y in zip(a, pivot + [mpf(0)] * len(a))][1:]
            left[q] = rest if len(a) - 1 > r else None
            values += [cofactor * x for x in rest[:len(pivot) - 1]] if left[q] is None else []
    return values


def subresultants(polynomials, r):
    """The same as determinants where polynomials take turns as pivots: each row is a polynomial, shifted by the times
    that it was a pivot before, and the determinants are bordered by one column each."""
    orders, m = [len(p) - 1 for p in polynomials], len(polynomials)
    rows, used, left, values = [], [0] * m, list(orders), []
    for p in pivots(orders, r):
        if left[p] < 0:
            continue
        rows.append((p, used[p]))
        used[p] += 1
        for q in range(m):
            if q == p or left[q] < 0:
                continue
            if left[q] > r:
                left[q] -= 1
                continue
            left[q] = -1
            for j in range(1, left[p] + 1):
                columns = [*range(len(rows)), len(rows) - 1 + j]
                values.append(mpmath.det(mpmath.matrix(
                    [[polynomials[i][c - s] if 0 <= c - s <= orders[i] else mpf(0) for c in columns]
                     for i, s in [*rows, (q, used[q])]])))
    return values


def resultant(a, b):
    n, k = len(a) - 1, len(b) - 1
    rows = [[0] * i + a + [0] * (k - 1 - i) for i in range(k)] + [[0] * i + b + [0] * (n - 1 - i) for i in range(n)]
    return mpmath.det(mpmath.matrix(rows))


def wald(orders, values, V, c, r):
    def split(v):
        v, polynomials = list(v), []
        for i, n in enumerate(orders):
            polynomials.append([mpf(-1)] + v[:n] if i == 0 else v[:n + 1])
            v = v[n + (i > 0):]
        return sorted(polynomials, key=len)

    g = restrictions(split(values), r)
    if len(orders) == 2 or orders == [2, 2, 2]:
        assert all(abs(x - y) < mpf(10) ** -40 for x, y in zip(g, subresultants(split(values), r)))
    if len(orders) == 2 and r == 1:
        assert abs(abs(g[0]) - abs(resultant(*split(values)))) < mpf(10) ** -40
    columns = [gradient(lambda v, i=i: restrictions(split(v), r)[i], values) for i in range(len(g))]
    G = mpmath.matrix(columns)
    S = mpf(c) * G * mpmath.matrix(V) * G.T
    return (mpmath.matrix(g).T * S ** -1 * mpmath.matrix(g))[0], len(g)


def comfac(name, orders, c=1.0, coefficients=None, shuffled=False, excluded=False, tolerance=1e-9):
    """Variables 1, 2, ... of the given orders; 1 is the dependent variable."""
    mpmath.mp.dps = 50
    terms = [(i, lag) for i, n in enumerate(orders, 1) for lag in range(n + 1)][1:]
    V = numpy.cov(random.standard_normal((len(terms), 3 * len(terms))))
    V = rounded((V + V.T) / 2)
    values = coefficients or rounded(random.uniform(-0.9, 0.9, len(terms)))
    order = list(range(len(terms)))
    if shuffled:  # the equation's order of the coefficients: the dependent variable's first, otherwise as listed
        order = sorted(random.permutation(len(terms)).tolist(), key=lambda i: terms[i][0] != 1)
    listed = [(*terms[i], 0) for i in order]
    listed.insert(len(listed) if shuffled else 0, (1, 0, 1 if shuffled else 0))
    b, cov = [values[i] for i in order], [[V[i][j] for j in order] for i in order]
    if excluded:
        listed.append((99, 0, 1))
        b.append(5.0)
        cov = [row + [0.5] for row in cov] + [[0.5] * len(order) + [1.0]]
    cases.case("FnComfac", name, *([[float(t[i]) for t in listed] for i in range(3)]), b, cov, c, 1, None, None)
    results = [wald(orders, [mpf(v) for v in values], V, c, r) for r in range(min(orders), 0, -1)]
    cases.value(-1, 0, 0)
    cases.value(7, tolerance, [[w for w, _ in results]])
    cases.value(8, 0, [[n for _, n in results]])
    return [w for w, _ in results]


def product(*factors):
    out = [1.0]
    for f in factors:
        out = numpy.convolve(out, f)
    return rounded(out, 12)


comfac("order-1", [1, 1], 0.5)
comfac("order-1-three-variables", [1, 1, 1], 1.0, shuffled=True, excluded=True)
comfac("order-2", [2, 2], 2.0)
comfac("order-2-three-variables", [2, 2, 2], 0.3, shuffled=True)
comfac("orders-2-3-4", [3, 2, 4], 0.1, excluded=True)
comfac("order-3", [3, 3], 1.0)
comfac("order-3-four-variables", [3, 3, 3, 3], 1.0)
comfac("orders-1-3", [3, 1])
comfac("common-factor", [1, 1], coefficients=[0.5, 2.0, -1.0], tolerance=1e-12)
common = comfac("two-common-factors", [3, 2, 3], tolerance=1e-12,
                coefficients=product([-1, 0.5], [1, 0.4], [1, -0.3])[1:] + product([0.8], [1, 0.4], [1, -0.3])
                + product([1, 0.9], [1, 0.4], [1, -0.3]))
assert max(common) < 1e-12


# Encompassing

def encompassing(name, T, first, second, data):
    """Models: the rows of endogenous regressors, exogenous regressors and additional instruments; row 0 is y."""
    mpmath.mp.dps = 40
    arguments, X, Z = [], [], []
    for endogenous, exogenous, extra in (first, second):
        arguments += [[data[i] for i in (0, *endogenous, *exogenous, *extra)], 1 + len(endogenous), len(exogenous),
                      len(extra)]
        X.append([*endogenous, *exogenous])
        Z.append([*exogenous, *extra])
    cases.case("FnEncompassing", name, *arguments, None, None, None)
    joint = list(dict.fromkeys(X[0] + X[1]))
    everything = Z[0] + Z[1]
    union = [i for i, z in enumerate(everything) if z not in everything[:i]]
    matrix = lambda rows: mpmath.matrix([data[i] for i in rows]).T
    project = lambda a: a * (a.T * a) ** -1 * a.T
    P, y = project(matrix([everything[i] for i in union])), matrix([0])
    form = lambda m: (y.T * m * y)[0]
    fit, residual = [], []
    for rows in (*X, joint):
        x = matrix(rows)
        fit.append(project(P * x))
        u = y - x * ((x.T * P * x) ** -1 * (x.T * P * y))
        residual.append((u.T * u)[0] / (T - len(rows)))
    yy, s, q = form(mpmath.eye(T)), residual, [form(f) for f in fit]
    columns = []
    for i, j in ((0, 1), (1, 0)):
        back = fit[i] * fit[j] * fit[i]
        c, d = form(back), form(back * back)
        cox = mpmath.sqrt(T) / 2 * mpmath.log((yy - q[j]) / (yy - c)) * (yy - c)
        columns.append([(form(P) - q[i]) / s[i], cox / mpmath.sqrt((T - len(X[i])) * s[i] * (c - d)),
                        max((q[2] - q[i]) / (len(joint) - len(X[i])) / s[2], 0),
                        (q[j] - c) / mpmath.sqrt(4 * s[i] * (c - d)), mpmath.sqrt(s[i])])
    statistics = [v for pair in zip(*columns) for v in pair] + [mpmath.sqrt(s[2])]
    cases.value(-1, 0, 0)
    cases.value(8, 1e-11, [statistics])
    cases.value(9, 0, [[float(i) for i in union]])
    cases.value(10, 0, len(joint))
    if not first[0] and not second[0] and not first[2] and not second[2]:
        numbers = numpy.array(data, float)
        full = sm.OLS(numbers[0], numbers[joint].T).fit()
        for i, rows in enumerate(X):
            small = sm.OLS(numbers[0], numbers[rows].T).fit()
            assert abs(full.compare_f_test(small)[0] - statistics[4 + i]) < 1e-10
            assert abs(small.mse_resid ** 0.5 - statistics[8 + i]) < 1e-12


T = 18
rows = random.standard_normal((8, T))
rows[1] += 0.8 * rows[3] + 0.5 * rows[5]
rows[2] += 0.7 * rows[4] - 0.6 * rows[6]
rows[0] += 1 + 0.6 * rows[1] + 0.4 * rows[2] + 0.5 * rows[3]
data = rounded(rows) + [[1.0] * T]
encompassing("least-squares", T, ([], [8, 1, 3], []), ([], [8, 2, 4], []), data)
encompassing("instruments", T, ([1], [8, 3], [4, 5]), ([2], [8, 6], [5, 7]), data)
encompassing("endogenous-in-one", T, ([1], [8], [3, 5]), ([], [4, 8, 2], []), data)

cases.write()
