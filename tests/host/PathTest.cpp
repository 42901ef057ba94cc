#include "agent/host/filesystem.hpp"

namespace {

using agent::host::filesystem::path;

TEST(AHostPath, StartsEmptyWithTheFlagSet) {
  const path sut;
  EXPECT_EQ(sut.string(), L"");
  EXPECT_TRUE(sut.flag());
}

TEST(AHostPath, JoinsComponentsInTheOrderOfTheirAppends) {
  path sut;
  sut.append(L"bin").append(L"win64").append(L"spf");
  EXPECT_EQ(sut.string(), L"bin/win64/spf");
}

TEST(AHostPath, IgnoresEmptyComponents) {
  path sut;
  sut.append(L"").append(L"bin").append(L"");
  EXPECT_EQ(sut.string(), L"bin");
}

TEST(AHostPath, IsIndependentOfItsCopies) {
  path sut;
  sut.append(L"bin");
  path copy = sut;
  copy.append(L"spf");
  EXPECT_EQ(sut.string(), L"bin");
  EXPECT_EQ(copy.string(), L"bin/spf");
  EXPECT_TRUE(copy.flag());
}

}  // namespace
