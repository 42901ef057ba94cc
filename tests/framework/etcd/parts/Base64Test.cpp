#include <stdexcept>
#include <string>

#include <gtest/gtest.h>
#include "base64.hpp"

namespace agent::spf::etcd {

TEST(Base64, PadsToGroupsOfFour) {
  EXPECT_EQ(toBase64(""), "");
  EXPECT_EQ(toBase64("f"), "Zg==");
  EXPECT_EQ(toBase64("fo"), "Zm8=");
  EXPECT_EQ(toBase64("foo"), "Zm9v");
  EXPECT_EQ(toBase64("foob"), "Zm9vYg==");
  EXPECT_EQ(toBase64("\xff\xfe\xfd"), "//79");
}

TEST(Base64, GivesAllBytesBack) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) {
    all += static_cast<char>(byte);
    EXPECT_EQ(fromBase64(toBase64(all)), all);
  }
}

TEST(Base64, RefusesOtherTexts) {
  for (const std::string text : {"Zg", "Zg=", "Z===", "====", "Zg==Zg==", "Zm 9", "Zm9-", "=Zg=", "Zm9v\n"}) {
    EXPECT_THROW(fromBase64(text), std::runtime_error) << text;
  }
}

}  // namespace agent::spf::etcd
