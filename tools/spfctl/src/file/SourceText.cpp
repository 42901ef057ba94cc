#include "file/SourceText.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <utility>

namespace spfctl {

namespace {

bool beginsCharacter(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
}

std::string contentOf(std::istream& stream) {
  return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace

SourceText::SourceText(std::string name, std::string text) : name_(std::move(name)), text_(std::move(text)) {}

SourceText::Place SourceText::placeOf(std::size_t offset) const {
  const auto begin = text_.begin();
  const auto place = begin + static_cast<std::ptrdiff_t>(std::min(offset, text_.size()));
  const auto line = static_cast<std::size_t>(std::count(begin, place, '\n') + 1);
  const auto lineBegin = std::find(std::make_reverse_iterator(place), text_.rend(), '\n').base();
  const auto column = static_cast<std::size_t>(std::count_if(lineBegin, place, beginsCharacter) + 1);
  const auto lineEnd = std::find(place, text_.end(), '\n');
  return {line, column, static_cast<std::size_t>(lineBegin - begin), static_cast<std::size_t>(lineEnd - begin)};
}

SourceText readSource(const std::string& file) {
  if (file == "-") {
    return {"standard input", contentOf(std::cin)};
  }
  std::error_code ignored;
  if (std::filesystem::is_directory(file, ignored)) {
    throw FileError(file + ": is a directory; expected a configuration file");
  }
  errno = 0;
  std::ifstream stream(file, std::ios::binary);
  auto text = contentOf(stream);
  if (!stream.is_open() || stream.bad()) {
    throw FileError(file + ": cannot be read: " + std::strerror(errno));
  }
  return {file, std::move(text)};
}

}  // namespace spfctl
