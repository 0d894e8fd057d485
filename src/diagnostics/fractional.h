// Exact autocovariances of a stationary fractionally integrated ARMA process,
//   Phi(L) (1-L)^d y_t = Theta(L) e_t,  Phi(L) = 1 - phi_1 L - ... - phi_p L^p,  Theta(L) = 1 + theta_1 L + ...,
// at the cost of one hypergeometric series for each autoregressive root, and linear in the number of lags.
//
// Accuracy, as measured against 30-digit integrals of the spectral density, relative to the variance: 1e-14 for well
// separated roots up to 0.8 in modulus, 1e-13 for one of 0.99, 3e-12 for one of 0.996. From about 0.997 on the series
// is cut off before it has converged (a warning on the standard output tells so): 4e-10 for 0.998. Two roots 1e-5 apart
// cost 4e-12.
//
// Literature: Sowell (1992), Journal of Econometrics 53, 165-188. Doornik and Ooms (2003), Computational Statistics and
// Data Analysis 42, 333-348.
#pragma once

namespace tessel {

struct FractionalProcess {
  double d = 0;
  const double *phi = nullptr;    // p coefficients
  const double *theta = nullptr;  // q coefficients
  int p = 0;
  int q = 0;
  double sigma2 = 0;  // variance of e_t
};

enum class FracStatus {
  Success = 0,
  DegreeTooLarge = 1,    // |d| above 5
  VarianceTooSmall = 2,  // sigma2 at or below 0.0001
  NotStationary = 4,     // a root of modulus at or above 0.9999
  NoRoots = 6,           // the root finder failed, or had no memory
  EqualRoots = 7,        // equal roots, or roots with a product near 1
  NoMemory = 10
};

// autocov: n cells, n at least 1; cell k receives the autocovariance at lag k. With any status but Success they hold
// zeros or partial sums. Nothing is asked of d but its bound: at 0.5 and beyond the variance does not exist, and with
// p above 0 a d of exactly 0 (or another whole number) gives values that are not finite.
FracStatus FracSigma(const FractionalProcess &process, int n, double *autocov);

}  // namespace tessel
