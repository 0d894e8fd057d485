// The variables of a linear dynamic system as one table of rows over time.
//
// All series stand one to a row, time along the columns. A system has nY endogenous variables, nIdent identities that
// follow from them, and nX regressors:
//
//   rows of the table         storage                        content
//   0 .. nY-1                 own                            endogenous: actual values, then forecasts
//   nY .. nY+nIdent-1         own                            identities
//   nY+nIdent .. +nX-1        the endogenous row, shifted    a lag of an endogenous variable
//                             the regressor matrix's row     any other regressor
//
// A lag has no cells of its own: its row is an alias, whose column t is column t - lag of the endogenous row. So a
// forecast that is written into an endogenous row is at once seen, under its lags, by all later columns.
#pragma once

#include "core/heap.h"
#include "core/row_matrix.h"

namespace tessel {

// The variables of a model in the caller's order, first those of one kind code, then of the other: each endogenous
// variable once with lag 0, its lags, and anything else. nY + nX numbers each, truncated to integers.
struct ForecastDescriptors {
  const double *identities, *kinds, *lags;
  int firstKind, secondKind;
};

// A regressor that is variable varIndex, lagOf (at least 1) periods back.
struct LagTerm {
  int varIndex, lagOf;
};

// Which regressors are lags of endogenous variables: regressor k is terms[k] for k below nLag, and row k of the
// regressor matrix from there on.
struct ForecastIndex {
  OwnedBlock<LagTerm> terms;  // null when the index could not be built
  int nLag = 0;
  int longestLag = 0;

  explicit operator bool() const { return static_cast<bool>(terms); }
};

// The endogenous variables are numbered in the order of their descriptors with lag 0, first kind before second; the
// lags follow in the same manner. Descriptors with lag 0 past the nY-th and lags of variables that are not endogenous
// count as other regressors. Fails (null terms) when fewer than nY variables have lag 0, and when memory fails. Kind
// codes may be the same.
ForecastIndex BuildForecastIndex(const ForecastDescriptors &descriptors, int nY, int nX);

struct ForecastRows {
  OwnedRows table;  // row pointers alone
  OwnedRows cells;  // of the first two groups of rows
  int nY = 0, nIdent = 0, nX = 0;

  explicit operator bool() const { return table && cells; }
  int Results() const { return nY + nIdent; }
  double *operator[](int row) const { return table[row]; }
  RowMatrix Regressors() const { return table.get() + Results(); }
};

// Rows for the columns 0 to t2. actual: nY rows of actualColumns values, from which the endogenous rows are filled as
// far as they reach; all other cells are missing, those before column 0 that an alias may point at included.
// regressors: nX rows of at least t2 + 1 columns, of which those that stand for lags are not read. False when memory
// fails.
ForecastRows NewForecastRows(const ForecastIndex &index, RowMatrix actual, int actualColumns, RowMatrix regressors,
                             int nY, int nIdent, int nX, int t2);

// Endogenous rows that a step takes at a time: the sums of several rows run side by side.
inline constexpr int kStepRows = 4;

// The columns of pi (nY x nX) as rows, each filled up with zeros to a multiple of kStepRows. Null when memory fails.
OwnedRows CoefficientColumns(RowMatrix pi, int nY, int nX);

// Column t of every endogenous row i becomes the sum over k below `terms`, in that order, of piColumns[k][i] times
// regressor k at t.
void ForecastStep(const ForecastRows &rows, RowMatrix piColumns, int terms, int t);

}  // namespace tessel
