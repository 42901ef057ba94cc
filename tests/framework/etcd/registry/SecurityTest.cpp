#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include "RealEtcd.hpp"
#include "agent/spf/etcd/readSettings.hpp"
#include "etcd/support/SecuredEtcd.hpp"

namespace etcdtest {

using agent::spf::etcd::Settings;
using testing::AllOf;
using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

// A member that speaks TLS, demands certificates of its clients and has users, reached by framework properties.
class ASecuredRegistry : public testing::Test {
 protected:
  using Properties = SecuredEtcd::Properties;

  void SetUp() override {
    if (const auto reason = SecuredEtcd::whyNone(); !reason.empty()) {
      GTEST_SKIP() << reason;
    }
    start();
  }

  void start(SecuredEtcd::Clients clients = SecuredEtcd::Clients::certified,
             const std::vector<std::string>& arguments = {}) {
    etcd_ = std::make_unique<SecuredEtcd>(clients, arguments);
    properties_ = etcd_->properties();
    properties_["spf.discovery.etcd.ttl"] = "6";
  }

  void set(const std::string& name, const std::string& value) { properties_["spf.discovery.etcd." + name] = value; }
  void unset(const std::string& name) { properties_.erase("spf.discovery.etcd." + name); }

  Settings settings() const {
    return *agent::spf::etcd::readSettings([this](const std::string& name) {
      const auto found = properties_.find(name);
      return found != properties_.end() ? std::optional(found->second) : std::nullopt;
    });
  }

  std::string problem(const std::string& text) const { return etcd_->member().url() + ": " + text; }

  // Waits until the first try has ended in a failure, and returns the reason.
  static std::string reasonOf(ObservedRegistry& registry) {
    EXPECT_TRUE(registry.waitUntil([](const auto& observed) {
      return !observed.trouble().empty() && observed.trouble().find("no answer yet") == std::string::npos;
    }));
    EXPECT_FALSE(registry->isListed());
    return registry->trouble();
  }

  std::unique_ptr<SecuredEtcd> etcd_;
  Properties properties_;
};

TEST_F(ASecuredRegistry, IsUsedByAUserWithACertificate) {
  ObservedRegistry follower(settings());
  {
    ObservedRegistry sut(settings());
    sut->put("station/1", "tcp://10.0.0.1:1");
    EXPECT_TRUE(follower.waitForKey("station/1", "tcp://10.0.0.1:1"));
    sut->put("station/1", "tcp://10.0.0.1:2");
    EXPECT_TRUE(follower.waitForKey("station/1", "tcp://10.0.0.1:2"));
    EXPECT_THAT(sut.warnings(), IsEmpty());
  }
  EXPECT_TRUE(follower.waitForNoKey("station/1"));
  EXPECT_TRUE(follower.waitUntilCurrent());
  EXPECT_THAT(follower.warnings(), IsEmpty());
}

TEST_F(ASecuredRegistry, NeedsNoCertificateWhereNoneIsDemanded) {
  start(SecuredEtcd::Clients::any);
  unset("cert");
  unset("key");
  ObservedRegistry sut(settings());
  sut->put("a/1", "x");
  EXPECT_TRUE(sut.waitForKey("a/1", "x"));
  EXPECT_THAT(sut.warnings(), IsEmpty());
}

TEST_F(ASecuredRegistry, LeavesNothingOnTheWireThatCanBeRead) {
  FaultProxy proxy(etcd_->member().clientPort());
  proxy.record();
  properties_["spf.discovery.etcd"] = "https" + proxy.url().substr(std::string("http").size());
  ObservedRegistry sut(settings());
  sut->put("station/1", "tcp://10.0.0.1:1");
  ASSERT_TRUE(sut.waitForKey("station/1"));
  EXPECT_THAT(proxy.recorded(), Not(IsEmpty()));
  for (const auto* text : {SecuredEtcd::passwordOfHost, "password", "/v3/", "HTTP", "host"}) {
    EXPECT_THAT(proxy.recorded(), Not(HasSubstr(text)));
  }
}

// What the recording above is worth: it would have caught the password.
TEST_F(ASecuredRegistry, CannotProtectItsPasswordIfItsMembersAreNamedByHttp) {
  FaultProxy proxy(etcd_->member().clientPort());
  proxy.record();
  properties_["spf.discovery.etcd"] = proxy.url();
  ObservedRegistry sut(settings());
  EXPECT_THAT(reasonOf(sut), StartsWith(proxy.url() + ": "));
  EXPECT_THAT(proxy.recorded(), HasSubstr(SecuredEtcd::passwordOfHost));
}

TEST_F(ASecuredRegistry, RefusesAMemberOfAnotherAuthority) {
  set("ca", etcd_->certificates().certificate("stranger"));
  ObservedRegistry sut(settings());
  EXPECT_THAT(reasonOf(sut), StartsWith(problem("SSL certificate problem: ")));
}

TEST_F(ASecuredRegistry, SaysThatTheMemberDemandsACertificate) {
  unset("cert");
  unset("key");
  ObservedRegistry sut(settings());
  // Often the member hangs up before its alert can be read, so there are two forms.
  EXPECT_THAT(reasonOf(sut),
              AllOf(StartsWith(problem("the member ")), HasSubstr(" demands a certificate of its clients (")));
}

TEST_F(ASecuredRegistry, SaysThatTheMemberRefusesItsCertificate) {
  const auto file = etcd_->certificates().certificate("stranger");
  set("cert", file);
  set("key", etcd_->certificates().key("stranger"));
  ObservedRegistry sut(settings());
  EXPECT_THAT(reasonOf(sut),
              AllOf(StartsWith(problem("the member ")), HasSubstr(" refuses the certificate '" + file + "' (")));
}

TEST_F(ASecuredRegistry, ReportsAWrongPasswordWithoutRepeatingIt) {
  set("password_file", etcd_->passwordFile("Sesame-44"));
  ObservedRegistry sut(settings());
  EXPECT_TRUE(sut.waitForTrouble(problem("etcdserver: authentication failed, invalid user ID or password")));
  EXPECT_THAT(sut.warnings(), Each(Not(HasSubstr("Sesame-44"))));
  EXPECT_THAT(etcd_->member().log(), Not(HasSubstr("Sesame-44")));
}

TEST_F(ASecuredRegistry, ReportsThatItsUserMayNotRead) {
  set("prefix", "/other/");
  ObservedRegistry sut(settings());
  EXPECT_TRUE(sut.waitForTrouble(problem("etcdserver: permission denied")));
}

TEST_F(ASecuredRegistry, ReportsThatItsUserMayNotWrite) {
  set("user", "reader");
  set("password_file", etcd_->passwordFile(SecuredEtcd::passwordOfReader));
  ObservedRegistry sut(settings());
  ASSERT_TRUE(sut.waitUntilCurrent());
  sut->put("a/1", "x");
  EXPECT_TRUE(sut.waitForTrouble(problem("etcdserver: permission denied")));
  EXPECT_FALSE(sut.hasKey("a/1"));
}

TEST_F(ASecuredRegistry, ReplacesATokenThatHasExpired) {
  start(SecuredEtcd::Clients::certified, {"--auth-token-ttl", "1"});
  ObservedRegistry sut(settings());
  sut->put("a/1", "x");
  ASSERT_TRUE(sut.waitForKey("a/1"));
  ASSERT_TRUE(etcd_->member().waitForLog("deleted a simple token", 4)) << etcd_->member().log();
  sut->put("b/1", "y");
  EXPECT_TRUE(sut.waitForKey("b/1", "y"));
  EXPECT_TRUE(sut.hasKey("a/1"));
  EXPECT_TRUE(sut.waitUntilCurrent());
  EXPECT_THAT(sut.warnings(), IsEmpty());
}

class WithAUser : public RealEtcd {
 protected:
  void SetUp() override {
    RealEtcd::SetUp();
    if (IsSkipped()) {
      return;
    }
    cluster_ = std::make_unique<EtcdCluster>();
    ASSERT_TRUE(cluster_->waitUntilServing());
    auto& member = cluster_->member(0);
    member.control({"user", "add", "root:master"});
    member.control({"user", "grant-role", "root", "root"});
    member.control({"role", "add", "hosts"});
    member.control({"role", "grant-permission", "--prefix=true", "hosts", "readwrite", "/spf/"});
    member.control({"user", "add", "host:secret"});
    member.control({"user", "grant-role", "host", "hosts"});
    member.control({"auth", "enable"});
  }

  Settings settingsOf(const std::string& user, const std::string& password) const {
    auto settings = RealEtcd::settings(cluster_->urls(), std::chrono::seconds(6));
    settings.user = user;
    settings.passwordFile = cluster_->folder() + "/password";
    std::ofstream(settings.passwordFile) << password << '\n';
    return settings;
  }

  std::string problem(const std::string& text) const { return cluster_->urls()[0] + ": " + text; }

  std::unique_ptr<EtcdCluster> cluster_;
};

TEST_F(WithAUser, KeysArePutAndSeen) {
  ObservedRegistry sut(settingsOf("host", "secret"));
  sut->put("a/1", "x");
  EXPECT_TRUE(sut.waitForKey("a/1", "x"));
  EXPECT_TRUE(sut.waitUntilCurrent());
  EXPECT_THAT(sut.warnings(), IsEmpty());
}

TEST_F(WithAUser, AWrongPasswordIsReported) {
  ObservedRegistry sut(settingsOf("host", "wrong"));
  EXPECT_TRUE(sut.waitForTrouble(problem("etcdserver: authentication failed, invalid user ID or password")));
}

TEST_F(WithAUser, NoUserIsReported) {
  ObservedRegistry sut(settings(cluster_->urls()));
  EXPECT_TRUE(sut.waitForTrouble(problem("etcdserver: user name is empty")));
}

TEST_F(WithAUser, KeysWithoutPermissionAreReported) {
  auto settings = settingsOf("host", "secret");
  settings.prefix = "/other/";
  ObservedRegistry sut(settings);
  EXPECT_TRUE(sut.waitForTrouble(problem("etcdserver: permission denied")));
}

TEST_F(WithAUser, TokensThatARestartHasMadeInvalidAreReplaced) {
  ObservedRegistry sut(settingsOf("host", "secret"));
  sut->put("a/1", "x");
  ASSERT_TRUE(sut.waitForKey("a/1"));
  cluster_->member(0).kill();
  ASSERT_TRUE(sut.waitForTrouble());
  cluster_->member(0).start();
  ASSERT_TRUE(cluster_->waitUntilServing());
  const Healing healing;
  sut->put("b/1", "y");
  EXPECT_TRUE(sut.waitForKey("b/1", "y"));
  EXPECT_TRUE(sut.waitUntilCurrent());
  healing.report("tokens made invalid by a restart, until a new key is put and seen");
}

TEST_F(WithAUser, TokensThatAChangeOfUsersHasMadeOldAreReplacedWithoutAnOutage) {
  ObservedRegistry sut(settingsOf("host", "secret"));
  sut->put("a/1", "x");
  ASSERT_TRUE(sut.waitForKey("a/1"));
  cluster_->member(0).control({"--user", "root:master", "user", "add", "another:password"});
  sut->put("b/1", "y");
  EXPECT_TRUE(sut.waitForKey("b/1", "y"));
  EXPECT_THAT(sut.warnings(), IsEmpty());
}

}  // namespace etcdtest
