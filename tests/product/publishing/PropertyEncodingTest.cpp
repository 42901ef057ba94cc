#include <cppmicroservices/LDAPFilter.h>

#include "support/configurations.hpp"

namespace spf::test {

class EncodedProperties : public testing::Test {
 protected:
  const AnyMap& published() {
    configuration_ = sut.build();
    properties_ = framework_.configuration(configuration_.getConfigurationID());
    return *properties_;
  }

  FrameworkWithConfigurationAdmin framework_;
  SPFConfigurationBuilder sut{"encoded"};
  SPFConfiguration configuration_;
  std::unique_ptr<AnyMap> properties_;
};

TEST_F(EncodedProperties, OfAConfigurationWithoutEntriesAreThreeEmptyListsAndTheCount) {
  const auto& properties = published();
  EXPECT_EQ(properties.size(), 4u);
  EXPECT_TRUE(asList(properties.at("serviceConfigurations")).empty());
  EXPECT_TRUE(asList(properties.at("servicePublisherConfigurations")).empty());
  EXPECT_TRUE(asList(properties.at("servicePublisherMappings")).empty());
  EXPECT_EQ(asInt(properties.at("modificationCount")), 1);
}

TEST_F(EncodedProperties, HaveTheLegacyFactoryPidOnlyForTheExactName) {
  const std::pair<const char*, const char*> cases[] = {{"legacyservicepublisher", "zk.spf.legacyservicepublisher"},
                                                       {"LegacyServicePublisher", "zk.spf.rpcservicepublisher"},
                                                       {"legacyservicepublisher ", "zk.spf.rpcservicepublisher"},
                                                       {" legacyservicepublisher", "zk.spf.rpcservicepublisher"},
                                                       {"rpcservicepublisher", "zk.spf.rpcservicepublisher"},
                                                       {"anything", "zk.spf.rpcservicepublisher"},
                                                       {"", "zk.spf.rpcservicepublisher"}};
  for (const auto& [name, factoryPid] : cases) {
    sut.addServicePublisherAny("p", name, {}, {}, "", "");
    const auto& entry = entryIn(published(), "servicePublisherConfigurations", "p");
    EXPECT_EQ(asText(entry.at("factoryPID")), factoryPid) << "'" << name << "'";
    EXPECT_EQ(asText(entry.at("name")), name);
  }
}

TEST_F(EncodedProperties, HaveNoMappingForAnInterfaceToAllPublishersWhenThereIsNone) {
  sut.addServiceInterfaceToAllServicePublishers(serviceInterface("i"));
  EXPECT_EQ(mappingsIn(published()), Pairs{});
}

TEST_F(EncodedProperties, HoldAPairThatIsBothImpliedAndExplicitOnceInTheExplicitPart) {
  sut.addServiceInterfaceToAllServicePublishers(serviceInterface("I"))
      .addServiceInterface(serviceInterface("A"))
      .addServicePublisher(publisher("P1"))
      .addServicePublisher(publisher("P2"))
      .addServiceMapping("I", "P2")
      .addServiceMapping("A", "P1");
  EXPECT_EQ(mappingsIn(published()), (Pairs{{"I", "P1"}, {"A", "P1"}, {"I", "P2"}}));
}

TEST_F(EncodedProperties, HoldExplicitMappingsInAscendingOrder) {
  sut.addServiceInterface(serviceInterface("a")).addServiceInterface(serviceInterface("b"));
  sut.addServicePublisher(publisher("x")).addServicePublisher(publisher("y"));
  sut.addServiceMapping("b", "x").addServiceMapping("a", "y").addServiceMapping("b", "y").addServiceMapping("a", "x");
  EXPECT_EQ(mappingsIn(published()), (Pairs{{"a", "x"}, {"a", "y"}, {"b", "x"}, {"b", "y"}}));
}

TEST_F(EncodedProperties, HoldImpliedMappingsFirstInTheOrderOfTheOtherLists) {
  for (const auto* id : {"i1", "i2", "i3"}) {
    sut.addServiceInterfaceToAllServicePublishers(serviceInterface(id));
  }
  for (const auto* id : {"p1", "p2", "p3"}) {
    sut.addServicePublisher(publisher(id));
  }
  sut.addServiceInterface(serviceInterface("explicit")).addServiceMapping("explicit", "p2");

  const auto& properties = published();
  Pairs expected;
  for (const auto& entry : asList(properties.at("serviceConfigurations"))) {
    for (const auto& target : asList(properties.at("servicePublisherConfigurations"))) {
      if (asText(asMap(entry).at("uniqueID")) != "explicit") {
        expected.emplace_back(asText(asMap(entry).at("uniqueID")), asText(asMap(target).at("uniqueID")));
      }
    }
  }
  expected.emplace_back("explicit", "p2");
  EXPECT_EQ(mappingsIn(properties), expected);
}

TEST_F(EncodedProperties, ListEntriesInTheOrderInWhichTheHandleListsThem) {
  for (const auto* id : {"one", "two", "three", "four", "five"}) {
    sut.addServiceInterface(serviceInterface(id)).addServicePublisher(publisher(id));
  }
  const auto& properties = published();
  EXPECT_EQ(idsIn(properties, "serviceConfigurations"), idsOf(configuration_.getServiceInterfaceConfigurations()));
  EXPECT_EQ(idsIn(properties, "servicePublisherConfigurations"),
            idsOf(configuration_.getServicePublisherConfigurations()));
}

TEST_F(EncodedProperties, GiveEveryInterfaceTheVersionMajorOne) {
  sut.addServiceInterface(serviceInterface("i", "a")).addServiceInterfaceToAllServicePublishers(serviceInterface("j"));
  const auto& properties = published();
  for (const auto* id : {"i", "j"}) {
    const auto& version = asMap(entryIn(properties, "serviceConfigurations", id).at("version"));
    EXPECT_EQ(version.size(), 1u);
    EXPECT_EQ(asInt(version.at("major")), 1);
  }
}

TEST_F(EncodedProperties, AreFoundWhateverTheCaseOfTheKey) {
  boost::property_tree::ptree tree;
  tree.put("unit", "celsius");
  sut.addServiceInterface("i", "name", tree).addServicePublisher(publisher("p")).addServiceMapping("i", "p");
  const auto& properties = published();
  EXPECT_EQ(asInt(properties.at("MODIFICATIONCOUNT")), 1);
  const auto& serviceInterface = asMap(asList(properties.at("SERVICECONFIGURATIONS")).at(0));
  EXPECT_EQ(asText(serviceInterface.at("UNIQUEID")), "i");
  EXPECT_EQ(asInt(asMap(serviceInterface.at("VERSION")).at("MAJOR")), 1);
  EXPECT_EQ(asText(asMap(serviceInterface.at("REQUESTEDPROPERTIES")).at("UNIT")), "celsius");
  const auto& servicePublisher = asMap(asList(properties.at("SERVICEPUBLISHERCONFIGURATIONS")).at(0));
  EXPECT_EQ(asText(asMap(servicePublisher.at("CONFIG")).at("IMPORTFILTER")), "");
  EXPECT_EQ(asText(asMap(asList(properties.at("SERVICEPUBLISHERMAPPINGS")).at(0)).at("SERVICEID")), "i");
}

TEST_F(EncodedProperties, OfAConfigurationAreThreeListsTheCountAndNothingElse) {
  sut.addServiceInterface(serviceInterface("i")).addServicePublisher(publisher("p")).addServiceMapping("i", "p");
  sut.addServiceInterfaceToAllServicePublishers(serviceInterface("j"));
  const auto& properties = published();
  EXPECT_EQ(properties.size(), 4u);
  EXPECT_EQ(asList(properties.at("serviceConfigurations")).size(), 2u);
  EXPECT_EQ(asList(properties.at("servicePublisherConfigurations")).size(), 1u);
  EXPECT_EQ(asList(properties.at("servicePublisherMappings")).size(), 2u);
  EXPECT_EQ(asInt(properties.at("modificationCount")), 1);
}

TEST_F(EncodedProperties, HoldAllOfAnInterfaceAndNothingElse) {
  boost::property_tree::ptree tree;
  tree.put("unit", "celsius");
  sut.addServiceInterface("i", "weather.Temperature", tree);
  const auto& entry = entryIn(published(), "serviceConfigurations", "i");
  EXPECT_EQ(entry.size(), 4u);
  EXPECT_EQ(asText(entry.at("uniqueID")), "i");
  EXPECT_EQ(asText(entry.at("name")), "weather.Temperature");
  EXPECT_EQ(asText(asMap(entry.at("requestedProperties")).at("unit")), "celsius");
}

TEST_F(EncodedProperties, HoldAllOfAPublisherAndNothingElse) {
  sut.addServicePublisherAny("p", "rpcservicepublisher", {text("c"), Any(1)}, {Any(2.5), text("b")}, "in", "out");
  const auto& entry = entryIn(published(), "servicePublisherConfigurations", "p");
  EXPECT_EQ(entry.size(), 4u);
  const auto& config = asMap(entry.at("config"));
  EXPECT_EQ(config.size(), 4u);
  EXPECT_EQ(asText(asList(config.at("endpointsToConnectTo")).at(0)), "c");
  EXPECT_EQ(asInt(asList(config.at("endpointsToConnectTo")).at(1)), 1);
  EXPECT_EQ(cppmicroservices::any_cast<double>(asList(config.at("endpointsToBindTo")).at(0)), 2.5);
  EXPECT_EQ(asText(asList(config.at("endpointsToBindTo")).at(1)), "b");
  EXPECT_EQ(asText(config.at("importFilter")), "in");
  EXPECT_EQ(asText(config.at("exportFilter")), "out");
}

TEST_F(EncodedProperties, HoldEmptyListsAndFiltersToo) {
  sut.addServicePublisher(publisher("p"));
  const auto& config = asMap(entryIn(published(), "servicePublisherConfigurations", "p").at("config"));
  EXPECT_TRUE(asList(config.at("endpointsToConnectTo")).empty());
  EXPECT_TRUE(asList(config.at("endpointsToBindTo")).empty());
  EXPECT_EQ(asText(config.at("importFilter")), "");
  EXPECT_EQ(asText(config.at("exportFilter")), "");
}

TEST_F(EncodedProperties, DescribeAMappingByTwoKeysAndNothingElse) {
  sut.addServiceInterface(serviceInterface("i")).addServicePublisher(publisher("p")).addServiceMapping("i", "p");
  EXPECT_EQ(asMap(asList(published().at("servicePublisherMappings")).at(0)).size(), 2u);
}

TEST_F(EncodedProperties, CountOneMoreWithEveryRevision) {
  published();
  for (int count = 2; count <= 4; ++count) {
    configuration_ = configuration_.modify().build();
    EXPECT_EQ(asInt(framework_.configuration("encoded")->at("modificationCount")), count);
  }
}

}  // namespace spf::test
