#include <algorithm>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include "Includes.hpp"

// A component of the library is a header with its sources. The table in docs/overview.md lists all of them in an order
// in which each includes only those above it; two components in one row may include each other.
namespace spf::test {

namespace {

using Names = std::vector<std::string>;

bool isHeader(const std::string& name) {
  return name.size() > 4 && name.compare(name.size() - 4, 4, ".hpp") == 0;
}

// Returns the rows of the table, each with the headers that it names, spelled as in includes.
std::vector<Names> rowsOf(const filesystem::path& page) {
  static const std::regex header("`([A-Za-z/]+\\.hpp)`");
  std::vector<Names> rows;
  std::ifstream stream(page);
  for (std::string line; std::getline(stream, line);) {
    const auto cell = line.substr(0, line.find('|', 1));
    const Names names(std::sregex_token_iterator(cell.begin(), cell.end(), header, 1), std::sregex_token_iterator());
    if (!names.empty() && line.front() == '|') {
      rows.push_back(names);
    }
  }
  return rows;
}

// Maps each header, spelled as in includes, to the headers of the library that its component includes.
using Components = std::map<std::string, std::set<std::string>>;

Components componentsBelow(const filesystem::path& root) {
  Components components;
  const auto forEveryFile = [&](auto action) {
    for (const auto* folder : {"include", "src"}) {
      for (const auto& entry : filesystem::recursive_directory_iterator(root / folder)) {
        if (isSource(entry.path())) {
          action(entry.path(), filesystem::relative(entry.path(), root / folder).string());
        }
      }
    }
  };
  forEveryFile([&](const filesystem::path&, const std::string& name) {
    if (isHeader(name)) {
      components[name];
    }
  });
  forEveryFile([&](const filesystem::path& file, const std::string& name) {
    const auto includes = includesOf(file);
    const auto component = components.find(isHeader(name) ? name : includes.front());
    ASSERT_NE(component, components.end()) << name << " does not begin with the header that it belongs to";
    for (const auto& include : includes) {
      if (components.count(include) != 0 && include != component->first) {
        component->second.insert(include);
      }
    }
  });
  return components;
}

// Returns the violations of the order.
Names faultsOf(const std::vector<Names>& rows, const Components& components) {
  Names faults;
  std::set<std::string> known;
  for (const auto& row : rows) {
    known.insert(row.begin(), row.end());
    for (const auto& name : row) {
      const auto component = components.find(name);
      if (component == components.end()) {
        faults.push_back(name + " does not exist");
        continue;
      }
      for (const auto& included : component->second) {
        if (known.count(included) == 0) {
          faults.push_back(name + " includes " + included + ", which is not above it");
        }
      }
    }
  }
  for (const auto& [name, includes] : components) {
    if (known.count(name) == 0) {
      faults.push_back(name + " is not in the table");
    }
  }
  return faults;
}

TEST(TheComponentsOfTheLibrary, IncludeOnlyThoseAboveThemInTheOverview) {
  const filesystem::path root = SPF_SOURCE_DIR;
  EXPECT_EQ(faultsOf(rowsOf(root / "docs/overview.md"), componentsBelow(root)), Names());
}

TEST(TheComponentsOfTheLibrary, IncludeEachOtherOnlyWhereTheyShareARow) {
  const Components circle = {{"a.hpp", {"b.hpp"}}, {"b.hpp", {"a.hpp"}}, {"c.hpp", {}}};
  EXPECT_EQ(faultsOf({{"a.hpp", "b.hpp"}, {"c.hpp"}}, circle), Names());
  EXPECT_EQ(
      faultsOf({{"a.hpp"}, {"b.hpp"}, {"d.hpp"}}, circle),
      (Names{"a.hpp includes b.hpp, which is not above it", "d.hpp does not exist", "c.hpp is not in the table"}));
}

}  // namespace

}  // namespace spf::test
