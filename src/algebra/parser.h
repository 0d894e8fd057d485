// The compiler: a token stream to a program, in one pass by recursive descent and without a syntax tree.
//
// The database changes as the text is read: an assignment to an unknown name creates the variable at once, and `delete`
// removes one at once. The code before a `delete` keeps the column it uses; no name finds it afterwards.
#pragma once

#include "algebra/messages.h"
#include "algebra/program.h"
#include "algebra/tokens.h"
#include "core/status.h"

namespace tessel {

// Levels of parentheses, index brackets, calls and signs in one expression. Deeper nesting is reported as exhausted
// memory; it keeps the compiler's own stack within a few hundred kilobytes.
inline constexpr int kMaxNesting = 500;

enum class ParameterUse { Allowed, Refused };  // whether `&n` may stand in the text

// Compiles over the database. ParseFailed or NoMemory, with "Parse error: ... on line N" in the log and no program; the
// database keeps what was added and deleted up to there.
Status Compile(const TokenStream &tokens, ParameterUse parameters, AlgebraDatabase &database, MessageLog &log,
               AlgebraProgram *program);

}  // namespace tessel
