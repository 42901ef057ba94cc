#include <type_traits>

#include "model/SPFConfigurationBuilderImpl.hpp"
#include "model/endpointList.hpp"
#include "publish/SPFConfigurationImpl.hpp"
#include "support/configurations.hpp"

namespace spf::test {

using agent::spf::frameworksetup::endpointList;
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
