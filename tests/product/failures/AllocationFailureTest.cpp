#include <optional>

#include "agent/spf/frameworksetup/addRequiredRuntimeServiceProperties.hpp"
#include "agent/spf/frameworksetup/setupFramework.hpp"
#include "spf/test/Gate.hpp"
#include "support/ConfigurationAdminDouble.hpp"
#include "support/RecordedLog.hpp"
#include "support/configurations.hpp"
#include "support/endpoints.hpp"
#include "support/failingAllocations.hpp"

namespace spf::test {

using Texts = std::vector<std::string>;

namespace {

using agent::spf::frameworklistener::FrameworkListener;
using agent::spf::frameworklistener::ServicesEvent;
using agent::spf::frameworksetup::addRequiredRuntimeServiceProperties;
using agent::spf::frameworksetup::setupFramework;

// Too long to be stored without an allocation.
const std::string longName = "a name that does not fit into the text itself, so that copying it takes memory";

boost::property_tree::ptree treeWith(const std::string& value) {
  boost::property_tree::ptree tree;
  tree.put("level.unit", value);
  return tree;
}

class AnAllocationFailure : public testing::Test {
 protected:
  static SPFConfigurationBuilder filled(const std::string& id) {
    SPFConfigurationBuilder builder(id);
    builder.addServiceInterface("i", longName, treeWith("old"))
        .addServicePublisher(publisher("p", {text("c")}, {text("b")}))
        .addServiceMapping("i", "p");
    return builder;
  }
  static void expectsFilled(const SPFConfiguration& configuration, const std::string& id) {
    EXPECT_EQ(configuration.getConfigurationID(), id);
    EXPECT_EQ(idsOf(configuration.getServiceInterfaceConfigurations()), Texts{"i"});
    EXPECT_EQ(idsOf(configuration.getServicePublisherConfigurations()), Texts{"p"});
    EXPECT_EQ(idsOf(configuration.getServiceInterfaceConfigurationsForServicePublisher("p")), Texts{"i"});
  }
  // How often this operation was called.
  int calls(const char* operation) const {
    int count = 0;
    for (const auto& call : admin_->calls()) {
      count += call.rfind(operation, 0) == 0 ? 1 : 0;
    }
    return count;
  }

  TestFramework framework_;
  std::shared_ptr<ConfigurationAdminDouble> admin_ = ConfigurationAdminDouble::registerWith(framework_);
};

TEST_F(AnAllocationFailure, LeavesABuilderAsItWasThatWasToBeMoved) {
  FailingAllocations::inEveryRound([](FailingAllocations& failing) {
    auto sut = filled("sut");
    const bool threw = failing.run([&] { const SPFConfigurationBuilder target(std::move(sut)); });
    EXPECT_EQ(threw, failing.failed());
    if (threw) {
      expectsFilled(sut.build(), "sut");
    }
  });
}

TEST_F(AnAllocationFailure, LeavesBothBuildersAsTheyWereWhenOneWasToBeMovedOverTheOther) {
  FailingAllocations::inEveryRound([](FailingAllocations& failing) {
    auto sut = filled("sut");
    auto target = filled("target");
    const bool threw = failing.run([&] { target = std::move(sut); });
    EXPECT_EQ(threw, failing.failed());
    expectsFilled(target.build(), threw ? "target" : "sut");
    if (threw) {
      expectsFilled(sut.build(), "sut");
    }
  });
}

TEST_F(AnAllocationFailure, WithdrawsNothingWhenABuilderMadeByModifyWasToBeMoved) {
  auto configuration = filled("kept").build();
  std::optional<SPFConfigurationBuilder> seeded(configuration.modify());
  FailingAllocations::inEveryRound([&](FailingAllocations& failing) {
    std::optional<SPFConfigurationBuilder> target;
    if (!failing.run([&] { target.emplace(std::move(*seeded)); })) {
      seeded.emplace(std::move(*target));
    }
    EXPECT_EQ(calls("Remove"), 0);
  });
  expectsFilled(seeded->build(), "kept");
}

TEST_F(AnAllocationFailure, LeavesTheHandleAsItWasWhenItWasToBeModified) {
  auto sut = filled("kept").build();
  FailingAllocations::inEveryRound([&](FailingAllocations& failing) {
    std::unique_ptr<SPFConfigurationBuilder> modified;
    // Made where it stays: moving the builder could fail as well, and would withdraw the configuration.
    const bool threw = failing.run([&] { modified.reset(new SPFConfigurationBuilder(sut.modify())); });
    EXPECT_EQ(threw, failing.failed());
    if (threw) {
      expectsFilled(sut, "kept");
      EXPECT_EQ(calls("Remove"), 0);
    }
  });
  EXPECT_EQ(calls("Remove"), 1);
}

// A runtime may keep a listener registered whose registration it reports as failed, and then what the
// listener holds; nothing else is to be left of a configuration that was not built.
TEST_F(AnAllocationFailure, ComesOutOfBuildingAndLeavesNothingOfTheConfiguration) {
  const auto token = std::make_shared<int>();
  const Any endpoint(ObservedEndpoint{"b", [token] {}});
  FailingAllocations::inEveryRound([&](FailingAllocations& failing) {
    SPFConfigurationBuilder sut("sut");
    sut.addServiceInterface("i", longName, treeWith("old")).addServiceMapping("i", "p");
    sut.addServicePublisher(publisher("p", {}, {endpoint}));
    admin_->clearCalls();
    const auto listeners = framework_.listeners();
    const auto copies = token.use_count();
    std::unique_ptr<SPFConfiguration> built;
    const bool threw = failing.run([&] { built.reset(new SPFConfiguration(sut.build())); });
    EXPECT_EQ(calls("Remove"), 0);
    EXPECT_TRUE(calls("Update") > 0 || !admin_->properties("zk.spf.framework~sut"));
    built.reset();
    const int kept = threw && calls("GetFactoryConfiguration") > 0 && calls("Update") == 0 ? 1 : 0;
    admin_->erase("zk.spf.framework~sut");
    EXPECT_LE(framework_.listeners(), listeners + kept);
    EXPECT_LE(token.use_count(), copies + kept);
    EXPECT_EQ(idsOf(sut.build().getServicePublisherConfigurations()), Texts{"p"});
  });
  EXPECT_NO_THROW(framework_.sendPublished("p", 1));
}

TEST_F(AnAllocationFailure, ComesOutOfMakingABuilder) {
  FailingAllocations::inEveryRound([](FailingAllocations& failing) {
    const bool threw = failing.run([] { const SPFConfigurationBuilder sut(longName); });
    EXPECT_EQ(threw, failing.failed());
  });
}

TEST_F(AnAllocationFailure, ComesOutOfBuildingOnceMoreAndTheNextTrySucceeds) {
  FailingAllocations::inEveryRound([&](FailingAllocations& failing) {
    auto sut = filled("first");
    const auto first = sut.build();
    SPFConfiguration second;
    failing.run([&] { second = sut.build(); });
    expectsFilled(sut.build(), "generated");
    EXPECT_TRUE(admin_->properties("zk.spf.framework~first"));
  });
}

// The ID is lost or not, depending on how far building came; the configuration is there in any case.
TEST_F(AnAllocationFailure, LeavesTheFirstRevisionFollowedWhenTheNextOneWasToBeBuilt) {
  FailingAllocations::inEveryRound([&](FailingAllocations& failing) {
    auto first = filled("revised").build();
    auto sut = first.modify();
    SPFConfiguration next;
    const bool threw = failing.run([&] { next = sut.build(); });
    EXPECT_EQ(calls("Remove"), 0);
    EXPECT_TRUE(admin_->properties("zk.spf.framework~revised"));
    framework_.sendPublished("p", 2);
    EXPECT_TRUE(first.waitForAllServices(noWait, "p"));
    EXPECT_EQ(next.waitForAllServices(noWait, "p"), !threw);
    EXPECT_FALSE(sut.build().getConfigurationID().empty());
    next.reset();
    admin_->clearCalls();
  });
}

TEST_F(AnAllocationFailure, ComesOutOfSettingUpTheFrameworkAndTheNextTrySucceeds) {
  FailingAllocations::inEveryRound([&](FailingAllocations& failing) {
    admin_->erase("zk.spf.framework~LegacySetupFramework");
    failing.run([] { setupFramework(); });
    setupFramework();
    const auto properties = admin_->properties("zk.spf.framework~LegacySetupFramework");
    ASSERT_TRUE(properties);
    EXPECT_EQ(asInt(properties->at("modificationCount")), 2);
    EXPECT_EQ(calls("Remove"), 0);
  });
}

TEST_F(AnAllocationFailure, KeepsTheOtherPropertiesWhenARequiredOneWasToBeAdded) {
  FailingAllocations::inEveryRound([](FailingAllocations& failing) {
    auto sut = treeWith("old");
    addRequiredRuntimeServiceProperties(sut, "present", "old");
    const auto add = [&] {
      addRequiredRuntimeServiceProperties(sut, "present", longName);
      addRequiredRuntimeServiceProperties(sut, "a.b", longName);
    };
    failing.run(add);
    EXPECT_EQ(sut.get<std::string>("level.unit"), "old");
    const auto present = sut.get<std::string>("spf::requiredServiceProperty::present");
    EXPECT_TRUE(present == "old" || present == longName) << present;
    add();
    EXPECT_EQ(sut.size(), 3u);
    EXPECT_EQ(sut.get<std::string>("spf::requiredServiceProperty::present"), longName);
    EXPECT_EQ(sut.get<std::string>("spf::requiredServiceProperty::a.b"), longName);
  });
}

// What a handle tells of its configuration.
struct Reading {
  const char* name;
  Texts (*read)(SPFConfiguration&);
};

void PrintTo(const Reading& reading, std::ostream* stream) {
  *stream << reading.name;
}

const Reading readings[] = {
    {"TheID", [](SPFConfiguration& sut) { return Texts{sut.getConfigurationID()}; }},
    {"TheInterfaces", [](SPFConfiguration& sut) { return idsOf(sut.getServiceInterfaceConfigurations()); }},
    {"ThePublishers", [](SPFConfiguration& sut) { return idsOf(sut.getServicePublisherConfigurations()); }},
    {"TheInterfacesOfAPublisher",
     [](SPFConfiguration& sut) { return idsOf(sut.getServiceInterfaceConfigurationsForServicePublisher("p")); }},
    {"TheOutstandingEndpoints", [](SPFConfiguration& sut) {
       const auto [connect, bind] = sut.listOutstandingEndpoints("p");
       return Texts{texts(connect).at(0), texts(bind).at(0)};
     }}};

class AReadingThatRunsOutOfMemory : public AnAllocationFailure, public testing::WithParamInterface<Reading> {};

INSTANTIATE_TEST_SUITE_P(Of, AReadingThatRunsOutOfMemory, testing::ValuesIn(readings),
                         [](const auto& reading) { return std::string(reading.param.name); });

TEST_P(AReadingThatRunsOutOfMemory, ChangesNothing) {
  auto sut = SPFConfigurationBuilder(longName)
                 .addServiceInterface("i", longName, treeWith("old"))
                 .addServiceInterfaceToAllServicePublishers("j", longName, {})
                 .addServicePublisher(publisher("p", {Any(longName)}, {Any(longName)}))
                 .addServiceMapping("i", "p")
                 .build();
  const auto expected = GetParam().read(sut);
  FailingAllocations::inEveryRound([&](FailingAllocations& failing) {
    const bool threw = failing.run([&] { GetParam().read(sut); });
    EXPECT_EQ(threw, failing.failed());
    EXPECT_EQ(GetParam().read(sut), expected);
  });
}

// Waits whose condition holds, and those that find an error.
TEST_F(AnAllocationFailure, CannotHappenToAWaitThatHasSomethingToWaitFor) {
  auto sut = filled("ready").build();
  framework_.sendPublished("p", 1);
  framework_.sendBound("p", 1, text("b"));
  framework_.sendConnected("p", 1, text("c"));
  auto other = SPFConfigurationBuilder("broken").addServicePublisher(publisher("q")).build();
  framework_.sendError("q", 1, std::make_exception_ptr(42));
  const std::string ready = "p";
  const std::string broken = "q";
  EXPECT_EQ(allocationsOf([&] {
              EXPECT_TRUE(sut.waitForAllEndpoints(patience, ready));
              EXPECT_TRUE(sut.waitForAllServices(patience, ready));
              EXPECT_THROW(static_cast<void>(other.waitForAllEndpoints(patience, broken)), int);
              EXPECT_THROW(static_cast<void>(other.waitForAllServices(patience, broken)), int);
            }),
            0);
}

TEST_F(AnAllocationFailure, OfAWaitForAnUnknownPublisherIsAllThatComesOutOfIt) {
  auto sut = filled("waiting").build();
  const std::string unknown = longName;
  FailingAllocations::inEveryRound([&](FailingAllocations& failing) {
    EXPECT_TRUE(failing.run([&] { static_cast<void>(sut.waitForAllServices(patience, unknown)); }));
  });
}

// The publisher has unpublished its services, so that the wait has to register its listener anew, and
// ends at once. What fails inside it leaves the ID until the configuration is withdrawn.
TEST_F(AnAllocationFailure, LeavesAnUnpublishWaitRepeatable) {
  const RecordedLog log(4 | 512);
  const std::string id = "p";
  FailingAllocations::inEveryRound([&](FailingAllocations& failing) {
    auto sut = filled("x").build();
    framework_.sendUnpublished("p", 1);
    bool unpublished = false;
    const bool threw = failing.run([&] { unpublished = sut.waitForAllServicesToBeUnpublished(patience, id); });
    EXPECT_NE(unpublished, threw);
    if (sut.getConfigurationID() == "x") {
      EXPECT_TRUE(threw);
      EXPECT_TRUE(admin_->properties("zk.spf.framework~x"));
    }
    EXPECT_TRUE(threw || sut.getConfigurationID().empty());
    EXPECT_TRUE(sut.waitForAllServicesToBeUnpublished(patience, id));
    EXPECT_EQ(sut.getConfigurationID(), "");
  });
}

// Ways of letting go of the configuration "x", all of which withdraw it in silence.
struct LettingGo {
  const char* name;
  void (*letGo)(std::unique_ptr<SPFConfiguration>& handle, std::unique_ptr<SPFConfigurationBuilder>& seeded);
};

void PrintTo(const LettingGo& way, std::ostream* stream) {
  *stream << way.name;
}

const LettingGo lettingGo[] = {{"ResettingTheHandle", [](auto& handle, auto&) { handle->reset(); }},
                               {"DestroyingTheHandle", [](auto& handle, auto&) { handle.reset(); }},
                               {"MovingOverTheHandle", [](auto& handle, auto&) { *handle = SPFConfiguration(); }},
                               {"DestroyingTheBuilder", [](auto&, auto& seeded) { seeded.reset(); }}};

class LettingGoOutOfMemory : public AnAllocationFailure, public testing::WithParamInterface<LettingGo> {};

INSTANTIATE_TEST_SUITE_P(By, LettingGoOutOfMemory, testing::ValuesIn(lettingGo),
                         [](const auto& way) { return std::string(way.param.name); });

TEST_P(LettingGoOutOfMemory, IsSilentAndLeavesTheConfigurationWithdrawnOrThere) {
  const bool ofTheBuilder = GetParam().name == std::string("DestroyingTheBuilder");
  const RecordedLog log(4 | 512);
  const auto token = std::make_shared<int>();
  const Any endpoint(ObservedEndpoint{"b", [token] {}});
  bool wasThere = false;
  FailingAllocations::inEveryRound([&](FailingAllocations& failing) {
    auto copies = token.use_count();
    const auto listeners = framework_.listeners();
    auto handle = std::make_unique<SPFConfiguration>(
        SPFConfigurationBuilder("x").addServicePublisher(publisher("p", {}, {endpoint})).build());
    auto seeded = ofTheBuilder ? std::make_unique<SPFConfigurationBuilder>(handle->modify()) : nullptr;
    admin_->clearCalls();
    EXPECT_FALSE(failing.run([&] { GetParam().letGo(handle, seeded); }));
    const bool there = admin_->properties("zk.spf.framework~x") != nullptr;
    wasThere = wasThere || there;
    EXPECT_EQ(calls("Remove") == 1, !there);
    EXPECT_TRUE(!there || failing.failed());
    admin_->erase("zk.spf.framework~x");
    handle.reset();
    // A listener that could not be unregistered stays, and hears harmlessly from then on.
    const auto kept = framework_.listeners() - listeners;
    EXPECT_LE(kept, failing.failed() && !there ? 1u : 0u);
    EXPECT_LE(token.use_count(), copies + static_cast<long>(kept));
  });
  EXPECT_TRUE(wasThere);
  EXPECT_NO_THROW(framework_.sendPublished("p", 1));
}

// The builder is withdrawn from when the other one takes its place, and not before.
TEST_F(AnAllocationFailure, LeavesASeededBuilderAsItWasOverWhichAnotherWasToBeMoved) {
  FailingAllocations::inEveryRound([&](FailingAllocations& failing) {
    auto configuration = filled("x").build();
    auto sut = configuration.modify();
    SPFConfigurationBuilder other;
    if (failing.run([&] { sut = std::move(other); })) {
      EXPECT_TRUE(admin_->properties("zk.spf.framework~x"));
      expectsFilled(sut.build(), "x");
    }
    admin_->erase("zk.spf.framework~x");
  });
}

// As the framework reports it, to a listener that it looked up before. A runtime may keep a listener for
// ever that it could not unregister the first time.
TEST_F(AnAllocationFailure, OfTheReportThatCompletesThePublisherLosesNothing) {
  const RecordedLog log(4 | 512);
  const auto published = std::make_shared<ServicesEvent>(ServicesEvent{{0}, ServicesEvent::allPublished, "p", 1});
  int madeGood = 0;
  FailingAllocations::inEveryRound([&](FailingAllocations& failing) {
    const auto listeners = framework_.listeners();
    auto sut = SPFConfigurationBuilder("x").addServicePublisher(publisher("p")).build();
    auto context = framework_.context();
    const auto listener = context.GetService(context.GetServiceReferences<FrameworkListener>().back());
    failing.run([&] { listener->handleEvent(published); });
    if (framework_.listeners() > listeners) {
      EXPECT_TRUE(failing.failed());
      EXPECT_NO_THROW(listener->handleEvent(published));
      madeGood += framework_.listeners() == listeners ? 1 : 0;
    }
    EXPECT_TRUE(sut.waitForAllServices(noWait, "p"));
    EXPECT_LE(framework_.listeners(), listeners + (failing.failed() ? 1 : 0));
  });
  EXPECT_GT(madeGood, 0);
}

}  // namespace

}  // namespace spf::test
