// The generators of one, two and four words: PM, GM and LE of generators.h, which is their manual.
#pragma once

#include "random/generators.h"

namespace tessel {

double LcgUniform(Generators &generators);
void LcgSetSeed(Generators &generators, std::span<const int> words);
int LcgGetSeed(const Generators &generators, std::span<int> words);

double Mwc60Uniform(Generators &generators);
void Mwc60SetSeed(Generators &generators, std::span<const int> words);
int Mwc60GetSeed(const Generators &generators, std::span<int> words);

double LfsrUniform(Generators &generators);
void LfsrSetSeed(Generators &generators, std::span<const int> words);
int LfsrGetSeed(const Generators &generators, std::span<int> words);

}  // namespace tessel
