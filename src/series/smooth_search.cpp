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

struct Search {
  const Smoother &smoother;
  double target;        // equivalent degrees of freedom; below 1 for the smallest score
  bool solved = false;  // whether any fit was

  // Fits. The criterion is the squared distance from the target or the score.
  Tried Try(double parameter) {
    const SmoothFit fit = smoother.fit(smoother.state, parameter);
    if (!fit.solved) return {kWorst, MissingValue()};
    solved = true;
    if (target >= 1) return {(target - fit.trace) * (target - fit.trace), fit.trace};
    const double q = 1.25 * fit.trace - 0.5, left = fit.count - q;
    return {left > 0 ? fit.count * fit.rss / (left * left) : kWorst, fit.trace};
  }
};

// Three parameters around the smallest criterion, `best` at mid, and the traces that were seen last at both ends.
struct Bracket {
  double low, mid, high;
  double best;
  double lowTrace, highTrace;
};

// Halves or doubles the parameter as long as that makes the criterion smaller.
Bracket Walk(Search &search, double start) {
  const Tried at = search.Try(start), below = search.Try(start / 2);
  Bracket b = {start / 2, start, start, at.criterion, below.trace, at.trace};
  if (at.criterion > below.criterion) {
    double next = below.criterion;
    for (int i = 0; i < search.smoother.walkLimit && b.best > next; ++i) {
      b.high = b.mid;
      b.mid = b.low;
      b.low /= 2;
      b.best = next;
      next = search.Try(b.low).criterion;
    }
    return b;
  }
  b.mid = b.low;
  b.best = below.criterion;
  double next = at.criterion;
  for (int i = 0; i < search.smoother.walkLimit && b.best > next && (next > 0 || !search.smoother.stopsAtZero); ++i) {
    b.low = b.mid;
    b.mid = b.high;
    b.high *= 2;
    b.best = next;
    next = search.Try(b.high).criterion;
  }
  return b;
}

// Tries the middles between mid and either end in turn, until the degrees of freedom at the ends agree.
void Refine(Search &search, Bracket b) {
  for (int pass = 0; pass < kPasses; ++pass) {
    const double p = b.low + (b.mid - b.low) / 2;
    if (const Tried at = search.Try(p); b.best > at.criterion) {
      b.high = b.mid;
      b.mid = p;
      b.best = at.criterion;
    } else {
      b.low = p;
      b.lowTrace = at.trace;
    }
    const double q = b.high - (b.high - b.mid) / 2;
    if (const Tried at = search.Try(q); b.best > at.criterion) {
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

Status SmoothBy(const Smoother &smoother, double alpha) {
  const bool automatic = std::fabs(alpha) <= kAutomatic;
  double parameter = std::fabs(alpha);
  if (parameter <= kSmallestParameter) parameter = smoother.automatic;
  if (alpha < 0 && !automatic) {
    return smoother.fit(smoother.state, parameter).solved ? Status::Ok : Status::Singular;
  }
  if (!std::isfinite(alpha)) return Status::Invalid;
  Search search = {smoother, automatic ? 0 : std::floor(alpha + 0.5)};
  Refine(search, Walk(search, parameter));
  return search.solved ? Status::Ok : Status::Singular;
}

}  // namespace tessel
