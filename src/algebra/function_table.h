// The built-in functions: one table of names, signatures, prototypes and handlers.
//
// The machine calls a handler once for every observation of the run, unless a `v` argument is missing: then the call's
// value is missing and the handler is not called. A handler
//   - reads its arguments in source order: the value of a `v` argument, and the symbol's index as a double for an `r`
//     argument (a column that is read) and a `d` argument (one that is written); see ColumnAt in functions.h;
//   - may use the context's currentObs, firstObs, lastObs, obsLimit, symbols and database;
//   - sets bits of the context's error word with OR, and never clears any;
//   - gives AlgebraMissing when it has nothing to say.
#pragma once

#include "algebra/context.h"

namespace tessel {

using FunctionHandler = double (*)(AlgebraContext *context, const double *args);

// The same for `count` observations from currentObs on that have the same arguments, where that costs less than one
// after the other.
using StretchHandler = void (*)(AlgebraContext *context, const double *args, double *out, int count);

// In which order a function may see the observations.
enum class CallOrder {
  Any,    // writes nothing and depends on its arguments, the position and the named columns alone
  InTurn  // writes columns, draws random numbers, or otherwise needs one call after the other
};

struct FunctionRow {
  FunctionHandler handler;
  const char *name;
  int argCount;
  CallOrder order;
  const char *signature;
  const char *prototype;
  StretchHandler stretch;  // in place of the handler, or null
};

inline constexpr int kMaxFunctions = 100;
inline constexpr int kMaxArguments = 8;

// On its first call in the life of the process: fills the table.
void RegisterFunctions();

// The table, ended by a row with a null name.
const FunctionRow *FunctionTable();

// The row of that name, or -1.
int FindFunction(const char *name);

}  // namespace tessel
