#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

namespace spf::test {

std::string contentOf(const std::filesystem::path& file) {
  std::ifstream stream(file);
  return {std::istreambuf_iterator<char>(stream), {}};
}

// Returns the first C++ sample of a page; empty if it has none.
std::string sampleIn(const std::filesystem::path& page) {
  const auto text = contentOf(page);
  const std::string fence = "```cpp\n";
  const auto begin = text.find(fence);
  if (begin == std::string::npos) {
    return "";
  }
  const auto code = text.substr(begin + fence.size());
  return code.substr(0, code.find("```"));
}

TEST(TheReadme, ShowsTheExampleThatIsCompiledAndRun) {
  const std::filesystem::path source = SPF_SOURCE_DIR;
  EXPECT_EQ(sampleIn(source / "README.md"), contentOf(source / "examples/weather.cpp"));
}

TEST(TheOverview, ShowsTheMainFunctionOfAnExampleThatIsCompiledAndRun) {
  const std::filesystem::path source = SPF_SOURCE_DIR;
  const auto example = contentOf(source / "examples/publish_again.cpp");
  const auto begin = example.find("int main()");
  ASSERT_NE(begin, std::string::npos);
  EXPECT_EQ(sampleIn(source / "docs/overview.md"), example.substr(begin));
}

}  // namespace spf::test
