#include "cppmicroservices/ServiceException.h"

namespace cppmicroservices {

ServiceException::ServiceException(const std::string& what, const Type& type) : std::runtime_error(what), type_(type) {}
ServiceException::ServiceException(const ServiceException& other) = default;
ServiceException& ServiceException::operator=(const ServiceException& other) = default;
ServiceException::~ServiceException() = default;

ServiceException::Type ServiceException::GetType() const {
  return type_;
}

}  // namespace cppmicroservices

std::ostream& operator<<(std::ostream& out, const cppmicroservices::ServiceException& exception) {
  return out << "ServiceException: " << exception.what();
}
