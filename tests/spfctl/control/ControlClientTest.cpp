#include "control/ControlClient.hpp"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "control/ControlServer.hpp"
#include "spf/test/Gate.hpp"
#include "support/Workspace.hpp"

namespace spf::test {

using nlohmann::json;
using nlohmann::ordered_json;
using namespace spfctl;
using std::chrono::steady_clock;

namespace {

steady_clock::time_point later() {
  return steady_clock::now() + patience;
}

class AControlClient : public testing::Test {
 protected:
  void start(ControlServer::Handler handler) {
    server_ = std::make_unique<ControlServer>(folder_, "h");
    server_->start(std::move(handler));
  }

  // Sends these bytes as the answer to every request.
  void startSending(const std::string& bytes) {
    start([bytes](const json&, const std::shared_ptr<Reply>& reply) {
      reply->stream(bytes, [] { return std::string(); });
    });
  }

  template <class Error, class Action>
  static std::string messageOf(Action action) {
    try {
      action();
    } catch (const Error& error) {
      return error.what();
    } catch (const std::exception& error) {
      return std::string("another error: ") + error.what();
    }
    return "no error";
  }

  const Workspace workspace_;
  const ControlFolder folder_{workspace_.path() / "hosts", ControlFolder::Purpose::serve};
  std::unique_ptr<ControlServer> server_;
};

}  // namespace

TEST_F(AControlClient, SendsTheVersionAndReadsTheAnswer) {
  start([](const json& request, const std::shared_ptr<Reply>& reply) { reply->finish({{"request", request}}); });
  ControlClient sut(folder_, "h", later());
  sut.send({{"request", "status"}, {"text", "\xff"}});
  EXPECT_EQ(sut.readAnswer().dump(), "{\"request\":{\"request\":\"status\",\"text\":\"\xef\xbf\xbd\",\"version\":1}}");
  sut.send({{"request", "again"}});
  EXPECT_EQ(sut.readAnswer()["request"]["request"], "again");
}

TEST_F(AControlClient, SaysThatThereIsNoHost) {
  const auto expected = "no host named 'h' in " + folder_.path().string();
  EXPECT_EQ(messageOf<NoHostError>([&] { ControlClient(folder_, "h", later()); }), expected);
  const ControlFolder missing(workspace_.path() / "missing", ControlFolder::Purpose::ask);
  EXPECT_EQ(messageOf<NoHostError>([&] { ControlClient(missing, "h", later()); }),
            "no host named 'h' in " + missing.path().string());
}

TEST_F(AControlClient, TakesASocketThatWasLeftOverForNoHost) {
  const int left = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, folder_.socketOf("h").c_str(), sizeof address.sun_path - 1);
  ASSERT_EQ(bind(left, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  close(left);
  EXPECT_EQ(messageOf<NoHostError>([&] { ControlClient(folder_, "h", later()); }),
            "no host named 'h' in " + folder_.path().string());
}

TEST_F(AControlClient, NamesASocketWhosePathIsTooLong) {
  const std::string host(100, 'x');
  EXPECT_EQ(messageOf<ControlError>([&] { ControlClient(folder_, host, later()); }),
            "control socket '" + folder_.socketOf(host).string() + "': File name too long");
}

TEST_F(AControlClient, SaysThatTheConnectionWasLost) {
  Gate received;
  start([&](const json&, const std::shared_ptr<Reply>&) { received.open(); });
  ControlClient sut(folder_, "h", later());
  sut.send({{"request", "status"}});
  EXPECT_TRUE(received.wait());
  server_.reset();
  EXPECT_EQ(messageOf<ConnectionLostError>([&] { sut.readLine(); }), "the connection to host 'h' was lost");
}

TEST_F(AControlClient, TakesALineWithoutAnEndForALostConnection) {
  Gate received;
  start([&](const json&, const std::shared_ptr<Reply>& reply) {
    reply->stream("half of a li", [] { return std::string(); });
    received.open();
  });
  ControlClient sut(folder_, "h", later());
  sut.send({{"request", "watch"}});
  ASSERT_TRUE(received.wait());
  server_->stop();
  server_.reset();
  EXPECT_EQ(messageOf<ConnectionLostError>([&] { sut.readLine(); }), "the connection to host 'h' was lost");
}

TEST_F(AControlClient, SaysThatThereWasNoAnswerInTime) {
  start([](const json&, const auto&) {});
  ControlClient sut(folder_, "h", later());
  sut.send({{"request", "status"}});
  sut.setDeadline(steady_clock::now());
  const auto expected = "host 'h' has not answered in time";
  EXPECT_EQ(messageOf<NoAnswerError>([&] { sut.readLine(); }), expected);
  EXPECT_EQ(messageOf<NoAnswerError>([&] { sut.readAnswer(); }), expected);
  EXPECT_EQ(messageOf<NoAnswerError>([&] { sut.waitForEnd(); }), expected);
}

TEST_F(AControlClient, SaysThatItCouldNotConnectInTime) {
  start([](const json&, const auto&) {});
  EXPECT_EQ(messageOf<NoAnswerError>([&] {
              ControlClient sut(folder_, "h", steady_clock::now() - std::chrono::seconds(1));
              sut.readLine();
            }),
            "host 'h' has not answered in time");
}

TEST_F(AControlClient, SaysThatAnAnswerIsNone) {
  for (const auto* line : {"nonsense\n", "[1]\n", "\n", "{\"a\":\n"}) {
    startSending(line);
    ControlClient sut(folder_, "h", later());
    sut.send({{"request", "status"}});
    EXPECT_EQ(messageOf<ControlError>([&] { sut.readAnswer(); }), "host 'h' has sent something that is no answer");
    server_.reset();
  }
}

TEST_F(AControlClient, ReadsTheReasonOfAHostThatTakesNoRequest) {
  start([](const json&, const auto&) {});
  ControlClient sut(folder_, "h", later());
  sut.send({{"request", "apply"}, {"text", std::string(20U << 20U, 'x')}});
  EXPECT_EQ(sut.readAnswer()["error"], "a request of more than 8388608 bytes");
}

TEST_F(AControlClient, WaitsForTheEndOfTheHost) {
  startSending("an event\nanother event\n");
  ControlClient sut(folder_, "h", later());
  sut.send({{"request", "watch"}});
  server_->stop();
  server_.reset();
  EXPECT_NO_THROW(sut.waitForEnd());
}

}  // namespace spf::test
