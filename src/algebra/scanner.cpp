// The scanner: characters without comments, words of characters, tokens of words.
#include "algebra/scanner.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <limits>
#include <utility>

#include "algebra/tokens.h"
#include "core/missing.h"

namespace tessel {

namespace {

// What NextChar gives besides a byte of the text. The end of the text counts as a word of one character.
constexpr int kEndOfText = -1;
constexpr int kFailed = -2;
constexpr int kNoChar = -3;

constexpr int kBlockGrowth = 8192;
constexpr int kBlockReserve = 1024;  // more than any token needs

struct Literal {
  const char *text;
  Token token;
};

constexpr Literal kKeywords[] = {
    {"\n", TokLine},         {"FALSE", TokFalse}, {"TRUE", TokTrue}, {"FREQUENCY", TokFrequency},
    {"MISSING", TokMissing}, {"PI", TokPi},       {"NOBS", TokNobs}};

// Characters that are their own token.
constexpr char kPunctuation[] = ",{}();?:[]^*/+-\x02\x7f";

// Characters that may be the first of two.
struct Pair {
  char first, second;
  unsigned char both;
  unsigned char single;  // 0 where the character cannot stand alone
};

constexpr Pair kPairs[] = {
    {'&', '&', TokAnd, TokParameter}, {'|', '|', TokOr, 0},
    {'!', '=', TokNotEqual, TokNot},  {'<', '=', TokAtMost, TokLess},
    {'=', '=', TokEqual, TokAssign},  {'>', '=', TokAtLeast, TokGreater},
};

struct Scanner {
  MessageLog &log;
  const char *text;   // the next byte
  int pushedBack;     // a character to be delivered again, or kNoChar
  std::int64_t line;  // of the next byte
  Status status;
  char word[kMaxTokenText + 1];  // the token's text
  int wordLength;
  OwnedBlock<unsigned char> block;
  int used;
  int size;       // in steps of kBlockGrowth
  int allocated;  // at least `size`, doubled so that a long text is not copied once for every step
  int lineMark;   // line number of the last line mark
};

bool HasFailed(const Scanner &s) { return Failed(s.status); }

// Reports the first error; the scan stops. A null text is left out with its blank.
int Fail(Scanner &s, const char *message, const char *text = nullptr, Status status = Status::ScanFailed) {
  if (HasFailed(s)) return kFailed;
  s.status = status;
  char line[kMessageBytes];
  std::snprintf(line, sizeof line, "Scan error: %s%s%s on line %d", text == nullptr ? "" : text,
                text == nullptr ? "" : " ", message, s.lineMark);
  s.log.Error(line);
  return kFailed;
}

void FailForMemory(Scanner &s) { Fail(s, "Out of heap memory", "", Status::NoMemory); }

int FailAtEnd(Scanner &s) { return Fail(s, "Unexpected end of code"); }

// The next byte, comments included.
int NextByte(Scanner &s) {
  if (*s.text == '\0') return kEndOfText;
  const auto c = static_cast<unsigned char>(*s.text++);
  if (c == '\n') ++s.line;
  return c;
}

// Behind the opening of a block comment: past its end. False at the end of the text.
bool SkipBlockComment(Scanner &s) {
  for (int last = 0, c = NextByte(s); c != kEndOfText; last = c, c = NextByte(s)) {
    if (last == '*' && c == '/') return true;
  }
  return false;
}

void SkipLineComment(Scanner &s) {
  while (*s.text != '\0' && *s.text != '\n') ++s.text;
}

// The next character outside comments, kEndOfText, or kFailed.
int NextChar(Scanner &s) {
  if (s.pushedBack != kNoChar) return std::exchange(s.pushedBack, kNoChar);
  for (;;) {
    const int c = NextByte(s);
    if (c != '/') return c;
    if (*s.text == '\0') return FailAtEnd(s);
    if (*s.text == '/') {
      SkipLineComment(s);
    } else if (*s.text == '*') {
      ++s.text;
      if (!SkipBlockComment(s)) return FailAtEnd(s);
    } else {
      return c;
    }
  }
}

bool IsDigit(int c) { return c >= '0' && c <= '9'; }
bool IsWordStart(int c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool IsWordChar(int c) { return IsWordStart(c) || IsDigit(c); }

// A character joins the word.
void Join(Scanner &s, int c) {
  if (s.wordLength == kMaxTokenText) {
    Fail(s, "Token too long");
  } else {
    s.word[s.wordLength++] = static_cast<char>(c);
    s.word[s.wordLength] = '\0';
  }
}

// All next characters of a class join the word; gives the first that is not of it.
int JoinAll(Scanner &s, bool (*belongs)(int)) {
  int c = NextChar(s);
  for (; belongs(c) && !HasFailed(s); c = NextChar(s)) Join(s, c);
  if (c == kEndOfText) FailAtEnd(s);
  return c;
}

// Behind the opening quote. Nothing in a string is a comment.
Token ReadString(Scanner &s) {
  for (int c = NextByte(s); c != '"' && !HasFailed(s); c = NextByte(s)) {
    if (c == kEndOfText) {
      FailAtEnd(s);
    } else if (c == '\n') {
      Fail(s, "End of string missing");
    } else {
      Join(s, c);
    }
  }
  return TokString;
}

// The word is the whole part of a number, or the point before its fraction:
//   digits [ `.` [digits] [exponent] ]  or  `.` [digits] [exponent], where an exponent is E, e, D or d [sign] [digits].
Token ReadNumber(Scanner &s) {
  bool fraction = s.word[0] == '.';
  int c = kNoChar;
  if (!fraction) {
    c = NextChar(s);
    fraction = c == '.';
    if (fraction) Join(s, c);
    if (c == kEndOfText) FailAtEnd(s);
  }
  if (fraction && !HasFailed(s)) {
    c = JoinAll(s, IsDigit);
    if (c == 'E' || c == 'e' || c == 'D' || c == 'd') {
      Join(s, c);
      c = NextChar(s);
      if (c == '+' || c == '-') {
        Join(s, c);
      } else {
        s.pushedBack = c;
      }
      if (!HasFailed(s)) c = JoinAll(s, IsDigit);
    }
  }
  s.pushedBack = c;
  return TokConstant;
}

// The token of a word of one character that may be the first of two, read with the second.
unsigned char ReadPair(Scanner &s, const Pair &pair) {
  const int c = NextChar(s);
  if (c == pair.second) return pair.both;
  s.pushedBack = c;
  if (c == kEndOfText) {
    FailAtEnd(s);
  } else if (pair.single == 0) {
    Fail(s, "Missing", s.word);
  }
  return pair.single;
}

// Reads one word: a string, a run of letters, digits and `_`, or one other character. True for a string.
bool ReadWord(Scanner &s) {
  s.wordLength = 0;
  s.word[0] = '\0';
  int c = NextChar(s);
  while (c == ' ' || c == '\t' || c == '\r') c = NextChar(s);
  if (c == '"') return ReadString(s) == TokString;
  if (HasFailed(s)) return false;
  Join(s, c == kEndOfText ? TokEnd : c);
  if (IsWordChar(c)) s.pushedBack = JoinAll(s, IsWordChar);
  return false;
}

// The next token, with its text in the word where it has one. Meaningless after a failure.
unsigned char ReadToken(Scanner &s) {
  if (ReadWord(s)) return TokString;
  if (HasFailed(s)) return 0;
  const char first = s.word[0];
  for (const Literal &keyword : kKeywords) {
    if (first == keyword.text[0] && std::strcmp(s.word, keyword.text) == 0) return keyword.token;
  }
  if (s.wordLength == 1) {
    for (const Pair &pair : kPairs) {
      if (pair.first == first) return ReadPair(s, pair);
    }
    if (std::strchr(kPunctuation, first) != nullptr) return static_cast<unsigned char>(first);
  }
  if (IsWordStart(first)) return TokIdentifier;
  if (first == '.' || std::all_of(s.word, s.word + s.wordLength, IsDigit)) return ReadNumber(s);
  Fail(s, "Unrecognized", s.word);
  return 0;
}

// One more step of growth when a token might not fit.
bool MakeRoom(Scanner &s) {
  if (s.size - s.used > kBlockReserve) return true;
  if (s.size > std::numeric_limits<int>::max() / 2 - kBlockGrowth) return false;
  s.size += kBlockGrowth;
  if (s.size <= s.allocated) return true;
  OwnedBlock<unsigned char> block(std::int64_t{2} * s.size);
  if (!block) return false;
  std::copy_n(s.block.get(), s.used, block.get());
  s.block = std::move(block);
  s.allocated = 2 * s.size;
  return true;
}

void StoreToken(Scanner &s, unsigned char token) {
  s.block[s.used++] = token;
  if (HasText(token)) {
    std::memcpy(s.block.get() + s.used, s.word, static_cast<std::size_t>(s.wordLength) + 1);
    s.used += s.wordLength + 1;
  } else if (token == TokLine) {
    // Three digits: a longer number loses its last ones.
    std::int64_t line = s.line;
    while (line >= 1000) line /= 10;
    s.lineMark = static_cast<int>(line);
    for (int unit = 100; unit > 0; unit /= 10) {
      s.block[s.used++] = static_cast<unsigned char>('0' + s.lineMark / unit % 10);
    }
  }
}

void ScanAll(Scanner &s) {
  s.block = OwnedBlock<unsigned char>(kBlockGrowth);
  s.size = s.allocated = kBlockGrowth;
  if (!s.block) {
    FailForMemory(s);
    return;
  }
  unsigned char token = TokStart;
  StoreToken(s, token);
  while (token != TokEnd) {
    if (!MakeRoom(s)) {
      FailForMemory(s);
      return;
    }
    token = ReadToken(s);
    if (HasFailed(s)) return;
    StoreToken(s, token);
  }
}

// The power of ten of the leading digit of a number that is beyond the doubles: above 0 for one that is too large.
std::int64_t Magnitude(const char *number) {
  const char *point = number + std::strcspn(number, ".e");
  const char *lead = number + std::strspn(number, "0.");
  std::int64_t exponent = point - lead;
  if (const char *e = std::strchr(number, 'e'); e != nullptr) {
    std::int64_t shift = 0;
    const bool negative = e[1] == '-';
    for (e += e[1] == '-' || e[1] == '+' ? 2 : 1; IsDigit(*e); ++e) {
      shift = std::min<std::int64_t>(shift * 10 + (*e - '0'), 1000000000);
    }
    exponent += negative ? -shift : shift;
  }
  return exponent;
}

}  // namespace

Status ScanText(const char *text, MessageLog &log, TokenStream *tokens) {
  *tokens = {};
  Scanner s = {log, text, kNoChar, 1, Status::Ok, "", 0, {}, 0, 0, 0, 1};
  if (text == nullptr) {
    FailAtEnd(s);
  } else {
    ScanAll(s);
  }
  if (Succeeded(s.status)) *tokens = {std::move(s.block), s.size};
  return s.status;
}

double ConstantValue(const char *text) {
  char number[kMaxTokenText + 1];
  const std::size_t length = strnlen(text, kMaxTokenText);
  char *end =
      std::transform(text, text + length, number, [](char c) { return c == 'E' || c == 'D' || c == 'd' ? 'e' : c; });
  *end = '\0';
  double value = 0;
  const auto result = std::from_chars(number, end, value);
  if (result.ec == std::errc::result_out_of_range) return Magnitude(number) > 0 ? PositiveInfinity() : 0.0;
  return result.ec == std::errc() ? value : 0.0;
}

}  // namespace tessel
