#pragma once

#include <string>
#include <utility>

#include <boost/functional/hash.hpp>
#include <boost/multi_index/composite_key.hpp>
#include <boost/multi_index/hashed_index.hpp>
#include <boost/multi_index/member.hpp>
#include <boost/multi_index/ordered_index.hpp>
#include <boost/multi_index_container.hpp>

#include "agent/spf/frameworksetup/SPFServiceInterfaceConfiguration.hpp"
#include "agent/spf/frameworksetup/SPFServicePublisherConfiguration.hpp"

// The three containers that a configuration is made of. Builders and configurations hold them by
// value. Included only where they are walked or searched: MultiIndex is slow to compile.
namespace agent::spf::frameworksetup {

struct ServiceInterfaceEntry {
  ServiceInterfaceEntry(const SPFServiceInterfaceConfiguration& copied, bool forAll)
      : configuration(copied), toAllServicePublishers(forAll) {}

  /// Without requested properties: trees have no move, so they are swapped in later.
  ServiceInterfaceEntry(std::string&& uniqueID, std::string&& name, bool forAll)
      : configuration{std::move(uniqueID), std::move(name), {}}, toAllServicePublishers(forAll) {}

  SPFServiceInterfaceConfiguration configuration;
  bool toAllServicePublishers;
};

/// This interface is served by this publisher.
struct ServiceMapping {
  std::string serviceInterfaceID;
  std::string servicePublisherID;
};

struct UniqueIDOfServiceInterface {
  using result_type = std::string;
  const result_type& operator()(const ServiceInterfaceEntry& entry) const { return entry.configuration.uniqueID; }
};

/// Index 0, by ID: the order of iteration. Index 1, by mark: those for all publishers are one range.
using ServiceInterfaces = boost::multi_index_container<
    ServiceInterfaceEntry, boost::multi_index::indexed_by<
                               boost::multi_index::hashed_unique<UniqueIDOfServiceInterface, boost::hash<std::string>>,
                               boost::multi_index::ordered_non_unique<boost::multi_index::member<
                                   ServiceInterfaceEntry, bool, &ServiceInterfaceEntry::toAllServicePublishers>>>>;

/// One index, by ID.
using ServicePublishers =
    boost::multi_index_container<SPFServicePublisherConfiguration,
                                 boost::multi_index::indexed_by<boost::multi_index::hashed_unique<
                                     boost::multi_index::member<SPFServicePublisherConfiguration, std::string,
                                                                &SPFServicePublisherConfiguration::uniqueID>,
                                     boost::hash<std::string>>>>;

/// Index 0, by interface and publisher: ascending, also searched by interface alone. Index 1, by
/// publisher.
using ServiceMappings = boost::multi_index_container<
    ServiceMapping,
    boost::multi_index::indexed_by<
        boost::multi_index::ordered_unique<boost::multi_index::composite_key<
            ServiceMapping,
            boost::multi_index::member<ServiceMapping, std::string, &ServiceMapping::serviceInterfaceID>,
            boost::multi_index::member<ServiceMapping, std::string, &ServiceMapping::servicePublisherID>>>,
        boost::multi_index::ordered_non_unique<
            boost::multi_index::member<ServiceMapping, std::string, &ServiceMapping::servicePublisherID>>>>;

}  // namespace agent::spf::frameworksetup
