// Built-in functions that reorder columns. Where memory fails, every column stays as it was.
#include "algebra/functions.h"
#include "series/sort.h"

namespace tessel {

// sort(x): the stretch of x that the run covers.
double AlgSort(AlgebraContext *context, const double *args) {
  const SymbolEntry &x = SymbolAt(context, args[0]);
  if (MustFill(context, x, 1)) SortWithCompanion({x.data + context->firstObs, x.data + context->lastObs + 1});
  return x.data[context->currentObs];
}

// _sortby(key, companion): the whole sample, in a run that begins with it.
double AlgSortBy(AlgebraContext *context, const double *args) {
  const SymbolEntry &key = SymbolAt(context, args[0]), &companion = SymbolAt(context, args[1]);
  if (key.data == companion.data) return Fault(context, ErrSameArguments);
  AlgebraDatabase *database = context->database;
  const auto n = static_cast<std::size_t>(database->obsCount);
  if (context->currentObs == 0 && SortWithCompanion({key.data, n}, {companion.data, n}) > 0) {
    DbMarkChanged(database, key.handle);
    DbMarkChanged(database, companion.handle);
  }
  return key.data[context->currentObs];
}

// _sortallby(key): every variable of the database, over the whole sample, in a run that begins with it.
double AlgSortAllBy(AlgebraContext *context, const double *args) {
  const SymbolEntry &key = SymbolAt(context, args[0]);
  AlgebraDatabase *database = context->database;
  if (context->currentObs == 0 && Succeeded(SortColumns({key.data, static_cast<std::size_t>(database->obsCount)},
                                                        {database->columns, database->columns + database->varCount}))) {
    for (int i = 0; i < database->varCount; ++i) DbMarkChanged(database, database->handles[i]);
    database->modified = 1;
  }
  return key.data[context->currentObs];
}

}  // namespace tessel
