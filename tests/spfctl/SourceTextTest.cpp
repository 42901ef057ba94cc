#include "file/SourceText.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "file/Findings.hpp"

namespace spf::test {

using namespace spfctl;

std::string placeIn(const std::string& text, std::size_t offset) {
  const auto place = SourceText("f", text).placeOf(offset);
  return std::to_string(place.line) + ":" + std::to_string(place.column) + " " +
         text.substr(place.lineBegin, place.lineEnd - place.lineBegin);
}

TEST(ASourceText, CountsLinesAndCharactersFromOne) {
  const std::string text = "[\n\"\xC3\xA4\xE2\x82\xAC\", 1]";
  EXPECT_EQ(placeIn(text, 0), "1:1 [");
  EXPECT_EQ(placeIn(text, 2), "2:1 \"\xC3\xA4\xE2\x82\xAC\", 1]");
  EXPECT_EQ(placeIn(text, text.size() - 2), "2:7 \"\xC3\xA4\xE2\x82\xAC\", 1]");
  EXPECT_EQ(placeIn(text, 1000), "2:9 \"\xC3\xA4\xE2\x82\xAC\", 1]");
  EXPECT_EQ(placeIn("", 0), "1:1 ");
}

TEST(ASourceText, SaysWhyAFileCannotBeRead) {
  const auto complaintAbout = [](const std::string& file) {
    try {
      readSource(file);
    } catch (const FileError& error) {
      return std::string(error.what());
    }
    return std::string("no complaint");
  };
  EXPECT_EQ(complaintAbout("/does/not/exist.json"), "/does/not/exist.json: cannot be read: No such file or directory");
  EXPECT_EQ(complaintAbout("/tmp"), "/tmp: is a directory; expected a configuration file");
}

TEST(ASourceText, SaysWhyReadingFailsInTheMiddle) {
  try {
    readSource("/proc/self/mem");
    FAIL();
  } catch (const FileError& error) {
    EXPECT_STREQ(error.what(), "/proc/self/mem: cannot be read: Input/output error");
  }
}

TEST(ASourceText, EndsItsLinesBeforeACarriageReturn) {
  EXPECT_EQ(placeIn("{\r\n}\r\n", 0), "1:1 {");
  EXPECT_EQ(placeIn("{\r\n}\r\n", 3), "2:1 }");
}

TEST(ASourceText, IsReadFromAFile) {
  const auto file = std::filesystem::path(testing::TempDir()) / "spfctl-source.json";
  std::ofstream(file) << "text";
  EXPECT_EQ(readSource(file.string()).text(), "text");
  EXPECT_EQ(readSource(file.string()).name(), file.string());
  std::filesystem::remove(file);
}

TEST(Findings, ShowTwentyErrorsAndTwentyWarningsAndCountTheRest) {
  Findings sut;
  for (std::size_t index = 0; index < 25; ++index) {
    sut.error(24 - index, "error");
    sut.warning(index, "warning");
  }
  EXPECT_EQ(sut.errors(), 25u);
  EXPECT_EQ(sut.warnings(), 25u);
  const auto shown = sut.shown();
  ASSERT_EQ(shown.size(), 40u);
  EXPECT_EQ(shown.front().offset, 0u);
  EXPECT_EQ(shown.back().offset, 19u);
  std::ostringstream stream;
  print(stream, SourceText("f", std::string(30, 'x')), sut);
  EXPECT_NE(stream.str().find("f: 5 more errors\nf: 5 more warnings\n"), std::string::npos) << stream.str();
}

TEST(Findings, PointAtWideAndEscapedCharacters) {
  Findings sut;
  const std::string text = "\u6e29\x01 x";
  sut.error(text.find('x'), "here");
  std::ostringstream stream;
  print(stream, SourceText("f", text), sut);
  EXPECT_EQ(stream.str(), "f:1:4: here\n  1 | \u6e29\\x01 x\n    |        ^\n");
}

}  // namespace spf::test
