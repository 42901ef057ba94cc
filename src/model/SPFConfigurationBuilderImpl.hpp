#pragma once

#include <cstdint>
#include <string>

#include "model/ConfigurationEntries.hpp"

namespace agent::spf::frameworksetup {

/// What a builder holds.
///
/// A seeded one owns the identity of a published configuration, and withdraws that configuration
/// when it is destroyed before `build()` handed the identity on.
class SPFConfigurationBuilderImpl {
 public:
  explicit SPFConfigurationBuilderImpl(std::string id);

  /// Copies the entries of a configuration. The identity and the mark that this builder owns it are
  /// set afterwards, when nothing can fail any more.
  SPFConfigurationBuilderImpl(std::uint32_t count, const ServiceInterfaces& interfaces,
                              const ServicePublishers& publishers, const ServiceMappings& mappings);

  SPFConfigurationBuilderImpl(const SPFConfigurationBuilderImpl&) = delete;
  SPFConfigurationBuilderImpl& operator=(const SPFConfigurationBuilderImpl&) = delete;

  /// Withdraws the configuration whose identity the builder still owns; failures are dropped.
  ~SPFConfigurationBuilderImpl();

  std::string configurationID;
  std::uint32_t modificationCount = 0;
  bool seededFromConfiguration = false;
  ServiceInterfaces serviceInterfaces;
  ServicePublishers servicePublishers;
  ServiceMappings serviceMappings;
};

}  // namespace agent::spf::frameworksetup
