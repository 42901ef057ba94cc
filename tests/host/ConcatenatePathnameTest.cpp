#include "agent/host/filesystem.hpp"

namespace {

using agent::host::filesystem::concatenate_pathname;

std::wstring concatenated(std::wstring pathname, const std::wstring& component, bool flag) {
  concatenate_pathname(pathname, component, flag);
  return pathname;
}

TEST(ConcatenatePathname, PutsOneSeparatorBetween) {
  EXPECT_EQ(concatenated(L"bin", L"win64", true), L"bin/win64");
}

TEST(ConcatenatePathname, PutsNoSeparatorBeforeTheFirstComponent) {
  EXPECT_EQ(concatenated(L"", L"bin", true), L"bin");
}

TEST(ConcatenatePathname, KeepsAnAbsoluteFirstComponent) {
  EXPECT_EQ(concatenated(L"", L"/bin", true), L"/bin");
}

TEST(ConcatenatePathname, UsesTheSeparatorThatIsThere) {
  EXPECT_EQ(concatenated(L"bin/", L"win64", true), L"bin/win64");
  EXPECT_EQ(concatenated(L"bin", L"/win64", true), L"bin/win64");
}

TEST(ConcatenatePathname, MergesTwoSeparators) {
  EXPECT_EQ(concatenated(L"bin/", L"/win64", true), L"bin/win64");
}

TEST(ConcatenatePathname, ChangesNothingForAnEmptyComponent) {
  EXPECT_EQ(concatenated(L"bin", L"", true), L"bin");
  EXPECT_EQ(concatenated(L"bin", L"", false), L"bin");
  EXPECT_EQ(concatenated(L"", L"", true), L"");
}

TEST(ConcatenatePathname, AppendsAsItIsWithoutTheFlag) {
  EXPECT_EQ(concatenated(L"bin", L"win64", false), L"binwin64");
  EXPECT_EQ(concatenated(L"bin/", L"/win64", false), L"bin//win64");
}

TEST(ConcatenatePathname, AcceptsThePathItselfAsAComponent) {
  std::wstring pathname = L"spf";
  concatenate_pathname(pathname, pathname, true);
  EXPECT_EQ(pathname, L"spf/spf");
}

TEST(ConcatenatePathname, KeepsCharactersBeyondAscii) {
  EXPECT_EQ(concatenated(L"b\u00e4r", L"\u4e2d", true), L"b\u00e4r/\u4e2d");
}

}  // namespace
