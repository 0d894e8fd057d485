// The stack machine, one observation at a time and a block of observations at a time.
#include "algebra/machine.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>

#include "algebra/operators.h"
#include "algebra/plan.h"
#include "algebra/report.h"
#include "core/heap.h"
#include "core/missing.h"

namespace tessel {

namespace {

struct RunMessage {
  RunError bit;
  const char *text;
};
constexpr RunMessage kRunMessages[] = {
    {ErrStackFull, "Stack full"},
    {ErrExponentOverflow, "Overflow in exponent"},
    {ErrLogNonPositive, "Logarithm of non-positive number"},
    {ErrDivideByZero, "Divide by zero"},
    {ErrDegreesOfFreedom, "Non-positive degrees of freedom"},
    {ErrSqrtNegative, "Square root of negative number"},
    {ErrSameArguments, "Arguments must be different (smooth, sortby)"},
    {ErrStack, "Stack error"},
    {ErrLogZero, "Logarithm of zero"},
    {ErrNoMemory, "Out of memory"},
};
constexpr std::uint32_t kWarnings = ErrExponentOverflow | ErrDivideByZero | ErrLogZero;

// The value at an index of a column, missing outside the readable observations.
inline double ReadAt(const AlgebraContext *context, const double *data, std::int64_t index) {
  return index >= 0 && index < context->obsLimit ? data[index] : MissingValue();
}

inline double ReadOffset(const AlgebraContext *context, const double *data, double offset, int t) {
  return IsNan(offset) ? MissingValue() : ReadAt(context, data, std::int64_t{TruncateToInt(offset)} + t);
}

// A store outside the run's range is dropped.
inline void WriteAt(const AlgebraContext *context, double *data, std::int64_t index, double value) {
  if (index >= context->firstObs && index <= context->lastObs) data[index] = value;
}

// The observation at a calendar position: with a period of 0 or below, the year is the observation itself. -1 for a
// missing position.
std::int64_t DatedIndex(const SampleSpec &sample, double year, double period) {
  if (IsNan(year) || IsNan(period)) return -1;
  const int p = TruncateToInt(period);
  return p > 0 ? SampleIndex(TruncateToInt(year), p, sample) : TruncateToInt(year);
}

// A call with a missing argument is not made, and a result that is no number is missing. (The index that stands for a
// column is never missing.)
inline double CallFunction(AlgebraContext *context, const FunctionRow &row, const double *args) {
  for (int i = 0; i < row.argCount; ++i)
    if (IsNan(args[i])) return MissingValue();
  double result = 0.0;
  if (row.handler != nullptr) {
    result = row.handler(context, args);
  } else {
    row.stretch(context, args, &result, 1);
  }
  return OrMissing(result);
}

}  // namespace

// ---- One observation at a time: one function per kind of step

// Where a statement stands. The top of the stack is passed from step to step; the cells below it lie under `below`, the
// cell that the top goes to when another value is pushed.
struct Frame {
  AlgebraContext *context;
  const SampleSpec *sample;
  int t;
  double *below;
};

namespace {

// Out of line, so that the test for it is a branch that is foreseen and not a part of the chain from one observation's
// value to the next.
[[gnu::noinline, gnu::cold]] double MissingResult() { return MissingValue(); }

template <Source From>
inline double Fetch(const Frame &frame, const Step &step) {
  if constexpr (From == Source::Immediate) return step.immediate;
  if constexpr (From == Source::Constant) return *step.data;
  if constexpr (From == Source::Column) return step.data[frame.t];
  if constexpr (From == Source::Lag) return ReadAt(frame.context, step.data, step.offset + frame.t);
}

// Goes on to the step behind this one. The compiler makes a jump of it, so a statement costs one call an observation.
inline bool Next(Frame &frame, const Step *step, double top) { return step[1].run(frame, step + 1, top); }

template <Source From>
bool PushStep(Frame &frame, const Step *step, double top) {
  *frame.below++ = top;
  return Next(frame, step, Fetch<From>(frame, *step));
}

template <Source From, int Operator>
bool BinaryStep(Frame &frame, const Step *step, double top) {
  double a = top, b = top;
  if constexpr (From == Source::Stack) {
    a = *--frame.below;
  } else {
    b = Fetch<From>(frame, *step);
  }
  if constexpr (Operator == TokOver) {
    if (DividesByZero(a, b)) frame.context->errors |= ErrDivideByZero;
  }
  const double result = Operate<Operator>(a, b);
  return Next(frame, step, IsNan(result) ? MissingResult() : result);
}

bool NegateStep(Frame &frame, const Step *step, double top) { return Next(frame, step, Negate(top)); }
bool NotStep(Frame &frame, const Step *step, double top) { return Next(frame, step, Not(top)); }

bool CallStep(Frame &frame, const Step *step, double top) {
  const FunctionRow &row = FunctionTable()[step->operand];
  *frame.below++ = top;
  frame.below -= row.argCount;  // the arguments begin here, and the cells below stay below the result
  return Next(frame, step, CallFunction(frame.context, row, frame.below));
}

bool LoadOffsetStep(Frame &frame, const Step *step, double top) {
  return Next(frame, step, ReadOffset(frame.context, step->data, top, frame.t));
}

bool LoadDatedStep(Frame &frame, const Step *step, double top) {
  const double year = *--frame.below;
  return Next(frame, step, ReadAt(frame.context, step->data, DatedIndex(*frame.sample, year, top)));
}

bool JumpStep(Frame &frame, const Step *step, double top) { return Next(frame, step + step->operand - 1, top); }

bool JumpIfZeroStep(Frame &frame, const Step *step, double top) {
  return Next(frame, top == 0.0 ? step + step->operand - 1 : step, *--frame.below);
}

bool StoreStep(Frame &frame, const Step *step, double top) {
  step->data[frame.t] = top;
  return true;
}

bool StoreOffsetStep(Frame &frame, const Step *step, double top) {
  const double offset = frame.below[-1];
  if (!IsNan(offset)) WriteAt(frame.context, step->data, std::int64_t{TruncateToInt(offset)} + frame.t, top);
  return true;
}

bool StoreDatedStep(Frame &frame, const Step *step, double top) {
  WriteAt(frame.context, step->data, DatedIndex(*frame.sample, frame.below[-2], frame.below[-1]), top);
  return true;
}

bool DropStep(Frame &, const Step *, double) { return true; }

bool FaultStep(Frame &frame, const Step *step, double) {
  frame.context->errors |= static_cast<std::uint32_t>(step->operand);
  return false;
}

template <Source From>
StepFunction OperandStep(const Step &step) {
  if constexpr (From != Source::Stack) {
    if (step.kind == StepKind::Push) return PushStep<From>;
  }
  StepFunction run = FaultStep;
  WithOperator(step.operand, [&]<int Operator>() { run = BinaryStep<From, Operator>; });
  return run;
}

// Runs a statement over the range, one observation after the other.
bool RunStatement(AlgebraContext *context, const SampleSpec &sample, double *stack, const Step *steps) {
  const int last = std::max(context->firstObs, context->lastObs);
  for (int t = context->firstObs; t <= last; ++t) {
    context->currentObs = t;
    Frame frame = {context, &sample, t, stack};
    if (!steps->run(frame, steps, 0.0)) return false;
  }
  return true;
}

// ---- A block of observations at a time

constexpr int kBlock = 256;
constexpr int kFewestForBlocks = 16;

// The stack of blocks: cell i of the stack is values[i][0 .. count - 1], which either lies in the cell's own scratch or
// is a part of a column.
struct BlockStack {
  double *scratch;  // depth x kBlock
  const double *values[kStackCells + 1];
  int depth;

  double *Scratch(int cell) { return scratch + static_cast<std::ptrdiff_t>(cell) * kBlock; }
};

// The values of a step's source at the observations t to t + count - 1; `scratch` takes them when they stand nowhere.
const double *FetchBlock(const AlgebraContext *context, const Step &step, int t, int count, double *scratch) {
  if (step.source == Source::Column) return step.data + t;
  if (step.source == Source::Lag) {
    const std::int64_t from = step.offset + t;
    if (from >= 0 && from + count <= context->obsLimit) return step.data + from;
    for (int i = 0; i < count; ++i) scratch[i] = ReadAt(context, step.data, from + i);
    return scratch;
  }
  std::fill_n(scratch, count, step.source == Source::Immediate ? step.immediate : *step.data);
  return scratch;
}

void OperateBlock(AlgebraContext *context, int code, const double *a, const double *b, double *out, int count) {
  if (code == TokOver) {
    bool byZero = false;
    for (int i = 0; i < count; ++i) byZero |= DividesByZero(a[i], b[i]);
    if (byZero) context->errors |= ErrDivideByZero;
  }
  WithOperator(code, [&]<int Operator>() {
    for (int i = 0; i < count; ++i) out[i] = OrMissing(Operate<Operator>(a[i], b[i]));
  });
}

bool SameBits(double a, double b) { return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b); }

// How many observations from i on have the arguments of observation i (the sign of a zero included), none of them
// missing.
int StretchOf(const FunctionRow &row, const double *const *values, int i, int count) {
  for (int k = 0; k < row.argCount; ++k) {
    const double *begin = values[k] + i;
    if (IsNan(*begin)) return 0;
    const double *end = std::find_if(begin, values[k] + count, [&](double v) { return !SameBits(v, *begin); });
    count = i + static_cast<int>(end - begin);
  }
  return count - i;
}

void CallBlock(AlgebraContext *context, const FunctionRow &row, const double *const *values, double *out, int t,
               int count) {
  for (int i = 0; i < count;) {
    double args[kMaxArguments];
    for (int k = 0; k < row.argCount; ++k) args[k] = values[k][i];
    context->currentObs = t + i;
    const int stretch = row.stretch == nullptr ? 0 : StretchOf(row, values, i, count);
    if (stretch > 0) row.stretch(context, args, out + i, stretch);
    if (stretch == 0) out[i] = CallFunction(context, row, args);
    i += std::max(stretch, 1);
  }
  if (row.stretch != nullptr) SetNansMissing(out, count);
}

void RunStepInBlock(AlgebraContext *context, BlockStack &stack, const Step &step, int t, int count) {
  const double **values = stack.values;
  int &depth = stack.depth;
  switch (step.kind) {
    case StepKind::Push:
      values[depth] = FetchBlock(context, step, t, count, stack.Scratch(depth));
      ++depth;
      break;
    case StepKind::Binary: {
      double constant[kBlock];
      const double *b = nullptr;
      if (step.source == Source::Stack) {
        b = values[--depth];
      } else {
        b = FetchBlock(context, step, t, count, constant);
      }
      double *out = stack.Scratch(depth - 1);
      OperateBlock(context, step.operand, values[depth - 1], b, out, count);
      values[depth - 1] = out;
      break;
    }
    case StepKind::Negate:
    case StepKind::Not:
    case StepKind::LoadOffset: {
      const double *a = values[depth - 1];
      double *out = stack.Scratch(depth - 1);
      if (step.kind == StepKind::Negate) {
        for (int i = 0; i < count; ++i) out[i] = Negate(a[i]);
      } else if (step.kind == StepKind::Not) {
        for (int i = 0; i < count; ++i) out[i] = Not(a[i]);
      } else {
        for (int i = 0; i < count; ++i) out[i] = ReadOffset(context, step.data, a[i], t + i);
      }
      values[depth - 1] = out;
      break;
    }
    case StepKind::Call: {
      const FunctionRow &row = FunctionTable()[step.operand];
      depth -= row.argCount;
      double *out = stack.Scratch(depth);
      CallBlock(context, row, values + depth, out, t, count);
      values[depth++] = out;
      break;
    }
    case StepKind::Store:
      std::memmove(step.data + t, values[--depth], static_cast<std::size_t>(count) * sizeof(double));
      break;
    default: --depth; break;  // Drop; no other kind runs in blocks
  }
}

void RunStatementInBlocks(AlgebraContext *context, BlockStack &stack, const Step *steps, int count) {
  for (int t = context->firstObs; t <= context->lastObs; t += kBlock) {
    const int n = std::min(kBlock, context->lastObs - t + 1);
    stack.depth = 0;
    for (int i = 0; i < count; ++i) RunStepInBlock(context, stack, steps[i], t, n);
  }
}

// ---- The whole run

// Runs each statement over the range. A first observation beyond the last one still runs each statement once.
void Execute(AlgebraContext *context, double *stack, BlockStack *blocks) {
  const SampleSpec sample = context->database->sample;
  const MachinePlan *plan = context->plan;
  for (int i = 0; i < plan->statementCount; ++i) {
    const StatementPlan &statement = plan->statements[i];
    const Step *steps = plan->steps + statement.firstStep;
    if (blocks != nullptr && statement.inBlocks) {
      RunStatementInBlocks(context, *blocks, steps, statement.stepCount);
      continue;
    }
    if (!RunStatement(context, sample, stack, steps)) return;
  }
  context->currentObs = context->firstObs;
}

}  // namespace

StepFunction StepFunctionFor(const Step &step) {
  switch (step.kind) {
    case StepKind::Push:
    case StepKind::Binary: break;
    case StepKind::Negate: return NegateStep;
    case StepKind::Not: return NotStep;
    case StepKind::Call: return CallStep;
    case StepKind::LoadOffset: return LoadOffsetStep;
    case StepKind::LoadDated: return LoadDatedStep;
    case StepKind::Jump: return JumpStep;
    case StepKind::JumpIfZero: return JumpIfZeroStep;
    case StepKind::Store: return StoreStep;
    case StepKind::StoreOffset: return StoreOffsetStep;
    case StepKind::StoreDated: return StoreDatedStep;
    case StepKind::Drop: return DropStep;
    case StepKind::Fault: return FaultStep;
  }
  switch (step.source) {
    case Source::Stack: return OperandStep<Source::Stack>(step);
    case Source::Immediate: return OperandStep<Source::Immediate>(step);
    case Source::Constant: return OperandStep<Source::Constant>(step);
    case Source::Column: return OperandStep<Source::Column>(step);
    case Source::Lag: return OperandStep<Source::Lag>(step);
  }
  return FaultStep;
}

void RunReport(std::uint32_t errors, char *text) {
  if (errors == 0) {
    std::snprintf(text, kMessageBytes, "No errors.");
    return;
  }
  int length = std::snprintf(text, kMessageBytes, "There were Algebra run-time errors:\r\n");
  for (const RunMessage &message : kRunMessages)
    if ((errors & message.bit) != 0)
      length +=
          std::snprintf(text + length, static_cast<std::size_t>(kMessageBytes - length), "    %s\r\n", message.text);
}

int RunAlgebra(AlgebraContext *context, int first, int last, int obsLimit, bool quiet) {
  if (context->message == nullptr || context->symbols == nullptr || context->database == nullptr ||
      context->plan == nullptr)
    return 0;
  double stack[kStackCells + 2];  // no memory is asked for that could fail a run
  context->obsLimit = obsLimit;
  context->firstObs = first;
  context->lastObs = last;
  context->errors = 0;
  context->message[0] = '\0';

  BlockStack blocks;
  OwnedBlock<double> scratch;
  // Without the scratch of the blocks, every statement runs one observation at a time, with the same results.
  if (last - first + 1 >= kFewestForBlocks)
    scratch = OwnedBlock<double>(std::int64_t{context->plan->blockDepth} * kBlock);
  blocks.scratch = scratch.get();
  Execute(context, stack, scratch ? &blocks : nullptr);

  if (context->errors != 0) {
    if (!quiet) {
      RunReport(context->errors, context->message);
      AlgebraReport("Error", context->message);
    }
    context->errors &= ~kWarnings;
  }
  return context->errors == 0;
}

}  // namespace tessel
