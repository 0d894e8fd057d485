// The tokens of the language and the byte stream that holds them.
//
// Each token is one code byte. Behind a string, constant or identifier stands its text with a final zero byte; behind a
// line mark stand the three decimal digits of the new line's number.
#pragma once

#include "core/heap.h"

namespace tessel {

enum Token : unsigned char {
  TokStart = 1,
  TokEnd = 2,
  TokNot = '!',
  TokString = '"',
  TokNobs = 35,
  TokAnd = 38,
  TokOpen = '(',
  TokClose = ')',
  TokTimes = '*',
  TokPlus = '+',
  TokComma = ',',
  TokMinus = '-',
  TokOver = '/',
  TokColon = ':',
  TokSemicolon = ';',
  TokLess = '<',
  TokAssign = '=',
  TokGreater = '>',
  TokQuestion = '?',
  TokParameter = 64,
  TokConstant = 67,
  TokEqual = 69,
  TokFalse = 70,
  TokAtLeast = 71,
  TokIdentifier = 73,
  TokAtMost = 76,
  TokMissing = 77,
  TokNotEqual = 78,
  TokPi = 80,
  TokTrue = 84,
  TokOpenIndex = '[',
  TokCloseIndex = ']',
  TokPower = '^',
  TokFrequency = 102,
  TokOpenBrace = '{',
  TokOr = 124,
  TokCloseBrace = '}',
  TokLine = 127
};

inline constexpr int kLineDigits = 3;
inline constexpr int kMaxTokenText = 256;

// The tokens of a program, from TokStart to TokEnd.
struct TokenStream {
  OwnedBlock<unsigned char> bytes;
  int size = 0;  // of the block
};

// Whether a text stands behind the token.
inline bool HasText(unsigned char token) {
  return token == TokString || token == TokConstant || token == TokIdentifier;
}

// The token's spelling in a message: a null pointer for a code that prints as its own character.
const char *TokenSpelling(unsigned char token);

}  // namespace tessel
