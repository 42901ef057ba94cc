#include <gmock/gmock.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>
#include <nlohmann/json.hpp>

#include "agent/host/services.hpp"
#include "file/ConfigurationDescription.hpp"
#include "file/anyJson.hpp"
#include "file/readConfiguration.hpp"
#include "support/EmptyHost.hpp"

namespace spf::test {

using namespace spfctl;
using agent::spf::frameworksetup::SPFConfiguration;
using cppmicroservices::service::cm::ConfigurationAdmin;
using nlohmann::json;

namespace {

// The same entries with every kind of difference: added, removed, changed, marked, mapped, in another order.
const std::vector<std::string> texts = {
    "{}",
    R"({"configurationID": "c",
        "serviceInterfaces": [{"uniqueID": "i", "name": "I", "requestedProperties": {"unit": "celsius"}},
                              {"uniqueID": "j", "name": "J"}],
        "servicePublishers": [{"uniqueID": "p", "name": "rpcservicepublisher", "endpointsToBindTo": ["a", "b"]},
                              {"uniqueID": "q", "name": "rpcservicepublisher"}],
        "serviceMappings": [{"serviceInterfaceID": "i", "servicePublisherID": "p"},
                            {"serviceInterfaceID": "j", "servicePublisherID": "q"}]})",
    // Another ID, no mappings, and what the entries hold.
    R"json({"configurationID": "d",
        "serviceInterfaces": [{"uniqueID": "i", "name": "I2", "requestedProperties": {"unit": "kelvin", "list": [1]}},
                              {"uniqueID": "j", "name": "J"}],
        "servicePublishers": [{"uniqueID": "p", "name": "legacyservicepublisher", "endpointsToBindTo": ["b", "a"],
                               "endpointsToConnectTo": [7, {"host": "h"}], "importFilter": "(a=1)",
                               "exportFilter": "(b=2)"},
                              {"uniqueID": "q", "name": "rpcservicepublisher"}]
})json",
    // Marks, one of them with a mapping of the same interface.
    R"({"serviceInterfaces": [{"uniqueID": "i", "name": "I", "toAllServicePublishers": true},
                              {"uniqueID": "j", "name": "J", "toAllServicePublishers": true}],
        "servicePublishers": [{"uniqueID": "p", "name": "rpcservicepublisher"}],
        "serviceMappings": [{"serviceInterfaceID": "i", "servicePublisherID": "p"}]})",
    // The other order.
    R"({"serviceInterfaces": [{"uniqueID": "j", "name": "J", "toAllServicePublishers": true},
                              {"uniqueID": "i", "name": "I", "toAllServicePublishers": true}],
        "servicePublishers": [{"uniqueID": "q", "name": "rpcservicepublisher"},
                              {"uniqueID": "p", "name": "rpcservicepublisher"}],
        "serviceMappings": [{"serviceInterfaceID": "j", "servicePublisherID": "q"},
                            {"serviceInterfaceID": "j", "servicePublisherID": "p"}]})",
    // Interfaces and publishers alone, and other ones.
    R"({"serviceInterfaces": [{"uniqueID": "k", "name": "K"}]})",
    R"({"servicePublishers": [{"uniqueID": "i", "name": "rpcservicepublisher", "endpointsToConnectTo": ["a", "a"]}]})",
    R"({"serviceInterfaces": [{"uniqueID": "p", "name": "an ID of a publisher", "toAllServicePublishers": true}],
        "servicePublishers": [{"uniqueID": "p", "name": "rpcservicepublisher"}]})",
};

ConfigurationDescription described(const std::string& text) {
  auto checked = checkConfiguration({"f.json", text});
  EXPECT_EQ(checked.findings.errors(), 0u) << text;
  return std::move(checked.description);
}

// The properties in Configuration Admin, with their lists in one order, since entries of a configuration have none.
json publishedProperties(const std::string& configurationID) {
  auto context = agent::host::services::getFramework()->GetBundleContext();
  const auto admin = context.GetService(context.GetServiceReference<ConfigurationAdmin>());
  const auto found = admin->ListConfigurations("(pid=*~" + configurationID + ")");
  if (found.size() != 1) {
    return "there are " + std::to_string(found.size()) + " configurations of this ID";
  }
  auto properties = toJson(cppmicroservices::Any(found.front()->GetProperties()));
  for (const auto* list : {"serviceConfigurations", "servicePublisherConfigurations", "servicePublisherMappings"}) {
    std::sort(properties.at(list).begin(), properties.at(list).end());
  }
  return properties;
}

// The IDs of the interfaces that a publisher serves, in their order.
std::vector<std::string> servedBy(const SPFConfiguration& configuration, const std::string& publisher) {
  std::vector<std::string> ids;
  for (const auto& serviceInterface : configuration.getServiceInterfaceConfigurationsForServicePublisher(publisher)) {
    ids.push_back(serviceInterface.uniqueID + " " + serviceInterface.name);
  }
  return ids;
}

class AModifiedConfiguration : public testing::Test {
 protected:
  static SPFConfiguration built(const std::string& text, const std::string& id) {
    auto description = described(text);
    description.configurationID = id;
    return toBuilder(description).build();
  }

  const EmptyHost host_;
};

}  // namespace

TEST_F(AModifiedConfiguration, EqualsAFreshOneWhateverItWasBefore) {
  for (const auto& before : texts) {
    for (const auto& after : texts) {
      SCOPED_TRACE("from " + before + "\nto " + after);
      auto sut = built(before, "modified");
      sut = modifiedTo(sut, described(after)).build();
      const auto fresh = built(after, "fresh");
      EXPECT_EQ(sut.getConfigurationID(), "modified");
      for (const auto* publisher : {"p", "q", "i", "unknown"}) {
        EXPECT_EQ(servedBy(sut, publisher), servedBy(fresh, publisher));
      }
      auto properties = publishedProperties("modified");
      EXPECT_EQ(properties.at("modificationCount"), 2);
      properties["modificationCount"] = 1;
      EXPECT_EQ(properties, publishedProperties("fresh"));
    }
  }
}

TEST_F(AModifiedConfiguration, CanBeModifiedAgain) {
  auto sut = built(texts[1], "modified");
  for (const auto& text : texts) {
    sut = modifiedTo(sut, described(text)).build();
  }
  EXPECT_EQ(publishedProperties("modified").at("modificationCount"), static_cast<int>(texts.size()) + 1);
  sut = modifiedTo(sut, described(texts[1])).build();
  EXPECT_EQ(servedBy(sut, "p"), std::vector<std::string>{"i I"});
  EXPECT_EQ(sut.getServiceInterfaceConfigurations().size(), 2u);
  EXPECT_EQ(sut.getServicePublisherConfigurations().size(), 2u);
}

TEST_F(AModifiedConfiguration, IsWithdrawnIfItsBuilderIsDropped) {
  auto sut = built(texts[1], "modified");
  static_cast<void>(modifiedTo(sut, described(texts[2])));
  EXPECT_EQ(publishedProperties("modified"), "there are 0 configurations of this ID");
}

TEST_F(AModifiedConfiguration, StaysAsItIsIfTheDescriptionMapsToNothing) {
  const auto complaintAbout = [](SPFConfiguration& configuration, const ConfigurationDescription& description) {
    try {
      static_cast<void>(modifiedTo(configuration, description));
    } catch (const std::runtime_error& error) {
      return std::string(error.what());
    }
    return std::string("no complaint");
  };
  auto sut = built(texts[1], "modified");
  const auto before = publishedProperties("modified");
  auto description = described(texts[1]);
  description.serviceMappings.emplace_back("i", "nobody");
  EXPECT_EQ(complaintAbout(sut, description),
            "ServiceMapping references an unknown ServicePublisher Configuration nobody");
  description.serviceMappings.back() = {"nothing", "p"};
  EXPECT_EQ(complaintAbout(sut, description),
            "ServiceMapping references an unknown ServiceInterface Configuration nothing");
  EXPECT_EQ(publishedProperties("modified"), before);
  EXPECT_EQ(sut.getConfigurationID(), "modified");
}

TEST_F(AModifiedConfiguration, OfAnEmptyHandleIsANewOne) {
  SPFConfiguration sut;
  sut = modifiedTo(sut, described(texts[1])).build();
  EXPECT_NE(sut.getConfigurationID(), "");
  EXPECT_EQ(servedBy(sut, "p"), std::vector<std::string>{"i I"});
}

}  // namespace spf::test
