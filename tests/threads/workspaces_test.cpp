// Eight threads with an Algebra workspace each: the bits of a serial run, and no data race (the tsan preset).
// TESSEL_SECONDS makes it go on that long.
#include <gtest/gtest.h>

#include <bit>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "algebra/workspace.h"
#include "core/heap.h"
#include "forecast/dynamic_forecast.h"
#include "support/messages.h"

namespace {

using namespace tessel;

constexpr int kThreads = 8;
constexpr int kObservations = 700;  // several blocks of observations

// Everything that a piece of work leaves: the bits of all columns, and what was said.
struct Trace {
  std::vector<std::uint64_t> bits;
  std::vector<std::string> texts;
  bool operator==(const Trace &) const = default;
};

void Read(const AlgebraWorkspace &workspace, Trace &trace) {
  for (int i = 0; i < workspace.VariableCount(); ++i) {
    trace.texts.emplace_back(workspace.Name(i));
    for (const double value : workspace.Variable(i)) trace.bits.push_back(std::bit_cast<std::uint64_t>(value));
  }
}

// Opens a workspace of x and z, whose values depend on `variant`.
void Open(AlgebraWorkspace &workspace, int variant) {
  std::vector<double> cells;
  for (int t = 0; t < kObservations; ++t) {
    cells.push_back(t % 97 == 5 ? NAN : std::sin(t * 0.37 + variant));
    cells.push_back(1.5 + std::cos(t * (variant + 1)));
  }
  const char *const names[] = {"x", "z"};
  ASSERT_TRUE(Succeeded(workspace.Open({1960, 2, 0, 0, 4}, kObservations, 2)));
  ASSERT_TRUE(Succeeded(workspace.AddData({cells.data(), kObservations, 2}, names)));
}

// Every family of functions, the edits of the database, messages of all kinds.
constexpr const char *kPrograms[] = {
    "&1 = 0.5; &4 = 2; y = &1*x[-1] + &4*log(z); level = y == MISSING ? z : 0.9*level[-1] + y;",
    "u = ranu(); n = rann(); c = ranchi(3) + rant(4) + ranf(2, 9); first = ranseed(0);",
    "acf(x, a, l); pacf(x, p, l); periodogram(z, g, f); smooth_hp(z, 1600, h); smooth_np(x, 0, k); smooth_sp(x, 0, s);",
    "m = mean(x) + variance(z) + cum(z) + peak(x) - trough(x); ewma(z, 0.3, 0.1, e); ewmc0(x, z, 0.9, r); s = sort(x);",
    "q = quann(probn(z - 2)) + quant(0.3, 5) + tailchi(z, 2) + densf(z, 3, 4); d = year() + month() + iseaster(2);",
    "old = x; delete(x); x = old + 1; delete(z); w = dlog(old) + lag(old, 2) + movingavg(x, 2, 1); _sortallby(w);",
    "y = log(x - 9) + 1/0 + exp(900);",
    "y = sqrt(x) + nothing;",
    "y = \"x;\n",
};

// Compiles and runs each program with a workspace of its own, beginning with the one of number `first`.
Trace Work(int first) {
  constexpr int count = std::size(kPrograms);
  std::vector<Trace> traces(std::size(kPrograms));
  Messages messages;
  AlgebraWorkspace workspace(messages.Sink());
  for (int i = 0; i < count; ++i) {
    const int number = (first + i) % count;
    Trace &trace = traces[static_cast<std::size_t>(number)];
    Open(workspace, number);
    workspace.RandomNumbers() = {};
    if (Succeeded(workspace.Compile(kPrograms[number]))) {
      const double trial[] = {0.25, 1.75};
      EXPECT_EQ(Succeeded(workspace.SetParameters(trial)), workspace.ParameterCount() == 2);
      for (const int from : {0, 300, 699})
        trace.texts.push_back(Succeeded(workspace.Run(from, 699, RunReporting::Report)) ? "ran" : "failed");
      Read(workspace, trace);
    }
    trace.texts.insert(trace.texts.end(), messages.texts.begin(), messages.texts.end());
    messages.texts.clear();
  }
  Trace all;
  for (const Trace &trace : traces) {
    all.bits.insert(all.bits.end(), trace.bits.begin(), trace.bits.end());
    all.texts.insert(all.texts.end(), trace.texts.begin(), trace.texts.end());
  }
  return all;
}

// work(k) in thread k of eight gives what it gives alone.
void CompareWithSerial(const std::function<Trace(int k)> &work) {
  const char *const wanted = std::getenv("TESSEL_SECONDS");
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(wanted != nullptr ? std::atoi(wanted) : 0);
  const auto blocks = HeapLiveBlocks();
  for (int round = 0; round < 3 || std::chrono::steady_clock::now() < end; ++round) {
    // The threads come first: what is set when it is first reached is then set by all of them at once.
    std::vector<Trace> traces(kThreads);
    std::vector<std::thread> threads;
    for (int k = 0; k < kThreads; ++k) threads.emplace_back([&, k] { traces[static_cast<std::size_t>(k)] = work(k); });
    for (std::thread &thread : threads) thread.join();
    for (int k = 0; k < kThreads; ++k) {
      const Trace alone = work(k);
      EXPECT_GT(alone.bits.size(), 100U);
      EXPECT_TRUE(traces[static_cast<std::size_t>(k)] == alone) << "thread " << k << " of round " << round;
    }
  }
  EXPECT_EQ(HeapLiveBlocks(), blocks);
}

TEST(Threads, WorkspacesGiveTheBitsOfASerialRun) { CompareWithSerial(Work); }

TEST(Threads, OneProgramRunsInManyWorkspacesAtOnce) {
  AlgebraWorkspace compiled;
  Open(compiled, 0);
  ASSERT_TRUE(
      Succeeded(compiled.Compile("&0 = 1; delete(z); y = &0*x + rann(); ewma(y, 0.5, 0.2, e); w = y[-1] > e;")));
  CompareWithSerial([&](int k) {
    Trace trace;
    AlgebraWorkspace workspace;
    Open(workspace, k);
    EXPECT_TRUE(Succeeded(workspace.Attach(*compiled.Program())));
    for (int i = 0; i < 20; ++i) {
      const double trial[] = {k + 0.1 * i};
      EXPECT_TRUE(Succeeded(workspace.SetParameters(trial)));
      EXPECT_TRUE(Succeeded(workspace.Run(i, kObservations - 1 - k)));
    }
    Read(workspace, trace);
    return trace;
  });
}

// A system of two equations with a lag each and a constant, and its identities in a workspace of its own.
ForecastModel SystemOf(AlgebraWorkspace &workspace, const OwnedMatrix &actual, const OwnedMatrix &regressors,
                       int base) {
  constexpr double identities[] = {1, 2, 1, 2, 0}, kinds[] = {1, 1, 1, 1, 0}, lags[] = {0, 0, 1, 1, 0};
  constexpr double pi[] = {0.5, -0.2, 0.1, 0.3, 0.4, -0.1};
  ForecastModel model;
  model.workspace = &workspace;
  model.base = base;
  EXPECT_EQ(BuildForecastIndex({identities, kinds, lags, 1, 2}, 2, 3, &model.index), Status::Ok);
  const RowSources sources = {actual, regressors, workspace.AddedCount(), actual.View().columns + 30};
  EXPECT_EQ(NewForecastRows(model.index, sources, &model.rows), Status::Ok);
  model.piColumns = CoefficientColumns({pi, 2, 3});
  return model;
}

TEST(Threads, ForecastsWithIdentitiesGiveTheBitsOfASerialRun) {
  CompareWithSerial([](int k) {
    constexpr int known = 100, span = 24;
    const OwnedMatrix actual(2, known), regressors(3, known + 31), v(6, 6), omega(2, 2);
    Fill(regressors, 1.0);
    FillIdentity(omega);
    FillIdentity(v);
    Trace trace;
    AlgebraWorkspace workspace;
    Open(workspace, k);
    EXPECT_TRUE(Succeeded(workspace.Compile("level = x*z + 0.5*level[-1]; ratio = exp(x/4) / (1 + z^2);")));
    for (int t = 0; t < known; ++t) actual[0][t] = std::sin(t + k), actual[1][t] = std::cos(2.0 * t);
    for (const int h : {0, 3}) {
      ForecastModel model = SystemOf(workspace, actual, regressors, known);
      const OwnedMatrix errors(model.rows.Results(), span);
      EXPECT_EQ(Forecast(model, {omega, v, {}}, {known, known + span - 1}, h, errors), Status::Ok);
      for (const Matrix &result : {errors.View(), model.rows.results})
        for (int r = 0; r < result.rows; ++r)
          for (const double value : result.Row(r)) trace.bits.push_back(std::bit_cast<std::uint64_t>(value));
    }
    Read(workspace, trace);
    return trace;
  });
}

}  // namespace
