#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include "PublisherRevision.hpp"

namespace spf::publishers {

/// The service interfaces that the manifests of the installed bundles offer, read at construction. A manifest
/// offers interfaces by a list:
///
///     "spf.services": [ { "interface": "weather.Temperature", "properties": { "unit": "celsius" } } ]
class OfferedServices {
 public:
  /// Reads the manifests. Entries of any other form are ignored.
  explicit OfferedServices(cppmicroservices::BundleContext context);

  /// Returns the services that pass a publisher's export filter: those with at least one offer whose properties,
  /// including "interface" for the interface's name, match it.
  /// \throws std::runtime_error naming the interface that no bundle offers, or the malformed filter
  std::vector<MappedService> select(const std::vector<MappedService>& services, const std::string& exportFilter) const;

 private:
  void read(const cppmicroservices::AnyMap& headers);

  std::vector<cppmicroservices::Bundle> bundles_;  ///< keep their manifests, which the offers refer to

  /// The properties of each offer, null if there are none, by the interface's name.
  std::multimap<std::string_view, const cppmicroservices::AnyMap*> offers_;
};

/// Checks that a text is empty or an LDAP filter.
/// \param what  the name of the filter, for the message
/// \throws std::runtime_error naming the filter if it is neither
void requireFilter(const char* what, const std::string& filter);

}  // namespace spf::publishers
