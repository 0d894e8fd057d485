// The index of lags and the rows.
#include "forecast/forecast_rows.h"

#include <algorithm>

#include "core/missing.h"
#include "core/simd.h"

namespace tessel {

namespace {

// Calls visit(identity, lag) for the descriptors of either kind, first kind before second, each once.
template <class Visit>
void ForEachEndogenous(const ForecastDescriptors &d, std::size_t count, Visit visit) {
  for (int pass = 0; pass < (d.firstKind == d.secondKind ? 1 : 2); ++pass)
    for (std::size_t i = 0; i < count; ++i)
      if (TruncateToInt(d.kinds[i]) == (pass == 0 ? d.firstKind : d.secondKind))
        visit(TruncateToInt(d.identities[i]), TruncateToInt(d.lags[i]));
}

}  // namespace

Status BuildForecastIndex(const ForecastDescriptors &descriptors, int nY, int nX, ForecastIndex *index) {
  *index = {};
  const OwnedBlock<int> list(nY);
  OwnedBlock<LagTerm> terms(nX);
  if (!list || !terms) return Status::NoMemory;

  const std::size_t count = static_cast<std::size_t>(nY) + static_cast<std::size_t>(nX);
  int listed = 0;
  ForEachEndogenous(descriptors, count, [&](int identity, int lag) {
    if (lag == 0 && listed < nY) list[listed++] = identity;
  });
  if (listed < nY) return Status::Invalid;

  // nY descriptors have lag 0, so nX at most are left for lags.
  ForEachEndogenous(descriptors, count, [&](int identity, int lag) {
    const int place = static_cast<int>(std::find(list.get(), list.get() + nY, identity) - list.get());
    if (lag < 1 || place == nY) return;
    terms[index->nLag++] = {place, lag};
    index->longestLag = std::max(index->longestLag, lag);
  });
  index->terms = std::move(terms);
  return Status::Ok;
}

Status NewForecastRows(const ForecastIndex &index, const RowSources &sources, ForecastRows *rows) {
  const ConstMatrix &actual = sources.actual;
  const int columns = sources.lastColumn + 1;
  rows->nY = actual.rows, rows->nIdent = sources.nIdent, rows->nX = sources.regressors.rows;
  rows->cells = OwnedMatrix(rows->Results(), std::int64_t{index.longestLag} + columns);
  rows->regressor = OwnedBlock<const double *>(rows->nX);
  if (!rows->cells || !rows->regressor) return Status::NoMemory;

  FillMissing(rows->cells);
  rows->results = rows->cells.View().Columns(index.longestLag, columns);
  const int known = std::min(actual.columns, columns);
  Copy(rows->results.Block(0, rows->nY, 0, known), actual.Columns(0, known));
  for (int k = 0; k < rows->nX; ++k) {
    const bool isLag = k < index.nLag;
    rows->regressor[k] = isLag ? (*rows)[index.terms[k].varIndex] - index.terms[k].lagOf : sources.regressors[k];
  }
  return Status::Ok;
}

OwnedMatrix CoefficientColumns(ConstMatrix pi) {
  const std::int64_t width = (std::int64_t{pi.rows} + kStepRows - 1) / kStepRows * kStepRows;
  OwnedMatrix columns(pi.columns, width);
  if (!columns) return columns;
  FillZero(columns);
  for (int k = 0; k < pi.columns; ++k)
    for (int i = 0; i < pi.rows; ++i) columns[k][i] = pi[i][k];
  return columns;
}

void ForecastStep(const ForecastRows &rows, ConstMatrix piColumns, int terms, int t) {
  const double *const *regressor = rows.regressor.get();
  for (int first = 0; first < rows.nY; first += kStepRows) {
    Double2 low = {}, high = {};  // a Double4 would be kept in memory where the machine code has pairs alone
    for (int k = 0; k < terms; ++k) {
      const double *coefficients = piColumns[k] + first;
      const double x = regressor[k][t];
      low += At<Double2>(coefficients).v * x;
      high += At<Double2>(coefficients + 2).v * x;
    }
    const double sum[kStepRows] = {low[0], low[1], high[0], high[1]};
    const int count = std::min(kStepRows, rows.nY - first);
    for (int i = 0; i < count; ++i) rows[first + i][t] = sum[i];
  }
}

}  // namespace tessel
