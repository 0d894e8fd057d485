#!/usr/bin/python3
"""Times FnDynForc against statsmodels: a VAR(4) of three macroeconomic series.

usage: tools/forecast_statsmodels_times.py [BENCH_PROGRAM]

Needs python3-statsmodels and a bench_forecast (by default the one that `make bench` builds). Prints one table: the
median of repeated runs of the package, and of our benchmark of the same size.
"""

import json
import pathlib
import statistics
import subprocess
import sys
import time
import warnings

import numpy
import pandas
import statsmodels
from statsmodels.tsa.api import VAR

ROOT = pathlib.Path(__file__).resolve().parent.parent


def seconds(work, repeats):
    work()
    times = []
    for _ in range(repeats):
        start = time.perf_counter()
        work()
        times.append(time.perf_counter() - start)
    return statistics.median(times)


def ours(program):
    command = [program, "--benchmark_format=json", "--benchmark_repetitions=5", "--benchmark_report_aggregates_only=true",
               "--benchmark_filter=VAR.*tessel"]
    rows = json.loads(subprocess.run(command, check=True, capture_output=True, text=True).stdout)["benchmarks"]
    scale = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3}
    return {row["run_name"]: row["cpu_time"] * scale[row["time_unit"]] for row in rows
            if row["aggregate_name"] == "median"}


def main():
    program = sys.argv[1] if len(sys.argv) > 1 else "build/bench/bin/bench_forecast"
    if not pathlib.Path(program).exists():
        sys.exit(f"forecast_statsmodels_times.py: no program {program}: build it with `make bench`")
    frame = pandas.read_csv(ROOT / "tests" / "data" / "us_macro.csv")
    warnings.filterwarnings("ignore", message="forecast cov")
    fit = VAR(100 * numpy.diff(numpy.log(frame[["realgdp", "realcons", "realinv"]].values), axis=0)).fit(4)
    last = fit.endog[-4:]

    times = ours(program)
    print(f"statsmodels {statsmodels.__version__}")
    print("| work | size | tessel | package | its time | ratio |\n|---|---|---|---|---|---|")
    for name, who, work, repeats in (
            ("FnDynForc, errors/VAR(4) of 3, 100 steps", "forecast_interval", lambda: fit.forecast_interval(last, 100), 21),
            ("FnDynForc, coefficients/VAR(4) of 3, 24 steps", 'forecast and forecast_cov("auto")',
             lambda: (fit.forecast(last, 24), fit.forecast_cov(24, method="auto")), 5)):
        elapsed, mine = seconds(work, repeats), times[name + "/tessel"]
        print("| " + " | ".join([*name.split("/"), f"{mine * 1e3:.3g} ms", who, f"{elapsed * 1e3:.4g} ms",
                                 f"{elapsed / mine:.3g}"]) + " |")


main()
