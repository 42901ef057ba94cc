#include <cstdlib>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include "RealEtcd.hpp"
#include "support/TemporaryFolder.hpp"

namespace etcdtest {

using agent::spf::etcd::Settings;
using testing::IsEmpty;

/// Files of an authority and of what it has signed, made by openssl.
class Certificates {
 public:
  static bool canBeMade() { return std::system("openssl version >/dev/null 2>&1") == 0; }

  Certificates() {
    makeAuthority("ca");
    makeAuthority("stranger");
    sign("server", "subjectAltName=IP:" + addressOfThisProcess() + "\\nextendedKeyUsage=serverAuth,clientAuth");
    sign("client", "extendedKeyUsage=clientAuth");
  }

  std::string file(const std::string& name) const { return folder_.path() + "/" + name; }

 private:
  void makeAuthority(const std::string& name) const {
    run("openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 -subj /CN=" + name +
        " -keyout " + name + ".key -out " + name + ".pem");
  }

  void sign(const std::string& name, const std::string& extensions) const {
    run("openssl req -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -subj /CN=" + name + " -keyout " + name +
        ".key -out " + name + ".csr");
    run("printf '" + extensions + "' > " + name + ".ext");
    run("openssl x509 -req -in " + name + ".csr -CA ca.pem -CAkey ca.key -CAcreateserial -days 2 -extfile " + name +
        ".ext -out " + name + ".pem");
  }

  void run(const std::string& command) const {
    if (std::system(("cd " + folder_.path() + " && { " + command + "; } 2>/dev/null").c_str()) != 0) {
      throw std::runtime_error("this command fails: " + command);
    }
  }

  const frameworktest::TemporaryFolder folder_;
};

class WithTls : public RealEtcd {
 protected:
  void SetUp() override {
    RealEtcd::SetUp();
    if (!IsSkipped() && !Certificates::canBeMade()) {
      GTEST_SKIP() << "openssl is not installed";
    }
  }

  void start(const std::vector<std::string>& arguments) {
    certificates_ = std::make_unique<Certificates>();
    EtcdOptions options;
    options.folder = folder_.path();
    options.scheme = "https";
    options.arguments = {"--cert-file", certificates_->file("server.pem"), "--key-file",
                         certificates_->file("server.key")};
    options.arguments.insert(options.arguments.end(), arguments.begin(), arguments.end());
    for (auto& argument : options.arguments) {
      argument = argument == "CA" ? certificates_->file("ca.pem") : argument;
    }
    member_ = std::make_unique<EtcdProcess>(options);
    ASSERT_TRUE(member_->waitUntilServing()) << member_->log();
  }

  Settings trusting(const std::string& authority) const {
    auto settings = RealEtcd::settings({member_->url()}, std::chrono::seconds(6));
    settings.caFile = certificates_->file(authority);
    return settings;
  }

  const frameworktest::TemporaryFolder folder_;
  std::unique_ptr<Certificates> certificates_;
  std::unique_ptr<EtcdProcess> member_;
};

TEST_F(WithTls, AMemberOfATrustedAuthorityIsUsed) {
  start({});
  ObservedRegistry sut(trusting("ca.pem"));
  sut->put("a/1", "x");
  EXPECT_TRUE(sut.waitForKey("a/1", "x"));
  EXPECT_THAT(sut.warnings(), IsEmpty());
}

TEST_F(WithTls, AMemberOfAnotherAuthorityIsRefused) {
  start({});
  ObservedRegistry sut(trusting("stranger.pem"));
  EXPECT_TRUE(sut.waitUntil([](const auto& registry) {
    return !registry.trouble().empty() && registry.trouble().find("no answer yet") == std::string::npos;
  }));
  EXPECT_THAT(sut->trouble(), testing::StartsWith(member_->url() + ": "));
  EXPECT_FALSE(sut->isListed());
}

TEST_F(WithTls, AMemberThatDemandsACertificateGetsIt) {
  start({"--client-cert-auth", "--trusted-ca-file", "CA"});
  auto settings = trusting("ca.pem");
  {
    ObservedRegistry sut(settings);
    EXPECT_TRUE(sut.waitUntil(
        [](const auto& registry) { return registry.trouble().find("no answer yet") == std::string::npos; }));
    EXPECT_FALSE(sut->isListed());
  }
  settings.certificateFile = certificates_->file("client.pem");
  settings.keyFile = certificates_->file("client.key");
  ObservedRegistry sut(settings);
  sut->put("a/1", "x");
  EXPECT_TRUE(sut.waitForKey("a/1", "x"));
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
