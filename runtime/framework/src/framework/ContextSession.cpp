#include "framework/ContextSession.h"

namespace cppmicroservices {

ContextSession::ContextSession(const std::shared_ptr<BundleContextPrivate>& context)
    : bundle(context && context->isValid() ? context->bundle() : nullptr),
      framework(bundle ? bundle->framework.lock() : nullptr) {
  if (!framework) {
    BundleContextPrivate::throwInvalid();
  }
}

}  // namespace cppmicroservices
