#include <type_traits>

#include "support/ConfigurationAdminDouble.hpp"
#include "support/RecordedLog.hpp"
#include "support/configurations.hpp"

namespace spf::test {

static_assert(!std::is_copy_constructible_v<SPFConfigurationBuilder>);
static_assert(!std::is_copy_assignable_v<SPFConfigurationBuilder>);
static_assert(std::is_move_constructible_v<SPFConfigurationBuilder>);
static_assert(std::is_move_assignable_v<SPFConfigurationBuilder>);

// A text is a builder with that ID.
static_assert(std::is_convertible_v<std::string, SPFConfigurationBuilder>);

// It is a pointer to its implementation, which only a handle may put in.
using SPFConfigurationBuilderImpl = agent::spf::frameworksetup::SPFConfigurationBuilderImpl;
static_assert(sizeof(SPFConfigurationBuilder) == sizeof(std::unique_ptr<SPFConfigurationBuilderImpl>));
static_assert(!std::is_constructible_v<SPFConfigurationBuilder, std::unique_ptr<SPFConfigurationBuilderImpl>>);

class ABuilder : public testing::Test {
 protected:
  using Texts = std::vector<std::string>;

  Texts interfacesOf(const std::string& publisherID) {
    return idsOf(published().getServiceInterfaceConfigurationsForServicePublisher(publisherID));
  }
  const SPFConfiguration& published() {
    configuration_ = sut.build();
    return configuration_;
  }

  FrameworkWithConfigurationAdmin framework_;
  SPFConfigurationBuilder sut{"built"};
  SPFConfiguration configuration_;
};

TEST_F(ABuilder, KeepsOneEntryWithTheSecondNameWhenAnInterfaceIsAddedTwice) {
  sut.addServiceInterface(serviceInterface("i", "first")).addServiceInterface(serviceInterface("i", "second"));
  const auto interfaces = published().getServiceInterfaceConfigurations();
  ASSERT_EQ(interfaces.size(), 1u);
  EXPECT_EQ(interfaces[0].name, "second");
}

TEST_F(ABuilder, KeepsThePlacesOfTheEntriesThatItReplaces) {
  constexpr int number = 50;
  for (int i = 0; i < number; ++i) {
    sut.addServiceInterface(serviceInterface(std::to_string(i))).addServicePublisher(publisher(std::to_string(i)));
  }
  const auto first = sut.build();
  for (int i = 0; i < number; i += 3) {
    const auto id = std::to_string(i);
    sut.addServiceInterface(serviceInterface(id, "replaced")).addServicePublisher(publisher(id, {text("replaced")}));
  }
  const auto second = sut.build();
  EXPECT_EQ(idsOf(second.getServiceInterfaceConfigurations()), idsOf(first.getServiceInterfaceConfigurations()));
  EXPECT_EQ(idsOf(second.getServicePublisherConfigurations()), idsOf(first.getServicePublisherConfigurations()));
}

TEST_F(ABuilder, KeepsTheMarkForAllPublishersWhenTheInterfaceIsReplaced) {
  sut.addServiceInterfaceToAllServicePublishers(serviceInterface("i", "first"))
      .addServiceInterface(serviceInterface("i", "second"));
  const auto interfaces = published().getServiceInterfaceConfigurationsForServicePublisher("any");
  ASSERT_EQ(interfaces.size(), 1u);
  EXPECT_EQ(interfaces[0].name, "second");
}

TEST_F(ABuilder, MarksAnInterfaceForAllPublishersAndUndoesThat) {
  sut.addServiceInterface(serviceInterface("i", "first"))
      .addServiceInterfaceToAllServicePublishers(serviceInterface("i", "second"));
  EXPECT_EQ(interfacesOf("any"), Texts{"i"});

  sut.undoMappingOfServiceInterfaceToAllServicePublishers("i");
  EXPECT_EQ(interfacesOf("any"), Texts{});
  const auto interfaces = configuration_.getServiceInterfaceConfigurations();
  ASSERT_EQ(interfaces.size(), 1u);
  EXPECT_EQ(interfaces[0].name, "second");
}

TEST_F(ABuilder, UndoesTheMarkOfNoInterfaceWithoutAWord) {
  sut.addServiceInterfaceToAllServicePublishers(serviceInterface("i"));
  sut.undoMappingOfServiceInterfaceToAllServicePublishers("unknown");
  EXPECT_EQ(interfacesOf("any"), Texts{"i"});
}

TEST_F(ABuilder, KeepsExplicitMappingsWhenTheMarkForAllPublishersIsUndone) {
  sut.addServiceInterfaceToAllServicePublishers(serviceInterface("i"))
      .addServicePublisher(publisher("p"))
      .addServiceMapping("i", "p")
      .undoMappingOfServiceInterfaceToAllServicePublishers("i");
  EXPECT_EQ(interfacesOf("p"), Texts{"i"});
}

TEST_F(ABuilder, KeepsASingleMappingWhenItIsAddedTwiceAndRemovesIt) {
  sut.addServiceInterface(serviceInterface("a")).addServicePublisher(publisher("p"));
  sut.addServiceMapping("a", "p").addServiceMapping("a", "p");
  published();
  EXPECT_EQ(mappingsIn(*framework_.configuration("built")), (Pairs{{"a", "p"}}));

  sut.removeServiceMapping("a", "p");
  EXPECT_EQ(interfacesOf("p"), Texts{});
  EXPECT_EQ(mappingsIn(*framework_.configuration(configuration_.getConfigurationID())), Pairs{});
}

TEST_F(ABuilder, KeepsTheOtherMappingsWhenOneIsRemovedTwice) {
  sut.addServiceInterface(serviceInterface("a")).addServiceInterface(serviceInterface("b"));
  sut.addServicePublisher(publisher("p")).addServicePublisher(publisher("q"));
  sut.addServiceMapping("a", "p").addServiceMapping("a", "q").addServiceMapping("b", "p");
  for (int i = 0; i < 2; ++i) {
    sut.removeServiceMapping("a", "p");
    published();
    EXPECT_EQ(mappingsIn(*framework_.configuration(configuration_.getConfigurationID())),
              (Pairs{{"a", "q"}, {"b", "p"}}));
  }
}

TEST_F(ABuilder, RemovesAnInterfaceWithItsMappingsOnly) {
  sut.addServiceInterface(serviceInterface("a")).addServiceInterface(serviceInterface("b"));
  sut.addServicePublisher(publisher("p1")).addServicePublisher(publisher("p2"));
  sut.addServiceMapping("a", "p1").addServiceMapping("a", "p2").addServiceMapping("b", "p1");
  sut.removeServiceInterface("a");
  EXPECT_EQ(interfacesOf("p1"), Texts{"b"});
  EXPECT_EQ(idsOf(configuration_.getServiceInterfaceConfigurations()), Texts{"b"});
  EXPECT_EQ(configuration_.getServicePublisherConfigurations().size(), 2u);
  EXPECT_EQ(idsOf(configuration_.getServiceInterfaceConfigurationsForServicePublisher("p2")), Texts{});
}

TEST_F(ABuilder, RemovesAPublisherWithItsMappingsOnly) {
  sut.addServiceInterface(serviceInterface("a")).addServiceInterface(serviceInterface("b"));
  sut.addServicePublisher(publisher("p1")).addServicePublisher(publisher("p2"));
  sut.addServiceMapping("a", "p1").addServiceMapping("a", "p2").addServiceMapping("b", "p1");
  sut.removeServicePublisher("p1");
  EXPECT_EQ(interfacesOf("p2"), Texts{"a"});
  EXPECT_EQ(idsOf(configuration_.getServicePublisherConfigurations()), Texts{"p2"});
  EXPECT_EQ(idsOf(configuration_.getServiceInterfaceConfigurationsForServicePublisher("p1")), Texts{});
  EXPECT_EQ(configuration_.getServiceInterfaceConfigurations().size(), 2u);
}

TEST_F(ABuilder, RemovesMappingsOfAnInterfaceAndAPublisherThatWereNeverAdded) {
  sut.addServiceMapping("ghost", "p").addServiceMapping("i", "phantom");
  sut.removeServiceInterface("ghost").removeServicePublisher("phantom");
  EXPECT_NO_THROW(published());
}

TEST_F(ABuilder, ForgetsAllOfAnInterfaceThatItRemoves) {
  sut.addServiceInterfaceToAllServicePublishers(serviceInterface("i")).removeServiceInterface("i");
  sut.addServiceInterface(serviceInterface("i"));
  EXPECT_EQ(interfacesOf("any"), Texts{});
}

TEST_F(ABuilder, AcceptsAMappingToWhatWasNeverAddedAndRejectsItWhenBuilding) {
  EXPECT_NO_THROW(sut.addServiceMapping("nobody", "nothing"));
  EXPECT_THROW(static_cast<void>(sut.build()), std::runtime_error);
}

TEST_F(ABuilder, StoresTheEndpointsOfASetInAscendingOrder) {
  sut.addServicePublisher("p", "rpcservicepublisher", {"z", "a"}, {}, "", "");
  EXPECT_EQ(texts(published().getServicePublisherConfigurations().at(0).endpointsToConnectTo), (Texts{"a", "z"}));
}

TEST_F(ABuilder, PutsEveryArgumentIntoItsMemberOfAPublisher) {
  sut.addServicePublisher("1", "name", {"connect"}, {"bind"}, "import", "export")
      .addServicePublisherAny("2", "name", {text("connect")}, {text("bind")}, "import", "export")
      .addServicePublisher({"3", "name", {text("connect")}, {text("bind")}, "import", "export"});
  const auto publishers = published().getServicePublisherConfigurations();
  EXPECT_EQ(sortedIDsOf(publishers), (Texts{"1", "2", "3"}));
  for (const auto& publisher : publishers) {
    EXPECT_EQ(publisher.name, "name");
    EXPECT_EQ(texts(publisher.endpointsToConnectTo), Texts{"connect"});
    EXPECT_EQ(texts(publisher.endpointsToBindTo), Texts{"bind"});
    EXPECT_EQ(publisher.importFilter, "import");
    EXPECT_EQ(publisher.exportFilter, "export");
  }
}

TEST_F(ABuilder, PutsEveryArgumentIntoItsMemberOfAnInterface) {
  boost::property_tree::ptree properties;
  properties.put("key", "value");
  sut.addServiceInterface("1", "name", properties)
      .addServiceInterfaceToAllServicePublishers("2", "name", properties)
      .addServiceInterfaceToServicePublisher("p", "3", "name", properties)
      .addServiceInterface({"4", "name", properties})
      .addServiceInterfaceToAllServicePublishers({"5", "name", properties})
      .addServiceInterfaceToServicePublisher("p", {"6", "name", properties})
      .addServicePublisher(publisher("p"));
  const auto interfaces = published().getServiceInterfaceConfigurations();
  EXPECT_EQ(sortedIDsOf(interfaces), (Texts{"1", "2", "3", "4", "5", "6"}));
  for (const auto& serviceInterface : interfaces) {
    EXPECT_EQ(serviceInterface.name, "name");
    EXPECT_EQ(serviceInterface.requestedProperties, properties);
  }
}

TEST_F(ABuilder, MapsAnInterfaceToAPublisherThatIsNotThereYet) {
  sut.addServiceInterfaceToServicePublisher("p", serviceInterface("i"));
  sut.addServiceInterfaceToServicePublisher("p", "j", "name", {});
  sut.addServicePublisher(publisher("p"));
  EXPECT_EQ(interfacesOf("p"), (Texts{"i", "j"}));
}

TEST_F(ABuilder, KeepsTheMarkForAllPublishersWhenTheInterfaceIsAddedToOne) {
  sut.addServiceInterfaceToAllServicePublishers("i", "name", {});
  sut.addServiceInterfaceToServicePublisher("p", serviceInterface("i", "other")).addServicePublisher(publisher("p"));
  EXPECT_EQ(interfacesOf("another"), Texts{"i"});
  EXPECT_EQ(configuration_.getServiceInterfaceConfigurations().at(0).name, "other");
}

TEST_F(ABuilder, IsEmptyAndUsableAfterItWasMovedFrom) {
  sut.addServiceInterface(serviceInterface("i"));
  SPFConfigurationBuilder other(std::move(sut));

  sut.addServiceInterface(serviceInterface("j"));
  EXPECT_EQ(idsOf(sut.build().getServiceInterfaceConfigurations()), Texts{"j"});

  const auto moved = other.build();
  EXPECT_EQ(moved.getConfigurationID(), "built");
  EXPECT_EQ(idsOf(moved.getServiceInterfaceConfigurations()), Texts{"i"});
}

TEST_F(ABuilder, IsEmptyAndUsableAfterItWasMoveAssignedFrom) {
  sut.addServiceInterface(serviceInterface("i"));
  SPFConfigurationBuilder other("other");
  other.addServicePublisher(publisher("p"));
  other = std::move(sut);

  sut.addServiceInterface(serviceInterface("j"));
  EXPECT_EQ(idsOf(sut.build().getServiceInterfaceConfigurations()), Texts{"j"});

  const auto moved = other.build();
  EXPECT_EQ(moved.getConfigurationID(), "built");
  EXPECT_EQ(idsOf(moved.getServiceInterfaceConfigurations()), Texts{"i"});
  EXPECT_TRUE(moved.getServicePublisherConfigurations().empty());
}

TEST_F(ABuilder, SurvivesItsOwnMoveAssignment) {
  sut.addServiceInterface(serviceInterface("i"));
  auto& same = sut;
  sut = std::move(same);
  EXPECT_EQ(idsOf(published().getServiceInterfaceConfigurations()), Texts{"i"});
  EXPECT_EQ(configuration_.getConfigurationID(), "built");
}

TEST_F(ABuilder, WithdrawsTheConfigurationOfASeededBuilderThatItIsMovedOver) {
  auto configuration = sut.build();
  auto seeded = configuration.modify();
  ASSERT_TRUE(framework_.configuration("built"));
  seeded = SPFConfigurationBuilder("other");
  EXPECT_FALSE(framework_.configuration("built"));
}

TEST_F(ABuilder, ByDefaultTakesTheIDThatConfigurationAdminGenerates) {
  const auto configuration = SPFConfigurationBuilder().build();
  EXPECT_EQ(framework_.configurationIDs(), Texts{configuration.getConfigurationID()});
}

// What a builder asks of Configuration Admin shows whether its ID is the empty one.
class ABuilderWithTheEmptyID : public testing::Test {
 protected:
  // Builds the second revision of a configuration with an interface, a publisher and a mapping.
  static SPFConfigurationBuilder filled() {
    auto first = SPFConfigurationBuilder("filled").build();
    auto seeded = first.modify();
    seeded.addServiceInterface(serviceInterface("i")).addServicePublisher(publisher("p")).addServiceMapping("i", "p");
    return seeded;
  }

  void expectsEmptyConfigurationWithGeneratedID(SPFConfigurationBuilder& sut) {
    admin_->clearCalls();
    const auto built = sut.build();
    ASSERT_FALSE(admin_->calls().empty());
    EXPECT_EQ(admin_->calls().front(), "CreateFactoryConfiguration zk.spf.framework");
    const auto properties = admin_->properties("zk.spf.framework~generated");
    ASSERT_TRUE(properties);
    EXPECT_TRUE(asList(properties->at("serviceConfigurations")).empty());
    EXPECT_TRUE(asList(properties->at("servicePublisherConfigurations")).empty());
    EXPECT_TRUE(asList(properties->at("servicePublisherMappings")).empty());
    EXPECT_EQ(asInt(properties->at("modificationCount")), 1);
  }

  TestFramework framework_;
  std::shared_ptr<ConfigurationAdminDouble> admin_ = ConfigurationAdminDouble::registerWith(framework_);
};

TEST_F(ABuilderWithTheEmptyID, IsTheDefaultOne) {
  SPFConfigurationBuilder sut;
  expectsEmptyConfigurationWithGeneratedID(sut);
}

TEST_F(ABuilderWithTheEmptyID, IsWhatIsLeftOfOneThatWasMovedFrom) {
  auto sut = filled();
  const SPFConfigurationBuilder other(std::move(sut));
  expectsEmptyConfigurationWithGeneratedID(sut);
}

TEST_F(ABuilderWithTheEmptyID, IsWhatIsLeftOfOneThatWasMoveAssignedFrom) {
  auto sut = filled();
  SPFConfigurationBuilder other("other");
  other.addServicePublisher(publisher("q"));
  other = std::move(sut);
  expectsEmptyConfigurationWithGeneratedID(sut);
}

// An edit of the entries "i" and "p"; returns the address of what it returned.
struct EditOfABuilder {
  const char* name;
  SPFConfigurationBuilder* (*edit)(SPFConfigurationBuilder& sut);
};

void PrintTo(const EditOfABuilder& edit, std::ostream* stream) {
  *stream << edit.name;
}

const EditOfABuilder edits[] = {
    {"AddingAnInterface", [](auto& sut) { return &sut.addServiceInterface(serviceInterface("i")); }},
    {"AddingAnInterfaceByItsMembers", [](auto& sut) { return &sut.addServiceInterface("i", "n", {}); }},
    {"AddingAnInterfaceForAll",
     [](auto& sut) { return &sut.addServiceInterfaceToAllServicePublishers(serviceInterface("i")); }},
    {"AddingAnInterfaceForAllByItsMembers",
     [](auto& sut) { return &sut.addServiceInterfaceToAllServicePublishers("i", "n", {}); }},
    {"AddingAnInterfaceForOne",
     [](auto& sut) { return &sut.addServiceInterfaceToServicePublisher("p", serviceInterface("i")); }},
    {"AddingAnInterfaceForOneByItsMembers",
     [](auto& sut) { return &sut.addServiceInterfaceToServicePublisher("p", "i", "n", {}); }},
    {"AddingAMapping", [](auto& sut) { return &sut.addServiceMapping("i", "p"); }},
    {"AddingAPublisher", [](auto& sut) { return &sut.addServicePublisher(publisher("p")); }},
    {"AddingAPublisherByItsMembers",
     [](auto& sut) { return &sut.addServicePublisher("p", "n", {"c"}, {"b"}, "", ""); }},
    {"AddingAPublisherOfAnyEndpoints",
     [](auto& sut) { return &sut.addServicePublisherAny("p", "n", {text("c")}, {Any(1)}, "", ""); }},
    {"RemovingAnInterface", [](auto& sut) { return &sut.removeServiceInterface("i"); }},
    {"RemovingAPublisher", [](auto& sut) { return &sut.removeServicePublisher("p"); }},
    {"RemovingAMapping", [](auto& sut) { return &sut.removeServiceMapping("i", "p"); }},
    {"UndoingAMarkForAll", [](auto& sut) { return &sut.undoMappingOfServiceInterfaceToAllServicePublishers("i"); }}};

class AnEditOfABuilder : public testing::TestWithParam<EditOfABuilder> {
 protected:
  // One without the entries and one with them.
  static std::vector<SPFConfigurationBuilder> builders() {
    std::vector<SPFConfigurationBuilder> builders(2);
    builders.back()
        .addServiceInterfaceToAllServicePublishers(serviceInterface("i"))
        .addServicePublisher(publisher("p"))
        .addServiceMapping("i", "p");
    return builders;
  }
};

INSTANTIATE_TEST_SUITE_P(By, AnEditOfABuilder, testing::ValuesIn(edits),
                         [](const auto& edit) { return std::string(edit.param.name); });

TEST_P(AnEditOfABuilder, ReturnsTheBuilderItself) {
  for (auto& sut : builders()) {
    EXPECT_EQ(GetParam().edit(sut), &sut);
  }
}

TEST_P(AnEditOfABuilder, CallsNobodyAndLogsNothing) {
  TestFramework framework;
  framework.host().onGetFramework([] { ADD_FAILURE() << "getFramework was called"; });
  framework.host().onInstallation([](const Installation&) { ADD_FAILURE() << "installAndStart was called"; });
  const RecordedLog log(~0u);
  for (auto& sut : builders()) {
    GetParam().edit(sut);
  }
  EXPECT_TRUE(log.records().empty());
}

}  // namespace spf::test
