#!/usr/bin/python3
"""Times statsmodels on the work of bench/limdep.cpp and bench/volatility.cpp: medians, in milliseconds.

Likelihood, score and information at given parameters, T = 20,000 and k = 10; GARCH(1,1), for which statsmodels has no
recursion of its own, as a linear filter of scipy; filter, and smoother over filtered probabilities, by the compiled
routines that the package calls.
"""

import sys

import numpy
import scipy
import statsmodels
import statsmodels.api as sm
from scipy.signal import lfilter
from statsmodels.tsa.regime_switching.markov_switching import cy_hamilton_filter_log, cy_kim_smoother_log

from timing import seconds

random = numpy.random.default_rng(1)


def show(name, work):
    print(f"{name:32} {1e3 * seconds(work, 9):9.2f} ms")


def likelihoods(T=20000, k=10):
    X = numpy.column_stack([numpy.ones(T), random.standard_normal((T, k - 1))])
    theta = 0.1 * random.standard_normal(k)
    count = random.poisson(2.0, T)
    for name, model, at in (
            ("logit, 4 outcomes", sm.MNLogit(random.integers(0, 4, T), X), 0.1 * random.standard_normal(3 * k)),
            ("probit", sm.Probit(random.integers(0, 2, T), X), theta),
            ("poisson", sm.Poisson(count, X), theta)):
        show(name, lambda: (model.loglike(at), model.score(at), model.hessian(at)))
    model, at = sm.NegativeBinomial(count, X), numpy.append(theta, 1.1)
    show("negative binomial, score alone", lambda: (model.loglike(at), model.score(at)))
    show("negative binomial, with Hessian", lambda: (model.loglike(at), model.score(at), model.hessian(at)))


def garch(T=1000000):
    y, c = random.standard_normal(T), numpy.full(T, 0.05)
    start = numpy.mean(y * y)

    def work():
        squares = numpy.append(start, y[:-1] ** 2)
        return lfilter([1.0], [1.0, -0.85], c + 0.1 * squares, zi=[0.85 * start])
    show("garch(1,1), scipy's lfilter", work)


def regimes(n, T=100000):
    density = numpy.asfortranarray(random.uniform(0.05, 1.0, (n, T)))
    P = numpy.asfortranarray(numpy.where(numpy.eye(n) > 0, 0.9, 0.1 / (n - 1))[:, :, None])
    prior = numpy.full(n, 1.0 / n)
    log_density = numpy.log(density)
    show(f"regime filter, {n}", lambda: cy_hamilton_filter_log(prior, P, log_density, 0))
    filtered = cy_hamilton_filter_log(prior, P, log_density, 0)
    show(f"regime smoother, {n}", lambda: cy_kim_smoother_log(P, filtered[4], filtered[5]))


print(f"Python {sys.version.split()[0]}, numpy {numpy.__version__}, scipy {scipy.__version__}, "
      f"statsmodels {statsmodels.__version__}")
likelihoods()
garch()
for number in (2, 4):
    regimes(number)
