// Central differences of gradients, or one-sided ones of the same order.
#include "optimise/differences.h"

#include <algorithm>
#include <cmath>

#include "optimise/free_parameters.h"

namespace tessel {

namespace {

constexpr double kShareOfSpread = 1e-4;
constexpr double kLeastShare = 1e-9;  // of the parameter
constexpr double kMostShare = 1e-3;
constexpr double kFirstShare = 1e-5;   // when nothing else is known
constexpr double kWithinReach = 30.0;  // ratio of two steps that are both good
constexpr int kMostTrials = 4;

struct Differences {
  const Objective &objective;
  const ParameterSpace &space;
  const DifferencePoint &at;
  std::span<double> theta;  // the point, of which one cell is moved
  double *near, *far;       // gradients
  EvaluationCounts *counts;
};

// The gradient with parameter j at `value`. NotFinite where that is beyond a bound, or the objective or a derivative is
// not finite there.
Status GradientAt(const Differences &d, int j, double value, double *gradient) {
  const auto cell = static_cast<std::size_t>(j);
  if (value < LowerBound(d.space, j) || value > UpperBound(d.space, j)) return Status::NotFinite;
  d.theta[cell] = value;
  Evaluation out;
  out.gradient = {gradient, d.theta.size()};
  ++d.counts->values;
  ++d.counts->gradients;
  const Status status = d.objective.evaluate(d.objective.owner, d.theta, &out);
  d.theta[cell] = d.at.theta[cell];
  if (Failed(status)) return status;
  const bool finite = std::isfinite(out.value) &&
                      std::all_of(out.gradient.begin(), out.gradient.end(), [](double v) { return std::isfinite(v); });
  return finite ? Status::Ok : Status::NotFinite;
}

// Minus the derivative of the gradient by three points on one side, h above 0 or below, into d.near.
Status OneSided(const Differences &d, int j, double h) {
  const double x = d.at.theta[static_cast<std::size_t>(j)];
  Status status = GradientAt(d, j, x + h, d.near);
  if (Succeeded(status)) status = GradientAt(d, j, x + 2.0 * h, d.far);
  if (Failed(status)) return status;
  const double a = (x + h) - x, b = (x + 2.0 * h) - x;  // as they came out
  for (std::size_t k = 0; k < d.theta.size(); ++k) {
    const double g = d.at.gradient[k];
    d.near[k] = -((d.near[k] - g) * (b / a) - (d.far[k] - g) * (a / b)) / (b - a);
  }
  return Status::Ok;
}

// The same by points on both sides, or on the side where there are some.
Status Column(const Differences &d, int j, double h) {
  const double x = d.at.theta[static_cast<std::size_t>(j)], right = x + h, left = x - h;
  Status status = GradientAt(d, j, right, d.near);
  if (Succeeded(status)) {
    status = GradientAt(d, j, left, d.far);
    if (status == Status::NotFinite) return OneSided(d, j, h);
    if (Failed(status)) return status;
    for (std::size_t k = 0; k < d.theta.size(); ++k) d.near[k] = -(d.near[k] - d.far[k]) / (right - left);
    return Status::Ok;
  }
  return status == Status::NotFinite ? OneSided(d, j, -h) : status;
}

// The step for a parameter of this size and 1/sqrt of its information.
double StepFor(double size, double spread) {
  const double least = kLeastShare * size, most = size > 0.0 ? kMostShare * size : PositiveInfinity();
  return std::clamp(kShareOfSpread * spread, least, most);
}

// Column j with a step that fits its own curvature.
Status FittingColumn(const Differences &d, int j) {
  const auto cell = static_cast<std::size_t>(j);
  const double size = std::fabs(d.at.theta[cell]), spread = d.at.spread[cell];
  const bool known = spread > 0.0 && std::isfinite(spread);
  double h = known ? StepFor(size, spread) : kFirstShare * (size > 0.0 ? size : 1.0);
  Status status = Status::NotFinite;
  for (int trial = 0; trial < kMostTrials; ++trial) {
    status = Column(d, j, h);
    if (status == Status::NotFinite) {
      h /= 100.0;
      continue;
    }
    if (Failed(status)) return status;
    const double own = std::fabs(d.near[j]);
    if (own == 0.0) return Status::Ok;
    const double wanted = StepFor(size, 1.0 / std::sqrt(own));
    if (wanted <= kWithinReach * h && h <= kWithinReach * wanted) return Status::Ok;
    h = wanted;
  }
  return status;
}

}  // namespace

Status DifferenceInformation(const Objective &objective, const ParameterSpace &space, const DifferencePoint &at,
                             Matrix work, Matrix information, EvaluationCounts *counts) {
  const std::size_t p = at.theta.size();
  const Differences d{objective, space, at, {work[0], p}, work[1], work[2], counts};
  std::copy(at.theta.begin(), at.theta.end(), work[0]);
  FillZero(information);
  for (const int j : at.free) {
    if (const Status status = FittingColumn(d, j); Failed(status)) return status;
    for (const int k : at.free) information[k][j] = d.near[k];
  }
  for (const int j : at.free)
    for (const int k : at.free)
      if (k < j) information[j][k] = information[k][j] = 0.5 * (information[j][k] + information[k][j]);
  return Status::Ok;
}

}  // namespace tessel
