// What the documentation and the examples show is what the command does.
#include <algorithm>
#include <vector>

#include "command.h"

namespace {

// Runs "tessel ..." in a folder; what it says on both streams.
std::string Says(const Folder &folder, const std::string &command) {
  EXPECT_TRUE(command.starts_with("tessel ")) << command;
  const CommandResult result = folder.Tessel(command.substr(7));
  return result.out + result.err;
}

// A fenced block: the words behind the fence, and the text.
struct Block {
  std::string language, file, text;
};

std::vector<Block> Blocks(const std::string &markdown) {
  std::vector<Block> blocks;
  std::istringstream lines(markdown);
  bool inside = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("```")) {
      inside = !inside;
      if (!inside) continue;
      std::istringstream words(line.substr(3));
      blocks.emplace_back();
      words >> blocks.back().language >> blocks.back().file;
    } else if (inside) {
      blocks.back().text += line + '\n';
    }
  }
  return blocks;
}

// Writes the blocks that name a file, and runs the commands of the console blocks: each line "$ tessel ..." is followed
// by what it prints. How many commands there were.
int CheckDocument(const std::string &text, const Folder &folder) {
  int commands = 0;
  for (const Block &block : Blocks(text)) {
    if (!block.file.empty()) folder.Write(block.file, block.text);
    if (block.language != "console") continue;
    std::istringstream lines(block.text);
    std::string command, expected;
    const auto check = [&] {
      if (command.empty()) return;
      EXPECT_EQ(Says(folder, command), expected) << command;
      ++commands;
    };
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with("$ ")) {
        check();
        command = line.substr(2);
        expected.clear();
      } else {
        expected += line + '\n';
      }
    }
    check();
  }
  return commands;
}

TEST(Documents, TheirExamplesPrintWhatTheyShow) {
  std::vector<std::filesystem::path> documents = {TESSEL_SOURCE_DIR "/README.md"};
  for (const auto &entry : std::filesystem::recursive_directory_iterator(TESSEL_SOURCE_DIR "/docs"))
    if (entry.path().extension() == ".md") documents.push_back(entry.path());
  int commands = 0;
  for (const auto &document : documents) {
    SCOPED_TRACE(document.string());
    const Folder folder;
    std::filesystem::create_directory_symlink(TESSEL_SOURCE_DIR "/examples", folder.Path() / "examples");
    commands += CheckDocument(ReadText(document), folder);
  }
  EXPECT_GE(commands, 18);
}

TEST(Documents, TheManualOfTheLanguageTellsOfEveryFunction) {
  const Folder folder;
  const std::string text = ReadText(TESSEL_SOURCE_DIR "/docs/algebra.md");
  std::istringstream lines(folder.Tessel("functions").out);
  for (std::string line; std::getline(lines, line);) {
    const bool isFunction = line.starts_with("  ");
    EXPECT_TRUE(!isFunction || text.find("`" + line.substr(2, line.find('(') - 1)) != std::string::npos) << line;
  }
}

// Every declared function has a page whose example calls it, and whose table has a row for each of its arguments.
TEST(Documents, EveryFunctionHasAReferencePage) {
  const Folder folder;
  folder.Write("args.json", "[[[0]],0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0]");
  std::istringstream header(ReadText(TESSEL_SOURCE_DIR "/include/tessel/tessel.h"));
  const std::string declaration = "MORV_API void ";
  int functions = 0;
  for (std::string line; std::getline(header, line);) {
    if (!line.starts_with(declaration)) continue;
    ++functions;
    const std::string name = line.substr(declaration.size(), line.find('(') - declaration.size());
    const std::string page = ReadText(TESSEL_SOURCE_DIR "/docs/reference/" + name + ".md");
    const auto calls = [&](const Block &block) {
      return block.language == "console" && block.text.find(name + ' ') != std::string::npos;
    };
    EXPECT_TRUE(std::ranges::any_of(Blocks(page), calls)) << name;
    int rows = 0;
    std::istringstream table(page.substr(std::min(page.size(), page.find("## Arguments"))));
    for (std::string row; std::getline(table, row) && !row.starts_with("## Result");)
      rows += row.starts_with("| " + std::to_string(rows) + " |");
    // The file has more arguments than any function takes, and the message tells how many those are.
    EXPECT_NE(Says(folder, "tessel call " + name + " args.json").find(" takes " + std::to_string(rows) + " arguments,"),
              std::string::npos)
        << name << ": " << rows << " rows";
  }
  EXPECT_EQ(functions, 30);
}

// Each example names its command in a line "// $ tessel ...", and its output stands beside it.
TEST(Examples, PrintTheirCheckedOutput) {
  const Folder folder;
  std::filesystem::create_directory_symlink(TESSEL_SOURCE_DIR "/examples", folder.Path() / "examples");
  int count = 0;
  for (const auto &entry : std::filesystem::directory_iterator(TESSEL_SOURCE_DIR "/examples")) {
    if (entry.path().extension() != ".alg") continue;
    const std::string program = ReadText(entry.path());
    const std::size_t begin = program.find("// $ ");
    ASSERT_NE(begin, std::string::npos) << entry.path();
    EXPECT_EQ(Says(folder, program.substr(begin + 5, program.find('\n', begin) - begin - 5)),
              ReadText(std::filesystem::path(entry.path()).replace_extension(".out")))
        << entry.path();
    ++count;
  }
  EXPECT_GE(count, 4);
  EXPECT_EQ(std::system(TESSEL_SOURCE_DIR "/examples/demo '" TESSEL_COMMAND "' >/dev/null"), 0);
  for (const auto &page : std::filesystem::directory_iterator(TESSEL_SOURCE_DIR "/docs/examples")) {
    const std::string run = TESSEL_SOURCE_DIR "/examples/page '" + page.path().string() + "' '" TESSEL_COMMAND "'";
    EXPECT_EQ(std::system((run + " >/dev/null").c_str()), 0) << page.path();
  }
}

}  // namespace
