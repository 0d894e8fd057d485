// The trend of second differences.
#include <algorithm>
#include <cmath>

#include "core/heap.h"
#include "core/missing.h"
#include "series/smooth.h"

namespace tessel {

namespace {

constexpr double kNoLambda = 1e-20;
constexpr double kUsualLambda = 1600;
constexpr int kFewest = 3;

// Reflection coefficients below this change no digit of a solution.
constexpr double kNegligible = 1e-30;

// The prediction vector a of the Levinson recursion, T a = -(t[1], ..., t[k]), held back to front at the end of its
// room, so that it lies along the solution that it updates.
//
// The elements of a banded matrix' vector fall off geometrically. Each reflection coefficient depends on the last b - 1
// elements alone, so when b - 1 of them in a row are negligible, all later ones are, and the vector stays as it is.
struct Predictor {
  const double *t;
  int b;
  double pivot;
  double *end;  // of the room: element j stands at end[-1 - j]
  int length = 0;
  int negligible = 0;  // reflection coefficients in a row

  bool Settled() const { return negligible >= b - 1; }

  // The sum of t[i] v[-i] over the band, as far as `count` elements before v go.
  double BandSum(const double *v, int count) const {
    double sum = 0;
    for (int i = 1; i < b && i <= count; ++i) sum += t[i] * v[-i];
    return sum;
  }

  void Grow() {
    double sum = length + 1 < b ? t[length + 1] : 0.0;
    for (int i = 1; i < b && i <= length; ++i) sum += t[i] * end[i - 1 - length];
    const double p = -sum / pivot;
    for (double *low = end - length, *high = end - 1; low <= high; ++low, --high) {
      const double a = *low, c = *high;
      *low = a + p * c;
      *high = c + p * a;
    }
    ++length;
    end[-length] = p;
    pivot *= 1 - p * p;
    negligible = std::fabs(p) < kNegligible ? negligible + 1 : 0;
  }
};

// Steps k to k + kSteps - 1 of a settled recursion, with one pass over the solution. Each step adds a multiple of the
// prediction vector to the elements before its own; all but the nearest ones, which the next step looks at, can wait
// for the last step. The additions to an element keep their order.
constexpr int kSteps = 4;

[[gnu::noinline]] void SolveSteps(const Predictor &p, int k, double *rhs) {
  const int near = k - (p.b - 1), far = k + kSteps - 1 - p.length;
  double next[kSteps];
  const auto add = [&](int step, int i) { rhs[i] += next[step] * p.end[i - k - step]; };
  for (int step = 0; step < kSteps; ++step) {
    double *own = rhs + k + step;
    *own = next[step] = (*own - p.BandSum(own, k + step)) / p.pivot;
    for (int i = k + step - p.length; i < far; ++i) add(step, i);
    for (int i = near; i < k + step; ++i) add(step, i);
  }
  const double *a = p.end - k - kSteps + 1;
  for (int i = far; i < near; ++i)
    rhs[i] = rhs[i] + next[0] * a[i + 3] + next[1] * a[i + 2] + next[2] * a[i + 1] + next[3] * a[i];
}

}  // namespace

ToeplitzSolution ToeplitzSolve(std::span<const double> t, std::span<double> rhs) {
  if (t.empty() || rhs.empty() || !(t[0] > 0)) return {Status::Singular, 0};
  const int b = static_cast<int>(t.size()), m = static_cast<int>(rhs.size());
  const OwnedBlock<double> room(m);
  if (!room) return {Status::NoMemory, 0};
  Predictor predictor = {t.data(), b, t[0], room.get() + m};
  double *y = rhs.data();
  y[0] /= predictor.pivot;
  double logPivot = std::log(predictor.pivot), logDet = logPivot;
  for (int k = 1; k < m; ++k) {
    if (predictor.Settled() && predictor.length > b + kSteps && k + kSteps <= m) {
      SolveSteps(predictor, k, y);
      logDet += kSteps * logPivot;
      k += kSteps - 1;
      continue;
    }
    if (!predictor.Settled()) {
      predictor.Grow();
      if (predictor.pivot == 0) return {Status::Singular, 0};
      logPivot = std::log(predictor.pivot);
    }
    logDet += logPivot;
    const double next = (y[k] - predictor.BandSum(y + k, k)) / predictor.pivot;
    const double *a = predictor.end - predictor.length;
    double *solution = y + k - predictor.length;
    for (int j = 0; j < predictor.length; ++j) solution[j] += next * a[j];
    y[k] = next;
  }
  return {Status::Ok, logDet};
}

Status SmoothTrend(std::span<const double> x, double lambda, std::span<double> out) {
  if (out.size() != x.size()) return Status::Invalid;
  const auto isMissing = [](double v) { return IsMissing(v) != 0; };
  const auto first = std::find_if_not(x.begin(), x.end(), isMissing);
  const int count = static_cast<int>(std::find_if(first, x.end(), isMissing) - first);
  if (count < kFewest) return Status::TooFew;
  if (lambda <= kNoLambda) lambda = kUsualLambda;

  // s[t] is 0 beside the second differences 2 to count - 1.
  const auto curvature = OwnedBlock<double>::Zeroed(std::int64_t{count} + 2);
  if (!curvature) return Status::NoMemory;
  const double *y = x.data() + (first - x.begin());
  double *s = curvature.get(), *trend = out.data() + (first - x.begin());
  for (int i = 2; i < count; ++i) s[i] = y[i] - 2 * y[i - 1] + y[i - 2];
  const double row[] = {1 + 6 * lambda, -4 * lambda, lambda};
  // The matrix is positive definite. Where an overflow hides that, the trend is missing.
  if (ToeplitzSolve(row, {s + 2, s + count}).status == Status::NoMemory) return Status::NoMemory;
  for (int i = 0; i < count; ++i) trend[i] = y[i] - lambda * (s[i] - 2 * s[i + 1] + s[i + 2]);
  return Status::Ok;
}

}  // namespace tessel
