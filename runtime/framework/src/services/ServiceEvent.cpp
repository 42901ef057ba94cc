#include "cppmicroservices/ServiceEvent.h"

#include <stdexcept>

#include "cppmicroservices/Constants.h"

namespace cppmicroservices {

struct ServiceEvent::Data {
  Type type;
  ServiceReferenceU reference;
};

ServiceEvent::ServiceEvent() = default;
ServiceEvent::ServiceEvent(Type type, const ServiceReferenceBase& reference)
    : data_(std::make_shared<const Data>(Data{type, reference})) {}
ServiceEvent::ServiceEvent(const ServiceEvent& other) = default;
ServiceEvent& ServiceEvent::operator=(const ServiceEvent& other) = default;

ServiceEvent::operator bool() const {
  return data_ != nullptr;
}

ServiceReferenceU ServiceEvent::GetServiceReference() const {
  return data_ ? data_->reference : ServiceReferenceU();
}

ServiceEvent::Type ServiceEvent::GetType() const {
  if (!data_) {
    throw std::logic_error("a default constructed service event has no type");
  }
  return data_->type;
}

std::ostream& operator<<(std::ostream& out, const ServiceEvent::Type& type) {
  switch (type) {
    case ServiceEvent::SERVICE_REGISTERED:
      return out << "REGISTERED";
    case ServiceEvent::SERVICE_MODIFIED:
      return out << "MODIFIED";
    case ServiceEvent::SERVICE_UNREGISTERING:
      return out << "UNREGISTERING";
    case ServiceEvent::SERVICE_MODIFIED_ENDMATCH:
      return out << "MODIFIED_ENDMATCH";
  }
  return out << "unknown service event type (" << static_cast<unsigned int>(type) << ")";
}

std::ostream& operator<<(std::ostream& out, const ServiceEvent& event) {
  if (!event) {
    return out << "NONE";
  }
  const auto reference = event.GetServiceReference();
  return out << event.GetType() << " " << reference.GetProperty(Constants::SERVICE_ID).ToStringNoExcept()
             << " objectClass=" << reference.GetProperty(Constants::OBJECTCLASS).ToStringNoExcept();
}

}  // namespace cppmicroservices
