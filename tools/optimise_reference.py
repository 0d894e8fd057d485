#!/usr/bin/python3
"""Prints the values of tests/optimise that come from 50-digit arithmetic (mpmath).

Estimates and standard errors of three kinds (Hessian, outer product of scores, robust) for the logit model of Spector
and Mazzeo and for the local level model of the Nile; White's standard errors for NIST's Misra1a.
"""

import csv
import pathlib

import mpmath
from mpmath import mpf

mpmath.mp.dps = 50
ROOT = pathlib.Path(__file__).resolve().parent.parent

GPA = """2.66 2.89 3.28 2.92 4.0 2.86 2.76 2.87 3.03 3.92 2.63 3.32 3.57 3.26 3.53 2.74 2.75 2.83 3.12 3.16 2.06 3.62 2.89
3.51 3.54 2.83 3.39 2.67 3.65 4.0 3.1 2.39""".split()
TUCE = "20 22 24 12 21 17 17 21 25 29 20 23 23 25 26 19 25 19 23 25 22 28 14 26 24 27 17 24 21 23 21 19".split()
PASSED = {4, 9, 13, 19, 21, 24, 25, 26, 28, 29, 31}


def derivatives(contribution, theta, count):
    """Scores (count x P) and Hessian of the sum, by differences in 50 digits."""
    p = len(theta)
    scores = mpmath.matrix(count, p)
    hessian = mpmath.matrix(p, p)
    for j in range(p):
        h = mpf(10) ** -15 * max(abs(theta[j]), mpf(1))
        sides = []
        for sign in (1, -1):
            moved = list(theta)
            moved[j] += sign * h
            sides.append((moved, contribution(moved)))
        for t in range(count):
            scores[t, j] = (sides[0][1][t] - sides[1][1][t]) / (2 * h)
        for k in range(p):
            g = mpf(10) ** -15 * max(abs(theta[k]), mpf(1))
            total = mpf(0)
            for sign, (moved, _) in zip((1, -1), sides):
                for other in (1, -1):
                    again = list(moved)
                    again[k] += other * g
                    total += sign * other * sum(contribution(again))
            hessian[j, k] = total / (4 * h * g)
    return scores, hessian


def maximise(contribution, theta, count):
    for _ in range(60):
        scores, hessian = derivatives(contribution, theta, count)
        gradient = mpmath.matrix([sum(scores[t, j] for t in range(count)) for j in range(len(theta))])
        step = mpmath.lu_solve(-hessian, gradient)
        theta = [x + d for x, d in zip(theta, step)]
        if max(abs(d / x) for d, x in zip(step, theta)) < mpf(10) ** -18:
            break
    return theta, *derivatives(contribution, theta, count)


def show(name, contribution, start, count):
    theta, scores, hessian = maximise(contribution, [mpf(x) for x in start], count)
    inverse = (-hessian) ** -1
    outer = scores.T * scores
    print(name, "log-likelihood", mpmath.nstr(sum(contribution(theta)), 15))
    covariances = {"hessian": inverse, "opg": outer ** -1, "robust": inverse * outer * inverse}
    print("  estimates", *(mpmath.nstr(x, 15) for x in theta))
    for kind, covariance in covariances.items():
        print(" ", kind, *(mpmath.nstr(mpmath.sqrt(covariance[j, j]), 15) for j in range(len(theta))))


def logit(theta):
    terms = []
    for t in range(32):
        index = theta[0] + theta[1] * mpf(GPA[t]) + theta[2] * mpf(TUCE[t]) + (theta[3] if t >= 18 else 0)
        terms.append((index if t in PASSED else 0) - mpmath.log(1 + mpmath.exp(index)))
    return terms


with open(ROOT / "tests" / "data" / "nile.csv", encoding="ascii") as file:
    NILE = [mpf(row["volume"]) for row in csv.DictReader(file)]


def local_level(theta):
    """Durbin, J. and Koopman, S.J. (2012), Time Series Analysis by State Space Methods, 2nd ed., chapter 2."""
    noise, drift = theta
    level, variance = NILE[0], noise + drift
    terms = []
    for y in NILE[1:]:
        error, f = y - level, variance + noise
        terms.append(-(mpmath.log(2 * mpmath.pi) + mpmath.log(f) + error ** 2 / f) / 2)
        level += variance / f * error
        variance = variance * (1 - variance / f) + drift
    return terms


show("logit", logit, [-13.02, 2.826, 0.0952, 2.379], 32)
show("local level", local_level, [15099, 1469.1], 99)

with open(ROOT / "tests" / "nist" / "Misra1a.csv", encoding="ascii") as file:
    MISRA = [(mpf(row["y"]), mpf(row["x"])) for row in csv.DictReader(file)]


def gauss_newton(b, c):
    for _ in range(60):
        f = mpmath.matrix([y - b * (1 - mpmath.exp(-c * x)) for y, x in MISRA])
        j = mpmath.matrix([[-(1 - mpmath.exp(-c * x)), -b * x * mpmath.exp(-c * x)] for _, x in MISRA])
        inverse = (j.T * j) ** -1
        step = -inverse * (j.T * f)
        b, c = b + step[0], c + step[1]
    meat = mpmath.matrix(2, 2)
    for t in range(len(MISRA)):
        meat += f[t] ** 2 * (j[t, :].T * j[t, :])
    covariance = inverse * meat * inverse
    print("Misra1a", mpmath.nstr(b, 15), mpmath.nstr(c, 15), "HC0",
          *(mpmath.nstr(mpmath.sqrt(covariance[i, i]), 15) for i in range(2)))


gauss_newton(mpf("238.942"), mpf("0.00055"))
