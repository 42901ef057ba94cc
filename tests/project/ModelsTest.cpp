#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include "Includes.hpp"

// A comment in a model names the function that a transition stands for: the path of its source, a colon and its name.
namespace spf::test {

namespace {

using Names = std::vector<std::string>;

std::string contentOf(const filesystem::path& file) {
  std::ifstream stream(file);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

struct Reference {
  std::string file;
  std::string function;
};

std::vector<Reference> referencesIn(const std::string& model) {
  static const std::regex reference("\\b((?:src|framework)/[\\w/]+\\.[ch]pp): (~?\\w+)");
  std::vector<Reference> references;
  for (auto match = std::sregex_iterator(model.begin(), model.end(), reference); match != std::sregex_iterator();
       ++match) {
    references.push_back({(*match)[1], (*match)[2]});
  }
  return references;
}

// Returns whether a source defines a function: a line at the left margin, or among the members of a class, that is no
// statement and does not end like a declaration.
bool defines(const std::string& source, const std::string& function) {
  const std::regex definition("(^|\n)(  )?(?!if|for|while|switch|return|//| )[^\n;]*[^\\w~\n]?" + function +
                              "\\([^;\n]*(?=\n)");
  for (auto match = std::sregex_iterator(source.begin(), source.end(), definition); match != std::sregex_iterator();
       ++match) {
    const auto line = match->str();
    const auto name = line.rfind(function + "(");
    const auto before = name == 0 ? ' ' : line[name - 1];
    if (std::string(" :*&~\n").find(before) != std::string::npos) {
      return true;
    }
  }
  return false;
}

// Returns the names of the inlines that no comment with a reference stands directly above.
Names inlinesWithoutReference(const std::string& model) {
  static const std::regex block("(/\\*(?:[^*]|\\*(?!/))*\\*/\n)?inline (\\w+)\\(");
  Names names;
  for (auto match = std::sregex_iterator(model.begin(), model.end(), block); match != std::sregex_iterator(); ++match) {
    if (referencesIn((*match)[1]).empty()) {
      names.push_back((*match)[2]);
    }
  }
  return names;
}

TEST(TheModels, NameFunctionsThatTheSourcesDefine) {
  const filesystem::path root = SPF_SOURCE_DIR;
  std::size_t checked = 0;
  for (const auto& entry : filesystem::directory_iterator(root / "model")) {
    for (const auto& [file, function] : referencesIn(contentOf(entry.path()))) {
      EXPECT_TRUE(defines(contentOf(root / file), function))
          << entry.path().filename() << " names '" << function << "' of " << file << ", which does not define it";
      ++checked;
    }
  }
  EXPECT_GT(checked, 50U);
}

TEST(TheModels, NameAFunctionForEveryTransitionOfTheLibraryAndTheWatch) {
  for (const auto* model : {"library.pml", "watch.pml"}) {
    const auto text = contentOf(filesystem::path(SPF_SOURCE_DIR) / "model" / model);
    ASSERT_NE(text.find("inline "), std::string::npos);
    EXPECT_EQ(inlinesWithoutReference(text), Names()) << model;
  }
}

TEST(TheModels, AreNotBelievedToNameWhatIsOnlyCalledOrDeclared) {
  const std::string source =
      "void declared(int value);\n"
      "void Class::defined(int value,\n"
      "                    int other) {\n"
      "  called(value);\n"
      "  if (tested(value)) {\n"
      "  }\n"
      "}\n"
      "Class::~Class() {\n"
      "}\n"
      "class Other {\n"
      "  bool member() {\n"
      "    return 1;\n"
      "  }\n"
      "};\n";
  for (const auto* function : {"defined", "~Class", "member"}) {
    EXPECT_TRUE(defines(source, function)) << function;
  }
  for (const auto* function : {"declared", "called", "tested", "fined", "absent"}) {
    EXPECT_FALSE(defines(source, function)) << function;
  }
}

TEST(TheModels, AreNotBelievedToNameAFunctionInAnotherComment) {
  EXPECT_EQ(inlinesWithoutReference("/* src/a.cpp: one */\ninline a(x) {\n}\n\n/* no function */\ninline b(x) {\n}\n"
                                    "inline c() {\n}\n"),
            (Names{"b", "c"}));
}

}  // namespace

}  // namespace spf::test
