#include "file/ConfigurationFile.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include <cppmicroservices/AnyMap.h>

#include "file/JsonDocument.hpp"

namespace spf::test {

using namespace spfctl;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;

class AConfigurationFile : public testing::Test {
 protected:
  static ConfigurationDescription read(const std::string& text) { return readConfiguration("f.json", text); }
  static std::string complaint(const std::string& text) {
    try {
      read(text);
    } catch (const FileError& error) {
      return error.what();
    }
    return "no complaint";
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
            "f.json:2:3: unknown key 'configurationId' in the configuration; expected one of configurationID, "
            "serviceInterfaces, servicePublishers, serviceMappings");
  EXPECT_EQ(complaint(R"({"servicePublishers": [{"uniqueID": "p", "name": "n", "endpoint": []}]})"),
            "f.json:1:55: unknown key 'endpoint' in a service publisher; expected one of uniqueID, name, "
            "endpointsToConnectTo, endpointsToBindTo, importFilter, exportFilter");
}

TEST_F(AConfigurationFile, RefusesEntriesWithoutIDOrName) {
  EXPECT_EQ(complaint(R"({"serviceInterfaces": [{"name": "n"}]})"),
            "f.json:1:24: a service interface has no 'uniqueID'");
  EXPECT_EQ(complaint(R"({"servicePublishers": [{"uniqueID": "p"}]})"),
            "f.json:1:24: a service publisher has no 'name'");
  EXPECT_EQ(complaint(R"({"serviceMappings": [{"serviceInterfaceID": "p"}]})"),
            "f.json:1:22: a service mapping has no 'servicePublisherID'");
}

TEST_F(AConfigurationFile, RefusesIDsAndKeysThatAreGivenTwice) {
  EXPECT_EQ(complaint("{\"servicePublishers\": [{\"uniqueID\": \"p\", \"name\": \"n\"},\n{\"uniqueID\": \"p\", "
                      "\"name\": \"m\"}]}"),
            "f.json:2:1: the uniqueID 'p' is given twice");
  EXPECT_EQ(complaint(R"({"serviceInterfaces": [{"uniqueID": "p", "name": "n"}, {"uniqueID": "p", "name": "m"}]})"),
            "f.json:1:56: the uniqueID 'p' is given twice");
  EXPECT_EQ(complaint(R"({"configurationID": "a", "configurationID": "b"})"),
            "f.json:1:26: the key 'configurationID' is given twice");
  EXPECT_EQ(
      complaint(R"({"servicePublishers": [{"uniqueID": "p", "name": "n", "endpointsToBindTo": [{"k": 1, "K": 2}]}]})"),
      "f.json:1:86: the key 'K' is given twice; case does not count here");
}

TEST_F(AConfigurationFile, AllowsAnInterfaceAndAPublisherOfOneID) {
  EXPECT_EQ(complaint(R"({"serviceInterfaces": [{"uniqueID": "x", "name": "n"}],
                          "servicePublishers": [{"uniqueID": "x", "name": "n"}]})"),
            "no complaint");
}

TEST_F(AConfigurationFile, RefusesValuesOfAWrongType) {
  EXPECT_EQ(complaint("[]"), "f.json:1:1: expected an object, found an array");
  EXPECT_EQ(complaint(R"({"configurationID": 7})"), "f.json:1:21: expected a string, found a number");
  EXPECT_EQ(complaint(R"({"servicePublishers": {}})"), "f.json:1:23: expected an array, found an object");
  EXPECT_EQ(complaint(R"({"serviceMappings": [null]})"), "f.json:1:22: expected an object, found null");
  EXPECT_EQ(complaint(R"({"serviceInterfaces": [{"uniqueID": "i", "name": "n", "toAllServicePublishers": "yes"}]})"),
            "f.json:1:81: expected a boolean, found a string");
  EXPECT_EQ(complaint(R"({"serviceInterfaces": [{"uniqueID": "i", "name": "n", "requestedProperties": true}]})"),
            "f.json:1:78: expected an object, found a boolean");
  EXPECT_EQ(complaint(R"({"serviceInterfaces": [{"uniqueID": "i", "name": "n",
"requiredRuntimeServiceProperties": {"a": 1}}]})"),
            "f.json:2:43: expected a string, found a number");
}

TEST_F(AConfigurationFile, SaysWhyItCannotBeRead) {
  const auto complaintAbout = [](const std::filesystem::path& file) {
    try {
      readConfigurationFile(file);
    } catch (const FileError& error) {
      return std::string(error.what());
    }
    return std::string("no complaint");
  };
  EXPECT_EQ(complaintAbout("/does/not/exist.json"), "/does/not/exist.json: cannot be read: No such file or directory");
  EXPECT_EQ(complaintAbout("/tmp"), "/tmp: is a directory; expected a configuration file");
}

TEST_F(AConfigurationFile, IsReadFromAFile) {
  const auto file = std::filesystem::path(testing::TempDir()) / "spfctl-configuration.json";
  std::ofstream(file) << R"({"configurationID": "from a file"})";
  EXPECT_EQ(readConfigurationFile(file).configurationID, "from a file");
  std::filesystem::remove(file);
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
