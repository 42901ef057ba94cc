#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include "ForeignClient.hpp"
#include "RawConnection.hpp"
#include "RecordedEndpoint.hpp"
#include "ZeroMqTransport.hpp"
#include "spf/test/Gate.hpp"
#include "support/TemporaryFolder.hpp"

namespace spf::test {

using agent::spf::security::SecretKey;
using testing::ElementsAre;

/// What a refresh needs whose thread may outlive the transport.
struct Hanging {
  Gate reached;
  Gate mayEnd;
  Gate ended;
};

/// A transport whose folder of trusted keys does not answer any more, as a file system of the network may do.
class ATransportWhoseFolderHangs : public testing::Test {
 protected:
  ATransportWhoseFolderHangs() {
    auto identity =
        std::make_unique<zeromq::Identity>(SecretKey(key.bytes()), folder.path(), [all = hanging](const std::string&) {
          all->reached.open();
          EXPECT_TRUE(all->mayEnd.wait());
          all->ended.open();
        });
    sut = std::make_unique<zeromq::ZeroMqTransport>(std::move(identity));
    sut->bind({"server", "tcp", "tcp://127.0.0.1:*"}, encrypted);
    sut->bind({"server", "inproc", "inproc://station"}, local);
    address = encrypted->waitForOpening().address;
  }
  ~ATransportWhoseFolderHangs() override {
    hanging->mayEnd.open();
    EXPECT_TRUE(hanging->ended.wait());
  }

  /// Begins with what the tests are about.
  void hang() const {
    std::ofstream(folder.path() + "/bob.pub") << "no key";
    EXPECT_TRUE(hanging->reached.wait());
  }

  void trust(const std::string& name, const SecretKey& trusted) const {
    const auto draft = folder.path() + "/." + name;
    std::ofstream(draft) << trusted.publicKey().text() << '\n';
    std::filesystem::rename(draft, folder.path() + "/" + name + ".pub");
  }

  void distrust(const std::string& name) const { std::filesystem::remove(folder.path() + "/" + name + ".pub"); }

  const std::shared_ptr<Hanging> hanging = std::make_shared<Hanging>();
  const frameworktest::TemporaryFolder folder;
  const SecretKey key = SecretKey::generate();
  const SecretKey alice = SecretKey::generate();
  const SecretKey carol = SecretKey::generate();
  const std::shared_ptr<RecordedEndpoint> encrypted = std::make_shared<RecordedEndpoint>();
  const std::shared_ptr<RecordedEndpoint> local = std::make_shared<RecordedEndpoint>();
  std::unique_ptr<zeromq::ZeroMqTransport> sut;
  std::string address;
  zmq::context_t context;
};

TEST_F(ATransportWhoseFolderHangs, ServesItsOtherEndpoints) {
  hang();
  const auto connected = std::make_shared<RecordedEndpoint>();
  sut->connect({"client", "station", "inproc://station"}, connected);
  connected->waitForOpening();
  EXPECT_EQ(sut->ask("client", "station", "question", patience), "answer to question");
}

TEST_F(ATransportWhoseFolderHangs, RefusesWhatItNeedNotLookUp) {
  hang();
  auto stranger = RawConnection::to(address);
  stranger.send(zmtp3Greeting(1, "NULL"));
  encrypted->waitForRefusal("no encryption");
}

TEST_F(ATransportWhoseFolderHangs, CutsConnectionsOfARemovedKeyOnceTheFolderAnswers) {
  trust("alice", alice);
  ForeignClient client(context, address, alice, key.publicKey());
  client.send("before");
  ASSERT_EQ(client.receive(), "answer to before");
  hang();
  distrust("alice");
  client.send("meanwhile");
  EXPECT_EQ(client.receive(), "answer to meanwhile");
  EXPECT_THAT(encrypted->reports().changes, ElementsAre("opened"));
  hanging->mayEnd.open();
  encrypted->waitForOpening(2);
  EXPECT_THAT(encrypted->reports().changes, ElementsAre("opened", "lost: a key is no longer trusted", "opened"));
}

TEST_F(ATransportWhoseFolderHangs, LetsInNobodyWhoseKeyIsRemovedMeanwhile) {
  trust("alice", alice);
  ForeignClient before(context, address, alice, key.publicKey());
  before.send("before");
  ASSERT_EQ(before.receive(), "answer to before");
  trust("carol", carol);
  hang();
  distrust("carol");
  ForeignClient client(context, address, carol, key.publicKey());
  client.send("meanwhile");
  hanging->mayEnd.open();
  encrypted->waitForRefusal("key unknown");
  EXPECT_THAT(encrypted->reports().askers, ElementsAre("alice"));
}

TEST_F(ATransportWhoseFolderHangs, Stops) {
  hang();
  ForeignClient client(context, address, SecretKey::generate(), key.publicKey());
  client.send("question");
  sut->stop();
  EXPECT_THAT(encrypted->reports().changes, ElementsAre("opened", "closed"));
  EXPECT_THAT(local->reports().changes, ElementsAre("opened", "closed"));
  EXPECT_TRUE(encrypted->reports().askers.empty());
}

}  // namespace spf::test
