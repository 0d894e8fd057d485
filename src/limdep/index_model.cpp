// The likelihood of a model of one linear index.
#include "limdep/index_model.h"

#include <algorithm>

#include "core/heap.h"
#include "linalg/cross_products.h"

namespace tessel {

namespace {

// Indices are formed for so many observations ahead: their chains of additions overlap, and a branch of the model on an
// index finds it ready.
constexpr int kBatch = 8;

// The sums of cross products that the outputs need; those that they do not need stay empty.
struct Sums {
  CrossProducts information;        // v_t x_t x_t'
  CrossProducts outerProduct;       // g_t g_t'
  OwnedBlock<double> contribution;  // g_t
};

Sums SumsFor(const IndexModel &model, int k, const LikelihoodOutputs &out) {
  Sums sums;
  const int used = model.hasDispersion ? k + 1 : k;
  if (out.information && !model.informationFromScores) sums.information = CrossProducts(1, k);
  if (out.outerProduct || (out.information && model.informationFromScores)) {
    sums.contribution = OwnedBlock<double>(used);
    if (sums.contribution) sums.outerProduct = CrossProducts(1, used);
  }
  return sums;
}

}  // namespace

Likelihood IndexLikelihood(IndexModel model, const IndexSample &sample, std::span<const double> theta,
                           const LikelihoodOutputs &out) {
  const int k = sample.Regressors(), observations = sample.Observations();
  model.derivatives = out.WantDerivatives();
  Sums sums = SumsFor(model, k, out);
  CrossProducts &information = model.informationFromScores ? sums.outerProduct : sums.information;
  if (out.information && !information) return {};
  ZeroDerivatives(out);
  if (!model.fittedByObservation) FillZero(out.fitted);

  double total = 0.0;
  double index[kBatch];
  for (int t = 0; t < observations; ++t) {
    const double w = sample.weight.empty() ? 1.0 : sample.weight[static_cast<std::size_t>(t)];
    const double *x = sample.x[t];
    if (t % kBatch == 0)
      for (int v = 0; v < std::min(kBatch, observations - t); ++v)
        index[v] = LinearIndex(sample.x[t + v], theta.data(), k);
    std::span<double> fitted;
    if (out.fitted)
      fitted = {out.fitted[model.fittedByObservation ? t : 0], static_cast<std::size_t>(out.fitted.columns)};
    const IndexTerms terms = model.terms(model, index[t % kBatch], TruncateToInt(sample.y[t][0]), fitted);

    const double logLik = w * terms.logLik, dIndex = w * terms.dIndex, dDispersion = w * terms.dDispersion;
    total += logLik;
    if (!out.logLik.empty()) out.logLik[static_cast<std::size_t>(t)] = logLik;
    if (!out.score.empty()) {
      AddMultiple(out.score.data(), dIndex, x, k);
      if (model.hasDispersion) out.score[static_cast<std::size_t>(k)] += dDispersion;
    }
    if (sums.outerProduct) {
      for (int i = 0; i < k; ++i) sums.contribution[i] = dIndex * x[i];
      if (model.hasDispersion) sums.contribution[k] = dDispersion;
      AddOuterProduct(sums.outerProduct, sums.contribution.get());
    }
    if (sums.information) {
      const double weight = w * terms.information;
      sums.information.Add(x, &weight);
    }
  }

  if (out.information) information.Store(0, out.information, true);
  if (out.outerProduct && sums.outerProduct) sums.outerProduct.Store(0, out.outerProduct, true);
  return {out.outerProduct && !sums.outerProduct ? Status::NoMemory : Status::Ok, total};
}

}  // namespace tessel
