// The code of a program, prepared for the machine: one plan per statement, with symbols and constants resolved.
//
// Preparing does three things. It resolves operands, so that an operator may take its right operand straight from a
// constant, a column or a lagged column. It follows the depth of the stack, so that the machine needs no test of it: a
// step that would leave the stack's bounds is replaced by a Fault. And it finds the statements whose observations do
// not depend on one another, which the machine evaluates a block of observations at a time.
//
// A plan holds no pointer: columns are named by their ids, constants by their slots. The machine binds it to a database
// and to constants of its own (run.h).
#pragma once

#include <cstdint>

#include "algebra/grow.h"
#include "core/status.h"

namespace tessel {

struct AlgebraProgram;

inline constexpr int kStackCells = 510;
inline constexpr int kStackLimit = 500;  // tested after each built-in function

// Where a pushed value, or an operator's right operand, comes from.
enum class Source : std::uint8_t {
  Stack,      // the top of the stack
  Immediate,  // `immediate`
  Constant,   // constant slot `place`, which may change between runs
  Column,     // column `place` at t
  Lag         // column `place` at t + offset, missing outside the readable observations
};

// Stack effects as in code.h; t is the current observation.
enum class StepKind : std::uint8_t {
  Push,        //                      -> value of `source`
  Binary,      // a [, b]              -> a `operand` b, b from `source`
  Negate,      // a                    -> -a
  Not,         // a                    -> !a
  Call,        // args                 -> result of function row `operand`
  LoadOffset,  // offset               -> column at t + offset
  LoadDated,   // year, period         -> column there
  Jump,        //                         goes on `operand` steps ahead
  JumpIfZero,  // value                -> ; goes there when value equals 0
  // The last step of a statement is one of these.
  Store,        // value                -> ; column at t = value
  StoreOffset,  // offset, value        -> ; column at t + offset = value
  StoreDated,   // year, period, value  ->
  Drop,         // value                ->
  Fault         // sets the error bits `operand` and ends the run
};

struct PlanStep {
  StepKind kind;
  Source source;
  int operand;
  int place;            // id of a column, or constant slot; -1 for neither
  std::int64_t offset;  // of Lag
  double immediate;     // of Immediate
};

struct StatementPlan {
  int firstStep;
  int stepCount;
  int depth;      // the most cells it has on the stack
  bool inBlocks;  // each observation's result is independent of the statement's other stores, and nothing branches
};

struct MachinePlan {
  OwnedList<PlanStep> steps;
  OwnedList<StatementPlan> statements;
  int blockDepth = 0;  // the most cells of any statement that runs in blocks
};

// Prepares the code of a program whose code, constants, parameters and symbols are complete. dateColumn: the id of the
// column of variable 0, which the calendar functions read; -1 for none.
Status BuildPlan(AlgebraProgram &program, int dateColumn);

}  // namespace tessel
