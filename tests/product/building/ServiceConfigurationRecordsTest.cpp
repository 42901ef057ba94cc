#include <type_traits>

#include "support/configurations.hpp"

namespace spf::test {

static_assert(std::is_aggregate_v<SPFServiceInterfaceConfiguration>);
static_assert(std::is_aggregate_v<SPFServicePublisherConfiguration>);
static_assert(!std::is_polymorphic_v<SPFServiceInterfaceConfiguration>);
static_assert(!std::is_polymorphic_v<SPFServicePublisherConfiguration>);

// What is compared is the identity, never a record.
template <class Record, class = void>
constexpr bool canBeCompared = false;
template <class Record>
constexpr bool canBeCompared<Record, std::void_t<decltype(std::declval<Record>() == std::declval<Record>())>> = true;
static_assert(canBeCompared<std::string>);
static_assert(!canBeCompared<SPFServiceInterfaceConfiguration>);
static_assert(!canBeCompared<SPFServicePublisherConfiguration>);

using Texts = std::vector<std::string>;

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

TEST_F(ServiceConfigurationRecords, HaveTheseMembersAndNoOthers) {
  auto [interfaceID, interfaceName, requestedProperties] = SPFServiceInterfaceConfiguration();
  static_assert(std::is_same_v<decltype(interfaceID), std::string>);
  static_assert(std::is_same_v<decltype(interfaceName), std::string>);
  static_assert(std::is_same_v<decltype(requestedProperties), boost::property_tree::ptree>);

  auto [publisherID, publisherName, connect, bind, importFilter, exportFilter] = SPFServicePublisherConfiguration();
  static_assert(std::is_same_v<decltype(publisherID), std::string>);
  static_assert(std::is_same_v<decltype(publisherName), std::string>);
  static_assert(std::is_same_v<decltype(connect), List>);
  static_assert(std::is_same_v<decltype(bind), List>);
  static_assert(std::is_same_v<decltype(importFilter), std::string>);
  static_assert(std::is_same_v<decltype(exportFilter), std::string>);
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

TEST_F(ServiceConfigurationRecords, ThatShareTheirIdentityAreOneEntryAndTheLastOneCounts) {
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

TEST_F(ServiceConfigurationRecords, DifferByTheCaseOfTheirIDAndByWhatStandsBehindANul) {
  const std::pair<std::string, std::string> cases[] = {{"P", "p"}, {std::string("a\0b", 3), std::string("a\0c", 3)}};
  for (const auto& [one, other] : cases) {
    SPFConfigurationBuilder builder("differing");
    for (const auto& id : {one, other}) {
      builder.addServiceInterface(serviceInterface(id)).addServicePublisher(publisher(id)).addServiceMapping(id, id);
    }
    const auto configuration = builder.build();
    const Texts both{one, other};
    EXPECT_EQ(sortedIDsOf(configuration.getServiceInterfaceConfigurations()), both);
    EXPECT_EQ(sortedIDsOf(configuration.getServicePublisherConfigurations()), both);
    EXPECT_EQ(idsOf(configuration.getServiceInterfaceConfigurationsForServicePublisher(one)), Texts{one});
    EXPECT_EQ(idsOf(configuration.getServiceInterfaceConfigurationsForServicePublisher(other)), Texts{other});
    EXPECT_EQ(mappingsIn(*framework_.configuration("differing")), (Pairs{{one, one}, {other, other}}));
  }
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
