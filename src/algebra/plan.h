// The code of a program, prepared for the machine: one plan per statement, with symbols and constants resolved.
//
// Preparing does three things. It resolves operands, so that an operator may take its right operand straight from a
// constant, a column or a lagged column. It follows the depth of the stack, so that the machine needs no test of it: a
// step that would leave the stack's bounds is replaced by a Fault. And it finds the statements whose observations do
// not depend on one another, which the machine evaluates a block of observations at a time.
#pragma once

#include <cstdint>

#include "algebra/context.h"
#include "algebra/function_table.h"

namespace tessel {

inline constexpr int kStackCells = 510;
inline constexpr int kStackLimit = 500;  // tested after each built-in function

// Where a pushed value, or an operator's right operand, comes from.
enum class Source : std::uint8_t {
  Stack,      // the top of the stack
  Immediate,  // `immediate`
  Constant,   // *data: a constant slot that may change between runs
  Column,     // data[t]
  Lag         // data[t + offset], missing outside the readable observations
};

// Stack effects as in code.h; t is the current observation.
enum class StepKind : std::uint8_t {
  Push,        //                      -> value of `source`
  Binary,      // a [, b]              -> a `operand` b, b from `source`
  Negate,      // a                    -> -a
  Not,         // a                    -> !a
  Call,        // args                 -> result of function row `operand`
  LoadOffset,  // offset               -> data[t + offset]
  LoadDated,   // year, period         -> data there
  Jump,        //                         goes on `operand` steps ahead
  JumpIfZero,  // value                -> ; goes there when value equals 0
  // The last step of a statement is one of these.
  Store,        // value                -> ; data[t] = value
  StoreOffset,  // offset, value        -> ; data[t + offset] = value
  StoreDated,   // year, period, value  ->
  Drop,         // value                ->
  Fault         // sets the error bits `operand` and ends the run
};

struct Frame;
struct Step;

// Executes a step at the current observation, and then the steps behind it up to the end of the statement. `top` is the
// top of the stack. False when the run cannot go on.
using StepFunction = bool (*)(Frame &frame, const Step *step, double top);

struct Step {
  StepFunction run;
  StepKind kind;
  Source source;
  int operand;
  std::int64_t offset;  // of Lag
  double immediate;     // of Immediate
  double *data;         // column, or constant slot
};

struct StatementPlan {
  int firstStep;
  int stepCount;
  int depth;      // the most cells it has on the stack
  bool inBlocks;  // each observation's result is independent of the statement's other stores, and nothing branches
};

struct MachinePlan {
  Step *steps;
  StatementPlan *statements;
  int statementCount;
  int blockDepth;  // the most cells of any statement that runs in blocks
};

// The function that executes a step of that kind (machine.cpp).
StepFunction StepFunctionFor(const Step &step);

// Prepares context->code. Null when memory fails.
MachinePlan *PlanBuild(const AlgebraContext *context);

void PlanRelease(MachinePlan *plan);

}  // namespace tessel
