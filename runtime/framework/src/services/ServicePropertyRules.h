#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/ServiceProperties.h"

namespace cppmicroservices {

/// What the framework says about a service in its properties.
struct ServiceIdentity {
  long id = 0;
  std::string scope;
  std::vector<std::string> classes;
};

/// The properties that a service is registered with: those given, completed. Properties of the framework's
/// own names that are given are kept.
/// \throws std::runtime_error for keys that differ only in case, std::invalid_argument if a property that the
///         framework reads has the wrong type
std::shared_ptr<const AnyMap> propertiesForRegistration(const ServiceProperties& given,
                                                        const ServiceIdentity& identity);

/// The properties of a registered service after a change: those given, but those of the framework's own names
/// as they were at the registration.
/// \param before  what the service has now
/// \throws as above
std::shared_ptr<const AnyMap> propertiesForChange(const ServiceProperties& given, const AnyMap& before);

/// \return the property service.ranking; 0 if there is none
int rankingIn(const AnyMap& properties);

/// \return the property service.id of a service
long idIn(const AnyMap& properties);

}  // namespace cppmicroservices
