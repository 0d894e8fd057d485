// Multinomial and conditional logit: probabilities, likelihood, derivatives.
#include "limdep/logit.h"

#include <algorithm>
#include <cmath>

#include "core/heap.h"
#include "linalg/cross_products.h"

namespace tessel {

namespace {

// What was observed, as the derivatives need it.
struct Observed {
  double logLik;  // with weight 1
  double cases;   // N
};

// Also fills the J residuals r.
Observed Observe(const LogitSample &sample, int t, const double *p, double *r) {
  const int outcomes = sample.outcomes;
  if (!sample.counts) {
    const int y = TruncateToInt(sample.y[t][0]);
    for (int j = 0; j < outcomes; ++j) r[j] = -p[j];
    r[y] = 1.0 - p[y];
    return {std::log(p[y]), 1.0};
  }
  const double *count = sample.y[t];
  double cases = 0.0, logLik = 0.0;
  for (int j = 0; j < outcomes; ++j) cases += count[j];
  for (int j = 0; j < outcomes; ++j) {
    logLik += count[j] * std::log(p[j]);
    r[j] = count[j] - cases * p[j];
  }
  return {logLik, cases};
}

// Adds the score contribution of weight w with the residuals r to g.
void AddScore(const LogitSample &sample, const LogitShape &shape, int t, double w, const double *r, double *g) {
  const auto [outcomes, k, characteristics] = shape;
  for (int j = 1; j < outcomes && k > 0; ++j) AddMultiple(g + std::int64_t{j - 1} * k, w * r[j], sample.x[t], k);
  double *gamma = g + shape.FirstGamma();
  for (int m = 0; m < characteristics; ++m)
    gamma[m] += w * LinearIndex(r, sample.z[t] + std::int64_t{m} * outcomes, outcomes);
}

// Weights of x x' in the blocks (j, l), l <= j, of the information of beta: c p_j (1{j = l} - p_l).
void BetaWeights(int outcomes, const double *p, double c, double *weight) {
  for (int j = 1; j < outcomes; ++j) {
    for (int l = 1; l < j; ++l) *weight++ = -c * p[j] * p[l];
    *weight++ = c * p[j] * (1.0 - p[j]);
  }
}

// Adds observation t to the rows of gamma in the lower triangle of the information matrix, with the weight c. `centred`
// receives the row z~; it may be the row of z itself.
void AddGammaInformation(const LogitSample &sample, int t, const double *p, double c, double *centred,
                         Matrix information) {
  const LogitShape shape = sample.Shape();
  const auto [outcomes, k, characteristics] = shape;
  const std::int64_t first = shape.FirstGamma();
  for (int m = 0; m < characteristics; ++m) {
    const double *z = sample.z[t] + std::int64_t{m} * outcomes;
    double *own = centred + std::int64_t{m} * outcomes;
    const double mean = LinearIndex(p, z, outcomes);
    for (int j = 0; j < outcomes; ++j) own[j] = z[j] - mean;

    double *row = information[first + m];
    for (int j = 1; j < outcomes && k > 0; ++j)
      AddMultiple(row + std::int64_t{j - 1} * k, c * p[j] * own[j], sample.x[t], k);
    for (int m2 = 0; m2 <= m; ++m2) {
      const double *other = centred + std::int64_t{m2} * outcomes;
      double sum = 0.0;
      for (int j = 0; j < outcomes; ++j) sum += p[j] * own[j] * other[j];
      row[first + m2] += c * sum;
    }
  }
}

// The information matrix while observations are added: the blocks of beta in sums of their own, the rows of gamma in
// the output itself.
class LogitInformation {
 public:
  // Without an output there is nothing to do and no memory is taken.
  LogitInformation(const LogitSample &sample, Matrix information, Matrix centred)
      : sample_(sample), shape_(sample.Shape()), information_(information), centred_(centred) {
    if (!information) return;
    const std::int64_t outcomes = shape_.outcomes;
    const std::int64_t blocks = shape_.regressors > 0 ? (outcomes - 1) * outcomes / 2 : 0;
    betaWeight_ = OwnedBlock<double>(blocks);
    beta_ = CrossProducts(blocks, shape_.regressors);
    if (!centred_) centredRow_ = OwnedBlock<double>(shape_.characteristics * outcomes);
    failed_ = !betaWeight_ || !beta_ || (!centred_ && !centredRow_);
  }
  bool Failed() const { return failed_; }

  // Adds observation t with the probabilities p and the weight c.
  void Add(int t, const double *p, double c) {
    if (!information_) return;
    if (shape_.regressors > 0) {
      BetaWeights(shape_.outcomes, p, c, betaWeight_.get());
      beta_.Add(sample_.x[t], betaWeight_.get());
    }
    if (shape_.characteristics > 0)
      AddGammaInformation(sample_, t, p, c, centred_ ? centred_[t] : centredRow_.get(), information_);
  }

  // The blocks of beta, in the order of BetaWeights, go to their places, and the lower triangle to the upper one.
  void Finish() {
    const int k = shape_.regressors;
    std::int64_t s = 0;
    for (int j = 0; information_ && k > 0 && j < shape_.outcomes - 1; ++j)
      for (int l = 0; l <= j; ++l) beta_.Store(s++, information_.Block(j * k, k, l * k, k), l < j);
    MirrorLower(information_);
  }

 private:
  const LogitSample &sample_;
  LogitShape shape_;
  Matrix information_, centred_;
  CrossProducts beta_;
  OwnedBlock<double> betaWeight_;
  OwnedBlock<double> centredRow_;  // work memory where z~ is not kept
  bool failed_ = false;
};

// LogitProbabilities with the sizes known.
void Probabilities(const LogitSample &sample, const LogitShape &shape, const double *theta, int t, double *p) {
  const auto [outcomes, k, characteristics] = shape;
  const double *gamma = theta + shape.FirstGamma();
  double highest = 0.0;  // of 0 and all eta_j; taken off, it keeps exp from overflowing
  for (int j = 0; j < outcomes; ++j) {
    double eta = sample.offset ? sample.offset[t][j] : 0.0;
    if (j > 0 && k > 0) eta += LinearIndex(sample.x[t], theta + std::int64_t{j - 1} * k, k);
    double common = 0.0;
    for (int m = 0; m < characteristics; ++m) common += sample.z[t][std::int64_t{m} * outcomes + j] * gamma[m];
    p[j] = eta + common;
    highest = std::max(highest, p[j]);
  }
  double sum = 0.0;
  for (int j = 0; j < outcomes; ++j) sum += p[j] = std::exp(p[j] - highest);
  for (int j = 0; j < outcomes; ++j) p[j] = BoundProbability(p[j] / sum);
}

}  // namespace

void LogitProbabilities(const LogitSample &sample, std::span<const double> theta, int t, std::span<double> p) {
  Probabilities(sample, sample.Shape(), theta.data(), t, p.data());
}

Likelihood LogitLikelihood(const LogitSample &sample, std::span<const double> theta, const LikelihoodOutputs &out,
                           Matrix centred) {
  const LogitShape shape = sample.Shape();
  const int outcomes = shape.outcomes, parameters = static_cast<int>(theta.size());
  OwnedBlock<double> p(outcomes), r(outcomes);
  LogitInformation information(sample, out.information, centred);
  if (!p || !r || information.Failed()) return {};
  ZeroDerivatives(out);

  OwnedBlock<double> contribution;
  CrossProducts outerProduct;
  if (out.outerProduct) {
    contribution = OwnedBlock<double>(parameters);
    if (contribution) outerProduct = CrossProducts(1, parameters);
  }

  double total = 0.0;
  for (int t = 0; t < sample.y.rows; ++t) {
    const double w = sample.weight.empty() ? 1.0 : sample.weight[static_cast<std::size_t>(t)];
    Probabilities(sample, shape, theta.data(), t, p.get());
    const Observed observed = Observe(sample, t, p.get(), r.get());
    const double logLik = w * observed.logLik;
    total += logLik;
    if (out.fitted) std::copy_n(p.get(), outcomes, out.fitted[t]);
    if (!out.logLik.empty()) out.logLik[static_cast<std::size_t>(t)] = logLik;

    if (!out.score.empty()) AddScore(sample, shape, t, w, r.get(), out.score.data());
    if (outerProduct) {
      std::fill_n(contribution.get(), parameters, 0.0);
      AddScore(sample, shape, t, w, r.get(), contribution.get());
      AddOuterProduct(outerProduct, contribution.get());
    }
    information.Add(t, p.get(), w * observed.cases);
  }

  information.Finish();
  if (outerProduct) outerProduct.Store(0, out.outerProduct, true);
  return {out.outerProduct && !outerProduct ? Status::NoMemory : Status::Ok, total};
}

void LogitProbDerivatives(std::span<const double> theta, int regressors, std::span<const double> p, Matrix out) {
  const int k = regressors, outcomes = out.columns;
  const double *probability = p.data(), *betas = theta.data(), *gamma = betas + std::int64_t{outcomes - 1} * k;
  for (int i = 0; i < k; ++i) {
    const auto beta = [&](int j) { return j == 0 ? 0.0 : betas[std::int64_t{j - 1} * k + i]; };
    double mean = 0.0;
    for (int l = 1; l < outcomes; ++l) mean += probability[l] * beta(l);
    for (int j = 0; j < outcomes; ++j) out[i][j] = probability[j] * (beta(j) - mean);
  }
  for (int m = 0; m < out.rows - k; ++m)
    for (int j = 0; j < outcomes; ++j) out[k + m][j] = probability[j] * (1.0 - probability[j]) * gamma[m];
}

}  // namespace tessel
