#pragma once

// Programs rely on getting <atomic> and <mutex> with this header.
#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "cppmicroservices/Any.h"
#include "cppmicroservices/FrameworkExport.h"

namespace cppmicroservices {

class Bundle;
class ServiceRecord;

namespace detail {
struct HandleAccess;
}

/// Refers to one registered service without using it. Copies are cheap. It keeps the service's properties, not the
/// service: after the service is unregistered, it converts to false, and the last properties can still be read. On a
/// default constructed reference every method returns an empty result.
/// Different references may be used by different threads at the same time.
class US_Framework_EXPORT ServiceReferenceBase {
 public:
  ServiceReferenceBase(const ServiceReferenceBase& other);
  ServiceReferenceBase& operator=(const ServiceReferenceBase& other);
  ServiceReferenceBase& operator=(std::nullptr_t);
  ~ServiceReferenceBase();

  /// Returns whether the service is registered.
  explicit operator bool() const;

  /// Returns a copy of the property; an empty one if there is none. The case of the key is ignored.
  Any GetProperty(const std::string& key) const;
  std::vector<std::string> GetPropertyKeys() const;
  /// Replaces the content of `keys` with the names of the properties.
  void GetPropertyKeys(std::vector<std::string>& keys) const;

  /// Returns the bundle that registered the service; an invalid one after it was unregistered.
  Bundle GetBundle() const;
  /// Returns the bundles that currently hold the service.
  std::vector<Bundle> GetUsingBundles() const;

  /// Returns the ID of the interface that this reference is for; "" if it is for the whole service.
  std::string GetInterfaceId() const;
  /// Returns whether the service was registered with that interface.
  bool IsConvertibleTo(const std::string& interfaceId) const;

  /// Orders by ranking; with equal rankings, a higher service ID is less.
  bool operator<(const ServiceReferenceBase& other) const;
  bool operator==(const ServiceReferenceBase& other) const;

 private:
  template <class S>
  friend class ServiceReference;
  friend struct std::hash<ServiceReferenceBase>;
  friend struct detail::HandleAccess;

  ServiceReferenceBase();
  ServiceReferenceBase(std::shared_ptr<ServiceRecord> record, const std::string* interfaceId);

  std::size_t Hash() const;
  /// Makes this a reference to that interface of the service; an empty reference if the service does not have it.
  void narrowTo(const std::string& interfaceId);

  std::shared_ptr<ServiceRecord> record_;
  const std::string* interfaceId_ = nullptr;  // one of the record's, or null
};

US_Framework_EXPORT std::ostream& operator<<(std::ostream& out, const ServiceReferenceBase& reference);

}  // namespace cppmicroservices

US_HASH_FUNCTION_BEGIN(cppmicroservices::ServiceReferenceBase)
return arg.Hash();
US_HASH_FUNCTION_END
