// The variables of a linear dynamic system as rows over time.
//
// All series stand one to a row, time along the columns. A system has nY endogenous variables, nIdent identities that
// follow from them, and nX regressors:
//
//   results      nY + nIdent rows   the endogenous variables (actual values, then forecasts), then the identities
//   regressors   nX rows            a lag of an endogenous variable: that row of the results, shifted
//                                   any other regressor: the caller's row
//
// A lag has no cells of its own: column t of its row is column t - lag of the endogenous row. So a forecast that is
// written into an endogenous row is at once seen, under its lags, by all later columns.
#pragma once

#include <span>

#include "core/heap.h"
#include "core/matrix.h"
#include "core/status.h"

namespace tessel {

// The variables of a model in the caller's order, first those of one kind code, then of the other: each endogenous
// variable once with lag 0, its lags, and anything else. nY + nX numbers each, truncated to integers.
struct ForecastDescriptors {
  std::span<const double> identities, kinds, lags;
  int firstKind, secondKind;
};

// A regressor that is variable varIndex, lagOf (at least 1) periods back.
struct LagTerm {
  int varIndex, lagOf;
};

// Which regressors are lags of endogenous variables: regressor k is terms[k] for k below nLag, and row k of the
// regressor matrix from there on.
struct ForecastIndex {
  OwnedBlock<LagTerm> terms;
  int nLag = 0;
  int longestLag = 0;
};

// The endogenous variables are numbered in the order of their descriptors with lag 0, first kind before second; the
// lags follow in the same manner. Descriptors with lag 0 past the nY-th and lags of variables that are not endogenous
// count as other regressors. Kind codes may be the same. Invalid when fewer than nY variables have lag 0.
Status BuildForecastIndex(const ForecastDescriptors &descriptors, int nY, int nX, ForecastIndex *index);

struct ForecastRows {
  OwnedMatrix cells;                     // of the results, with the columns before 0 that a lag may read
  Matrix results;                        // nY + nIdent rows over the columns 0 to t2
  OwnedBlock<const double *> regressor;  // nX rows; row k at column t is regressor[k][t]
  int nY = 0, nIdent = 0, nX = 0;

  int Results() const { return nY + nIdent; }
  double *operator[](int row) const { return results[row]; }
};

// What the rows are made of. Of `regressors`, nX rows of at least lastColumn + 1 columns, those that stand for lags are
// not read.
struct RowSources {
  ConstMatrix actual;      // nY rows: the endogenous variables, as far as they are known
  ConstMatrix regressors;  // nX rows; must live as long as the rows
  int nIdent = 0;
  int lastColumn = 0;  // t2
};

// Rows for the columns 0 to t2. The endogenous rows are filled from `actual` as far as it reaches; all other cells are
// missing, those before column 0 that a lag may read included.
Status NewForecastRows(const ForecastIndex &index, const RowSources &sources, ForecastRows *rows);

// Endogenous rows that a step takes at a time: the sums of several rows run side by side.
inline constexpr int kStepRows = 4;

// The columns of pi (nY x nX) as rows, each filled up with zeros to a multiple of kStepRows. False when memory fails.
OwnedMatrix CoefficientColumns(ConstMatrix pi);

// Column t of every endogenous row i becomes the sum over k below `terms`, in that order, of piColumns[k][i] times
// regressor k at t.
void ForecastStep(const ForecastRows &rows, ConstMatrix piColumns, int terms, int t);

}  // namespace tessel
