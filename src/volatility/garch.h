// Conditional variance recursions: GARCH with an asymmetry, and EGARCH, each with a variance term in the mean. Both run
// at given parameters and give the paths of the variance and of the residuals.
//
// Bollerslev, T. (1986), Generalized autoregressive conditional heteroskedasticity, Journal of Econometrics 31,
// 307-327.
// Engle, R.F., Lilien, D.M. and Robins, R.P. (1987), Estimating time varying risk premia in the term structure: the
// ARCH-M model, Econometrica 55, 391-407: the variance in the mean.
// Engle, R.F. and Ng, V.K. (1993), Measuring and testing the impact of news on volatility, Journal of Finance 48,
// 1749-1778: the centre of asymmetry.
// Glosten, L.R., Jagannathan, R. and Runkle, D.E. (1993), On the relation between the expected value and the volatility
// of the nominal excess return on stocks, Journal of Finance 48, 1779-1801: the leverage term.
// Nelson, D.B. (1991), Conditional heteroskedasticity in asset returns: a new approach, Econometrica 59, 347-370.
#pragma once

#include <span>

#include "core/status.h"

namespace tessel {

// The function f of the variance h that stands in the mean.
enum class VarianceTerm {
  None,               // 0
  Variance,           // h
  StandardDeviation,  // sqrt(h)
  LogVariance         // log(h)
};

// The residual is e_t = y_t - delta f(h_t).
struct VarianceInMean {
  VarianceTerm term = VarianceTerm::None;
  double delta = 0.0;
};

// The series y_t without its mean, and the intercepts c_t of the variance equation: T each.
struct VarianceSeries {
  std::span<const double> y;
  std::span<const double> intercept;
};

// Where the recursions leave their paths, T each: the conditional variances h_t (EGARCH: their logarithms l_t) and the
// residuals e_t.
struct VariancePaths {
  std::span<double> variance;
  std::span<double> residual;
};

// GARCH(p, q):
//   h_t = c_t + sum over j = 1..q of alpha_j (e_(t-j) - tau)^2 + sum over j = 1..p of beta_j h_(t-j)
//       + gamma (e_(t-1) - tau)^2 1{e_(t-1) < tau},
// added up in this order. Before the sample, squares and variances are the mean square of y, and there is no leverage
// term.
struct GarchModel {
  std::span<const double> arch;   // alpha_1, ..., alpha_q
  std::span<const double> garch;  // beta_1, ..., beta_p
  VarianceInMean inMean;
  double asymmetryCentre = 0.0;  // tau
  double leverage = 0.0;         // gamma
};

// Fills the paths. Nothing is tested: a variance may come out at 0 or below, and its root or logarithm is then what
// arithmetic gives.
void GarchVariances(const GarchModel &model, const VarianceSeries &series, const VariancePaths &paths);

// EGARCH:
//   l_t = log h_t = c_t + sum over j = 1..na of a_j g_(t-j) + sum over j = 1..nb of b_j l_(t-j)
//   z_t = e_t exp(-l_t / 2)
//   g_t = theta1 (|z_t| - m) + theta2 z_t
// Before the sample the news g is 0 and l is the logarithm of the mean square of y. Where l_t exceeds 709, and exp(l_t)
// is about to overflow, e_t and z_t take 709 for it. The path, which the later steps of the recursion read, holds 709
// there from t = max(na, nb) on, and l_t as it came out earlier.
struct EgarchModel {
  std::span<const double> news;         // a_1, ..., a_na
  std::span<const double> persistence;  // b_1, ..., b_nb
  double sizeEffect = 0.0;              // theta1
  double signEffect = 0.0;              // theta2
  double expectedSize = 0.0;            // m, the mean of |z|
  VarianceInMean inMean;
};

// Fills the paths. NoMemory: nothing is filled.
Status EgarchVariances(const EgarchModel &model, const VarianceSeries &series, const VariancePaths &paths);

}  // namespace tessel
