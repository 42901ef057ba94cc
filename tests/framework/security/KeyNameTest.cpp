#include "agent/spf/security/KeyName.hpp"

#include <stdexcept>

#include <gtest/gtest.h>

namespace spf::test {

using namespace agent::spf::security;

TEST(ANameOfAKey, HasLettersDigitsDotsUnderscoresAndHyphens) {
  for (const auto& text : {std::string("a"), std::string("Z.9_-"), std::string("-"), std::string("a..b"),
                           std::string("alice.pub"), std::string(64, 'x')}) {
    EXPECT_TRUE(isKeyName(text)) << text;
    EXPECT_EQ(KeyName(text).text(), text);
  }
}

TEST(ANameOfAKey, IsNothingElse) {
  for (const auto& text :
       {std::string(), std::string("."), std::string(".."), std::string(".hidden"), std::string("a/b"),
        std::string("/a"), std::string("../a"), std::string("a b"), std::string("a\n"), std::string("a\0b", 3),
        std::string("\xc3\xa4"), std::string("a\\b"), std::string("a:b"), std::string("a#b"), std::string(65, 'x')}) {
    EXPECT_FALSE(isKeyName(text)) << text;
    try {
      KeyName sut(text);
      ADD_FAILURE() << text << " is taken";
    } catch (const std::invalid_argument& error) {
      EXPECT_EQ(error.what(), std::string(("'" + text +
                                           "' is no name of a key; expected 1 to 64 letters, digits, '.', '_' and '-', "
                                           "and no '.' at the beginning")
                                              .c_str()));
    }
  }
}

}  // namespace spf::test
