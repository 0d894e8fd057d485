// Filter and smoother of a Markov chain of hidden regimes.
#include "volatility/markov.h"

#include <algorithm>
#include <cstdint>

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

[[gnu::always_inline]] inline RegimeWork WorkIn(double *cells, ConstMatrix transition, int n) {
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
  ConstMatrix density, transition;
  std::span<const double> prior;
  std::span<double> likelihood;
  Matrix filtered;
};

// `cells` are the WorkCells of n regimes.
[[gnu::always_inline]] inline void Filter(const FilterTask &task, int n, double *cells) {
  const auto [transition, predicted, posterior] = WorkIn(cells, task.transition, n);
  std::copy_n(task.prior.data(), n, predicted);
  for (int t = 0; t < task.density.rows; ++t) {
    const double *density = task.density[t];
    double sum = 0.0;
    for (int j = 0; j < n; ++j) {
      const double joint = predicted[j] * density[j];
      posterior[j] = joint < 0.0 ? 0.0 : joint;
      sum += posterior[j];
    }
    task.likelihood[static_cast<std::size_t>(t)] = sum;
    for (int j = 0; j < n; ++j) posterior[j] /= sum;
    if (task.filtered)
      for (int j = 0; j < n; ++j) task.filtered[t][j] = posterior[j];
    Transit(transition, n, posterior, predicted);
  }
}

struct SmootherTask {
  ConstMatrix filtered, transition;
  Matrix smoothed, moves;
};

constexpr std::int64_t SmootherCells(std::int64_t n) { return WorkCells(n) + n * n; }

// `cells` are the SmootherCells of n regimes: behind the WorkCells stand the moves while they are added up.
[[gnu::always_inline]] inline void Smooth(const SmootherTask &task, int n, double *cells) {
  constexpr double tiny = 1e-100, inverseOfTiny = 1e100;
  const auto [transition, state, back] = WorkIn(cells, task.transition, n);
  double *moves = cells + WorkCells(n);
  const int last = task.filtered.rows - 1;
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
  for (int i = 0; i < n; ++i) std::copy_n(moves + std::int64_t{i} * n, n, task.moves[i]);
}

}  // namespace

Status MarkovFilter(ConstMatrix density, ConstMatrix transition, std::span<const double> prior,
                    std::span<double> likelihood, Matrix filtered) {
  const FilterTask task{density, transition, prior, likelihood, filtered};
  const int n = density.columns;
  double few[WorkCells(kFewRegimes)];
  OwnedBlock<double> many;
  switch (n) {
    case 2: Filter(task, 2, few); break;
    case 3: Filter(task, 3, few); break;
    case 4: Filter(task, 4, few); break;
    default:
      many = OwnedBlock<double>(WorkCells(n));
      if (!many) return Status::NoMemory;
      Filter(task, n, many.get());
  }
  return Status::Ok;
}

Status MarkovSmoother(ConstMatrix filtered, ConstMatrix transition, Matrix smoothed, Matrix moves) {
  const SmootherTask task{filtered, transition, smoothed, moves};
  const int n = filtered.columns;
  double few[SmootherCells(kFewRegimes)];
  OwnedBlock<double> many;
  switch (n) {
    case 2: Smooth(task, 2, few); break;
    case 3: Smooth(task, 3, few); break;
    case 4: Smooth(task, 4, few); break;
    default:
      many = OwnedBlock<double>(SmootherCells(n));
      if (!many) return Status::NoMemory;
      Smooth(task, n, many.get());
  }
  return Status::Ok;
}

}  // namespace tessel
