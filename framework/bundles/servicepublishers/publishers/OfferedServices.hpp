#pragma once

#include <map>
#include <string>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/BundleContext.h>
#include "PublisherRevision.hpp"

namespace spf::publishers {

/// The service interfaces that the manifests of the installed bundles offer, as they are when the
/// object is made. A manifest says so with a list:
///
///     "spf.services": [ { "interface": "weather.Temperature", "properties": { "unit": "celsius" } } ]
class OfferedServices {
 public:
  /// Reads the manifests. What is not of that form offers nothing.
  explicit OfferedServices(cppmicroservices::BundleContext context);

  /// The services that pass a publisher's export filter: those with at least one offer whose
  /// properties, with "interface" for the interface's name, match it.
  /// \throws std::runtime_error naming the interface that nobody offers, or the bad filter
  std::vector<MappedService> select(const std::vector<MappedService>& services, const std::string& exportFilter) const;

 private:
  void read(const cppmicroservices::AnyMap& headers);

  std::multimap<std::string, cppmicroservices::AnyMap> offers_;
};

/// \throws std::runtime_error when the text is neither empty nor an LDAP filter
/// \param what  which filter it is, for the message
void requireFilter(const char* what, const std::string& filter);

}  // namespace spf::publishers
