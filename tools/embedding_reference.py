#!/usr/bin/python3
"""Prints examples/embedding/poisson.out: the regression of poisson.cpp, estimated by statsmodels."""
import pathlib

import pandas
import statsmodels.api as sm

data = pandas.read_csv(pathlib.Path(__file__).parent.parent / "examples/data/health_visits.csv")
fit = sm.Poisson(data.iloc[:, 0], sm.add_constant(data.iloc[:, 1:])).fit(method="newton", maxiter=100, tol=1e-14, disp=0)
print(f"{'':10} {'estimate':>12} {'std.error':>12}")
for name, estimate, error in zip(["constant", *data.columns[1:]], fit.params, fit.bse):
    print(f"{name:10} {estimate:12.6f} {error:12.6f}")
print(f"log-likelihood {fit.llf:.6f}, {len(data)} observations")
