// The table of the generators.
#include "random/ran_table.h"

#include <cstring>

#include "random/fill.h"
#include "random/mwc8222.h"
#include "random/normals.h"
#include "random/small_generators.h"

namespace tessel {

namespace {

RowMatrix FillUniform(RowMatrix m, int rows, int columns) { return FillCells(m, rows, columns, ranTable.uniform); }
RowMatrix FillNormal(RowMatrix m, int rows, int columns) { return FillCells(m, rows, columns, ranTable.normal); }

struct Generator {
  const char *names[4];  // a null name ends them
  RanTable table;
};

constexpr Generator kGenerators[] = {
    {{"PM", "LCG31"}, {LcgUniform, nullptr, NormalPolar, FillUniform, FillNormal, LcgSetSeed, LcgGetSeed}},
    {{"GM", "MWC60"}, {Mwc60Uniform, nullptr, NormalPolar, FillUniform, FillNormal, Mwc60SetSeed, Mwc60GetSeed}},
    {{"LE", "LFSR113"}, {LfsrUniform, nullptr, NormalPolar, FillUniform, FillNormal, LfsrSetSeed, LfsrGetSeed}},
    {{"MWC_32", "MWC8222", "MWC32"},
     {MwcUniform32, MwcRaw, NormalZiggurat32, MwcFillUniform32, FillNormal, MwcSetSeed, MwcGetSeed}},
    {{"MWC_52", "MWC8222_52", "MWC52", "default"},
     {MwcUniform52, MwcRaw, NormalZiggurat52, MwcFillUniform52, FillZiggurat52, MwcSetSeed, MwcGetSeed}},
};
constexpr const RanTable &kDefault = kGenerators[4].table;

const Generator *FindGenerator(const char *name) {
  for (const Generator &generator : kGenerators)
    for (const char *known : generator.names)
      if (known != nullptr && std::strcmp(known, name) == 0) return &generator;
  return nullptr;
}

}  // namespace

constinit RanTable ranTable = kDefault;

void RanInit() {
  for (const Generator &generator : kGenerators) generator.table.setSeed(nullptr, 0);
  ranTable = kDefault;
  NormalDiscardCached();
  ZigguratBuild();
}

void RanSelect(const char *name) {
  if (name == nullptr || *name == '\0') return;
  NormalDiscardCached();
  if (const Generator *generator = FindGenerator(name)) ranTable = generator->table;
}

void RanSetSeed(const int *words, int count) {
  NormalDiscardCached();
  ranTable.setSeed(words, count);
}

int RanGetSeed(int *words, int count) { return ranTable.getSeed(words, count); }

}  // namespace tessel
