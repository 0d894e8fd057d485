#!/usr/bin/python3
"""Times the regression exports against statsmodels and R's strucchange on the data of bench/regression.cpp.

usage: tools/regression_times.py [BENCH_PROGRAM]

Needs python3-statsmodels, r-base-core and r-cran-strucchange, and a bench_regression (by default the one that `make
bench` builds). Prints one table: the median of three runs of each package, and ours from the benchmark of that name.
"""

import json
import math
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

import numpy as np
import statsmodels
import statsmodels.api as sm
from statsmodels.sandbox.regression.gmm import IV2SLS
from statsmodels.stats.sandwich_covariance import S_hac_simple

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


def seconds(work):
    times = []
    for _ in range(3):
        start = time.perf_counter()
        work()
        times.append(time.perf_counter() - start)
    return statistics.median(times)


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


def ours(program):
    command = [program, "--benchmark_format=json", "--benchmark_repetitions=5", "--benchmark_report_aggregates_only=true"]
    rows = json.loads(subprocess.run(command, check=True, capture_output=True, text=True).stdout)["benchmarks"]
    scale = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3}
    return {row["run_name"]: row["cpu_time"] * scale[row["time_unit"]] for row in rows
            if row["aggregate_name"] == "median"}


def main():
    program = sys.argv[1] if len(sys.argv) > 1 else "build/bench/bin/bench_regression"
    if not pathlib.Path(program).exists():
        sys.exit(f"regression_times.py: no program {program}: build it with `make bench`")
    package = f"statsmodels {statsmodels.__version__}"
    results = []
    for size, observations, k in (("T=2000 k=5", 2000, 5), ("T=10000 k=10", 10000, 10)):
        y, x = data(observations, k)
        recursion = seconds(lambda: sm.RecursiveLS(y, x).fit())
        results.append((f"FnRlsEst/{size}/tessel", f"{package} RecursiveLS.fit", recursion))
        results.append((f"FnRlsEst/{size}/tessel", *strucchange(y, x)))
    results.append(("FnRivEst/T=500 k=4 m=2/tessel", f"{package} IV2SLS.fit on every sample",
                    seconds(lambda: two_stage_on_every_sample(500, 4, 2, 20))))
    y, x = data(10000, 5)
    results.append(("FnGLScovariance/T=10000 5x1/tessel", f"{package} S_hac_simple",
                    seconds(lambda: S_hac_simple(x * y[:, None], nlags=11))))
    times = ours(program)
    print("| work | size | tessel | package | its time | ratio |\n|---|---|---|---|---|---|")
    for name, who, elapsed in results:
        work, size = name.split("/")[:2]
        print(f"| {work} | {size} | {times[name] * 1e3:.3g} ms | {who} | {elapsed * 1e3:.4g} ms | "
              f"{elapsed / times[name]:.3g} |")


main()
