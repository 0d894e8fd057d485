#!/usr/bin/python3
"""Writes tests/data/regression_references.csv: values of other packages for the equations of tests/regression.

usage: tools/regression_references.py > tests/data/regression_references.csv

Needs python3-statsmodels, python3-mpmath, r-base-core and r-cran-strucchange. Each line is name,index,value; the first
line names the packages' versions. The sample is the growth of US consumption (c) and income (i), 100 times the
logarithm's first difference, with the bill rate (r) of tests/data/us_macro.csv. Observation 0 is 1959(3), the first
with a lag; the equation is c on 1, i, c(-1).
"""

import csv
import pathlib
import subprocess
import sys
import tempfile

import mpmath
import numpy as np
import statsmodels
import statsmodels.api as sm
from statsmodels.sandbox.regression.gmm import IV2SLS
from statsmodels.stats.diagnostic import breaks_hansen
from statsmodels.stats.sandwich_covariance import S_hac_simple

FOLDER = pathlib.Path(__file__).resolve().parent.parent / "tests" / "data"
R_CODE = r"""
suppressMessages(library(strucchange))
d <- read.csv(commandArgs(TRUE)[1], header = FALSE)
w <- recresid(as.matrix(d[, -1]), d[, 1])
m <- lm(V1 ~ 0 + ., data = d)
e <- residuals(m)
scores <- cbind(model.matrix(m) * e, e^2 - mean(e^2))
L <- sapply(seq_len(ncol(scores)), function(j)
  sctest(gefp(m, fit = NULL, scores = function(o) scores[, j, drop = FALSE]), functional = meanL2BB)$statistic)
cat(R.version$major, ".", R.version$minor, " ", as.character(packageVersion("strucchange")), "\n", sep = "")
cat(format(w, digits = 17), "\n")
cat(format(L, digits = 17), "\n")
"""


def read(name):
    with open(FOLDER / name, newline="") as file:
        return list(csv.DictReader(file))


def strucchange(y, x):
    with tempfile.NamedTemporaryFile("w", suffix=".csv") as data, tempfile.NamedTemporaryFile("w", suffix=".R") as code:
        np.savetxt(data, np.column_stack([y, x]), fmt="%.17g", delimiter=",")
        code.write(R_CODE)
        data.flush()
        code.flush()
        out = subprocess.run(["Rscript", code.name, data.name], check=True, capture_output=True, text=True).stdout
    version, recursive, statistics = out.splitlines()
    return version, [float(v) for v in recursive.split()], [float(v) for v in statistics.split()]


def longley():
    """Least squares on Longley's data in 50 digits."""
    mpmath.mp.dps = 50
    rows = [{k: mpmath.mpf(v) for k, v in row.items()} for row in read("longley.csv")]
    x = mpmath.matrix([[1] + [row[n] for n in ("GNPDEFL", "GNP", "UNEMP", "ARMED", "POP", "YEAR")] for row in rows])
    y = mpmath.matrix([row["TOTEMP"] for row in rows])
    return mpmath.lu_solve(x.T * x, x.T * y)


def main():
    rows = read("us_macro.csv")
    growth = {n: 100 * np.diff(np.log([float(row[n]) for row in rows])) for n in ("realcons", "realdpi")}
    c, i = growth["realcons"], growth["realdpi"]
    r = np.array([float(row["tbilrate"]) for row in rows])
    y, x = c[1:], np.column_stack([np.ones(len(c) - 1), i[1:], c[:-1]])
    version, recursive, statistics = strucchange(y, x)
    results = sm.RecursiveLS(y, x).fit()
    instruments = np.column_stack([x[:, 0], x[:, 2], i[:-1], r[1:-1]])
    twoStage = IV2SLS(y, x[:, [0, 2, 1]], instruments).fit()
    ols = sm.OLS(y, x).fit()
    moments = x * ols.resid[:, None]

    out = csv.writer(sys.stdout, lineterminator="\n")
    out.writerow(["R and strucchange " + version, "statsmodels " + statsmodels.__version__, "mpmath " +
                  mpmath.__version__])
    table = [(f"recresid", t, recursive[t - 3]) for t in range(5, len(y), 9)]
    table += [("hansen", j, v) for j, v in enumerate(statistics)]
    table += [("hansen_joint", 0, breaks_hansen(ols)[0])]
    for t in (60, 130, len(y) - 1):
        table += [(f"recursive_beta{t}", j, v) for j, v in enumerate(results.recursive_coefficients.filtered[:, t])]
    table += [("two_stage", j, v) for j, v in enumerate(twoStage.params)]
    table += [("hac", j, v) for j, v in enumerate(S_hac_simple(moments, nlags=4)[np.tril_indices(3)])]
    for name, j, v in table:
        out.writerow([name, j, f"{v:.17g}"])
    for j, v in enumerate(longley()):
        out.writerow(["longley", j, mpmath.nstr(v, 20)])


main()
