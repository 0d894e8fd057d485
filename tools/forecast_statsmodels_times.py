#!/usr/bin/python3
"""Times FnDynForc against statsmodels: a VAR(4) of three macroeconomic series.

usage: tools/forecast_statsmodels_times.py [BENCH_PROGRAM]

Needs python3-statsmodels and a bench_forecast (by default the one that `make bench` builds). Prints one table: the
median of repeated runs of the package, and of our benchmark of the same size.
"""

import pathlib
import warnings

import numpy
import pandas
import statsmodels
from statsmodels.tsa.api import VAR

from timing import benchmarks, seconds, show

ROOT = pathlib.Path(__file__).resolve().parent.parent


def main():
    times = benchmarks("build/bench/bin/bench_forecast", "VAR.*tessel")
    frame = pandas.read_csv(ROOT / "tests" / "data" / "us_macro.csv")
    warnings.filterwarnings("ignore", message="forecast cov")
    fit = VAR(100 * numpy.diff(numpy.log(frame[["realgdp", "realcons", "realinv"]].values), axis=0)).fit(4)
    last = fit.endog[-4:]

    print(f"statsmodels {statsmodels.__version__}")
    show([("FnDynForc, errors/VAR(4) of 3, 100 steps", "forecast_interval",
           seconds(lambda: fit.forecast_interval(last, 100), 21)),
          ("FnDynForc, coefficients/VAR(4) of 3, 24 steps", 'forecast and forecast_cov("auto")',
           seconds(lambda: (fit.forecast(last, 24), fit.forecast_cov(24, method="auto")), 5))], times)


main()
