#include <type_traits>

#include "support/configurations.hpp"

namespace spf::test {

static_assert(std::is_aggregate_v<SPFServiceInterfaceConfiguration>);
static_assert(std::is_aggregate_v<SPFServicePublisherConfiguration>);

class ServiceConfigurationRecords : public testing::Test {
 protected:
  FrameworkWithConfigurationAdmin framework_;
};

TEST_F(ServiceConfigurationRecords, AreFilledInTheOrderOfTheirMembers) {
  boost::property_tree::ptree tree;
  tree.put("unit", "celsius");
  const SPFServiceInterfaceConfiguration serviceInterface{"id", "name", tree};
  EXPECT_EQ(serviceInterface.uniqueID, "id");
  EXPECT_EQ(serviceInterface.name, "name");
  EXPECT_EQ(serviceInterface.requestedProperties, tree);

  const SPFServicePublisherConfiguration publisher{"id", "name", {text("c")}, {text("b")}, "import", "export"};
  EXPECT_EQ(publisher.uniqueID, "id");
  EXPECT_EQ(publisher.name, "name");
  EXPECT_EQ(texts(publisher.endpointsToConnectTo), std::vector<std::string>{"c"});
  EXPECT_EQ(texts(publisher.endpointsToBindTo), std::vector<std::string>{"b"});
  EXPECT_EQ(publisher.importFilter, "import");
  EXPECT_EQ(publisher.exportFilter, "export");
}

TEST_F(ServiceConfigurationRecords, MayHaveTheEmptyIdentity) {
  const auto configuration = SPFConfigurationBuilder("empty-identity")
                                 .addServiceInterface(serviceInterface("", "nameless"))
                                 .addServicePublisher(publisher(""))
                                 .addServiceMapping("", "")
                                 .build();
  ASSERT_EQ(configuration.getServiceInterfaceConfigurationsForServicePublisher("").size(), 1u);
  EXPECT_EQ(configuration.getServiceInterfaceConfigurationsForServicePublisher("")[0].name, "nameless");
}

TEST_F(ServiceConfigurationRecords, ThatShareTheirIdentityAreOneEntryAndTheLaterReplacesTheEarlier) {
  boost::property_tree::ptree tree;
  tree.put("unit", "kelvin");
  const auto configuration = SPFConfigurationBuilder("same-identity")
                                 .addServiceInterface("i", "first", {})
                                 .addServiceInterface("i", "second", tree)
                                 .addServicePublisherAny("p", "first", {text("x")}, {}, "a", "b")
                                 .addServicePublisherAny("p", "second", {}, {text("y")}, "c", "d")
                                 .build();
  const auto interfaces = configuration.getServiceInterfaceConfigurations();
  ASSERT_EQ(interfaces.size(), 1u);
  EXPECT_EQ(interfaces[0].name, "second");
  EXPECT_EQ(interfaces[0].requestedProperties, tree);
  const auto publishers = configuration.getServicePublisherConfigurations();
  ASSERT_EQ(publishers.size(), 1u);
  EXPECT_EQ(publishers[0].name, "second");
  EXPECT_TRUE(publishers[0].endpointsToConnectTo.empty());
  EXPECT_EQ(texts(publishers[0].endpointsToBindTo), std::vector<std::string>{"y"});
  EXPECT_EQ(publishers[0].importFilter, "c");
  EXPECT_EQ(publishers[0].exportFilter, "d");
}

TEST_F(ServiceConfigurationRecords, DifferByTheCaseOfTheirIdentity) {
  const auto configuration = SPFConfigurationBuilder("case")
                                 .addServiceInterface("i", "lower", {})
                                 .addServiceInterface("I", "upper", {})
                                 .build();
  EXPECT_EQ(sortedIDsOf(configuration.getServiceInterfaceConfigurations()), (std::vector<std::string>{"I", "i"}));
}

TEST_F(ServiceConfigurationRecords, CarryEndpointsOfASetInAscendingOrderAsText) {
  const auto configuration = SPFConfigurationBuilder("set")
                                 .addServicePublisher("p", "rpcservicepublisher", std::set<std::string>{"z", "a", "m"},
                                                      std::set<std::string>{"2", "10"}, "", "")
                                 .build();
  const auto record = configuration.getServicePublisherConfigurations().at(0);
  EXPECT_EQ(texts(record.endpointsToConnectTo), (std::vector<std::string>{"a", "m", "z"}));
  EXPECT_EQ(texts(record.endpointsToBindTo), (std::vector<std::string>{"10", "2"}));
}

TEST_F(ServiceConfigurationRecords, KeepOrderAndTypesOfEndpointsOfAnyType) {
  const auto configuration =
      SPFConfigurationBuilder("any")
          .addServicePublisherAny("p", "n", {text("z"), Any(7), text("a")}, {Any(true), Any()}, "", "")
          .build();
  const auto record = configuration.getServicePublisherConfigurations().at(0);
  ASSERT_EQ(record.endpointsToConnectTo.size(), 3u);
  EXPECT_EQ(asText(record.endpointsToConnectTo[0]), "z");
  EXPECT_EQ(asInt(record.endpointsToConnectTo[1]), 7);
  EXPECT_EQ(asText(record.endpointsToConnectTo[2]), "a");
  ASSERT_EQ(record.endpointsToBindTo.size(), 2u);
  EXPECT_TRUE(cppmicroservices::any_cast<bool>(record.endpointsToBindTo[0]));
  EXPECT_TRUE(record.endpointsToBindTo[1].Empty());
}

TEST_F(ServiceConfigurationRecords, MayHaveEmptyTreesEndpointsAndFiltersAndCarryThemUnchanged) {
  const auto configuration = SPFConfigurationBuilder("bare")
                                 .addServiceInterface(serviceInterface("i"))
                                 .addServicePublisher(publisher("p"))
                                 .build();
  EXPECT_TRUE(configuration.getServiceInterfaceConfigurations().at(0).requestedProperties.empty());
  const auto record = configuration.getServicePublisherConfigurations().at(0);
  EXPECT_TRUE(record.endpointsToConnectTo.empty());
  EXPECT_TRUE(record.endpointsToBindTo.empty());
  EXPECT_EQ(record.importFilter, "");
  EXPECT_EQ(record.exportFilter, "");
}

}  // namespace spf::test
