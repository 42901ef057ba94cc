#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include "spf/test/localHostIsKnown.hpp"
#include "support/TestListener.hpp"

namespace {

namespace filesystem = std::filesystem;
using frameworktest::freePort;
using testing::AllOf;
using testing::HasSubstr;

class AnAddress : public frameworktest::TransportFixture {
 protected:
  void SetUp() override {
    folder = (filesystem::temp_directory_path() / "spf-ipc-XXXXXX").native();
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
  }
  void TearDown() override { filesystem::remove_all(folder); }

  std::string path(const std::string& name) const { return folder + "/" + name; }
  std::string local(const std::string& name) const { return "ipc://" + path(name); }

  std::string errorOfBinding(const std::string& where) {
    const auto listener = newListener();
    bind(where, listener);
    return listener->failure();
  }
  std::string errorOfConnecting(const std::string& where) {
    const auto listener = newListener();
    connect(where, listener);
    return listener->failure();
  }

  std::string folder;
};

/// A local socket as another program would create it.
class ForeignSocket {
 public:
  ForeignSocket(const std::string& path, int type) : descriptor_(socket(AF_UNIX, type | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    EXPECT_EQ(::bind(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  }
  ~ForeignSocket() { close(descriptor_); }
  ForeignSocket(const ForeignSocket&) = delete;
  ForeignSocket& operator=(const ForeignSocket&) = delete;

  void listen() { EXPECT_EQ(::listen(descriptor_, 1), 0); }

 private:
  const int descriptor_;
};

// If one of them waited for another, it would do so for half a second.
class AWildcard : public AnAddress, public testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(OfEachKind, AWildcard,
                         testing::Values("tcp://127.0.0.1:*", "tcp://127.0.0.1:0", "tcp://*:*", "ipc://*"),
                         [](const auto& wildcard) { return std::to_string(wildcard.index); });

TEST_P(AWildcard, CollidesWithNothing) {
  for (int i = 0; i < 3; ++i) {
    bind(GetParam(), server);
  }
  // The report of this endpoint can precede the others only if those wait for something.
  bind(address, client);
  EXPECT_TRUE(client->isOpened.wait());
  EXPECT_EQ(server->openings.count(), 3);
}

TEST_F(AnAddress, WithAPortThatIsNeitherANumberNorAStarIsRefused) {
  for (const auto* port : {"!", "", "-1", "65536", "1e3", "099999"}) {
    EXPECT_THAT(errorOfBinding("tcp://127.0.0.1:" + std::string(port)), HasSubstr("malformed")) << port;
  }
}

TEST_F(AnAddress, CannotBeConnectedToWhenItIsAWildcard) {
  for (const auto* where : {"tcp://127.0.0.1:*", "tcp://127.0.0.1:0", "tcp://*:5555", "ipc://*"}) {
    EXPECT_THAT(errorOfConnecting(where), AllOf(HasSubstr(where), HasSubstr("wildcard"))) << where;
  }
}

TEST_F(AnAddress, WithANulIsRefused) {
  for (const auto* scheme : {"tcp://127.0.0.1:5555", "ipc:///tmp/x", "inproc://x"}) {
    const std::string where = scheme + std::string("\0y", 2);
    EXPECT_THAT(errorOfBinding(where), AllOf(HasSubstr("NUL"), HasSubstr("\\0y"))) << scheme;
    EXPECT_THAT(errorOfConnecting(where), HasSubstr("NUL")) << scheme;
  }
}

TEST_F(AnAddress, WaitsForAPortThatIsBeingFreedUnderAnotherSpelling) {
  const std::string port = freePort();
  const std::string every = "tcp://*:" + port;
  const std::string one = "tcp://127.0.0.1:" + port;
  for (int round = 0; round < 50; ++round) {
    const auto first = newListener();
    const auto second = newListener();
    const auto firstID = bound(round % 2 == 0 ? one : every, first);
    sut->close(firstID);
    const auto secondID = bind(round % 2 == 0 ? every : one, second);
    ASSERT_TRUE(second->isOpened.wait()) << second->failure();
    close(secondID, second);
  }
}

TEST_F(AnAddress, WaitsForAPathThatIsBeingFreedUnderAnotherSpelling) {
  filesystem::create_directory_symlink(folder, path("link"));
  for (int round = 0; round < 20; ++round) {
    const auto first = newListener();
    const auto second = newListener();
    sut->close(bound(local("station"), first));
    const auto secondID = bind(local("link/../") + filesystem::path(folder).filename().string() + "/station", second);
    ASSERT_TRUE(second->isOpened.wait()) << second->failure();
    close(secondID, second);
  }
}

TEST_F(AnAddress, MayNameTheLocalHost) {
  if (!spf::test::localHostIsKnown()) {
    GTEST_SKIP() << spf::test::localHostIsUnknown;
  }
  const std::string port = freePort();
  const std::string where = "tcp://localhost:" + port;
  const auto id = bound(where, server);
  connect(where, client);
  EXPECT_TRUE(client->isOpened.wait());
  EXPECT_EQ(ask("question"), "answer to question");
  EXPECT_THAT(errorOfBinding("tcp://127.0.0.1:" + port), HasSubstr("in use"));
  close(id, server);
}

TEST_F(AnAddress, MayNameANetworkInterface) {
  const std::string port = freePort();
  bound("tcp://lo:" + port, server);
  connect("tcp://127.0.0.1:" + port, client);
  EXPECT_TRUE(client->isOpened.wait());
}

TEST_F(AnAddress, MayBeOfIPv6) {
  const std::string port = freePort();
  const std::string where = "tcp://[::1]:" + port;
  const auto listener = newListener();
  bind(where, listener);
  if (!listener->isOpened.wait()) {
    GTEST_SKIP() << "no IPv6 here: " << listener->failure();
  }
  connect(where, client);
  EXPECT_TRUE(client->isOpened.wait());
  EXPECT_EQ(ask("question"), "answer to question");
  EXPECT_THAT(errorOfBinding("tcp://[::]:" + port), HasSubstr("in use"));
}

TEST_F(AnAddress, OfARegularFileIsRefusedAndTheFileStays) {
  std::ofstream(path("notes")) << "precious";
  EXPECT_THAT(errorOfBinding(local("notes")), AllOf(HasSubstr(path("notes")), HasSubstr("no socket")));
  std::string content;
  std::ifstream(path("notes")) >> content;
  EXPECT_EQ(content, "precious");
}

TEST_F(AnAddress, OfAnythingThatIsNoSocketIsRefused) {
  filesystem::create_directory(path("folder"));
  filesystem::create_symlink("nowhere", path("link"));
  ASSERT_EQ(mkfifo(path("pipe").c_str(), S_IRUSR | S_IWUSR), 0);
  for (const auto* name : {"folder", "link", "pipe"}) {
    EXPECT_THAT(errorOfBinding(local(name)), AllOf(HasSubstr(path(name)), HasSubstr("no socket"))) << name;
    EXPECT_TRUE(filesystem::exists(filesystem::symlink_status(path(name)))) << name;
  }
}

TEST_F(AnAddress, OfASocketOfAnotherProgramIsRefused) {
  ForeignSocket stream(path("stream"), SOCK_STREAM);
  stream.listen();
  const ForeignSocket datagram(path("datagram"), SOCK_DGRAM);
  ForeignSocket packets(path("packets"), SOCK_SEQPACKET);
  packets.listen();
  EXPECT_THAT(errorOfBinding(local("stream")), AllOf(HasSubstr(path("stream")), HasSubstr("in use")));
  EXPECT_THAT(errorOfBinding(local("datagram")), AllOf(HasSubstr(path("datagram")), HasSubstr("another type")));
  EXPECT_THAT(errorOfBinding(local("packets")), AllOf(HasSubstr(path("packets")), HasSubstr("another type")));
}

TEST_F(AnAddress, ReplacesTheSocketOfAnEndedProcess) {
  { ForeignSocket(path("stale"), SOCK_STREAM).listen(); }
  ASSERT_TRUE(filesystem::is_socket(path("stale")));
  bound(local("stale"), server);
  connect(local("stale"), client);
  EXPECT_TRUE(client->isOpened.wait());
}

TEST_F(AnAddress, LeavesNoSocketFileBehind) {
  const auto id = bound(local("station"), server);
  EXPECT_TRUE(filesystem::is_socket(path("station")));
  close(id, server);
  EXPECT_FALSE(filesystem::exists(path("station")));
}

TEST_F(AnAddress, KeepsAFileThatHasReplacedItsOwn) {
  const auto id = bound(local("station"), server);
  filesystem::remove(path("station"));
  std::ofstream(path("station")) << "other";
  close(id, server);
  EXPECT_TRUE(filesystem::is_regular_file(path("station")));
}

TEST_F(AnAddress, ThatIsAnAbstractNameAccessesNoFile) {
  const auto before = filesystem::current_path();
  filesystem::current_path(folder);
  const std::string name = "@spf-" + std::to_string(getpid());
  std::ofstream(name) << "precious";
  const auto id = bound("ipc://" + name, server);
  connect("ipc://" + name, client);
  EXPECT_TRUE(client->isOpened.wait());
  EXPECT_THAT(errorOfBinding("ipc://" + name), HasSubstr("in use"));
  close(id, server);
  EXPECT_TRUE(filesystem::exists(name));
  filesystem::current_path(before);
}

TEST_F(AnAddress, ThatIsTooLongForTheKernelIsRefused) {
  const auto name = std::string(200, 'x');
  EXPECT_THAT(errorOfBinding(local(name)), AllOf(HasSubstr(name), HasSubstr("too long")));
}

TEST_F(AnAddress, InsideTheProcessIsConnectedOnlyOnceItIsBound) {
  connect("inproc://inside", client);
  bound(address, newListener());  // the connection was tried before
  EXPECT_FALSE(client->isOpened.isOpen());
  EXPECT_THAT(errorOf("question"), HasSubstr("not connected"));
  bound("inproc://inside", server);
  EXPECT_TRUE(client->isOpened.wait());
  EXPECT_EQ(ask("question"), "answer to question");
}

TEST_F(AnAddress, InsideTheProcessIsConnectedAgainWhenItIsBoundAgain) {
  connect("inproc://inside", client);
  for (int round = 1; round <= 5; ++round) {
    const auto listener = newListener();
    const auto id = bound("inproc://inside", listener);
    ASSERT_TRUE(client->openings.waitFor(round));
    EXPECT_EQ(ask("question"), "answer to question");
    close(id, listener);
    ASSERT_TRUE(client->losses.waitFor(round));
    EXPECT_THAT(errorOf("question"), HasSubstr("not connected"));
  }
}

TEST_F(AnAddress, InsideTheProcessLeavesNoDescriptorIfItIsNeverBound) {
  const auto descriptors = [] {
    return std::distance(filesystem::directory_iterator("/proc/self/fd"), filesystem::directory_iterator());
  };
  const auto round = [this] {
    const auto listener = newListener();
    const auto id = connect("inproc://nobody", listener);
    close(id, listener);
  };
  round();
  const auto before = descriptors();
  for (int i = 0; i < 100; ++i) {
    round();
  }
  bound(address, server);
  EXPECT_LE(descriptors(), before + 10);
}

TEST_F(AnAddress, InsideTheProcessCollidesWithNoNameOfTheTransportsOwn) {
  std::vector<Listener> listeners;
  for (int i = 0; i < 20; ++i) {
    listeners.push_back(newListener());
    bind("inproc://monitor-" + std::to_string(i), listeners.back());
    listeners.push_back(newListener());
    bind("inproc://monitor/" + std::to_string(i), listeners.back());
  }
  connectPair();
  for (const auto& listener : listeners) {
    EXPECT_TRUE(listener->isOpened.wait());
  }
}

TEST_F(AnAddress, ReportsThatAConnectionIsLostAndRestored) {
  connect(address, client);
  for (int round = 1; round <= 3; ++round) {
    const auto listener = newListener();
    const auto id = bound(address, listener);
    ASSERT_TRUE(client->openings.waitFor(round));
    close(id, listener);
    ASSERT_TRUE(client->losses.waitFor(round));
    EXPECT_THAT(errorOf("question"), HasSubstr("not connected"));
  }
}

}  // namespace
