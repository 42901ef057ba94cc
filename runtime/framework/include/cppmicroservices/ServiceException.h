#pragma once

#include <ostream>
#include <stdexcept>
#include <string>

#include "cppmicroservices/FrameworkConfig.h"

namespace cppmicroservices {

/// Something went wrong with a service: with its factory, its interface or the way it was asked for.
class US_Framework_EXPORT ServiceException : public std::runtime_error {
 public:
  enum Type {
    UNSPECIFIED = 0,
    UNREGISTERED = 1,       ///< the service is gone
    FACTORY_ERROR = 2,      ///< a factory gave an object that does not implement the service
    FACTORY_EXCEPTION = 3,  ///< a factory threw
    REMOTE = 5,             ///< a remote service failed
    FACTORY_RECURSION = 6   ///< a factory asked for the service that it is just making
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
