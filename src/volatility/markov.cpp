// Filter and smoother of a Markov chain of hidden regimes.
#include "volatility/markov.h"

#include <algorithm>

#include "host/heap.h"

namespace tessel {

namespace {

// to_i = the sum over j of P[i][j] from_j, in the order of j.
void Transit(RowMatrix transition, int n, const double *from, double *to) {
  for (int i = 0; i < n; ++i) {
    double sum = 0.0;
    for (int j = 0; j < n; ++j) sum += transition[i][j] * from[j];
    to[i] = sum;
  }
}

}  // namespace

void MarkovFilter(RowMatrix density, RowMatrix transition, const double *prior, int observations, int regimes,
                  double *likelihood, RowMatrix filtered) {
  OwnedBlock<double> predicted(regimes), posterior(regimes);
  if (!predicted || !posterior) return;
  std::copy_n(prior, regimes, predicted.get());
  for (int t = 0; t < observations; ++t) {
    double sum = 0.0;
    for (int j = 0; j < regimes; ++j) {
      const double joint = predicted[j] * density[t][j];
      posterior[j] = joint < 0.0 ? 0.0 : joint;
      sum += posterior[j];
    }
    likelihood[t] = sum;
    for (int j = 0; j < regimes; ++j) posterior[j] /= sum;
    if (filtered != nullptr) std::copy_n(posterior.get(), regimes, filtered[t]);
    Transit(transition, regimes, posterior.get(), predicted.get());
  }
}

void MarkovSmoother(RowMatrix filtered, RowMatrix transition, int observations, int regimes, RowMatrix smoothed,
                    RowMatrix transitions) {
  constexpr double tiny = 1e-100, inverseOfTiny = 1e100;
  const int n = regimes;
  OwnedBlock<double> ratio(n), predicted(n);
  if (!ratio || !predicted) return;
  MatZero(transitions, n, n);
  std::copy_n(filtered[observations - 1], n, smoothed[observations - 1]);
  for (int t = observations - 2; t >= 0; --t) {
    const double *now = filtered[t], *next = smoothed[t + 1];
    Transit(transition, n, now, predicted.get());
    for (int i = 0; i < n; ++i) ratio[i] = predicted[i] <= tiny ? next[i] * inverseOfTiny : next[i] / predicted[i];
    for (int j = 0; j < n; ++j) smoothed[t][j] = 0.0;
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) {
        const double step = ratio[i] * transition[i][j];
        transitions[i][j] += step * now[j];
        smoothed[t][j] += step;
      }
    for (int j = 0; j < n; ++j) {
      const double value = smoothed[t][j] * now[j];
      smoothed[t][j] = value <= tiny ? 0.0 : std::min(value, 1.0);
    }
  }
}

}  // namespace tessel
