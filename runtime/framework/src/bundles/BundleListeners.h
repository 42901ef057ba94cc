#pragma once

#include <memory>

#include "core/FrameworkListeners.h"
#include "cppmicroservices/BundleEvent.h"

namespace cppmicroservices {

/// One framework's bundle listeners. They are called on the thread of the event, with no lock held. Their exceptions
/// become FRAMEWORK_ERROR events; a SecurityException or SharedLibraryException is also propagated to the caller once
/// all listeners were called. Any thread may use it.
class BundleListeners {
 public:
  using Entry = ListenerEntry<BundleListener>;

  explicit BundleListeners(FrameworkListeners& reports);

  /// Calls the listeners.
  /// \throws SecurityException or SharedLibraryException if a listener threw one
  void notify(BundleEvent::Type type, const std::shared_ptr<BundlePrivate>& bundle);
  /// Calls the listeners about a change that cannot be prevented; their exceptions are only reported.
  void notifyAnyway(BundleEvent::Type type, const std::shared_ptr<BundlePrivate>& bundle) noexcept;
  /// Calls the listeners with BUNDLE_INSTALLED.
  /// \throws as notify()
  void notifyInstalled(const std::shared_ptr<BundlePrivate>& bundle, const std::shared_ptr<BundlePrivate>& origin);

  ListenerList<Entry> list;

 private:
  using Listeners = std::shared_ptr<const ListenerList<Entry>::Entries>;

  void deliver(const Listeners& listeners, const BundleEvent& event);
  void call(const Entry& entry, const BundleEvent& event);

  FrameworkListeners& reports_;
};

}  // namespace cppmicroservices
