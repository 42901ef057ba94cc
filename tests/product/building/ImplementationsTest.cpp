#include <type_traits>

#include "model/SPFConfigurationBuilderImpl.hpp"
#include "model/endpointList.hpp"
#include "publish/SPFConfigurationImpl.hpp"
#include "support/configurations.hpp"

namespace spf::test {

using agent::spf::frameworksetup::endpointList;
using agent::spf::frameworksetup::ServiceInterfaces;
using agent::spf::frameworksetup::ServiceMapping;
using agent::spf::frameworksetup::ServiceMappings;
using agent::spf::frameworksetup::ServicePublishers;
using agent::spf::frameworksetup::SPFConfigurationBuilderImpl;
using agent::spf::frameworksetup::SPFConfigurationImpl;

static_assert(!std::is_copy_constructible_v<SPFConfigurationBuilderImpl>);
static_assert(!std::is_copy_assignable_v<SPFConfigurationBuilderImpl>);
static_assert(!std::is_move_constructible_v<SPFConfigurationBuilderImpl>);
static_assert(!std::is_move_assignable_v<SPFConfigurationBuilderImpl>);
static_assert(!std::is_polymorphic_v<SPFConfigurationBuilderImpl>);

static_assert(!std::is_copy_constructible_v<SPFConfigurationImpl>);
static_assert(!std::is_copy_assignable_v<SPFConfigurationImpl>);
static_assert(!std::is_move_constructible_v<SPFConfigurationImpl>);
static_assert(!std::is_move_assignable_v<SPFConfigurationImpl>);
static_assert(!std::is_polymorphic_v<SPFConfigurationImpl>);

namespace multi_index = boost::multi_index;

// What an index is made with; whether it is unique, the test below shows.
template <class Index>
constexpr bool isHashedByBoost() {
  return std::is_same_v<typename Index::hasher, boost::hash<std::string>> &&
         std::is_same_v<typename Index::key_equal, std::equal_to<std::string>>;
}

template <class Key, class Index>
constexpr bool isOrderedByLess() {
  return std::is_same_v<typename Index::key_type, Key> && std::is_same_v<typename Index::key_compare, std::less<Key>>;
}

static_assert(isHashedByBoost<multi_index::nth_index<ServiceInterfaces, 0>::type>());
static_assert(isOrderedByLess<bool, multi_index::nth_index<ServiceInterfaces, 1>::type>());
static_assert(isHashedByBoost<multi_index::nth_index<ServicePublishers, 0>::type>());
static_assert(isOrderedByLess<std::string, multi_index::nth_index<ServiceMappings, 1>::type>());
static_assert(boost::mpl::size<ServiceInterfaces::index_type_list>::value == 2);
static_assert(boost::mpl::size<ServicePublishers::index_type_list>::value == 1);
static_assert(boost::mpl::size<ServiceMappings::index_type_list>::value == 2);

// Ordered by the first part, then by the second, so that the first one alone can be looked up.
static_assert(std::is_same_v<multi_index::nth_index<ServiceMappings, 0>::type::key_compare,
                             std::less<multi_index::composite_key_result<
                                 multi_index::nth_index<ServiceMappings, 0>::type::key_from_value>>>);

TEST(TheContainersOfAConfiguration, HoldOneEntryForEachIdentityAndAnyNumberForTheirOtherIndices) {
  ServiceInterfaces interfaces;
  EXPECT_TRUE(interfaces.insert({serviceInterface("a"), true}).second);
  EXPECT_FALSE(interfaces.insert({serviceInterface("a", "other"), false}).second);
  EXPECT_TRUE(interfaces.insert({serviceInterface("b"), true}).second);
  EXPECT_EQ(interfaces.get<1>().count(true), 2u);

  ServicePublishers publishers;
  EXPECT_TRUE(publishers.insert(publisher("p")).second);
  EXPECT_FALSE(publishers.insert(publisher("p")).second);

  ServiceMappings mappings;
  EXPECT_TRUE(mappings.insert(ServiceMapping{"a", "p"}).second);
  EXPECT_FALSE(mappings.insert(ServiceMapping{"a", "p"}).second);
  EXPECT_TRUE(mappings.insert(ServiceMapping{"a", "q"}).second);
  EXPECT_TRUE(mappings.insert(ServiceMapping{"b", "p"}).second);
  EXPECT_EQ(mappings.count(std::string("a")), 2u);
  EXPECT_EQ(mappings.get<1>().count("p"), 2u);
}

// The order in which members are destroyed is that of their addresses, from the last one to the first.
template <class... Members>
bool standInThisOrder(const Members&... members) {
  const std::vector<const void*> addresses{&members...};
  return std::is_sorted(addresses.begin(), addresses.end(), std::less<>());
}

TEST(ABuildersImplementation, DestroysMappingsPublishersInterfacesAndIDInThisOrder) {
  const SPFConfigurationBuilderImpl sut("x");
  EXPECT_TRUE(standInThisOrder(sut.configurationID, sut.modificationCount, sut.seededFromConfiguration,
                               sut.serviceInterfaces, sut.servicePublishers, sut.serviceMappings));
}

TEST(AConfigurationsImplementation, DestroysTrackerMappingsPublishersInterfacesAndIDInThisOrder) {
  const HostDouble hostWithoutFramework;
  const SPFConfigurationImpl sut("x", 0, {}, {}, {});
  EXPECT_TRUE(standInThisOrder(sut.configurationID, sut.modificationCount, sut.serviceInterfaces, sut.servicePublishers,
                               sut.serviceMappings, sut.updateTracker));
}

// The handle's pointer to its implementation: an explicit instantiation may name what is private.
std::unique_ptr<SPFConfigurationImpl>& implementationOf(SPFConfiguration& handle);

template <std::unique_ptr<SPFConfigurationImpl> SPFConfiguration::*member>
struct Access {
  friend std::unique_ptr<SPFConfigurationImpl>& implementationOf(SPFConfiguration& handle) { return handle.*member; }
};
template struct Access<&SPFConfiguration::impl_>;

TEST(AConfigurationHandle, LeavesAMappedInterfaceThatIsAbsentOutOfAPublishersList) {
  const HostDouble hostWithoutFramework;
  SPFConfigurationBuilder builder("x");
  for (const auto* id : {"a", "b", "c"}) {
    builder.addServiceInterfaceToServicePublisher("p", serviceInterface(id));
  }
  auto sut = builder.addServicePublisher(publisher("p")).build();
  implementationOf(sut)->serviceInterfaces.erase("b");
  EXPECT_EQ(idsOf(sut.getServiceInterfaceConfigurationsForServicePublisher("p")), (std::vector<std::string>{"a", "c"}));
}

TEST(AnEndpointList, HasRoomForItsEndpointsAndNoMore) {
  for (const int number : {0, 1, 3, 100}) {
    std::set<std::string> endpoints;
    while (static_cast<int>(endpoints.size()) < number) {
      endpoints.insert(std::to_string(endpoints.size()));
    }
    const auto sut = endpointList(endpoints);
    EXPECT_EQ(texts(sut), std::vector<std::string>(endpoints.begin(), endpoints.end()));
    EXPECT_EQ(sut.capacity(), sut.size());
  }
}

}  // namespace spf::test
