// Where Algebra's messages leave the library.
#include "algebra/report.h"

#include <cstdio>

namespace tessel {

void AlgebraReport(const char *label, const char *text) {
  std::printf("\n%s: %s\n", label, text);
  std::fflush(stdout);
}

}  // namespace tessel
