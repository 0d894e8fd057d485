// Actual against predicted outcomes.
#include "limdep/act_fit_table.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "core/missing.h"

namespace tessel {

namespace {

int PredictedOutcome(const double *probability, int outcomes) {
  int predicted = 0;
  double highest = 0.0;
  for (int j = 0; j < outcomes; ++j)
    if (probability[j] > highest) {
      highest = probability[j];
      predicted = j;
    }
  return predicted;
}

// A total of whole cases.
struct Total {
  std::int64_t sum = 0;
  bool missing = false;

  void Add(double cell) {
    sum += TruncateToInt(cell);
    missing = missing || IsMissing(cell);
  }
  double Value() const {
    constexpr std::int64_t lowest = std::numeric_limits<int>::min(), highest = std::numeric_limits<int>::max();
    return missing ? MissingValue() : static_cast<double>(std::clamp(sum, lowest, highest));
  }
};

}  // namespace

void ActFitTable(ConstMatrix y, bool counts, ConstMatrix probabilities, Matrix table) {
  const int outcomes = probabilities.columns;
  FillZero(table);
  for (int t = 0; t < y.rows && outcomes > 0; ++t) {
    const int predicted = PredictedOutcome(probabilities[t], outcomes);
    if (!counts)
      table[TruncateToInt(y[t][0])][predicted] += 1.0;
    else
      for (int r = 0; r < outcomes; ++r) table[r][predicted] += y[t][r];
  }

  Total grand;
  for (int i = 0; i < outcomes; ++i) {
    Total row, column;
    for (int j = 0; j < outcomes; ++j) {
      row.Add(table[i][j]);
      column.Add(table[j][i]);
    }
    table[i][outcomes] = row.Value();
    table[outcomes][i] = column.Value();
    grand.Add(table[outcomes][i]);
  }
  table[outcomes][outcomes] = grand.Value();
}

}  // namespace tessel
