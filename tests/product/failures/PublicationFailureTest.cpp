#include <algorithm>

#include <cppmicroservices/ServiceFactory.h>

#include "agent/spf/frameworksetup/setupFramework.hpp"
#include "spf/test/Gate.hpp"
#include "support/FailingCollaborators.hpp"
#include "support/configurations.hpp"

namespace spf::test {

using Texts = std::vector<std::string>;

namespace {

using agent::spf::frameworksetup::setupFramework;

const Call callsOfEveryPublication[] = {{"installAndStart", 1}, {"installAndStart", 2}, {"installAndStart", 3},
                                        {"installAndStart", 4}, {"installAndStart", 5}, {"installAndStart", 6},
                                        {"installAndStart", 7}, {"getFramework", 1},    {"GetServiceReferences", 1},
                                        {"GetService", 1},      {"getFramework", 2},    {"RegisterService", 1},
                                        {"Update", 1}};
const Call callsUnderAGivenID[] = {{"GetFactoryConfiguration"}};
const Call callsUnderAGeneratedID[] = {{"CreateFactoryConfiguration"}, {"GetPid"}};

class APublicationThatFails : public testing::TestWithParam<Call> {
 protected:
  static SPFConfigurationBuilder filled(const std::string& id) {
    SPFConfigurationBuilder builder(id);
    builder.addServicePublisher(publisher("p", {}, {text("b")}));
    return builder;
  }
  static std::size_t expectedInstallations() {
    return GetParam().name == std::string("installAndStart") ? GetParam().number : 7;
  }
  // Builds with the call failing, and looks at what no failing publication may do.
  static void failsToBuild(FailingCollaborators& with, Thrown thrown, SPFConfigurationBuilder& sut) {
    const auto listeners = with.framework.listeners();
    const auto installations = with.framework.host().installations().size();
    EXPECT_EQ(with.outcomeOf({GetParam()}, thrown, [&] { static_cast<void>(sut.build()); }), textOf(thrown));
    EXPECT_EQ(with.framework.host().installations().size() - installations, expectedInstallations());
    EXPECT_EQ(with.framework.listeners(), listeners);
    EXPECT_EQ(with.calls("Remove"), 0);
    EXPECT_TRUE(with.log.records().empty());
  }
  // Builds once more, follows the configuration to its end and withdraws it.
  static void succeedsAtASecondTry(FailingCollaborators& with, SPFConfigurationBuilder& sut, int count) {
    auto configuration = sut.build();
    EXPECT_EQ(configuration.getConfigurationID(), "generated");
    EXPECT_EQ(asInt(with.admin->properties("zk.spf.framework~generated")->at("modificationCount")), count);
    with.framework.sendBound("p", count, text("b"));
    EXPECT_TRUE(configuration.waitForAllEndpoints(noWait, "p"));
    configuration.reset();
    EXPECT_FALSE(with.admin->properties("zk.spf.framework~generated"));
  }
};

class AFirstRevisionThatFails : public APublicationThatFails {};

INSTANTIATE_TEST_SUITE_P(At, AFirstRevisionThatFails, testing::ValuesIn(callsOfEveryPublication),
                         [](const auto& call) { return nameOf(call.param); });
INSTANTIATE_TEST_SUITE_P(UnderAGivenIDAt, AFirstRevisionThatFails, testing::ValuesIn(callsUnderAGivenID),
                         [](const auto& call) { return nameOf(call.param); });

TEST_P(AFirstRevisionThatFails, LeavesNothingBehindAndSucceedsUnderAGeneratedIDNext) {
  forEveryKindOfException([](FailingCollaborators& with, Thrown thrown) {
    auto sut = filled("given");
    failsToBuild(with, thrown, sut);
    EXPECT_FALSE(with.admin->properties("zk.spf.framework~given"));
    succeedsAtASecondTry(with, sut, 1);
  });
}

class AFirstRevisionUnderAGeneratedIDThatFails : public APublicationThatFails {};

INSTANTIATE_TEST_SUITE_P(At, AFirstRevisionUnderAGeneratedIDThatFails, testing::ValuesIn(callsUnderAGeneratedID),
                         [](const auto& call) { return nameOf(call.param); });
INSTANTIATE_TEST_SUITE_P(AtTheEndAt, AFirstRevisionUnderAGeneratedIDThatFails,
                         testing::Values(Call{"RegisterService"}, Call{"Update"}),
                         [](const auto& call) { return nameOf(call.param); });

TEST_P(AFirstRevisionUnderAGeneratedIDThatFails, LeavesNothingBehindAndSucceedsAtASecondTry) {
  forEveryKindOfException([](FailingCollaborators& with, Thrown thrown) {
    auto sut = filled("");
    failsToBuild(with, thrown, sut);
    EXPECT_FALSE(with.admin->properties("zk.spf.framework~generated"));
    succeedsAtASecondTry(with, sut, 1);
  });
}

class ANextRevisionThatFails : public APublicationThatFails {};

INSTANTIATE_TEST_SUITE_P(At, ANextRevisionThatFails, testing::ValuesIn(callsOfEveryPublication),
                         [](const auto& call) { return nameOf(call.param); });
INSTANTIATE_TEST_SUITE_P(UnderAGivenIDAt, ANextRevisionThatFails, testing::ValuesIn(callsUnderAGivenID),
                         [](const auto& call) { return nameOf(call.param); });

TEST_P(ANextRevisionThatFails, LeavesTheFirstOnePublishedAndFollowed) {
  forEveryKindOfException([](FailingCollaborators& with, Thrown thrown) {
    auto first = filled("given").build();
    {
      auto sut = first.modify();
      failsToBuild(with, thrown, sut);
    }
    EXPECT_EQ(with.calls("Remove"), 0);
    EXPECT_EQ(asInt(with.admin->properties("zk.spf.framework~given")->at("modificationCount")), 1);
    EXPECT_EQ(first.getConfigurationID(), "");
    EXPECT_EQ(idsOf(first.getServicePublisherConfigurations()), Texts{"p"});
    with.framework.sendPublished("p", 1);
    EXPECT_TRUE(first.waitForAllServices(noWait, "p"));
  });
}

TEST_P(ANextRevisionThatFails, SucceedsUnderAGeneratedIDWithTheSameCountAtASecondTry) {
  forEveryKindOfException([](FailingCollaborators& with, Thrown thrown) {
    auto first = filled("given").build();
    auto sut = first.modify();
    failsToBuild(with, thrown, sut);
    succeedsAtASecondTry(with, sut, 2);
    EXPECT_TRUE(with.admin->properties("zk.spf.framework~given"));
  });
}

class ASetupThatFails : public APublicationThatFails {};

INSTANTIATE_TEST_SUITE_P(At, ASetupThatFails, testing::ValuesIn(callsOfEveryPublication),
                         [](const auto& call) { return nameOf(call.param); });
INSTANTIATE_TEST_SUITE_P(UnderAGivenIDAt, ASetupThatFails, testing::ValuesIn(callsUnderAGivenID),
                         [](const auto& call) { return nameOf(call.param); });

TEST_P(ASetupThatFails, LeavesNothingBehindAndSucceedsAtASecondTry) {
  forEveryKindOfException([](FailingCollaborators& with, Thrown thrown) {
    EXPECT_EQ(with.outcomeOf({GetParam()}, thrown, [] { setupFramework(); }), textOf(thrown));
    EXPECT_EQ(with.framework.host().installations().size(), expectedInstallations());
    EXPECT_EQ(with.framework.listeners(), 0u);
    EXPECT_FALSE(with.admin->properties("zk.spf.framework~LegacySetupFramework"));

    setupFramework();
    EXPECT_EQ(asInt(with.admin->properties("zk.spf.framework~LegacySetupFramework")->at("modificationCount")), 2);
    EXPECT_EQ(with.calls("Remove"), 0);
    EXPECT_TRUE(with.log.records().empty());
  });
}

Texts sevenInstallationsAnd(const Texts& others) {
  Texts all(7, "installAndStart");
  all.insert(all.end(), others.begin(), others.end());
  return all;
}

// The tables above are complete as long as these are all the calls.
class CallsOfAPublication : public testing::Test {
 protected:
  // Of building alone: the configuration is withdrawn later.
  Texts callsOfBuilding(const std::string& id) {
    return with_.callsOf([&] { configuration_ = SPFConfigurationBuilder(id).build(); });
  }

  FailingCollaborators with_;
  SPFConfiguration configuration_;
};

TEST_F(CallsOfAPublication, UnderAGivenIDAreThese) {
  EXPECT_EQ(callsOfBuilding("given"),
            sevenInstallationsAnd({"getFramework", "GetServiceReferences", "GetService", "GetFactoryConfiguration",
                                   "getFramework", "RegisterService", "Update"}));
}

TEST_F(CallsOfAPublication, UnderAGeneratedIDAreThese) {
  EXPECT_EQ(callsOfBuilding(""),
            sevenInstallationsAnd({"getFramework", "GetServiceReferences", "GetService", "CreateFactoryConfiguration",
                                   "GetPid", "getFramework", "RegisterService", "Update"}));
}

TEST_F(CallsOfAPublication, EndWithTheLookUpWhenThereIsNoConfigurationAdmin) {
  with_.admin->unregister();
  EXPECT_EQ(callsOfBuilding("given"), sevenInstallationsAnd({"getFramework", "GetServiceReferences"}));
  EXPECT_EQ(configuration_.getConfigurationID(), "");
}

// An endpoint that tells of every copy that is made of it.
class ToldEndpoint {
 public:
  explicit ToldEndpoint(FailingCollaborators& with) : with_(with) {}
  ToldEndpoint(const ToldEndpoint& other) : with_(other.with_) { with_.called("copy"); }
  ToldEndpoint& operator=(const ToldEndpoint&) = delete;

 private:
  FailingCollaborators& with_;
};

std::ostream& operator<<(std::ostream& stream, const ToldEndpoint&) {
  return stream << "told";
}

// The entries are copied for the configuration, encoded as properties, and read from there to track them.
class TheCopiesOfAPublication : public testing::Test {
 protected:
  static SPFConfigurationBuilder filled(FailingCollaborators& with) {
    SPFConfigurationBuilder builder("given");
    builder.addServicePublisher(publisher("p", {Any(ToldEndpoint(with))}, {Any(ToldEndpoint(with))}));
    return builder;
  }
  static Texts callsOfBuilding() {
    FailingCollaborators with;
    auto builder = filled(with);
    SPFConfiguration configuration;
    return with.callsOf([&] { configuration = builder.build(); });
  }
  // How many copies there are at each step is up to the step.
  static Texts withoutRepeatedCopies(Texts calls) {
    const auto repeated = [](const std::string& left, const std::string& right) {
      return left == "copy" && right == "copy";
    };
    calls.erase(std::unique(calls.begin(), calls.end(), repeated), calls.end());
    return calls;
  }
  // The calls up to the copy of that number.
  static Texts upToCopy(int number, const Texts& calls) {
    auto end = calls.begin();
    for (; number > 0; --number) {
      end = std::find(end, calls.end(), "copy") + 1;
    }
    return {calls.begin(), end};
  }
};

TEST_F(TheCopiesOfAPublication, AreMadeBeforeTheBundlesTheLookUpAndTheRegistration) {
  auto expected =
      sevenInstallationsAnd({"copy", "getFramework", "GetServiceReferences", "GetService", "GetFactoryConfiguration",
                             "copy", "getFramework", "RegisterService", "Update"});
  expected.insert(expected.begin(), "copy");
  EXPECT_EQ(withoutRepeatedCopies(callsOfBuilding()), expected);
}

TEST_F(TheCopiesOfAPublication, CostTheBuildersIDOnlyOnceTheBundlesAreInstalled) {
  const auto undisturbed = callsOfBuilding();
  const auto copies = static_cast<int>(std::count(undisturbed.begin(), undisturbed.end(), "copy"));
  for (int copy = 1; copy <= copies; ++copy) {
    SCOPED_TRACE(copy);
    FailingCollaborators with;
    auto sut = filled(with);
    EXPECT_EQ(with.outcomeOf({{"copy", copy}}, Thrown::standardException, [&] { static_cast<void>(sut.build()); }),
              textOf(Thrown::standardException));
    EXPECT_EQ(with.callsSoFar(), upToCopy(copy, undisturbed));
    EXPECT_EQ(with.framework.listeners(), 0u);
    EXPECT_EQ(with.calls("Remove"), 0);
    const bool installed = !with.framework.host().installations().empty();
    EXPECT_EQ(sut.build().getConfigurationID(), installed ? "generated" : "given");
  }
}

TEST_F(TheCopiesOfAPublication, LeaveASeededBuilderTheOwnerWhenTheFirstOneFails) {
  FailingCollaborators with;
  auto first = filled(with).build();
  {
    auto sut = first.modify();
    EXPECT_EQ(with.outcomeOf({{"copy"}}, Thrown::standardException, [&] { static_cast<void>(sut.build()); }),
              textOf(Thrown::standardException));
    EXPECT_EQ(with.calls("Remove"), 0);
  }
  EXPECT_EQ(with.calls("Remove"), 1);
  EXPECT_FALSE(with.admin->properties("zk.spf.framework~given"));
}

// Collaborators that answer nothing instead of throwing.
class APublicationThatIsAnsweredNothing : public testing::Test {
 protected:
  struct Factory : cppmicroservices::ServiceFactory {
    explicit Factory(bool throwing) : throws(throwing) {}
    cppmicroservices::InterfaceMapConstPtr GetService(const cppmicroservices::Bundle&,
                                                      const cppmicroservices::ServiceRegistrationBase&) override {
      if (throws) {
        throw std::runtime_error("no service today");
      }
      return nullptr;
    }
    void UngetService(const cppmicroservices::Bundle&, const cppmicroservices::ServiceRegistrationBase&,
                      const cppmicroservices::InterfaceMapConstPtr&) override {}

    const bool throws;
  };

  void expectsNothingToBePublished() {
    SPFConfiguration sut;
    EXPECT_NO_THROW(sut = SPFConfigurationBuilder("x").addServicePublisher(publisher("p")).build());
    EXPECT_FALSE(sut.empty());
    EXPECT_EQ(sut.getConfigurationID(), "");
    EXPECT_EQ(with_.framework.listeners(), 0u);
    EXPECT_FALSE(sut.waitForAllServicesToBeUnpublished(patience, "p"));
    sut.reset();
    EXPECT_TRUE(with_.admin->calls().empty());
    EXPECT_TRUE(with_.log.records().empty());
  }

  FailingCollaborators with_;
};

TEST_F(APublicationThatIsAnsweredNothing, ForTheFrameworkPublishesNothingWithoutAWord) {
  auto& host = with_.framework.host();
  const std::shared_ptr<cppmicroservices::Framework> framework(&with_.framework.framework(), [](const void*) {});
  host.setFramework(nullptr);
  EXPECT_EQ(messageOf([] { setupFramework(); }), "nothing thrown");
  const auto sut = SPFConfigurationBuilder("x").build();
  EXPECT_EQ(sut.getConfigurationID(), "");
  host.setFramework(framework);
  EXPECT_EQ(with_.framework.listeners(), 0u);
  EXPECT_TRUE(with_.admin->calls().empty());
}

TEST_F(APublicationThatIsAnsweredNothing, ForTheFrameworkWhenItWantsToListenSaysThatThereIsNone) {
  with_.admin->onCall([this](const std::string&) { with_.framework.host().setFramework(nullptr); });
  EXPECT_EQ(messageOf([] { static_cast<void>(SPFConfigurationBuilder("x").build()); }),
            "Cannot listen for the framework's events: the process has no framework");
  EXPECT_FALSE(with_.admin->properties("zk.spf.framework~x"));
}

TEST_F(APublicationThatIsAnsweredNothing, ForTheServiceByAFactoryPublishesNothingWithoutAWord) {
  with_.admin->unregister();
  for (const bool throws : {false, true}) {
    auto registration = with_.framework.context().RegisterService<cm::ConfigurationAdmin>(
        std::shared_ptr<cppmicroservices::ServiceFactory>(std::make_shared<Factory>(throws)));
    expectsNothingToBePublished();
    registration.Unregister();
  }
}

TEST_F(APublicationThatIsAnsweredNothing, ForTheConfigurationSaysSoAndTracksNothing) {
  with_.admin->answerNoConfigurations();
  for (const auto* id : {"x", ""}) {
    EXPECT_EQ(messageOf([id] { static_cast<void>(SPFConfigurationBuilder(id).build()); }),
              "Cannot publish: Configuration Admin answered no configuration");
    EXPECT_EQ(with_.framework.listeners(), 0u);
  }
}

TEST_F(APublicationThatIsAnsweredNothing, ForTheUpdatesResultIsCompleteAllTheSame) {
  with_.admin->answerWithoutFutures();
  const auto sut = SPFConfigurationBuilder("x").build();
  EXPECT_EQ(sut.getConfigurationID(), "x");
  EXPECT_TRUE(with_.admin->properties("zk.spf.framework~x"));
}

TEST(APublicationInAStoppedFramework, SaysThatTheBundleContextIsNoLongerValid) {
  FrameworkWithConfigurationAdmin framework;
  framework.stop();
  EXPECT_EQ(messageOf([] { static_cast<void>(SPFConfigurationBuilder("late").build()); }),
            "The bundle context is no longer valid");
}

}  // namespace

}  // namespace spf::test
