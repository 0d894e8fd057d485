#!/usr/bin/python3
"""Writes src/special/normal_tables.h: the polynomials of the normal distribution.

usage: tools/special_normal_tables.py | clang-format > src/special/normal_tables.h

Each block is the polynomial of degree 12 that interpolates its function at the 13 Chebyshev points of [0, 1], worked in
60 digits and rounded once. The header states the largest error of each rounded block over 2001 points.
"""

from mpmath import cos, erf, erfc, lu_solve, matrix, mp, mpf, nstr, pi, polyval, sqrt

mp.dps = 60
DEGREE = 12


def series(k):
    return lambda f: erf(sqrt(k + f)) / sqrt(k + f) if k + f > 0 else 2 / sqrt(pi)


def root(j):
    return lambda f: erfc(j + 2 + f) ** (mpf(1) / 16)


def interpolate(function):
    count = DEGREE + 1
    nodes = [(1 - cos(pi * (2 * i + 1) / (2 * count))) / 2 for i in range(count)]
    powers = matrix(count, count)
    for i, node in enumerate(nodes):
        for j in range(count):
            powers[i, j] = node ** (DEGREE - j)
    return [float(c) for c in lu_solve(powers, matrix([function(x) for x in nodes]))]


def worst(block, function):
    exact = [mpf(c) for c in block]
    points = (mpf(i) / 2000 for i in range(2001))
    return max(abs(polyval(exact, f) - function(f)) for f in points)


def table(name, meaning, functions):
    print(f"// {meaning}")
    print(f"inline constexpr double {name}[5][13] = {{")
    for function in functions:
        block = interpolate(function)
        print(f"    // largest error {nstr(worst(block, function), 2)}")
        values = ", ".join(repr(c) for c in block)
        print(f"    {{{values}}},")
    print("};")


print("""// Polynomials of the normal distribution, highest power first, degree 12 in f on [0, 1).
//
// Written by tools/special_normal_tables.py.
#pragma once

namespace tessel {
""")
table("kErfOverZ", "Block k: erf(sqrt(k + f)) / sqrt(k + f). The last eight of block 0 are its Taylor series, to 6e-11.",
      [series(k) for k in range(5)])
print()
table("kErfcRoot", "Block j: the sixteenth root of erfc(j + 2 + f).", [root(j) for j in range(5)])
print("""
}  // namespace tessel""")
