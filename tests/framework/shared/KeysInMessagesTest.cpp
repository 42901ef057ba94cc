#include "agent/spf/frameworksupport/keysInMessages.hpp"

#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>
#include "support/TemporaryFolder.hpp"

namespace {

using agent::spf::frameworksupport::mayHoldKey;
using agent::spf::frameworksupport::quotedUnlessKey;

class ATextOfAMessage : public testing::Test {
 protected:
  const std::string key = "JTKVSB%%)wK0E.X)V>+}o?pNmC{O&4W4b!Ni{Lh6";
  const frameworktest::TemporaryFolder folder;
};

TEST_F(ATextOfAMessage, MayHoldAKey) {
  for (const auto& text :
       {key, key + " ", " " + key, key + "\n", "# comment\n" + key + "\n", key + key, "key=" + key, "\t" + key + "\tx",
        "\"" + key + "\"", "./" + key, "/" + key.substr(1), folder.path() + "/" + key, folder.path() + "/none/" + key,
        std::string("a\nb"), std::string("a\rb"), std::string(40, '.'), "x " + key.substr(0, 39) + "~ " + key}) {
    EXPECT_TRUE(mayHoldKey(text)) << text;
    EXPECT_EQ(quotedUnlessKey(text), "a text that may be a key");
  }
}

TEST_F(ATextOfAMessage, HoldsNoKeyIfItIsTooShort) {
  for (const auto& text :
       {std::string(), std::string("station.key"), key.substr(1), key.substr(0, 20) + " " + key.substr(20),
        key.substr(0, 39) + "~", key.substr(0, 39) + "_"}) {
    EXPECT_FALSE(mayHoldKey(text)) << text;
    EXPECT_EQ(quotedUnlessKey(text), "'" + text + "'");
  }
}

TEST_F(ATextOfAMessage, HoldsNoKeyIfItIsAFileThatExists) {
  for (const auto& name : {std::string(40, 'x'), std::string("a\nb")}) {
    const auto file = folder.path() + "/" + name;
    EXPECT_TRUE(mayHoldKey(file));
    std::ofstream(file) << "";
    EXPECT_FALSE(mayHoldKey(file));
  }
}

TEST_F(ATextOfAMessage, HoldsNoKeyIfOnlyItsFolderIsLong) {
  const auto deep = folder.path() + "/" + std::string(39, 'x') + "/" + std::string(39, 'y');
  EXPECT_TRUE(mayHoldKey(deep + "/none.key"));
  std::filesystem::create_directories(deep);
  EXPECT_FALSE(mayHoldKey(deep + "/none.key"));
}

}  // namespace
