#pragma once

#include <atomic>
#include <memory>

#include "bundles/BundlePrivate.h"

namespace cppmicroservices {

class FrameworkCore;

/// The state behind the handles to one bundle context. It becomes invalid once and for all. Any thread may
/// use it.
class BundleContextPrivate : public std::enable_shared_from_this<BundleContextPrivate> {
 public:
  /// Framework and bundle, kept alive for the length of one call.
  struct Session {
    std::shared_ptr<FrameworkCore> framework;
    std::shared_ptr<BundlePrivate> bundle;
  };

  explicit BundleContextPrivate(const std::shared_ptr<BundlePrivate>& bundle);

  /// \throws IllegalStateException if the context is no longer valid
  Session require() const;
  [[noreturn]] static void throwInvalid();

  bool isValid() const { return valid_; }
  void invalidate() { valid_ = false; }

  /// \return the context's bundle; null if it is gone with its framework
  std::shared_ptr<BundlePrivate> bundle() const { return bundle_.lock(); }

 private:
  const std::weak_ptr<BundlePrivate> bundle_;
  std::atomic<bool> valid_{true};
};

}  // namespace cppmicroservices
