// An Algebra workspace driven through the exports.
#pragma once

#include <cmath>
#include <string>
#include <vector>

#include "library.h"

inline constexpr double NA = NAN;

// Opens a workspace over columns of data; the destructor closes it.
struct Algebra {
  std::string error;  // of opening, empty on success
  morv::Value starts, numbers;
  int observations = 0;

  struct Sample {
    int year = 1, period = 1, frequency = 1;
    bool dated = false;
  };

  Algebra(const std::vector<std::string> &names, const std::vector<std::vector<double>> &columns,
          const std::string &code, bool formulation = false)
      : Algebra(names, columns, code, formulation, Sample{}) {}
  Algebra(const std::vector<std::string> &names, const std::vector<std::vector<double>> &columns,
          const std::string &code, bool formulation, Sample sample) {
    observations = columns.empty() ? 4 : static_cast<int>(columns[0].size());
    std::vector<double> cells;
    for (int t = 0; t < observations; ++t)
      for (const auto &column : columns) cells.push_back(column[static_cast<std::size_t>(t)]);
    morv::Arguments args;
    args.Matrix(cells.data(), observations, static_cast<int>(columns.size())).Strings(names);
    args.Integer(sample.year).Integer(sample.period).Integer(sample.frequency).Integer(sample.dated).Text(code);
    if (formulation) {
      args.Output(starts).Output(numbers);
    } else {
      args.Decline().Decline();
    }
    const morv::Outcome outcome = TesselLibrary().Call("FnInitAlgebraNls", args);
    if (!outcome.Untouched()) error = outcome.Returned() ? std::string(outcome.result.AsText()) : outcome.message;
  }
  ~Algebra() {
    morv::Arguments none;
    TesselLibrary().Call("FnExitAlgebraNls", none);
  }

  // 1 when the run succeeded. Without a range it covers the whole sample.
  bool Run(const std::vector<double> &parameters = {}) { return Run(parameters, 0, observations - 1); }
  bool Run(const std::vector<double> &parameters, int first, int last) {
    morv::Arguments args;
    args.Matrix(parameters.data(), static_cast<int>(parameters.size()), parameters.empty() ? 0 : 1);
    args.Integer(first).Integer(last);
    const morv::Outcome outcome = TesselLibrary().Call("FnRunAlgebraNls", args);
    message = outcome.Returned() ? std::string(outcome.result.AsText()) : outcome.message;
    return outcome.Untouched();
  }
  std::string message;  // of the last run

  std::vector<double> Get(const std::string &name) { return Get(name, 0, observations - 1); }
  std::vector<double> Get(const std::string &name, int first, int last) {
    morv::Arguments args;
    args.Text(name).Integer(first).Integer(last).Decline();
    const morv::Outcome outcome = TesselLibrary().Call("FnGetAlgebraVar", args);
    if (!outcome.Returned()) return {};
    const auto cells = outcome.result.AsMatrix().Flat();
    return {cells.begin(), cells.end()};
  }
};

// Equal cell by cell, a missing value being equal to a missing value.
inline void ExpectSeries(const std::vector<double> &actual, const std::vector<double> &expected,
                         const std::string &what, double relative = 0.0) {
  ASSERT_EQ(actual.size(), expected.size()) << what;
  for (std::size_t t = 0; t < expected.size(); ++t) {
    if (std::isnan(expected[t])) {
      EXPECT_TRUE(std::isnan(actual[t])) << what << " at observation " << t << ": " << actual[t];
    } else if (relative == 0.0) {
      EXPECT_EQ(actual[t], expected[t]) << what << " at observation " << t;
    } else {
      EXPECT_NEAR(actual[t], expected[t], relative * std::fabs(expected[t])) << what << " at observation " << t;
    }
  }
}
