// The built-in functions: one table of names, signatures, prototypes and handlers.
//
// The machine calls a handler once for every observation of the run, unless a `v` argument is missing: then the call's
// value is missing and the handler is not called. A handler
//   - reads its arguments in source order: the value of a `v` argument, and the symbol's index as a double for an `r`
//     argument (a column that is read) and a `d` argument (one that is written); see ColumnAt in functions.h;
//   - may use the run's currentObs, firstObs, lastObs, obsLimit, database and generators;
//   - sets bits of the run's error word with OR, and never clears any;
//   - gives AlgebraMissing when it has no value.
#pragma once

#include <span>
#include <string_view>

namespace tessel {

struct AlgebraRun;

using FunctionHandler = double (*)(AlgebraRun &run, const double *args);

// The same for `count` observations from currentObs on that all have the same arguments, where that costs less than one
// call for each.
using RepeatHandler = void (*)(AlgebraRun &run, const double *args, double *out, int count);

// In which order a function may see the observations.
enum class CallOrder {
  Any,    // writes nothing and depends on its arguments, the position and the named columns alone
  InTurn  // writes columns, draws random numbers, or otherwise needs one call after the other
};

// A letter for each argument: v, r or d.
struct Signature {
  constexpr Signature(const char *text) : letters(text), count(static_cast<int>(std::string_view(text).size())) {}

  const char *letters;
  int count;
};

struct FunctionRow {
  const char *name;
  Signature signature;
  const char *prototype;  // how a call is written, for reading
  CallOrder order;
  FunctionHandler handler;  // null where there is a repeat handler
  RepeatHandler repeat = nullptr;
  int shift = 0;  // 1 or -1: reads its column at so many times its second argument ahead; 0 for any other function
};

inline constexpr int kMaxArguments = 8;

std::span<const FunctionRow> FunctionTable();

// The row of that name, or -1.
int FindFunction(const char *name);

}  // namespace tessel
