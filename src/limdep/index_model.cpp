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

}  // namespace

double IndexLikelihood(IndexModel model, const IndexSample &sample, const double *theta, const LikelihoodOutputs &out) {
  const int k = sample.regressors, used = model.shaped ? k + 1 : k;
  const bool wantInformation = out.information != nullptr;
  const bool fromScores = wantInformation && model.informationFromScores;
  model.derivatives = out.WantDerivatives();

  CrossProducts information, outerProduct;
  OwnedBlock<double> contribution;
  if (wantInformation && !fromScores) information = CrossProducts(1, k);
  if (out.outerProduct != nullptr || fromScores) {
    contribution = OwnedBlock<double>(used);
    if (contribution) outerProduct = CrossProducts(1, used);
  }
  if (wantInformation && !(fromScores ? outerProduct : information)) return MissingValue();
  if (model.count != nullptr && out.outerProduct != nullptr && !outerProduct) return MissingValue();
  ZeroDerivatives(out);

  double total = 0.0;
  double index[kBatch];
  for (int t = 0; t < sample.observations; ++t) {
    const double w = sample.weight != nullptr ? sample.weight[t] : 1.0;
    const double *x = sample.x[t];
    double *fitted = out.fitted != nullptr ? out.fitted[model.fittedByObservation ? t : 0] : nullptr;
    if (t % kBatch == 0)
      for (int v = 0; v < std::min(kBatch, sample.observations - t); ++v)
        index[v] = AddDotProduct(0.0, sample.x[t + v], theta, k);
    const IndexTerms terms = model.terms(model, index[t % kBatch], TruncateToInt(sample.y[t][0]), fitted);

    const double logLik = w * terms.logLik, dIndex = w * terms.dIndex, dShape = w * terms.dShape;
    total += logLik;
    if (out.logLik != nullptr) out.logLik[t] = logLik;
    if (out.score != nullptr) {
      AddScaled(out.score, dIndex, x, k);
      if (model.shaped) out.score[k] += dShape;
    }
    if (outerProduct) {
      for (int i = 0; i < k; ++i) contribution[i] = dIndex * x[i];
      if (model.shaped) contribution[k] = dShape;
      AddOuterProduct(outerProduct, contribution.get());
    }
    if (information) {
      const double weight = w * terms.information;
      information.Add(x, &weight);
    }
  }

  if (wantInformation) (fromScores ? outerProduct : information).Store(0, out.information, 0, 0, true);
  if (outerProduct && out.outerProduct != nullptr) outerProduct.Store(0, out.outerProduct, 0, 0, true);
  return total;
}

}  // namespace tessel
