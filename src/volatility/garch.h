// Conditional variance recursions: GARCH with a shift and a threshold, and EGARCH, each with a variance term in the
// mean. Both run at given parameters and give the paths of the variance and of the residuals.
//
// Bollerslev, T. (1986), Generalized autoregressive conditional heteroskedasticity, Journal of Econometrics 31.
// Nelson, D.B. (1991), Conditional heteroskedasticity in asset returns, Econometrica 59.
// Glosten, L., Jagannathan, R. and Runkle, D. (1993), Journal of Finance 48.
#pragma once

namespace tessel {

// What the residual e_t = y_t - delta f takes off the series, with h the variance: f = h for kind 1, sqrt(h) for 2,
// log(h) for 3, and nothing for any other kind.
struct VarianceInMean {
  int kind = 0;
  double delta = 0.0;
};

// h_t = c_t + sum of alpha_j (e_(t-j) - shift)^2, j <= q + sum of B_j h_(t-j), j <= p
//     + threshold (e_(t-1) - shift)^2 when e_(t-1) is below the shift,
// added up in this order. Before the sample, squares and variances are the mean square of y, and there is no threshold
// term. Neither a negative variance nor its logarithm is tested.
struct GarchModel {
  int garchTerms = 0;                    // p
  int archTerms = 0;                     // q
  const double *coefficients = nullptr;  // one cell not read, A_1 to A_max(p, q), B_1 to B_p; alpha_j = A_j - B_j
  VarianceInMean inMean;
  double shift = 0.0;
  double threshold = 0.0;
};

// Fills h and e (n values each) from y and the intercepts c. 1, or 0 with nothing filled when work memory fails.
int GarchVariances(const GarchModel &model, const double *y, const double *c, int n, double *h, double *e);

// l_t = log h_t = c_t + sum of a_j g_(t-j) + sum of b_j l_(t-j), with the news g_t = scale (|z_t| - mean) + sign z_t of
// z_t = e_t / sqrt(h_t). Before the sample the news is 0 and l is the logarithm of the mean square of y. l above 709 is
// taken as 709; the stored l is the bounded one from t = max(na, nb) on, and the one before the bound earlier.
struct EgarchModel {
  int newsTerms = 0;             // na
  const double *news = nullptr;  // a
  int lagTerms = 0;              // nb
  const double *lags = nullptr;  // b
  double sign = 0.0, scale = 0.0, mean = 0.0;
  VarianceInMean inMean;
};

// Fills l and e (n values each). Without work memory both are zero.
void EgarchVariances(const EgarchModel &model, const double *y, const double *c, int n, double *l, double *e);

}  // namespace tessel
