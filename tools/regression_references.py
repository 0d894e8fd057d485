#!/usr/bin/python3
"""Writes tests/data/regression_data.csv and tests/data/regression_references.txt: calls of the regression exports and
their results by 40-digit arithmetic, R's strucchange and statsmodels.

usage: tools/regression_references.py

Needs python3-statsmodels, python3-mpmath, r-base-core and r-cran-strucchange. The data are growth rates of US quarterly
series (100 times the logarithm's difference, rounded to 4 decimals; observation 0 is 1959(3), the first with a lag): c
consumption, i income, v investment, r the bill rate, their lags c1, i1, v1, r1, a constant and seasonal dummies. `e`
holds the least squares residuals of c on one, i, c1.
"""

import csv
import math
import pathlib
import subprocess
import tempfile

import mpmath as mp
import numpy as np
import statsmodels
import statsmodels.api as sm
from statsmodels.sandbox.regression.gmm import IV2SLS
from statsmodels.stats.diagnostic import breaks_hansen
from statsmodels.stats.sandwich_covariance import S_hac_simple

from reference_cases import Cases

FOLDER = pathlib.Path(__file__).resolve().parent.parent / "tests" / "data"
LAST = 200
R_CODE = r"""
suppressMessages(library(strucchange))
d <- read.csv(commandArgs(TRUE)[1], header = FALSE)
m <- lm(V1 ~ 0 + ., data = d)
e <- residuals(m)
scores <- cbind(model.matrix(m) * e, e^2 - mean(e^2))
L <- sapply(seq_len(ncol(scores)), function(j)
  sctest(gefp(m, fit = NULL, scores = function(o) scores[, j, drop = FALSE]), functional = meanL2BB)$statistic)
cat("R ", R.version$major, ".", R.version$minor, ", strucchange ", as.character(packageVersion("strucchange")), "\n",
    sep = "")
cat(format(recresid(as.matrix(d[, -1]), d[, 1]), digits = 17), "\n")
cat(format(L, digits = 17), "\n")
"""
mp.mp.dps = 40


def read(name):
    with open(FOLDER / name, newline="") as file:
        rows = list(csv.DictReader(file))
    return {name: [mp.mpf(row[name]) for row in rows] for name in rows[0]}


def growth_data(macro):
    """The columns of regression_data.csv but e, as decimals."""
    series = {}
    for name, source in (("c", "realcons"), ("i", "realdpi"), ("v", "realinv")):
        growth = [round(100 * (math.log(b) - math.log(a)), 4) for a, b in zip(macro[source], macro[source][1:])]
        series[name], series[name + "1"] = growth[1:], growth[:-1]
    series["r1"] = [float(v) for v in macro["tbilrate"][1:-1]]
    series["one"] = [1] * (LAST + 1)
    for s in range(3):
        series[f"s{s}"] = [int(t % 4 == s) for t in range(LAST + 1)]
    return series


def text(value):
    return "nan" if mp.isnan(value) else mp.nstr(mp.mpf(value), 17)


class Case:
    """One call and the values expected of it."""

    def __init__(self, out, name, bound, *lines):
        """lines: arguments as they stand in the file."""
        self.out, self.bound = out, f"{bound:g}"
        out.lines.append("case " + name)
        out.lines += ["  " + line for line in lines]

    def value(self, target, row, column, value, floor=0):
        self.out.cell(target, self.bound, row, column, text(value), mp.nstr(floor, 3) if floor else None)


def columns(names, last=None, word="csv", file="regression_data.csv"):
    part = [] if last is None else [f"0-{last}"]
    return " ".join([word, file, *part, *("1" if name == "one" else name for name in names)])


def literal(rows):
    return f"m {len(rows)} {len(rows[0])} " + " ".join(text(v) for row in rows for v in row)


def cross(a, b, first, last):
    """Sum of a(t)' b(t) over lists of columns."""
    return mp.matrix([[mp.fdot(u[first:last + 1], v[first:last + 1]) for v in b] for u in a])


class Fit:
    """Two-stage least squares of each column of y on x with instruments w; least squares for w = x."""

    def __init__(self, y, x, w, first, last):
        self.y, self.x = y, x
        proj = cross(x, w, first, last) * cross(w, w, first, last)**-1
        self.inverse = (proj * cross(w, x, first, last))**-1
        self.beta = self.inverse * proj * cross(w, y, first, last)
        self.e = [[y[j][t] - sum(x[i][t] * self.beta[i, j] for i in range(len(x))) for t in range(len(y[j]))]
                  for j in range(len(y))]
        self.cross = cross(self.e, self.e, first, last)

    def scale(self, t):
        v = mp.matrix([column[t] for column in self.x])
        return mp.sqrt(1 + (v.T * self.inverse * v)[0])


def steps(first, exact):
    """The observations to look at: the first ones, those around the exact steps, and every 15th."""
    near = {t + d for t in exact for d in (-1, 0, 1)}
    return sorted(t for t in {first, first + 1, first + 2, LAST} | near | set(range(first, LAST, 40))
                  if first <= t <= LAST)


def rls(out, data, y, x, t1, exactAt, bound, **source):
    case = Case(out, "FnRlsEst", bound, columns(y, **source), columns(x, **source),
                f"i {t1} i {LAST} i {exactAt} o o o o o o o")
    case.value(-1, 0, 0, 1)
    k, n, size = len(x), len(y), LAST - t1 + 1
    Y, X = [data[v] for v in y], [data[v] for v in x]
    exact = {t for t in range(t1 + k, LAST + 1, 50)} | {exactAt}
    for target, rows in ((5, n * k), (6, k), (7, n), (11, 1)):
        case.value(target, rows - 1, t1 + k - 1, mp.nan)
    for t in steps(t1 + k, exact):
        before, fit = Fit(Y, X, X, t1, t - 1), Fit(Y, X, X, t1, t)
        scale = (fit if t in exact else before).scale(t)
        for j in range(n):
            for i in range(k):
                error = mp.sqrt(fit.cross[j, j] * fit.inverse[i, i] / (t - t1 + 1 - k))
                case.value(5, j * k + i, t, fit.beta[i, j], error)
            level = abs(Y[j][t])
            case.value(7, j, t, before.e[j][t] / scale, level / scale)
            case.value(8, j, t, before.e[j][t], level)
            case.value(9, j, t, fit.cross[j, j])
            case.value(10, j, t, fit.e[j][t], level)
        for i in range(k):
            case.value(6, i, t, fit.inverse[i, i])
        singular = t - t1 + 1 - k < n
        case.value(11, 0, t, mp.nan if singular else -mp.log(mp.det(fit.cross / size)) / 2, 1)
    return case


def riv(out, data, y, endogenous, exogenous, instruments, t1, nInit):
    names = [y] + endogenous + exogenous + instruments
    k = len(endogenous + exogenous)
    case = Case(out, "FnRivEst", 1e-11, columns(names, word="rows"),
                f"i {len(endogenous) + 1} i {k} i {len(instruments)} i {t1} i {LAST} i {nInit} o o o o o o")
    case.value(-1, 0, 0, 1)
    X, W = [data[v] for v in endogenous + exogenous], [data[v] for v in exogenous + instruments]
    first = t1 + nInit - 1
    for target, missing in ((7, first - 1), (8, first - 1), (9, first), (10, first), (11, first - 1), (12, first - 1)):
        case.value(target, 0, missing, mp.nan)
    for t in steps(first, range(first, LAST, 50)):
        fit = Fit([data[y]], X, W, t1, t)
        for i in range(k):
            case.value(7, i, t, fit.beta[i, 0], mp.sqrt(fit.cross[0] * fit.inverse[i, i] / (t - t1)))
            case.value(8, i, t, fit.inverse[i, i])
        case.value(11, 0, t, fit.cross[0])
        case.value(12, 0, t, fit.e[0][t], abs(data[y][t]))
        if t < LAST:
            case.value(9, 0, t + 1, fit.e[0][t + 1] / fit.scale(t + 1), 0.1)
            case.value(10, 0, t + 1, fit.e[0][t + 1], 0.1)
    return case


def collinear(out, data):
    """Twice the same regressor: always exact, and the second is dropped."""
    case = Case(out, "FnRlsEst", 1e-12, columns(["c"]), columns(["i", "i"]), "i 0 i 70 i -1 o o o x x x x")
    for t in (2, 3, 10, 53, 70):
        before, fit = (Fit([data["c"]], [data["i"]], [data["i"]], 0, last) for last in (t - 1, t))
        for row, column, value in ((5, 0, fit.beta[0]), (5, 1, 0), (6, 0, fit.inverse[0]), (6, 1, mp.nan)):
            case.value(row, column, t, value)
        case.value(7, 0, t, before.e[0][t] / fit.scale(t), 0.1)


def longley(out, data):
    """The certified coefficients of NIST's StRD, confirmed by the 40-digit ones."""
    names = ["one", "GNPDEFL", "GNP", "UNEMP", "ARMED", "POP", "YEAR"]
    certified = [-3482258.63459582, 15.0618722713733, -0.0358191792925910, -2.02022980381683, -1.03322686717359,
                 -0.0511041056535807, 1829.15146461355]
    fit = Fit([data["TOTEMP"]], [data[v][:16] for v in names], [data[v][:16] for v in names], 0, 15)
    case = Case(out, "FnRlsEst", 2e-4, columns(["TOTEMP"], file="longley.csv"), columns(names, file="longley.csv"),
                "i 0 i 15 i -1 o o o o o o o")
    for i, value in enumerate(certified):
        assert abs(fit.beta[i] / value - 1) < 1e-14
        case.value(5, i, 15, value)


def rals(out, data, lagFirst, lagLast, horizon):
    y, x = data["c"], [data[v] for v in ("one", "i", "c1")]
    lags = range(lagFirst, lagLast + 1)
    theta = [mp.mpf(v) for v in (0.4, 0.3, 0.2)] + [mp.mpf(0.3 / lag) for lag in lags]
    size = len(theta)

    def errors(parameters):
        u = [y[t] - mp.fdot(parameters[:3], (v[t] for v in x)) for t in range(LAST + 1)]
        return u[:lagLast] + [u[t] - mp.fdot(parameters[3:], (u[t - lag] for lag in lags))
                              for t in range(lagLast, LAST + 1)]

    e = errors(theta)
    # Innovations are linear in each parameter: differences give their derivatives exactly.
    moved = [errors(theta[:p] + [theta[p] + 1] + theta[p + 1:]) for p in range(size)]
    d = [[a - b for a, b in zip(e, other)] for other in moved]
    arguments = [literal([theta]), columns(["c"]), columns(["one", "i", "c1"])]
    case = Case(out, "FnRalsFunc", 1e-11, *arguments, f"i {lagFirst} i {lagLast} o o o")
    case.value(-1, 0, 0, mp.fdot(e[lagLast:], e[lagLast:]))
    for t in range(0, LAST + 1, 40):
        case.value(5, t, 0, e[t], 0.1)
    for p in range(size):
        case.value(6, p, 0, -2 * mp.fdot(d[p][lagLast:], e[lagLast:]), 1)
        for q in range(size):
            case.value(7, p, q, 2 * mp.fdot(d[p][lagLast:], d[q][lagLast:]), 1)

    D = cross(d, d, lagLast, LAST)**-1
    covariance = [[round(float(D[p, q]), 6) + (p == q) for q in range(size)] for p in range(size)]
    case = Case(out, "FnRalsForecast", 1e-11, *arguments, f"i {lagFirst} i {lagLast} i {horizon}", literal(covariance), "o o")
    for t in range(LAST + 1 - horizon, LAST + 1):
        v = mp.matrix([series[t] for series in d])
        case.value(7, t - LAST - 1 + horizon, 0, e[t], 0.1)
        case.value(8, t - LAST - 1 + horizon, 0, mp.sqrt(1 + (v.T * mp.matrix(covariance) * v)[0]))
    g = cross(d, [e], LAST + 1 - horizon, LAST)
    case.value(-1, 0, 0, (g.T * D * g)[0])


def jackknife(out, data):
    """(T - 1) / T times the outer products of the leave-one-out coefficients' deviations from their mean."""
    names, T = ["one", "i", "c1"], LAST + 1
    X = [data[v] for v in names]
    fit = Fit([data["c"]], X, X, 0, LAST)
    xx, xy = cross(X, X, 0, LAST), cross(X, [data["c"]], 0, LAST)
    left = []
    for t in range(T):
        v = mp.matrix([column[t] for column in X])
        left.append(mp.lu_solve(xx - v * v.T, xy - v * data["c"][t]))
    mean = sum(left, mp.zeros(3, 1)) / T
    covariance = sum(((b - mean) * (b - mean).T for b in left), mp.zeros(3)) * (T - 1) / T
    inverse = [[fit.inverse[i, j] for j in range(3)] for i in range(3)]
    case = Case(out, "FnJackknifeHCSE", 1e-11, columns(names), columns(["e"]), literal(inverse))
    for i in range(3):
        for j in range(3):
            case.value(-1, i, j, covariance[i, j], 1e-6)


def autocovariances(out, data, first, second, hac):
    """The direct double sum, moments ordered with the second factor running fastest."""
    g = [[a * b for a, b in zip(data[p], data[q])] for p in first for q in second]
    lags = 4 if hac else 0  # 4 (201 / 100)^(2/9) = 4.67
    case = Case(out, "FnGLScovariance", 1e-12, columns(first), columns(second), f"i {hac}")
    for p, u in enumerate(g):
        for q, v in enumerate(g):
            total = mp.fsum((1 - mp.mpf(abs(t - s)) / (lags + 1)) * u[t] * v[s] for t in range(LAST + 1)
                            for s in range(max(t - lags, 0), min(t + lags, LAST) + 1))
            case.value(-1, p, q, total, 1)


def packages(out, data):
    """Values of other packages for c on one, i, c1."""
    y = np.array([float(v) for v in data["c"]])
    x = np.array([[float(v) for v in data[name]] for name in ("one", "i", "c1")]).T
    with tempfile.NamedTemporaryFile("w", suffix=".csv") as file, tempfile.NamedTemporaryFile("w", suffix=".R") as code:
        np.savetxt(file, np.column_stack([y, x]), fmt="%.17g", delimiter=",")
        code.write(R_CODE)
        file.flush()
        code.flush()
        reply = subprocess.run(["Rscript", code.name, file.name], check=True, capture_output=True, text=True).stdout
    version, recursive, statistics = (line.split() for line in reply.splitlines())
    ols, results = sm.OLS(y, x).fit(), sm.RecursiveLS(y, x).fit()

    version = " ".join(version)
    out.comment(f"{version} (recresid), statsmodels {statsmodels.__version__} (RecursiveLS)")
    case = Case(out, "FnRlsEst", 1e-10, columns(["c"]), columns(["one", "i", "c1"]), f"i 0 i {LAST} i -1 o x o x x x x")
    for t in range(5, LAST, 9):  # rank-one steps: their scale is the one of the packages
        case.value(7, 0, t, mp.mpf(recursive[t - 3]))
        for i in range(3):
            case.value(5, i, t, results.recursive_coefficients.filtered[i, t], 0.01)
    out.comment(f"{version} (gefp, meanL2BB), statsmodels {statsmodels.__version__} (breaks_hansen)")
    case = Case(out, "FnInstabilityTest", 1e-10, columns(["one", "i", "c1"]), columns(["e"]), f"d {ols.ssr!r} o")
    case.value(-1, 0, 0, breaks_hansen(ols)[0])
    for i, value in enumerate(statistics):
        case.value(3, 0, i, mp.mpf(value))
    out.comment(f"statsmodels {statsmodels.__version__} (IV2SLS, S_hac_simple)")
    stages = IV2SLS(y, x, np.column_stack([x[:, [0, 2]], [float(v) for v in data["i1"]]])).fit()
    case = Case(out, "FnRivEst", 1e-10, columns(["c", "i", "one", "c1", "i1"], word="rows"),
                f"i 2 i 3 i 1 i 0 i {LAST} i 20 o x x x x x")
    for i, value in enumerate(stages.params):
        case.value(7, (1, 0, 2)[i], LAST, value)
    case = Case(out, "FnGLScovariance", 1e-10, columns(["one", "i", "c1"]), columns(["e"]), "i 1")
    for (i, j), value in np.ndenumerate(S_hac_simple(x * ols.resid[:, None], nlags=4)):
        case.value(-1, i, j, value)


def main():
    macro = read("us_macro.csv")
    series = growth_data(macro)
    data = {**macro, **read("longley.csv"), **{k: [mp.mpf(str(v)) for v in column] for k, column in series.items()}}
    # Decimals are doubles to the exports.
    data = {k: [mp.mpf(float(v)) for v in column[:LAST + 1]] for k, column in data.items()}
    X = [data[v] for v in ("one", "i", "c1")]
    series["e"] = [float(v) for v in Fit([data["c"]], X, X, 0, LAST).e[0]]
    data["e"] = [mp.mpf(v) for v in series["e"]]
    with open(FOLDER / "regression_data.csv", "w", newline="") as file:
        out = csv.writer(file, lineterminator="\n")
        out.writerow(series)
        out.writerows(zip(*series.values()))

    out = Cases(FOLDER / "regression_references.txt",
                f"Written by tools/regression_references.py; mpmath {mp.__version__}, 40 digits, where not told.")
    rls(out, data, ["c", "i"], ["one", "c1", "i1", "r1", "s0", "s1", "s2"], 0, 77, 1e-12)
    rls(out, data, ["c"], ["one", "i", "c1"], 3, -1, 1e-12)
    # (X'X)^-1 X'y squares the condition number.
    rls(out, data, ["realcons"], ["one", "realdpi"], 0, 9, 3e-9, last=LAST, file="us_macro.csv")
    collinear(out, data)
    longley(out, data)
    riv(out, data, "c", ["i"], ["one", "c1"], ["i1", "r1", "v1"], 0, 12)
    riv(out, data, "c", ["i"], ["one", "c1"], ["i1"], 5, 30)
    riv(out, data, "c", [], ["one", "i", "c1"], ["r1"], 0, 10)
    for lagFirst, lagLast in ((1, 0), (1, 2), (4, 4), (2, 5)):
        rals(out, data, lagFirst, lagLast, 5)
    jackknife(out, data)
    autocovariances(out, data, ["one", "i"], ["e", "v"], 0)
    autocovariances(out, data, ["one", "i"], ["e", "v"], 1)
    packages(out, data)
    out.write()


main()
