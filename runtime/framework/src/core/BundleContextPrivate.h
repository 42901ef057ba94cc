#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "cppmicroservices/detail/ContextEnd.h"

namespace cppmicroservices {

class BundlePrivate;

/// The state behind the handles to one bundle context. Once it is invalid, it stays so. Any thread may use it.
class BundleContextPrivate : public std::enable_shared_from_this<BundleContextPrivate> {
 public:
  explicit BundleContextPrivate(std::weak_ptr<BundlePrivate> bundle);

  /// Reports that a context is invalid.
  /// \throws IllegalStateException always
  [[noreturn]] static void throwInvalid();

  bool isValid() const { return valid_; }
  /// Makes the context invalid and calls the listeners that were added for that, if it was valid.
  void invalidate();
  /// Calls the listener when the context becomes invalid, or at once if it is.
  void addEndListener(std::weak_ptr<detail::ContextEndListener> listener);

  /// Returns the context's bundle; null if it was destroyed with its framework.
  std::shared_ptr<BundlePrivate> bundle() const { return bundle_.lock(); }

 private:
  const std::weak_ptr<BundlePrivate> bundle_;
  std::atomic<bool> valid_{true};  // changed only under mutex_

  std::mutex mutex_;
  // Guarded by `mutex_`:
  std::vector<std::weak_ptr<detail::ContextEndListener>> endListeners_;
};

}  // namespace cppmicroservices
