#include <thread>

#include "agent/spf/frameworksetup/setupFramework.hpp"
#include "spf/test/Gate.hpp"
#include "support/AllocationHook.hpp"
#include "support/ConfigurationAdminDouble.hpp"
#include "support/RecordedLog.hpp"
#include "support/configurations.hpp"
#include "support/endpoints.hpp"

namespace spf::test {

using std::chrono::milliseconds;
using Texts = std::vector<std::string>;

class DiagnosticLogging : public testing::Test {
 protected:
  // Everything that can be logged, in one go.
  void logEverything() {
    admin_->onCall(nullptr);
    auto sut = SPFConfigurationBuilder("x").addServicePublisher(publisher("p", {text("c")}, {text("b")})).build();
    framework_.sendBound("p", 1, text("b"));
    framework_.sendConnected("p", 1, text("c"));
    framework_.sendPublished("p", 1);
    admin_->onCall([](const std::string& call) {
      if (call.rfind("Remove", 0) == 0) {
        throw std::runtime_error("refused");
      }
    });
    static_cast<void>(sut.waitForAllServicesToBeUnpublished(milliseconds(0), "p"));
  }

  TestFramework framework_;
  std::shared_ptr<ConfigurationAdminDouble> admin_ = ConfigurationAdminDouble::registerWith(framework_);
};

const Texts progressMessages = {"ConfigTracker completeEndpointBind b", "ConfigTracker completeEndpointConnect c",
                                "ConfigTracker completeAllServicesPublished",
                                "About to remove spf configuration for x"};
const char swallowedMessage[] = "removeFromConfigurationAdmin() in waitForAllServicesToBeUnpublished() threw.";

TEST_F(DiagnosticLogging, WithOnlyBitNineSetWritesOnlySwallowedExceptions) {
  RecordedLog log(512);
  logEverything();
  EXPECT_EQ(log.messages(), Texts{swallowedMessage});
}

TEST_F(DiagnosticLogging, WithBitTwoSetWritesOneRecordForARemovedConfiguration) {
  RecordedLog log(4);
  SPFConfigurationBuilder("X").build().reset();
  EXPECT_EQ(log.records(), std::vector<LogRecord>{progress("About to remove spf configuration for X")});
}

TEST_F(DiagnosticLogging, WithoutARecordWritesNothingAndTurnsNoEndpointIntoText) {
  for (const auto withholdRecords : {+[] { RecordedLog::setCoreEnabled(false); }, &RecordedLog::declineRecords}) {
    RecordedLog log(4 | 512);
    withholdRecords();
    int conversions = 0;
    const Any endpoint(ObservedEndpoint{"b", [] {}, [&] { ++conversions; }});
    auto sut = SPFConfigurationBuilder("x").addServicePublisher(publisher("p", {}, {endpoint})).build();
    framework_.sendBound("p", 1, endpoint);
    EXPECT_TRUE(sut.waitForAllEndpoints(milliseconds(0), "p"));
    logEverything();
    EXPECT_EQ(conversions, 0);
    EXPECT_TRUE(log.records().empty());
  }
}

TEST_F(DiagnosticLogging, WithItsLevelOffTurnsNoEndpointIntoText) {
  RecordedLog log(~4u);
  int conversions = 0;
  const Any endpoint(ObservedEndpoint{"b", [] {}, [&] { ++conversions; }});
  auto sut = SPFConfigurationBuilder("x").addServicePublisher(publisher("p", {endpoint}, {endpoint})).build();
  framework_.sendBound("p", 1, endpoint);
  framework_.sendConnected("p", 1, endpoint);
  EXPECT_TRUE(sut.waitForAllEndpoints(milliseconds(0), "p"));
  EXPECT_EQ(conversions, 0);
}

TEST_F(DiagnosticLogging, ByManyThreadsForTheFirstTimeMakesOneLoggerAndLosesNothing) {
  // The first time, that is, when this test has a process to itself, as it has under ctest.
  RecordedLog log(4);
  constexpr int threads = 16;
  SPFConfigurationBuilder builder("x");
  for (int i = 0; i < threads; ++i) {
    builder.addServicePublisher(publisher("p" + std::to_string(i), {}, {Any(i)}));
  }
  const auto sut = builder.build();
  Gate start;
  std::vector<std::thread> senders;
  for (int i = 0; i < threads; ++i) {
    senders.emplace_back([&, i] {
      ASSERT_TRUE(start.wait());
      // Lets the others overtake in the middle of whatever takes memory, such as making a logger.
      const AllocationHook hook([](int, std::size_t) { std::this_thread::yield(); });
      framework_.sendBound("p" + std::to_string(i), 1, Any(i));
    });
  }
  start.open();
  for (auto& sender : senders) {
    sender.join();
  }
  const auto records = log.records();
  EXPECT_EQ(log.loggers(), 1u);
  EXPECT_EQ(records.size(), static_cast<std::size_t>(threads));
  for (int i = 0; i < threads; ++i) {
    EXPECT_EQ(
        std::count(records.begin(), records.end(), progress("ConfigTracker completeEndpointBind " + std::to_string(i))),
        1);
  }
}

TEST_F(DiagnosticLogging, WritesNothingAtAllWhileNoLevelIsEnabled) {
  RecordedLog log(0);
  logEverything();
  EXPECT_TRUE(log.records().empty());
}

TEST_F(DiagnosticLogging, WithEveryLevelEnabledWritesTheFiveMessagesAndNothingElse) {
  RecordedLog log(~0u);
  logEverything();
  std::vector<LogRecord> expected;
  for (const auto& message : progressMessages) {
    expected.push_back(progress(message));
  }
  expected.push_back({512, "agent::spf::frameworksetup", swallowedMessage});
  EXPECT_EQ(log.records(), expected);
}

TEST_F(DiagnosticLogging, WithEveryLevelEnabledWritesNothingForAnythingElse) {
  RecordedLog log(~0u);
  SPFConfigurationBuilder dangling("y");
  dangling.addServiceMapping("nobody", "p");
  EXPECT_THROW(static_cast<void>(dangling.build()), std::runtime_error);
  auto sut = SPFConfigurationBuilder("x").addServicePublisher(publisher("p", {text("c")})).build();
  sut = sut.modify().addServiceInterfaceToAllServicePublishers(serviceInterface("a")).build();
  EXPECT_FALSE(sut.waitForAllEndpoints(milliseconds(0), "p"));
  EXPECT_FALSE(sut.waitForAllServices(milliseconds(1), "p"));
  EXPECT_THROW(static_cast<void>(sut.listOutstandingEndpoints("q")), std::out_of_range);
  framework_.sendBound("p", 2, text("stranger"));
  framework_.sendError("p", 2, makeError<std::runtime_error>("broken"));
  framework_.sendUnpublished("p", 2);
  agent::spf::frameworksetup::setupFramework();
  EXPECT_EQ(log.records(), std::vector<LogRecord>());
}

TEST_F(DiagnosticLogging, ByManyThreadsAtBothLevelsGivesEachMessageItsOwnLevel) {
  RecordedLog log(4 | 512);
  admin_->onCall([](const std::string& call) {
    if (call.rfind("Remove", 0) == 0) {
      throw std::runtime_error("refused");
    }
  });
  constexpr int threads = 4;
  constexpr int rounds = 100;
  Gate start;
  std::vector<std::thread> removers;
  for (int i = 0; i < threads; ++i) {
    removers.emplace_back([&, id = "x" + std::to_string(i)] {
      ASSERT_TRUE(start.wait());
      for (int round = 0; round < rounds; ++round) {
        auto sut = SPFConfigurationBuilder(id).addServicePublisher(publisher("p")).build();
        static_cast<void>(sut.waitForAllServicesToBeUnpublished(milliseconds(0), "p"));
      }
    });
  }
  start.open();
  for (auto& remover : removers) {
    remover.join();
  }
  const auto records = log.records();
  EXPECT_EQ(records.size(), 2u * threads * rounds);
  for (const auto& record : records) {
    EXPECT_EQ(record.severity, record.message == swallowedMessage ? 512u : 4u) << record;
  }
}

TEST_F(DiagnosticLogging, ReadsTheMaskAfreshForEveryMessage) {
  RecordedLog first(0);
  SPFConfigurationBuilder("a").build().reset();
  RecordedLog second(4);
  SPFConfigurationBuilder("b").build().reset();
  EXPECT_EQ(first.messages(), Texts{"About to remove spf configuration for b"});
}

TEST_F(DiagnosticLogging, WritesRecordsWhileAnExceptionIsAlreadyOnItsWay) {
  RecordedLog log(4);
  try {
    const auto sut = SPFConfigurationBuilder("unwound").build();
    throw std::runtime_error("on its way");
  } catch (const std::runtime_error&) {
  }
  EXPECT_EQ(log.messages(), Texts{"About to remove spf configuration for unwound"});
}

}  // namespace spf::test
