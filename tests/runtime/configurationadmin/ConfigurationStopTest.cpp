#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>

#include <stdexcept>
#include <thread>

#include "ConfigurationAdminFixture.hpp"

namespace spf::test {

using testing::ElementsAre;

class AStoppedConfigurationAdmin : public ConfigurationAdminFixture {
 protected:
  void stopBundle() {
    admin.reset();
    bundle.Stop();
  }
};

TEST_F(AStoppedConfigurationAdmin, NoLongerOffersItsService) {
  stopBundle();

  EXPECT_FALSE(context().GetServiceReference<ConfigurationAdmin>());
}

TEST_F(AStoppedConfigurationAdmin, HasWithdrawnEveryConfigurationOnTheStoppingThread) {
  const auto factory = std::make_shared<RecordingFactory>(journal);
  std::thread::id thread;
  factory->onRemoved = [&](const std::string&) { thread = std::this_thread::get_id(); };
  registerWithPid(factory, "f");
  admin->GetConfiguration("f~a")->Update(valued(1)).get();
  admin->GetConfiguration("f~never");
  stopBundle();

  EXPECT_THAT(journal.entries(), ElementsAre("factory f~a=1", "factory f~a removed"));
  EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(AStoppedConfigurationAdmin, HasDeliveredEmptyPropertiesToServices) {
  registerWithPid(std::make_shared<RecordingService>(journal), "a");
  admin->GetConfiguration("a")->Update(valued(1)).get();
  stopBundle();

  EXPECT_THAT(journal.entries(), ElementsAre("service=1", "service="));
}

TEST_F(AStoppedConfigurationAdmin, HasMadeThePendingDeliveries) {
  registerWithPid(std::make_shared<RecordingFactory>(journal), "f");
  blockDeliveries();
  const auto queued = admin->GetConfiguration("f~i")->Update(valued(1));
  std::thread stopping([&] { stopBundle(); });
  unblockDeliveries();
  stopping.join();

  EXPECT_EQ(queued.wait_for(std::chrono::seconds(0)), std::future_status::ready);
  EXPECT_THAT(journal.entries(), testing::UnorderedElementsAre("blocker blocker~it=0", "factory f~i=1",
                                                               "blocker blocker~it removed", "factory f~i removed"));
}

TEST_F(AStoppedConfigurationAdmin, BehavesTheSameAfterAStopOfTheFramework) {
  registerWithPid(std::make_shared<RecordingFactory>(journal), "f");
  admin->GetConfiguration("f~a")->Update(valued(1)).get();
  stopFramework();

  EXPECT_THAT(journal.entries(), ElementsAre("factory f~a=1", "factory f~a removed"));
}

TEST_F(AStoppedConfigurationAdmin, MayHaveBeenStoppedByADelivery) {
  const auto factory = std::make_shared<RecordingFactory>(journal);
  factory->onUpdated = [&](const std::string&) { framework.Stop(); };
  registerWithPid(factory, "f");
  admin->GetConfiguration("f~a")->Update(valued(1)).get();
  stopFramework();

  EXPECT_THAT(journal.entries(), ElementsAre("factory f~a=1", "factory f~a removed"));
}

TEST_F(AStoppedConfigurationAdmin, ForgetsEverything) {
  admin->GetConfiguration("a")->Update(valued(1)).get();
  stopBundle();
  bundle.Start();
  admin = context().GetService(context().GetServiceReference<ConfigurationAdmin>());

  EXPECT_THAT(admin->ListConfigurations(), ElementsAre());
  EXPECT_EQ(admin->GetConfiguration("a")->GetChangeCount(), 0u);
  EXPECT_EQ(admin->GetConfiguration("a")->GetInstanceCount(), 1u);
}

TEST_F(AStoppedConfigurationAdmin, StillWorksForAHolderOfItsServiceWithoutFutures) {
  const auto held = admin;
  stopBundle();
  const auto sut = held->GetConfiguration("a");
  const auto other = held->GetConfiguration("b");

  EXPECT_FALSE(sut->Update(valued(1)).valid());
  EXPECT_THROW(sut->SafeUpdate(valued(2))->get(), std::future_error);
  EXPECT_THROW(sut->SafeUpdate(valued(2))->wait(), std::future_error);
  EXPECT_THROW(sut->SafeUpdate(valued(2))->wait_for(0), std::future_error);
  EXPECT_EQ(sut->GetProperties(), valued(2));
  EXPECT_FALSE(other->UpdateIfDifferent(valued(3)).second.valid());
  EXPECT_TRUE(becomesReady(other->UpdateIfDifferent(valued(3)).second));
  EXPECT_FALSE(other->Remove().valid());
  EXPECT_THAT(held->ListConfigurations(), ElementsAre(sut));
}

TEST_F(AStoppedConfigurationAdmin, WithdrawsConfigurationsWithTheLastHolderOfItsService) {
  const auto factory = std::make_shared<RecordingFactory>(journal);
  std::thread::id thread;
  factory->onRemoved = [&](const std::string&) { thread = std::this_thread::get_id(); };
  registerWithPid(factory, "f");
  auto held = admin;
  held->GetConfiguration("f~a")->Update(valued(1)).get();
  stopBundle();
  held->GetConfiguration("f~b")->Update(valued(2));
  EXPECT_THAT(journal.entries(), ElementsAre("factory f~a=1"));

  std::thread::id releasing;
  std::thread([&] {
    releasing = std::this_thread::get_id();
    held.reset();
  }).join();

  EXPECT_THAT(journal.entries(), ElementsAre("factory f~a=1", "factory f~a removed", "factory f~b removed"));
  EXPECT_EQ(thread, releasing);
}

#ifdef SPF_RUNTIME_BUNDLED
TEST_F(AStoppedConfigurationAdmin, LeavesConfigurationsThatWorkWithoutDeliveries) {
  registerWithPid(std::make_shared<RecordingFactory>(journal), "f");
  const auto sut = admin->GetConfiguration("f~a");
  const auto other = admin->GetConfiguration("f~b");
  sut->Update(valued(1)).get();
  stopBundle();

  EXPECT_EQ(sut->GetProperties(), valued(1));
  EXPECT_TRUE(becomesReady(sut->Update(valued(2))));
  EXPECT_EQ(sut->GetProperties(), valued(2));
  other->SafeUpdate(valued(3))->get();
  EXPECT_TRUE(becomesReady(sut->Remove()));
  EXPECT_THROW(sut->GetPid(), std::runtime_error);
  EXPECT_THAT(journal.entries(), ElementsAre("factory f~a=1", "factory f~a removed"));
}

TEST_F(AStoppedConfigurationAdmin, LeavesConfigurationsThatMayBeReleasedLater) {
  auto sut = admin->GetConfiguration("a");
  auto removed = admin->GetConfiguration("b");
  sut->Update(valued(1)).get();
  removed->Update(valued(1)).get();
  removed->Remove();
  stopFramework();
  bundle = cppmicroservices::Bundle();
  framework = cppmicroservices::FrameworkFactory().NewFramework();

  EXPECT_EQ(sut->GetProperties(), valued(1));
  sut.reset();
  removed.reset();
}

TEST_F(AStoppedConfigurationAdmin, LetsADeliveryThatWaitsForItTimeOut) {
  const auto factory = std::make_shared<RecordingFactory>(journal);
  factory->onUpdated = [&](const std::string&) {
    framework.Stop();
    EXPECT_EQ(framework.WaitForStop(std::chrono::milliseconds(20)).GetType(),
              cppmicroservices::FrameworkEvent::FRAMEWORK_WAIT_TIMEDOUT);
  };
  registerWithPid(factory, "f");
  admin->GetConfiguration("f~a")->Update(valued(1)).get();
  stopFramework();

  EXPECT_THAT(journal.entries(), ElementsAre("factory f~a=1", "factory f~a removed"));
}

TEST_F(AStoppedConfigurationAdmin, HasNoFuturesForTheDeliveryThatHasStoppedIt) {
  const auto factory = std::make_shared<RecordingFactory>(journal);
  factory->onUpdated = [&](const std::string&) {
    const auto held = std::move(admin);
    bundle.Stop();
    const auto late = held->GetConfiguration("late");
    EXPECT_FALSE(late->Update(valued(2)).valid());
    EXPECT_THROW(late->SafeUpdate(valued(3))->wait(), std::future_error);
    EXPECT_THROW(late->SafeUpdate(valued(4))->wait_for(0), std::future_error);
    journal.write("refused");
  };
  registerWithPid(factory, "f");
  admin->GetConfiguration("f~a")->Update(valued(1)).get();

  EXPECT_THAT(journal.entries(), ElementsAre("factory f~a=1", "refused", "factory f~a removed"));
}

TEST_F(AStoppedConfigurationAdmin, MayHaveBeenStoppedInsideOfADelivery) {
  const auto factory = std::make_shared<RecordingFactory>(journal);
  factory->onUpdated = [&](const std::string&) {
    stopBundle();
    journal.write("stopped");
  };
  registerWithPid(factory, "f");
  admin->GetConfiguration("f~a")->Update(valued(1)).get();

  EXPECT_THAT(journal.entries(), ElementsAre("factory f~a=1", "factory f~a removed", "stopped"));
}
#endif

}  // namespace spf::test
