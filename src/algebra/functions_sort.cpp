// Built-in functions that reorder columns. Where memory fails, every column stays as it was.
#include "algebra/functions.h"
#include "series/sort.h"

namespace tessel {

// sort(x): the observations of x that the run covers.
double AlgSort(AlgebraRun &run, const double *args) {
  double *x = ColumnAt(run, args[0]);
  if (MustFill(run, 1)) SortWithCompanion({x + run.firstObs, x + run.lastObs + 1});
  return x[run.currentObs];
}

// _sortby(key, companion): the whole sample, in a run that begins with it.
double AlgSortBy(AlgebraRun &run, const double *args) {
  double *key = ColumnAt(run, args[0]), *companion = ColumnAt(run, args[1]);
  if (key == companion) return Fault(run, ErrSameArguments);
  const auto n = static_cast<std::size_t>(run.database->obsCount);
  if (run.currentObs == 0) SortWithCompanion({key, n}, {companion, n});
  return key[run.currentObs];
}

// _sortallby(key): every variable of the database, over the whole sample, in a run that begins with it. Without memory
// the columns stay as they are, and the run goes on.
double AlgSortAllBy(AlgebraRun &run, const double *args) {
  double *key = ColumnAt(run, args[0]);
  const AlgebraDatabase &database = *run.database;
  double *const *columns = database.columns.get();
  if (run.currentObs == 0)
    static_cast<void>(
        SortColumns({key, static_cast<std::size_t>(database.obsCount)}, {columns, columns + database.varCount}));
  return key[run.currentObs];
}

}  // namespace tessel
