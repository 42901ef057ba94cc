#include "framework/FrameworkCore.h"

#include <atomic>
#include <iostream>

#include "bundles/BundlePrivate.h"
#include "core/HandleAccess.h"
#include "framework/FrameworkLease.h"

namespace cppmicroservices {

namespace {

std::uint64_t nextFrameworkId() {
  static std::atomic<std::uint64_t> last{0};
  return ++last;
}

}  // namespace

FrameworkCore::FrameworkCore(const std::unordered_map<std::string, Any>& configuration, std::ostream& logger)
    : id(nextFrameworkId()),
      properties(configuration),
      listeners(*this),
      services(*this),
      bundles(*this),
      bundleLifecycle(*this),
      lifecycle(*this),
      logger_(logger) {}

Bundle FrameworkCore::create(const std::unordered_map<std::string, Any>& configuration, std::ostream* logger) {
  const auto framework = std::make_shared<FrameworkCore>(configuration, logger ? *logger : std::clog);
  framework->systemBundle_ = BundlePrivate::forSystem(framework);
  framework->bundles.reset();
  const auto lease = std::make_shared<FrameworkLease>(framework);
  framework->lease_ = lease;
  return framework->handleOf(framework->systemBundle_);
}

Bundle FrameworkCore::handleOf(const std::shared_ptr<BundlePrivate>& bundle) const {
  return bundle ? detail::HandleAccess::bundle(bundle, lease_.lock()) : Bundle();
}

}  // namespace cppmicroservices
