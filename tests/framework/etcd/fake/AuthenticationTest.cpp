#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include "FakeMember.hpp"
#include "etcd/support/ObservedRegistry.hpp"
#include "support/TemporaryFolder.hpp"

namespace etcdtest {

using agent::spf::etcd::Settings;
using testing::IsEmpty;
using Reply = FakeMember::Reply;

class ARegistryOfAUser : public testing::Test {
 protected:
  ARegistryOfAUser() {
    settings_.members = {member_.url()};
    settings_.ttl = std::chrono::seconds(3);
    settings_.user = "me";
    settings_.passwordFile = folder_.path() + "/password";
    std::ofstream(settings_.passwordFile) << "secret\n";
    member_.on("/v3/auth/authenticate", Reply{200, R"({"token":"one"})"});
  }

  // Lets requests with other tokens fail.
  void demand(const std::string& token) {
    for (const std::string path : {"/v3/kv/range", "/v3/watch"}) {
      const auto good = path == "/v3/watch" ? Reply{200, "{\"result\":{\"created\":true}}\n", Reply::Kind::stream}
                                            : Reply{200, R"({"header":{"revision":"1"}})"};
      member_.on(path, [token, good](const FakeMember::Request& request) {
        return request.authorization == token ? good
                                              : Reply{401, R"({"error":"etcdserver: invalid auth token","code":16})"};
      });
    }
  }

  const frameworktest::TemporaryFolder folder_;
  FakeMember member_;
  Settings settings_;
};

TEST_F(ARegistryOfAUser, AuthenticatesBeforeItAsks) {
  demand("one");
  ObservedRegistry sut(settings_);
  ASSERT_TRUE(sut.waitUntilCurrent());
  EXPECT_EQ(member_.requests("/v3/auth/authenticate").at(0).body, R"({"name":"me","password":"secret"})");
  EXPECT_EQ(member_.requests("/v3/auth/authenticate").size(), 1u);
  EXPECT_THAT(sut.warnings(), IsEmpty());
}

TEST_F(ARegistryOfAUser, FetchesANewTokenWithoutAnOutageWhenTheOldOneHasBecomeInvalid) {
  demand("one");
  ObservedRegistry sut(settings_);
  ASSERT_TRUE(sut.waitUntilCurrent());
  member_.on("/v3/auth/authenticate", Reply{200, R"({"token":"two"})"});
  demand("two");
  ASSERT_TRUE(member_.waitFor("/v3/auth/authenticate", 2));
  ASSERT_TRUE(member_.waitFor("/v3/kv/range", member_.requests("/v3/kv/range").size() + 3));
  EXPECT_EQ(sut->trouble(), "");
  EXPECT_EQ(member_.requests("/v3/auth/authenticate").size(), 2u);
  EXPECT_THAT(sut.warnings(), IsEmpty());
}

TEST_F(ARegistryOfAUser, ReportsThatItsPasswordIsWrong) {
  member_.on("/v3/auth/authenticate",
             Reply{400, R"({"error":"etcdserver: authentication failed, invalid user ID or password","code":3})"});
  ObservedRegistry sut(settings_);
  EXPECT_TRUE(sut.waitForTrouble(member_.url() + ": etcdserver: authentication failed, invalid user ID or password"));
  EXPECT_THAT(member_.requests("/v3/kv/range"), IsEmpty());
}

TEST_F(ARegistryOfAUser, ReportsATokenThatIsRefusedAtOnce) {
  demand("other");
  ObservedRegistry sut(settings_);
  EXPECT_TRUE(sut.waitForTrouble(member_.url() + ": etcdserver: invalid auth token"));
}

TEST_F(ARegistryOfAUser, ReportsAnAnswerWithoutAToken) {
  member_.on("/v3/auth/authenticate", Reply{200, "{}"});
  ObservedRegistry sut(settings_);
  EXPECT_TRUE(sut.waitForTrouble(member_.url() + ": an answer without a usable token"));
}

TEST(ARegistryWithoutAUser, ReportsThatOneIsNeeded) {
  FakeMember member;
  member.on("/v3/kv/range", Reply{400, R"({"error":"etcdserver: user name is empty","code":3})"});
  Settings settings;
  settings.members = {member.url()};
  settings.ttl = std::chrono::seconds(1);
  ObservedRegistry sut(settings);
  EXPECT_TRUE(sut.waitForTrouble(member.url() + ": etcdserver: user name is empty"));
  EXPECT_THAT(member.requests("/v3/auth/authenticate"), IsEmpty());
}

}  // namespace etcdtest
