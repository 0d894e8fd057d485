// Binary probit.
#include "limdep/probit.h"

#include <algorithm>
#include <cmath>

#include "special/normal.h"

namespace tessel {

namespace {

IndexTerms ProbitTerms(const IndexModel &model, double b, int y, std::span<double> fitted) {
  const double p1 = NormalCdf(b);
  const double p0 = BoundProbability(1.0 - p1);
  const double p[] = {p0, p1};  // picked by index: a branch on the outcome would be mispredicted half of the time
  if (!fitted.empty()) std::copy_n(p, 2, fitted.data());

  IndexTerms terms;
  terms.logLik = std::log(p[y]);
  if (model.derivatives) {
    constexpr double inverseRootOf2Pi = 0.3989422804014327;
    const double density = inverseRootOf2Pi * std::exp(-0.5 * b * b);
    const double ratio = density / (p1 * p0);
    terms.dIndex = (y - p1) * ratio;
    terms.information = density * ratio;
  }
  return terms;
}

}  // namespace

Likelihood ProbitLikelihood(const IndexSample &sample, std::span<const double> theta, const LikelihoodOutputs &out) {
  IndexModel model;
  model.terms = ProbitTerms;
  model.fittedByObservation = true;
  return IndexLikelihood(model, sample, theta, out);
}

}  // namespace tessel
