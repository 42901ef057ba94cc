#include "support/ConfigurationAdminDouble.hpp"
#include "support/RecordedLog.hpp"
#include "support/configurations.hpp"

namespace spf::test {

class Building : public testing::Test {
 protected:
  std::string failure() {
    return messageOf([&] { static_cast<void>(sut.build()); });
  }

  FrameworkWithConfigurationAdmin framework_;
  SPFConfigurationBuilder sut{"built"};
};

TEST_F(Building, NamesTheLowerInterfaceWhenTwoMappingsNameUnknownOnes) {
  sut.addServiceMapping("b", "p").addServiceMapping("a", "q");
  EXPECT_EQ(failure(), "ServiceMapping references an unknown ServiceInterface Configuration a");
}

TEST_F(Building, NamesTheUnknownPublisherOfAKnownInterface) {
  sut.addServiceInterface(serviceInterface("a")).addServiceMapping("a", "q");
  EXPECT_EQ(failure(), "ServiceMapping references an unknown ServicePublisher Configuration q");
}

TEST_F(Building, NamesTheInterfaceWhenBothSidesOfAMappingAreUnknown) {
  sut.addServiceMapping("i", "p");
  EXPECT_EQ(failure(), "ServiceMapping references an unknown ServiceInterface Configuration i");
}

TEST_F(Building, NamesTheLowerPublisherOfOneInterface) {
  sut.addServiceInterface(serviceInterface("a")).addServiceMapping("a", "z").addServiceMapping("a", "y");
  EXPECT_EQ(failure(), "ServiceMapping references an unknown ServicePublisher Configuration y");
}

TEST_F(Building, ReportsTheLowerMappingWhicheverOfItsSidesIsUnknown) {
  sut.addServiceInterface(serviceInterface("a")).addServiceMapping("b", "p").addServiceMapping("a", "q");
  EXPECT_EQ(failure(), "ServiceMapping references an unknown ServicePublisher Configuration q");
}

TEST_F(Building, ThrowsARuntimeErrorForAMappingThatDangles) {
  sut.addServiceMapping("i", "p");
  EXPECT_THROW(static_cast<void>(sut.build()), std::runtime_error);
}

TEST_F(Building, DoesNotCheckWhatNoMappingMentions) {
  sut.addServiceInterfaceToAllServicePublishers(serviceInterface("i")).addServicePublisher(publisher("p"));
  EXPECT_NO_THROW(static_cast<void>(sut.build()));
}

TEST_F(Building, TouchesNothingWhenValidationFails) {
  sut.addServiceMapping("i", "p");
  EXPECT_THROW(static_cast<void>(sut.build()), std::runtime_error);
  EXPECT_TRUE(framework_.host().installations().empty());
  EXPECT_TRUE(framework_.configurationIDs().empty());
}

TEST_F(Building, LogsNothingWhenValidationFails) {
  const RecordedLog log(~0u);
  sut.addServiceMapping("i", "p");
  EXPECT_THROW(static_cast<void>(sut.build()), std::runtime_error);
  EXPECT_TRUE(log.records().empty());
}

TEST_F(Building, LeavesASeededBuilderTheOwnerWhenValidationFails) {
  auto first = sut.build();
  {
    auto seeded = first.modify();
    seeded.addServiceMapping("i", "p");
    EXPECT_THROW(static_cast<void>(seeded.build()), std::runtime_error);
    EXPECT_EQ(framework_.configurationIDs(), std::vector<std::string>{"built"});
  }
  EXPECT_TRUE(framework_.configurationIDs().empty());
}

TEST_F(Building, SucceedsAsTheNextRevisionAfterASeededBuilderWasRepaired) {
  auto first = sut.build();
  auto seeded = first.modify();
  seeded.addServiceMapping("i", "p");
  EXPECT_THROW(static_cast<void>(seeded.build()), std::runtime_error);
  const auto second = seeded.removeServiceMapping("i", "p").build();
  EXPECT_EQ(second.getConfigurationID(), "built");
  EXPECT_EQ(framework_.configurationIDs(), std::vector<std::string>{"built"});
  EXPECT_EQ(asInt(framework_.configuration("built")->at("modificationCount")), 2);
}

TEST_F(Building, AnEmptyBuilderGivesNoEntriesItsIDAndTheCountOne) {
  const auto configuration = sut.build();
  EXPECT_FALSE(configuration.empty());
  EXPECT_EQ(configuration.getConfigurationID(), "built");
  const auto properties = framework_.configuration("built");
  ASSERT_TRUE(properties);
  EXPECT_TRUE(asList(properties->at("serviceConfigurations")).empty());
  EXPECT_TRUE(asList(properties->at("servicePublisherConfigurations")).empty());
  EXPECT_TRUE(asList(properties->at("servicePublisherMappings")).empty());
  EXPECT_EQ(asInt(properties->at("modificationCount")), 1);
}

TEST_F(Building, SucceedsWithTheBuildersIDAfterTheOffendingMappingWasRemoved) {
  sut.addServiceInterface(serviceInterface("a")).addServiceMapping("a", "q");
  EXPECT_THROW(static_cast<void>(sut.build()), std::runtime_error);
  const auto configuration = sut.removeServiceMapping("a", "q").build();
  EXPECT_EQ(configuration.getConfigurationID(), "built");
  EXPECT_EQ(idsOf(configuration.getServiceInterfaceConfigurations()), std::vector<std::string>{"a"});
}

TEST_F(Building, ASecondTimeTakesAGeneratedIDAndTheSameCount) {
  sut.addServicePublisher(publisher("p"));
  const auto first = sut.build();
  const auto second = sut.build();
  EXPECT_EQ(first.getConfigurationID(), "built");
  EXPECT_NE(second.getConfigurationID(), "");
  EXPECT_NE(second.getConfigurationID(), "built");
  EXPECT_EQ(asInt(framework_.configuration(second.getConfigurationID())->at("modificationCount")), 1);
  EXPECT_EQ(second.getServicePublisherConfigurations().size(), 1u);
  EXPECT_EQ(framework_.configurationIDs().size(), 2u);
}

TEST(BuildingWithoutConfigurationAdmin, ASecondTimeYieldsAConfigurationWhoseIDIsEmpty) {
  TestFramework framework;
  SPFConfigurationBuilder sut("built");
  const auto first = sut.build();
  const auto second = sut.build();
  EXPECT_EQ(second.getConfigurationID(), "");
  EXPECT_FALSE(second.empty());
}

TEST(BuildingThroughAConfigurationAdminThatGeneratesNoName, ASecondTimeYieldsAConfigurationWhoseIDIsEmpty) {
  TestFramework framework;
  const auto admin = ConfigurationAdminDouble::registerWith(framework);
  admin->setNextPid("zk.spf.framework");
  SPFConfigurationBuilder sut("built");
  const auto first = sut.build();
  const auto second = sut.build();
  EXPECT_EQ(first.getConfigurationID(), "built");
  EXPECT_EQ(second.getConfigurationID(), "");
  EXPECT_TRUE(admin->properties("zk.spf.framework~built"));
  EXPECT_TRUE(admin->properties("zk.spf.framework"));
}

}  // namespace spf::test
