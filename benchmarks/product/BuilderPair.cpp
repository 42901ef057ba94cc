#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Pair.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"
#include "model/ConfigurationEntries.hpp"
#include "model/validateServiceMappings.hpp"

namespace spf::benchmarks {

using namespace agent::spf::frameworksetup;
using cppmicroservices::Any;

namespace {

struct Records {
  std::vector<SPFServiceInterfaceConfiguration> interfaces;
  std::vector<SPFServicePublisherConfiguration> publishers;
  std::vector<ServiceMapping> mappings;
};

Records recordsOf(int size) {
  Records records;
  for (int number = 0; number < size; ++number) {
    const auto text = std::to_string(number);
    const auto publisherID = "example.publisher." + text;
    const auto interfaceID = "example.interface." + text;
    records.interfaces.push_back({interfaceID, "example::Interface", {}});
    records.publishers.push_back({publisherID, "rpcservicepublisher", {}, {}, "(location=garage)", "(objectClass=*)"});
    records.mappings.push_back({interfaceID, publisherID});
  }
  return records;
}

// Fills a new container in every round. The result is what checking the mappings reports of one that is added last and
// leads nowhere, which is reached only if the interfaces and publishers of all others are there.
template <class Container, class Fill, class Check>
Side sideOf(int size, Fill fill, Check check) {
  auto filled = std::make_shared<std::unique_ptr<Container>>();
  return {[](int) {},
          [filled, fill, records = recordsOf(size)](int rounds) {
            for (int round = 0; round < rounds; ++round) {
              filled->reset();
              *filled = std::make_unique<Container>();
              fill(**filled, records);
            }
          },
          [filled, check] {
            try {
              check(**filled);
            } catch (const std::runtime_error& reported) {
              return Any(std::string(reported.what()));
            }
            return Any();
          }};
}

const ServiceMapping nowhere{"zero", "nowhere"};

Side work(int size) {
  return sideOf<SPFConfigurationBuilder>(
      size,
      [](SPFConfigurationBuilder& builder, const Records& records) {
        for (const auto& record : records.interfaces) {
          builder.addServiceInterface(record);
        }
        for (const auto& record : records.publishers) {
          builder.addServicePublisher(record);
        }
        for (const auto& mapping : records.mappings) {
          builder.addServiceMapping(mapping.serviceInterfaceID, mapping.servicePublisherID);
        }
      },
      [](SPFConfigurationBuilder& builder) {
        builder.addServiceMapping(nowhere.serviceInterfaceID, nowhere.servicePublisherID);
        static_cast<void>(builder.build());
      });
}

struct BareContainers {
  ServiceInterfaces interfaces;
  ServicePublishers publishers;
  ServiceMappings mappings;
};

void checkBareContainers(BareContainers& containers) {
  containers.mappings.insert(nowhere);
  validateServiceMappings(containers.interfaces, containers.publishers, containers.mappings);
}

// The same records inserted into the bare containers.
Side floor(int size) {
  return sideOf<BareContainers>(
      size,
      [](BareContainers& containers, const Records& records) {
        for (const auto& record : records.interfaces) {
          containers.interfaces.emplace(record, false);
        }
        for (const auto& record : records.publishers) {
          containers.publishers.insert(record);
        }
        for (const auto& mapping : records.mappings) {
          containers.mappings.insert(mapping);
        }
      },
      &checkBareContainers);
}

// The least that a builder does. It takes records by value. It looks for each ID first, because a container that has
// the ID must not grow. It swaps trees in, because they have no move.
Side leastBuilder(int size) {
  const auto addInterface = [](ServiceInterfaces& interfaces, SPFServiceInterfaceConfiguration record) {
    if (interfaces.find(record.uniqueID) == interfaces.end()) {
      const auto added = interfaces.emplace(std::move(record.uniqueID), std::move(record.name), false).first;
      const_cast<SPFServiceInterfaceConfiguration&>(added->configuration)
          .requestedProperties.swap(record.requestedProperties);
    }
  };
  const auto addPublisher = [](ServicePublishers& publishers, SPFServicePublisherConfiguration record) {
    if (publishers.find(record.uniqueID) == publishers.end()) {
      publishers.insert(std::move(record));
    }
  };
  return sideOf<BareContainers>(
      size,
      [=](BareContainers& containers, const Records& records) {
        for (const auto& record : records.interfaces) {
          addInterface(containers.interfaces, record);
        }
        for (const auto& record : records.publishers) {
          addPublisher(containers.publishers, record);
        }
        for (const auto& mapping : records.mappings) {
          containers.mappings.insert(mapping);
        }
      },
      &checkBareContainers);
}

int roundsFor(int size) {
  return size < 1000 ? 20 : 2;
}

}  // namespace

Pair builder() {
  return {"builder", {100, 10000}, &roundsFor, &work, &floor};
}

Pair builderAtLeast() {
  return {"builder-at-least", {100, 10000}, &roundsFor, &leastBuilder, &floor};
}

}  // namespace spf::benchmarks
