#pragma once

#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

namespace spf::test {

namespace filesystem = std::filesystem;

/// Returns the includes of a source, as written between quotes or angle brackets, in the file's order.
inline std::vector<std::string> includesOf(const filesystem::path& file) {
  static const std::regex directive("^\\s*#\\s*include\\s*[<\"]([^>\"]+)[>\"].*");
  std::vector<std::string> includes;
  std::ifstream stream(file);
  std::smatch match;
  for (std::string line; std::getline(stream, line);) {
    if (std::regex_match(line, match, directive)) {
      includes.push_back(match[1]);
    }
  }
  return includes;
}

/// Returns whether a file is a C++ source or header.
inline bool isSource(const filesystem::path& file) {
  const auto extension = file.extension();
  return extension == ".hpp" || extension == ".cpp" || extension == ".h";
}

}  // namespace spf::test
