#include "file/readConfiguration.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include <cppmicroservices/AnyMap.h>

#include "file/configurationKeys.hpp"
#include "support/firstFinding.hpp"

namespace spf::test {

using namespace spfctl;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;

class AConfigurationFile : public testing::Test {
 protected:
  static CheckedConfiguration check(const std::string& text) { return checkConfiguration({"f.json", text}); }
  static ConfigurationDescription read(const std::string& text) {
    auto checked = check(text);
    EXPECT_EQ(checked.findings.errors(), 0u) << firstOf(checked.findings, text);
    return std::move(checked.description);
  }
  // The first error, with its line and column. Warnings are the golden files' to test.
  static std::string complaint(const std::string& text) {
    Findings errors;
    for (const auto& finding : check(text).findings.sorted()) {
      if (finding.severity == Finding::Severity::error) {
        errors.error(finding.offset, finding.message);
      }
    }
    return firstOf(errors, text);
  }
  static std::vector<Any> endpoints(const std::string& json) {
    return read(R"({"servicePublishers": [{"uniqueID": "p", "name": "n", "endpointsToBindTo": )" + json + "}]}")
        .servicePublishers.at(0)
        .endpointsToBindTo;
  }
};

TEST_F(AConfigurationFile, DescribesAConfigurationWithAllItsMembers) {
  const auto sut = read(R"json({
    "configurationID": "weather",
    "serviceInterfaces": [
      { "uniqueID": "temperature", "name": "weather.Temperature",
        "requestedProperties": { "unit": "celsius" },
        "requiredRuntimeServiceProperties": { "site": "north", "a.b": "nested" },
        "toAllServicePublishers": true },
      { "uniqueID": "humidity", "name": "weather.Humidity" } ],
    "servicePublishers": [
      { "uniqueID": "station", "name": "rpcservicepublisher",
        "endpointsToBindTo": [ "tcp://127.0.0.1:5555" ], "endpointsToConnectTo": [ "c" ],
        "importFilter": "(a=1)", "exportFilter": "(b=2)" } ],
    "serviceMappings": [ { "serviceInterfaceID": "humidity", "servicePublisherID": "station" } ]
})json");
  EXPECT_EQ(sut.configurationID, "weather");
  ASSERT_EQ(sut.serviceInterfaces.size(), 2u);
  const auto& temperature = sut.serviceInterfaces[0];
  EXPECT_EQ(temperature.record.uniqueID, "temperature");
  EXPECT_EQ(temperature.record.name, "weather.Temperature");
  EXPECT_TRUE(temperature.toAllServicePublishers);
  const auto& tree = temperature.record.requestedProperties;
  EXPECT_EQ(tree.get<std::string>("unit"), "celsius");
  EXPECT_EQ(tree.get<std::string>("spf::requiredServiceProperty::site"), "north");
  EXPECT_EQ(tree.get<std::string>("spf::requiredServiceProperty::a.b"), "nested");
  EXPECT_FALSE(sut.serviceInterfaces[1].toAllServicePublishers);
  ASSERT_EQ(sut.servicePublishers.size(), 1u);
  const auto& publisher = sut.servicePublishers[0];
  EXPECT_EQ(publisher.uniqueID, "station");
  EXPECT_EQ(publisher.name, "rpcservicepublisher");
  EXPECT_EQ(any_cast<std::string>(publisher.endpointsToBindTo.at(0)), "tcp://127.0.0.1:5555");
  EXPECT_EQ(any_cast<std::string>(publisher.endpointsToConnectTo.at(0)), "c");
  EXPECT_EQ(publisher.importFilter, "(a=1)");
  EXPECT_EQ(publisher.exportFilter, "(b=2)");
  ASSERT_EQ(sut.serviceMappings.size(), 1u);
  EXPECT_EQ(sut.serviceMappings[0], (std::pair<std::string, std::string>("humidity", "station")));
}

TEST_F(AConfigurationFile, MayLeaveEverythingOut) {
  const auto sut = read("{}");
  EXPECT_EQ(sut.configurationID, "");
  EXPECT_TRUE(sut.serviceInterfaces.empty());
  EXPECT_TRUE(sut.servicePublishers.empty());
  EXPECT_TRUE(sut.serviceMappings.empty());
}

TEST_F(AConfigurationFile, GivesEndpointsTheTypeOfTheirValue) {
  const auto list =
      endpoints(R"(["t", 7, -2147483648, 2147483648, 1.5, 1e2, true, false, null, ["x", 1], {"Key": "v"}])");
  ASSERT_EQ(list.size(), 11u);
  EXPECT_EQ(any_cast<std::string>(list[0]), "t");
  EXPECT_EQ(any_cast<int>(list[1]), 7);
  EXPECT_EQ(any_cast<int>(list[2]), -2147483647 - 1);
  EXPECT_EQ(any_cast<double>(list[3]), 2147483648.0);
  EXPECT_EQ(any_cast<double>(list[4]), 1.5);
  EXPECT_EQ(any_cast<double>(list[5]), 100.0);
  EXPECT_TRUE(any_cast<bool>(list[6]));
  EXPECT_FALSE(any_cast<bool>(list[7]));
  EXPECT_TRUE(list[8].Empty());
  EXPECT_EQ(any_cast<int>(any_cast<std::vector<Any>>(list[9]).at(1)), 1);
  EXPECT_EQ(any_cast<std::string>(any_cast<AnyMap>(list[10]).at("key")), "v");
}

TEST_F(AConfigurationFile, TurnsRequestedPropertiesIntoATreeOfTexts) {
  const auto sut = read(R"({"serviceInterfaces": [{"uniqueID": "i", "name": "n", "requestedProperties":
    {"number": 1.50, "flag": true, "nothing": null, "list": ["a", 2], "map": {"x.y": "z"}, "empty": {}}}]})");
  const auto& tree = sut.serviceInterfaces.at(0).record.requestedProperties;
  EXPECT_EQ(tree.get<std::string>("number"), "1.50");
  EXPECT_EQ(tree.get<std::string>("flag"), "true");
  EXPECT_EQ(tree.get<std::string>("nothing"), "null");
  const auto& list = tree.get_child("list");
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(list.front().first, "");
  EXPECT_EQ(list.front().second.data(), "a");
  EXPECT_EQ(list.back().second.data(), "2");
  EXPECT_EQ(tree.get_child("map").front().first, "x.y");
  EXPECT_TRUE(tree.get_child("empty").empty());
}

TEST_F(AConfigurationFile, PutsRequiredPropertiesBehindRequestedOnesInAnyOrder) {
  const auto sut = read(R"({"serviceInterfaces": [{"uniqueID": "i", "name": "n",
    "requiredRuntimeServiceProperties": {"r": "1"}, "requestedProperties": {"q": "2"}}]})");
  const auto& tree = sut.serviceInterfaces.at(0).record.requestedProperties;
  ASSERT_EQ(tree.size(), 2u);
  EXPECT_EQ(tree.front().first, "q");
  EXPECT_EQ(tree.back().first, "spf::requiredServiceProperty::r");
}

TEST_F(AConfigurationFile, RefusesKeysThatItDoesNotKnow) {
  EXPECT_EQ(complaint("{\n  \"configurationId\": \"x\"\n}"),
            "2:3: unknown key 'configurationId' in the configuration; did you mean 'configurationID'?");
  EXPECT_EQ(complaint(R"({"colour": "blue"})"),
            "1:2: unknown key 'colour' in the configuration; expected one of configurationID, serviceInterfaces, "
            "servicePublishers, serviceMappings, $schema");
  EXPECT_EQ(complaint(R"({"servicePublishers": [{"uniqueID": "p", "name": "n", "endpoint": []}]})"),
            "1:55: unknown key 'endpoint' in a service publisher; expected one of uniqueID, name, "
            "endpointsToConnectTo, endpointsToBindTo, importFilter, exportFilter");
}

TEST_F(AConfigurationFile, RefusesEntriesWithoutIDOrName) {
  EXPECT_EQ(complaint(R"({"serviceInterfaces": [{"name": "n"}]})"),
            "1:24: a service interface has no 'uniqueID'; expected one");
  EXPECT_EQ(complaint(R"({"servicePublishers": [{"uniqueID": "p"}]})"),
            "1:24: a service publisher has no 'name'; expected one");
  EXPECT_EQ(complaint(R"({"serviceMappings": [{"serviceInterfaceID": "p"}]})"),
            "1:22: a service mapping has no 'servicePublisherID'; expected one");
}

TEST_F(AConfigurationFile, RefusesIDsAndKeysThatAreGivenTwice) {
  EXPECT_EQ(complaint("{\"servicePublishers\": [{\"uniqueID\": \"p\", \"name\": \"n\"},\n{\"uniqueID\": \"p\", "
                      "\"name\": \"m\"}]}"),
            "2:1: the uniqueID 'p' is given twice; expected one entry of each");
  EXPECT_EQ(complaint(R"({"serviceInterfaces": [{"uniqueID": "p", "name": "n"}, {"uniqueID": "p", "name": "m"}]})"),
            "1:56: the uniqueID 'p' is given twice; expected one entry of each");
  EXPECT_EQ(complaint(R"({"configurationID": "a", "configurationID": "b"})"),
            "1:26: the key 'configurationID' is given twice; expected it once");
  EXPECT_EQ(
      complaint(R"({"servicePublishers": [{"uniqueID": "p", "name": "n", "endpointsToBindTo": [{"k": 1, "K": 2}]}]})"),
      "1:86: the key 'K' is given twice, as 'k' before; expected keys that differ in more than case");
}

TEST_F(AConfigurationFile, AllowsAnInterfaceAndAPublisherOfOneID) {
  EXPECT_EQ(complaint(R"({"serviceInterfaces": [{"uniqueID": "x", "name": "n"}],
                          "servicePublishers": [{"uniqueID": "x", "name": "n"}]})"),
            "no complaint");
}

TEST_F(AConfigurationFile, RefusesValuesOfAWrongType) {
  EXPECT_EQ(complaint("[]"), "1:1: found an array; expected an object");
  EXPECT_EQ(complaint(R"({"configurationID": 7})"), "1:21: found a number; expected a string");
  EXPECT_EQ(complaint(R"({"servicePublishers": {}})"), "1:23: found an object; expected an array");
  EXPECT_EQ(complaint(R"({"serviceMappings": [null]})"), "1:22: found null; expected an object");
  EXPECT_EQ(complaint(R"({"serviceInterfaces": [{"uniqueID": "i", "name": "n", "toAllServicePublishers": "yes"}]})"),
            "1:81: found a string; expected a boolean");
  EXPECT_EQ(complaint(R"({"serviceInterfaces": [{"uniqueID": "i", "name": "n", "requestedProperties": true}]})"),
            "1:78: found a boolean; expected an object");
  EXPECT_EQ(complaint(R"({"serviceInterfaces": [{"uniqueID": "i", "name": "n",
"requiredRuntimeServiceProperties": {"a": 1}}]})"),
            "2:43: found a number; expected a string");
}

TEST_F(AConfigurationFile, RefusesFiltersThatDoNotParse) {
  const auto publisher = [](const std::string& filter) {
    return R"({"servicePublishers": [{"uniqueID": "p", "name": "n", "importFilter": ")" + filter + "\"}]}";
  };
  EXPECT_EQ(complaint(publisher("")), "no complaint");
  EXPECT_EQ(complaint(publisher("(a=1)")), "no complaint");
  EXPECT_EQ(complaint(publisher("(a=")), "1:71: '(a=' is no LDAP filter; expected one like (site=north)");
}

TEST_F(AConfigurationFile, RefusesMappingsToNothingInTheWordsOfTheLibrary) {
  const std::string text = R"({"serviceMappings": [{"serviceInterfaceID": "i", "servicePublisherID": "p"}],
"serviceInterfaces": [{"uniqueID": "j", "name": "n"}], "servicePublishers": [{"uniqueID": "p", "name": "n"}]})";
  EXPECT_EQ(
      complaint(text),
      "1:45: ServiceMapping references an unknown ServiceInterface Configuration i; expected the uniqueID of one");
  try {
    static_cast<void>(toBuilder(check(text).description).build());
    FAIL();
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "ServiceMapping references an unknown ServiceInterface Configuration i");
  }
}

TEST_F(AConfigurationFile, IsReadToItsEndWhateverIsWrong) {
  const auto checked =
      check(R"({"a": 1, "b": 2, "servicePublishers": [{"uniqueID": 1}, 7, {"name": "n", "uniqueID": "p"}],
    "serviceMappings": [{"serviceInterfaceID": "x", "servicePublisherID": "y"}]})");
  // Two unknown keys, an ID of a wrong type, a name that is missing, an entry of a wrong type, two unknown IDs.
  EXPECT_EQ(checked.findings.errors(), 7u);
}

TEST_F(AConfigurationFile, MayNameItsSchema) {
  EXPECT_EQ(complaint(R"({"$schema": "configuration.schema.json"})"), "no complaint");
  EXPECT_EQ(complaint(R"({"$schema": 7})"), "1:13: found a number; expected a string");
}

// Every key that the table offers, the reader takes.
TEST_F(AConfigurationFile, MayHaveEveryKeyOfTheTable) {
  const auto valueOf = [](ValueShape shape) -> std::string {
    switch (shape) {
      case ValueShape::text:
      case ValueShape::filter:
        return "\"\"";
      case ValueShape::boolean:
        return "true";
      case ValueShape::tree:
      case ValueShape::texts:
        return "{}";
      default:
        return "[]";
    }
  };
  const auto objectOf = [&](const ConfigurationObject& object) {
    std::string text;
    for (const auto& key : object.keys) {
      text += (text.empty() ? "{" : ", ") + std::string("\"") + key.name + "\": " + valueOf(key.shape);
    }
    return text + "}";
  };
  EXPECT_EQ(complaint(objectOf(configurationObject)), "no complaint");
  EXPECT_EQ(complaint(R"({"serviceInterfaces": [)" + objectOf(serviceInterfaceObject) + R"(], "servicePublishers": [)" +
                      objectOf(servicePublisherObject) + R"(], "serviceMappings": [)" + objectOf(serviceMappingObject) +
                      "]}"),
            "no complaint");
}

TEST_F(AConfigurationFile, BecomesABuilderThatHoldsAllOfIt) {
  const auto configuration = toBuilder(read(R"({"configurationID": "x",
        "serviceInterfaces": [{"uniqueID": "i", "name": "n", "toAllServicePublishers": true}, {"uniqueID": "j", "name": "n"}],
        "servicePublishers": [{"uniqueID": "p", "name": "rpcservicepublisher"}],
        "serviceMappings": [{"serviceInterfaceID": "j", "servicePublisherID": "p"}]})"))
                                 .build();
  EXPECT_EQ(configuration.getServiceInterfaceConfigurations().size(), 2u);
  EXPECT_EQ(configuration.getServiceInterfaceConfigurationsForServicePublisher("p").size(), 2u);
  EXPECT_EQ(configuration.getServiceInterfaceConfigurationsForServicePublisher("q").size(), 1u);
}

}  // namespace spf::test
