#include "bundles/BundleOperations.h"

#include <stdexcept>

#include "bundles/BundlePrivate.h"

namespace cppmicroservices {

namespace {

/// Returns whether the bundle's state is final, though listeners may still be called about it.
bool isSettled(const BundlePrivate& bundle) {
  const auto state = bundle.state.load();
  return state != Bundle::STATE_STARTING && state != Bundle::STATE_STOPPING;
}

}  // namespace

BundleOperations::Scope::Scope(BundleOperations& operations, const BundlePrivate& bundle, const char* purpose)
    : operations_(operations), bundle_(bundle) {
  operations_.begin(bundle_, purpose);
}

BundleOperations::Scope::~Scope() {
  operations_.end(bundle_);
}

bool BundleOperations::isMine(const BundlePrivate& bundle) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = running_.find(&bundle);
  return found != running_.end() && found->second.thread == std::this_thread::get_id();
}

void BundleOperations::begin(const BundlePrivate& bundle, const char* purpose) {
  const auto self = std::this_thread::get_id();
  std::unique_lock<std::mutex> lock(mutex_);
  for (auto found = running_.find(&bundle); found != running_.end(); found = running_.find(&bundle)) {
    if (found->second.thread == self && isSettled(bundle)) {
      break;
    }
    if (isWaitingForThisThread(bundle)) {
      throw std::runtime_error(bundle.describe() + " cannot be " + purpose +
                               ": an operation on it is under way that would wait for this one");
    }
    waiting_[self] = &bundle;
    ended_.wait(lock);
    waiting_.erase(self);
  }
  auto& running = running_[&bundle];
  running.thread = self;
  ++running.depth;
}

void BundleOperations::end(const BundlePrivate& bundle) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = running_.find(&bundle);
    if (--found->second.depth == 0) {
      running_.erase(found);
    }
  }
  ended_.notify_all();
}

bool BundleOperations::isWaitingForThisThread(const BundlePrivate& bundle) const {
  const BundlePrivate* next = &bundle;
  while (true) {
    const auto running = running_.find(next);
    if (running == running_.end()) {
      return false;
    }
    if (running->second.thread == std::this_thread::get_id()) {
      return true;
    }
    const auto waiting = waiting_.find(running->second.thread);
    if (waiting == waiting_.end()) {
      return false;
    }
    next = waiting->second;
  }
}

}  // namespace cppmicroservices
