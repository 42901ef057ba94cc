#include "cppmicroservices/Framework.h"

#include <stdexcept>
#include <utility>

#include "bundles/BundlePrivate.h"
#include "cppmicroservices/FrameworkEvent.h"
#include "cppmicroservices/FrameworkFactory.h"
#include "framework/FrameworkCore.h"

namespace cppmicroservices {

Framework::Framework(Bundle bundle) : Bundle(std::move(bundle)) {
  if (valid()->id != systemBundleId) {
    throw std::logic_error("The bundle is not the system bundle of a framework");
  }
}

Framework::Framework(std::shared_ptr<BundlePrivate> bundle, std::shared_ptr<FrameworkLease> lease)
    : Bundle(std::move(bundle), std::move(lease)) {}

Framework::Framework(const Framework& other) = default;
Framework::Framework(Framework&& other) noexcept = default;
Framework& Framework::operator=(const Framework& other) = default;
Framework& Framework::operator=(Framework&& other) noexcept = default;

void Framework::Init() {
  valid()->requireFramework()->lifecycle.init();
}

FrameworkEvent Framework::WaitForStop(const std::chrono::milliseconds& timeout) {
  return valid()->requireFramework()->lifecycle.waitForStop(timeout);
}

Framework FrameworkFactory::NewFramework(const FrameworkConfiguration& configuration, std::ostream* logger) {
  return Framework(FrameworkCore::create(configuration, logger));
}

Framework FrameworkFactory::NewFramework() {
  return NewFramework(FrameworkConfiguration());
}

Framework FrameworkFactory::NewFramework(const std::map<std::string, Any>& configuration, std::ostream* logger) {
  return NewFramework(FrameworkConfiguration(configuration.begin(), configuration.end()), logger);
}

}  // namespace cppmicroservices
