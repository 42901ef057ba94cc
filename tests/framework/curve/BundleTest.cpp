#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include <cppmicroservices/AnyMap.h>
#include <gmock/gmock.h>
#include "RecordedEndpoint.hpp"
#include "agent/spf/security/keyFiles.hpp"
#include "support/RecordedWarnings.hpp"
#include "support/RunningFramework.hpp"
#include "support/TemporaryFolder.hpp"

namespace spf::test {

using agent::spf::frameworkinterfaces::Transport;
using agent::spf::security::KeyName;
using agent::spf::security::SecretKey;
using agent::spf::security::writeKeyPair;
using cppmicroservices::AnyMap;
using frameworktest::RunningFramework;
using testing::HasSubstr;

class TheTransportBundle : public testing::Test {
 protected:
  TheTransportBundle() {
    writeKeyPair(KeyName("alice"), key, folder.path());
    properties["spf.curve.name"] = std::string("alice");
    properties["spf.curve.secret_key"] = file;
    properties["spf.curve.trust"] = folder.path();
  }

  std::string errorOfStart() const {
    try {
      RunningFramework({}, properties);
    } catch (const std::exception& error) {
      return error.what();
    }
    return "started";
  }

  const frameworktest::TemporaryFolder folder;
  const SecretKey key = SecretKey::generate();
  const std::string file = folder.path() + "/alice.key";
  AnyMap properties{AnyMap::UNORDERED_MAP};
};

TEST_F(TheTransportBundle, EncryptsConnectionsWithTheKeyOfItsProperties) {
  RunningFramework framework({}, properties);
  const auto transport = framework.service<Transport>();
  const auto bound = std::make_shared<RecordedEndpoint>();
  const auto connected = std::make_shared<RecordedEndpoint>();
  transport->bind({"server", "station", "tcp://127.0.0.1:*"}, bound);
  const auto address = bound->waitForOpening().address;
  transport->connect({"client", "station", address, "alice"}, connected);
  connected->waitForOpening();
  transport->ask("client", "station", "who am I", patience);
  EXPECT_THAT(bound->reports().askers, testing::ElementsAre("alice"));
}

TEST_F(TheTransportBundle, DoesNotStartWithHalfOfItsProperties) {
  properties.erase("spf.curve.trust");
  EXPECT_THAT(errorOfStart(), HasSubstr("framework property 'spf.curve.trust' is missing; expected the folder"));
}

TEST_F(TheTransportBundle, DoesNotStartWithAKeyThatOthersMayRead) {
  std::filesystem::permissions(file, std::filesystem::perms::others_read, std::filesystem::perm_options::add);
  EXPECT_THAT(errorOfStart(),
              testing::AllOf(HasSubstr("framework property 'spf.curve.secret_key': "), HasSubstr(file)));
}

TEST_F(TheTransportBundle, WarnsOfFilesThatHoldNoKey) {
  std::ofstream(folder.path() + "/bob.pub") << "no key";
  const frameworktest::RecordedWarnings warnings;
  RunningFramework framework({}, properties);
  EXPECT_NE(warnings.with("bob.pub").size(), 0U);
}

}  // namespace spf::test
