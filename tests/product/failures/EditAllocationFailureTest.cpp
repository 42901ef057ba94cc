#include "support/ConfigurationAdminDouble.hpp"
#include "support/configurations.hpp"
#include "support/failingAllocations.hpp"

namespace spf::test {

using Texts = std::vector<std::string>;

namespace {

using boost::property_tree::ptree;

// Too long to be stored without an allocation, all of them.
const std::string present = "the identity of an interface and of a publisher that the builder has";
const std::string absent = "an identity that the builder has neither an interface nor a publisher of";
const std::string otherPublisher = "the identity of a publisher that no interface is mapped to";
const std::string oldName = "the name that an entry has when it is there already, before the edit";
const std::string newName = "the name that an edit gives to the entry which it adds or replaces";

ptree treeWith(const std::string& value) {
  ptree tree;
  tree.put("level.value", value);
  return tree;
}

// An edit, for an entry of this ID.
struct Edit {
  const char* name;
  void (*edit)(SPFConfigurationBuilder& sut, const std::string& id);
  // Maps the interface to the other publisher before it does anything else, and leaves it at that if
  // the rest fails.
  bool mapsFirst = false;
};

void PrintTo(const Edit& edit, std::ostream* stream) {
  *stream << edit.name;
}

SPFServiceInterfaceConfiguration newInterface(const std::string& id) {
  return {id, newName, treeWith(newName)};
}

const Edit additions[] = {
    {"AnInterface", [](auto& sut, auto& id) { sut.addServiceInterface(newInterface(id)); }},
    {"AnInterfaceByItsMembers", [](auto& sut, auto& id) { sut.addServiceInterface(id, newName, treeWith(newName)); }},
    {"AnInterfaceForAll", [](auto& sut, auto& id) { sut.addServiceInterfaceToAllServicePublishers(newInterface(id)); }},
    {"AnInterfaceForAllByItsMembers",
     [](auto& sut, auto& id) { sut.addServiceInterfaceToAllServicePublishers(id, newName, treeWith(newName)); }},
    {"AnInterfaceForOne",
     [](auto& sut, auto& id) { sut.addServiceInterfaceToServicePublisher(otherPublisher, newInterface(id)); }, true},
    {"AnInterfaceForOneByItsMembers",
     [](auto& sut, auto& id) {
       sut.addServiceInterfaceToServicePublisher(otherPublisher, id, newName, treeWith(newName));
     },
     true},
    {"AMapping", [](auto& sut, auto& id) { sut.addServiceMapping(id, present); }},
    {"APublisher",
     [](auto& sut, auto& id) {
       sut.addServicePublisher({id, newName, {Any(newName)}, {Any(newName)}, newName, newName});
     }},
    {"APublisherByItsMembers",
     [](auto& sut, auto& id) { sut.addServicePublisher(id, newName, {newName}, {newName}, newName, newName); }},
    {"APublisherOfAnyEndpoints", [](auto& sut, auto& id) {
       sut.addServicePublisherAny(id, newName, {Any(newName)}, {Any(newName)}, newName, newName);
     }}};

const Edit removals[] = {
    {"AnInterface", [](auto& sut, auto& id) { sut.removeServiceInterface(id); }},
    {"APublisher", [](auto& sut, auto& id) { sut.removeServicePublisher(id); }},
    {"AMapping", [](auto& sut, auto& id) { sut.removeServiceMapping(id, present); }},
    {"AMarkForAll", [](auto& sut, auto& id) { sut.undoMappingOfServiceInterfaceToAllServicePublishers(id); }}};

// Whether the entry that is added or removed is there already.
enum class Entry { isThere, isNotThere };

class AnEdit : public testing::TestWithParam<std::tuple<Edit, Entry>> {
 protected:
  static SPFConfigurationBuilder filled() {
    SPFConfigurationBuilder builder("edited");
    builder.addServiceInterfaceToAllServicePublishers(present, oldName, treeWith(oldName))
        .addServicePublisher(present, oldName, {oldName}, {oldName}, oldName, oldName)
        .addServicePublisher(publisher(otherPublisher))
        .addServiceMapping(present, present);
    return builder;
  }
  static const Edit& edit() { return std::get<0>(GetParam()); }
  static void apply(SPFConfigurationBuilder& sut) {
    edit().edit(sut, std::get<1>(GetParam()) == Entry::isThere ? present : absent);
  }
  static void applyHalf(SPFConfigurationBuilder& sut) {
    if (edit().mapsFirst) {
      sut.addServiceMapping(std::get<1>(GetParam()) == Entry::isThere ? present : absent, otherPublisher);
    }
  }
  // All that a builder holds, as building shows it: in an order of its own, or why it cannot be built.
  Texts described(SPFConfigurationBuilder& sut) const {
    Texts lines;
    try {
      const auto configuration = sut.build();
      for (const auto& entry : configuration.getServiceInterfaceConfigurations()) {
        lines.push_back(entry.uniqueID + entry.name + entry.requestedProperties.get<std::string>("level.value"));
      }
      for (const auto& entry : configuration.getServicePublisherConfigurations()) {
        lines.push_back(entry.uniqueID + entry.name + entry.importFilter + entry.exportFilter);
        for (const auto& endpoints : {entry.endpointsToConnectTo, entry.endpointsToBindTo}) {
          for (const auto& endpoint : texts(endpoints)) {
            lines.push_back(entry.uniqueID + endpoint);
          }
        }
      }
      const auto properties = admin_->properties("zk.spf.framework~" + configuration.getConfigurationID());
      for (const auto& [serviceInterface, publisher] : mappingsIn(*properties)) {
        lines.push_back(serviceInterface + publisher);
      }
    } catch (const std::runtime_error& error) {
      lines.emplace_back(error.what());
    }
    std::sort(lines.begin(), lines.end());
    return lines;
  }
  Texts describedAfter(void (*change)(SPFConfigurationBuilder&)) const {
    auto sut = filled();
    change(sut);
    return described(sut);
  }

  TestFramework framework_;
  std::shared_ptr<ConfigurationAdminDouble> admin_ = ConfigurationAdminDouble::registerWith(framework_);
};

std::string nameOf(const testing::TestParamInfo<std::tuple<Edit, Entry>>& edit) {
  return std::string(std::get<0>(edit.param).name) +
         (std::get<1>(edit.param) == Entry::isThere ? "ThatIsThere" : "ThatIsNotThere");
}

class AnAddition : public AnEdit {};

INSTANTIATE_TEST_SUITE_P(Of, AnAddition,
                         testing::Combine(testing::ValuesIn(additions),
                                          testing::Values(Entry::isThere, Entry::isNotThere)),
                         nameOf);

TEST_P(AnAddition, ThatRunsOutOfMemoryLeavesTheBuilderAsItWasAndCanBeRepeated) {
  const auto before = describedAfter([](SPFConfigurationBuilder&) {});
  const auto halfway = describedAfter(applyHalf);
  const auto after = describedAfter(apply);
  bool wasHalfway = false;
  FailingAllocations::inEveryRound([&](FailingAllocations& failing) {
    auto sut = filled();
    const bool threw = failing.run([&] { apply(sut); });
    EXPECT_EQ(threw, failing.failed());
    if (failing.failed()) {
      const auto now = described(sut);
      wasHalfway = wasHalfway || now == halfway;
      EXPECT_TRUE(now == before || now == halfway) << testing::PrintToString(now);
      apply(sut);
    }
    EXPECT_EQ(described(sut), after);
  });
  EXPECT_TRUE(wasHalfway);
}

class ARemoval : public AnEdit {};

INSTANTIATE_TEST_SUITE_P(Of, ARemoval,
                         testing::Combine(testing::ValuesIn(removals),
                                          testing::Values(Entry::isThere, Entry::isNotThere)),
                         nameOf);

// Nothing can fail in it, then.
TEST_P(ARemoval, TakesNoMemory) {
  auto sut = filled();
  const int allocations = allocationsOf([&] { apply(sut); });
  RecordProperty("allocations", allocations);
  EXPECT_EQ(allocations, 0);
}

}  // namespace

}  // namespace spf::test
