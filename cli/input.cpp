// Reading files.
#include "input.h"

#include <cerrno>
#include <cstring>

#include "failure.h"

namespace {

int CloseUnlessStandard(std::FILE *file) { return file == nullptr || file == stdin ? 0 : std::fclose(file); }

}  // namespace

InputFile::InputFile(const std::string &path)
    : place_(path.empty() ? "''" : path),
      file_(path == "-" ? stdin : std::fopen(path.c_str(), "rb"), CloseUnlessStandard),
      buffer_(1 << 16) {
  if (file_ == nullptr) Fail(place_, std::string("the file cannot be opened: ") + std::strerror(errno));
}

std::string_view InputFile::Part() {
  const std::size_t size = std::fread(buffer_.data(), 1, buffer_.size(), file_.get());
  if (std::ferror(file_.get()) != 0) Fail(place_, std::string("the file cannot be read: ") + std::strerror(errno));
  std::string_view part(buffer_.data(), size);
  if (atStart_ && part.starts_with("\xEF\xBB\xBF")) part.remove_prefix(3);
  atStart_ = false;
  return part;
}

std::string ReadText(const std::string &path) {
  InputFile file(path);
  std::string text;
  for (std::string_view part = file.Part(); !part.empty(); part = file.Part()) text += part;
  return text;
}
