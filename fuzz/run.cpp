// Compiles any bytes and runs what compiles: over the whole sample, a part of it, and a single observation.
#include "algebra_program.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  using namespace tessel;
  if (CompileProgram(data, size)) {
    AlgebraRunRange(0, 4);
    AlgebraRunRange(1, 3);
    AlgebraRunRange(4, 4);
  }
  WorkspaceClose();
  return 0;
}
