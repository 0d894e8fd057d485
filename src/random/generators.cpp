// The table of the generators.
#include "random/generators.h"

#include <string_view>

#include "random/fill.h"
#include "random/mwc8222.h"
#include "random/normals.h"
#include "random/small_generators.h"

namespace tessel {

namespace {

void FillUniform(Generators &generators, Matrix m) {
  FillCells(m, [&] { return RanUniform(generators); });
}
void FillNormal(Generators &generators, Matrix m) {
  FillCells(m, [&] { return RanNormal(generators); });
}

constexpr RanTable kLcg31 = {LcgUniform, nullptr, NormalPolar, FillUniform, FillNormal, LcgSetSeed, LcgGetSeed};
constexpr RanTable kMwc60 = {Mwc60Uniform, nullptr, NormalPolar, FillUniform, FillNormal, Mwc60SetSeed, Mwc60GetSeed};
constexpr RanTable kLfsr113 = {LfsrUniform, nullptr, NormalPolar, FillUniform, FillNormal, LfsrSetSeed, LfsrGetSeed};
constexpr RanTable kMwc32 = {MwcUniform32, MwcRaw,     NormalZiggurat32, MwcFillUniform32,
                             FillNormal,   MwcSetSeed, MwcGetSeed};

}  // namespace

constexpr RanTable kMwc52 = {MwcUniform52,   MwcRaw,     NormalZiggurat52, MwcFillUniform52,
                             FillZiggurat52, MwcSetSeed, MwcGetSeed};

namespace {

struct GeneratorName {
  std::string_view name;
  const RanTable *table;
};
constexpr GeneratorName kNames[] = {
    {"PM", &kLcg31},         {"LCG31", &kLcg31},  {"GM", &kMwc60},      {"MWC60", &kMwc60}, {"LE", &kLfsr113},
    {"LFSR113", &kLfsr113},  {"MWC_32", &kMwc32}, {"MWC8222", &kMwc32}, {"MWC32", &kMwc32}, {"MWC_52", &kMwc52},
    {"MWC8222_52", &kMwc52}, {"MWC52", &kMwc52},  {"default", &kMwc52}};

}  // namespace

Status RanSelect(Generators &generators, const char *name) {
  if (name == nullptr || *name == '\0') return Status::Ok;
  generators.normalCached = false;
  for (const GeneratorName &known : kNames) {
    if (known.name != name) continue;
    generators.table = known.table;
    return Status::Ok;
  }
  return Status::Invalid;
}

void RanSetSeed(Generators &generators, std::span<const int> words) {
  generators.normalCached = false;
  generators.table->setSeed(generators, words);
}

int RanGetSeed(const Generators &generators, std::span<int> words) {
  return generators.table->getSeed(generators, words);
}

}  // namespace tessel
