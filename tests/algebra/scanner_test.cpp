// Token streams and messages of the scanner.
#include "algebra/scanner.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "algebra/tokens.h"
#include "core/heap.h"

namespace tessel {
namespace {

// The tokens between start and end, each as its code or its text, apart by blanks; or the message.
std::string Scan(const std::string &text, int *size = nullptr) {
  MessageLog log;
  TokenStream tokens;
  const auto live = HeapLiveBlocks();
  if (Failed(ScanText(text.c_str(), log, &tokens))) {
    EXPECT_FALSE(tokens.bytes);
    EXPECT_EQ(HeapLiveBlocks(), live);
    return log.last;
  }
  EXPECT_EQ(tokens.bytes[0], TokStart);
  std::string stream;
  const unsigned char *at = tokens.bytes.get() + 1;
  while (*at != TokEnd) {
    const unsigned char token = *at++;
    stream += (stream.empty() ? "" : " ") + std::to_string(token);
    const char *behind = reinterpret_cast<const char *>(at);
    const std::string data = HasText(token) ? behind : token == TokLine ? std::string(behind, kLineDigits) : "";
    if (HasText(token) || token == TokLine) stream += ":" + data;
    at += HasText(token) ? data.size() + 1 : data.size();
  }
  EXPECT_LT(at - tokens.bytes.get(), tokens.size);
  if (size != nullptr) *size = tokens.size;
  return stream;
}

TEST(Scanner, Tokens) {
  const std::string longest(256, 'a');
  const struct {
    std::string text, stream;
  } table[] = {
      {"", ""},
      {"NOBS nobs TRUE FALSE PI MISSING FREQUENCY TRUE1 ", "35 73:nobs 84 70 80 77 102 73:TRUE1"},
      {"a<b<=c>d>=e==f!=g&&h||!i&1;",
       "73:a 60 73:b 76 73:c 62 73:d 71 73:e 69 73:f 78 73:g 38 73:h 124 33 73:i 64 67:1 59"},
      {"(){}[],:;?^*+-/ ", "40 41 123 125 91 93 44 58 59 63 94 42 43 45 47"},
      {"a/b /* a */ x\n", "73:a 47 73:b 73:x 127:002"},
      {"a//b\nc ", "73:a 127:002 73:c"},
      {"a;// to the end", "73:a 59"},
      {"/*\n\n***/ x\n\ny ", "73:x 127:004 127:005 73:y"},
      {"x==\"a//b /* c */\" ", "73:x 69 34:a//b /* c */"},
      {"\"\";", "34: 59"},
      {".5 . 1.5d2 1.e+3 2.E 1.2.3 1.5-2;", "67:.5 67:. 67:1.5d2 67:1.e+3 67:2.E 67:1.2 67:.3 67:1.5 45 67:2 59"},
      {"\"" + longest + "\"", "34:" + longest},
      {longest + ";", "73:" + longest + " 59"},
      {" \t\r& & ;", "64 64 59"}};
  for (const auto &[text, stream] : table) EXPECT_EQ(Scan(text), stream) << text;
  // Line 1234 is marked by its first three digits.
  const std::string marks = Scan(std::string(1233, '\n') + "x;");
  EXPECT_EQ(marks.substr(marks.size() - 23), "127:123 127:123 73:x 59");
}

TEST(Scanner, Messages) {
  for (const char *text : {"x = 1", "x", "1.", "1.0e", "x <", "x |", "a/", "/* \n /", "/*/", "\"abc"})
    EXPECT_EQ(Scan(text), "Scan error: Unexpected end of code on line 1") << text;
  for (const std::string &text : {"\"" + std::string(257, 'a') + "\"", std::string(257, 'a') + "/",
                                  std::string(257, '1') + ";", "1." + std::string(254, '1') + "e+1;"})
    EXPECT_EQ(Scan(text), "Scan error: Token too long on line 1") << text;
  for (const std::string word : {"12ab", "1e5", "@", "\x80"})
    EXPECT_EQ(Scan("\n" + word + " "), "Scan error: " + word + " Unrecognized on line 2");
  EXPECT_EQ(Scan("\n\"abc\n\""), "Scan error: End of string missing on line 2");
  EXPECT_EQ(Scan("a | b;"), "Scan error: | Missing on line 1");
}

TEST(Scanner, ALongTextGrowsTheBlockAndMemoryMayFail) {
  std::string text;
  for (int i = 0; i < 200000; ++i) text += "abcdefgh;\n";
  int size = 0;
  EXPECT_GT(Scan(text, &size).size(), text.size());
  EXPECT_EQ(size % 8192, 0);
  for (int n = 1; n < 5; ++n) {
    HeapFailAt(n);
    EXPECT_EQ(Scan(text).rfind("Scan error:  Out of heap memory on line ", 0), 0U);
  }
  HeapFailAt(0);
}

// The C library's conversion takes the same numbers with another exponent letter.
TEST(Scanner, ConstantsAreTheNearestDoubles) {
  for (const char *text : {"007", "1.5e2", "1.5e-2", ".5", ".", ".e5", "1.e+", "0.1", "1.0e400", "1.0e-400", "4.9e-324",
                           "0.0e99999999999", "9007199254740993.", "1.0e99999999999999999999", "1.7976931348623159e308",
                           "100000.0e-99999999999999999999", "2.4703282292062328e-324", "123456789.987654321e-5"}) {
    for (const char letter : {'e', 'E', 'd', 'D'}) {
      std::string given = text;
      std::replace(given.begin(), given.end(), 'e', letter);
      EXPECT_EQ(ConstantValue(given.c_str()), std::strtod(text, nullptr)) << given;
    }
  }
}

}  // namespace
}  // namespace tessel
