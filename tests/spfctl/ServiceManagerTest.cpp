#include "supervision/ServiceManager.hpp"

#include <gmock/gmock.h>

#include <optional>
#include <ostream>

#include <unistd.h>

#include "support/NotificationSocket.hpp"
#include "support/Workspace.hpp"

namespace spf::test {

using namespace std::chrono_literals;
using spfctl::ServiceManager;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

class AServiceManager : public testing::Test {
 protected:
  std::vector<std::string> received() { return socket_->received(); }

  Workspace workspace_;
  const std::string path_ = (workspace_.path() / "notify").string();
  std::optional<NotificationSocket> socket_{path_};
  const EnvironmentVariable name_{"NOTIFY_SOCKET", path_};
  const EnvironmentVariable interval_{"WATCHDOG_USEC"};
  const EnvironmentVariable process_{"WATCHDOG_PID"};
  ServiceManager sut_;
};

TEST_F(AServiceManager, HearsNothingBeforeItIsNotified) {
  EXPECT_THAT(received(), IsEmpty());
}

TEST_F(AServiceManager, HearsOnceThatTheHostIsReady) {
  sut_.ready();
  sut_.ready();
  EXPECT_THAT(received(), ElementsAre("READY=1"));
}

TEST_F(AServiceManager, HearsOfAReloadWithItsTimeAndOfItsEnd) {
  const auto microseconds = [] {
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
  };
  sut_.ready();
  const auto before = microseconds();
  sut_.reloading();
  sut_.reloading();
  const auto after = microseconds();
  sut_.ready();
  const auto messages = received();
  ASSERT_THAT(messages, ElementsAre("READY=1", StartsWith("RELOADING=1\nMONOTONIC_USEC="), "READY=1"));
  const auto time = std::stoll(messages[1].substr(messages[1].rfind('=') + 1));
  EXPECT_LE(before, time);
  EXPECT_LE(time, after);
}

TEST_F(AServiceManager, HearsOfNoReloadBeforeTheHostIsReady) {
  sut_.reloading();
  EXPECT_THAT(received(), IsEmpty());
}

TEST_F(AServiceManager, HearsNothingButTheStatusAndLifeAfterTheHostStops) {
  sut_.ready();
  sut_.stopping();
  sut_.stopping();
  sut_.ready();
  sut_.reloading();
  sut_.status("withdrawing");
  sut_.alive();
  EXPECT_THAT(received(), ElementsAre("READY=1", "STOPPING=1", "STATUS=withdrawing", "WATCHDOG=1"));
}

TEST_F(AServiceManager, HearsTheStatusWhenItChanges) {
  for (const auto* text : {"", "1 of 2", "1 of 2", "2 of 2", "1 of 2", ""}) {
    sut_.status(text);
  }
  EXPECT_THAT(received(), ElementsAre("STATUS=1 of 2", "STATUS=2 of 2", "STATUS=1 of 2", "STATUS="));
}

TEST_F(AServiceManager, GetsNoFurtherAssignmentOutOfAStatus) {
  sut_.status("up\nREADY=1\r\x1b[1m\xff");
  EXPECT_THAT(received(), ElementsAre("STATUS=up\\x0aREADY=1\\x0d\\x1b[1m\\xff"));
}

TEST_F(AServiceManager, GetsAPartOfALongStatus) {
  sut_.status(std::string(100'000, 'x'));
  EXPECT_THAT(received(), ElementsAre("STATUS=" + std::string(199, 'x') + "\u2026"));
}

TEST_F(AServiceManager, HearsEachTimeThatTheHostIsAlive) {
  sut_.alive();
  sut_.alive();
  EXPECT_THAT(received(), ElementsAre("WATCHDOG=1", "WATCHDOG=1"));
}

TEST_F(AServiceManager, ThatIsGoneDoesNotEndTheHostAndHearsTheStateWhenItReturns) {
  socket_.reset();
  sut_.ready();
  sut_.status("up");
  sut_.alive();
  socket_.emplace(path_);
  sut_.ready();
  EXPECT_THAT(received(), ElementsAre("READY=1", "STATUS=up"));
}

TEST(AnAbstractNotificationSocket, GetsTheMessages) {
  const auto name = "@spfctl-test-" + std::to_string(getpid());
  NotificationSocket socket(name);
  const EnvironmentVariable variable("NOTIFY_SOCKET", name);
  ServiceManager sut;
  sut.ready();
  EXPECT_THAT(socket.received(), ElementsAre("READY=1"));
}

class NoNotificationSocket : public testing::TestWithParam<std::string> {};

TEST_P(NoNotificationSocket, LeavesEveryFunctionWithoutEffect) {
  const EnvironmentVariable name("NOTIFY_SOCKET", GetParam());
  const EnvironmentVariable interval("WATCHDOG_USEC", "1000000");
  ServiceManager sut;
  sut.ready();
  sut.reloading();
  sut.status("up");
  sut.alive();
  sut.stopping();
  EXPECT_EQ(sut.watchdogInterval(), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(InTheEnvironment, NoNotificationSocket, testing::Values(""));

enum class Process { unnamed, own, parent, nonsense };

struct WatchdogCase {
  const char* name;
  const char* microseconds;
  Process process = Process::unnamed;
  std::optional<std::chrono::microseconds> interval = std::nullopt;
};

void PrintTo(const WatchdogCase& value, std::ostream* stream) {
  *stream << value.name;
}

std::string inEnvironment(Process process) {
  switch (process) {
    case Process::own:
      return std::to_string(getpid());
    case Process::parent:
      return std::to_string(getppid());
    case Process::nonsense:
      return "nobody";
    default:
      return "";
  }
}

class AWatchdogsInterval : public testing::TestWithParam<WatchdogCase> {};

TEST_P(AWatchdogsInterval, IsThatOfTheEnvironmentIfThisProcessIsMeant) {
  const EnvironmentVariable name("NOTIFY_SOCKET", "/does/not/exist");
  const EnvironmentVariable interval("WATCHDOG_USEC", GetParam().microseconds);
  const EnvironmentVariable process("WATCHDOG_PID");
  std::optional<EnvironmentVariable> named;
  if (GetParam().process != Process::unnamed) {
    named.emplace("WATCHDOG_PID", inEnvironment(GetParam().process));
  }
  EXPECT_EQ(ServiceManager().watchdogInterval(), GetParam().interval);
}

INSTANTIATE_TEST_SUITE_P(Of, AWatchdogsInterval,
                         testing::Values(WatchdogCase{"AnyProcess", "30000000", Process::unnamed, 30s},
                                         WatchdogCase{"ThisProcess", "30000000", Process::own, 30s},
                                         WatchdogCase{"AnotherProcess", "30000000", Process::parent},
                                         WatchdogCase{"NoProcess", "30000000", Process::nonsense},
                                         WatchdogCase{"NoValue", ""}, WatchdogCase{"Zero", "0"},
                                         WatchdogCase{"LessThanZero", "-1"}, WatchdogCase{"AUnit", "30s"},
                                         WatchdogCase{"NoLimit", "18446744073709551615"},
                                         WatchdogCase{"WhatTheClockCannotCount", "9223372036854775807"}),
                         [](const auto& value) { return std::string(value.param.name); });

}  // namespace spf::test
