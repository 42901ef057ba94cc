#include <type_traits>

#include "support/ConfigurationAdminDouble.hpp"
#include "support/RecordedLog.hpp"
#include "support/configurations.hpp"

namespace spf::test {

static_assert(!std::is_copy_constructible_v<SPFConfiguration>);
static_assert(!std::is_copy_assignable_v<SPFConfiguration>);
static_assert(std::is_nothrow_default_constructible_v<SPFConfiguration>);
static_assert(std::is_nothrow_move_constructible_v<SPFConfiguration>);
static_assert(std::is_nothrow_move_assignable_v<SPFConfiguration>);
static_assert(std::is_nothrow_destructible_v<SPFConfiguration>);

// It is a pointer to its implementation, which only the builder may put in.
using SPFConfigurationImpl = agent::spf::frameworksetup::SPFConfigurationImpl;
static_assert(sizeof(SPFConfiguration) == sizeof(std::unique_ptr<SPFConfigurationImpl>));
static_assert(!std::is_constructible_v<SPFConfiguration, std::unique_ptr<SPFConfigurationImpl>>);

static_assert(
    std::is_same_v<decltype(std::declval<const SPFConfiguration&>().getConfigurationID()), const std::string>);

class AConfigurationHandle : public testing::Test {
 protected:
  using Texts = std::vector<std::string>;

  FrameworkWithConfigurationAdmin framework_;
};

TEST_F(AConfigurationHandle, WithdrawsWhenABuilderMadeByModifyIsDroppedUnbuilt) {
  auto configuration = SPFConfigurationBuilder("dropped").build();
  RecordedLog log(4);
  {
    auto builder = configuration.modify();
    EXPECT_TRUE(framework_.configuration("dropped"));
  }
  EXPECT_FALSE(framework_.configuration("dropped"));
  EXPECT_EQ(log.records(), std::vector<LogRecord>{progress("About to remove spf configuration for dropped")});
}

TEST_F(AConfigurationHandle, RemovesNothingWhenItIsReplacedByItsOwnNextRevision) {
  auto configuration = SPFConfigurationBuilder("kept").build();
  RecordedLog log(4);
  configuration = configuration.modify().build();
  EXPECT_TRUE(log.records().empty());
  ASSERT_TRUE(framework_.configuration("kept"));
  EXPECT_EQ(asInt(framework_.configuration("kept")->at("modificationCount")), 2);
  EXPECT_EQ(configuration.getConfigurationID(), "kept");
}

TEST_F(AConfigurationHandle, IsEmptyByDefaultAndModifiesIntoABuilderWithTheEmptyID) {
  SPFConfiguration sut;
  EXPECT_TRUE(sut.empty());
  EXPECT_TRUE(sut.getServiceInterfaceConfigurations().empty());
  EXPECT_TRUE(sut.getServicePublisherConfigurations().empty());
  EXPECT_TRUE(sut.getServiceInterfaceConfigurationsForServicePublisher("p").empty());

  const auto built = sut.modify().build();
  EXPECT_EQ(framework_.configurationIDs(), Texts{built.getConfigurationID()});
  EXPECT_EQ(asInt(framework_.configuration(built.getConfigurationID())->at("modificationCount")), 1);
}

TEST(AnEmptyConfigurationHandle, ModifiesIntoABuilderThatAsksForAGeneratedID) {
  TestFramework framework;
  const auto admin = ConfigurationAdminDouble::registerWith(framework);
  const auto built = SPFConfiguration().modify().build();
  ASSERT_FALSE(admin->calls().empty());
  EXPECT_EQ(admin->calls().front(), "CreateFactoryConfiguration zk.spf.framework");
}

TEST_F(AConfigurationHandle, KeepsItsEntriesButNotItsIdentityAfterModify) {
  auto sut = SPFConfigurationBuilder("passed-on")
                 .addServiceInterfaceToAllServicePublishers(serviceInterface("marked"))
                 .addServiceInterfaceToServicePublisher("p", serviceInterface("mapped"))
                 .addServicePublisher(publisher("p"))
                 .build();
  auto builder = sut.modify();
  EXPECT_FALSE(sut.empty());
  EXPECT_EQ(sut.getConfigurationID(), "");
  EXPECT_EQ(idsOf(sut.getServicePublisherConfigurations()), Texts{"p"});
  EXPECT_EQ(sortedIDsOf(sut.getServiceInterfaceConfigurations()), (Texts{"mapped", "marked"}));
  EXPECT_EQ(idsOf(sut.getServiceInterfaceConfigurationsForServicePublisher("p")), (Texts{"marked", "mapped"}));
  EXPECT_EQ(builder.build().getConfigurationID(), "passed-on");
}

TEST_F(AConfigurationHandle, ListsInterfacesForAllFirstThenTheMappedOnesSorted) {
  const auto sut = SPFConfigurationBuilder("listed")
                       .addServiceInterfaceToAllServicePublishers(serviceInterface("x"))
                       .addServiceInterface(serviceInterface("b"))
                       .addServiceInterface(serviceInterface("a"))
                       .addServiceInterface(serviceInterface("c"))
                       .addServicePublisher(publisher("p"))
                       .addServicePublisher(publisher("q"))
                       .addServiceMapping("b", "p")
                       .addServiceMapping("a", "p")
                       .addServiceMapping("c", "q")
                       .build();
  EXPECT_EQ(idsOf(sut.getServiceInterfaceConfigurationsForServicePublisher("p")), (Texts{"x", "a", "b"}));
  EXPECT_EQ(idsOf(sut.getServiceInterfaceConfigurationsForServicePublisher("q")), (Texts{"x", "c"}));
  EXPECT_EQ(idsOf(sut.getServiceInterfaceConfigurationsForServicePublisher("z")), (Texts{"x"}));
}

TEST_F(AConfigurationHandle, ListsAnInterfaceThatIsMarkedForAllAndMappedOnceAndFirst) {
  const auto sut = SPFConfigurationBuilder("once")
                       .addServiceInterfaceToAllServicePublishers(serviceInterface("x"))
                       .addServiceInterface(serviceInterface("a"))
                       .addServicePublisher(publisher("p"))
                       .addServiceMapping("x", "p")
                       .addServiceMapping("a", "p")
                       .build();
  EXPECT_EQ(idsOf(sut.getServiceInterfaceConfigurationsForServicePublisher("p")), (Texts{"x", "a"}));
}

TEST_F(AConfigurationHandle, ListsThoseForAllInTheOrderInWhichTheyWereAdded) {
  const auto sut = SPFConfigurationBuilder("marked")
                       .addServiceInterfaceToAllServicePublishers(serviceInterface("m"))
                       .addServiceInterfaceToAllServicePublishers(serviceInterface("z"))
                       .addServiceInterfaceToAllServicePublishers(serviceInterface("a"))
                       .addServiceInterface(serviceInterface("m", "renamed"))
                       .build();
  EXPECT_EQ(idsOf(sut.getServiceInterfaceConfigurationsForServicePublisher("p")), (Texts{"m", "z", "a"}));
}

// An entry whose mark changes goes behind those that have the same mark, unless it stands next to them:
// then it keeps its place.
TEST_F(AConfigurationHandle, ListsThoseForAllInTheOrderOfTheirIndexAlsoInTheNextRevision) {
  SPFConfigurationBuilder builder("marking");
  const auto listed = [&] {
    auto sut = builder.build();
    const auto ids = idsOf(sut.getServiceInterfaceConfigurationsForServicePublisher("p"));
    sut = sut.modify().build();
    EXPECT_EQ(idsOf(sut.getServiceInterfaceConfigurationsForServicePublisher("p")), ids) << "after modify()";
    return ids;
  };
  builder.addServiceInterface(serviceInterface("a")).addServiceInterface(serviceInterface("unmarked"));
  for (const auto* id : {"b", "c", "a"}) {
    builder.addServiceInterfaceToAllServicePublishers(serviceInterface(id));
  }
  EXPECT_EQ(listed(), (Texts{"b", "c", "a"}));

  builder.addServiceInterfaceToAllServicePublishers(serviceInterface("b", "marked again"));
  EXPECT_EQ(listed(), (Texts{"b", "c", "a"}));

  builder.undoMappingOfServiceInterfaceToAllServicePublishers("c");
  EXPECT_EQ(listed(), (Texts{"b", "a"}));

  builder.addServiceInterfaceToAllServicePublishers(serviceInterface("c"));
  EXPECT_EQ(listed(), (Texts{"c", "b", "a"}));

  builder.addServiceInterfaceToAllServicePublishers(serviceInterface("unmarked"));
  EXPECT_EQ(listed(), (Texts{"unmarked", "c", "b", "a"}));
}

TEST_F(AConfigurationHandle, OfAConfigurationWithoutEntriesIsNotEmptyAndHasEmptyLists) {
  const auto sut = SPFConfigurationBuilder("bare").build();
  EXPECT_FALSE(sut.empty());
  EXPECT_TRUE(sut.getServiceInterfaceConfigurations().empty());
  EXPECT_TRUE(sut.getServicePublisherConfigurations().empty());
  EXPECT_TRUE(sut.getServiceInterfaceConfigurationsForServicePublisher("p").empty());
}

TEST_F(AConfigurationHandle, ListsAllRecordsWithAllTheirMembers) {
  boost::property_tree::ptree tree;
  tree.put("unit", "celsius");
  const auto sut = SPFConfigurationBuilder("records")
                       .addServiceInterface("i", "weather.Temperature", tree)
                       .addServiceInterfaceToAllServicePublishers("j", "weather.Humidity", {})
                       .addServicePublisherAny("p", "rpcservicepublisher", {text("c")}, {text("b")}, "in", "out")
                       .build();
  EXPECT_EQ(sortedIDsOf(sut.getServiceInterfaceConfigurations()), (Texts{"i", "j"}));
  for (const auto& record : sut.getServiceInterfaceConfigurations()) {
    EXPECT_EQ(record.name, record.uniqueID == "i" ? "weather.Temperature" : "weather.Humidity");
    EXPECT_EQ(record.requestedProperties.size(), record.uniqueID == "i" ? 1u : 0u);
  }
  const auto publishers = sut.getServicePublisherConfigurations();
  ASSERT_EQ(publishers.size(), 1u);
  EXPECT_EQ(publishers[0].importFilter, "in");
  EXPECT_EQ(publishers[0].exportFilter, "out");
}

TEST_F(AConfigurationHandle, KeepsMarksAndMappingsThroughModify) {
  auto sut = SPFConfigurationBuilder("through")
                 .addServiceInterfaceToAllServicePublishers(serviceInterface("x"))
                 .addServiceInterface(serviceInterface("a"))
                 .addServicePublisher(publisher("p"))
                 .addServiceMapping("a", "p")
                 .build();
  sut = sut.modify().addServicePublisher(publisher("q")).build();
  EXPECT_EQ(idsOf(sut.getServiceInterfaceConfigurationsForServicePublisher("p")), (Texts{"x", "a"}));
  EXPECT_EQ(idsOf(sut.getServiceInterfaceConfigurationsForServicePublisher("q")), (Texts{"x"}));
}

TEST_F(AConfigurationHandle, IsEmptyAfterItWasMovedFrom) {
  auto first = SPFConfigurationBuilder("moved").build();
  const SPFConfiguration second(std::move(first));
  EXPECT_TRUE(first.empty());
  EXPECT_FALSE(second.empty());
  EXPECT_EQ(second.getConfigurationID(), "moved");
  EXPECT_TRUE(framework_.configuration("moved"));
}

TEST_F(AConfigurationHandle, WithdrawsWhatItHeldWhenAnotherIsMovedOverIt) {
  auto first = SPFConfigurationBuilder("first").build();
  auto second = SPFConfigurationBuilder("second").build();
  first = std::move(second);
  EXPECT_TRUE(second.empty());
  EXPECT_EQ(first.getConfigurationID(), "second");
  EXPECT_EQ(framework_.configurationIDs(), Texts{"second"});
}

TEST(AConfigurationHandleThatAnotherIsMovedOver, HoldsTheOthersConfigurationAlreadyWhenItsOwnIsWithdrawn) {
  TestFramework framework;
  const auto admin = ConfigurationAdminDouble::registerWith(framework);
  auto sut = SPFConfigurationBuilder("first").build();
  auto other = SPFConfigurationBuilder("second").build();
  std::string heldAtRemoval;
  admin->onCall([&](const std::string& call) {
    if (call == "Remove zk.spf.framework~first") {
      EXPECT_TRUE(other.empty());
      ASSERT_FALSE(sut.empty());
      heldAtRemoval = sut.getConfigurationID();
    }
  });
  sut = std::move(other);
  EXPECT_EQ(heldAtRemoval, "second");
  admin->onCall(nullptr);
}

TEST_F(AConfigurationHandle, SurvivesItsOwnMoveAssignment) {
  auto sut = SPFConfigurationBuilder("self").build();
  auto& same = sut;
  sut = std::move(same);
  EXPECT_FALSE(sut.empty());
  EXPECT_EQ(framework_.configurationIDs(), Texts{"self"});
}

TEST_F(AConfigurationHandle, WithdrawsItsConfigurationWhenItIsDestroyed) {
  {
    const auto sut = SPFConfigurationBuilder("scoped").build();
    EXPECT_EQ(framework_.configurationIDs(), Texts{"scoped"});
  }
  EXPECT_TRUE(framework_.configurationIDs().empty());
}

TEST_F(AConfigurationHandle, OfAnIDThatAnotherHandleHasWithdrawsItForBoth) {
  auto first = SPFConfigurationBuilder("shared").build();
  const auto second = SPFConfigurationBuilder("shared").build();
  first.reset();
  EXPECT_TRUE(framework_.configurationIDs().empty());
  EXPECT_EQ(second.getConfigurationID(), "shared");
}

}  // namespace spf::test
