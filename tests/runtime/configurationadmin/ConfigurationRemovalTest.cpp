#include <stdexcept>

#include "ConfigurationAdminFixture.hpp"

namespace spf::test {

using testing::ElementsAre;

class ARemoval : public ConfigurationAdminFixture {};

TEST_F(ARemoval, LeavesAnObjectThatRefusesEveryCall) {
  const auto sut = admin->GetConfiguration("a");
  sut->Update();
  sut->Remove().get();
  const auto says = testing::ThrowsMessage<std::runtime_error>("This Configuration has been Removed");

  EXPECT_THAT([&] { sut->GetPid(); }, says);
  EXPECT_THAT([&] { sut->GetFactoryPid(); }, says);
  EXPECT_THAT([&] { sut->GetProperties(); }, says);
  EXPECT_THAT([&] { sut->GetChangeCount(); }, says);
  EXPECT_THAT([&] { sut->Update(); }, says);
  EXPECT_THAT([&] { sut->SafeUpdate(); }, says);
  EXPECT_THAT([&] { sut->UpdateIfDifferent(valued(1)); }, says);
  EXPECT_THAT([&] { sut->SafeUpdateIfDifferent(valued(1)); }, says);
  EXPECT_THAT([&] { sut->Remove(); }, says);
  EXPECT_THAT([&] { sut->SafeRemove(); }, says);
  EXPECT_EQ(sut->GetInstanceCount(), 1u);
}

TEST_F(ARemoval, AllowsANewObject) {
  const auto old = admin->GetConfiguration("a");
  old->Update(valued(1));
  old->Remove().get();
  const auto sut = admin->GetConfiguration("a");

  EXPECT_NE(sut, old);
  EXPECT_EQ(sut->GetProperties(), AnyMap());
  EXPECT_EQ(sut->GetChangeCount(), 0u);
  EXPECT_EQ(sut->GetInstanceCount(), 2u);
}

TEST_F(ARemoval, OfAConfigurationWithoutUpdateIsNotDelivered) {
  registerWithPid(std::make_shared<RecordingFactory>(journal), "f");
  registerListener(std::make_shared<RecordingListener>(journal));
  EXPECT_TRUE(becomesReady(admin->GetConfiguration("f~i")->Remove()));
  admin->GetConfiguration("f~j")->SafeRemove()->get();
  admin->GetConfiguration("f~k")->Update(valued(1)).get();

  EXPECT_THAT(journal.entries(), ElementsAre("event updated pid: factory:f~k", "factory f~k=1"));
}

TEST_F(ARemoval, IsDeliveredToTheFactory) {
  registerWithPid(std::make_shared<RecordingFactory>(journal), "f");
  const auto sut = admin->GetConfiguration("f~i");
  sut->Update(valued(1)).get();
  sut->SafeRemove()->get();

  EXPECT_THAT(journal.entries(), ElementsAre("factory f~i=1", "factory f~i removed"));
}

TEST_F(ARemoval, LooksLikeEmptyPropertiesToAService) {
  registerWithPid(std::make_shared<RecordingService>(journal), "a");
  const auto sut = admin->GetConfiguration("a");
  sut->Update(valued(1)).get();
  sut->Remove().get();

  EXPECT_THAT(journal.entries(), ElementsAre("service=1", "service="));
}

TEST_F(ARemoval, ReplacesAnUpdateThatWasNotDeliveredYet) {
  registerWithPid(std::make_shared<RecordingFactory>(journal), "f");
  blockDeliveries();
  const auto sut = admin->GetConfiguration("f~i");
  sut->Update(valued(1));
  const auto last = sut->Remove();
  unblockDeliveries();
  last.get();

  EXPECT_THAT(journal.entries(), ElementsAre("blocker blocker~it=0", "factory f~i removed", "factory f~i removed"));
}

#ifdef SPF_RUNTIME_BUNDLED
TEST_F(ARemoval, IsDeliveredBeforeANewConfigurationOfThatPid) {
  registerWithPid(std::make_shared<RecordingFactory>(journal), "f");
  registerWithPid(std::make_shared<RecordingService>(journal), "f~i");
  admin->GetConfiguration("f~i")->Update(valued(1)).get();
  blockDeliveries();
  admin->GetConfiguration("f~i")->Remove();
  const auto last = admin->GetConfiguration("f~i")->Update(valued(2));
  unblockDeliveries();
  last.get();

  EXPECT_THAT(journal.entries(), ElementsAre("service=1", "factory f~i=1", "blocker blocker~it=0",
                                             "service=", "factory f~i removed", "service=2", "factory f~i=2"));
}

TEST_F(ARemoval, NeverHidesTheLastStateOfANewConfiguration) {
  registerWithPid(std::make_shared<RecordingFactory>(journal), "f");
  for (int i = 0; i < 200; ++i) {
    const auto old = admin->GetConfiguration("f~i");
    old->Update(valued(-1));
    old->Remove();
    const auto last = admin->GetConfiguration("f~i")->Update(valued(i));
    last.get();
    const auto entries = journal.entries();
    ASSERT_EQ(entries.back(), "factory f~i=" + std::to_string(i));
    ASSERT_EQ(*(entries.end() - 2), "factory f~i removed");
  }
}

TEST_F(ARemoval, BeforeTheRegistrationIsNotDeliveredToALateFactory) {
  const auto sut = admin->GetConfiguration("f~i");
  blockDeliveries();
  sut->Update(valued(1));
  sut->Remove();
  registerWithPid(std::make_shared<RecordingFactory>(journal), "f");
  const auto last = admin->GetConfiguration("f~j")->Update(valued(2));
  unblockDeliveries();
  last.get();

  EXPECT_THAT(journal.entries(), ElementsAre("blocker blocker~it=0", "factory f~j=2"));
}
#endif

}  // namespace spf::test
