#include "Probe.hpp"

#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include "spf/test/Gate.hpp"
#include "support/Resources.hpp"

namespace {

namespace filesystem = std::filesystem;
using agent::spf::frameworksupport::parseAddress;
using frameworktest::openDescriptors;
using spf::zeromq::Probe;
using Clock = Probe::Clock;

std::string textOf(int error) {
  return std::generic_category().message(error);
}

/// A TCP socket of the loopback network.
class Socket {
 public:
  Socket() : descriptor_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    where_.sin_family = AF_INET;
    where_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(where_);
    EXPECT_EQ(bind(descriptor_, reinterpret_cast<const sockaddr*>(&where_), size), 0);
    EXPECT_EQ(getsockname(descriptor_, reinterpret_cast<sockaddr*>(&where_), &size), 0);
  }
  ~Socket() {
    for (const int descriptor : waiting_) {
      close(descriptor);
    }
    close(descriptor_);
  }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  void listen(int pending) { EXPECT_EQ(::listen(descriptor_, pending), 0); }
  std::string address(const std::string& source = "") const {
    return "tcp://" + source + "127.0.0.1:" + std::to_string(ntohs(where_.sin_port));
  }

  /// Fills the queue of pending connections, so that further ones hang.
  void fill() {
    listen(0);
    for (int i = 0; i < 10; ++i) {
      waiting_.push_back(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
      connect(waiting_.back(), reinterpret_cast<const sockaddr*>(&where_), sizeof(where_));
    }
  }

 private:
  const int descriptor_;
  std::vector<int> waiting_;
  sockaddr_in where_{};
};

class AProbe : public testing::Test {
 protected:
  /// Waits for the outcome of a probe.
  static Probe::Outcome probe(const std::string& address) {
    const auto before = openDescriptors();
    const auto start = Clock::now();
    Probe sut(parseAddress(address), start);
    if (sut.descriptor() >= 0) {
      pollfd item{sut.descriptor(), POLLOUT, 0};
      EXPECT_EQ(poll(&item, 1, static_cast<int>(std::chrono::milliseconds(spf::test::patience).count())), 1);
    }
    const auto outcome = sut.poll(start);
    EXPECT_LT(sut.descriptor(), 0);
    EXPECT_EQ(openDescriptors(), before);
    return outcome.value_or(Probe::Outcome{"no outcome"});
  }

  Socket server;
};

TEST_F(AProbe, HasNoReasonIfTheAddressAcceptsConnections) {
  server.listen(10);
  EXPECT_EQ(probe(server.address()).reason, "");
  EXPECT_FALSE(probe(server.address("127.0.0.1:0;")).isPermanent);
}

TEST_F(AProbe, HasTheReasonOfTheSystem) {
  const auto outcome = probe(server.address());
  EXPECT_EQ(outcome.reason, textOf(ECONNREFUSED));
  EXPECT_FALSE(outcome.isPermanent);
  EXPECT_EQ(probe("tcp://255.255.255.255:1").reason, textOf(ENETUNREACH));
}

TEST_F(AProbe, ClosesItsDescriptorWhenItIsDestroyedBefore) {
  server.fill();
  const auto before = openDescriptors();
  {
    const Probe sut(parseAddress(server.address()), Clock::now());
    EXPECT_EQ(openDescriptors(), before + 1);
  }
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(AProbe, GivesUpAtItsDeadline) {
  server.fill();
  const auto start = Clock::now();
  Probe sut(parseAddress(server.address()), start);
  EXPECT_FALSE(sut.poll(start).has_value());
  EXPECT_GE(sut.descriptor(), 0);
  EXPECT_GT(sut.deadline(), start);
  EXPECT_FALSE(sut.poll(sut.deadline() - std::chrono::milliseconds(1)).has_value());
  const auto outcome = sut.poll(sut.deadline());
  ASSERT_TRUE(outcome.has_value());
  EXPECT_EQ(outcome->reason, textOf(ETIMEDOUT));
  EXPECT_FALSE(outcome->isPermanent);
  EXPECT_LT(sut.descriptor(), 0);
}

TEST_F(AProbe, FromAnAddressOfAnotherMachineFailsForGood) {
  server.listen(10);
  for (const auto* source : {"192.0.2.1:0;", "192.0.2.1:4711;", "192.0.2.1;"}) {
    const auto outcome = probe(server.address(source));
    EXPECT_EQ(outcome.reason, textOf(EADDRNOTAVAIL)) << source;
    EXPECT_TRUE(outcome.isPermanent) << source;
  }
}

TEST_F(AProbe, LeavesSourcesThatAreNotNumericToZeroMq) {
  server.listen(10);
  for (const auto* source : {"lo:0;", "*:0;", "[::1]:0;"}) {
    EXPECT_EQ(probe(server.address(source)).reason, "") << source;
  }
}

class AProbeOfAPath : public AProbe {
 protected:
  void SetUp() override {
    folder = (filesystem::temp_directory_path() / "spf-probe-XXXXXX").native();
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
  }
  void TearDown() override { filesystem::remove_all(folder); }

  std::string folder;
};

TEST_F(AProbeOfAPath, HasTheReasonOfTheSystem) {
  EXPECT_EQ(probe("ipc://" + folder + "/nothing").reason, textOf(ENOENT));
  EXPECT_FALSE(probe("ipc://" + folder + "/nothing").isPermanent);
  std::ofstream(folder + "/notes") << "x";
  EXPECT_EQ(probe("ipc://" + folder + "/notes").reason, textOf(ECONNREFUSED));
  EXPECT_EQ(probe("ipc://@spf-probe-" + std::to_string(getpid())).reason, textOf(ECONNREFUSED));
}

TEST_F(AProbeOfAPath, FailsForGoodIfThePathIsTooLong) {
  const auto outcome = probe("ipc://" + folder + "/" + std::string(200, 'x'));
  EXPECT_THAT(outcome.reason, testing::HasSubstr(textOf(ENAMETOOLONG)));
  EXPECT_TRUE(outcome.isPermanent);
}

TEST_F(AProbeOfAPath, HasNoReasonIfTheSocketAcceptsConnections) {
  const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un where{};
  where.sun_family = AF_UNIX;
  const std::string path = folder + "/s";
  path.copy(where.sun_path, sizeof(where.sun_path) - 1);
  ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&where), sizeof(where)), 0);
  ASSERT_EQ(listen(listener, 1), 0);
  EXPECT_EQ(probe("ipc://" + path).reason, "");
  close(listener);
}

}  // namespace
