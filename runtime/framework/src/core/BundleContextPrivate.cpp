#include "core/BundleContextPrivate.h"

#include <algorithm>
#include <utility>

#include "cppmicroservices/IllegalStateException.h"

namespace cppmicroservices {

namespace {

using EndListener = std::weak_ptr<detail::ContextEndListener>;

void notifyEnd(const EndListener& listener) {
  if (const auto alive = listener.lock()) {
    alive->onContextEnd();
  }
}

}  // namespace

BundleContextPrivate::BundleContextPrivate(std::weak_ptr<BundlePrivate> bundle) : bundle_(std::move(bundle)) {}

void BundleContextPrivate::throwInvalid() {
  throw IllegalStateException("The bundle context is no longer valid");
}

void BundleContextPrivate::invalidate() {
  std::vector<EndListener> listeners;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    valid_ = false;
    listeners.swap(endListeners_);
  }
  std::for_each(listeners.begin(), listeners.end(), notifyEnd);
}

void BundleContextPrivate::addEndListener(EndListener listener) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (valid_) {
      const auto isGone = [](const EndListener& each) { return each.expired(); };
      endListeners_.erase(std::remove_if(endListeners_.begin(), endListeners_.end(), isGone), endListeners_.end());
      endListeners_.push_back(std::move(listener));
      return;
    }
  }
  notifyEnd(listener);
}

}  // namespace cppmicroservices
