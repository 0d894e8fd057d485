// Preparing code for the machine.
#include "algebra/plan.h"

#include <algorithm>

#include "algebra/functions.h"
#include "algebra/operators.h"
#include "core/heap.h"

namespace tessel {

namespace {

// The state of preparing. `stepAt[i]` is the step, within its statement, at which instruction i begins: for the jumps.
struct Builder {
  const AlgebraContext *context;
  const unsigned char *isParameter;  // per constant slot
  int *stepAt;
  MachinePlan *plan;
  int stepCount = 0;

  int firstStep = 0;  // of the statement
  int depth = 0;      // at this point of it
  int maxDepth = 0;
  bool faulted = false;  // the run cannot go on past this point: the rest of the statement is left out
};

Step &Append(Builder &b, StepKind kind, int operand = 0) {
  Step &step = b.plan->steps[b.stepCount++];
  step = {nullptr, kind, Source::Stack, operand, 0, 0.0, nullptr};
  return step;
}

void AppendFault(Builder &b, RunError error) {
  Append(b, StepKind::Fault, static_cast<int>(error));
  b.faulted = true;
}

// Takes `pops` cells and leaves `pushes`. False when the stack cannot: the run ends there.
bool Balance(Builder &b, int pops, int pushes) {
  if (b.depth < pops) {
    AppendFault(b, ErrStack);
    return false;
  }
  b.depth += pushes - pops;
  if (b.depth > kStackCells) {
    AppendFault(b, ErrStackFull);
    return false;
  }
  b.maxDepth = std::max(b.maxDepth, b.depth);
  return true;
}

// The last step of the statement when it is a push. Both ends of a branch meet at the store, so a push and its use are
// never apart.
Step *LastPush(Builder &b) {
  if (b.stepCount == b.firstStep) return nullptr;
  Step &last = b.plan->steps[b.stepCount - 1];
  return last.kind == StepKind::Push ? &last : nullptr;
}

void PushColumn(Builder &b, double *data) {
  Step &step = Append(b, StepKind::Push);
  step.source = Source::Column;
  step.data = data;
}

void PushConstant(Builder &b, int slot) {
  Step &step = Append(b, StepKind::Push);
  step.source = b.isParameter[slot] ? Source::Constant : Source::Immediate;
  step.immediate = b.context->constants[slot];
  step.data = b.context->constants + slot;
}

void AddOperator(Builder &b, int code) {
  if (code == kNegate || code == TokNot) {
    if (!Balance(b, 1, 1)) return;
    Step *last = LastPush(b);
    if (code == kNegate && last != nullptr && last->source == Source::Immediate) {
      last->immediate = Negate(last->immediate);
    } else {
      Append(b, code == kNegate ? StepKind::Negate : StepKind::Not);
    }
    return;
  }
  if (!WithOperator(code, []<int>() {})) return AppendFault(b, ErrStack);
  if (!Balance(b, 2, 1)) return;
  if (Step *last = LastPush(b); last != nullptr) {
    last->kind = StepKind::Binary;  // the pushed value is the right operand
    last->operand = code;
  } else {
    Append(b, StepKind::Binary, code);
  }
}

// Whether a step pushes a number that stays the same.
bool IsNumber(const Step *step) {
  return step != nullptr && step->source == Source::Immediate && !IsMissing(step->immediate);
}

void BecomeLag(Step *push, std::int64_t offset, double *data) {
  push->source = Source::Lag;
  push->offset = offset;
  push->data = data;
}

void AddLoadOffset(Builder &b, double *data) {
  if (!Balance(b, 1, 1)) return;
  if (Step *last = LastPush(b); IsNumber(last)) {
    BecomeLag(last, TruncateToInt(last->immediate), data);
  } else {
    Append(b, StepKind::LoadOffset).data = data;
  }
}

// lag(x, k) and lead(x, k) with a number k read the column at an offset.
bool AddLagCall(Builder &b, FunctionHandler handler) {
  if (handler != AlgLag && handler != AlgLead) return false;
  Step *last = LastPush(b);
  if (!IsNumber(last)) return false;
  const std::int64_t k = TruncateToInt(last->immediate);
  Step *column = last - 1;  // the push of the column's symbol
  BecomeLag(column, handler == AlgLag ? -k : k, b.context->symbols[TruncateToInt(column->immediate)].data);
  --b.stepCount;
  return true;
}

void AddCall(Builder &b, int row) {
  if (!Balance(b, FunctionTable()[row].argCount, 1)) return;
  if (AddLagCall(b, FunctionTable()[row].handler)) return;
  Append(b, StepKind::Call, row);
  if (b.depth >= kStackLimit) AppendFault(b, ErrStackFull);
}

void AddStore(Builder &b, StepKind kind, int pops, double *data) {
  if (Balance(b, pops, 0)) Append(b, kind).data = data;
}

void AddInstruction(Builder &b, const Instruction &instruction) {
  const int operand = instruction.operand;
  auto column = [&] { return b.context->symbols[operand].data; };
  switch (instruction.opcode) {
    case OpCall: return AddCall(b, operand);
    case OpLoad:
      if (Balance(b, 0, 1)) PushColumn(b, column());
      return;
    case OpConstant:
      if (Balance(b, 0, 1)) PushConstant(b, operand);
      return;
    case OpOperator: return AddOperator(b, operand);
    case OpLoadOffset: return AddLoadOffset(b, column());
    case OpLoadDated:
      if (Balance(b, 2, 1)) Append(b, StepKind::LoadDated).data = column();
      return;
    case OpStore: return AddStore(b, StepKind::Store, 1, column());
    case OpStoreOffset: return AddStore(b, StepKind::StoreOffset, 2, column());
    case OpStoreDated: return AddStore(b, StepKind::StoreDated, 3, column());
    case OpAdjust:
      if (operand != -1) return AppendFault(b, ErrStack);
      if (Balance(b, 1, 0)) Append(b, StepKind::Drop);
      return;
    case OpJump:
      // The code behind the jump is reached with one cell less: this branch's value.
      if (Balance(b, 1, 0)) Append(b, StepKind::Jump, operand);
      return;
    case OpJumpIfZero:
      if (Balance(b, 1, 0)) Append(b, StepKind::JumpIfZero, operand);
      return;
    default: return AppendFault(b, ErrStack);
  }
}

// Whether the statement's steps leave its observations independent of one another: nothing branches, no column is read
// at another observation than it is stored at, and no function needs its calls in turn.
bool RunsInBlocks(const Builder &b) {
  const AlgebraContext *context = b.context;
  const Step *first = b.plan->steps + b.firstStep, *end = b.plan->steps + b.stepCount;
  const double *target = nullptr;
  for (const Step *step = first; step != end; ++step)
    if (step->kind == StepKind::Store) target = step->data;
  const int symbolCount = static_cast<int>(context->symbolTop - context->symbols);

  bool calls = false, namesTarget = false;
  for (const Step *step = first; step != end; ++step) {
    const bool lagged = step->source == Source::Lag || step->kind == StepKind::LoadOffset;
    if (lagged && step->data == target) return false;
    // A column argument is the push of its symbol's index. A plain number that happens to be the target's index counts
    // as well: the statement then only runs one observation at a time.
    if (step->kind == StepKind::Push && step->source == Source::Immediate) {
      const int index = TruncateToInt(step->immediate);
      if (index >= 0 && index < symbolCount && context->symbols[index].data == target) namesTarget = true;
    }
    switch (step->kind) {
      case StepKind::Call:
        if (FunctionTable()[step->operand].order != CallOrder::Any) return false;
        calls = true;
        break;
      case StepKind::Push:
      case StepKind::Binary:
      case StepKind::Negate:
      case StepKind::Not:
      case StepKind::LoadOffset:
      case StepKind::Store:
      case StepKind::Drop: break;
      default: return false;
    }
  }
  // The calendar functions read variable 0 on their own.
  const AlgebraDatabase *database = context->database;
  const bool storesDates = target != nullptr && database->varCount > 0 && database->columns[0] == target;
  return !calls || target == nullptr || !(namesTarget || storesDates);
}

// Turns the jumps' targets from instructions into steps.
void PlaceJumps(Builder &b, const Instruction *first, const Instruction *end) {
  for (int i = b.firstStep; i < b.stepCount; ++i) {
    Step &step = b.plan->steps[i];
    if (step.kind != StepKind::Jump && step.kind != StepKind::JumpIfZero) continue;
    // A target inside the statement, ahead of the jump, as the compiler emits it; any other ends the run.
    const Instruction *target = b.context->code + step.operand;
    const int ahead = target >= first && target < end ? b.firstStep + b.stepAt[step.operand] - i : 0;
    if (ahead > 0 && i + ahead < b.stepCount) {
      step.operand = ahead;
    } else {
      step = {nullptr, StepKind::Fault, Source::Stack, static_cast<int>(ErrStack), 0, 0.0, nullptr};
    }
  }
}

void BuildStatement(Builder &b, const Instruction *first, const Instruction *end) {
  b.firstStep = b.stepCount;
  b.depth = b.maxDepth = 0;
  b.faulted = false;
  for (const Instruction *at = first; at != end; ++at) {
    b.stepAt[at - b.context->code] = b.stepCount - b.firstStep;
    if (!b.faulted) AddInstruction(b, *at);
  }
  if (!b.faulted && b.plan->steps[b.stepCount - 1].kind < StepKind::Store) AppendFault(b, ErrStack);
  PlaceJumps(b, first, end);
  for (int i = b.firstStep; i < b.stepCount; ++i) b.plan->steps[i].run = StepFunctionFor(b.plan->steps[i]);
  const bool inBlocks = RunsInBlocks(b);
  b.plan->statements[b.plan->statementCount++] = {b.firstStep, b.stepCount - b.firstStep, b.maxDepth, inBlocks};
  if (inBlocks) b.plan->blockDepth = std::max(b.plan->blockDepth, b.maxDepth);
}

int CountStatements(const AlgebraContext *context) {
  return static_cast<int>(
      std::count_if(context->code, context->codeTop, [](const Instruction &i) { return i.opcode == OpStatement; }));
}

}  // namespace

MachinePlan *PlanBuild(const AlgebraContext *context) {
  const std::int64_t codeCount = context->codeTop - context->code;
  auto stepAt = OwnedBlock<int>(codeCount);
  auto isParameter = OwnedBlock<unsigned char>::Zeroed(context->constantCount);
  auto *plan = static_cast<MachinePlan *>(HeapAllocZeroed(1, sizeof(MachinePlan)));
  if (plan == nullptr) return nullptr;
  plan->steps = static_cast<Step *>(HeapAlloc(static_cast<std::size_t>(codeCount) + 1, sizeof(Step)));
  plan->statements = static_cast<StatementPlan *>(
      HeapAlloc(static_cast<std::size_t>(CountStatements(context)), sizeof(StatementPlan)));
  if (!stepAt || !isParameter || plan->steps == nullptr || plan->statements == nullptr) {
    PlanRelease(plan);
    return nullptr;
  }
  for (int n = 0; context->paramTable != nullptr && n <= *context->paramHigh; ++n)
    if (context->paramTable[n] >= 0) isParameter[context->paramTable[n]] = 1;

  Builder b = {context, isParameter.get(), stepAt.get(), plan};
  // The code is a row of statements, each opened by an OpStatement; the last one only ends the run.
  const Instruction *at = context->code;
  while (at != context->codeTop && at->opcode == OpStatement && at->operand != -1) {
    const Instruction *first = at + 1;
    at = std::find_if(first, static_cast<const Instruction *>(context->codeTop),
                      [](const Instruction &i) { return i.opcode == OpStatement; });
    if (at != first) BuildStatement(b, first, at);
  }
  return plan;
}

void PlanRelease(MachinePlan *plan) {
  if (plan == nullptr) return;
  HeapFree(plan->steps);
  HeapFree(plan->statements);
  HeapFree(plan);
}

}  // namespace tessel
