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

TEST(TheReadme, ShowsTheExampleThatIsCompiledAndRun) {
  const std::filesystem::path source = SPF_SOURCE_DIR;
  const auto readme = contentOf(source / "README.md");
  const std::string fence = "```cpp\n";
  const auto begin = readme.find(fence);
  ASSERT_NE(begin, std::string::npos);
  const auto code =
      readme.substr(begin + fence.size(), readme.find("```", begin + fence.size()) - begin - fence.size());
  EXPECT_EQ(code, contentOf(source / "examples/weather.cpp"));
}

}  // namespace spf::test
