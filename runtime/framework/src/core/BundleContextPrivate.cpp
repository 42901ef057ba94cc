#include "core/BundleContextPrivate.h"

#include <utility>

#include "cppmicroservices/IllegalStateException.h"

namespace cppmicroservices {

BundleContextPrivate::BundleContextPrivate(std::weak_ptr<BundlePrivate> bundle) : bundle_(std::move(bundle)) {}

void BundleContextPrivate::throwInvalid() {
  throw IllegalStateException("The bundle context is no longer valid");
}

}  // namespace cppmicroservices
