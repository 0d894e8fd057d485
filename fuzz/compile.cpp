// Scanner and compiler over any bytes.
#include "support/algebra_program.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  tessel::AlgebraWorkspace workspace;
  CompileProgram(workspace, data, size);
  return 0;
}
