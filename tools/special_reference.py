#!/usr/bin/python3
"""Writes tests/special/reference.h: values of the special functions, worked in 50 digits.

usage: tools/special_reference.py > tests/special/reference.h

Arguments are doubles (taken exactly) on grids that cover every branch and both sides of each boundary.
"""

from mpmath import (betainc, erfc, erfinv, exp, findroot, gamma, gammainc, inf, log, loggamma, log1p, mp, mpf, pi, psi,
                    quad, sqrt)

mp.dps = 50


def normal_tail(x, *_):
    return erfc(x / sqrt(mpf(2))) / 2


def upper_gamma(x, p, *_):
    return gammainc(p, x, inf, regularized=True)


def chi_tail(x, df, *_):
    return upper_gamma(x / 2, df / 2)


def beta_upper(t, b, a):
    return betainc(b, a, 0, t, regularized=True)


def student_tail(t, df, *_):
    tail = beta_upper(df / (df + t * t), df / 2, mpf(1) / 2) / 2
    return tail if t >= 0 else 1 - tail


def f_tail(x, n, m):
    return beta_upper(m / (x * n + m), m / 2, n / 2)


def f_tail_many(x, n, m):
    """The integral of the beta density, for degrees of freedom beyond the reach of the hypergeometric series."""
    a, b = n / 2, m / 2
    log_beta = loggamma(a) + loggamma(b) - loggamma(a + b)
    sd = sqrt(a * b / (a + b + 1)) / (a + b)
    start = a * x / (b + a * x)
    nodes = [start + k * sd for k in (0, 0.5, 1, 2, 3, 4, 6, 8, 10, 12, 14)]
    return quad(lambda t: exp((a - 1) * log(t) + (b - 1) * log1p(-t) - log_beta), nodes)


def student_density(x, df, *_):
    return exp(loggamma(df / 2 + 0.5) - loggamma(df / 2) - log(df * pi) / 2 - (df / 2 + 0.5) * log1p(x * x / df))


def chi_density(x, df, *_):
    return exp((df / 2 - 1) * log(x) - x / 2 - df / 2 * log(mpf(2)) - loggamma(df / 2))


def f_density(x, n, m):
    a, b = n / 2, m / 2
    log_beta = loggamma(a) + loggamma(b) - loggamma(a + b)
    return exp(a * log(a / b) + (a - 1) * log(x) - (a + b) * log1p(a * x / b) - log_beta)


def normal_quantile(p, *_):
    if p < mpf(10) ** -20:
        return findroot(lambda x: log(normal_tail(-x)) - log(p), -sqrt(-2 * log(p)))
    return sqrt(mpf(2)) * erfinv(2 * p - 1)


def inverse(tail):
    """The quantile at p, by bisection in log x."""

    def quantile(p, a, b):
        low, high = mpf(10) ** -20, mpf(10) ** 20
        for _ in range(180):
            middle = sqrt(low * high)
            low, high = (middle, high) if 1 - tail(middle, a, b) < p else (low, middle)
        return sqrt(low * high)

    return quantile


def student_quantile(p, df, *_):
    return inverse(student_tail)(p, df, 0) if p > 0.5 else -inverse(student_tail)(1 - p, df, 0)


def entries(name, function, points):
    print(f"inline constexpr Reference k{name}[] = {{")
    line = "   "
    for point in points:
        point = tuple(float(v) for v in point) + (0.0,) * (3 - len(point))
        numbers = [float(function(*(mpf(v) for v in point))), *point]
        while numbers[-1] == 0:
            numbers.pop()
        entry = " {" + ", ".join(f"{v:.15g}" if float(f"{v:.15g}") == v else repr(v) for v in numbers) + "},"
        if len(line) + len(entry) > 120:
            print(line)
            line = "   "
        line += entry
    print(line + "};")


def grid(*columns):
    points = [()]
    for column in columns:
        points = [p + (v,) for p in points for v in column]
    return points


print("""// Values of the special functions, worked in 50 digits.
//
// Written by tools/special_reference.py.
#pragma once

struct Reference {
  double value = 0;
  double x = 0, a = 0, b = 0;
};

// clang-format off""")

NORMAL = (0.3, 0.42, 0.43, 1.414, 2.45, 3.11, 3.112, 4.3, 9.75)
entries("NormalTail", normal_tail, [(x,) for x in NORMAL])
entries("NormalFarTail", normal_tail, [(x,) for x in (9.76, 12, 20, 30, 36.3)])
entries("LogGamma", lambda x, *_: loggamma(x), [(x,) for x in (
    1e-300, 1e-8, 0.5, 0.9, 1.7, 2.3, 8.4, 8.6, 10.5, 50, 50.5, 51, 171.3, 1e10, 1e300)])
entries("Gamma", lambda x, *_: gamma(x), [(x,) for x in (
    0.05, 0.2, 0.5, 0.7, 0.95, 7.3, 19.9)])
entries("GammaBeyond", lambda x, *_: gamma(x), [(x,) for x in (20.5, 170.5, -0.5, -1.0001, -19.75, -170.5, -1e-200)])
entries("Polygamma", lambda x, n, *_: psi(int(n), x), grid((1e-3, 1, 8.4, 60), (0, 1, 4, 30)))
entries("UpperGamma", upper_gamma, grid((0.01, 0.9, 5, 40), (0.3, 4.5, 60)) + [(0.5, 0.5), (0.9, 0.5), (250, 200)])
entries("UpperGammaLarge", upper_gamma, [(990, 1000)])
entries("StudentTail", student_tail, grid((-9, 0.2, 3.999, 4), (1, 2, 5, 8, 101)) + grid((-2, 3.9, 5), (1001, 10**6)))
entries("FTail", f_tail, grid((0.05, 6), (1, 2.5, 60), (1, 4, 300)))
entries("FTailMany", f_tail_many, [(1.001, 2e6, 2e6), (1.0013, 2e6, 5e6), (0.98, 1900, 2e8)])
entries("StudentDensity", student_density, grid((-3, 0.5), (1, 7.5, 1e8)))
entries("ChiDensity", chi_density, grid((0.1, 9), (0.5, 30)))
entries("FDensity", f_density, [(0.1, 1, 1), (2, 5, 9), (1.1, 300, 4000), (1, 3, 1e12)])
entries("NormalQuantile", normal_quantile, [(p,) for p in (
    1e-300, 1e-13, 1e-11, 1e-10, 0.01, 0.07, 0.08, 0.4, 0.92, 0.93, 0.9999999)])
entries("ChiQuantile", inverse(chi_tail), grid((1e-3, 0.95), (5, 10)) + [(0.95, 0.1), (0.99, 0.3), (0.9999, 150)])
entries("StudentQuantile", student_quantile, grid((1e-6, 0.975), (1, 10)))
entries("FQuantile", inverse(f_tail), grid((1e-4, 0.9999999), (1, 40), (1, 90)) + [(1e-9, 24, 1)])
print("// clang-format on")
