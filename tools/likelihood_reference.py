#!/usr/bin/python3
"""Writes tests/data/likelihood_reference.txt: maxima of the likelihoods of tests/data/likelihoods, with standard errors.

Each model is written anew here, from the data files on, in 80-digit arithmetic (mpmath): as in a textbook, since nothing
overflows or cancels at that length. Derivatives are central differences with a step of 1e-20, whose error is of the order
of 1e-40. Newton's method goes on until its step is below 1e-32 of the parameters. The data are the doubles that the files
read as. With H the Hessian of the log-likelihood and G the sum of the outer products of the observations' scores, the
covariance matrices are -H^-1 (hessian), G^-1 (opg) and H^-1 G H^-1 (robust), without corrections for small samples.

Takes the names of models to print instead of writing the file.
"""

import csv
import pathlib
import sys

import mpmath
from mpmath import erfc, exp, gamma, log, mpf, pi, sqrt

mpmath.mp.dps = 80
STEP = mpf(10) ** -20
ROOT = pathlib.Path(__file__).resolve().parent.parent

HEAD = """\
# Maxima of the likelihoods of tests/data/likelihoods.
# Written by tools/likelihood_reference.py with mpmath {version}: Newton's method in {digits}-digit arithmetic.
# Each model has the lines
#   model NAME                      the program tests/data/likelihoods/NAME.alg
#   data FILE FIRST LAST N          the file of tests/data; the first and last observation of the sample, counted from 1
#                                   in the file; how many of them have a likelihood
#   loglik X                        the sum of the column l at the maximum
#   parameter NAME X H G R          in the program's order: the estimate and its standard errors by the inverse Hessian, by
#                                   the outer product of the scores, and robust (the sandwich of both)
"""


def columns(name):
    with open(ROOT / "examples" / "data" / name) as file:
        rows = list(csv.DictReader(file))
    return {column: [mpf(float(row[column])) for row in rows] for column in rows[0]}


MACRO = columns("us_macro.csv")
VOTERS = columns("anes96.csv")
PERSONS = columns("health_visits.csv")


def growth(series, per):
    """per times the changes of the logarithms: one value fewer than the series has."""
    return [per * log(after / before) for before, after in zip(series, series[1:])]


def average(values):
    return sum(values) / len(values)


def variance(values):
    centre = average(values)
    return average([(x - centre) ** 2 for x in values])


def phi(x):
    return exp(-x * x / 2) / sqrt(2 * pi)


def Phi(x):
    return erfc(-x / sqrt(mpf(2))) / 2


def logistic(x):
    return 1 / (1 + exp(-x))


def dot(coefficients, values):
    return sum(c * x for c, x in zip(coefficients, values))


OUTPUT = growth(MACRO["realgdp"], 400)
OUTPUT_VARIANCE = variance(OUTPUT)
INVESTMENT = growth(MACRO["realinv"], 100)
INVESTMENT_MEAN = average(INVESTMENT)
INVESTMENT_VARIANCE = variance(INVESTMENT)


def garch_path(mu, slope, omega, alpha, beta):
    """Pairs of the residual and its variance, from the second growth rate on."""
    square, h = OUTPUT_VARIANCE, OUTPUT_VARIANCE
    for before, now in zip(OUTPUT, OUTPUT[1:]):
        h = omega + alpha * square + beta * h
        residual = now - mu - slope * before
        square = residual**2
        yield residual, h


def garch(theta):
    return [log(phi(u / sqrt(h)) / sqrt(h)) for u, h in garch_path(*theta)]


def garch_t(theta):
    nu = theta[-1]
    factor = gamma((nu + 1) / 2) / gamma(nu / 2) / sqrt(pi * nu)
    result = []
    for u, h in garch_path(*theta[:-1]):
        unit = sqrt(h * (nu - 2) / nu)      # that of a t variate whose variance is h
        result.append(log(factor / unit) - (nu + 1) / 2 * log(1 + (u / unit) ** 2 / nu))
    return result


def egarch(theta):
    omega, alpha, gamma_, beta = theta
    result = []
    lnh, news = log(INVESTMENT_VARIANCE), mpf(0)
    for x in INVESTMENT:
        lnh = omega + beta * lnh + news
        z = (x - INVESTMENT_MEAN) / exp(lnh / 2)
        news = alpha * (abs(z) - sqrt(2 / pi)) + gamma_ * z
        result.append(log(phi(z)) - lnh / 2)
    return result


def switching(theta):
    slump, boom, sigma, p, q = theta
    chances = [(1 - q) / (2 - p - q), (1 - p) / (2 - p - q)]
    result = []
    for x in OUTPUT:
        joint = [chance * phi((x - m) / sigma) / sigma for chance, m in zip(chances, (slump, boom))]
        density = sum(joint)
        result.append(log(density))
        known = [value / density for value in joint]
        chances = [p * known[0] + (1 - q) * known[1], (1 - p) * known[0] + q * known[1]]
    return result


def probit(theta):
    result = []
    for vote, *x in zip(VOTERS["vote"], VOTERS["selfLR"], VOTERS["income"]):
        index = theta[0] + dot(theta[1:], x)
        result.append(log(Phi(index) if vote == 1 else Phi(-index)))
    return result


def ordered_logit(theta):
    slopes, cuts = theta[:5], theta[5:]
    result = []
    for party, *x in zip(*(VOTERS[name] for name in ("PID", "logpopul", "selfLR", "age", "educ", "income"))):
        index, k = dot(slopes, x), int(party)
        up_to = logistic(cuts[k] - index) if k < 6 else 1
        below = logistic(cuts[k - 1] - index) if k > 0 else 0
        result.append(log(up_to - below))
    return result


VISITS = [int(x) for x in PERSONS["mdvis"]]
LOG_FACTORIALS = [mpmath.loggamma(n + 1) for n in range(max(VISITS) + 1)]


def visitors():
    return zip(VISITS, PERSONS["lncoins"], PERSONS["disea"], PERSONS["physlm"])


def negative_binomial(theta):
    alpha = exp(theta[4])
    # gamma(y + 1/alpha) / gamma(1/alpha) alpha^y = product of 1 + alpha j for j from 0 to y - 1.
    rising = [mpf(0)]
    for j in range(max(VISITS)):
        rising.append(rising[-1] + log(1 + alpha * j))
    result = []
    for y, *x in visitors():
        index = theta[0] + dot(theta[1:4], x)
        result.append(rising[y] - LOG_FACTORIALS[y] + y * index - (y + 1 / alpha) * log(1 + alpha * exp(index)))
    return result


def zero_inflated_poisson(theta):
    result = []
    for y, *x in visitors():
        index = theta[0] + dot(theta[1:4], x)
        m, never = exp(index), logistic(theta[4] + theta[5] * x[0])
        result.append(log(never + (1 - never) * exp(-m)) if y == 0 else log(1 - never) + y * index - m - LOG_FACTORIALS[y])
    return result


INVESTMENT_SHARE = [100 * log(investment / gdp) for investment, gdp in zip(MACRO["realinv"], MACRO["realgdp"])]


def frontier(theta):
    sigmav, sigmaw = exp(theta[3]), exp(theta[4])
    sigma, ratio = sqrt(sigmav**2 + sigmaw**2), sigmaw / sigmav
    result = []
    for before, now, jobless in zip(INVESTMENT_SHARE, INVESTMENT_SHARE[1:], MACRO["unemp"]):
        e = (now - dot(theta[:3], (1, before, jobless))) / sigma
        result.append(log(2 / sigma * phi(e) * Phi(-e * ratio)))
    return result


def spells():
    """(quarters, whether output fell when investment did, rate and unemployment before) of each rise of investment."""
    rises = [x > 0 for x in INVESTMENT]
    falls = [x < 0 for x in OUTPUT]
    found, first = [], 0
    while first < len(rises):
        if not rises[first]:
            first += 1
            continue
        end = first
        while end < len(rises) and rises[end]:
            end += 1
        ended = end < len(rises) and falls[end]
        # The change i leads from quarter i to quarter i + 1, so quarter `first` is the one before the spell.
        found.append((mpf(end - first), ended, MACRO["tbilrate"][first], MACRO["unemp"][first]))
        first = end
    return found


SPELLS = spells()


def weibull(theta):
    k = exp(theta[3])
    result = []
    for age, ended, rate, jobless in SPELLS:
        factor = exp(theta[0] + theta[1] * rate + theta[2] * jobless)
        survival = -factor * age**k
        result.append(survival + (log(k * age ** (k - 1) * factor) if ended else 0))
    return result


SAVING = [
    (1 - spent / income, rate, jobless, mpf(t) / 40)
    for t, (spent, income, rate, jobless) in enumerate(
        zip(MACRO["realcons"], MACRO["realdpi"], MACRO["realint"], MACRO["unemp"])
    )
][1:]


def beta(theta):
    size = exp(theta[4])
    result = []
    for share, *x in SAVING:
        m = logistic(theta[0] + dot(theta[1:4], x))
        a, b = m * size, (1 - m) * size
        result.append(
            mpmath.loggamma(size) - mpmath.loggamma(a) - mpmath.loggamma(b) + (a - 1) * log(share) + (b - 1) * log(1 - share)
        )
    return result


# Model, data, first and last observation, and the parameters with values near the maximum.
MODELS = [
    (garch, "us_macro.csv", 3, 203, dict(mu=2.22, phi=0.324, omega=0.425, alpha=0.178, beta=0.798)),
    (garch_t, "us_macro.csv", 3, 203, dict(mu=2.19, phi=0.319, omega=0.607, alpha=0.184, beta=0.773, nu=7.71)),
    (egarch, "us_macro.csv", 2, 203, dict(omega=0.343, alpha=0.229, gamma=-0.238, beta=0.885)),
    (switching, "us_macro.csv", 2, 203, dict(slump=-1.06, boom=4.06, sigma=2.89, p=0.763, q=0.945)),
    (probit, "anes96.csv", 1, 944, dict(const=-4.23, place=0.697, income=0.0534)),
    (ordered_logit, "anes96.csv", 1, 944, dict(popul=-0.071, place=1.02, age=-0.0042, educ=0.178, income=0.047,
                                               cut1=3.69, cut2=4.94, cut3=5.65, cut4=5.91, cut5=6.56, cut6=7.74)),
    (negative_binomial, "health_visits.csv", 1, 1010, dict(const=0.597, coins=-0.0372, disease=0.0412, limit=0.147,
                                                           lnalpha=0.276)),
    (zero_inflated_poisson, "health_visits.csv", 1, 1010, dict(const=1.08, coins=-0.0088, disease=0.0255, limit=0.115,
                                                               never=-1.06, nevercoins=0.0876)),
    (frontier, "us_macro.csv", 2, 203, dict(const=-7.972, inertia=0.9522, slack=0.4378, lnsigmav=0.7028, lnsigmaw=1.6961)),
    (weibull, "us_macro.csv", 2, 203, dict(const=-2.77, rate=0.622, slack=-0.82, lnk=0.912)),
    (beta, "us_macro.csv", 2, 203, dict(const=-2.375, rate=0.008, slack=0.077, trend=-0.1236, lnphi=6.07)),
]


def shifted(theta, *steps):
    """theta with STEP times each (position, count) added."""
    result = list(theta)
    for position, count in steps:
        result[position] += count * STEP
    return result


def derivatives(likelihood, theta):
    """The observations' log-likelihoods, their scores (one row each), and the Hessian of the sum."""
    n = len(theta)
    here = likelihood(theta)
    up = [likelihood(shifted(theta, (i, 1))) for i in range(n)]
    down = [likelihood(shifted(theta, (i, -1))) for i in range(n)]
    scores = [[(up[i][t] - down[i][t]) / (2 * STEP) for i in range(n)] for t in range(len(here))]
    centre, above, below = sum(here), [sum(x) for x in up], [sum(x) for x in down]
    hessian = mpmath.matrix(n, n)
    for i in range(n):
        hessian[i, i] = (above[i] - 2 * centre + below[i]) / STEP**2
        for j in range(i):
            both = sum(likelihood(shifted(theta, (i, 1), (j, 1)))) + sum(likelihood(shifted(theta, (i, -1), (j, -1))))
            cross = both + 2 * centre - above[i] - above[j] - below[i] - below[j]
            hessian[i, j] = hessian[j, i] = cross / (2 * STEP**2)
    return here, scores, hessian


def maximise(likelihood, theta):
    """Newton's method from near the maximum: estimates, log-likelihood, and the three kinds of standard errors."""
    theta = [mpf(x) for x in theta]
    n = len(theta)
    for _ in range(12):
        here, scores, hessian = derivatives(likelihood, theta)
        mpmath.cholesky(-hessian)  # an error unless the Hessian is negative definite
        score = mpmath.matrix([sum(row[i] for row in scores) for i in range(n)])
        step = mpmath.lu_solve(-hessian, score)
        if max(abs(step[i]) / max(abs(theta[i]), mpf(1) / 1000) for i in range(n)) < mpf(10) ** -32:
            break
        theta = [theta[i] + step[i] for i in range(n)]
    else:
        raise ArithmeticError(f"{likelihood.__name__}: Newton's method has not converged")
    outer = mpmath.matrix(n, n)
    for row in scores:
        for i in range(n):
            for j in range(n):
                outer[i, j] += row[i] * row[j]
    bread = -(hessian**-1)
    kinds = bread, outer**-1, bread * outer * bread
    return theta, sum(here), len(here), [[sqrt(kind[i, i]) for kind in kinds] for i in range(n)]


def digits(x):
    return mpmath.nstr(x, 17)


def report(model, file, first, last, near):
    theta, total, count, errors = maximise(model, near.values())
    lines = [f"model {model.__name__}", f"data {file} {first} {last} {count}", f"loglik {digits(total)}"]
    for name, x, kinds in zip(near, theta, errors):
        lines.append(" ".join(["parameter", name, digits(x)] + [digits(e) for e in kinds]))
    return lines


def main(names):
    lines = []
    for model in MODELS:
        if not names or model[0].__name__ in names:
            lines += report(*model)
    if names:
        print("\n".join(lines))
        return
    head = HEAD.format(version=mpmath.__version__, digits=mpmath.mp.dps)
    (ROOT / "tests" / "data" / "likelihood_reference.txt").write_text(head + "\n".join(lines) + "\n")


if __name__ == "__main__":
    main(sys.argv[1:])
