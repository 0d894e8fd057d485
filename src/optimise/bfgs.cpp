// BFGS: the information matrix built from changes of the gradient.
#include <algorithm>
#include <cmath>
#include <utility>

#include "linalg/dot_product.h"
#include "optimise/ascent.h"

namespace tessel {

namespace {

constexpr double kFirstMove = 0.1;  // of a parameter's size, where no curvature is known
constexpr double kLeastCurvature = 0.2;
constexpr double kFarTooLarge = 0.1;  // share of the modelled curvature
constexpr int kPatience = 8;

// A diagonal metric with which the first step moves no parameter by more than a share of its size.
void DiagonalFromSizes(Ascent *s, Matrix metric) {
  double steepest = 0.0;
  for (int j = 0; j < s->parameters; ++j) {
    const std::span<const double> given = s->options.space.scale;
    const double own = std::fabs(s->now.theta[j]);
    s->work[j] = !given.empty() ? given[static_cast<std::size_t>(j)] : own > 0.0 ? own : 1.0;
    steepest = std::max(steepest, std::fabs(s->now.gradient[j]) * s->work[j]);
  }
  const double curvature = steepest > 0.0 ? steepest / kFirstMove : 1.0;
  FillZero(metric);
  for (int j = 0; j < s->parameters; ++j) metric[j][j] = curvature / (s->work[j] * s->work[j]);
}

// Leaves the diagonal, of which cells that are not above 0 become their sizes, or 1.
void KeepDiagonal(Matrix metric) {
  for (int i = 0; i < metric.rows; ++i) {
    const double own = std::fabs(metric[i][i]);
    std::fill_n(metric[i], metric.columns, 0.0);
    metric[i][i] = own > 0.0 ? own : 1.0;
  }
}

// B + y y'/s'y - B s s'B/s'Bs for the step s from `now` to `next` and the fall y of the gradient. Where s'y is below
// 0.2 s'Bs, y moves towards B s until it is that (Powell, M.J.D. (1978), A fast algorithm for nonlinearly constrained
// optimization calculations, Lecture Notes in Mathematics 630). `unscaled`: B comes from sizes and takes over the
// curvature of this step first.
void Update(Ascent *s, Matrix metric, bool unscaled) {
  const int p = s->parameters;
  double *step = s->direction, *fall = s->eigenvalues, *image = s->work;
  for (int j = 0; j < p; ++j) {
    step[j] = s->next.theta[j] - s->now.theta[j];
    fall[j] = s->now.gradient[j] - s->next.gradient[j];
  }
  double curvature = DotProduct(step, fall, p);
  for (int j = 0; j < p; ++j) image[j] = DotProduct(metric[j], step, p);
  double modelled = DotProduct(step, image, p);
  if (!(modelled > 0.0)) return;
  if (curvature > 0.0 && (unscaled || curvature < kFarTooLarge * modelled)) {
    const double ratio = curvature / modelled;
    for (int i = 0; i < p; ++i) {
      for (int j = 0; j < p; ++j) metric[i][j] *= ratio;
      image[i] *= ratio;
    }
    modelled = curvature;
  }
  if (curvature < kLeastCurvature * modelled) {
    const double share = (1.0 - kLeastCurvature) * modelled / (modelled - curvature);
    for (int j = 0; j < p; ++j) fall[j] = share * fall[j] + (1.0 - share) * image[j];
    curvature = kLeastCurvature * modelled;
  }
  for (int i = 0; i < p; ++i)
    for (int j = 0; j < p; ++j) metric[i][j] += fall[i] / curvature * fall[j] - image[i] / modelled * image[j];
}

void Climb(Ascent *s, Matrix metric, bool given) {
  bool unscaled = !given, fresh = false;
  if (given) {
    FindDirection(s, metric);
    if (!s->definite) KeepDiagonal(metric);
  } else {
    DiagonalFromSizes(s, metric);
  }
  for (;;) {
    FindDirection(s, metric);
    if (s->decrement <= s->tolerance && !s->free.pending) return s->Record().Stop(StopReason::Decrement);
    if (EndsByLimit(s)) return;
    const bool stalled = HasStalled(s, kPatience);
    if (stalled || !SearchLine(s, true)) {
      if (Failed(s->status)) return;
      if (stalled || fresh) return EndWithoutStep(s);
      KeepDiagonal(metric);
      fresh = true;
      continue;
    }
    Update(s, metric, unscaled);
    unscaled = fresh = false;
    Accept(s);
  }
}

}  // namespace

Status BfgsMaximise(const Objective &objective, const OptimiseOptions &options, std::span<double> theta, Maximum *fit) {
  Ascent s(objective, options, fit, theta.size());
  const Status status = Prepare(&s, theta, 1);
  if (Failed(status)) return status;
  const bool given = objective.information != Information::None;
  if (!EvaluateStart(&s, given ? Want::Information : Want::Gradient)) return s.status;
  const Matrix metric = std::exchange(s.now.information, Matrix());
  Climb(&s, metric, given);
  Finish(&s, metric, theta);
  return s.status;
}

}  // namespace tessel
