#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "Includes.hpp"

// The embedded runtime's sources have levels of their own, which the map in docs/runtime.md lists: a file includes
// only files of its own level and of lower ones, and a public header includes no source folder at all.
namespace spf::test {

namespace {

using Faults = std::vector<std::string>;

/// A source folder's level, by its name.
using Levels = std::map<std::string, int>;

/// Reads the lines of the map that begin with a level and a folder: "2  services/  ...".
Levels levelsOn(const filesystem::path& page) {
  static const std::regex row(" *([0-9]) +([a-z]+)/ .*");
  Levels levels;
  std::ifstream stream(page);
  std::smatch match;
  for (std::string line; std::getline(stream, line);) {
    if (std::regex_match(line, match, row)) {
      levels[match[2]] = std::stoi(match[1]);
    }
  }
  return levels;
}

std::string firstFolderOf(const std::string& path) {
  return path.substr(0, std::min(path.find('/'), path.size()));
}

/// Returns what is wrong with one file's includes.
/// \param highest  the highest level that the file may include
Faults faultsOf(const filesystem::path& file, const std::string& name, int highest, const Levels& levels) {
  Faults faults;
  for (const auto& include : includesOf(file)) {
    const auto level = levels.find(firstFolderOf(include));
    if (level != levels.end() && level->second > highest) {
      faults.push_back(name + " includes " + include);
    }
  }
  return faults;
}

/// \param root  the folder with `src` and `include`
Faults violations(const filesystem::path& root, const Levels& levels) {
  Faults faults;
  for (const auto* folder : {"include", "src"}) {
    for (const auto& entry : filesystem::recursive_directory_iterator(root / folder)) {
      if (!isSource(entry.path())) {
        continue;
      }
      const auto name = filesystem::relative(entry.path(), root / folder).string();
      const bool isPublic = folder == std::string("include");
      const auto level = levels.find(firstFolderOf(name));
      if (!isPublic && level == levels.end()) {
        faults.push_back(name + " is on no level");
        continue;
      }
      const auto found = faultsOf(entry.path(), name, isPublic ? -1 : level->second, levels);
      faults.insert(faults.end(), found.begin(), found.end());
    }
  }
  std::sort(faults.begin(), faults.end());
  return faults;
}

void write(const filesystem::path& file, const std::string& text) {
  filesystem::create_directories(file.parent_path());
  std::ofstream(file) << text;
}

TEST(TheLevelsOfTheRuntime, AreThoseOfItsSourceFolders) {
  const filesystem::path root = SPF_SOURCE_DIR;
  Levels folders;
  for (const auto& entry : filesystem::directory_iterator(root / "runtime/framework/src")) {
    folders[entry.path().filename().string()];
  }
  Levels named;
  for (const auto& level : levelsOn(root / "docs/runtime.md")) {
    named[level.first];
  }
  EXPECT_EQ(named, folders);
}

TEST(TheLevelsOfTheRuntime, IncludeOnlyThemselvesAndLowerOnes) {
  const filesystem::path root = SPF_SOURCE_DIR;
  EXPECT_EQ(violations(root / "runtime/framework", levelsOn(root / "docs/runtime.md")), Faults());
}

TEST(TheLevelsOfTheRuntime, HaveViolationsThatThisTestWouldFind) {
  const auto root = filesystem::path(testing::TempDir()) / "levels";
  write(root / "src/core/Upwards.cpp", "#include \"services/Service.h\"\n#include \"values/Same.h\"\n");
  write(root / "src/services/Service.h", "#include \"core/Lower.h\"\n#include \"cppmicroservices/Any.h\"\n");
  write(root / "src/stray/Stray.h", "");
  write(root / "include/cppmicroservices/Any.h", "#include \"values/Same.h\"\n");
  EXPECT_EQ(violations(root, {{"core", 0}, {"values", 0}, {"services", 2}}),
            (Faults{"core/Upwards.cpp includes services/Service.h", "cppmicroservices/Any.h includes values/Same.h",
                    "stray/Stray.h is on no level"}));
  filesystem::remove_all(root);
}

}  // namespace

}  // namespace spf::test
