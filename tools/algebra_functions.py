#!/usr/bin/python3
"""The table of tests/end_to_end/algebra_functions_test.cpp: pandas, numpy, scipy and statsmodels over a run of the
observations 1 to 6 of the series below."""
import math
import warnings

import numpy as np
import pandas as pd
from scipy import special, stats
from statsmodels.tsa.holtwinters import Holt

warnings.simplefilter("ignore")
NA = math.nan
x = pd.Series([2, NA, 3, 1.5, 4, NA, 2.5, 5])
w = pd.Series([1, 2, 4, 3, 5, 6, 8, 7.0])
d = pd.Series([0.1, 0.2, 0.3, 0.1, 0.5, 0.25, 0.4, 0.1])
RUN = slice(1, 7)
xr, wr, dr = x[RUN], w[RUN], d[RUN]


def row(code, run, whole=False):
    cells = list(run) if whole else [NA] + list(run) + [NA]
    print('      {"%s", {%s}},' % (code, ", ".join("NA" if math.isnan(v) else "%.13g" % v for v in cells)))


def stock(series, rates, init):
    """init prod(1 - d) + sum x[i] prod(1 - d after i), term by term."""
    keep = 1 - rates.to_numpy()
    return [init * keep[: t + 1].prod() + sum(series.iloc[i] * keep[i + 1 : t + 1].prod() for i in range(t + 1))
            for t in range(len(series))]


def weighted(values, lam):
    return np.array([sum(lam ** (t - i) * v for i, v in enumerate(values[: t + 1])) for t in range(len(values))])


row("lag(x, 1)", x.shift(1)[RUN])
row("lag(x, -2.9)", x.shift(-2)[RUN])
row("lead(x, 1)", x.shift(-1)[RUN])
row("diff(w, 2)", w.diff(2)[RUN])
row("diff(x, 1)", x.diff(1)[RUN])
row("dlog(w)", np.log(w).diff()[RUN])
row("movingavg(w, 1, 1)", w[:7].rolling(3, center=True).mean()[RUN])
row("movingavg(x, 1, 0)", x.rolling(2).mean()[RUN])
row("movingavg(w, 3, -1)", w.rolling(3).mean().shift(1)[RUN])
row("movingSD(w, 2, 0, 3)", ((w - 3) ** 2).rolling(3).mean().pow(0.5)[RUN])
row("almon(w, 2, 1.5)", w.rolling(3).apply(lambda v: np.average(v, weights=np.arange(1, 4) ** 1.5))[RUN])
row("cum(w)", wr.cumsum())
row("cum(x)", [NA, 3, 4.5, 8.5, NA, NA])
row("stock(w, 0.25, 10)", stock(wr, wr * 0 + 0.25, 10))
row("stockv(w, d, 10)", stock(wr, dr, 10))
row("stockv(x, d, -1)", [NA] + stock(x[2:5], d[2:5], -1) + [NA, NA])
row("peak(x)", xr.cummax().where(xr.notna()))
row("trough(x)", xr.cummin().where(xr.notna()))
row("mean(x)", [xr.mean()] * 6)
row("variance(x)", [xr.var(ddof=0)] * 6)
row("ewma(w, 0.3, 0, e)", wr.ewm(alpha=0.3, adjust=False).mean())
row("ewma(x, 0.3, 0, e)", xr.ewm(alpha=0.3, adjust=False, ignore_na=True).mean())
holt = Holt(w[3:7].to_numpy(), initialization_method="known", initial_level=4, initial_trend=2)
row("ewma(w, 0.3, 0.6, e)", [2, 4] + list(holt.fit(0.3, 0.6, optimized=False).level))
p, q = wr.to_numpy(), dr.to_numpy()
c = weighted(p * q, 0.7) / np.sqrt(weighted(p * p, 0.7) * weighted(q * q, 0.7))
row("ewmc0(w, d, 0.7, e)", [NA, NA] + list(c[2:]))
for code, value in {
    "loggamma(4.5)": special.gammaln(4.5),
    "densn(-0.5)": stats.norm.pdf(-0.5),
    "probn(-0.5)": stats.norm.cdf(-0.5),
    "tailn(-0.5)": stats.norm.sf(-0.5),
    "denschi(4, 3.5)": stats.chi2.pdf(4, 3.5),
    "tailchi(4, 3.5)": stats.chi2.sf(4, 3.5),
    "denst(0.7, 5.9)": stats.t.pdf(0.7, 5),
    "tailt(0.7, 5.9)": stats.t.sf(0.7, 5),
    "densf(0.7, 4.5, 7)": stats.f.pdf(0.7, 4.5, 7),
    "tailf(0.7, 4.5, 7)": stats.f.sf(0.7, 4.5, 7),
}.items():
    print('      "abs(%s/%.13g - 1) < 1.0e-10",' % (code, value))
