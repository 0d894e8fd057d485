// The workers with each of their allocations failing in turn.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <span>
#include <vector>

#include "core/heap.h"
#include "regression/instability.h"
#include "regression/rals.h"
#include "regression/riv.h"
#include "regression/rls.h"
#include "regression/robust_covariance.h"

namespace tessel {
namespace {

using Series = std::vector<double>;

constexpr int kT = 12;
const Series y = {3, 5, 1, 8, 2, 2, 7, 4, 6, 0, 1, 9}, w = {1, 2, -1, 4, 0, 1, 3, 3, 5, 2, 1, 7},
             v = {2, 0, 1, 1, 5, 3, 3, 2, 4, 4, 0, 1};

// Two columns, a constant and w.
Series Regressors() {
  Series x;
  for (const double value : w) x.insert(x.end(), {1, value});
  return x;
}

const Series regressors = Regressors();

bool Same(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

bool All(std::span<const double> cells, double value) {
  return std::ranges::all_of(cells, [value](double cell) { return Same(cell, value); });
}

// The cells of a run whose memory failed: 7 is what they held before.
using Check = bool (*)(const Series &cells, const Series &full);
bool Zeros(const Series &cells, const Series &) { return All(cells, 0); }
bool Missing(const Series &cells, const Series &) { return All(cells, NAN); }
bool Untouched(const Series &cells, const Series &) { return All(cells, 7); }

// The steps before, and missing values behind them.
bool FirstSteps(const Series &cells, const Series &full) {
  const auto [end, other] = std::ranges::mismatch(cells, full, Same);
  return All({end, cells.end()}, NAN) || All(cells, 7);
}

struct Worker {
  const char *name;
  Status (*run)(Series *cells);
  std::size_t size;  // of what it writes
  Check withoutMemory;
};

Status Rls(Series *cells) {
  Series both;
  for (std::size_t t = 0; t < kT; ++t) both.insert(both.end(), {y[t], v[t]});
  RlsPaths paths;
  paths.halfLogDet = *cells;
  return RlsEstimate({both.data(), kT, 2}, {regressors.data(), kT, 2}, 0, kT - 1, 8, paths);
}

Status Riv(Series *cells) {
  Series z = y;
  for (const Series &row : {w, Series(kT, 1.0), v}) z.insert(z.end(), row.begin(), row.end());
  RivPaths paths;
  paths.rss = *cells;
  return RivEstimate({{z.data(), 4, kT}, 2, 2, 1}, 0, kT - 1, 4, paths);
}

// Constant, w, and an error of order 1.
const Series theta = {2, 0.5, 0.3};
const RalsModel rals = {theta, y, {regressors.data(), kT, 2}, 1, 1};

Status Objective(Series *cells) {
  Series residuals(kT);
  double objective = 0;
  return RalsObjective(rals, {residuals, std::span(*cells).first(3), {cells->data() + 3, 3, 3}}, &objective);
}

Status Forecast(Series *cells) {
  const Series parCov = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  double explained = 0;
  return RalsForecast(rals, {parCov.data(), 3, 3}, {std::span(*cells).first(2), std::span(*cells).last(2)}, &explained);
}

Status Instability(Series *cells) {
  InstabilityResult result;
  const Status status = InstabilityTest({regressors.data(), kT, 2}, y, 30, &result);
  if (Succeeded(status)) *cells = {result.joint};
  return status;
}

Status Jackknife(Series *) {
  const Series inverse = {0.1, 0, 0, 0.01};
  Series covariance(4);
  return JackknifeCovariance({regressors.data(), kT, 2}, y, {inverse.data(), 2, 2}, {covariance.data(), 2, 2});
}

Status Covariance(Series *cells) {
  return MomentCovariance({regressors.data(), kT, 2}, {y.data(), kT, 1}, true, {cells->data(), 2, 2});
}

TEST(ExhaustedMemory, IsAStatusAndLeavesWhatIsDocumented) {
  const Worker workers[] = {{"RLS", Rls, kT, FirstSteps},
                            {"RIV", Riv, kT, FirstSteps},
                            {"RALS", Objective, 12, Zeros},
                            {"RALS forecasts", Forecast, 4, Missing},
                            {"instability", Instability, 1, Untouched},
                            {"jackknife", Jackknife, 0, Untouched},
                            {"moments", Covariance, 4, Zeros}};
  for (const auto &[name, run, size, withoutMemory] : workers) {
    Series full(size, 7);
    ASSERT_EQ(run(&full), Status::Ok) << name;
    bool failed = false;
    for (int n = 1;; ++n) {
      Series cells(size, 7);
      HeapFailAt(n);
      const Status status = run(&cells);
      const bool reached = !HeapFailPending();
      HeapFailAt(0);
      if (!reached) break;
      failed = failed || status == Status::NoMemory;
      // A worker may do without the memory.
      EXPECT_TRUE(status == Status::NoMemory ? withoutMemory(cells, full)
                                             : status == Status::Ok && std::ranges::equal(cells, full, Same))
          << name << ", allocation " << n;
    }
    EXPECT_TRUE(failed) << name;
  }
}

}  // namespace
}  // namespace tessel
