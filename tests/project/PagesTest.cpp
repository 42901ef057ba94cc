#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// The pages: README.md and every other .md file. Their links lead somewhere, and their samples are parts of what is
// compiled and run.
namespace spf::test {

namespace fs = std::filesystem;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

const fs::path source = SPF_SOURCE_DIR;

std::string contentOf(const fs::path& file) {
  std::ifstream stream(file);
  return {std::istreambuf_iterator<char>(stream), {}};
}

bool isSkipped(const fs::path& folder) {
  const auto name = folder.filename().string();
  return name.front() == '.' || name == "build" || fs::exists(folder / "CMakeCache.txt");
}

// The files below a folder that fulfil a condition, without hidden folders and build folders.
std::vector<fs::path> filesBelow(const fs::path& folder, const std::function<bool(const fs::path&)>& isWanted) {
  std::vector<fs::path> files;
  for (auto entry = fs::recursive_directory_iterator(folder); entry != fs::recursive_directory_iterator(); ++entry) {
    if (entry->is_directory() && isSkipped(entry->path())) {
      entry.disable_recursion_pending();
    } else if (entry->is_regular_file() && isWanted(entry->path())) {
      files.push_back(entry->path());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::vector<fs::path> pages() {
  return filesBelow(source, [](const fs::path& file) { return file.extension() == ".md"; });
}

std::string nameOf(const fs::path& file) {
  return file.lexically_relative(source).string();
}

struct Block {
  std::string language;
  std::string text;
};

struct Page {
  std::vector<Block> blocks;
  std::string prose;  // without the blocks
};

Page read(const fs::path& file) {
  Page page;
  std::istringstream lines(contentOf(file));
  bool inBlock = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind("```", 0) == 0) {
      inBlock = !inBlock;
      if (inBlock) {
        page.blocks.push_back({line.substr(3), ""});
      }
    } else if (inBlock) {
      page.blocks.back().text += line + "\n";
    } else {
      page.prose += line + "\n";
    }
  }
  return page;
}

std::vector<std::string> matches(const std::string& text, const std::regex& pattern) {
  std::vector<std::string> found;
  for (auto match = std::sregex_iterator(text.begin(), text.end(), pattern); match != std::sregex_iterator(); ++match) {
    found.push_back((*match)[1]);
  }
  return found;
}

// The anchors of a page's headings, as GitHub makes them.
std::set<std::string> anchorsOf(const fs::path& page) {
  std::set<std::string> anchors;
  for (const auto& heading : matches(read(page).prose, std::regex("(?:^|\n)#+ ([^\n]*)"))) {
    std::string anchor;
    for (const char letter : heading) {
      if (letter == ' ') {
        anchor += '-';
      } else if (std::isalnum(static_cast<unsigned char>(letter)) != 0 || letter == '-' || letter == '_') {
        anchor += static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
      }
    }
    anchors.insert(anchor);
  }
  return anchors;
}

std::vector<std::string> linksOf(const fs::path& page) {
  const auto prose = std::regex_replace(read(page).prose, std::regex("`[^`\n]*`"), "");
  auto links = matches(prose, std::regex(R"(\]\(([^)\s]+)\))"));
  const auto definitions = matches(prose, std::regex(R"((?:^|\n)\[[^\]]+\]: (\S+))"));
  links.insert(links.end(), definitions.begin(), definitions.end());
  return links;
}

bool leadsSomewhere(const fs::path& page, const std::string& link) {
  if (link.rfind("http://", 0) == 0 || link.rfind("https://", 0) == 0) {
    return true;
  }
  const auto hash = link.find('#');
  const auto file = hash == 0 ? page : page.parent_path() / link.substr(0, hash);
  return fs::exists(file) && (hash == std::string::npos || anchorsOf(file).count(link.substr(hash + 1)) != 0);
}

// What is compiled, or read by CMake, and run by the tests.
std::string examples() {
  const auto isUsed = [](const fs::path& path) {
    return path.extension() == ".cpp" || path.extension() == ".hpp" || path.extension() == ".json" ||
           path.filename() == "CMakeLists.txt";
  };
  std::string text;
  for (const auto& folder : {source / "examples", source / "tests/project"}) {
    for (const auto& file : filesBelow(folder, isUsed)) {
      text += contentOf(file) + "\n";
    }
  }
  return text;
}

// The samples of a language that are in no example.
std::vector<std::string> unknownSamples(const std::string& language, const std::vector<fs::path>& searched) {
  const auto known = examples();
  std::vector<std::string> unknown;
  for (const auto& page : searched) {
    for (const auto& block : read(page).blocks) {
      if (block.language == language && known.find(block.text) == std::string::npos) {
        unknown.push_back(nameOf(page) + ":\n" + block.text);
      }
    }
  }
  return unknown;
}

// Source text whose literals that stand side by side are joined.
std::string messagesIn(const std::vector<fs::path>& folders) {
  std::string text;
  for (const auto& folder : folders) {
    for (const auto& file : filesBelow(
             folder, [](const fs::path& path) { return path.extension() == ".cpp" || path.extension() == ".hpp"; })) {
      text += contentOf(file);
    }
  }
  return std::regex_replace(text, std::regex("\"\\s*\\n\\s*\""), "");
}

}  // namespace

TEST(ThePages, HaveNoDeadLinks) {
  std::vector<std::string> dead;
  for (const auto& page : pages()) {
    for (const auto& link : linksOf(page)) {
      if (!leadsSomewhere(page, link)) {
        dead.push_back(nameOf(page) + ": " + link);
      }
    }
  }
  EXPECT_THAT(dead, IsEmpty());
}

TEST(ThePages, CanAllBeReachedFromTheReadme) {
  std::set<std::string> reached;
  std::vector<fs::path> open{source / "README.md"};
  while (!open.empty()) {
    const auto page = open.back();
    open.pop_back();
    if (!reached.insert(nameOf(page)).second) {
      continue;
    }
    for (const auto& link : linksOf(page)) {
      const auto target = (page.parent_path() / link.substr(0, link.find('#'))).lexically_normal();
      if (target.extension() == ".md" && fs::exists(target)) {
        open.push_back(target);
      }
    }
  }
  std::vector<std::string> lonely;
  for (const auto& page : filesBelow(source / "docs", [](const fs::path& file) { return file.extension() == ".md"; })) {
    if (reached.count(nameOf(page)) == 0) {
      lonely.push_back(nameOf(page));
    }
  }
  EXPECT_THAT(lonely, IsEmpty());
}

TEST(ThePages, HaveSamplesInCppThatAreCompiledAndRunAsExamples) {
  EXPECT_THAT(unknownSamples("cpp", pages()), IsEmpty());
}

TEST(ThePages, HaveSamplesForCMakeThatTheExamplesUse) {
  EXPECT_THAT(unknownSamples("cmake", pages()), IsEmpty());
}

TEST(TheGuideForAuthorsOfBundles, HasTheManifestsOfTheExample) {
  EXPECT_THAT(unknownSamples("json", {source / "docs/guide-bundles.md"}), IsEmpty());
}

TEST(TheReadme, ShowsAWholeExample) {
  const auto blocks = read(source / "README.md").blocks;
  const auto sample =
      std::find_if(blocks.begin(), blocks.end(), [](const Block& block) { return block.language == "cpp"; });
  ASSERT_NE(sample, blocks.end());
  EXPECT_EQ(sample->text, contentOf(source / "examples/weather.cpp"));
}

TEST(TheExamples, AreAllInTheirList) {
  const auto links = linksOf(source / "examples/README.md");
  std::vector<std::string> missing;
  for (const auto& entry : fs::directory_iterator(source / "examples")) {
    const auto name = entry.path().filename().string() + (entry.is_directory() ? "/" : "");
    const bool isExample = entry.is_directory() || entry.path().extension() == ".cpp";
    if (isExample && std::find(links.begin(), links.end(), name) == links.end()) {
      missing.push_back(name);
    }
  }
  EXPECT_THAT(missing, IsEmpty());
}

// Words in capitals stand for what differs; everything between them is written in the code as it is on the page.
TEST(ThePageAboutFailures, HasTheTextsThatTheCodeThrows) {
  const auto messages = messagesIn({source / "src", source / "host", source / "framework"});
  const auto texts = matches(read(source / "docs/failures.md").prose, std::regex("(?:\n\\| |, )`([^`]* [^`]*)`"));
  EXPECT_THAT(texts, SizeIs(testing::Ge(20u)));
  const std::regex placeholder(" ?'?\\b[A-Z]{2,}\\b'?");
  std::vector<std::string> unknown;
  for (const auto& text : texts) {
    for (auto part = std::sregex_token_iterator(text.begin(), text.end(), placeholder, -1);
         part != std::sregex_token_iterator(); ++part) {
      if (messages.find(*part) == std::string::npos) {
        unknown.push_back(text + ": '" + part->str() + "'");
      }
    }
  }
  EXPECT_THAT(unknown, IsEmpty());
}

TEST(ThePageAboutLogging, HasTheTextsAndChannelsOfTheCode) {
  const auto messages = messagesIn({source / "src", source / "framework/bundles"});
  const std::regex placeholder(" [A-Z]{2,}$");
  std::vector<std::string> unknown;
  for (const auto& text :
       matches(read(source / "docs/logging.md").prose, std::regex("\\|[^|\n]*\\| (?:4|512) \\| `([^`]*)`"))) {
    const auto fixed = std::regex_replace(text, placeholder, " ");
    if (messages.find("\"" + fixed + "\"") == std::string::npos) {
      unknown.push_back(text);
    }
  }
  for (const auto& channel : matches(read(source / "docs/logging.md").prose, std::regex("\n\\| `([a-z:]+)` \\|"))) {
    if (messages.find("\"" + channel + "\"") == std::string::npos) {
      unknown.push_back(channel);
    }
  }
  EXPECT_THAT(unknown, IsEmpty());
}

}  // namespace spf::test
