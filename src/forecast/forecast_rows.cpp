// The index of lags and the table of rows.
#include "forecast/forecast_rows.h"

#include <algorithm>

#include "core/simd.h"

namespace tessel {

namespace {

// Calls visit(identity, lag) for the descriptors of either kind, first kind before second, each once.
template <class Visit>
void ForEachEndogenous(const ForecastDescriptors &d, int count, Visit visit) {
  for (int pass = 0; pass < (d.firstKind == d.secondKind ? 1 : 2); ++pass)
    for (int i = 0; i < count; ++i)
      if (TruncateToInt(d.kinds[i]) == (pass == 0 ? d.firstKind : d.secondKind))
        visit(TruncateToInt(d.identities[i]), TruncateToInt(d.lags[i]));
}

}  // namespace

ForecastIndex BuildForecastIndex(const ForecastDescriptors &descriptors, int nY, int nX) {
  ForecastIndex index;
  const OwnedBlock<int> list(nY);
  OwnedBlock<LagTerm> terms(nX);
  if (!list || !terms) return index;

  int listed = 0;
  ForEachEndogenous(descriptors, nY + nX, [&](int identity, int lag) {
    if (lag == 0 && listed < nY) list[listed++] = identity;
  });
  if (listed < nY) return index;

  // nY descriptors have lag 0, so nX at most are left for lags.
  ForEachEndogenous(descriptors, nY + nX, [&](int identity, int lag) {
    const int place = static_cast<int>(std::find(list.get(), list.get() + nY, identity) - list.get());
    if (lag < 1 || place == nY) return;
    terms[index.nLag++] = {place, lag};
    index.longestLag = std::max(index.longestLag, lag);
  });
  index.terms = std::move(terms);
  return index;
}

ForecastRows NewForecastRows(const ForecastIndex &index, RowMatrix actual, int actualColumns, RowMatrix regressors,
                             int nY, int nIdent, int nX, int t2) {
  const int results = nY + nIdent;
  const std::int64_t before = index.longestLag, width = before + t2 + 1;
  ForecastRows rows;
  rows.table = OwnedRows(std::int64_t{results} + nX, 0);
  rows.cells = OwnedRows(results, width);
  if (!rows) return {};

  rows.nY = nY, rows.nIdent = nIdent, rows.nX = nX;
  const RowMatrix table = rows.table.get();
  for (int i = 0; i < results; ++i) {
    double *row = rows.cells[i];
    std::fill(row, row + width, MissingValue());
    table[i] = row + before;
    if (i < nY) std::copy_n(actual[i], std::min(actualColumns, t2 + 1), table[i]);
  }
  for (int k = 0; k < nX; ++k) {
    const bool alias = k < index.nLag;
    table[results + k] = alias ? table[index.terms[k].varIndex] - index.terms[k].lagOf : regressors[k];
  }
  return rows;
}

OwnedRows CoefficientColumns(RowMatrix pi, int nY, int nX) {
  const std::int64_t width = (std::int64_t{nY} + kStepRows - 1) / kStepRows * kStepRows;
  OwnedRows columns(nX, width);
  if (!columns) return columns;
  for (int k = 0; k < nX; ++k) {
    for (int i = 0; i < nY; ++i) columns[k][i] = pi[i][k];
    std::fill(columns[k] + nY, columns[k] + width, 0.0);
  }
  return columns;
}

void ForecastStep(const ForecastRows &rows, RowMatrix piColumns, int terms, int t) {
  const RowMatrix regressors = rows.Regressors();
  for (int first = 0; first < rows.nY; first += kStepRows) {
    Double2 low = {}, high = {};  // a Double4 would be kept in memory where the machine code has pairs alone
    for (int k = 0; k < terms; ++k) {
      const double *coefficients = piColumns[k] + first;
      const double x = regressors[k][t];
      low += At<Double2>(coefficients).v * x;
      high += At<Double2>(coefficients + 2).v * x;
    }
    const double sum[kStepRows] = {low[0], low[1], high[0], high[1]};
    const int count = std::min(kStepRows, rows.nY - first);
    for (int i = 0; i < count; ++i) rows[first + i][t] = sum[i];
  }
}

}  // namespace tessel
