#include "core/FrameworkListeners.h"

#include <utility>

#include "core/ExceptionText.h"

namespace cppmicroservices {

FrameworkListeners::FrameworkListeners(const BundleHandles& handles, FrameworkLog& log)
    : handles_(handles), log_(log) {}

void FrameworkListeners::notify(const FrameworkEvent& event) {
  log_.write(event);
  list.forEach(list.entries(), [&](const Entry& entry) {
    try {
      entry.function(event);
    } catch (...) {
      // An event about it would be sent to the same listener.
      log_.write("A Framework Listener threw an exception: " + currentExceptionText());
    }
  });
}

void FrameworkListeners::report(FrameworkEvent::Type type, const std::shared_ptr<BundlePrivate>& bundle,
                                const std::string& message, std::exception_ptr exception) {
  notify(FrameworkEvent(type, handles_.of(bundle), message, std::move(exception)));
}

}  // namespace cppmicroservices
