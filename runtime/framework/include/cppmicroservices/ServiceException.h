#pragma once

#include <ostream>
#include <stdexcept>
#include <string>

#include "cppmicroservices/FrameworkConfig.h"

namespace cppmicroservices {

/// Reports a failure of a service's factory, a missing interface, or a wrong request.
class US_Framework_EXPORT ServiceException : public std::runtime_error {
 public:
  enum Type {
    UNSPECIFIED = 0,
    UNREGISTERED = 1,       ///< the service is unregistered
    FACTORY_ERROR = 2,      ///< a factory returned an object that does not implement the service
    FACTORY_EXCEPTION = 3,  ///< a factory threw
    REMOTE = 5,             ///< a remote service failed
    FACTORY_RECURSION = 6   ///< a factory requested the service that it is making
  };

  ServiceException(const std::string& what, const Type& type = UNSPECIFIED);
  ServiceException(const ServiceException& other);
  ServiceException& operator=(const ServiceException& other);
  ~ServiceException() override;

  Type GetType() const;

 private:
  Type type_;
};

}  // namespace cppmicroservices

US_Framework_EXPORT std::ostream& operator<<(std::ostream& out, const cppmicroservices::ServiceException& exception);
