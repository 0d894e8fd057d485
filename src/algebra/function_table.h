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

// The same for `count` observations from currentObs on that have the same arguments, where that costs less than one
// after the other.
using StretchHandler = void (*)(AlgebraRun &run, const double *args, double *out, int count);

// In which order a function may see the observations.
enum class CallOrder {
  Any,    // writes nothing and depends on its arguments, the position and the named columns alone
  InTurn  // writes columns, draws random numbers, or otherwise needs one call after the other
};

struct FunctionRow {
  constexpr FunctionRow(const char *functionName, const char *letters, const char *written, CallOrder calls,
                        FunctionHandler one, StretchHandler many = nullptr, int offsetSign = 0)
      : name(functionName),
        signature(letters),
        prototype(written),
        argCount(static_cast<int>(std::string_view(letters).size())),
        order(calls),
        handler(one),
        stretch(many),
        shift(offsetSign) {}

  const char *name;
  const char *signature;  // a letter for each argument: v, r or d
  const char *prototype;  // how a call is written, for reading
  int argCount;
  CallOrder order;
  FunctionHandler handler;
  StretchHandler stretch;  // in place of the handler, or null
  int shift;  // 1 or -1: reads its column at so many times its second argument ahead; 0 for any other function
};

inline constexpr int kMaxArguments = 8;

std::span<const FunctionRow> FunctionTable();

// The row of that name, or -1.
int FindFunction(const char *name);

}  // namespace tessel
