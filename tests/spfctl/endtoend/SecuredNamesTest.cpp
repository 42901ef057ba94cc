#include "EndToEnd.hpp"
#include "etcd/support/SecuredEtcd.hpp"

namespace spf::test {

using etcdtest::SecuredEtcd;
using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

// Hosts that meet in an etcd that speaks TLS, demands certificates and has users.
class SecuredNames : public EndToEnd {
 protected:
  using Properties = SecuredEtcd::Properties;

  void SetUp() override {
    if (const auto reason = SecuredEtcd::whyNone(); !reason.empty()) {
      GTEST_SKIP() << reason;
    }
    etcd_ = std::make_unique<SecuredEtcd>();
    properties_ = etcd_->properties();
  }

  void set(const std::string& name, const std::string& value) { properties_["spf.discovery.etcd." + name] = value; }

  // Returns the options that set all properties.
  Arguments discovery() const {
    Arguments all;
    for (const auto& [name, value] : properties_) {
      all.insert(all.end(), {"--property", name + "=" + value});
    }
    return all;
  }

  Arguments named(const std::string& id, const std::string& publisher, const Configuration::Texts& bind,
                  const Configuration::Texts& connect = {}) const {
    auto more = discovery();
    more.insert(more.end(), {"--timeout", "1h", "--log", "all", "--record", recording(id)});
    return host(write(id + ".json", Configuration(id).publisher(publisher, bind, connect)), more);
  }
  Arguments station() const { return named("weather", "station", {"tcp://127.0.0.1:*"}); }
  Arguments pier() const { return named("harbour", "pier", {}, {"station"}); }

  std::string recording(const std::string& id) const { return (workspace_.path() / (id + ".jsonl")).string(); }

  Result discover() const {
    Arguments all = {SPFCTL, "discover"};
    const auto more = discovery();
    all.insert(all.end(), more.begin(), more.end());
    Process process(all);
    return resultOf(process);
  }

  // Waits until the harbour's reason why it cannot look up the name holds a text.
  bool waitForReason(const std::string& reason) const {
    return waitForStatus("harbour", [&](const json& status) {
      const auto record = recordOf(status, "station");
      return record.is_object() && record["reason"].get<std::string>().find(reason) != std::string::npos;
    });
  }

  // Expects a failure of both commands for this reason, and the password nowhere.
  void expectReason(const std::string& reason, const std::string& password) {
    const auto result = discover();
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr(properties_["spf.discovery.etcd"] + ": "));
    EXPECT_THAT(result.err, HasSubstr(reason));
    Process harbour(pier());
    EXPECT_TRUE(waitForReason(reason)) << harbour.err();
    std::string shown = result.err + call({"status", "harbour"}).out + call({"status", "harbour", "--json"}).out;
    EXPECT_EQ(codeOf({"withdraw", "harbour"}), 0);
    EXPECT_EQ(harbour.wait(), 0);
    shown += harbour.out() + harbour.err() + contentOf(recording("harbour"));
    EXPECT_THAT(shown, HasSubstr(reason));
    EXPECT_THAT(shown, Not(HasSubstr(password)));
  }

  std::unique_ptr<SecuredEtcd> etcd_;
  Properties properties_;
};

TEST_F(SecuredNames, AreAnnouncedAndFound) {
  Process harbour(pier());
  Process weather(station());
  ASSERT_TRUE(weather.waitForOutput("ready: weather")) << weather.err();
  ASSERT_TRUE(harbour.waitForOutput("ready: harbour")) << harbour.err();
  const auto result = discover();
  EXPECT_EQ(result.code, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("station"));
  std::string shown = result.out + result.err + call({"status", "weather", "--json"}).out;
  end(weather);
  EXPECT_TRUE(waitForReason("no host announces the name")) << "the name is withdrawn";
  end(harbour);
  for (const auto* process : {&weather, &harbour}) {
    shown += process->out() + process->err();
  }
  shown += contentOf(recording("weather")) + contentOf(recording("harbour"));
  EXPECT_THAT(shown, HasSubstr("station"));
  EXPECT_THAT(shown, Not(HasSubstr(SecuredEtcd::passwordOfHost)));
}

TEST_F(SecuredNames, AreNotLookedUpAtAMemberOfAnotherAuthority) {
  set("ca", etcd_->certificates().certificate("stranger"));
  expectReason("SSL certificate problem: ", SecuredEtcd::passwordOfHost);
}

TEST_F(SecuredNames, AreNotFoundWithoutTheCertificateThatIsDemanded) {
  properties_.erase("spf.discovery.etcd.cert");
  properties_.erase("spf.discovery.etcd.key");
  expectReason(" demands a certificate of its clients (", SecuredEtcd::passwordOfHost);
}

TEST_F(SecuredNames, AreNotFoundWithAWrongPassword) {
  set("password_file", etcd_->passwordFile("Sesame-44"));
  expectReason("etcdserver: authentication failed, invalid user ID or password", "Sesame-44");
}

TEST_F(SecuredNames, AreNotFoundWithoutAPermission) {
  set("prefix", "/other/");
  expectReason("etcdserver: permission denied", SecuredEtcd::passwordOfHost);
}

// In the place of a member, a server that closes each connection after the handshake. So does a member that refuses the
// client's certificate if its alert is lost.
class AMemberThatHangsUp : public testing::Test {
 protected:
  void SetUp() override {
    if (const auto reason = etcdtest::whyNoCertificates(); !reason.empty()) {
      GTEST_SKIP() << reason;
    }
    certificates_ = std::make_unique<etcdtest::Certificates>();
    server_ = std::make_unique<Process>(std::vector<std::string>{
        "/bin/sh", "-c",
        "exec openssl s_server -quiet -accept \"$1\" -cert \"$2\" -key \"$3\" < /dev/null > /dev/null 2>&1", "sh",
        address_, certificates_->certificate("server"), certificates_->key("server")});
  }

  // Asks until the server is there, and returns the reason why it is no member.
  std::string reason(const std::vector<std::string>& properties) const {
    std::vector<std::string> command = {SPFCTL,      "discover", "--discovery", "etcd:https://" + address_,
                                        "--timeout", "1s"};
    for (const auto& property : properties) {
      command.insert(command.end(), {"--property", "spf.discovery.etcd." + property});
    }
    std::string reason;
    EXPECT_TRUE(askUntil([&] {
      Process process(command);
      process.wait();
      reason = process.err();
      return reason.find("Connection refused") == std::string::npos && reason.find("no answer") == std::string::npos;
    }));
    return reason;
  }

  std::string trust() const { return "ca=" + certificates_->certificate("ca"); }

  const std::string address_ = etcdtest::addressOfThisProcess() + ":" + std::to_string(etcdtest::freePortHere());
  std::unique_ptr<etcdtest::Certificates> certificates_;
  std::unique_ptr<Process> server_;
};

TEST_F(AMemberThatHangsUp, MayDemandACertificate) {
  EXPECT_THAT(reason({trust()}),
              HasSubstr(address_ + ": the member hung up after the TLS handshake, as one does that demands a "
                                   "certificate of its clients ("));
}

TEST_F(AMemberThatHangsUp, MayRefuseTheCertificate) {
  const auto file = certificates_->certificate("client");
  EXPECT_THAT(
      reason({trust(), "cert=" + file, "key=" + certificates_->key("client")}),
      HasSubstr(address_ + ": the member hung up after the TLS handshake, as one does that refuses the certificate '" +
                file + "' ("));
}

}  // namespace spf::test
