#pragma once

#include <exception>
#include <memory>
#include <string>

#include "core/BundleHandles.h"
#include "core/FrameworkLog.h"
#include "core/ListenerList.h"
#include "cppmicroservices/FrameworkEvent.h"

namespace cppmicroservices {

/// One framework's framework listeners. They are called on the thread of the event, with no lock held; what they
/// throw is logged. Any thread may use it.
class FrameworkListeners {
 public:
  using Entry = ListenerEntry<FrameworkListener>;

  FrameworkListeners(const BundleHandles& handles, FrameworkLog& log);

  /// Logs the event and calls the listeners.
  void notify(const FrameworkEvent& event);
  /// Sends a framework event about the bundle.
  void report(FrameworkEvent::Type type, const std::shared_ptr<BundlePrivate>& bundle, const std::string& message,
              std::exception_ptr exception = nullptr);

  /// Returns what makes the handles that events refer to bundles by.
  const BundleHandles& handles() const { return handles_; }

  ListenerList<Entry> list;

 private:
  const BundleHandles& handles_;
  FrameworkLog& log_;
};

}  // namespace cppmicroservices
