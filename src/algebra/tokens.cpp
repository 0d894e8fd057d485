// The tokens' spellings in messages.
#include "algebra/tokens.h"

#include "algebra/code.h"

namespace tessel {

namespace {

struct Spelling {
  unsigned char token;
  const char *text;
};

constexpr Spelling kSpellings[] = {
    {TokEnd, "end of code"},
    {TokString, "string"},
    {TokConstant, "constant"},
    {TokIdentifier, "identifier"},
    {TokAnd, "&&"},
    {TokOr, "||"},
    {TokParameter, "&"},
    {TokEqual, "=="},
    {TokNotEqual, "!="},
    {TokAtLeast, ">="},
    {TokAtMost, "<="},
    {TokFalse, "FALSE"},
    {TokTrue, "TRUE"},
    {TokMissing, "MISSING"},
    {TokPi, "PI"},
    {TokFrequency, "FREQUENCY"},
    {kNegate, "-"},
};

}  // namespace

const char *TokenSpelling(unsigned char token) {
  for (const Spelling &spelling : kSpellings) {
    if (spelling.token == token) return spelling.text;
  }
  return nullptr;
}

}  // namespace tessel
