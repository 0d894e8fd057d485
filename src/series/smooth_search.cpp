// The search for a smoothing parameter.
#include "series/smooth_search.h"

#include <cmath>
#include <limits>

#include "core/missing.h"

namespace tessel {

namespace {

constexpr double kAutomatic = 1e-20;
constexpr double kSmallestParameter = 1e-10;
constexpr int kPasses = 50;
constexpr double kTraceTolerance = 0.0001;
constexpr double kWorst = std::numeric_limits<double>::max();

struct Tried {
  double criterion;
  double trace;
};

// The squared distance from the target of the degrees of freedom; without a target the score c RSS / (c - q)^2 with
// q = 1.25 T - 0.5.
Tried Try(const Smoother &smoother, double target, double parameter) {
  const SmoothFit fit = smoother.fit(smoother.state, parameter);
  if (!fit.solved) return {kWorst, AlgebraMissing()};
  if (target >= 1) return {(target - fit.trace) * (target - fit.trace), fit.trace};
  const double q = 1.25 * fit.trace - 0.5, left = fit.count - q;
  return {left > 0 ? fit.count * fit.rss / (left * left) : kWorst, fit.trace};
}

// Three parameters around the smallest criterion, `best` at mid, and the traces that were seen last at both ends.
struct Bracket {
  double low, mid, high;
  double best;
  double lowTrace, highTrace;
};

// Halves or doubles the parameter as long as that makes the criterion smaller.
Bracket Walk(const Smoother &smoother, double target, double start) {
  const Tried at = Try(smoother, target, start), below = Try(smoother, target, start / 2);
  Bracket b = {start / 2, start, start, at.criterion, below.trace, at.trace};
  if (at.criterion > below.criterion) {
    double next = below.criterion;
    for (int i = 0; i < smoother.walkLimit && b.best > next; ++i) {
      b.high = b.mid;
      b.mid = b.low;
      b.low /= 2;
      b.best = next;
      next = Try(smoother, target, b.low).criterion;
    }
    return b;
  }
  b.mid = b.low;
  b.best = below.criterion;
  double next = at.criterion;
  for (int i = 0; i < smoother.walkLimit && b.best > next && (next > 0 || !smoother.stopsAtZero); ++i) {
    b.low = b.mid;
    b.mid = b.high;
    b.high *= 2;
    b.best = next;
    next = Try(smoother, target, b.high).criterion;
  }
  return b;
}

// Tries the middles between mid and either end in turn, until the degrees of freedom at the ends agree.
void Refine(const Smoother &smoother, double target, Bracket b) {
  for (int pass = 0; pass < kPasses; ++pass) {
    const double p = b.low + (b.mid - b.low) / 2;
    if (const Tried at = Try(smoother, target, p); b.best > at.criterion) {
      b.high = b.mid;
      b.mid = p;
      b.best = at.criterion;
    } else {
      b.low = p;
      b.lowTrace = at.trace;
    }
    const double q = b.high - (b.high - b.mid) / 2;
    if (const Tried at = Try(smoother, target, q); b.best > at.criterion) {
      b.low = b.mid;
      b.mid = q;
      b.best = at.criterion;
    } else {
      b.high = q;
      b.highTrace = at.trace;
    }
    if (kTraceTolerance * b.highTrace > std::fabs(b.lowTrace - b.highTrace)) return;
  }
}

}  // namespace

void SmoothBy(const Smoother &smoother, double alpha) {
  const bool automatic = std::fabs(alpha) <= kAutomatic;
  double parameter = std::fabs(alpha);
  if (parameter <= kSmallestParameter) parameter = smoother.automatic;
  if (alpha < 0 && !automatic) {
    smoother.fit(smoother.state, parameter);
  } else if (std::isfinite(alpha)) {
    const double target = automatic ? 0 : std::floor(alpha + 0.5);
    Refine(smoother, target, Walk(smoother, target, parameter));
  }
}

}  // namespace tessel
