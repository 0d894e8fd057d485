// The operators' arithmetic, missing-value rules included.
//
// Every NaN result, whether from a missing operand or from the arithmetic (0/0, infinity less infinity, a negative base
// with a power that is not whole), becomes the missing value, so that there is one bit pattern for all of them.
#pragma once

#include <cmath>

#include "algebra/code.h"
#include "algebra/tokens.h"
#include "core/missing.h"

namespace tessel {

inline double OrMissing(double x) { return x == x ? x : MissingValue(); }
inline void SetNansMissing(double *cells, int n) {
  for (int i = 0; i < n; ++i) cells[i] = OrMissing(cells[i]);
}
inline double Truth(bool holds) { return holds ? 1.0 : 0.0; }
inline bool IsNan(double x) { return x != x; }

// Two missing values are equal. (Integers in place of && and ||, so that blocks of observations go without branches.)
inline bool AreEqual(double a, double b) { return (int{a == b} | (int{IsNan(a)} & int{IsNan(b)})) != 0; }

// a op b. The result may be any NaN; the caller turns it into the missing value, by OrMissing or by a branch where that
// is faster.
template <int Operator>
inline double Operate(double a, double b) {
  if constexpr (Operator == TokPlus) return a + b;
  if constexpr (Operator == TokMinus) return a - b;
  if constexpr (Operator == TokTimes) return a * b;
  if constexpr (Operator == TokOver) return a / b;
  if constexpr (Operator == TokPower) return IsNan(a) || IsNan(b) ? MissingValue() : std::pow(a, b);
  // Comparisons with a missing operand: false, apart from the two tests of equality.
  if constexpr (Operator == TokLess) return Truth(a < b);
  if constexpr (Operator == TokGreater) return Truth(a > b);
  if constexpr (Operator == TokAtMost) return Truth(a <= b);
  if constexpr (Operator == TokAtLeast) return Truth(a >= b);
  if constexpr (Operator == TokEqual) return Truth(AreEqual(a, b));
  if constexpr (Operator == TokNotEqual) return Truth(!AreEqual(a, b));
  // A missing value differs from 0, so it counts as true.
  if constexpr (Operator == TokAnd) return Truth((int{a != 0.0} & int{b != 0.0}) != 0);
  if constexpr (Operator == TokOr) return Truth((int{a != 0.0} | int{b != 0.0}) != 0);
}

inline double Negate(double a) { return IsNan(a) ? MissingValue() : -a; }
inline double Not(double a) { return IsNan(a) ? MissingValue() : Truth(a == 0.0); }

// Whether a / b is a division by zero: with a missing operand it is not.
inline bool DividesByZero(double a, double b) { return b == 0.0 && !IsNan(a); }

// Calls apply.operator()<code>() for a binary operator's code; false for any other code.
template <class Apply>
inline bool WithOperator(int code, Apply apply) {
  switch (code) {
    case TokPlus: apply.template operator()<TokPlus>(); return true;
    case TokMinus: apply.template operator()<TokMinus>(); return true;
    case TokTimes: apply.template operator()<TokTimes>(); return true;
    case TokOver: apply.template operator()<TokOver>(); return true;
    case TokPower: apply.template operator()<TokPower>(); return true;
    case TokLess: apply.template operator()<TokLess>(); return true;
    case TokGreater: apply.template operator()<TokGreater>(); return true;
    case TokAtMost: apply.template operator()<TokAtMost>(); return true;
    case TokAtLeast: apply.template operator()<TokAtLeast>(); return true;
    case TokEqual: apply.template operator()<TokEqual>(); return true;
    case TokNotEqual: apply.template operator()<TokNotEqual>(); return true;
    case TokAnd: apply.template operator()<TokAnd>(); return true;
    case TokOr: apply.template operator()<TokOr>(); return true;
    default: return false;
  }
}

}  // namespace tessel
