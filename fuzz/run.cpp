// Compiles any bytes and runs what compiles, over the whole sample, a part of it and a single observation: in blocks of
// observations and, with no memory left for the blocks, one observation at a time. Both must give the same bits.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "algebra/functions.h"
#include "algebra/machine.h"
#include "algebra/symbols.h"
#include "core/heap.h"
#include "support/algebra_program.h"

namespace {

using namespace tessel;

// The columns of all symbols; those of deleted variables serve the code as well.
std::vector<double> Columns(const AlgebraContext &context) {
  std::vector<double> cells;
  for (const SymbolEntry *symbol = context.symbols; symbol != context.symbolTop; ++symbol)
    if (symbol->data != nullptr) cells.insert(cells.end(), symbol->data, symbol->data + kFuzzObservations);
  return cells;
}

void Restore(const AlgebraContext &context, const double *cells) {
  for (const SymbolEntry *symbol = context.symbols; symbol != context.symbolTop; ++symbol) {
    if (symbol->data == nullptr) continue;
    std::copy_n(cells, kFuzzObservations, symbol->data);
    cells += kFuzzObservations;
  }
}

// Every run draws the same random numbers.
void Run(AlgebraContext &context, int first, int last) {
  constexpr int seed = 1;
  RanSetSeed(defaultGenerators, {&seed, 1});
  RunAlgebra(&context, first, last, kFuzzObservations, false);
}

// The range must be long enough to run in blocks.
void CompareRuns(AlgebraContext &context, int first, int last) {
  const std::vector<double> before = Columns(context);
  Run(context, first, last);
  const std::vector<double> inBlocks = Columns(context);
  const std::string message = context.message;
  Restore(context, before.data());
  HeapFailAt(1);  // the scratch of the blocks
  Run(context, first, last);
  HeapFailAt(0);
  const std::vector<double> single = Columns(context);
  if (message != context.message) std::abort();
  if (!single.empty() && std::memcmp(single.data(), inBlocks.data(), single.size() * sizeof(double)) != 0) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  if (CompileProgram(data, size)) {
    AlgebraContext &context = Workspace().context;
    CompareRuns(context, 0, kFuzzObservations - 1);
    CompareRuns(context, 1, 257);
    Run(context, 4, 4);
  }
  WorkspaceClose();
  return 0;
}
