#include "cppmicroservices/Bundle.h"

#include <dlfcn.h>

#include <algorithm>
#include <stdexcept>
#include <string_view>
#include <tuple>
#include <utility>

#include "bundles/BundlePrivate.h"
#include "bundles/ResourceTree.h"
#include "core/HandleAccess.h"
#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/BundleResource.h"
#include "framework/FrameworkCore.h"

namespace cppmicroservices {

namespace {

/// Returns whether the name contains all parts of the pattern between its stars, in this order.
bool contains(std::string_view name, std::string_view pattern) {
  while (!pattern.empty()) {
    const auto part = pattern.substr(0, pattern.find('*'));
    const auto found = name.find(part);
    if (found == std::string_view::npos) {
      return false;
    }
    name.remove_prefix(found + part.size());
    pattern.remove_prefix(std::min(part.size() + 1, pattern.size()));
  }
  return true;
}

void collect(const ResourceNode& folder, const std::string& pattern, bool recurse,
             std::vector<const ResourceNode*>& found) {
  for (const auto& [name, child] : folder.children) {
    if (recurse) {
      collect(*child, pattern, recurse, found);
    }
    if (contains(name, pattern)) {
      found.push_back(child);
    }
  }
}

void requireInstalled(const BundlePrivate& bundle) {
  if (bundle.state == Bundle::STATE_UNINSTALLED) {
    throw std::logic_error(bundle.describe() + " is uninstalled");
  }
}

/// Returns the bundle's resources; null for a framework.
std::shared_ptr<const ResourceTree> resourcesOf(const BundlePrivate& bundle) {
  requireInstalled(bundle);
  return bundle.resources();
}

std::map<std::string, Any> withOrderedMaps(const AnyMap& headers) {
  std::map<std::string, Any> ordered;
  for (const auto& [name, value] : headers) {
    const auto* const nested = any_cast<AnyMap>(&value);
    ordered.emplace(name, nested ? Any(withOrderedMaps(*nested)) : value);
  }
  return ordered;
}

}  // namespace

Bundle::Bundle() = default;
Bundle::Bundle(const Bundle& other) = default;
Bundle::Bundle(Bundle&& other) noexcept = default;
Bundle& Bundle::operator=(const Bundle& other) = default;
Bundle::~Bundle() = default;

Bundle::Bundle(std::shared_ptr<BundlePrivate> bundle, std::shared_ptr<FrameworkLease> lease)
    : bundle_(std::move(bundle)), lease_(std::move(lease)) {}

Bundle& Bundle::operator=(Bundle&& other) noexcept {
  // The old lease is destroyed last: that may stop the framework, and code which runs then may use this handle.
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
  if (!bundle_ || !other.bundle_) {
    return bundle_ == other.bundle_;
  }
  return bundle_->frameworkId == other.bundle_->frameworkId && bundle_->id == other.bundle_->id;
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

BundleResource Bundle::GetResource(const std::string& path) const {
  auto tree = resourcesOf(*valid());
  const auto* const node = tree ? tree->find(path) : nullptr;
  return node ? detail::HandleAccess::resource(std::move(tree), node) : BundleResource();
}

std::vector<BundleResource> Bundle::FindResources(const std::string& path, const std::string& filePattern,
                                                  bool recurse) const {
  const auto tree = resourcesOf(*valid());
  std::vector<const ResourceNode*> found;
  if (const auto* const folder = tree ? tree->find(path + '/') : nullptr) {
    collect(*folder, filePattern, recurse, found);
  }
  std::vector<BundleResource> resources;
  for (const auto* const node : found) {
    resources.push_back(detail::HandleAccess::resource(tree, node));
  }
  return resources;
}

Bundle::TimeStamp Bundle::GetLastModified() const {
  return valid()->lastModified();
}

std::vector<ServiceReferenceU> Bundle::GetRegisteredServices() const {
  requireInstalled(*valid());
  const auto framework = bundle_->framework.lock();
  return framework ? framework->services.findRegisteredBy(*bundle_) : std::vector<ServiceReferenceU>();
}

std::vector<ServiceReferenceU> Bundle::GetServicesInUse() const {
  requireInstalled(*valid());
  const auto framework = bundle_->framework.lock();
  return framework ? framework->services.findUsedBy(*bundle_) : std::vector<ServiceReferenceU>();
}

void* Bundle::GetSymbol(void* handle, const std::string& name) const {
  if (!bundle_ || !handle || name.empty()) {
    throw std::invalid_argument("GetSymbol needs a valid bundle, a library and a name");
  }
  if (GetState() != STATE_ACTIVE) {
    throw std::runtime_error(bundle_->describe() + " is not active: cannot look up the symbol " + name);
  }
  return dlsym(handle, name.c_str());
}

std::map<std::string, Any> Bundle::GetProperties() const {
  return withOrderedMaps(GetHeaders());
}

Any Bundle::GetProperty(const std::string& key) const {
  const auto properties = withOrderedMaps(GetHeaders());
  const auto found = properties.find(key);
  if (found != properties.end() && !found->second.Empty()) {
    return found->second;
  }
  const auto framework = bundle_->framework.lock();
  return framework ? framework->properties.value(key) : Any();
}

std::vector<std::string> Bundle::GetPropertyKeys() const {
  std::vector<std::string> keys;
  for (const auto& property : withOrderedMaps(GetHeaders())) {
    keys.push_back(property.first);
  }
  return keys;
}

void Bundle::Start(uint32_t) {
  const Bundle kept(*this);  // keeps the framework alive whatever the activator does
  const auto framework = kept.valid()->requireFramework();
  if (kept.bundle_->id == systemBundleId) {
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
  if (kept.bundle_->id == systemBundleId) {
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
  if (kept.bundle_->id == systemBundleId) {
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
