#pragma once

#include <atomic>
#include <memory>

namespace cppmicroservices {

class BundlePrivate;

/// The state behind the handles to one bundle context. Once it is invalid, it stays so. Any thread may use it.
class BundleContextPrivate : public std::enable_shared_from_this<BundleContextPrivate> {
 public:
  explicit BundleContextPrivate(std::weak_ptr<BundlePrivate> bundle);

  /// \throws IllegalStateException always
  [[noreturn]] static void throwInvalid();

  bool isValid() const { return valid_; }
  void invalidate() { valid_ = false; }

  /// Returns the context's bundle; null if it was destroyed with its framework.
  std::shared_ptr<BundlePrivate> bundle() const { return bundle_.lock(); }

 private:
  const std::weak_ptr<BundlePrivate> bundle_;
  std::atomic<bool> valid_{true};
};

}  // namespace cppmicroservices
