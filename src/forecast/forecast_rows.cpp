// The index of lags and the table of rows.
#include "forecast/forecast_rows.h"

#include <algorithm>

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
  rows.table = OwnedMatrix(std::int64_t{results} + nX, 0);
  rows.cells = OwnedMatrix(results, width);
  rows.regressor = OwnedBlock<double>(nX);
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

void ForecastStep(const ForecastRows &rows, RowMatrix pi, int terms, int t) {
  double *x = rows.regressor.get();
  const RowMatrix regressors = rows.Regressors();
  for (int k = 0; k < terms; ++k) x[k] = regressors[k][t];
  for (int i = 0; i < rows.nY; ++i) {
    double sum = 0.0;
    for (int k = 0; k < terms; ++k) sum += pi[i][k] * x[k];
    rows[i][t] = sum;
  }
}

}  // namespace tessel
