// Compiles any bytes and runs what compiles, over the whole sample, a part of it and a single observation: in blocks of
// observations and, with no memory left for the blocks, one observation at a time. Then the same program, attached to
// another workspace. All must give the same bits.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "core/heap.h"
#include "support/algebra_program.h"

namespace {

using namespace tessel;

// All columns; those of deleted variables serve the code as well.
std::vector<double> Columns(const AlgebraWorkspace &workspace) {
  std::vector<double> cells;
  for (const double *column : workspace.Database().allColumns)
    cells.insert(cells.end(), column, column + kFuzzObservations);
  return cells;
}

void Restore(AlgebraWorkspace &workspace, const std::vector<double> &cells) {
  const double *from = cells.data();
  for (double *column : workspace.Database().allColumns) {
    std::copy_n(from, kFuzzObservations, column);
    from += kFuzzObservations;
  }
}

// Every run draws the same random numbers.
void Run(AlgebraWorkspace &workspace, int first, int last) {
  constexpr int seed = 1;
  RanSetSeed(workspace.RandomNumbers(), {&seed, 1});
  // Whether the run fails is part of what it reports.
  static_cast<void>(workspace.Run(first, last, RunReporting::Report));
}

void Compare(const AlgebraWorkspace &a, const AlgebraWorkspace &b) {
  const std::vector<double> one = Columns(a), other = Columns(b);
  if (one.size() != other.size() || std::strcmp(a.Message(), b.Message()) != 0) std::abort();
  if (!one.empty() && std::memcmp(one.data(), other.data(), one.size() * sizeof(double)) != 0) std::abort();
}

// The range must be long enough to run in blocks.
void CompareRuns(AlgebraWorkspace &workspace, AlgebraWorkspace &attached, int first, int last) {
  Restore(attached, Columns(workspace));
  Run(workspace, first, last);
  HeapFailAt(1);  // the scratch of the blocks
  Run(attached, first, last);
  HeapFailAt(0);
  Compare(workspace, attached);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  AlgebraWorkspace workspace, attached;
  if (!CompileProgram(workspace, data, size)) return 0;
  const std::uint8_t empty[] = {size > 0 ? data[0] : std::uint8_t{0}, ';'};
  if (!CompileProgram(attached, empty, 2) || Failed(attached.Attach(*workspace.Program()))) std::abort();
  if (attached.FirstAdded() != workspace.FirstAdded()) std::abort();
  CompareRuns(workspace, attached, 0, kFuzzObservations - 1);
  CompareRuns(workspace, attached, 1, 257);
  Run(workspace, 4, 4);
  return 0;
}
