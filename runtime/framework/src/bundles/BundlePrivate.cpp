#include "bundles/BundlePrivate.h"

#include <stdexcept>
#include <utility>

#include "bundles/ResourceTree.h"
#include "core/BundleContextPrivate.h"

namespace cppmicroservices {

BundlePrivate::BundlePrivate(std::weak_ptr<FrameworkCore> owner, std::uint64_t ownerId, long bundleId,
                             BundleDescription description)
    : framework(std::move(owner)),
      frameworkId(ownerId),
      id(bundleId),
      location(std::move(description.location)),
      symbolicName(std::move(description.symbolicName)),
      version(description.version),
      headers(std::move(description.headers)) {}

std::shared_ptr<BundlePrivate> BundlePrivate::makeSibling(long bundleId, BundleDescription description) const {
  return std::make_shared<BundlePrivate>(framework, frameworkId, bundleId, std::move(description));
}

std::shared_ptr<FrameworkCore> BundlePrivate::requireFramework() const {
  if (auto alive = framework.lock()) {
    return alive;
  }
  throw std::runtime_error(describe() + " belongs to a framework that no longer exists");
}

std::shared_ptr<BundleContextPrivate> BundlePrivate::context() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return context_;
}

std::shared_ptr<BundleContextPrivate> BundlePrivate::openContext() {
  const auto opened = std::make_shared<BundleContextPrivate>(shared_from_this());
  const std::lock_guard<std::mutex> lock(mutex_);
  context_ = opened;
  return opened;
}

void BundlePrivate::closeContext() {
  std::shared_ptr<BundleContextPrivate> closed;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    closed.swap(context_);
  }
  if (closed) {
    closed->invalidate();
  }
}

std::shared_ptr<const ResourceTree> BundlePrivate::resources() const {
  if (id == systemBundleId) {
    return nullptr;
  }
  const std::lock_guard<std::mutex> lock(resourcesMutex_);
  if (!resources_) {
    resources_ = std::make_shared<const ResourceTree>(location, symbolicName);
  }
  return resources_;
}

std::string BundlePrivate::describe() const {
  return "Bundle " + symbolicName + " (location=" + location + ")";
}

}  // namespace cppmicroservices
