#!/usr/bin/python3
"""Writes tests/data/forecast_reference.txt: forecasts with standard errors, and impulse responses.

A VAR(4) of 100 times the logs of output, consumption and investment, 1959-2009, comes from statsmodels. A system of two
growth rates, fitted to the same data, is forecast in 50 digits (mpmath): the derivatives with respect to coefficients
and starting values are differences of the whole recursion, identities included.
"""

import pathlib

import mpmath
import numpy
import pandas
import statsmodels
from mpmath import mpf
from statsmodels.tsa.api import VAR

from reference_cases import Cases

mpmath.mp.dps = 50
STEP = mpf(10) ** -20
ROOT = pathlib.Path(__file__).resolve().parent.parent
cases = Cases(ROOT / "tests" / "data" / "forecast_reference.txt",
              "Written by tools/forecast_reference.py with "
              f"statsmodels {statsmodels.__version__}, mpmath {mpmath.__version__}.")
frame = pandas.read_csv(ROOT / "tests" / "data" / "us_macro.csv")
macro = 100 * numpy.log(frame[["realgdp", "realcons", "realinv"]]).values
random = numpy.random.default_rng(3)


def descriptors(variables, lags, others):
    """Each variable with lag 0, its lags, then the others: identities, kind codes and lags, one row each."""
    rows = [(v, 5, lag) for v in range(variables) for lag in range(lags + 1)]
    rows += [(100 + i, 9, 0) for i in range(others)]
    return [[list(row)] for row in zip(*rows)]


def package():
    fit = VAR(macro).fit(4)
    # Regressors: lags 1 to 4 of each variable in turn, then the constant.
    pi = [[fit.coefs[lag][i][v] for v in range(3) for lag in range(4)] + [fit.intercept[i]] for i in range(3)]
    start, steps = 6, 24
    y, x = macro[-start:].T, [[0.0] * (start + steps)] * 12 + [[1.0] * (start + steps)]
    system = (y, x, start, 10 ** 6, 0, 5, 6, *descriptors(3, 4, 1), pi, fit.sigma_u)
    cases.case("FnDynForc", "var4", *system, 0, 0, 0, 0, None, 0, 0)
    cases.value(-1, 1e-12, fit.forecast(macro[-4:], steps).T)
    cases.value(16, 1e-12, numpy.sqrt([numpy.diag(m) for m in fit.forecast_cov(steps)]).T)

    psi, orthogonal = fit.ma_rep(9), fit.orth_ma_rep(9)
    shock, square = [[0.5, -1.0, 0.25]], [[0.3, 0.1, 0.0], [-0.2, 1.5, 0.4], [0.0, 0.2, 0.7]]
    factor = numpy.linalg.cholesky(fit.sigma_u[:2, :2])
    system = (y, x, 4, 13, 1, 5, 6, *descriptors(3, 4, 1), pi, fit.sigma_u)
    mapped = (*system[:4], 0, *system[5:11], fit.sigma_u[:2, :2], square)
    for name, arguments, responses in (
            ("unit", (*system, 0, 0, 1, 0), psi[:, :, 1]),
            ("standard_error", (*system, 0, 0, 2, 1), psi[:, :, 2] * numpy.sqrt(fit.sigma_u[2, 2])),
            ("orthogonal", (*system, 0, 0, 1, 2), orthogonal[:, :, 1]),
            ("given", (*system, 0, shock, 0, 3), psi @ shock[0]),
            ("mapped", (*mapped, 0, 0, 2), -psi @ square @ numpy.append(factor[:, 0], 0.0))):
        cases.case("FnImpulse", name, *arguments)
        cases.value(-1, 1e-12, responses.T)


class System:
    """Two variables, their lags (LAGS tells which regressor is which), a constant and another regressor."""
    LAGS = [(0, 1), (0, 2), (1, 1)]

    def __init__(self, lags=True):
        sample = numpy.diff(macro[:, :2] if lags else macro[:, 1:], axis=0)
        z = [[sample[t - lag, v] for v, lag in self.LAGS] if lags else [] for t in range(2, len(sample))]
        cycle = numpy.round(numpy.cos(0.4 * numpy.arange(len(sample) + 20)), 3)
        z = numpy.column_stack([z, numpy.ones(len(z)), cycle[2:len(sample)]] if lags else
                               [numpy.ones(len(z)), cycle[2:len(sample)]])
        beta, *_ = numpy.linalg.lstsq(z, sample[2:], rcond=None)
        residuals = sample[2:] - z @ beta
        self.lags = self.LAGS if lags else []
        self.pi = beta.T.round(4)
        self.omega = (residuals.T @ residuals / len(z)).round(4)
        self.v = numpy.kron(self.omega, numpy.linalg.inv(z.T @ z)).round(9)
        first = len(sample) - 10
        self.y = sample[first:first + 10].T.round(3)
        self.exogenous = [[1.0] * 16, [float(c) for c in cycle[first:first + 16]]]

    def forecast(self, pi, history, a, b, identities, first):
        """Columns a to b from the columns before a, then the identities of the columns from `first` to b."""
        y = [list(map(mpf, row[:a])) for row in history]
        for t in range(a, b + 1):
            x = [y[v][t - lag] for v, lag in self.lags] + [mpf(row[t]) for row in self.exogenous]
            new = [sum(p * q for p, q in zip(row, x)) for row in pi]
            for row, value in zip(y, new):
                row.append(value)
        return y + (identities(y, first, b) if identities else [])

    def at(self, pi, history, a, t, identities, first):
        return [row[t] for row in self.forecast(pi, history, a, t, identities, first)]

    def derivative(self, function, values):
        """Columns: the derivatives of a vector function with respect to each value."""
        def moved(i, sign):
            return function([v + sign * STEP if j == i else v for j, v in enumerate(values)])
        columns = [[(p - m) / (2 * STEP) for p, m in zip(moved(i, 1), moved(i, -1))] for i in range(len(values))]
        return mpmath.matrix(columns).T

    def errors(self, a, t, identities, v, q):
        """Standard errors at t of a pass that begins at a."""
        pi = [list(map(mpf, row)) for row in self.pi]
        history = [[mpf(x) for x in row] for row in self.y]
        nY, width = len(pi), len(pi[0])
        omega = mpmath.matrix(self.omega.tolist())

        def disturbed(values):  # the last columns before the forecasts
            changed = [row[:a - 1] + [x] for row, x in zip(history, values)]
            return lambda at: self.at(pi, changed, a, at, identities, a - 1)

        base = self.forecast(pi, history, a, a, identities, a)
        known = [row[:a] for row in base[:nY]]

        def first_identities(values):
            rows = [row + [x] for row, x in zip(known, values)]
            return values + [row[a] for row in (identities(rows, a, a) if identities else [])]

        jacobians = [self.derivative(first_identities, [row[a] for row in base[:nY]])]
        last = [row[a - 1] for row in history]
        jacobians += [self.derivative(lambda values, at=at: disturbed(values)(at), last) for at in range(a, t)]
        total = sum((j * omega * j.T for j in jacobians), jacobians[0] * 0 * omega * jacobians[0].T)
        if v is not None:
            def coefficients(flat):
                rows = [flat[i * width:(i + 1) * width] for i in range(nY)]
                return self.at(rows, history, a, t, identities, a - 1)
            d = self.derivative(coefficients, [p for row in pi for p in row])
            d = d if q is None else d * mpmath.matrix(q.tolist())
            total += d * mpmath.matrix(v.tolist()) * d.T
        return [mpmath.sqrt(total[r, r]) for r in range(total.rows)]

    def case(self, name, t1, t2, h=0, v=None, q=None, identities=None, known=None, tolerance=1e-12):
        known = t1 if known is None else known
        zeros = [[0.0] * 16] * len(self.lags)
        # Variable 1 comes first in the descriptors but has the second kind: it is endogenous row 1 all the same.
        rows = [(v, 6 - (v == 0), lag) for v in (1, 0) for lag in [0] + [l for w, l in self.lags if w == v]]
        rows = [[list(row)] for row in zip(*rows, (100, 9, 0), (101, 9, 0))]
        cases.case("FnDynForc", name, self.y[:, :known], zeros + self.exogenous, t1, t2, 0, 5, 6, *rows, self.pi,
                   self.omega, 0 if v is None else v, 0 if q is None else q, 0 if q is None else q.shape[1], h, None,
                   int(identities is not None), t1 - 1)
        pi = [list(map(mpf, row)) for row in self.pi]
        starts = [t1 if h <= 0 or t < t1 + h else t - h + 1 for t in range(t1, t2 + 1)]
        spans = list(zip(starts, range(t1, t2 + 1)))
        values = [self.at(pi, self.y, a, t, identities, a) for a, t in spans]
        errors = [self.errors(a, t, identities, v, q) for a, t in spans]
        count = len(errors[0])
        cases.value(-1, 1e-12, [[column[r] for column in values] for r in range(count)])
        cases.value(16, tolerance, [[column[r] for column in errors] for r in range(count)])


def identities(history):
    """Of growth rates a and b in percent: a smooth function, a sum of two observations, and the level of b, from 100 at
    observation 0 and known before the forecasts."""
    def evaluate(y, first, b):
        level = {0: mpf(100)}
        for t in range(1, b + 1):
            level[t] = level[t - 1] * mpmath.exp((mpf(history[1][t]) if t < first else y[1][t]) / 100)
        functions = (lambda t: y[0][t] / (3 + y[1][t] ** 2), lambda t: y[1][t] + y[1][t - 1], lambda t: level[t])
        return [[None] * first + [function(t) for t in range(first, b + 1)] for function in functions]
    return evaluate


def without_level(history, t1):
    """Of what precedes a pass, the workspace has the column before t1 alone, whichever column the pass begins at."""
    def evaluate(y, first, b):
        smooth, two, _ = identities(history)(y, first, b)
        two[first] += mpf(history[1][t1 - 1]) - y[1][first - 1]
        return [smooth, two]
    return evaluate


package()
s = System()
s.case("dynamic", 6, 12)
s.case("coefficients", 6, 12, v=s.v)
q = random.integers(-1, 2, (10, 4)).astype(float)
half = random.standard_normal((4, 4)).round(2)
s.case("restricted", 6, 11, v=(half @ half.T * 1e-3).round(6), q=q)
s.case("static", 4, 9, h=1, v=s.v, known=10)
s.case("three_step", 4, 10, h=3, v=s.v, known=8)
s.case("three_step_of_three", 4, 6, h=3, v=s.v)
none = System(lags=False)
none.case("no_lags", 3, 6, v=none.v)
s.case("identities", 6, 10, identities=identities(s.y), tolerance=1e-8)
s.case("identities_coefficients", 6, 10, v=s.v, identities=identities(s.y), tolerance=1e-8)
s.case("identities_two_step", 5, 8, h=2, v=s.v, identities=without_level(s.y, 5), known=8, tolerance=1e-8)
s.case("identities_static", 5, 8, h=1, v=s.v, identities=without_level(s.y, 5), known=9, tolerance=1e-8)
cases.write()
