// tessel call: what its documentation does not show.
#include "command.h"

namespace {

TEST(Call, ValuesOfEveryFormReachTheFunction) {
  const Folder folder;
  folder.Write("d.csv", "a,b\n1,5\n2,6\nNA,7\n");
  // An array of arrays, columns of a file by name, an output used again, a row where a vector is read.
  folder.Write(
      "open.json",
      R"([{"csv": "d.csv", "columns": ["b", "a"]}, {"array": ["b", "a"]}, 1, 1, 1, false, {"text": "c.alg"}, null, null])");
  folder.Write("c.alg", "c = b /\n 0;");
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
      "call FnInitAlgebraNls open.json FnGetAlgebraVar get.json FnDeSeasonalize means.json "
      "--only values,FnGetAlgebraVar,FnDeSeasonalize --digits 3");
  std::string shown = result.out;
  std::erase_if(shown, [](char c) { return c == ' ' || c == '\n'; });
  EXPECT_EQ(shown, R"({"function":"FnInitAlgebraNls","outputs":{"values":{"matrix":[[0.123]]}}})"
                   R"({"function":"FnGetAlgebraVar","result":{"matrix":[[3.0],[7.0]]}})"
                   R"({"function":"FnDeSeasonalize","result":{"matrix":[[0.0]]}})")
      << result.err;
  EXPECT_EQ(folder.Tessel("call FnInitAlgebraNls open.json --only none").out, "");
  folder.Write("none.json", R"([{"row": [0.3]}, 0, 0, 1, -1, {"output": "a"}])");
  EXPECT_NE(folder.Tessel("call FnFracSigma none.json").out.find("\"a\": null"), std::string::npos);
}

TEST(Call, MistakesAreNamedInOneLine) {
  const std::string nested = std::string(1000, '[') + std::string(1000, ']');
  const struct {
    const char *words, *json, *line;
    int status;
  } cases[] = {
      {"FnDeSeasonalize", "[]", "tessel call: expected a file of arguments behind each function", 2},
      {"FnNone a.json", "[]", "tessel call: no function 'FnNone', expected one of FnActFitTable", 2},
      {"FnDeSeasonalize none.json", "[]", "none.json: the file cannot be opened: ", 1},
      {"FnDeSeasonalize a.json", "[1,\n2", "a.json: no JSON: parse error at line 2", 1},
      {"FnDeSeasonalize a.json", "{}", "a.json: expected an array of arguments", 1},
      {"FnDeSeasonalize a.json", "[1]", "a.json: FnDeSeasonalize takes 2 arguments, the file has 1", 1},
      {"FnDeSeasonalize a.json", "[[[1, 2], [3]], 2]", "a.json: argument 1: row 2 has 1 cells, expected 2", 1},
      {"FnDeSeasonalize a.json", "[[[1, \"x\"]], 2]", "a.json: argument 1: expected a number, null", 1},
      {"FnDeSeasonalize a.json", R"([{"use": "x"}, 2])",
       "a.json: argument 1: no earlier call stored a result or an output \"x\"", 1},
      {"FnDeSeasonalize sound.json FnDeSeasonalize a.json FnDeSeasonalize b.json --only none", "[[[1]], 1]",
       "b.json: argument 1: no earlier call stored a result or an output \"FnDeSeasonalize\"", 1},
      {"FnDeSeasonalize .", "[]", ".: the file cannot be read: ", 1},
      {"FnDeSeasonalize a.json", "[[[1e999]], 2]", "a.json: no JSON: number overflow", 1},
      {"FnDeSeasonalize a.json", nested.c_str(), "a.json: values are nested more than 100 deep", 1},
      {"FnDeSeasonalize a.json", R"([{"matrix": [], "columns": 4294967299}, 2])",
       "a.json: argument 1: \"columns\": expected a count, found 4294967299", 1},
      {"FnDeSeasonalize a.json", R"([{"matrix": [[1]], "transpose": true}, 2])",
       "a.json: argument 1: \"transpose\" does not go with \"matrix\"", 1},
      {"FnDeSeasonalize a.json", R"([{"csv": "d.csv", "transposed": 1}, 2])",
       "a.json: argument 1: \"transposed\": expected true or false, found 1", 1},
      {"FnDeSeasonalize sound.json FnDeSeasonalize a.json --only none",
       R"([{"use": "FnDeSeasonalize", "columns": [1, 1]}, 2])",
       "a.json: argument 1: \"columns\": expected [first, last] from 0 to 0, found [1,1]", 1},
      {"FnGetAlgebraAddedData a.json", R"([{"output": "a"}, {"output": "a"}])",
       "a.json: argument 2: two outputs have the name \"a\"", 1},
      {"FnDeSeasonalize a.json", R"([{"csv": "x.csv"}, 2])", "./x.csv: ", 1},
      {"FnDeSeasonalize a.json", R"([{"csv": "d.csv", "rows": [1, 3]}, 2])",
       "a.json: argument 1: \"rows\": expected [first, last] from 0 to 1, found [1,3]", 1},
      {"FnDeSeasonalize a.json", "[[1, 2], 2]", "a.json: argument 1: expected a number, a string", 1},
      {"FnDeSeasonalize a.json", "[[[1]], 1e300]", "a.json: FnDeSeasonalize: argument 2 must be an integer", 1},
      // 2^64 - 1, which would be -1 in 64 bits with a sign.
      {"FnDeSeasonalize a.json", "[[[1]], 18446744073709551615]", "a.json: FnDeSeasonalize: argument 2 must be an", 1},
      {"FnDeSeasonalize a.json", R"([{"csv": "d.csv", "rows": [0, 18446744073709551615]}, 2])",
       "a.json: argument 1: \"rows\": expected [first, last] from 0 to 1", 1},
      {"FnDeSeasonalize a.json", R"([{"row": [1], "row": [2]}, 2])", "a.json: \"row\" stands twice in one object", 1},
      {"FnDeSeasonalize a.json --only FnDeseasonalize", "[[[1]], 2]",
       "--only: no call has a result or an output 'FnDeseasonalize'", 2},
  };
  const Folder folder;
  folder.Write("d.csv", "a\n1\n2\n");
  folder.Write("sound.json", "[[[1]], 2]");
  folder.Write("b.json", R"([{"use": "FnDeSeasonalize"}, 2])");
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
