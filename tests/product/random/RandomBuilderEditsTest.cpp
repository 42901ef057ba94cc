#include "ConfigurationModel.hpp"
#include "inRandomCases.hpp"
#include "support/ConfigurationAdminDouble.hpp"

namespace spf::test {

using Texts = std::vector<std::string>;

struct Edit;

/// A builder and the configuration that it was built into last, and a model of both.
struct Edited {
  explicit Edited(ConfigurationAdminDouble& configurationAdmin) : admin(configurationAdmin) { model.id = "edited"; }

  void build();
  void modify();
  void expectsTheModelsGetters() const;
  void expectsTheModelsProperties() const;

  ConfigurationAdminDouble& admin;
  SPFConfigurationBuilder sut{"edited"};
  SPFConfiguration configuration;
  ConfigurationModel model;
  ConfigurationModel built;
  int builds = 0;
};

struct EditKind {
  const char* name;
  void (*apply)(Edited&, const Edit&);
};

struct Edit {
  const EditKind* kind = nullptr;
  std::string interfaceID;
  std::string publisherID;
  int variant = 0;
};

std::ostream& operator<<(std::ostream& stream, const Edit& edit) {
  return stream << edit.kind->name << " '" << edit.interfaceID << "' '" << edit.publisherID << "' " << edit.variant;
}

SPFServiceInterfaceConfiguration interfaceOf(const Edit& edit) {
  auto record = serviceInterface(edit.interfaceID, "name " + std::to_string(edit.variant));
  for (int key = 0; key < edit.variant; ++key) {
    record.requestedProperties.push_back({"key " + std::to_string(key), boost::property_tree::ptree(edit.publisherID)});
  }
  return record;
}

SPFServicePublisherConfiguration publisherOf(const Edit& edit) {
  static const char* const names[] = {"", "legacyservicepublisher", "rpcservicepublisher"};
  const List endpoints[] = {{}, {text("b"), text("a"), text("b")}, {Any(), Any(edit.variant), Any(List{Any()})}};
  return {edit.publisherID,        names[edit.variant],
          endpoints[edit.variant], endpoints[2 - edit.variant],
          edit.interfaceID,        "export " + std::to_string(edit.variant)};
}

const EditKind editKinds[] = {
    {"addServiceInterface",
     [](Edited& edited, const Edit& edit) {
       edited.sut.addServiceInterface(interfaceOf(edit));
       edited.model.interfaces[edit.interfaceID] = interfaceOf(edit);
     }},
    {"addServiceInterfaceToAllServicePublishers",
     [](Edited& edited, const Edit& edit) {
       edited.sut.addServiceInterfaceToAllServicePublishers(interfaceOf(edit));
       edited.model.interfaces[edit.interfaceID] = interfaceOf(edit);
       edited.model.toAllPublishers.insert(edit.interfaceID);
     }},
    {"addServiceInterfaceToServicePublisher",
     [](Edited& edited, const Edit& edit) {
       edited.sut.addServiceInterfaceToServicePublisher(edit.publisherID, interfaceOf(edit));
       edited.model.interfaces[edit.interfaceID] = interfaceOf(edit);
       edited.model.mappings.emplace(edit.interfaceID, edit.publisherID);
     }},
    {"undoMappingOfServiceInterfaceToAllServicePublishers",
     [](Edited& edited, const Edit& edit) {
       edited.sut.undoMappingOfServiceInterfaceToAllServicePublishers(edit.interfaceID);
       edited.model.toAllPublishers.erase(edit.interfaceID);
     }},
    {"addServicePublisher",
     [](Edited& edited, const Edit& edit) {
       edited.sut.addServicePublisher(publisherOf(edit));
       edited.model.publishers[edit.publisherID] = publisherOf(edit);
     }},
    {"addServiceMapping",
     [](Edited& edited, const Edit& edit) {
       edited.sut.addServiceMapping(edit.interfaceID, edit.publisherID);
       edited.model.mappings.emplace(edit.interfaceID, edit.publisherID);
     }},
    {"removeServiceInterface",
     [](Edited& edited, const Edit& edit) {
       edited.sut.removeServiceInterface(edit.interfaceID);
       edited.model.interfaces.erase(edit.interfaceID);
       edited.model.toAllPublishers.erase(edit.interfaceID);
       edited.model.eraseMappings([&](const auto& mapping) { return mapping.first == edit.interfaceID; });
     }},
    {"removeServicePublisher",
     [](Edited& edited, const Edit& edit) {
       edited.sut.removeServicePublisher(edit.publisherID);
       edited.model.publishers.erase(edit.publisherID);
       edited.model.eraseMappings([&](const auto& mapping) { return mapping.second == edit.publisherID; });
     }},
    {"removeServiceMapping",
     [](Edited& edited, const Edit& edit) {
       edited.sut.removeServiceMapping(edit.interfaceID, edit.publisherID);
       edited.model.mappings.erase({edit.interfaceID, edit.publisherID});
     }},
    {"build", [](Edited& edited, const Edit&) { edited.build(); }},
    {"modify", [](Edited& edited, const Edit&) { edited.modify(); }},
    {"move there and back",
     [](Edited& edited, const Edit&) {
       SPFConfigurationBuilder other(std::move(edited.sut));
       edited.sut = std::move(other);
     }},
    {"move away", [](Edited& edited, const Edit&) {
       const SPFConfigurationBuilder other(std::move(edited.sut));
       edited.model = {};
     }}};

void Edited::build() {
  const auto generated = "generated " + std::to_string(++builds);
  admin.setNextPid("zk.spf.framework~" + generated);
  const auto complaint = messageOf([&] { configuration = sut.build(); });
  RC_ASSERT(complaint == model.complaint());
  if (complaint == "nothing thrown") {
    built = model;
    built.id = model.id.empty() ? generated : model.id;
    ++built.count;
    model.id.clear();
    expectsTheModelsGetters();
    expectsTheModelsProperties();
  }
}

void Edited::modify() {
  sut = configuration.modify();
  model = built;
  built.id.clear();
}

template <class Records>
Texts publishedTexts(const Records& records) {
  Texts result;
  for (const auto& record : records) {
    result.push_back(canonicalText(publishedEntry(record)));
  }
  return result;
}

template <class Records>
Texts publishedTextsByID(const Records& recordsByID) {
  std::vector<typename Records::mapped_type> records;
  for (const auto& entry : recordsByID) {
    records.push_back(entry.second);
  }
  return publishedTexts(records);
}

Texts sorted(Texts list) {
  std::sort(list.begin(), list.end());
  return list;
}

void Edited::expectsTheModelsGetters() const {
  RC_ASSERT(configuration.getConfigurationID() == built.id);
  RC_ASSERT(sorted(publishedTexts(configuration.getServiceInterfaceConfigurations())) ==
            sorted(publishedTextsByID(built.interfaces)));
  RC_ASSERT(sorted(publishedTexts(configuration.getServicePublisherConfigurations())) ==
            sorted(publishedTextsByID(built.publishers)));
  for (const auto* publisherID : {"", "p", "q", "unknown"}) {
    // Those for all publishers come first, in an order that is nobody's promise.
    auto interfaceIDs = idsOf(configuration.getServiceInterfaceConfigurationsForServicePublisher(publisherID));
    const auto mapped = built.mappedOnlyTo(publisherID);
    RC_ASSERT(interfaceIDs.size() == built.toAllPublishers.size() + mapped.size());
    std::sort(interfaceIDs.begin(), interfaceIDs.end() - static_cast<std::ptrdiff_t>(mapped.size()));
    Texts expected(built.toAllPublishers.begin(), built.toAllPublishers.end());
    expected.insert(expected.end(), mapped.begin(), mapped.end());
    RC_ASSERT(interfaceIDs == expected);
  }
}

void Edited::expectsTheModelsProperties() const {
  const auto properties = admin.properties("zk.spf.framework~" + built.id);
  RC_ASSERT(properties != nullptr);
  RC_ASSERT(asInt(properties->at("modificationCount")) == static_cast<int>(built.count));
  RC_ASSERT(sortedCanonicalTexts(asList(properties->at("serviceConfigurations"))) ==
            sorted(publishedTextsByID(built.interfaces)));
  RC_ASSERT(sortedCanonicalTexts(asList(properties->at("servicePublisherConfigurations"))) ==
            sorted(publishedTextsByID(built.publishers)));
  RC_ASSERT(mappingsIn(*properties) == built.publishedMappings(idsIn(*properties, "serviceConfigurations"),
                                                               idsIn(*properties, "servicePublisherConfigurations")));
}

rc::Gen<Edit> anyEdit() {
  return rc::gen::build<Edit>(rc::gen::set(&Edit::kind, anyRowOf(editKinds)),
                              rc::gen::set(&Edit::interfaceID, rc::gen::element<std::string>("", "a", "b", "B")),
                              rc::gen::set(&Edit::publisherID, rc::gen::element<std::string>("", "p", "q")),
                              rc::gen::set(&Edit::variant, rc::gen::inRange(0, 3)));
}

TEST(ABuilder, GivesWhatAPlainModelGivesAfterRandomEdits) {
  TestFramework framework;
  const auto admin = ConfigurationAdminDouble::registerWith(framework);
  inRandomCases(10, [&] {
    Edited edited(*admin);
    for (const auto& edit : *rc::gen::container<std::vector<Edit>>(anyEdit())) {
      edit.kind->apply(edited, edit);
    }
    edited.build();
  });
}

}  // namespace spf::test
