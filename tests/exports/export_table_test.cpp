// The table of the exports against their header, their reference pages and their behaviour.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <regex>

#include "support/exports.h"
#include "support/random_calls.h"

namespace {

using enum tessel::ArgumentKind;

std::string ReadFile(const std::string &path) {
  std::ifstream file(TESSEL_SOURCE_DIR "/" + path);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The words for a kind in tessel.h.
std::string Words(tessel::ArgumentKind kind) {
  switch (kind) {
    case Matrix: return "matrix";
    case OptionalMatrix: return "optional matrix";
    case Integer: return "integer";
    case Number: return "double";
    case Text: return "string";
    case Texts: return "array";
    case OptionalOutput: return "optional output";
    default: return "output";
  }
}

// Positions and kinds stand in the comment before each declaration: "7 optional output  score".
TEST(ExportTable, IsWhatTheHeaderDeclares) {
  const std::string header = ReadFile("include/tessel/tessel.h");
  const std::regex declaration(R"(/\*((?:[^*]|\*[^/])*)\*/\s*MORV_API void (Fn\w+)\()");
  const std::regex argument(R"((\d+) ((?:optional )?(?:output|matrix)|integer|double|string|array)\b)");
  std::size_t declared = 0;
  for (std::sregex_iterator d(header.begin(), header.end(), declaration), none; d != none; ++d, ++declared) {
    const tessel::Export *entry = tessel::FindExport((*d)[2].str());
    ASSERT_NE(entry, nullptr) << (*d)[2];
    std::string listed, expected;
    const std::string comment = (*d)[1];
    for (std::sregex_iterator a(comment.begin(), comment.end(), argument); a != none; ++a) listed += a->str() + "\n";
    for (int i = 0; i < entry->count; ++i)
      expected += std::to_string(i) + " " + Words(entry->argument[static_cast<std::size_t>(i)].kind) + "\n";
    EXPECT_EQ(listed, expected) << entry->name;
  }
  EXPECT_EQ(declared, tessel::kExports.size());
}

// Each page has one table of arguments: | position | name | kind | shape | meaning |.
TEST(ExportTable, IsWhatTheReferencePagesTell) {
  for (const tessel::Export &entry : tessel::kExports) {
    const std::string page = ReadFile("docs/reference/" + std::string(entry.name) + ".md");
    const std::regex row(R"(\n\| (\d+) \| ([^|]*)\| ([^|]+) \|[^|\n]*\|[^\n]*\|)");
    int i = 0;
    for (std::sregex_iterator r(page.begin(), page.end(), row), none; r != none; ++r, ++i) {
      ASSERT_LT(i, entry.count) << entry.name;
      const auto [name, kind] = entry.argument[static_cast<std::size_t>(i)];
      EXPECT_EQ((*r)[1], std::to_string(i)) << entry.name;
      EXPECT_EQ((*r)[2], std::string(name) + (name.empty() ? "" : " ")) << entry.name;
      const std::string words = kind == Number           ? "number"
                                : kind == Texts          ? "array of strings"
                                : kind == OptionalMatrix ? "matrix or other"
                                                         : Words(kind);
      EXPECT_EQ((*r)[3], words) << entry.name << " " << i;
    }
    EXPECT_EQ(i, entry.count) << entry.name;
  }
}

// An argument of a kind that cannot stand there is refused by its number, but those that may be declined.
TEST(ExportTable, IsWhatTheExportsCheck) {
  Bytes none({});
  Draw draw{none};
  for (const tessel::Export &entry : tessel::kExports) {
    const std::string name(entry.name);
    const std::vector<Argument> sound = SoundCall(name, draw);
    ASSERT_EQ(sound.size(), static_cast<std::size_t>(entry.count)) << name;
    for (std::size_t i = 0; i < sound.size(); ++i) {
      const auto kind = entry.argument[i].kind;
      const bool optional = kind == OptionalMatrix || kind == OptionalOutput;
      std::vector<Argument> arguments = sound;
      arguments[i] = kind == Integer || kind == Number || kind == Matrix ? ::Text("other") : Declined();
      const CaseRun run = Call(name, arguments);
      EXPECT_EQ(run.outcome.status == morv::Outcome::Status::Refused, !optional) << name << " " << i;
      EXPECT_EQ(run.outcome.argument, optional ? 0 : static_cast<int>(i) + 1) << name;
    }
    Call("FnExitAlgebraNls", {});
  }
}

// What each success needs, at its edges.
TEST(ExportTable, ComputedSeesFailure) {
  const auto computed = [](const char *name, const tessel::CallEnd &end) {
    return tessel::Computed(*tessel::FindExport(name), end);
  };
  const tessel::CallEnd untouched, missing = {MORV_DOUBLE, NAN}, minusOne = {MORV_DOUBLE, -1};
  const tessel::CallEnd zero = {MORV_INTEGER, 0}, one = {MORV_INTEGER, 1}, emptyText = {MORV_STRING};
  const tessel::CallEnd emptyMatrix = {MORV_MATRIX}, matrix = {MORV_MATRIX, 0, 1};
  const std::vector<tessel::CallEnd> ends = {untouched, missing, minusOne, zero, one, emptyText, emptyMatrix, matrix};
  const std::pair<const char *, const char *> accepted[] = {
      {"FnExitAlgebraNls", "11111111"}, {"FnInitAlgebraNls", "10000000"},     {"FnRunAlgebraNls", "10000000"},
      {"FnKroneckerSel", "00000011"},   {"FnJackknifeHCSE", "00000001"},      {"FnLogitJD", "00100000"},
      {"FnSeasonalRsq", "00000000"},    {"FnFracSigma", "00010000"},          {"FnRlsEst", "00001000"},
      {"FnGetAlgebraName", "00000000"}, {"FnGetAlgebraAddedData", "00000000"}};
  for (const auto &[name, expected] : accepted) {
    std::string seen;
    for (const tessel::CallEnd &end : ends) seen += computed(name, end) ? '1' : '0';
    EXPECT_EQ(seen, expected) << name;
  }
  EXPECT_TRUE(computed("FnSeasonalRsq", {MORV_DOUBLE, 0}));
  EXPECT_TRUE(computed("FnGetAlgebraName", {MORV_STRING, 0, 1}));
  EXPECT_TRUE(computed("FnGetAlgebraAddedData", {0, 0, 0, 1}));
}

}  // namespace
