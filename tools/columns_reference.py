#!/usr/bin/python3
"""The tables of tests/end_to_end/algebra_columns_test.cpp and tests/series/series_test.cpp: statsmodels, numpy and scipy
over a run of the observations 1 to 10 of the series below, with dense matrices, and plain transcriptions of the search
for a smoothing parameter and of the sort."""
import math
import sys

import numpy as np
from scipy import stats
from scipy.interpolate import CubicSpline
from scipy.linalg import toeplitz
from statsmodels.tsa.filters.hp_filter import hpfilter
from statsmodels.tsa.stattools import acf

NA = math.nan
w = np.array([7, 2.1, 3.4, 3.9, 5.2, 4.4, 6.8, 8.1, 7.3, 7.9, 9.6, 4])
x = w.copy()
x[[1, 6, 7, 10]] = NA
wr, xr = w[1:11], x[1:11]


def row(code, run):
    print('      {"%s", {%s}},' % (code, ", ".join("NA" if math.isnan(v) else "%.8g" % v for v in run)))


def partial(r):
    """The last coefficients of autoregressions of the orders 1, 2, ... by the equations of Yule and Walker."""
    return [1] + [np.linalg.solve(toeplitz(r[:k]), r[1:k + 1])[-1] for k in range(1, len(r))]


def periodogram(series):
    return np.abs(np.fft.fft(series - series.mean())) ** 2 / (2 * math.pi * len(series))


# ---- Smoothers: each gives the fit and its count, residual sum of squares and trace

def kernel(series, h):
    at = np.arange(len(series))
    u = (at[:, None] - at[None, :]) / h
    seen = ~np.isnan(series)
    k = np.where(abs(u) <= 1, 0.75 * (1 - u * u), 0.0)[:, seen]
    with np.errstate(invalid="ignore"):
        hat = k / k.sum(axis=1, keepdims=True)
        fit = (k * series[seen]).sum(axis=1) / k.sum(axis=1)  # of a constant series the constant, to the bit
    return fit, seen.sum(), ((series - fit)[seen] ** 2).sum(), np.trace(hat[seen])


def spline(series, lam):
    at = np.flatnonzero(~np.isnan(series))
    h, m = np.diff(at).astype(float), len(at)
    q, r = np.zeros((m, m - 2)), np.zeros((m - 2, m - 2))
    for i in range(m - 2):
        q[i:i + 3, i] = [1 / h[i], -1 / h[i] - 1 / h[i + 1], 1 / h[i + 1]]
        r[i, i] = (h[i] + h[i + 1]) / 3
        if i + 1 < m - 2:
            r[i, i + 1] = r[i + 1, i] = h[i + 1] / 6
    hat = np.eye(m) - lam * q @ np.linalg.solve(r + lam * q.T @ q, q.T)
    fit = hat @ series[at]
    curve = CubicSpline(at, fit, bc_type="natural")
    inner = curve(np.clip(np.arange(len(series)), at[0], at[-1]))
    inner += curve(at[0], 1) * np.minimum(np.arange(len(series)) - at[0], 0)
    inner += curve(at[-1], 1) * np.maximum(np.arange(len(series)) - at[-1], 0)
    return inner, m, ((series[at] - fit) ** 2).sum(), np.trace(hat)


def search(smoother, series, v, target, limit, positive):
    """The fit that the search ends with."""
    last = []

    def f(value):
        last[:], c, rss, t = smoother(series, value)
        q = 1.25 * t - 0.5
        if target >= 1:
            return (target - t) ** 2, t
        return (c * rss / (c - q) ** 2 if q < c else sys.float_info.max), t

    (B, tH), (C, tL) = f(v), f(v / 2)
    hi = mid = v
    lo = v / 2
    steps = 0
    if B > C:
        while steps < limit and B > C:
            hi, mid, lo = mid, lo, lo / 2
            B, C = C, f(lo)[0]
            steps += 1
    else:
        mid, A, B = lo, B, C
        while steps < limit and B > A and (A > 0 or not positive):
            lo, mid, hi = mid, hi, 2 * hi
            B, A = A, f(hi)[0]
            steps += 1
    for _ in range(50):
        p = lo + (mid - lo) / 2
        fp, t = f(p)
        if B > fp:
            hi, mid, B = mid, p, fp
        else:
            lo, tL = p, t
        q = hi - (hi - mid) / 2
        fq, t = f(q)
        if B > fq:
            lo, mid, B = mid, q, fq
        else:
            hi, tH = q, t
        if 0.0001 * tH > abs(tL - tH):
            break
    return list(last)


def bandwidth(series):
    n = len(series)
    return 0.75 * math.sqrt((n * n - 1) / 12) * n ** -0.2


row("acf(x, e, f)", acf(xr, nlags=9, fft=False, missing="conservative"))
row("pacf(w, e, f)", partial(acf(wr, nlags=9, fft=False)))
row("periodogram(w, e, f)", [0] + list(periodogram(wr)[1:]))
row("smooth_hp(w, 0, e)", hpfilter(wr, 1600)[1])
row("smooth_hp(x, 5.5, e)", [77] + list(hpfilter(xr[1:5], 5.5)[1]) + [77] * 5)
row("smooth_np(x, -2, e)", kernel(xr, 2)[0])
row("smooth_np(w, 0, e)", search(kernel, wr, bandwidth(wr), 0, 20, True))
row("smooth_np(w, 4.6, e)", search(kernel, wr, 4.6, 5, 20, True))
row("smooth_sp(x, -2.5, e)", spline(xr, 2.5)[0])
row("smooth_sp(w, 0, e)", search(spline, wr, 1600, 0, 50, False))
row("smooth_sp(x, 4, e)", search(spline, xr, 4, 4, 50, False))
for code, value in {
    "quann(0.975)": stats.norm.ppf(0.975),
    "quanchi(0.05, 3.5)": stats.chi2.ppf(0.05, 3.5),
    "quant(0.05, 7.9)": stats.t.ppf(0.05, 7),
    "quanf(0.95, 4.5, 7)": stats.f.ppf(0.95, 4.5, 7),
}.items():
    print('      "abs(%s/(%.13g) - 1) < 1.0e-8",' % (code, value))

# A constant with gaps: how many cells the last fit reaches.
ones = np.array([1 if i % 3 == 0 and i < 30 else NA for i in range(40)])
print("perfect score", np.isfinite(search(kernel, ones, bandwidth(ones), 0, 20, True)).sum())

# ---- The search alone, over a smoother of which count and residuals are given: fits, and the last parameter

def tried(count, rising, alpha, automatic, limit, positive):
    parameters = []

    def model(_, v):
        parameters.append(v)
        return [v], count, 10 + v if rising else 0, 2 + 60 / (1 + v)

    start = automatic if abs(alpha) <= 1e-10 else abs(alpha)
    if alpha < -1e-20:
        model(None, start)
    else:
        search(model, None, start, 0 if abs(alpha) <= 1e-20 else math.floor(alpha + 0.5), limit, positive)
    print("      {%d, %s, %r, %r, %d, %s, %d, %r}," % (count, str(rising).lower(), alpha, automatic, limit,
                                                     str(positive).lower(), len(parameters), parameters[-1]))


for alpha, automatic, limit in ((0, 8, 20), (-1e-20, 8, 20), (-1.1e-20, 8, 20), (-1e-10, 8, 20), (-1.1e-10, 8, 20),
                                (1e-10, 8, 20), (1.1e-10, 8, 50), (0, 1e-4, 20), (0, 1e6, 3), (0, 1e-4, 3),
                                (0.4, 8, 20), (0.5, 8, 20), (30.4, 8, 20), (500, 8, 20), (500, 8, 50)):
    tried(100, True, alpha, automatic, limit, False)
for positive in (False, True):
    tried(52, False, 0, 1.0, 20, positive)


# ---- The sort

def sort(key, other):
    def exchange(i, j):
        key[i], key[j] = key[j], key[i]
        other[i], other[j] = other[j], other[i]

    def order(i, j):
        if key[i] > key[j]:
            exchange(i, j)

    def sift(lo, i, h):
        while 3 * i - 2 * lo + 1 <= h:
            c = 3 * i - 2 * lo + 1
            largest = max((k for k in (c, c + 1, c + 2) if k <= h), key=lambda k: (key[k], -k))
            if not key[largest] > key[i]:
                return
            exchange(i, largest)
            i = largest

    def heapsort(lo, hi):
        for k in range((hi - lo - 1) // 3, -1, -1):
            sift(lo, lo + k, hi)
        for e in range(hi, lo, -1):
            exchange(lo, e)
            sift(lo, lo, e - 1)

    def cells(lo, hi, depth):
        while True:
            d = hi - lo
            if d <= 0:
                return
            if d <= 3:
                for i, j in [(0, 1), (1, 2), (2, 3)] * (d == 3) + [(0, 1), (1, 2)] * (d >= 2) + [(0, 1)]:
                    order(lo + i, lo + j)
                return
            m = (lo + hi) // 2
            order(lo, m), order(m, hi), order(lo, m)
            pivot, i, j = key[m], lo - 1, hi + 1
            while True:
                i += 1
                while key[i] < pivot:
                    i += 1
                j -= 1
                while key[j] > pivot:
                    j -= 1
                if i >= j:
                    break
                exchange(i, j)
            depth += 1
            if depth >= 32:
                heapsort(lo, j), heapsort(j + 1, hi)
                return
            cells(lo, j, depth)
            lo = j + 1

    k = 0
    for i in range(len(key)):
        if math.isnan(key[i]):
            if i > k:
                exchange(i, k)
            k += 1
    cells(k, len(key) - 1, 0)


def killer(n, rest):
    """Keys of which the median of three is always the second smallest."""
    ids, key = list(range(n)), [1e6 + i % rest for i in range(n)]
    for lo in range(0, 70, 2):
        m = (lo + n - 1) // 2
        key[ids[lo]], key[ids[m]] = lo, lo + 1
        ids[lo + 1], ids[m] = ids[m], ids[lo + 1]
    return key


n = 3000
for name, keys in {"ties": [NA if i % 11 == 3 else i * i % 101 for i in range(n)],
                   "distinct": [i * 7919 % n for i in range(n)],
                   "killer": killer(n, 97)}.items():
    places = list(range(n))
    sort(keys, places)
    print(name, sum((i + 1) * p for i, p in enumerate(places)))
