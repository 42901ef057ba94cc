#include "bundles/EventListeners.h"

namespace cppmicroservices {

EventListeners::EventListeners(const BundleHandles& handles, FrameworkLog& log)
    : framework(handles, log), services(framework), bundles(framework) {}

void EventListeners::remove(const ListenerToken& token) {
  if (token) {
    services.list.remove(token);
    bundles.list.remove(token);
    framework.list.remove(token);
  }
}

void EventListeners::removeAllOf(const BundleContextPrivate& context) {
  services.list.removeAllOf(context);
  bundles.list.removeAllOf(context);
  framework.list.removeAllOf(context);
}

}  // namespace cppmicroservices
