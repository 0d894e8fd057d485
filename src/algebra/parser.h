// The compiler: a token stream to code, in one pass by recursive descent and without a syntax tree.
//
// The database changes as the text is read: an assignment to an unknown name creates the variable at once, and `delete`
// removes one at once. The code before a `delete` keeps the column it uses; no name finds it afterwards.
#pragma once

#include "algebra/context.h"

namespace tessel {

// Levels of parentheses, index brackets, calls and signs in one expression. Deeper nesting is reported as exhausted
// memory; it keeps the compiler's own stack within a few hundred kilobytes.
inline constexpr int kMaxNesting = 500;

// Compiles context->tokens over the database. Expects the function table registered and paramTable, paramHigh and
// paramCapacity set (paramTable null where no parameter may stand). 1 with the code and the machine's plan in place, or
// 0 with "Parse error: ... on line N" in the message buffer and reported. Either way ReleaseCode releases what was
// made.
int Compile(AlgebraContext *context, AlgebraDatabase *database);

// Releases tokens, symbols, code, constants and plan.
void ReleaseCode(AlgebraContext *context);

}  // namespace tessel
