// Multinomial and conditional logit: probabilities, likelihood, derivatives.
#include "limdep/logit.h"

#include <algorithm>
#include <cmath>

#include "core/heap.h"
#include "linalg/cross_products.h"

namespace tessel {

namespace {

// Adds the score contribution w r (x) x to g, with r the residual of each outcome and w its weight.
void AddScore(const LogitSample &sample, int t, double w, const double *r, double *g) {
  const int outcomes = sample.outcomes, k = sample.regressors;
  for (int j = 1; j < outcomes && k > 0; ++j) AddScaled(g + std::int64_t{j - 1} * k, w * r[j], sample.x[t], k);
  double *gamma = g + sample.FirstGamma();
  for (int m = 0; m < sample.characteristics; ++m)
    gamma[m] += w * AddDotProduct(0.0, r, sample.z[t] + std::int64_t{m} * outcomes, outcomes);
}

// Weights of x x' in the blocks (j, l), l <= j, of the information of beta: c p_j (1{j = l} - p_l).
void BetaWeights(int outcomes, const double *p, double c, double *weight) {
  for (int j = 1; j < outcomes; ++j) {
    for (int l = 1; l < j; ++l) *weight++ = -c * p[j] * p[l];
    *weight++ = c * p[j] * (1.0 - p[j]);
  }
}

// Adds one observation to the rows of gamma, lower triangle, with the weight c. Its characteristics are centred on the
// way: z_mj becomes z_mj less the sum over l of p_l z_ml.
void AddGammaInformation(const LogitSample &sample, int t, const double *p, double c, RowMatrix information) {
  const int outcomes = sample.outcomes, k = sample.regressors, first = sample.FirstGamma();
  for (int m = 0; m < sample.characteristics; ++m) {
    double *z = sample.z[t] + std::int64_t{m} * outcomes;
    const double mean = AddDotProduct(0.0, p, z, outcomes);
    for (int j = 0; j < outcomes; ++j) z[j] -= mean;

    double *row = information[first + m];
    for (int j = 1; j < outcomes && k > 0; ++j)
      AddScaled(row + std::int64_t{j - 1} * k, c * p[j] * z[j], sample.x[t], k);
    for (int m2 = 0; m2 <= m; ++m2) {
      const double *z2 = sample.z[t] + std::int64_t{m2} * outcomes;
      double sum = 0.0;
      for (int j = 0; j < outcomes; ++j) sum += p[j] * z[j] * z2[j];
      row[first + m2] += c * sum;
    }
  }
}

// The blocks of beta, in the order of BetaWeights, go to their places.
void StoreBetaInformation(const LogitSample &sample, CrossProducts &sums, RowMatrix information) {
  const int k = sample.regressors;
  std::int64_t s = 0;
  for (int j = 0; j < sample.outcomes - 1; ++j)
    for (int l = 0; l <= j; ++l) sums.Store(s++, information, j * k, l * k, l < j);
}

// What was observed: the log-likelihood with weight 1, the residuals r, and the number of cases N.
double Observe(const LogitSample &sample, int t, const double *p, double *r, double *cases) {
  const int outcomes = sample.outcomes;
  if (!sample.counts) {
    const int y = TruncateToInt(sample.y[t][0]);
    for (int j = 0; j < outcomes; ++j) r[j] = -p[j];
    r[y] = 1.0 - p[y];
    *cases = 1.0;
    return std::log(p[y]);
  }
  const double *count = sample.y[t];
  double total = 0.0, logLik = 0.0;
  for (int j = 0; j < outcomes; ++j) total += count[j];
  for (int j = 0; j < outcomes; ++j) {
    logLik += count[j] * std::log(p[j]);
    r[j] = count[j] - total * p[j];
  }
  *cases = total;
  return logLik;
}

}  // namespace

void LogitProbabilities(const LogitSample &sample, const double *theta, int t, double *p) {
  const int outcomes = sample.outcomes, k = sample.regressors;
  const double *gamma = theta + sample.FirstGamma();
  double shift = 0.0;
  for (int j = 0; j < outcomes; ++j) {
    double eta = sample.offset != nullptr ? sample.offset[t][j] : 0.0;
    if (j > 0 && k > 0) eta += AddDotProduct(0.0, sample.x[t], theta + std::int64_t{j - 1} * k, k);
    double common = 0.0;
    for (int m = 0; m < sample.characteristics; ++m) common += sample.z[t][std::int64_t{m} * outcomes + j] * gamma[m];
    p[j] = eta + common;
    shift = std::max(shift, p[j]);
  }
  double sum = 0.0;
  for (int j = 0; j < outcomes; ++j) sum += p[j] = std::exp(p[j] - shift);
  for (int j = 0; j < outcomes; ++j) p[j] = BoundProbability(p[j] / sum);
}

double LogitLikelihood(const LogitSample &sample, const double *theta, const LikelihoodOutputs &out) {
  const int outcomes = sample.outcomes, k = sample.regressors;
  const bool wantInformation = out.information != nullptr;
  OwnedBlock<double> p(outcomes), r(outcomes);
  OwnedBlock<double> betaWeight;
  CrossProducts betaInformation;
  if (wantInformation) {
    const std::int64_t blocks = k > 0 ? std::int64_t{outcomes - 1} * outcomes / 2 : 0;
    betaWeight = OwnedBlock<double>(blocks);
    betaInformation = CrossProducts(blocks, k);
  }
  if (!p || !r || (wantInformation && (!betaWeight || !betaInformation))) return MissingValue();
  ZeroDerivatives(out);

  OwnedBlock<double> contribution;
  CrossProducts outerProduct;
  if (out.outerProduct != nullptr) {
    contribution = OwnedBlock<double>(out.parameters);
    outerProduct = CrossProducts(1, out.parameters);
  }

  double total = 0.0;
  for (int t = 0; t < sample.observations; ++t) {
    const double w = sample.weight != nullptr ? sample.weight[t] : 1.0;
    double cases = 0.0;
    LogitProbabilities(sample, theta, t, p.get());
    const double logLik = w * Observe(sample, t, p.get(), r.get(), &cases);
    total += logLik;
    if (out.fitted != nullptr) std::copy_n(p.get(), outcomes, out.fitted[t]);
    if (out.logLik != nullptr) out.logLik[t] = logLik;

    if (out.score != nullptr) AddScore(sample, t, w, r.get(), out.score);
    if (outerProduct && contribution) {
      std::fill_n(contribution.get(), out.parameters, 0.0);
      AddScore(sample, t, w, r.get(), contribution.get());
      AddOuterProduct(outerProduct, contribution.get());
    }
    if (wantInformation) {
      if (k > 0) {
        BetaWeights(outcomes, p.get(), w * cases, betaWeight.get());
        betaInformation.Add(sample.x[t], betaWeight.get());
      }
      AddGammaInformation(sample, t, p.get(), w * cases, out.information);
    }
  }

  if (wantInformation) {
    if (k > 0) StoreBetaInformation(sample, betaInformation, out.information);
    MirrorLowerTriangle(out.information, out.parameters);
  }
  if (outerProduct && contribution) outerProduct.Store(0, out.outerProduct, 0, 0, true);
  return total;
}

void LogitProbDerivatives(const double *theta, int regressors, int outcomes, int characteristics, const double *p,
                          RowMatrix out) {
  const int k = regressors;
  for (int i = 0; i < k; ++i) {
    const auto beta = [&](int j) { return j == 0 ? 0.0 : theta[std::int64_t{j - 1} * k + i]; };
    double mean = 0.0;
    for (int l = 1; l < outcomes; ++l) mean += p[l] * beta(l);
    for (int j = 0; j < outcomes; ++j) out[i][j] = p[j] * (beta(j) - mean);
  }
  const double *gamma = theta + std::int64_t{outcomes - 1} * k;
  for (int m = 0; m < characteristics; ++m)
    for (int j = 0; j < outcomes; ++j) out[k + m][j] = p[j] * (1.0 - p[j]) * gamma[m];
}

}  // namespace tessel
