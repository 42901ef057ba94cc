#include "bundles/BundlePrivate.h"

#include <stdexcept>
#include <utility>

#include "bundles/ResourceTree.h"
#include "core/BundleContextPrivate.h"
#include "cppmicroservices/Constants.h"
#include "framework/FrameworkCore.h"

namespace cppmicroservices {

namespace {

/// The system bundle has no file that a manifest could be in.
AnyMap systemHeaders(const BundleVersion& version) {
  return {{Constants::BUNDLE_SYMBOLICNAME, Constants::SYSTEM_BUNDLE_SYMBOLICNAME},
          {Constants::BUNDLE_NAME, Constants::SYSTEM_BUNDLE_LOCATION},
          {Constants::BUNDLE_VERSION, version.ToString()},
          {Constants::BUNDLE_MANIFESTVERSION, std::string("2")},
          {Constants::BUNDLE_VENDOR, std::string("SPF runtime")},
          {Constants::BUNDLE_DESCRIPTION, std::string("The framework as a bundle")}};
}

}  // namespace

std::shared_ptr<BundlePrivate> BundlePrivate::forSystem(const std::shared_ptr<FrameworkCore>& framework) {
  const BundleVersion version(US_VERSION_MAJOR, US_VERSION_MINOR, US_VERSION_PATCH);
  return std::make_shared<BundlePrivate>(
      framework, 0,
      BundleDescription{Constants::SYSTEM_BUNDLE_LOCATION, Constants::SYSTEM_BUNDLE_SYMBOLICNAME, version,
                        systemHeaders(version)});
}

BundlePrivate::BundlePrivate(const std::shared_ptr<FrameworkCore>& owner, long bundleId, BundleDescription description)
    : framework(owner),
      frameworkId(owner->id),
      id(bundleId),
      location(std::move(description.location)),
      symbolicName(std::move(description.symbolicName)),
      version(description.version),
      headers(std::move(description.headers)) {}

std::shared_ptr<FrameworkCore> BundlePrivate::requireFramework() const {
  if (auto alive = framework.lock()) {
    return alive;
  }
  throw std::runtime_error(described() + " belongs to a framework that no longer exists");
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
  if (id == 0) {
    return nullptr;
  }
  const std::lock_guard<std::mutex> lock(resourcesMutex_);
  if (!resources_) {
    resources_ = std::make_shared<const ResourceTree>(location, symbolicName);
  }
  return resources_;
}

std::string BundlePrivate::described() const {
  return "Bundle " + symbolicName + " (location=" + location + ")";
}

}  // namespace cppmicroservices
