#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/ServiceProperties.h"

namespace cppmicroservices {

/// The values of the properties that the framework sets for a service.
struct ServiceIdentity {
  long id = 0;
  std::string scope;
  std::vector<std::string> classes;
};

/// Returns the properties for a registration: the given ones, and those that the framework sets unless they are given.
/// \throws std::runtime_error for keys that differ only in case, std::invalid_argument if a property that the
///         framework reads has the wrong type
std::shared_ptr<const AnyMap> propertiesForRegistration(const ServiceProperties& given,
                                                        const ServiceIdentity& identity);

/// Returns the properties for a change of a registered service: the given ones, except that those which the framework
/// sets keep their values.
/// \param before  the service's current properties
/// \throws as above
std::shared_ptr<const AnyMap> propertiesForChange(const ServiceProperties& given, const AnyMap& before);

/// Returns the property service.ranking; 0 if there is none.
int rankingIn(const AnyMap& properties);

/// Returns the property service.id of a service.
long idIn(const AnyMap& properties);

}  // namespace cppmicroservices
