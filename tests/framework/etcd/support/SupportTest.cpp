#include <sys/socket.h>

#include <chrono>
#include <stdexcept>
#include <string>

#include <arpa/inet.h>
#include <unistd.h>
#include "EtcdCluster.hpp"
#include "FaultProxy.hpp"
#include "spf/test/Gate.hpp"

namespace {

using etcdtest::addressOfThisProcess;
using etcdtest::EtcdCluster;
using etcdtest::EtcdProcess;
using etcdtest::FaultProxy;
using etcdtest::whyNoEtcd;

/// Sends a request to the proxy and reads until the end of the connection, or until the text has come.
std::string request(const FaultProxy& proxy, const std::string& path, const std::string& expected) {
  const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in where{};
  where.sin_family = AF_INET;
  where.sin_port = htons(static_cast<std::uint16_t>(std::stoi(proxy.url().substr(proxy.url().rfind(':') + 1))));
  inet_pton(AF_INET, addressOfThisProcess().c_str(), &where.sin_addr);
  std::string text;
  if (connect(descriptor, reinterpret_cast<const sockaddr*>(&where), sizeof(where)) == 0) {
    const std::string head = "GET " + path + " HTTP/1.1\r\nHost: x\r\n\r\n";
    send(descriptor, head.data(), head.size(), MSG_NOSIGNAL);
    char buffer[4096];
    for (ssize_t size = 0;
         text.find(expected) == std::string::npos && (size = read(descriptor, buffer, sizeof(buffer))) > 0;) {
      text.append(buffer, static_cast<std::size_t>(size));
    }
  }
  close(descriptor);
  return text;
}

/// Tries to put a key until it succeeds: a request that meets an election is lost.
bool canPut(const EtcdProcess& member, const std::string& key, const std::string& value) {
  const auto deadline = std::chrono::steady_clock::now() + spf::test::patience;
  do {
    try {
      return member.control({"put", key, value, "--command-timeout", "1s"}) == "OK\n";
    } catch (const std::runtime_error&) {
      // The next try follows.
    }
  } while (std::chrono::steady_clock::now() < deadline);
  return false;
}

constexpr auto healthy = R"({"health":"true"})";

class TheSupport : public testing::Test {
 protected:
  void SetUp() override {
    if (const auto reason = whyNoEtcd(); !reason.empty()) {
      GTEST_SKIP() << reason;
    }
  }
};

TEST_F(TheSupport, StartsAClusterThatElectsAnotherLeader) {
  EtcdCluster sut(3);
  ASSERT_TRUE(sut.waitUntilServing()) << sut.member(0).log();
  const auto leader = sut.leader();
  sut.member(leader).kill();
  EXPECT_TRUE(canPut(sut.member((leader + 1) % 3), "a", "b"));
  sut.member(leader).start();
  ASSERT_TRUE(sut.member(leader).waitUntilServing()) << sut.member(leader).log();
  EXPECT_EQ(sut.member(leader).control({"get", "a", "--print-value-only"}), "b\n");
}

TEST_F(TheSupport, ForwardsToAMemberAsBadlyAsItIsTold) {
  EtcdCluster cluster;
  ASSERT_TRUE(cluster.waitUntilServing()) << cluster.member(0).log();
  FaultProxy sut(cluster.member(0).clientPort());
  EXPECT_NE(request(sut, "/health", healthy).find(healthy), std::string::npos);
  sut.set(FaultProxy::Behaviour::pieces);
  EXPECT_NE(request(sut, "/health", healthy).find(healthy), std::string::npos);
  sut.set(FaultProxy::Behaviour::delay);
  EXPECT_NE(request(sut, "/health", healthy).find(healthy), std::string::npos);
  sut.set(FaultProxy::Behaviour::cut);
  EXPECT_EQ(request(sut, "/health", healthy), "");
  sut.answerWith("HTTP/1.1 500 Oh\r\nContent-Length: 0\r\n\r\n");
  EXPECT_EQ(request(sut, "/health", healthy), "HTTP/1.1 500 Oh\r\nContent-Length: 0\r\n\r\n");
  EXPECT_EQ(sut.connections(), 5u);
}

}  // namespace
