#include "display/terminalText.hpp"

#include <gtest/gtest.h>

namespace spf::test {

using namespace spfctl;

TEST(ATextForATerminal, KeepsWhatCanBeShown) {
  EXPECT_EQ(escaped("plain, w\u00e4rme, \u6e29\u5ea6, e\u0301"), "plain, w\u00e4rme, \u6e29\u5ea6, e\u0301");
  EXPECT_EQ(escaped("a\\b"), "a\\b");
}

TEST(ATextForATerminal, SendsNoCommandsToIt) {
  EXPECT_EQ(escaped("\x1b[31mred\n\t\x07"), "\\x1b[31mred\\x0a\\x09\\x07");
  EXPECT_EQ(escaped(std::string("a\0b", 3)), "a\\x00b");
  EXPECT_EQ(escaped("\x7f"), "\\x7f");
  EXPECT_EQ(escaped("\u009b31m"), "\\u{9b}31m");
}

TEST(ATextForATerminal, DoesNotChangeTheDirectionOfWriting) {
  for (const char* const mark : {"\u202a", "\u202b", "\u202c", "\u202d", "\u202e", "\u2066", "\u2067", "\u2068",
                                 "\u2069", "\u200e", "\u200f", "\u061c"}) {
    EXPECT_EQ(escaped(mark).substr(0, 3), "\\u{") << escaped(mark);
  }
}

TEST(ATextForATerminal, ShowsBytesThatAreNoUtf8) {
  EXPECT_EQ(escaped("w\xe4rme"), "w\\xe4rme");
  EXPECT_EQ(escaped("cut \xe6\xb8"), "cut \\xe6\\xb8");
  EXPECT_EQ(escaped("\xff"), "\\xff");
}

TEST(ATextForATerminal, IsAsWideAsTheTerminalShowsIt) {
  EXPECT_EQ(columnsOf(""), 0u);
  EXPECT_EQ(columnsOf("abc"), 3u);
  EXPECT_EQ(columnsOf("w\u00e4rme"), 5u);
  EXPECT_EQ(columnsOf("\u6e29\u5ea6"), 4u);
  EXPECT_EQ(columnsOf("e\u0301"), 1u);
}

TEST(ATextForATerminal, IsCutAtAWidth) {
  EXPECT_EQ(cutTo("abc", 3), "abc");
  EXPECT_EQ(cutTo("abcd", 3), "ab\u2026");
  EXPECT_EQ(cutTo("abcd", 1), "\u2026");
  EXPECT_EQ(cutTo("abcd", 0), "");
  EXPECT_EQ(cutTo("\u6e29\u5ea6x", 4), "\u6e29\u2026");
  EXPECT_EQ(cutTo("\u6e29\u5ea6x", 3), "\u6e29\u2026");
}

}  // namespace spf::test
