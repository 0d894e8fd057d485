// The workspace of the exports.
#pragma once

#include "algebra/workspace.h"

namespace tessel {

// The one workspace that the exports of Algebra and the identities of FnDynForc work on. It prints its messages on
// standard output, and keeps its random numbers when it is closed and opened.
AlgebraWorkspace &DefaultWorkspace();

}  // namespace tessel
