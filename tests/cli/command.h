// Runs the command in a folder of its own and keeps what it said.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

struct CommandResult {
  int status = -1;
  std::string out, err;
};

inline std::string ReadText(const std::filesystem::path &path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

// A folder that is removed with all its files.
class Folder {
 public:
  Folder() {
    std::string name = (std::filesystem::temp_directory_path() / "tessel.XXXXXX").string();
    path_ = mkdtemp(name.data());
  }
  Folder(const Folder &) = delete;
  Folder &operator=(const Folder &) = delete;
  ~Folder() { std::filesystem::remove_all(path_); }

  void Write(const std::string &name, const std::string &text) const {
    std::ofstream(path_ / name, std::ios::binary) << text;
  }
  std::string Read(const std::string &name) const { return ReadText(path_ / name); }
  std::filesystem::path Path() const { return path_; }

  // `arguments` and the commands before it as a shell reads them.
  CommandResult Tessel(const std::string &arguments, const std::string &before = "") const {
    const std::string line =
        "cd '" + path_.string() + "' && " + before + " '" TESSEL_COMMAND "' " + arguments + " 2>.stderr";
    CommandResult result;
    std::FILE *pipe = popen(line.c_str(), "r");
    if (pipe == nullptr) return result;
    char buffer[4096];
    for (std::size_t size = 0; (size = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;)
      result.out.append(buffer, size);
    const int status = pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.err = Read(".stderr");
    std::filesystem::remove(path_ / ".stderr");
    return result;
  }

 private:
  std::filesystem::path path_;
};
