#!/usr/bin/python3
"""Times the regression exports against statsmodels and R's strucchange on the data of bench/regression.cpp.

usage: tools/regression_times.py [BENCH_PROGRAM]

Needs python3-statsmodels, r-base-core and r-cran-strucchange, and a bench_regression (by default the one that `make
bench` builds). Prints one table: the median of three runs of each package, and ours from the benchmark of that name.
"""

import math
import subprocess
import tempfile

import numpy as np
import statsmodels
import statsmodels.api as sm
from statsmodels.sandbox.regression.gmm import IV2SLS
from statsmodels.stats.sandwich_covariance import S_hac_simple

from timing import benchmarks, seconds, show

R_CODE = r"""
suppressMessages(library(strucchange))
d <- as.matrix(read.csv(commandArgs(TRUE)[1], header = FALSE))
seconds <- sapply(1:3, function(i) system.time(recresid(d[, -1], d[, 1]))[["elapsed"]])
cat(R.version$major, ".", R.version$minor, " ", as.character(packageVersion("strucchange")), " ", median(seconds), "\n",
    sep = "")
"""


def variable(t, i):
    return 1.0 if i == 0 else math.sin(0.7 * (t + 1) * i + 0.001 * t * t * i)


def data(observations, k):
    x = np.array([[variable(t, i) for i in range(k)] for t in range(observations)])
    noise = np.array([math.cos(0.013 * t * t) for t in range(observations)])
    return x.sum(axis=1) + noise, x


def strucchange(y, x):
    with tempfile.NamedTemporaryFile("w", suffix=".csv") as file, tempfile.NamedTemporaryFile("w", suffix=".R") as code:
        np.savetxt(file, np.column_stack([y, x]), fmt="%.17g", delimiter=",")
        code.write(R_CODE)
        file.flush()
        code.flush()
        reply = subprocess.run(["Rscript", code.name, file.name], check=True, capture_output=True, text=True).stdout
    r, package, elapsed = reply.split()
    return f"strucchange {package} recresid (R {r})", float(elapsed)


def two_stage_on_every_sample(observations, k, m, first):
    y, _ = data(observations, k)
    rows = np.array([[variable(t, (row + 1) % (k + 2)) for row in range(k + 2)] for t in range(observations)])
    x, w = rows[:, :k], rows[:, 1:]
    for t in range(first, observations + 1):
        IV2SLS(y[:t], x[:t], w[:t]).fit().params


def main():
    times = benchmarks("build/bench/bin/bench_regression")
    package = f"statsmodels {statsmodels.__version__}"
    results = []
    for size, observations, k in (("T=2000 k=5", 2000, 5), ("T=10000 k=10", 10000, 10)):
        y, x = data(observations, k)
        recursion = seconds(lambda: sm.RecursiveLS(y, x).fit(), 3)
        results.append((f"FnRlsEst/{size}", f"{package} RecursiveLS.fit", recursion))
        results.append((f"FnRlsEst/{size}", *strucchange(y, x)))
    results.append(("FnRivEst/T=500 k=4 m=2", f"{package} IV2SLS.fit on every sample",
                    seconds(lambda: two_stage_on_every_sample(500, 4, 2, 20), 3)))
    y, x = data(10000, 5)
    results.append(("FnGLScovariance/T=10000 5x1", f"{package} S_hac_simple",
                    seconds(lambda: S_hac_simple(x * y[:, None], nlags=11), 3)))
    show(results, times)


main()
