// The scanner: Algebra's text to a token stream.
#pragma once

#include "algebra/context.h"

namespace tessel {

// Scans the whole text into context->tokens. 1, or 0 with "Scan error: ... on line N" in the context's message buffer
// and reported, and no token block. Without a message buffer the result is 0 at once; a null text counts as unexpected
// end of code.
int ScanText(AlgebraContext *context, const char *text);

// The value of a constant's text: a decimal number whose exponent letter may be E, e, D or d. 0 for a text without
// digits.
double ConstantValue(const char *text);

}  // namespace tessel
