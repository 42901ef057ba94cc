#include "file/SourceText.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <memory>
#include <utility>

namespace spfctl {

namespace {

bool beginsCharacter(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
}

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

// Returns false with errno set if reading fails.
bool readAll(std::FILE* file, std::string& text) {
  char buffer[65536];
  for (std::size_t count = 0; (count = std::fread(buffer, 1, sizeof(buffer), file)) != 0;) {
    text.append(buffer, count);
  }
  return std::ferror(file) == 0;
}

}  // namespace

SourceText::SourceText(std::string name, std::string text) : name_(std::move(name)), text_(std::move(text)) {}

SourceText::Place SourceText::placeOf(std::size_t offset) const {
  const auto begin = text_.begin();
  const auto place = begin + static_cast<std::ptrdiff_t>(std::min(offset, text_.size()));
  const auto line = static_cast<std::size_t>(std::count(begin, place, '\n') + 1);
  const auto lineBegin = std::find(std::make_reverse_iterator(place), text_.rend(), '\n').base();
  const auto column = static_cast<std::size_t>(std::count_if(lineBegin, place, beginsCharacter) + 1);
  auto lineEnd = std::find(place, text_.end(), '\n');
  if (lineEnd != place && *(lineEnd - 1) == '\r') {
    --lineEnd;
  }
  return {line, column, static_cast<std::size_t>(lineBegin - begin), static_cast<std::size_t>(lineEnd - begin)};
}

SourceText readSource(const std::string& file, const char* what) {
  const bool isStandardInput = file == "-";
  const std::string name = isStandardInput ? "standard input" : file;
  std::error_code ignored;
  if (!isStandardInput && std::filesystem::is_directory(file, ignored)) {
    throw FileError(name + ": is a directory; expected " + what);
  }
  const std::unique_ptr<std::FILE, CloseFile> opened(isStandardInput ? nullptr : std::fopen(file.c_str(), "rbe"));
  std::FILE* const stream = isStandardInput ? stdin : opened.get();
  std::string text;
  if (stream == nullptr || !readAll(stream, text)) {
    throw FileError(name + ": cannot be read: " + std::strerror(errno));
  }
  return {name, std::move(text)};
}

}  // namespace spfctl
