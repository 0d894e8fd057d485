// The scanner: Algebra's text to a token stream.
#pragma once

#include "algebra/messages.h"
#include "algebra/tokens.h"
#include "core/status.h"

namespace tessel {

// Scans the whole text. ScanFailed or NoMemory, with "Scan error: ... on line N" in the log and no tokens; a null text
// counts as unexpected end of code.
Status ScanText(const char *text, MessageLog &log, TokenStream *tokens);

// The value of a constant's text: a decimal number whose exponent letter may be E, e, D or d. 0 for a text without
// digits.
double ConstantValue(const char *text);

}  // namespace tessel
