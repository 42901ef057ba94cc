#include <optional>

#include "support/ConfigurationAdminDouble.hpp"
#include "support/configurations.hpp"
#include "support/endpoints.hpp"
#include "support/failingAllocations.hpp"

namespace spf::test {

using Texts = std::vector<std::string>;

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

TEST_F(AnAllocationFailure, AddsNoInterfaceThatWasToBeAdded) {
  FailingAllocations::inEveryRound([](FailingAllocations& failing) {
    auto sut = filled("sut");
    const bool threw = failing.run([&] { sut.addServiceInterface("new", longName, treeWith("new")); });
    EXPECT_EQ(threw, failing.failed());
    EXPECT_EQ(sortedIDsOf(sut.build().getServiceInterfaceConfigurations()), threw ? Texts{"i"} : (Texts{"i", "new"}));
  });
}

TEST_F(AnAllocationFailure, LeavesAnInterfaceAsItWasThatWasToBeReplacedAndMarked) {
  FailingAllocations::inEveryRound([](FailingAllocations& failing) {
    auto sut = filled("sut");
    const bool threw = failing.run(
        [&] { sut.addServiceInterfaceToAllServicePublishers("i", "new name, longer than sixteen", treeWith("new")); });
    EXPECT_EQ(threw, failing.failed());
    const auto configuration = sut.build();
    const auto entries = configuration.getServiceInterfaceConfigurations();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].name == longName, threw);
    EXPECT_EQ(entries[0].requestedProperties.get<std::string>("level.unit"), threw ? "old" : "new");
    EXPECT_EQ(configuration.getServiceInterfaceConfigurationsForServicePublisher("another").empty(), threw);
  });
}

TEST_F(AnAllocationFailure, AddsNoPublisherThatWasToBeAdded) {
  FailingAllocations::inEveryRound([](FailingAllocations& failing) {
    auto sut = filled("sut");
    const bool threw =
        failing.run([&] { sut.addServicePublisher("new", longName, {"connect"}, {"bind"}, longName, longName); });
    EXPECT_EQ(threw, failing.failed());
    EXPECT_EQ(sortedIDsOf(sut.build().getServicePublisherConfigurations()), threw ? Texts{"p"} : (Texts{"new", "p"}));
  });
}

TEST_F(AnAllocationFailure, LeavesAPublisherAsItWasThatWasToBeReplaced) {
  FailingAllocations::inEveryRound([](FailingAllocations& failing) {
    auto sut = filled("sut");
    const bool threw =
        failing.run([&] { sut.addServicePublisher("p", longName, {"connect"}, {"bind"}, longName, longName); });
    EXPECT_EQ(threw, failing.failed());
    const auto entries = sut.build().getServicePublisherConfigurations();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].name, threw ? "rpcservicepublisher" : longName);
    EXPECT_EQ(texts(entries[0].endpointsToConnectTo), Texts{threw ? "c" : "connect"});
    EXPECT_EQ(texts(entries[0].endpointsToBindTo), Texts{threw ? "b" : "bind"});
    EXPECT_EQ(entries[0].importFilter, threw ? "" : longName);
  });
}

// The mapping comes first: a round that fails behind it leaves a mapping of an unknown interface.
TEST_F(AnAllocationFailure, KeepsTheMappingWhenTheMappedInterfaceCannotBeAdded) {
  bool mapped = false;
  FailingAllocations::inEveryRound([&](FailingAllocations& failing) {
    SPFConfigurationBuilder sut("sut");
    sut.addServicePublisher(publisher("p"));
    failing.run([&] { sut.addServiceInterfaceToServicePublisher("p", "i", longName, treeWith("new")); });
    const auto outcome = messageOf([&] { static_cast<void>(sut.build()); });
    if (failing.failed()) {
      const bool dangles = outcome == "ServiceMapping references an unknown ServiceInterface Configuration i";
      EXPECT_EQ(outcome == "nothing thrown", !dangles);
      EXPECT_TRUE(dangles || !mapped);
      mapped = mapped || dangles;
    }
  });
  EXPECT_TRUE(mapped);
}

// A runtime may keep a listener registered whose registration it reports as failed, and then what the
// listener holds; nothing else is to be left of a configuration that was not built.
TEST_F(AnAllocationFailure, ComesOutOfBuildingAndLeavesNothingOfTheConfiguration) {
  const auto token = std::make_shared<int>();
  const Any endpoint(ObservedEndpoint{"b", [token] {}});
  FailingAllocations::inEveryRound([&](FailingAllocations& failing) {
    SPFConfigurationBuilder sut("sut");
    sut.addServicePublisher(publisher("p", {}, {endpoint}));
    admin_->clearCalls();
    const auto listeners = framework_.listeners();
    const auto copies = token.use_count();
    std::unique_ptr<SPFConfiguration> built;
    const bool threw = failing.run([&] { built.reset(new SPFConfiguration(sut.build())); });
    EXPECT_EQ(calls("Remove"), 0);
    built.reset();
    const int kept = threw && calls("GetFactoryConfiguration") > 0 && calls("Update") == 0 ? 1 : 0;
    admin_->erase("zk.spf.framework~sut");
    EXPECT_LE(framework_.listeners(), listeners + kept);
    EXPECT_LE(token.use_count(), copies + kept);
    EXPECT_EQ(idsOf(sut.build().getServicePublisherConfigurations()), Texts{"p"});
  });
  EXPECT_NO_THROW(framework_.sendPublished("p", 1));
}

}  // namespace spf::test
