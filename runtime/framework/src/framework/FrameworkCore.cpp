#include "framework/FrameworkCore.h"

#include <atomic>
#include <iostream>

#include "bundles/BundlePrivate.h"
#include "cppmicroservices/Constants.h"
#include "framework/FrameworkLease.h"

namespace cppmicroservices {

namespace {

std::uint64_t nextFrameworkId() {
  static std::atomic<std::uint64_t> last{0};
  return ++last;
}

/// Describes the system bundle, which has no file with a manifest.
BundleDescription describeSystemBundle() {
  const BundleVersion version(US_VERSION_MAJOR, US_VERSION_MINOR, US_VERSION_PATCH);
  return {Constants::SYSTEM_BUNDLE_LOCATION,
          Constants::SYSTEM_BUNDLE_SYMBOLICNAME,
          version,
          {{Constants::BUNDLE_SYMBOLICNAME, Constants::SYSTEM_BUNDLE_SYMBOLICNAME},
           {Constants::BUNDLE_NAME, Constants::SYSTEM_BUNDLE_LOCATION},
           {Constants::BUNDLE_VERSION, version.ToString()},
           {Constants::BUNDLE_MANIFESTVERSION, std::string("2")},
           {Constants::BUNDLE_VENDOR, std::string("SPF runtime")},
           {Constants::BUNDLE_DESCRIPTION, std::string("The framework as a bundle")}}};
}

}  // namespace

FrameworkCore::FrameworkCore(const std::unordered_map<std::string, Any>& configuration, std::ostream& logger)
    : id(nextFrameworkId()),
      properties(configuration),
      log(properties.logEnabled(), id, logger),
      listeners(handles, log),
      services(listeners.services),
      bundles(properties.storage()),
      bundleLifecycle(properties, bundles, services, listeners),
      installer(bundles, bundleLifecycle, listeners.bundles),
      lifecycle(*this) {}

Bundle FrameworkCore::create(const std::unordered_map<std::string, Any>& configuration, std::ostream* logger) {
  const auto framework = std::make_shared<FrameworkCore>(configuration, logger ? *logger : std::clog);
  framework->systemBundle_ =
      std::make_shared<BundlePrivate>(framework, framework->id, systemBundleId, describeSystemBundle());
  framework->bundles.reset(framework->systemBundle_);
  const auto lease = std::make_shared<FrameworkLease>(framework);
  framework->handles.setLease(lease);
  return framework->handles.of(framework->systemBundle_);
}

ServiceClient FrameworkCore::clientFor(const std::shared_ptr<BundlePrivate>& bundle) {
  return {bundle, std::shared_ptr<FrameworkListeners>(shared_from_this(), &listeners.framework)};
}

}  // namespace cppmicroservices
