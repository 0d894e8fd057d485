// Exact autocovariances of a stationary fractionally integrated ARMA process,
//   Phi(L) (1-L)^d y_t = Theta(L) e_t,  Phi(L) = 1 - phi_1 L - ... - phi_p L^p,  Theta(L) = 1 + theta_1 L + ...,
// at the cost of one hypergeometric series for each autoregressive root, and linear in the number of lags.
//
// Accuracy, as measured against 30-digit integrals of the spectral density, relative to the variance: 1e-14 for well
// separated roots up to 0.8 in modulus, 1e-13 for one of 0.99, 3e-12 for one of 0.996. From about 0.997 on the series
// is cut off before it has converged, which the caller is told: 4e-10 for 0.998. Two roots 1e-5 apart cost 4e-12.
//
// Literature: Sowell, F. (1992), "Maximum likelihood estimation of stationary univariate fractionally integrated time
// series models", Journal of Econometrics 53, 165-188. Doornik, J. A. and Ooms, M. (2003), "Computational aspects of
// maximum likelihood estimation of autoregressive fractionally integrated moving average models", Computational
// Statistics and Data Analysis 42, 333-348.
#pragma once

#include <span>

#include "core/status.h"

namespace tessel {

struct FractionalProcess {
  double d = 0;
  std::span<const double> phi;    // phi_1, ..., phi_p
  std::span<const double> theta;  // theta_1, ..., theta_q
  double sigma2 = 0;              // variance of e_t
};

// autocov: at least one cell; cell k receives the autocovariance at lag k. cutOffSeries receives the number of
// hypergeometric series that were cut off after 10,000 terms, short of their precision; each autoregressive root has
// one.
//
// Nothing is asked of d but its bound: at 0.5 and beyond the variance does not exist, and with p above 0 a d of exactly
// 0 (or another whole number) gives values that are not finite.
//
// NoMemory; OutOfRange: |d| above 5; NotPositive: sigma2 at or below 0.0001; NotConverged: the roots of Phi were not
// found; NotStationary: the inverse of a root has a modulus of 0.9999 or more; EqualRoots: two roots are equal, or two
// inverses have a product near 1. The cells then hold zeros or partial sums.
Status FracSigma(const FractionalProcess &process, std::span<double> autocov, int *cutOffSeries);

}  // namespace tessel
