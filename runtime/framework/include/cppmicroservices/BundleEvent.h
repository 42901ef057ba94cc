#pragma once

#include <cstdint>
#include <iostream>
#include <memory>

#include "cppmicroservices/FrameworkExport.h"

namespace cppmicroservices {

class Bundle;

/// A change of a bundle's state. Copies are cheap. An event may be kept, but it keeps the framework running as any
/// Bundle does. A default constructed event converts to false.
class US_Framework_EXPORT BundleEvent {
 public:
  enum Type : uint32_t {
    BUNDLE_INSTALLED = 0x00000001,
    BUNDLE_STARTED = 0x00000002,
    BUNDLE_STOPPED = 0x00000004,
    BUNDLE_UPDATED = 0x00000008,
    BUNDLE_UNINSTALLED = 0x00000010,
    BUNDLE_RESOLVED = 0x00000020,
    BUNDLE_UNRESOLVED = 0x00000040,
    BUNDLE_STARTING = 0x00000080,
    BUNDLE_STOPPING = 0x00000100,
    BUNDLE_LAZY_ACTIVATION = 0x00000200
  };

  BundleEvent();
  BundleEvent(Type type, const Bundle& bundle);
  /// \throws std::invalid_argument if one of the bundles is invalid
  BundleEvent(Type type, const Bundle& bundle, const Bundle& origin);

  explicit operator bool() const;

  /// Returns the bundle that changed; an invalid one for a default constructed event.
  Bundle GetBundle() const;
  /// Returns the type of the change; BUNDLE_UNINSTALLED for a default constructed event.
  Type GetType() const;
  /// Returns the bundle whose context installed the bundle, for BUNDLE_INSTALLED; otherwise the bundle itself.
  Bundle GetOrigin() const;

  bool operator==(const BundleEvent& other) const;

 private:
  struct Data;
  std::shared_ptr<const Data> data_;
};

US_Framework_EXPORT std::ostream& operator<<(std::ostream& out, BundleEvent::Type type);
US_Framework_EXPORT std::ostream& operator<<(std::ostream& out, const BundleEvent& event);

}  // namespace cppmicroservices
