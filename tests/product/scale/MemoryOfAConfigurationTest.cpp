#include <gtest/gtest.h>

#include <unordered_map>

#include "publish/encodeConfiguration.hpp"
#include "support/AllocationHook.hpp"
#include "support/ConfigurationAdminDouble.hpp"
#include "support/configurations.hpp"
#include "tracking/ConfigTracker.hpp"

namespace spf::test {

using namespace agent::spf::frameworksetup;

namespace {

template <class Make>
std::size_t bytesOf(Make make) {
  const auto before = bytesInUse();
  const auto made = make();
  return bytesInUse() - before;
}

SPFServiceInterfaceConfiguration numberedInterface(int number) {
  auto numbered = serviceInterface("example.interface." + std::to_string(number));
  numbered.requestedProperties.put("qos.reliability", "reliable");
  return numbered;
}

SPFServicePublisherConfiguration numberedPublisher(int number) {
  const auto id = std::to_string(10000 + number);
  return publisher("example.publisher." + id, {Any("tcp://192.168.7.1:" + id)}, {Any("tcp://0.0.0.0:" + id)});
}

SPFConfiguration published(int publishers) {
  SPFConfigurationBuilder builder("memory");
  for (int number = 0; number < publishers; ++number) {
    builder.addServiceInterfaceToServicePublisher(numberedPublisher(number).uniqueID, numberedInterface(number));
    builder.addServicePublisher(numberedPublisher(number));
  }
  return builder.build();
}

/// What a configuration consists of, and nothing around it.
struct BareConfiguration {
  explicit BareConfiguration(int numberOfPublishers) {
    for (int number = 0; number < numberOfPublishers; ++number) {
      const auto added = numberedPublisher(number);
      interfaces.emplace(numberedInterface(number), false);
      publishers.insert(added);
      mappings.insert({numberedInterface(number).uniqueID, added.uniqueID});
      trackers.emplace(std::piecewise_construct, std::forward_as_tuple(added.uniqueID),
                       std::forward_as_tuple(List(added.endpointsToBindTo), List(added.endpointsToConnectTo), true));
    }
    properties = encodeConfiguration(1, interfaces, publishers, mappings);
  }

  ServiceInterfaces interfaces;
  ServicePublishers publishers;
  ServiceMappings mappings;
  AnyMap properties{AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS};
  std::unordered_map<std::string, ConfigTracker> trackers;
};

}  // namespace

// The Configuration Admin keeps one property map.
TEST(AConfigurationThatIsPublished, TakesLittleMoreMemoryThanWhatItConsistsOf) {
  TestFramework framework;
  const auto configurationAdmin = ConfigurationAdminDouble::registerWith(framework);
  published(1);  // whatever only the first one needs
  for (const int publishers : {10, 100, 1000}) {
    const auto taken = bytesOf([&] { return published(publishers); });
    const auto bare = bytesOf([&] { return std::make_unique<BareConfiguration>(publishers); });
    EXPECT_GT(taken, bare / 2) << publishers;
    EXPECT_LE(10 * taken, 12 * bare) << publishers << " publishers: " << taken << " bytes, bare " << bare;
    RecordProperty("bytesAt" + std::to_string(publishers), static_cast<int>(taken));
    RecordProperty("bareBytesAt" + std::to_string(publishers), static_cast<int>(bare));
  }
}

}  // namespace spf::test
