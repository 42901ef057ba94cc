#include "core/BundleHandles.h"

#include "core/HandleAccess.h"

namespace cppmicroservices {

Bundle BundleHandles::of(const std::shared_ptr<BundlePrivate>& bundle) const {
  return bundle ? detail::HandleAccess::bundle(bundle, lease_.lock()) : Bundle();
}

}  // namespace cppmicroservices
