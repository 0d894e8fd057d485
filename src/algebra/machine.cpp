// The stack machine, one observation at a time and a block of observations at a time.
#include "algebra/machine.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "algebra/operators.h"
#include "algebra/plan.h"
#include "algebra/report.h"
#include "host/heap.h"
#include "host/missing.h"

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
};
constexpr std::uint32_t kWarnings = ErrExponentOverflow | ErrDivideByZero | ErrLogZero;

// One run: the range, and the database's sample.
struct Run {
  AlgebraContext *context;
  SampleSpec sample;
  double *stack;  // one cell more than the deepest statement needs
};

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
std::int64_t DatedIndex(const Run &run, double year, double period) {
  if (IsNan(year) || IsNan(period)) return -1;
  const int p = TruncateToInt(period);
  return p > 0 ? SampleIndex(TruncateToInt(year), p, run.sample) : TruncateToInt(year);
}

inline double Fetch(const AlgebraContext *context, const Step &step, int t) {
  switch (step.source) {
    case Source::Immediate: return step.immediate;
    case Source::Constant: return *step.data;
    case Source::Column: return step.data[t];
    default: return ReadAt(context, step.data, std::int64_t{step.offset} + t);
  }
}

inline double OperateByCode(AlgebraContext *context, int code, double a, double b) {
  double result = 0.0;
  if (code == TokOver && DividesByZero(a, b)) context->errors |= ErrDivideByZero;
  WithOperator(code, [&]<int Operator>() { result = Operate<Operator>(a, b); });
  return result;
}

// A call with a missing argument is not made. (The index that stands for a column is never missing.)
inline double CallFunction(AlgebraContext *context, const FunctionRow &row, const double *args) {
  for (int i = 0; i < row.argCount; ++i)
    if (IsNan(args[i])) return MissingValue();
  return row.handler(context, args);
}

// ---- One observation at a time

// Runs a statement's steps at the current observation. False when the run cannot go on. The top of the stack is held in
// `top`, the cells below it at stack[1] and up.
bool RunStatementAt(Run &run, const Step *steps, int count) {
  AlgebraContext *context = run.context;
  const int t = context->currentObs;
  double *below = run.stack;  // the cell that `top` goes to when another value is pushed
  double top = 0.0;
  for (int pc = 0; pc < count; ++pc) {
    const Step &step = steps[pc];
    switch (step.kind) {
      case StepKind::Push:
        *below++ = top;
        top = Fetch(context, step, t);
        break;
      case StepKind::Binary:
        if (step.source == Source::Stack) {
          top = OperateByCode(context, step.operand, *--below, top);
        } else {
          top = OperateByCode(context, step.operand, top, Fetch(context, step, t));
        }
        break;
      case StepKind::Negate: top = Negate(top); break;
      case StepKind::Not: top = Not(top); break;
      case StepKind::Call: {
        const FunctionRow &row = FunctionTable()[step.operand];
        *below = top;
        below -= row.argCount;
        // The arguments end at the old top; the result takes the place of the first.
        top = CallFunction(context, row, below + 1);
        ++below;
        break;
      }
      case StepKind::LoadOffset: top = ReadOffset(context, step.data, top, t); break;
      case StepKind::LoadDated:
        --below;
        top = ReadAt(context, step.data, DatedIndex(run, *below, top));
        break;
      case StepKind::Store:
        step.data[t] = top;
        top = *--below;
        break;
      case StepKind::StoreOffset:
        below -= 2;
        if (!IsNan(below[1])) WriteAt(context, step.data, std::int64_t{TruncateToInt(below[1])} + t, top);
        top = below[0];
        break;
      case StepKind::StoreDated:
        below -= 3;
        WriteAt(context, step.data, DatedIndex(run, below[1], below[2]), top);
        top = below[0];
        break;
      case StepKind::Jump: pc = step.operand - 1; break;
      case StepKind::JumpIfZero:
        if (top == 0.0) pc = step.operand - 1;
        top = *--below;
        break;
      case StepKind::Drop: top = *--below; break;
      case StepKind::Fault: context->errors |= static_cast<std::uint32_t>(step.operand); return false;
    }
  }
  return true;
}

// ---- A block of observations at a time

constexpr int kBlock = 256;
constexpr int kFewestForBlocks = 16;

// The stack of blocks: cell i of the stack is values[i][0 .. count - 1], which either lies in the cell's own scratch or is
// a part of a column.
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
    const std::int64_t from = std::int64_t{step.offset} + t;
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
    for (int i = 0; i < count; ++i) out[i] = Operate<Operator>(a[i], b[i]);
  });
}

void CallBlock(AlgebraContext *context, const FunctionRow &row, const double *const *values, double *out, int t,
               int count) {
  for (int i = 0; i < count; ++i) {
    double args[kMaxArguments];
    for (int k = 0; k < row.argCount; ++k) args[k] = values[k][i];
    context->currentObs = t + i;
    out[i] = CallFunction(context, row, args);
  }
}

void RunStepInBlock(Run &run, BlockStack &stack, const Step &step, int t, int count) {
  AlgebraContext *context = run.context;
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
    case StepKind::Store: std::memmove(step.data + t, values[--depth], static_cast<std::size_t>(count) * sizeof(double)); break;
    default: --depth; break;  // Drop; no other kind runs in blocks
  }
}

void RunStatementInBlocks(Run &run, BlockStack &stack, const Step *steps, int count) {
  const AlgebraContext *context = run.context;
  for (int t = context->firstObs; t <= context->lastObs; t += kBlock) {
    const int n = std::min(kBlock, context->lastObs - t + 1);
    stack.depth = 0;
    for (int i = 0; i < count; ++i) RunStepInBlock(run, stack, steps[i], t, n);
  }
}

// ---- The whole run

// Runs each statement over the range. A first observation beyond the last one still runs each statement once.
void Execute(Run &run, BlockStack *blocks) {
  AlgebraContext *context = run.context;
  const MachinePlan *plan = context->plan;
  const int last = std::max(context->firstObs, context->lastObs);
  for (int i = 0; i < plan->statementCount; ++i) {
    const StatementPlan &statement = plan->statements[i];
    const Step *steps = plan->steps + statement.firstStep;
    if (blocks != nullptr && statement.inBlocks) {
      RunStatementInBlocks(run, *blocks, steps, statement.stepCount);
      continue;
    }
    for (int t = context->firstObs; t <= last; ++t) {
      context->currentObs = t;
      if (!RunStatementAt(run, steps, statement.stepCount)) return;
    }
  }
  context->currentObs = context->firstObs;
}

}  // namespace

void RunReport(std::uint32_t errors, char *text) {
  if (errors == 0) {
    std::snprintf(text, kMessageBytes, "No errors.");
    return;
  }
  int length = std::snprintf(text, kMessageBytes, "There were Algebra run-time errors:\r\n");
  for (const RunMessage &message : kRunMessages)
    if ((errors & message.bit) != 0)
      length += std::snprintf(text + length, static_cast<std::size_t>(kMessageBytes - length), "    %s\r\n", message.text);
}

int RunAlgebra(AlgebraContext *context, int first, int last, int obsLimit, bool quiet) {
  if (context->message == nullptr || context->symbols == nullptr || context->database == nullptr ||
      context->plan == nullptr)
    return 0;
  OwnedBlock<double> stack(kStackCells + 2);
  if (!stack) {
    AlgebraReport("Error", "Out of memory");
    return 0;
  }
  context->obsLimit = obsLimit;
  context->firstObs = first;
  context->lastObs = last;
  context->errors = 0;
  context->message[0] = '\0';

  Run run = {context, context->database->sample, stack.get()};
  BlockStack blocks;
  OwnedBlock<double> scratch;
  // Without the scratch of the blocks, every statement runs one observation at a time, with the same results.
  if (last - first + 1 >= kFewestForBlocks) scratch = OwnedBlock<double>(std::int64_t{context->plan->blockDepth} * kBlock);
  blocks.scratch = scratch.get();
  Execute(run, scratch ? &blocks : nullptr);

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
