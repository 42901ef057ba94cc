#include "cppmicroservices/Bundle.h"

#include <dlfcn.h>

#include <stdexcept>
#include <tuple>
#include <utility>

#include "bundles/BundlePrivate.h"
#include "core/FrameworkCore.h"
#include "core/HandleAccess.h"
#include "cppmicroservices/BundleContext.h"

namespace cppmicroservices {

Bundle::Bundle() = default;
Bundle::Bundle(const Bundle& other) = default;
Bundle::Bundle(Bundle&& other) noexcept = default;
Bundle& Bundle::operator=(const Bundle& other) = default;
Bundle::~Bundle() = default;

Bundle::Bundle(std::shared_ptr<BundlePrivate> bundle, std::shared_ptr<FrameworkLease> lease)
    : bundle_(std::move(bundle)), lease_(std::move(lease)) {}

Bundle& Bundle::operator=(Bundle&& other) noexcept {
  // The old lease goes last: with it the framework may stop, and what runs then may look at this handle.
  const auto oldLease = std::exchange(lease_, std::move(other.lease_));
  bundle_ = std::exchange(other.bundle_, nullptr);
  return *this;
}

Bundle& Bundle::operator=(std::nullptr_t) {
  return *this = Bundle();
}

Bundle::operator bool() const {
  return bundle_ != nullptr;
}

bool Bundle::operator==(const Bundle& other) const {
  return bundle_ == other.bundle_;
}

bool Bundle::operator!=(const Bundle& other) const {
  return !(*this == other);
}

bool Bundle::operator<(const Bundle& other) const {
  if (!bundle_ || !other.bundle_) {
    return bundle_ && !other.bundle_;
  }
  return std::tie(bundle_->frameworkId, bundle_->id) < std::tie(other.bundle_->frameworkId, other.bundle_->id);
}

const std::shared_ptr<BundlePrivate>& Bundle::valid() const {
  if (!bundle_) {
    throw std::invalid_argument("invalid bundle");
  }
  return bundle_;
}

Bundle::State Bundle::GetState() const {
  return valid()->state;
}

BundleContext Bundle::GetBundleContext() const {
  return detail::HandleAccess::context(valid()->context());
}

long Bundle::GetBundleId() const {
  return valid()->id;
}

std::string Bundle::GetLocation() const {
  return valid()->location;
}

std::string Bundle::GetSymbolicName() const {
  return valid()->symbolicName;
}

BundleVersion Bundle::GetVersion() const {
  return valid()->version;
}

const AnyMap& Bundle::GetHeaders() const {
  return valid()->headers;
}

Bundle::TimeStamp Bundle::GetLastModified() const {
  return valid()->lastModified();
}

std::vector<ServiceReferenceU> Bundle::GetRegisteredServices() const {
  const auto framework = valid()->framework.lock();
  return framework ? framework->services.registeredBy(*bundle_) : std::vector<ServiceReferenceU>();
}

std::vector<ServiceReferenceU> Bundle::GetServicesInUse() const {
  const auto framework = valid()->framework.lock();
  return framework ? framework->services.usedBy(*bundle_) : std::vector<ServiceReferenceU>();
}

void* Bundle::GetSymbol(void* handle, const std::string& name) const {
  if (!bundle_ || !handle || name.empty()) {
    throw std::invalid_argument("GetSymbol needs a valid bundle, a library and a name");
  }
  if (GetState() != STATE_ACTIVE) {
    throw std::runtime_error(bundle_->described() + " is not active: cannot look up the symbol " + name);
  }
  return dlsym(handle, name.c_str());
}

std::map<std::string, Any> Bundle::GetProperties() const {
  const auto& headers = GetHeaders();
  return std::map<std::string, Any>(headers.begin(), headers.end());
}

Any Bundle::GetProperty(const std::string& key) const {
  const auto found = GetHeaders().find(key);
  return found == GetHeaders().end() ? Any() : found->second;
}

std::vector<std::string> Bundle::GetPropertyKeys() const {
  std::vector<std::string> keys;
  for (const auto& header : GetHeaders()) {
    keys.push_back(header.first);
  }
  return keys;
}

void Bundle::Start(uint32_t) {
  const Bundle kept(*this);  // so that the framework cannot be destroyed by what the activator does
  const auto framework = kept.valid()->requireFramework();
  if (kept.bundle_->id == 0) {
    framework->lifecycle.start();
  } else {
    framework->bundleLifecycle.start(kept.bundle_);
  }
}

void Bundle::Start() {
  Start(0);
}

void Bundle::Stop(uint32_t) {
  const Bundle kept(*this);
  const auto framework = kept.valid()->requireFramework();
  if (kept.bundle_->id == 0) {
    framework->lifecycle.stop();
  } else {
    framework->bundleLifecycle.stop(kept.bundle_);
  }
}

void Bundle::Stop() {
  Stop(0);
}

void Bundle::Uninstall() {
  const Bundle kept(*this);
  const auto framework = kept.valid()->requireFramework();
  if (kept.bundle_->id == 0) {
    throw std::runtime_error("Cannot uninstall a system bundle.");
  }
  framework->bundleLifecycle.uninstall(kept.bundle_);
}

std::ostream& operator<<(std::ostream& out, const Bundle& bundle) {
  if (!bundle) {
    return out << "Bundle[none]";
  }
  return out << "Bundle[id=" << bundle.GetBundleId() << ", loc=" << bundle.GetLocation()
             << ", name=" << bundle.GetSymbolicName() << ", state=" << bundle.GetState() << "]";
}

std::ostream& operator<<(std::ostream& out, const Bundle* bundle) {
  return out << (bundle ? *bundle : Bundle());
}

std::ostream& operator<<(std::ostream& out, Bundle::State state) {
  switch (state) {
    case Bundle::STATE_UNINSTALLED:
      return out << "UNINSTALLED";
    case Bundle::STATE_INSTALLED:
      return out << "INSTALLED";
    case Bundle::STATE_RESOLVED:
      return out << "RESOLVED";
    case Bundle::STATE_STARTING:
      return out << "STARTING";
    case Bundle::STATE_STOPPING:
      return out << "STOPPING";
    case Bundle::STATE_ACTIVE:
      return out << "ACTIVE";
  }
  return out << "unknown bundle state (" << static_cast<unsigned int>(state) << ")";
}

}  // namespace cppmicroservices
