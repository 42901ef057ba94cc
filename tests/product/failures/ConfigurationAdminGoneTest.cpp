#include <atomic>
#include <chrono>
#include <thread>

#include "spf/test/Gate.hpp"
#include "support/ConfigurationAdminDouble.hpp"
#include "support/RecordedLog.hpp"
#include "support/RuntimeCalls.hpp"
#include "support/configurations.hpp"

namespace spf::test {

namespace {

using std::chrono::milliseconds;

// Configuration Admin goes after it was looked up and before it is used.
class AConfigurationAdminThatGoes : public testing::Test {
 protected:
  // Runs the operation, and unregisters the service behind the first look-up.
  template <class Operation>
  void goingBehindTheLookUp(Operation operation) {
    bool gone = false;
    const RuntimeCalls calls([](const char*) {},
                             [&] {
                               if (!gone) {
                                 gone = true;
                                 admin_->unregister();
                               }
                             });
    operation();
    EXPECT_TRUE(gone);
  }

  RecordedLog log_{~0u};
  TestFramework framework_;
  std::shared_ptr<ConfigurationAdminDouble> admin_ = ConfigurationAdminDouble::registerWith(framework_);
};

TEST_F(AConfigurationAdminThatGoes, IsNoneForAPublication) {
  SPFConfiguration built;
  goingBehindTheLookUp(
      [&] { EXPECT_NO_THROW(built = SPFConfigurationBuilder("x").addServicePublisher(publisher("p")).build()); });
  ASSERT_FALSE(built.empty());
  EXPECT_EQ(built.getConfigurationID(), "");
  EXPECT_FALSE(built.waitForAllServices(milliseconds::max(), "p"));
  EXPECT_TRUE(admin_->calls().empty());
  EXPECT_EQ(framework_.listeners(), 0u);
  EXPECT_TRUE(log_.records().empty());
}

TEST_F(AConfigurationAdminThatGoes, LeavesAnUnpublishWaitSilent) {
  auto sut = SPFConfigurationBuilder("x").addServicePublisher(publisher("p")).build();
  goingBehindTheLookUp([&] { EXPECT_FALSE(sut.waitForAllServicesToBeUnpublished(milliseconds(0), "p")); });
  EXPECT_EQ(sut.getConfigurationID(), "");
  EXPECT_TRUE(log_.records().empty());
}

TEST_F(AConfigurationAdminThatGoes, LeavesAResetSilent) {
  auto sut = SPFConfigurationBuilder("x").addServicePublisher(publisher("p")).build();
  goingBehindTheLookUp([&] { sut.reset(); });
  EXPECT_TRUE(sut.empty());
  EXPECT_TRUE(log_.records().empty());
}

// Each round finds the service, finds none, or finds it gone on the way to its use.
TEST_F(AConfigurationAdminThatGoes, AndComesBackOnAnotherThreadNeverMakesAPublicationThrow) {
  constexpr int rounds = 3000;
  std::atomic<bool> done = false;
  std::thread other([&] {
    while (!done) {
      admin_->unregister();
      admin_->registerAgain(framework_);
    }
  });
  int published = 0;
  const auto deadline = std::chrono::steady_clock::now() + spf::test::patience;
  // On a busy machine the other thread may not run during all of the rounds.
  const auto mayContinue = [&] { return published == 0 && std::chrono::steady_clock::now() < deadline; };
  for (int round = 0; round < rounds || mayContinue(); ++round) {
    EXPECT_NO_THROW(published += SPFConfigurationBuilder("x").build().getConfigurationID().empty() ? 0 : 1);
  }
  done = true;
  other.join();
  EXPECT_GT(published, 0);
}

// What the framework's stop takes away with it.
class AFrameworkThatStops : public testing::Test {
 protected:
  static void expectInvalidContext() {
    try {
      static_cast<void>(SPFConfigurationBuilder("late").build());
      ADD_FAILURE() << "nothing was thrown";
    } catch (const std::runtime_error& error) {
      EXPECT_STREQ(error.what(), "The bundle context is no longer valid");
    }
  }

  FrameworkWithConfigurationAdmin framework_;
};

TEST_F(AFrameworkThatStops, BehindTheLookUpHasNoValidContextAndIsAskedForNoService) {
  bool askedForAService = false;
  const RuntimeCalls calls(
      [&](const std::string& name) { askedForAService = askedForAService || name == "GetService"; },
      [&] { framework_.stop(); });
  expectInvalidContext();
  EXPECT_FALSE(askedForAService);
}

TEST_F(AFrameworkThatStops, BeforeTheReferenceIsUsedHasNoValidContext) {
  bool lookedUp = false;
  bool stopped = false;
  const RuntimeCalls calls([](const char*) {}, [&] { lookedUp = true; },
                           [&] {
                             if (lookedUp && !stopped) {
                               stopped = true;
                               framework_.stop();
                             }
                           });
  expectInvalidContext();
  EXPECT_TRUE(stopped);
}

}  // namespace

}  // namespace spf::test
