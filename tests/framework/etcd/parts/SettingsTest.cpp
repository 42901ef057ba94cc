#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include "agent/spf/etcd/Registry.hpp"
#include "agent/spf/etcd/Settings.hpp"
#include "support/TemporaryFolder.hpp"
#include "validate.hpp"

namespace agent::spf::etcd {

using testing::ElementsAre;

// Returns the message of what a function throws.
std::string refusal(const std::function<void()>& function) {
  try {
    function();
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "";
}

TEST(AListOfMembers, IsSplitAtItsCommas) {
  EXPECT_THAT(parseMembers("http://a:2379"), ElementsAre("http://a:2379"));
  EXPECT_THAT(parseMembers(" https://10.0.0.1:1 ,\thttp://[::1]:65535\n"),
              ElementsAre("https://10.0.0.1:1", "http://[::1]:65535"));
}

TEST(AListOfMembers, RefusesAPartThatIsNoUrl) {
  for (const std::string part :
       {"", "a", "a:2379", "ftp://a:2379", "http://a", "http://:2379", "http://a:", "http://a:0", "http://a:65536",
        "http://a:2379/", "http://a:2379/v3", "http://u@a:2379", "http://a b:2379", "http://[a]x:1", "http://[]:1"}) {
    EXPECT_EQ(refusal([&] { parseMembers("http://a:1," + part); }),
              "'" + part + "' is no URL of a member; expected http[s]://HOST:PORT");
  }
}

class ASetting : public testing::Test {
 protected:
  ASetting() {
    settings_.members = {"http://127.0.0.1:1"};
    std::ofstream(file_) << "secret\r\n";
  }

  std::string refused() const {
    return refusal([&] { Registry(settings_, {}); });
  }

  const frameworktest::TemporaryFolder folder_;
  const std::string file_ = folder_.path() + "/file";
  Settings settings_;
};

TEST_F(ASetting, MayBeLeftAsItIs) {
  EXPECT_EQ(refused(), "");
}

TEST_F(ASetting, NeedsAMember) {
  settings_.members = {};
  EXPECT_EQ(refused(), "members: expected at least one URL");
  settings_.members = {"x"};
  EXPECT_EQ(refused(), "'x' is no URL of a member; expected http[s]://HOST:PORT");
}

TEST_F(ASetting, NeedsAPrefix) {
  settings_.prefix = "";
  EXPECT_EQ(refused(), "prefix: expected a text that is not empty");
}

TEST_F(ASetting, NeedsATimeToLive) {
  settings_.ttl = std::chrono::seconds(0);
  EXPECT_EQ(refused(), "ttl: 0 s; expected 1 s to 86400 s");
  settings_.ttl = std::chrono::hours(25);
  EXPECT_EQ(refused(), "ttl: 90000 s; expected 1 s to 86400 s");
}

TEST_F(ASetting, NeedsFilesThatCanBeRead) {
  const auto missing = folder_.path() + "/missing";
  settings_.caFile = missing;
  EXPECT_EQ(refused(), "caFile: cannot read '" + missing + "'");
  settings_.caFile = folder_.path();
  EXPECT_EQ(refused(), "caFile: cannot read '" + folder_.path() + "'");
  settings_.caFile = file_;
  settings_.certificateFile = missing;
  EXPECT_EQ(refused(), "certificateFile: cannot read '" + missing + "'");
  settings_.certificateFile = file_;
  settings_.keyFile = missing;
  EXPECT_EQ(refused(), "keyFile: cannot read '" + missing + "'");
  settings_.keyFile = file_;
  settings_.user = "me";
  settings_.passwordFile = missing;
  EXPECT_EQ(refused(), "passwordFile: cannot read '" + missing + "'");
}

TEST_F(ASetting, NeedsTheOnesThatBelongToIt) {
  settings_.keyFile = file_;
  EXPECT_EQ(refused(), "keyFile: expected a certificateFile, too");
  settings_.keyFile = "";
  settings_.user = "me";
  EXPECT_EQ(refused(), "user and passwordFile: expected both or neither");
}

TEST_F(ASetting, HasAPasswordWithoutTheLineBreakAtItsEnd) {
  settings_.passwordFile = file_;
  EXPECT_EQ(readPassword(settings_), "secret");
  std::ofstream(file_) << "two\nlines";
  EXPECT_EQ(readPassword(settings_), "two\nlines");
}

TEST_F(ASetting, NeedsAnEntryThatEtcdTakes) {
  Registry sut(settings_, {});
  EXPECT_EQ(refusal([&] { sut.put("k", std::string(512 * 1024, 'x')); }),
            "the value of key 'k' is too long; expected at most 524288 bytes");
  EXPECT_EQ(refusal([&] { sut.put("k", std::string(512 * 1024 - 1, 'x')); }), "");
}

}  // namespace agent::spf::etcd
