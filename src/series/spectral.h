// Autocorrelations, partial autocorrelations and the periodogram of a series.
//
// The work is of order n^2 in the length n of the series. Sums run in the order of the observations. Inputs and outputs
// may not overlap.
//
// Literature: Box, Jenkins and Reinsel, Time Series Analysis: Forecasting and Control (1994), chapters 2 and 3.
// Priestley, Spectral Analysis and Time Series (1981), chapter 6. Durbin, The fitting of time-series models, Revue de
// l'Institut International de Statistique 28 (1960), 233-244.
#pragma once

#include <span>

#include "core/status.h"

namespace tessel {

// Autocorrelations at the lags 0, 1, ..., one for each cell of out:
//   r_k = sum_t (x_t - m)(x_(t+k) - m) / sum_t (x_t - m)^2
// with m the mean of the values. Missing cells are passed over, and so are pairs with one; the divisor stays the sum of
// all squared deviations. 1 at lag 0; 0 at the others when the divisor is below 1e-20. Invalid, with nothing written,
// for no lag at all or for more than cells of x.
Status Correlogram(std::span<const double> x, std::span<double> out);

// Partial autocorrelations at the lags 0, 1, ... from as many autocorrelations r, by the recursion of Durbin and
// Levinson: p_0 = 1, p_1 = r_1 / r_0, and from a_0 = p_1, v = 1 - p_1^2 on for k = 1, 2, ...
//   p_(k+1) = (r_(k+1) - sum_(j<k) a_j r_(k-j)) / (v r_0);   a_j' = a_j - p_(k+1) a_(k-1-j), a_k' = p_(k+1),
//   v' = v (1 - p_(k+1)^2).
// Singular: a partial autocorrelation of 1 or -1 stopped the recursion, and out keeps its cells from there on. NoMemory
// and Invalid (the lengths differ): nothing is written.
Status PartialCorrelogram(std::span<const double> r, std::span<double> out);

// The periodogram at the frequencies w = 2 pi j / n, j from 0 to n / 2, the length of out less 1:
//   (c_0 + 2 sum_k c_k cos(k w)) / (2 pi),   c_k = sum_t (x_t - m)(x_(t+k) - m) / n,
// the Fourier transform of the sample autocovariances around the mean m; 0 at frequency 0. A missing cell makes all of
// it missing but out[0]. NoMemory and Invalid (no cell, or another length of out): nothing is written.
Status Periodogram(std::span<const double> x, std::span<double> out);

}  // namespace tessel
