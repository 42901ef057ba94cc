#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>

#include <gtest/gtest.h>

// Compares the page about the embedded runtime with its headers.
namespace spf::test {

namespace {

namespace filesystem = std::filesystem;

const filesystem::path root = SPF_SOURCE_DIR;

/// Returns the text between two headings of the page.
std::string section(const std::string& begin, const std::string& end) {
  std::ifstream stream(root / "docs/runtime.md");
  const std::string page(std::istreambuf_iterator<char>(stream), {});
  const auto from = page.find("\n## " + begin + "\n");
  const auto to = page.find("\n## " + end + "\n");
  EXPECT_TRUE(from < to && to != std::string::npos) << begin << ", " << end;
  return page.substr(from, to - from);
}

/// Returns the names in the first column of a table.
std::multiset<std::string> firstColumnOf(const std::string& text) {
  static const std::regex firstColumn("\n\\| (`[^|]*`) \\|");
  static const std::regex name("`([^`]*)`");
  std::multiset<std::string> names;
  for (std::sregex_iterator row(text.begin(), text.end(), firstColumn), end; row != end; ++row) {
    const auto cell = (*row)[1].str();
    for (std::sregex_iterator found(cell.begin(), cell.end(), name); found != end; ++found) {
      names.insert((*found)[1]);
    }
  }
  return names;
}

/// Returns the headers that hosts and bundles may include.
std::multiset<std::string> headersOfTheRuntime() {
  std::multiset<std::string> headers;
  for (const auto* const part : {"framework", "configurationadmin"}) {
    const auto folder = root / "runtime" / part / "include/cppmicroservices";
    for (const auto& file : filesystem::recursive_directory_iterator(folder)) {
      const auto header = filesystem::relative(file.path(), folder).generic_string();
      if (file.is_regular_file() && header.rfind("detail/", 0) != 0) {
        headers.insert(header);
      }
    }
  }
  return headers;
}

TEST(TheRuntimePage, ListsEveryHeaderOnce) {
  const auto headers = headersOfTheRuntime();
  EXPECT_FALSE(headers.empty());
  EXPECT_EQ(firstColumnOf(section("What is there", "What is not there")), headers);
}

TEST(TheRuntimePage, CallsNothingAbsentThatCanBeIncluded) {
  const auto absent = firstColumnOf(section("What is not there", "Where it answers better"));
  EXPECT_FALSE(absent.empty());
  for (const auto& name : absent) {
    for (const auto* const part : {"framework", "configurationadmin"}) {
      EXPECT_FALSE(filesystem::exists(root / "runtime" / part / "include/cppmicroservices" / name)) << name;
    }
  }
}

}  // namespace

}  // namespace spf::test
