// The Algebra workspace.
#include "algebra/workspace.h"

#include <algorithm>

#include "algebra/function_table.h"
#include "algebra/machine.h"
#include "algebra/parser.h"
#include "algebra/scanner.h"
#include "core/heap.h"

namespace tessel {

namespace {

AlgebraWorkspace workspace;

// Calls visit(slot, number) for each parameter in use, in ascending order of number.
template <class Visit>
void ForEachParameter(Visit visit) {
  for (int number = 0; number <= workspace.paramHigh; ++number)
    if (workspace.paramTable[number] >= 0) visit(workspace.paramTable[number], number);
}

// Calls move(cell, value) for each row of AlgebraPutRows and AlgebraGetRows.
template <class Move>
void ForEachRow(RowMatrix rows, int firstRow, int lastRow, int column, int firstVariable, int observation, Move move) {
  const AlgebraDatabase *database = workspace.database;
  if (database == nullptr || rows == nullptr) return;
  if (column < 0 || column >= database->obsCount || firstRow < 0 || firstRow > lastRow) return;
  if (observation < 0 || observation >= database->obsCount) return;
  for (int i = firstRow; i <= lastRow && i < database->varCount; ++i) {
    const std::int64_t variable = std::int64_t{firstVariable} + (i - firstRow);
    if (variable < 0 || variable >= database->varCount) continue;
    move(rows[i][column], database->columns[variable][observation]);
  }
}

}  // namespace

AlgebraWorkspace &Workspace() { return workspace; }

int WorkspaceOpen(int k, const SampleSpec &sample) {
  WorkspaceClose();
  workspace.database = DbCreate(k + kSpareVariables);
  workspace.paramTable = static_cast<int *>(HeapAlloc(kMaxParameters, sizeof(int)));
  workspace.context.message = static_cast<char *>(HeapAllocZeroed(kMessageBytes, 1));
  if (workspace.database == nullptr || workspace.paramTable == nullptr || workspace.context.message == nullptr) {
    WorkspaceClose();
    return 0;
  }
  workspace.firstAdded = k;
  workspace.paramHigh = -1;
  DbSetSample(workspace.database, sample);
  return 1;
}

void WorkspaceClose() {
  ReleaseCode(&workspace.context);
  DbDestroy(workspace.database);
  HeapFree(workspace.paramTable);
  HeapFree(workspace.context.message);
  workspace = AlgebraWorkspace{};
  workspace.paramHigh = -1;
}

int WorkspaceCompile(const char *code) {
  AlgebraContext &context = workspace.context;
  if (!ScanText(&context, code)) return 0;
  RegisterFunctions();
  context.paramTable = workspace.paramTable;
  context.paramHigh = &workspace.paramHigh;
  context.paramCapacity = kMaxParameters;
  context.hostVariables = &workspace.firstAdded;
  return Compile(&context, workspace.database);
}

int WorkspaceCountParameters() {
  bool complete = true;
  workspace.paramCount = 0;
  ForEachParameter([&](int slot, int) {
    ++workspace.paramCount;
    if (IsMissing(workspace.context.constants[slot])) complete = false;
  });
  return complete;
}

void WorkspaceGetParameters(double *values, double *numbers) {
  ForEachParameter([&](int slot, int number) {
    if (values != nullptr) *values++ = workspace.context.constants[slot];
    if (numbers != nullptr) *numbers++ = number;
  });
}

void WorkspaceSetParameters(const double *values) {
  ForEachParameter([&](int slot, int) { workspace.context.constants[slot] = *values++; });
}

bool WorkspaceHolds(int first, int last) {
  if (workspace.database == nullptr) return false;
  const int count = workspace.database->obsCount;
  return first >= 0 && first < count && last >= 0 && last < count;
}

int AlgebraAddedCount() {
  return workspace.database == nullptr ? 0 : workspace.database->varCount - workspace.firstAdded;
}

int AlgebraFirstAdded() { return workspace.firstAdded; }

void AlgebraPutRows(RowMatrix rows, int firstRow, int lastRow, int column, int firstVariable, int observation) {
  ForEachRow(rows, firstRow, lastRow, column, firstVariable, observation,
             [](const double &cell, double &value) { value = cell; });
}

void AlgebraGetRows(RowMatrix rows, int firstRow, int lastRow, int column, int firstVariable, int observation) {
  ForEachRow(rows, firstRow, lastRow, column, firstVariable, observation,
             [](double &cell, const double &value) { cell = value; });
}

int AlgebraRunRange(int first, int last) {
  if (!WorkspaceHolds(first, last)) return 0;
  return RunAlgebra(&workspace.context, first, last, workspace.database->obsCount, true);
}

}  // namespace tessel
