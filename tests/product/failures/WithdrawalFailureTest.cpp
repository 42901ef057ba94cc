#include <future>

#include "spf/test/Gate.hpp"
#include "support/FailingCollaborators.hpp"
#include "support/configurations.hpp"

namespace spf::test {

using Texts = std::vector<std::string>;

namespace {

const std::string removing = "About to remove spf configuration for x";
const std::string swallowed = "removeFromConfigurationAdmin() in waitForAllServicesToBeUnpublished() threw.";

SPFConfiguration published() {
  return SPFConfigurationBuilder("x").addServicePublisher(publisher("p")).build();
}

bool isPublished(const FailingCollaborators& with) {
  return with.admin->properties("zk.spf.framework~x") != nullptr;
}

// Who owns the configuration "x": a handle, or the builder that the handle gave it to.
struct Owner {
  std::unique_ptr<SPFConfiguration> handle = std::make_unique<SPFConfiguration>(published());
  std::unique_ptr<SPFConfigurationBuilder> builder;
};

struct LettingGo {
  const char* name;
  bool ofABuilder;
  void (*letGo)(Owner&);
};

void PrintTo(const LettingGo& way, std::ostream* stream) {
  *stream << way.name;
}

const LettingGo lettingGo[] = {
    {"ResettingAHandle", false, [](Owner& owner) { owner.handle->reset(); }},
    {"DestroyingAHandle", false, [](Owner& owner) { owner.handle.reset(); }},
    {"MovingOverAHandle", false, [](Owner& owner) { *owner.handle = SPFConfiguration(); }},
    {"DestroyingABuilder", true, [](Owner& owner) { owner.builder.reset(); }},
    {"MovingOverABuilder", true, [](Owner& owner) { *owner.builder = SPFConfigurationBuilder(); }}};

class AWithdrawalThatFailsOn : public testing::TestWithParam<LettingGo> {
 protected:
  static Owner owner() {
    Owner owner;
    if (GetParam().ofABuilder) {
      owner.builder = std::make_unique<SPFConfigurationBuilder>(owner.handle->modify());
    }
    return owner;
  }
  static std::string outcome(FailingCollaborators& with, const std::vector<Call>& failing, Thrown thrown,
                             Owner& owner) {
    return with.outcomeOf(failing, thrown, [&] { GetParam().letGo(owner); });
  }
};

INSTANTIATE_TEST_SUITE_P(, AWithdrawalThatFailsOn, testing::ValuesIn(lettingGo),
                         [](const auto& way) { return std::string(way.param.name); });

// The table below is complete as long as these are all the calls.
TEST_P(AWithdrawalThatFailsOn, MakesTheseCallsWhenNothingFails) {
  FailingCollaborators with;
  auto sut = owner();
  Texts expected{"getFramework", "GetServiceReferences", "GetService", "log 4", "GetFactoryConfiguration", "Remove"};
  if (!GetParam().ofABuilder) {
    expected.emplace_back("Unregister");
  }
  EXPECT_EQ(with.callsOf([&] { GetParam().letGo(sut); }), expected);
}

TEST_P(AWithdrawalThatFailsOn, IsSilentLeavesTheConfigurationThereAndEndsTheTracking) {
  const std::pair<Call, Texts> cases[] = {{{"getFramework"}, {}},
                                          {{"GetServiceReferences"}, {}},
                                          {{"GetService"}, {}},
                                          {{"log 4"}, {removing}},
                                          {{"GetFactoryConfiguration"}, {removing}},
                                          {{"Remove"}, {removing}}};
  for (const auto& [call, logged] : cases) {
    SCOPED_TRACE(call.name);
    forEveryKindOfException([call = call, logged = logged](FailingCollaborators& with, Thrown thrown) {
      auto sut = owner();
      EXPECT_EQ(outcome(with, {call}, thrown, sut), nothing);
      EXPECT_TRUE(isPublished(with));
      EXPECT_EQ(with.framework.listeners(), GetParam().ofABuilder ? 1u : 0u);
      EXPECT_EQ(with.log.messages(), logged);

      published().reset();
      EXPECT_FALSE(isPublished(with));
    });
  }
}

// A builder has no listener.
TEST_P(AWithdrawalThatFailsOn, IsSilentAboutAListenerThatCannotBeUnregistered) {
  forEveryKindOfException([](FailingCollaborators& with, Thrown thrown) {
    const bool listening = !GetParam().ofABuilder;
    auto sut = owner();
    EXPECT_EQ(outcome(with, listening ? std::vector<Call>{{"Unregister"}} : std::vector<Call>{}, thrown, sut), nothing);
    EXPECT_FALSE(isPublished(with));
    EXPECT_EQ(with.log.messages(), Texts{removing});
    EXPECT_EQ(with.framework.listeners(), 1u);
    EXPECT_NO_THROW(with.framework.sendPublished("p", 1));
    EXPECT_NO_THROW(with.framework.sendUnpublished("p", 1));
  });
}

TEST_P(AWithdrawalThatFailsOn, IsSilentWhenConfigurationAdminHasNoConfigurationToRemove) {
  FailingCollaborators with;
  auto sut = owner();
  with.admin->answerNoConfigurations();
  EXPECT_EQ(outcome(with, {}, Thrown::standardException, sut), nothing);
  EXPECT_EQ(with.log.messages(), Texts{removing});
}

TEST_P(AWithdrawalThatFailsOn, TouchesNothingWhenThereIsNoFrameworkAnyMore) {
  FailingCollaborators with;
  auto sut = owner();
  with.framework.host().setFramework(nullptr);
  EXPECT_EQ(outcome(with, {}, Thrown::standardException, sut), nothing);
  EXPECT_TRUE(isPublished(with));
  EXPECT_TRUE(with.log.messages().empty());
}

// Waits for a publisher that has unpublished its services already, and so has been unregistered: the
// wait has to register its listener anew and ends at once.
class AnUnpublishWait : public testing::Test {
 protected:
  static SPFConfiguration unpublished(FailingCollaborators& with) {
    auto sut = published();
    with.framework.sendUnpublished("p", 1);
    EXPECT_EQ(with.framework.listeners(), 0u);
    return sut;
  }
  static auto waitFor(SPFConfiguration& sut) {
    return [&sut] { EXPECT_TRUE(sut.waitForAllServicesToBeUnpublished(noWait, "p")); };
  }
  static void expectsWithdrawn(const FailingCollaborators& with, const SPFConfiguration& sut) {
    EXPECT_FALSE(isPublished(with));
    EXPECT_EQ(sut.getConfigurationID(), "");
  }
  static void expectsUntouched(const FailingCollaborators& with, const SPFConfiguration& sut) {
    EXPECT_TRUE(isPublished(with));
    EXPECT_EQ(sut.getConfigurationID(), "x");
  }
  static void succeedsAtASecondTry(FailingCollaborators& with, SPFConfiguration& sut) {
    waitFor(sut)();
    expectsWithdrawn(with, sut);
    EXPECT_EQ(with.framework.listeners(), 0u);
  }
};

// The tables below are complete as long as these are all the calls.
TEST_F(AnUnpublishWait, MakesTheseCalls) {
  FailingCollaborators with;
  auto sut = unpublished(with);
  EXPECT_EQ(with.callsOf(waitFor(sut)),
            (Texts{"getFramework", "RegisterService", "getFramework", "GetServiceReferences", "GetService", "log 4",
                   "GetFactoryConfiguration", "Remove", "Unregister"}));
}

TEST_F(AnUnpublishWait, ThrowsWhatRegisteringThrowsWithdrawsNothingAndCanBeRepeated) {
  for (const auto& call : {Call{"getFramework", 1}, Call{"RegisterService"}}) {
    SCOPED_TRACE(call.name);
    forEveryKindOfException([&](FailingCollaborators& with, Thrown thrown) {
      auto sut = unpublished(with);
      EXPECT_EQ(with.outcomeOf({call}, thrown, waitFor(sut)), textOf(thrown));
      expectsUntouched(with, sut);
      EXPECT_EQ(with.framework.listeners(), 0u);
      EXPECT_TRUE(with.log.messages().empty());
      succeedsAtASecondTry(with, sut);
    });
  }
}

TEST_F(AnUnpublishWait, LogsThatWithdrawingThrewClearsTheIDAndWaitsAllTheSame) {
  const std::pair<Call, Texts> cases[] = {{{"getFramework", 2}, {swallowed}},
                                          {{"GetServiceReferences"}, {swallowed}},
                                          {{"GetService"}, {swallowed}},
                                          {{"log 4"}, {removing, swallowed}},
                                          {{"GetFactoryConfiguration"}, {removing, swallowed}},
                                          {{"Remove"}, {removing, swallowed}}};
  for (const auto& [call, logged] : cases) {
    SCOPED_TRACE(call.name);
    forEveryKindOfException([call = call, logged = logged](FailingCollaborators& with, Thrown thrown) {
      auto sut = unpublished(with);
      EXPECT_EQ(with.outcomeOf({call}, thrown, waitFor(sut)), nothing);
      EXPECT_TRUE(isPublished(with));
      EXPECT_EQ(sut.getConfigurationID(), "");
      EXPECT_EQ(with.framework.listeners(), 0u);
      ASSERT_EQ(with.log.messages(), logged);
      EXPECT_EQ(with.log.records().back().severity, 512u);

      sut.reset();
      EXPECT_TRUE(isPublished(with));
    });
  }
}

TEST_F(AnUnpublishWait, ThrowsWhatASinkThrowsKeepsTheIDAndCanBeRepeated) {
  forEveryKindOfException([](FailingCollaborators& with, Thrown thrown) {
    auto sut = unpublished(with);
    EXPECT_EQ(with.outcomeOf({{"Remove"}, {"log 512"}}, thrown, waitFor(sut)), textOf(thrown));
    expectsUntouched(with, sut);
    EXPECT_EQ(with.framework.listeners(), 1u);
    succeedsAtASecondTry(with, sut);
  });
}

TEST_F(AnUnpublishWait, ThrowsWhatUnregisteringThrowsHasWithdrawnAndCanBeRepeated) {
  forEveryKindOfException([](FailingCollaborators& with, Thrown thrown) {
    auto sut = unpublished(with);
    EXPECT_EQ(with.outcomeOf({{"Unregister"}}, thrown, waitFor(sut)), textOf(thrown));
    expectsWithdrawn(with, sut);
    EXPECT_EQ(with.log.messages(), Texts{removing});
    EXPECT_EQ(with.framework.listeners(), 1u);
    succeedsAtASecondTry(with, sut);
    EXPECT_EQ(with.calls("Remove"), 1);
  });
}

TEST_F(AnUnpublishWait, HearsOfTheUnpublishingAfterAFirstTryThatCouldNotListen) {
  FailingCollaborators with;
  auto sut = published();
  with.framework.sendPublished("p", 1);
  EXPECT_EQ(with.outcomeOf({{"RegisterService"}}, Thrown::standardException,
                           [&] { static_cast<void>(sut.waitForAllServicesToBeUnpublished(noWait, "p")); }),
            "refused");
  auto waiter = std::async(std::launch::async, [&] { return sut.waitForAllServicesToBeUnpublished(patience, "p"); });
  ASSERT_TRUE(with.framework.waitForAListener());
  with.framework.sendUnpublished("p", 1);
  EXPECT_TRUE(waiter.get());
}

TEST_F(AnUnpublishWait, LogsNothingWhenConfigurationAdminHasNoConfigurationToRemove) {
  FailingCollaborators with;
  auto sut = unpublished(with);
  with.admin->answerNoConfigurations();
  waitFor(sut)();
  EXPECT_EQ(with.log.messages(), Texts{removing});
  EXPECT_EQ(sut.getConfigurationID(), "");
}

TEST_F(AnUnpublishWait, AndAResetTakeRemovalsWhoseResultIsNoFuture) {
  FailingCollaborators with;
  with.admin->answerWithoutFutures();
  auto sut = unpublished(with);
  succeedsAtASecondTry(with, sut);
  published().reset();
  EXPECT_FALSE(isPublished(with));
}

}  // namespace

}  // namespace spf::test
