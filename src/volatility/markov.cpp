// Filter and smoother of a Markov chain of hidden regimes.
#include "volatility/markov.h"

#include <algorithm>

#include "core/heap.h"

namespace tessel {

namespace {

// Up to this many regimes the recursions are compiled for the number itself: their loops unroll, and their work stays
// in registers.
constexpr int kFewRegimes = 4;

// Work memory of a recursion over n regimes: a copy of the transition matrix without gaps, and two vectors.
struct RegimeWork {
  double *transition;
  double *first;
  double *second;
};

constexpr std::int64_t WorkCells(std::int64_t n) { return n * n + 2 * n; }

[[gnu::always_inline]] inline RegimeWork WorkIn(double *cells, RowMatrix transition, int n) {
  for (int i = 0; i < n; ++i) std::copy_n(transition[i], n, cells + std::int64_t{i} * n);
  double *vectors = cells + std::int64_t{n} * n;
  return {cells, vectors, vectors + n};
}

// to_i = the sum over j of P[i][j] from_j, in the order of j.
[[gnu::always_inline]] inline void Transit(const double *transition, int n, const double *from, double *to) {
  for (int i = 0; i < n; ++i, transition += n) {
    double sum = 0.0;
    for (int j = 0; j < n; ++j) sum += transition[j] * from[j];
    to[i] = sum;
  }
}

struct FilterTask {
  RowMatrix density, transition;
  const double *prior;
  int observations;
  double *likelihood;
  RowMatrix filtered;
};

[[gnu::always_inline]] inline void Filter(const FilterTask &task, int n, double *cells) {
  const auto [transition, predicted, posterior] = WorkIn(cells, task.transition, n);
  std::copy_n(task.prior, n, predicted);
  for (int t = 0; t < task.observations; ++t) {
    const double *density = task.density[t];
    double sum = 0.0;
    for (int j = 0; j < n; ++j) {
      const double joint = predicted[j] * density[j];
      posterior[j] = joint < 0.0 ? 0.0 : joint;
      sum += posterior[j];
    }
    task.likelihood[t] = sum;
    for (int j = 0; j < n; ++j) posterior[j] /= sum;
    if (task.filtered != nullptr)
      for (int j = 0; j < n; ++j) task.filtered[t][j] = posterior[j];
    Transit(transition, n, posterior, predicted);
  }
}

struct SmootherTask {
  RowMatrix filtered, transition;
  int observations;
  RowMatrix smoothed, transitions;
};

// `moves` collects the expected transitions: n x n cells behind the work memory.
[[gnu::always_inline]] inline void Smooth(const SmootherTask &task, int n, double *cells) {
  constexpr double tiny = 1e-100, inverseOfTiny = 1e100;
  const auto [transition, state, back] = WorkIn(cells, task.transition, n);
  double *moves = cells + WorkCells(n);
  const int last = task.observations - 1;
  std::fill_n(moves, std::int64_t{n} * n, 0.0);
  std::copy_n(task.filtered[last], n, state);
  std::copy_n(state, n, task.smoothed[last]);
  for (int t = last - 1; t >= 0; --t) {
    const double *now = task.filtered[t];
    Transit(transition, n, now, back);
    for (int i = 0; i < n; ++i) {
      if (back[i] <= tiny) [[unlikely]]
        state[i] *= inverseOfTiny;
      else
        state[i] /= back[i];
    }
    for (int j = 0; j < n; ++j) back[j] = 0.0;
    double *move = moves;
    const double *p = transition;
    for (int i = 0; i < n; ++i, move += n, p += n)
      for (int j = 0; j < n; ++j) {
        const double step = state[i] * p[j];
        move[j] += step * now[j];
        back[j] += step;
      }
    for (int j = 0; j < n; ++j) {
      double value = back[j] * now[j];
      if (value <= tiny) [[unlikely]]
        value = 0.0;
      if (value > 1.0) [[unlikely]]
        value = 1.0;
      state[j] = value;
      task.smoothed[t][j] = state[j];
    }
  }
  for (int i = 0; i < n; ++i) std::copy_n(moves + std::int64_t{i} * n, n, task.transitions[i]);
}

}  // namespace

void MarkovFilter(RowMatrix density, RowMatrix transition, const double *prior, int observations, int regimes,
                  double *likelihood, RowMatrix filtered) {
  const FilterTask task{density, transition, prior, observations, likelihood, filtered};
  double few[WorkCells(kFewRegimes)];
  switch (regimes) {
    case 2: return Filter(task, 2, few);
    case 3: return Filter(task, 3, few);
    case 4: return Filter(task, 4, few);
    default:
      if (const OwnedBlock<double> work(WorkCells(regimes)); work) Filter(task, regimes, work.get());
  }
}

void MarkovSmoother(RowMatrix filtered, RowMatrix transition, int observations, int regimes, RowMatrix smoothed,
                    RowMatrix transitions) {
  const SmootherTask task{filtered, transition, observations, smoothed, transitions};
  double few[WorkCells(kFewRegimes) + kFewRegimes * kFewRegimes];
  const std::int64_t cells = WorkCells(regimes) + std::int64_t{regimes} * regimes;
  switch (regimes) {
    case 2: return Smooth(task, 2, few);
    case 3: return Smooth(task, 3, few);
    case 4: return Smooth(task, 4, few);
    default:
      if (const OwnedBlock<double> work(cells); work) Smooth(task, regimes, work.get());
  }
}

}  // namespace tessel
