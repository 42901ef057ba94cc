#include <cstdlib>

#include "Work.hpp"
#include "publish/encodeConfiguration.hpp"
#include "support/ConfigurationAdminDouble.hpp"
#include "support/configurations.hpp"

namespace spf::test {

using agent::spf::frameworksetup::encodeConfiguration;
using agent::spf::frameworksetup::ServiceInterfaceEntry;
using agent::spf::frameworksetup::ServiceInterfaces;
using agent::spf::frameworksetup::ServiceMappings;
using agent::spf::frameworksetup::ServicePublishers;
using boost::property_tree::ptree;

struct Entries {
  ServiceInterfaces interfaces;
  ServicePublishers publishers;
  ServiceMappings mappings;
};

ptree wideTree(int width) {
  ptree tree;
  for (int number = 0; number < width; ++number) {
    tree.push_back({std::to_string(number), ptree("value")});
  }
  return tree;
}

ptree deepTree(int depth) {
  ptree tree("value");
  for (int level = 0; level < depth; ++level) {
    ptree parent;
    parent.push_back({"n", ptree()})->second.swap(tree);
    tree.swap(parent);
  }
  return tree;
}

Entries manyEndpoints(int number) {
  Entries entries;
  List endpoints;
  for (int i = 0; i < number; ++i) {
    endpoints.emplace_back(CountedEndpoint(i));
  }
  entries.publishers.insert(publisher("p", std::move(endpoints)));
  return entries;
}

/// What a configuration may have many of.
struct Piece {
  const char* name;
  Entries (*many)(int);
};

const Piece pieces[] = {{"Interface",
                         [](int number) {
                           Entries entries;
                           for (int i = 0; i < number; ++i) {
                             entries.interfaces.insert({serviceInterface("i" + std::to_string(i)), false});
                           }
                           return entries;
                         }},
                        {"Publisher",
                         [](int number) {
                           Entries entries;
                           for (int i = 0; i < number; ++i) {
                             entries.publishers.insert(publisher("p" + std::to_string(i)));
                           }
                           return entries;
                         }},
                        {"InterfaceWithAnImpliedMapping",
                         [](int number) {
                           Entries entries;
                           entries.publishers.insert(publisher("p"));
                           for (int i = 0; i < number; ++i) {
                             entries.interfaces.insert({serviceInterface("i" + std::to_string(i)), true});
                           }
                           return entries;
                         }},
                        {"ExplicitMapping",
                         [](int number) {
                           Entries entries;
                           for (int i = 0; i < number; ++i) {
                             entries.mappings.insert({"i", "p" + std::to_string(i)});
                           }
                           return entries;
                         }},
                        {"Endpoint", manyEndpoints},
                        {"WideTreeNode",
                         [](int number) {
                           Entries entries;
                           entries.interfaces.insert({{"i", "n", wideTree(number)}, false});
                           return entries;
                         }},
                        {"DeepTreeNode", [](int number) {
                           Entries entries;
                           entries.interfaces.insert({{"i", "n", deepTree(number)}, false});
                           return entries;
                         }}};

class EncodingEach : public testing::TestWithParam<Piece> {
 protected:
  static Work workFor(int number) {
    const auto entries = GetParam().many(number);
    return workOf([&] { encodeConfiguration(1, entries.interfaces, entries.publishers, entries.mappings); });
  }
};

INSTANTIATE_TEST_SUITE_P(Piece, EncodingEach, testing::ValuesIn(pieces),
                         [](const auto& row) { return std::string(row.param.name); });

// A list or a table that grows allocates now and then on top, less than once for each doubling.
TEST_P(EncodingEach, TakesTheSameAllocationsHoweverManyThereAre) {
  constexpr int growth = 16;
  const int none = workFor(0).allocations;
  const int each = (workFor(1000).allocations - workFor(100).allocations) / 900;
  EXPECT_GT(each, 0);
  report("allocationsForEach", 1, each);
  for (const int scale : {1, 10, 100}) {
    const int number = 10 * scale;
    const int allocations = workFor(number).allocations;
    EXPECT_LE(std::abs(allocations - none - each * number), growth) << number;
    report("allocations", scale, allocations);
  }
}

class EncodingTheListOf : public EncodingEach {};

INSTANTIATE_TEST_SUITE_P(Piece, EncodingTheListOf, testing::Values(pieces[0], pieces[1]),
                         [](const auto& row) { return std::string(row.param.name); });

// A list that grew would allocate more than once, and more seldom the longer it is.
TEST_P(EncodingTheListOf, TakesItsMemoryAtOnce) {
  EXPECT_EQ(workFor(1000).allocations - workFor(100).allocations,
            10 * (workFor(100).allocations - workFor(10).allocations));
}

TEST(EncodingEndpoints, CopiesEachOnceAndComparesNone) {
  for (const int number : {10, 100, 1000}) {
    const auto entries = manyEndpoints(number);
    const auto work = workOf([&] { encodeConfiguration(1, {}, entries.publishers, {}); });
    EXPECT_EQ(work.copies, number);
    EXPECT_EQ(work.comparisons, 0);
  }
}

// How often texts of one recognisable size are copied.
template <class Operation>
int copiesOfTexts(std::size_t size, Operation operation) {
  int copies = 0;
  const AllocationHook hook([&](int, std::size_t allocated) { copies += allocated == size + 1 ? 1 : 0; });
  operation();
  return copies;
}

// Texts of that size in everything that an adding call takes by value.
struct MovedTexts {
  explicit MovedTexts(std::size_t size)
      : id(size, 't'),
        name(size, 't'),
        importFilter(size, 't'),
        exportFilter(size, 't'),
        endpointsToConnectTo{Any(std::string(size, 't'))},
        endpointsToBindTo{Any(std::string(size, 't'))} {}

  std::string id;
  std::string name;
  std::string importFilter;
  std::string exportFilter;
  List endpointsToConnectTo;
  List endpointsToBindTo;
};

struct Addition {
  const char* name;
  void (*add)(SPFConfigurationBuilder& sut, MovedTexts&& texts);
  // Of the interface's ID, for the mapping.
  int copies = 0;
};

void PrintTo(const Addition& addition, std::ostream* stream) {
  *stream << addition.name;
}

SPFServiceInterfaceConfiguration interfaceOf(MovedTexts&& texts) {
  return {std::move(texts.id), std::move(texts.name), {}};
}

const Addition additions[] = {
    {"AnInterface", [](auto& sut, MovedTexts&& texts) { sut.addServiceInterface(interfaceOf(std::move(texts))); }},
    {"AnInterfaceByItsMembers",
     [](auto& sut, MovedTexts&& texts) { sut.addServiceInterface(std::move(texts.id), std::move(texts.name), {}); }},
    {"AnInterfaceForAll",
     [](auto& sut, MovedTexts&& texts) {
       sut.addServiceInterfaceToAllServicePublishers(interfaceOf(std::move(texts)));
     }},
    {"AnInterfaceForAllByItsMembers",
     [](auto& sut, MovedTexts&& texts) {
       sut.addServiceInterfaceToAllServicePublishers(std::move(texts.id), std::move(texts.name), {});
     }},
    {"AnInterfaceForOne",
     [](auto& sut, MovedTexts&& texts) {
       sut.addServiceInterfaceToServicePublisher("p", interfaceOf(std::move(texts)));
     },
     1},
    {"AnInterfaceForOneByItsMembers",
     [](auto& sut, MovedTexts&& texts) {
       sut.addServiceInterfaceToServicePublisher("p", std::move(texts.id), std::move(texts.name), {});
     },
     1},
    {"APublisher",
     [](auto& sut, MovedTexts&& texts) {
       sut.addServicePublisher({std::move(texts.id), std::move(texts.name), std::move(texts.endpointsToConnectTo),
                                std::move(texts.endpointsToBindTo), std::move(texts.importFilter),
                                std::move(texts.exportFilter)});
     }},
    {"APublisherByItsMembers",
     [](auto& sut, MovedTexts&& texts) {
       sut.addServicePublisher(std::move(texts.id), std::move(texts.name), {}, {}, std::move(texts.importFilter),
                               std::move(texts.exportFilter));
     }},
    {"APublisherOfAnyEndpoints", [](auto& sut, MovedTexts&& texts) {
       sut.addServicePublisherAny(std::move(texts.id), std::move(texts.name), std::move(texts.endpointsToConnectTo),
                                  std::move(texts.endpointsToBindTo), std::move(texts.importFilter),
                                  std::move(texts.exportFilter));
     }}};

class AddingTo : public testing::TestWithParam<Addition> {};

INSTANTIATE_TEST_SUITE_P(ABuilder, AddingTo, testing::ValuesIn(additions),
                         [](const auto& addition) { return std::string(addition.param.name); });

// The second time, the entry is there and gets replaced, and a mapping that is there is made and dropped.
TEST_P(AddingTo, CopiesNoTextThatIsMovedIn) {
  constexpr std::size_t size = 5002;
  SPFConfigurationBuilder sut;
  for (int i = 0; i < 2; ++i) {
    MovedTexts texts(size);
    EXPECT_EQ(copiesOfTexts(size, [&] { GetParam().add(sut, std::move(texts)); }), GetParam().copies);
  }
}

class TheCopies : public testing::TestWithParam<int> {
 protected:
  // No list and no table has an odd size.
  static constexpr std::size_t size = 5002;

  SPFConfigurationBuilder builderWith(bool values, bool filters, bool endpoints) const {
    SPFConfigurationBuilder builder("x");
    for (int number = 0; number < GetParam(); ++number) {
      const auto id = std::to_string(number);
      ptree tree;
      tree.put("level.value", values ? text_ : "");
      builder.addServiceInterface(id, "n", tree);
      builder.addServicePublisherAny(id, "rpcservicepublisher", {Any(endpoints ? text_ : "")}, {}, filters ? text_ : "",
                                     "");
    }
    return builder;
  }
  // Copies for each interface or publisher.
  template <class Operation>
  int copies(Operation operation) const {
    const int all = copiesOfTexts(size, operation);
    EXPECT_EQ(all % GetParam(), 0);
    return all / GetParam();
  }

  const std::string text_ = std::string(size, 't');
  TestFramework framework_;
  std::shared_ptr<ConfigurationAdminDouble> admin_ = ConfigurationAdminDouble::registerWith(framework_);
};

INSTANTIATE_TEST_SUITE_P(AtScale, TheCopies, testing::Values(1, 10, 100), testing::PrintToStringParamName());

TEST_P(TheCopies, ThatBuildingMakesAreThoseThatItHandsOut) {
  struct Case {
    const char* name;
    SPFConfigurationBuilder builder;
    int expected;
  };
  // One for the handle and one for Configuration Admin; of endpoints one more, for tracking them.
  Case cases[] = {{"values", builderWith(true, false, false), 2},
                  {"filters", builderWith(false, true, false), 2},
                  {"endpoints", builderWith(false, false, true), 3}};
  for (auto& [name, builder, expected] : cases) {
    SPFConfiguration built;
    const int made = copies([&, &sut = builder] { built = sut.build(); });
    EXPECT_EQ(made, expected) << name;
    report(std::string("copiesOf_") + name, GetParam(), made);
  }
}

TEST_P(TheCopies, ThatModifyMakesAreThoseOfTheBuilder) {
  auto sut = builderWith(true, true, true).build();
  std::unique_ptr<SPFConfigurationBuilder> modified;
  EXPECT_EQ(copies([&] { modified = std::make_unique<SPFConfigurationBuilder>(sut.modify()); }), 3);
}

TEST_P(TheCopies, ThatAListMakesAreThoseThatItHolds) {
  const auto sut = builderWith(true, true, true).build();
  std::vector<SPFServiceInterfaceConfiguration> interfaces;
  std::vector<SPFServicePublisherConfiguration> publishers;
  EXPECT_EQ(copies([&] { interfaces = sut.getServiceInterfaceConfigurations(); }), 1);
  EXPECT_EQ(copies([&] { publishers = sut.getServicePublisherConfigurations(); }), 2);
}

TEST_P(TheCopies, ThatTheListOfAPublishersInterfacesMakesAreThoseThatItHolds) {
  const auto interfacesOf = [](const SPFConfiguration& sut, const char* publisherID) {
    return sut.getServiceInterfaceConfigurationsForServicePublisher(publisherID);
  };
  auto mapped = builderWith(true, true, true);
  auto forAll = builderWith(true, true, true);
  for (int number = 0; number < GetParam(); ++number) {
    const auto id = std::to_string(number);
    ptree tree;
    tree.put("level.value", text_);
    mapped.addServiceMapping(id, "0");
    forAll.addServiceInterfaceToAllServicePublishers(id, "n", tree);
  }
  for (auto* builder : {&mapped, &forAll}) {
    const auto sut = builder->build();
    std::vector<SPFServiceInterfaceConfiguration> interfaces;
    EXPECT_EQ(copies([&] { interfaces = interfacesOf(sut, "0"); }), 1);
    EXPECT_EQ(static_cast<int>(interfaces.size()), GetParam());
  }
}

TEST_P(TheCopies, ThatMovingAndWithdrawingMakeAreNone) {
  auto sut = builderWith(true, true, true).build();
  auto builder = builderWith(true, true, true);
  EXPECT_EQ(copies([&] {
              SPFConfigurationBuilder moved(std::move(builder));
              SPFConfiguration other(std::move(sut));
              builder = std::move(moved);
              sut = std::move(other);
              static_cast<void>(sut.waitForAllServicesToBeUnpublished({}, "0"));
              sut.reset();
            }),
            0);
}

}  // namespace spf::test
