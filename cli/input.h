// Files that are read from their beginning to their end.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// All of a file. Throws Failure as InputFile does.
std::string ReadText(const std::string &path);

class InputFile {
 public:
  // "-" is standard input. Throws Failure with the reason when the file cannot be opened.
  explicit InputFile(const std::string &path);

  // The next part of the file without a UTF-8 byte order mark at its beginning; empty at its end. Valid until the next
  // call. Throws Failure when it cannot be read.
  std::string_view Part();

 private:
  std::string place_;
  std::unique_ptr<std::FILE, int (*)(std::FILE *)> file_;
  std::vector<char> buffer_;
  bool atStart_ = true;
};
