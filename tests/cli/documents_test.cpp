// What the documentation and the examples show is what the command does.
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
}

}  // namespace
