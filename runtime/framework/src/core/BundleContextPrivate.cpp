#include "core/BundleContextPrivate.h"

#include "cppmicroservices/IllegalStateException.h"

namespace cppmicroservices {

BundleContextPrivate::BundleContextPrivate(const std::shared_ptr<BundlePrivate>& bundle) : bundle_(bundle) {}

BundleContextPrivate::Session BundleContextPrivate::require() const {
  Session session;
  session.bundle = valid_ ? bundle_.lock() : nullptr;
  session.framework = session.bundle ? session.bundle->framework.lock() : nullptr;
  if (!session.framework) {
    throwInvalid();
  }
  return session;
}

void BundleContextPrivate::throwInvalid() {
  throw IllegalStateException("The bundle context is no longer valid");
}

}  // namespace cppmicroservices
