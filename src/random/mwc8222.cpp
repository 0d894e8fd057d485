// MWC8222 in its two forms.
#include "random/mwc8222.h"

#include <algorithm>

#include "random/fill.h"

namespace tessel {

namespace {

constexpr std::size_t kStateWords = kMwcLag + 2;

}  // namespace

int MwcRaw(Generators &generators) {
  MwcCursor cursor(generators.mwc);
  const std::uint32_t x = cursor.Step();
  cursor.Store();
  return static_cast<int>(x);
}

double MwcUniform32(Generators &generators) { return MwcToUniform32(static_cast<std::uint32_t>(MwcRaw(generators))); }

double MwcUniform52(Generators &generators) {
  MwcCursor cursor(generators.mwc);
  const double u = MwcDraw52(cursor);
  cursor.Store();
  return u;
}

void MwcFillUniform32(Generators &generators, Matrix m) {
  MwcCursor cursor(generators.mwc);
  FillCells(m, [&] { return MwcToUniform32(cursor.Step()); });
  cursor.Store();
}

void MwcFillUniform52(Generators &generators, Matrix m) {
  MwcCursor cursor(generators.mwc);
  FillCells(m, [&] { return MwcDraw52(cursor); });
  cursor.Store();
}

void MwcSetSeed(Generators &generators, std::span<const int> words) {
  MwcState &state = generators.mwc;
  if (words.size() < 2) {
    state = {.q = MwcWords(words.empty() ? 0 : static_cast<std::uint32_t>(words[0]))};
    return;
  }
  state = {.q = state.q};
  for (std::size_t i = 0; i < std::min(words.size(), state.q.size()); ++i)
    state.q[i] = static_cast<std::uint32_t>(words[i]);
  if (words.size() >= kStateWords) {
    state.index = static_cast<std::uint32_t>(words[kMwcLag]) % kMwcLag;
    state.carry = static_cast<std::uint32_t>(words[kMwcLag + 1]);
  }
}

int MwcGetSeed(const Generators &generators, std::span<int> words) {
  CopyState(generators.mwc.q, words);
  if (words.size() >= kStateWords) {
    words[kMwcLag] = static_cast<int>(generators.mwc.index);
    words[kMwcLag + 1] = static_cast<int>(generators.mwc.carry);
  }
  return kStateWords;
}

}  // namespace tessel
