#include "cppmicroservices/BundleEvent.h"

#include <stdexcept>

#include "cppmicroservices/Bundle.h"

namespace cppmicroservices {

struct BundleEvent::Data {
  Type type;
  Bundle bundle;
  Bundle origin;
};

BundleEvent::BundleEvent() = default;

BundleEvent::BundleEvent(Type type, const Bundle& bundle) : BundleEvent(type, bundle, bundle) {}

BundleEvent::BundleEvent(Type type, const Bundle& bundle, const Bundle& origin)
    : data_(std::make_shared<const Data>(Data{type, bundle, origin})) {
  if (!bundle) {
    throw std::invalid_argument("invalid bundle");
  }
  if (!origin) {
    throw std::invalid_argument("invalid origin");
  }
}

BundleEvent::operator bool() const {
  return data_ != nullptr;
}

Bundle BundleEvent::GetBundle() const {
  return data_ ? data_->bundle : Bundle();
}

BundleEvent::Type BundleEvent::GetType() const {
  return data_ ? data_->type : BUNDLE_UNINSTALLED;
}

Bundle BundleEvent::GetOrigin() const {
  return data_ ? data_->origin : Bundle();
}

bool BundleEvent::operator==(const BundleEvent& other) const {
  return static_cast<bool>(*this) == static_cast<bool>(other) && GetType() == other.GetType() &&
         GetBundle() == other.GetBundle() && GetOrigin() == other.GetOrigin();
}

std::ostream& operator<<(std::ostream& out, BundleEvent::Type type) {
  switch (type) {
    case BundleEvent::BUNDLE_INSTALLED:
      return out << "INSTALLED";
    case BundleEvent::BUNDLE_STARTED:
      return out << "STARTED";
    case BundleEvent::BUNDLE_STOPPED:
      return out << "STOPPED";
    case BundleEvent::BUNDLE_UNINSTALLED:
      return out << "UNINSTALLED";
    case BundleEvent::BUNDLE_RESOLVED:
      return out << "RESOLVED";
    case BundleEvent::BUNDLE_UNRESOLVED:
      return out << "UNRESOLVED";
    case BundleEvent::BUNDLE_STARTING:
      return out << "STARTING";
    case BundleEvent::BUNDLE_STOPPING:
      return out << "STOPPING";
    case BundleEvent::BUNDLE_LAZY_ACTIVATION:
      return out << "LAZY_ACTIVATION";
    case BundleEvent::BUNDLE_UPDATED:
      break;  // no bundle is ever updated
  }
  return out << "Unknown bundle event type (" << static_cast<unsigned int>(type) << ")";
}

std::ostream& operator<<(std::ostream& out, const BundleEvent& event) {
  if (!event) {
    return out << "NONE";
  }
  return out << event.GetType() << " " << event.GetBundle();
}

}  // namespace cppmicroservices
