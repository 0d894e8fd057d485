// MWC8222 in its two forms.
#include "random/mwc8222.h"

#include <algorithm>

#include "random/fill.h"

namespace tessel {

namespace {

constexpr std::uint32_t kIndexDefault = kMwcLag - 1;
constexpr std::uint32_t kCarryDefault = 362436;
constexpr int kStateWords = kMwcLag + 2;

// Fills the words from the congruential generator of Knuth and Lewis, without its zeros.
void FillFromSeed(std::uint32_t s) {
  for (int filled = 0; filled < kMwcLag;) {
    s = 1664525 * s + 1013904223;
    if (s != 0) mwcState.q[filled++] = s;
  }
}

}  // namespace

constinit MwcState mwcState = {{}, kIndexDefault, kCarryDefault};

int MwcRaw() {
  MwcCursor cursor;
  const std::uint32_t x = cursor.Step();
  cursor.Store();
  return static_cast<int>(x);
}

double MwcUniform32() { return MwcToUniform32(static_cast<std::uint32_t>(MwcRaw())); }

double MwcUniform52() {
  MwcCursor cursor;
  const double u = MwcDraw52(cursor);
  cursor.Store();
  return u;
}

RowMatrix MwcFillUniform32(RowMatrix m, int rows, int columns) {
  MwcCursor cursor;
  FillCells(m, rows, columns, [&] { return MwcToUniform32(cursor.Step()); });
  cursor.Store();
  return m;
}

RowMatrix MwcFillUniform52(RowMatrix m, int rows, int columns) {
  MwcCursor cursor;
  FillCells(m, rows, columns, [&] { return MwcDraw52(cursor); });
  cursor.Store();
  return m;
}

void MwcSetSeed(const int *words, int count) {
  mwcState.index = kIndexDefault;
  mwcState.carry = kCarryDefault;
  if (words == nullptr || count < 2) {
    FillFromSeed(words != nullptr && count == 1 ? static_cast<std::uint32_t>(words[0]) : 0);
    return;
  }
  for (int i = 0; i < std::min(count, kMwcLag); ++i) mwcState.q[i] = static_cast<std::uint32_t>(words[i]);
  if (count >= kStateWords) {
    mwcState.index = static_cast<std::uint32_t>(words[kMwcLag]) % kMwcLag;
    mwcState.carry = static_cast<std::uint32_t>(words[kMwcLag + 1]);
  }
}

int MwcGetSeed(int *words, int count) {
  CopyState(mwcState.q, kMwcLag, words, count);
  if (words != nullptr && count >= kStateWords) {
    words[kMwcLag] = static_cast<int>(mwcState.index);
    words[kMwcLag + 1] = static_cast<int>(mwcState.carry);
  }
  return kStateWords;
}

}  // namespace tessel
