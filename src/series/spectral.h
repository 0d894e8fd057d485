// Autocorrelations, partial autocorrelations and the periodogram of a series.
//
// The work is of order n^2 in the length of the series. Sums run in the order of the observations.
//
// Literature: Box, Jenkins and Reinsel (1994), Time Series Analysis, chapters 2 and 3. Priestley (1981), Spectral
// Analysis and Time Series, chapter 6. Durbin (1960), Revue de l'Institut International de Statistique 28.
#pragma once

namespace tessel {

// Autocorrelations of x[0] to x[n - 1] at the lags 0 to m, into out[0] to out[m]: the products of deviations from the
// mean over the pairs without a missing cell, divided by the sum of all squared deviations. 1 at lag 0; 0 at the others
// when that sum is below 1e-20. `out` may not overlap x. The number of cells that are not missing; 0, with nothing
// written, unless 0 <= m < n.
int Correlogram(const double *x, int n, int m, double *out);

// Partial autocorrelations from the autocorrelations r[0] to r[m - 1], into out[0] to out[m - 1], by the recursion of
// Durbin and Levinson; `work` holds m doubles, and none of the three may overlap. out[0] is 1. 1, or 0 when a partial
// autocorrelation of 1 or -1 stopped the recursion: out keeps its cells from there on.
int PartialCorrelogram(const double *r, int m, double *out, double *work);

// The periodogram at the frequencies 2 pi j / n, into out[0] to out[n / 2]: the Fourier sum of the sample
// autocovariances over 2 pi, and 0 at frequency 0. A missing cell makes all of it missing but out[0]. `work` holds n
// doubles; none of the three may overlap. Nothing is written for n below 1.
void Periodogram(const double *x, int n, double *out, double *work);

}  // namespace tessel
