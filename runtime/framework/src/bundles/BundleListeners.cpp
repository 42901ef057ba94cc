#include "bundles/BundleListeners.h"

#include <exception>

#include "core/Attempt.h"
#include "cppmicroservices/SecurityException.h"
#include "cppmicroservices/SharedLibraryException.h"

namespace cppmicroservices {

BundleListeners::BundleListeners(FrameworkListeners& reports) : reports_(reports) {}

void BundleListeners::notify(BundleEvent::Type type, const std::shared_ptr<BundlePrivate>& bundle) {
  if (const auto listeners = list.entries()) {  // saves the event if there are none
    deliver(listeners, BundleEvent(type, reports_.handles().of(bundle)));
  }
}

void BundleListeners::notifyAnyway(BundleEvent::Type type, const std::shared_ptr<BundlePrivate>& bundle) noexcept {
  try {
    notify(type, bundle);
  } catch (...) {
    // It was reported to the framework listeners.
  }
}

void BundleListeners::notifyInstalled(const std::shared_ptr<BundlePrivate>& bundle,
                                      const std::shared_ptr<BundlePrivate>& origin) {
  if (const auto listeners = list.entries()) {
    const auto& handles = reports_.handles();
    deliver(listeners, BundleEvent(BundleEvent::BUNDLE_INSTALLED, handles.of(bundle), handles.of(origin)));
  }
}

void BundleListeners::deliver(const Listeners& listeners, const BundleEvent& event) {
  std::exception_ptr failure;
  list.forEach(listeners, [&](const Entry& entry) { attempt(failure, [&] { call(entry, event); }); });
  rethrowIfAny(failure);
}

void BundleListeners::call(const Entry& entry, const BundleEvent& event) {
  const auto report = [&](const char* message) {
    reports_.report(FrameworkEvent::FRAMEWORK_ERROR, entry.owner->bundle(), message, std::current_exception());
  };
  try {
    entry.function(event);
  } catch (const SecurityException&) {
    report("Bundle listener threw a security exception");
    throw;
  } catch (const SharedLibraryException&) {
    report("Bundle listener threw an exception");
    throw;
  } catch (...) {
    report("Bundle listener threw an exception");
  }
}

}  // namespace cppmicroservices
