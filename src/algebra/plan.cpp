// Preparing code for the machine.
#include "algebra/plan.h"

#include <algorithm>

#include "algebra/function_table.h"
#include "algebra/operators.h"
#include "algebra/program.h"
#include "algebra/run.h"
#include "core/heap.h"

namespace tessel {

namespace {

// The state of preparing. `stepAt[i]` is the step, within its statement, at which instruction i begins: for the jumps.
struct Builder {
  const AlgebraProgram &program;
  MachinePlan &plan;
  const unsigned char *isParameter;  // per constant slot
  int *stepAt;
  int dateColumn;

  int firstStep = 0;  // of the statement
  int depth = 0;      // at this point of it
  int maxDepth = 0;
  bool faulted = false;  // the run cannot go on past this point: the rest of the statement is left out
};

PlanStep NewStep(StepKind kind, int operand = 0) { return {kind, Source::Stack, operand, -1, 0, 0.0}; }

// There is room for a step for every instruction, and for one more.
PlanStep &Append(Builder &b, StepKind kind, int operand = 0) {
  PlanStep *step = b.plan.steps.Extend(1);
  *step = NewStep(kind, operand);
  return *step;
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
PlanStep *LastPush(Builder &b) {
  if (b.plan.steps.Size() == b.firstStep) return nullptr;
  PlanStep &last = b.plan.steps.Last();
  return last.kind == StepKind::Push ? &last : nullptr;
}

void PushColumn(Builder &b, int column) {
  PlanStep &step = Append(b, StepKind::Push);
  step.source = Source::Column;
  step.place = column;
}

void PushConstant(Builder &b, int slot) {
  PlanStep &step = Append(b, StepKind::Push);
  step.source = b.isParameter[slot] ? Source::Constant : Source::Immediate;
  step.immediate = b.program.constants[slot];
  step.place = slot;
}

void AddOperator(Builder &b, int code) {
  if (code == kNegate || code == TokNot) {
    if (!Balance(b, 1, 1)) return;
    PlanStep *last = LastPush(b);
    if (code == kNegate && last != nullptr && last->source == Source::Immediate) {
      last->immediate = Negate(last->immediate);
    } else {
      Append(b, code == kNegate ? StepKind::Negate : StepKind::Not);
    }
    return;
  }
  if (!WithOperator(code, []<int>() {})) return AppendFault(b, ErrStack);
  if (!Balance(b, 2, 1)) return;
  if (PlanStep *last = LastPush(b); last != nullptr) {
    last->kind = StepKind::Binary;  // the pushed value is the right operand
    last->operand = code;
  } else {
    Append(b, StepKind::Binary, code);
  }
}

// Whether a step pushes a number that stays the same. The missing value counts: as an offset it lies outside any
// sample.
bool IsNumber(const PlanStep *step) { return step != nullptr && step->source == Source::Immediate; }

void BecomeLag(PlanStep *push, std::int64_t offset, int column) {
  push->source = Source::Lag;
  push->offset = offset;
  push->place = column;
}

void AddLoadOffset(Builder &b, int column) {
  if (!Balance(b, 1, 1)) return;
  if (PlanStep *last = LastPush(b); IsNumber(last)) {
    BecomeLag(last, TruncateToInt(last->immediate), column);
  } else {
    Append(b, StepKind::LoadOffset).place = column;
  }
}

// lag(x, k) and lead(x, k) with a number k read the column at an offset.
bool AddShiftedCall(Builder &b, const FunctionRow &row) {
  if (row.shift == 0) return false;
  PlanStep *last = LastPush(b);
  if (!IsNumber(last)) return false;
  const std::int64_t k = TruncateToInt(last->immediate);
  PlanStep *column = last - 1;  // the push of the column's symbol
  BecomeLag(column, row.shift * k, b.program.symbols[TruncateToInt(column->immediate)].column);
  b.plan.steps.RemoveLast();
  return true;
}

void AddCall(Builder &b, int index) {
  const FunctionRow &row = FunctionTable()[static_cast<std::size_t>(index)];
  if (!Balance(b, row.signature.count, 1)) return;
  if (AddShiftedCall(b, row)) return;
  Append(b, StepKind::Call, index);
  if (b.depth >= kStackLimit) AppendFault(b, ErrStackFull);
}

void AddStore(Builder &b, StepKind kind, int pops, int column) {
  if (Balance(b, pops, 0)) Append(b, kind).place = column;
}

void AddInstruction(Builder &b, const Instruction &instruction) {
  const int operand = instruction.operand;
  auto column = [&] { return b.program.symbols[operand].column; };
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
      if (Balance(b, 2, 1)) Append(b, StepKind::LoadDated).place = column();
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
  const SymbolTable &symbols = b.program.symbols;
  const std::span<const PlanStep> steps(b.plan.steps.begin() + b.firstStep, b.plan.steps.end());
  const int target = steps.back().kind == StepKind::Store ? steps.back().place : -1;

  bool calls = false, namesTarget = false;
  for (const PlanStep &step : steps) {
    const bool lagged = step.source == Source::Lag || step.kind == StepKind::LoadOffset;
    if (lagged && step.place == target) return false;
    // A column argument is the push of its symbol's index. A plain number that happens to be the target's index counts
    // as well: the statement then only runs one observation at a time.
    if (step.kind == StepKind::Push && step.source == Source::Immediate) {
      const int index = TruncateToInt(step.immediate);
      if (index >= 0 && index < symbols.Size() && symbols[index].column == target) namesTarget = true;
    }
    switch (step.kind) {
      case StepKind::Call:
        if (FunctionTable()[static_cast<std::size_t>(step.operand)].order != CallOrder::Any) return false;
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
  return !calls || target < 0 || !(namesTarget || b.dateColumn == target);
}

// Turns the jumps' targets from instructions into steps.
void PlaceJumps(Builder &b, int first, int end) {
  const int stepCount = b.plan.steps.Size();
  for (int i = b.firstStep; i < stepCount; ++i) {
    PlanStep &step = b.plan.steps[i];
    if (step.kind != StepKind::Jump && step.kind != StepKind::JumpIfZero) continue;
    // A target inside the statement, ahead of the jump, as the compiler emits it; any other ends the run.
    const int target = step.operand;
    const int ahead = target >= first && target < end ? b.firstStep + b.stepAt[target] - i : 0;
    if (ahead > 0 && i + ahead < stepCount) {
      step.operand = ahead;
    } else {
      step = NewStep(StepKind::Fault, static_cast<int>(ErrStack));
    }
  }
}

// A statement of the instructions first to end - 1.
void BuildStatement(Builder &b, int first, int end) {
  b.firstStep = b.plan.steps.Size();
  b.depth = b.maxDepth = 0;
  b.faulted = false;
  for (int i = first; i < end; ++i) {
    b.stepAt[i] = b.plan.steps.Size() - b.firstStep;
    if (!b.faulted) AddInstruction(b, b.program.code[i]);
  }
  if (!b.faulted && b.plan.steps.Last().kind < StepKind::Store) AppendFault(b, ErrStack);
  PlaceJumps(b, first, end);
  const bool inBlocks = RunsInBlocks(b);
  *b.plan.statements.Extend(1) = {b.firstStep, b.plan.steps.Size() - b.firstStep, b.maxDepth, inBlocks};
  if (inBlocks) b.plan.blockDepth = std::max(b.plan.blockDepth, b.maxDepth);
}

}  // namespace

Status BuildPlan(AlgebraProgram &program, int dateColumn) {
  const int codeCount = program.code.Size();
  const auto opens = [](const Instruction &instruction) { return instruction.opcode == OpStatement; };
  const auto stepAt = OwnedBlock<int>(codeCount);
  const auto isParameter = OwnedBlock<unsigned char>::Zeroed(program.constants.Size());
  program.plan = {};
  if (!stepAt || !isParameter || !program.plan.steps.Reserve(std::int64_t{codeCount} + 1) ||
      !program.plan.statements.Reserve(std::count_if(program.code.begin(), program.code.end(), opens)))
    return Status::NoMemory;
  for (const ProgramParameter &parameter : program.parameters) isParameter[parameter.slot] = 1;

  Builder b = {program, program.plan, isParameter.get(), stepAt.get(), dateColumn};
  // The code is a row of statements, each opened by an OpStatement; the last one only ends the run.
  const Instruction *begin = program.code.begin(), *at = begin;
  while (at != program.code.end() && opens(*at) && at->operand != -1) {
    const Instruction *first = at + 1;
    at = std::find_if(first, static_cast<const Instruction *>(program.code.end()), opens);
    if (at != first) BuildStatement(b, static_cast<int>(first - begin), static_cast<int>(at - begin));
  }
  return Status::Ok;
}

}  // namespace tessel
