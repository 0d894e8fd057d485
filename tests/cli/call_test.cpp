// tessel call: what its documentation does not show.
#include "command.h"

namespace {

TEST(Call, ValuesOfEveryFormReachTheFunction) {
  const Folder folder;
  folder.Write("d.csv", "a,b\n1,5\n2,6\nNA,7\n");
  // An array of arrays, columns of a file by name, an output used again, a row where a vector is read.
  folder.Write(
      "open.json",
      R"([{"csv": "d.csv", "columns": ["b", "a"]}, {"array": ["b", "a"]}, 1, 1, 1, false, "c = b/0;", null, null])");
  folder.Write("run.json", R"([{"matrix": []}, 0, 2])");
  folder.Write("added.json", R"([{"output": "data"}, {"output": "names"}])");
  folder.Write("means.json", R"([{"use": "data"}, 3])");
  folder.Write("get.json", R"(["a", 0, 2, {"row": [1, 0, 1]}])");
  const CommandResult result = folder.Tessel(
      "call FnInitAlgebraNls open.json FnRunAlgebraNls run.json FnGetAlgebraAddedData added.json "
      "FnDeSeasonalize means.json FnGetAlgebraVar get.json");
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("[\"inf\"]"), std::string::npos);
  EXPECT_NE(result.out.find("\"names\": {\n      \"array\": [\"c\"]"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("[1.0],\n      [null]"), std::string::npos) << result.out;
}

TEST(Call, ValuesCanBeCutTurnedAndChosen) {
  const Folder folder;
  folder.Write("d.csv", "a,b\n1,5\n2,6\n3,7\n");
  folder.Write("open.json", R"([{"csv": "d.csv", "rows": [1, 2], "transposed": true}, ["p", "q"], 1, 1, 1, 0,
                "&1 = 9; &2 = 0.123456; u = p - &1 * q - &2;", {"output": "values", "rows": [1, 1], "transposed": true}, {"output": "numbers"}])");
  folder.Write("get.json", R"(["q", 0, 1, null])");
  folder.Write("means.json",
               R"([{"use": "FnGetAlgebraVar", "rows": [1, 1], "columns": [0, 0], "transposed": true}, 2])");
  const CommandResult result = folder.Tessel(
      "call FnInitAlgebraNls open.json FnGetAlgebraVar get.json FnDeSeasonalize means.json --only values,result "
      "--digits 3");
  std::string shown = result.out;
  std::erase_if(shown, [](char c) { return c == ' ' || c == '\n'; });
  EXPECT_EQ(shown, R"({"function":"FnInitAlgebraNls","result":null,"outputs":{"values":{"matrix":[[0.123]]}}})"
                   R"({"function":"FnGetAlgebraVar","result":{"matrix":[[3.0],[7.0]]}})"
                   R"({"function":"FnDeSeasonalize","result":{"matrix":[[0.0]]}})")
      << result.err;
  EXPECT_EQ(folder.Tessel("call FnInitAlgebraNls open.json --only none").out, "");
}

TEST(Call, MistakesAreNamedInOneLine) {
  const struct {
    const char *words, *json, *line;
    int status;
  } cases[] = {
      {"FnDeSeasonalize", "[]", "tessel call: expected a file of arguments behind each function", 2},
      {"FnNone a.json", "[]", "tessel call: no function 'FnNone', expected one of FnActFitTable", 2},
      {"FnDeSeasonalize none.json", "[]", "none.json: it cannot be read", 1},
      {"FnDeSeasonalize a.json", "[1,\n2", "a.json: no JSON: parse error at line 2", 1},
      {"FnDeSeasonalize a.json", "{}", "a.json: expected an array of arguments", 1},
      {"FnDeSeasonalize a.json", "[1]", "a.json: FnDeSeasonalize takes 2 arguments, the file has 1", 1},
      {"FnDeSeasonalize a.json", "[[[1, 2], [3]], 2]", "a.json: argument 1: row 2 has 1 cells, expected 2", 1},
      {"FnDeSeasonalize a.json", "[[[1, \"x\"]], 2]", "a.json: argument 1: expected a number, null", 1},
      {"FnDeSeasonalize a.json", R"([{"use": "x"}, 2])",
       "a.json: argument 1: no earlier call has a result or an output \"x\"", 1},
      {"FnDeSeasonalize a.json", R"([{"csv": "x.csv"}, 2])", "./x.csv: ", 1},
      {"FnDeSeasonalize a.json", R"([{"csv": "d.csv", "rows": [1, 3]}, 2])",
       "a.json: argument 1: \"rows\": expected [first, last] from 0 to 1, found [1,3]", 1},
      {"FnDeSeasonalize a.json", "[[1, 2], 2]", "a.json: argument 1: expected a number, a string", 1},
      {"FnDeSeasonalize a.json", "[[[1]], 1e300]", "a.json: FnDeSeasonalize: argument 2 must be an integer", 1},
  };
  const Folder folder;
  folder.Write("d.csv", "a\n1\n2\n");
  for (const auto &c : cases) {
    folder.Write("a.json", c.json);
    const CommandResult result = folder.Tessel(std::string("call ") + c.words);
    EXPECT_EQ(result.status, c.status) << c.json;
    EXPECT_TRUE(result.err.starts_with(c.line)) << result.err;
    EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
    EXPECT_EQ(result.out, "");
  }
}

}  // namespace
