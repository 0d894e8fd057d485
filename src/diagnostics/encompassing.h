// Encompassing tests of two non-nested single-equation models of one dependent variable, each estimated by instrumental
// variables on the union of the instruments of both.
//
// Literature: Ericsson (1983), Review of Economic Studies 50, 287-304. Cox (1961), Proceedings of the Fourth Berkeley
// Symposium 1, 105-123. Sargan (1964), in Econometric Analysis for National Economic Planning. Mizon and Richard
// (1986), Econometrica 54, 657-678.
#pragma once

#include "core/heap.h"
#include "core/row_matrix.h"

namespace tessel {

// A model: one variable a row, one observation a column. The rows hold the dependent variable, `endogenous` - 1
// endogenous regressors, `exogenous` exogenous ones, and `instruments` additional instruments.
struct IvModel {
  RowMatrix rows = nullptr;
  int endogenous = 1;  // the dependent variable included
  int exogenous = 0;
  int instruments = 0;

  int RegressorCount() const { return endogenous + exogenous - 1; }
  int InstrumentCount() const { return exogenous + instruments; }
  RowMatrix Regressors() const { return rows + 1; }
  RowMatrix Instruments() const { return rows + endogenous; }
};

enum class EncompassingStatus {
  Success = 0,
  NotIdentified = 1,  // fewer instruments than regressors in the union
  Nested = 2,         // one model's instruments or regressors are the whole union
  Singular = 3,       // a moment matrix cannot be inverted
  NotPositive = 4,    // a variance, or the difference of two, is not positive
  NoMemory = 5
};

constexpr int kEncompassingStatistics = 11;

// The cells, for model 1 and then model 2 in turn: Sargan's test of the instruments (0, 1), Cox's test against the
// other model (2, 3), F against the joint model (4, 5), the contrast of the instrumental variable estimates with the
// other model (6, 7), equation standard errors (8, 9, and 10 for the joint model).
struct EncompassingResult {
  double statistics[kEncompassingStatistics] = {};
  int instruments = 0;  // in the union
  int regressors = 0;
  OwnedBlock<int> index;  // of each instrument of the union: its place among those of model 1 followed by model 2's
};

// Rows of the two models are one variable when all of their observations are equal; a row with a missing value is
// equal to none. Each model has T observations, at least 1. The result has a use with status Success alone.
EncompassingStatus Encompassing(const IvModel &first, const IvModel &second, int T, EncompassingResult *result);

}  // namespace tessel
