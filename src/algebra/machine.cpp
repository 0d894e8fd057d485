// The stack machine, one observation at a time and a block of observations at a time.
#include "algebra/machine.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>

#include "algebra/function_table.h"
#include "algebra/operators.h"
#include "algebra/run.h"
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
inline double ReadAt(const AlgebraRun &run, const double *data, std::int64_t index) {
  return index >= 0 && index < run.obsLimit ? data[index] : MissingValue();
}

inline double ReadOffset(const AlgebraRun &run, const double *data, double offset, int t) {
  return IsNan(offset) ? MissingValue() : ReadAt(run, data, std::int64_t{TruncateToInt(offset)} + t);
}

// A store outside the run's range is dropped.
inline void WriteAt(const AlgebraRun &run, double *data, std::int64_t index, double value) {
  if (index >= run.firstObs && index <= run.lastObs) data[index] = value;
}

// The observation at a calendar position: with a period of 0 or below, the year is the observation itself. -1 for a
// missing position.
std::int64_t DatedIndex(const SampleSpec &sample, double year, double period) {
  if (IsNan(year) || IsNan(period)) return -1;
  const int p = TruncateToInt(period);
  return p > 0 ? SampleIndex(TruncateToInt(year), p, sample) : TruncateToInt(year);
}

// A call with a missing argument is not made, and a NaN result is missing. (The index that stands for a
// column is never missing.)
inline double CallFunction(AlgebraRun &run, const FunctionRow &row, const double *args) {
  for (int i = 0; i < row.signature.count; ++i)
    if (IsNan(args[i])) return MissingValue();
  double result = 0.0;
  if (row.handler != nullptr) {
    result = row.handler(run, args);
  } else {
    row.repeat(run, args, &result, 1);
  }
  return OrMissing(result);
}

}  // namespace

// ---- One observation at a time: one function per kind of step

namespace {

// Where a statement stands. The top of the stack is passed from step to step; the cells below it lie under `below`, the
// cell that the top goes to when another value is pushed.
struct Frame {
  AlgebraRun &run;
  const SampleSpec &sample;
  int t;
  double *below;
};

// Executes a step at the current observation, and then the steps behind it up to the end of the statement. `top` is the
// top of the stack. False when the run cannot go on.
using StepFunction = bool (*)(Frame &frame, const Step *step, double top);

}  // namespace

// A step of the plan, bound to a run.
struct Step {
  StepFunction execute;
  StepKind kind;
  Source source;
  int operand;
  std::int64_t offset;
  double immediate;
  double *data;            // the column or the constant of `place`
  const FunctionRow *row;  // of a Call
};

namespace {

// Out of line, so that the test for it is a predicted branch and not a part of the chain from one observation's value
// to the next.
[[gnu::noinline, gnu::cold]] double MissingResult() { return MissingValue(); }

template <Source From>
inline double Fetch(const Frame &frame, const Step &step) {
  if constexpr (From == Source::Immediate) return step.immediate;
  if constexpr (From == Source::Constant) return *step.data;
  if constexpr (From == Source::Column) return step.data[frame.t];
  if constexpr (From == Source::Lag) return ReadAt(frame.run, step.data, step.offset + frame.t);
}

// Goes on to the step behind this one. The compiler makes a jump of it, so a statement costs one call an observation.
inline bool Next(Frame &frame, const Step *step, double top) { return step[1].execute(frame, step + 1, top); }

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
    if (DividesByZero(a, b)) frame.run.errors |= ErrDivideByZero;
  }
  const double result = Operate<Operator>(a, b);
  return Next(frame, step, IsNan(result) ? MissingResult() : result);
}

bool NegateStep(Frame &frame, const Step *step, double top) { return Next(frame, step, Negate(top)); }
bool NotStep(Frame &frame, const Step *step, double top) { return Next(frame, step, Not(top)); }

bool CallStep(Frame &frame, const Step *step, double top) {
  const FunctionRow &row = *step->row;
  *frame.below++ = top;
  frame.below -= row.signature.count;  // the arguments begin here, and the cells below stay below the result
  return Next(frame, step, CallFunction(frame.run, row, frame.below));
}

bool LoadOffsetStep(Frame &frame, const Step *step, double top) {
  return Next(frame, step, ReadOffset(frame.run, step->data, top, frame.t));
}

bool LoadDatedStep(Frame &frame, const Step *step, double top) {
  const double year = *--frame.below;
  return Next(frame, step, ReadAt(frame.run, step->data, DatedIndex(frame.sample, year, top)));
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
  if (!IsNan(offset)) WriteAt(frame.run, step->data, std::int64_t{TruncateToInt(offset)} + frame.t, top);
  return true;
}

bool StoreDatedStep(Frame &frame, const Step *step, double top) {
  WriteAt(frame.run, step->data, DatedIndex(frame.sample, frame.below[-2], frame.below[-1]), top);
  return true;
}

bool DropStep(Frame &, const Step *, double) { return true; }

bool FaultStep(Frame &frame, const Step *step, double) {
  frame.run.errors |= static_cast<std::uint32_t>(step->operand);
  return false;
}

template <Source From>
StepFunction OperandStep(const PlanStep &step) {
  if constexpr (From != Source::Stack) {
    if (step.kind == StepKind::Push) return PushStep<From>;
  }
  StepFunction execute = FaultStep;
  WithOperator(step.operand, [&]<int Operator>() { execute = BinaryStep<From, Operator>; });
  return execute;
}

// The function that executes a step of that kind.
StepFunction StepFunctionFor(const PlanStep &step) {
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

// Runs a statement over the range, one observation after the other.
bool RunStatement(AlgebraRun &run, const SampleSpec &sample, double *stack, const Step *steps) {
  const int last = std::max(run.firstObs, run.lastObs);
  for (int t = run.firstObs; t <= last; ++t) {
    run.currentObs = t;
    Frame frame = {run, sample, t, stack};
    if (!steps->execute(frame, steps, 0.0)) return false;
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
const double *FetchBlock(const AlgebraRun &run, const Step &step, int t, int count, double *scratch) {
  if (step.source == Source::Column) return step.data + t;
  if (step.source == Source::Lag) {
    const std::int64_t from = step.offset + t;
    if (from >= 0 && from + count <= run.obsLimit) return step.data + from;
    for (int i = 0; i < count; ++i) scratch[i] = ReadAt(run, step.data, from + i);
    return scratch;
  }
  std::fill_n(scratch, count, step.source == Source::Immediate ? step.immediate : *step.data);
  return scratch;
}

void OperateBlock(AlgebraRun &run, int code, const double *a, const double *b, double *out, int count) {
  if (code == TokOver) {
    bool byZero = false;
    for (int i = 0; i < count; ++i) byZero |= DividesByZero(a[i], b[i]);
    if (byZero) run.errors |= ErrDivideByZero;
  }
  WithOperator(code, [&]<int Operator>() {
    for (int i = 0; i < count; ++i) out[i] = OrMissing(Operate<Operator>(a[i], b[i]));
  });
}

bool SameBits(double a, double b) { return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b); }

// How many observations from i on have the arguments of observation i (the sign of a zero included), none of them
// missing.
int EqualArguments(const FunctionRow &row, const double *const *values, int i, int count) {
  for (int k = 0; k < row.signature.count; ++k) {
    const double *begin = values[k] + i;
    if (IsNan(*begin)) return 0;
    const double *end = std::find_if(begin, values[k] + count, [&](double v) { return !SameBits(v, *begin); });
    count = i + static_cast<int>(end - begin);
  }
  return count - i;
}

void CallBlock(AlgebraRun &run, const FunctionRow &row, const double *const *values, double *out, int t, int count) {
  for (int i = 0; i < count;) {
    double args[kMaxArguments];
    for (int k = 0; k < row.signature.count; ++k) args[k] = values[k][i];
    run.currentObs = t + i;
    const int equal = row.repeat == nullptr ? 0 : EqualArguments(row, values, i, count);
    if (equal > 0) row.repeat(run, args, out + i, equal);
    if (equal == 0) out[i] = CallFunction(run, row, args);
    i += std::max(equal, 1);
  }
  if (row.repeat != nullptr) SetNansMissing(out, count);
}

void RunStepInBlock(AlgebraRun &run, BlockStack &stack, const Step &step, int t, int count) {
  const double **values = stack.values;
  int &depth = stack.depth;
  switch (step.kind) {
    case StepKind::Push:
      values[depth] = FetchBlock(run, step, t, count, stack.Scratch(depth));
      ++depth;
      break;
    case StepKind::Binary: {
      double constant[kBlock];
      const double *b = nullptr;
      if (step.source == Source::Stack) {
        b = values[--depth];
      } else {
        b = FetchBlock(run, step, t, count, constant);
      }
      double *out = stack.Scratch(depth - 1);
      OperateBlock(run, step.operand, values[depth - 1], b, out, count);
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
        for (int i = 0; i < count; ++i) out[i] = ReadOffset(run, step.data, a[i], t + i);
      }
      values[depth - 1] = out;
      break;
    }
    case StepKind::Call: {
      const FunctionRow &row = *step.row;
      depth -= row.signature.count;
      double *out = stack.Scratch(depth);
      CallBlock(run, row, values + depth, out, t, count);
      values[depth++] = out;
      break;
    }
    case StepKind::Store:
      std::memmove(step.data + t, values[--depth], static_cast<std::size_t>(count) * sizeof(double));
      break;
    default: --depth; break;  // Drop; no other kind runs in blocks
  }
}

void RunStatementInBlocks(AlgebraRun &run, BlockStack &stack, const Step *steps, int count) {
  for (int t = run.firstObs; t <= run.lastObs; t += kBlock) {
    const int n = std::min(kBlock, run.lastObs - t + 1);
    stack.depth = 0;
    for (int i = 0; i < count; ++i) RunStepInBlock(run, stack, steps[i], t, n);
  }
}

// ---- The whole run

// Runs each statement over the range. A first observation beyond the last one still runs each statement once.
void Execute(AlgebraRun &run, double *stack, BlockStack *blocks) {
  const SampleSpec sample = run.database->sample;
  for (const StatementPlan &statement : run.program->plan.statements) {
    const Step *steps = run.steps.get() + statement.firstStep;
    if (blocks != nullptr && statement.inBlocks) {
      RunStatementInBlocks(run, *blocks, steps, statement.stepCount);
      continue;
    }
    if (!RunStatement(run, sample, stack, steps)) return;
  }
  run.currentObs = run.firstObs;
}

bool FitsProgram(const AlgebraProgram &program, const AlgebraDatabase &database) {
  const auto exists = [&](int column) { return column < database.allColumns.Size(); };
  for (int i = 0; i < program.symbols.Size(); ++i)
    if (!exists(program.symbols[i].column)) return false;
  return program && database && SampleObsCount(database.sample) == program.layout.obsCount;
}

Step BoundStep(const PlanStep &step, const AlgebraRun &run) {
  Step bound = {StepFunctionFor(step), step.kind,      step.source, step.operand,
                step.offset,           step.immediate, nullptr,     nullptr};
  if (step.kind == StepKind::Call) bound.row = &FunctionTable()[static_cast<std::size_t>(step.operand)];
  if (step.source == Source::Constant) {
    bound.data = &run.constants[step.place];
  } else if (step.place >= 0 && step.source != Source::Immediate) {
    bound.data = run.database->allColumns[step.place];
  }
  return bound;
}

}  // namespace

Status BindRun(AlgebraRun &run, const AlgebraProgram &program, AlgebraDatabase &database) {
  ReleaseRun(run);
  if (!FitsProgram(program, database)) return Status::Invalid;
  auto constants = OwnedBlock<double>(program.constants.Size());
  auto columns = OwnedBlock<double *>(program.symbols.Size());
  auto steps = OwnedBlock<Step>(program.plan.steps.Size());
  if (!constants || !columns || !steps) return Status::NoMemory;
  run.constants = std::move(constants);
  run.columns = std::move(columns);
  run.steps = std::move(steps);
  run.program = &program;
  run.database = &database;

  std::copy(program.constants.begin(), program.constants.end(), run.constants.get());
  for (int i = 0; i < program.symbols.Size(); ++i) {
    const int column = program.symbols[i].column;
    run.columns[i] = column < 0 ? nullptr : database.allColumns[column];
  }
  std::transform(program.plan.steps.begin(), program.plan.steps.end(), run.steps.get(),
                 [&](const PlanStep &step) { return BoundStep(step, run); });
  return Status::Ok;
}

void ReleaseRun(AlgebraRun &run) {
  run.program = nullptr;
  run.database = nullptr;
  run.constants = {};
  run.columns = {};
  run.steps = {};
}

void RunReport(std::uint32_t errors, char (&text)[kMessageBytes]) {
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

Status RunAlgebra(AlgebraRun &run, int first, int last, int obsLimit) {
  run.errors = 0;
  if (run.program == nullptr) return Status::RunFailed;
  double stack[kStackCells + 2];  // no memory is asked for that could fail a run
  run.obsLimit = obsLimit;
  run.firstObs = first;
  run.lastObs = last;

  BlockStack blocks;
  OwnedBlock<double> scratch;
  // Without the scratch of the blocks, every statement runs one observation at a time, with the same results.
  if (last - first + 1 >= kFewestForBlocks)
    scratch = OwnedBlock<double>(std::int64_t{run.program->plan.blockDepth} * kBlock);
  blocks.scratch = scratch.get();
  Execute(run, stack, scratch ? &blocks : nullptr);
  return (run.errors & ~kWarnings) == 0 ? Status::Ok : Status::RunFailed;
}

}  // namespace tessel
