// The generators of one, two and four words: PM, GM and LE of ran_table.h, which is their manual.
#pragma once

namespace tessel {

double LcgUniform();
void LcgSetSeed(const int *words, int count);
int LcgGetSeed(int *words, int count);

double Mwc60Uniform();
void Mwc60SetSeed(const int *words, int count);
int Mwc60GetSeed(int *words, int count);

double LfsrUniform();
void LfsrSetSeed(const int *words, int count);
int LfsrGetSeed(int *words, int count);

}  // namespace tessel
