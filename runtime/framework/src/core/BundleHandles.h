#pragma once

#include <memory>

#include "cppmicroservices/Bundle.h"

namespace cppmicroservices {

/// Makes the handles to one framework's bundles. A handle shares the framework's lease, and so keeps the framework
/// running. Any thread may use it once the lease is set.
class BundleHandles {
 public:
  /// Returns a handle to the bundle; an invalid one for null.
  Bundle of(const std::shared_ptr<BundlePrivate>& bundle) const;

  /// Sets the lease. To be called once, before another thread uses this object.
  void setLease(const std::shared_ptr<FrameworkLease>& lease) { lease_ = lease; }

 private:
  std::weak_ptr<FrameworkLease> lease_;
};

}  // namespace cppmicroservices
