#include "cppmicroservices/BundleContext.h"

#include <filesystem>
#include <utility>

#include "core/HandleAccess.h"
#include "framework/ContextSession.h"
#include "services/ServiceRecord.h"

namespace cppmicroservices {

namespace {

using detail::HandleAccess;

std::vector<Bundle> handlesOf(const FrameworkCore& framework,
                              const std::vector<std::shared_ptr<BundlePrivate>>& bundles) {
  std::vector<Bundle> handles;
  handles.reserve(bundles.size());
  for (const auto& bundle : bundles) {
    handles.push_back(framework.handles.of(bundle));
  }
  return handles;
}

/// Returns the bundle's use of the service to which the reference refers.
std::shared_ptr<ServiceUse> useOf(const std::shared_ptr<BundleContextPrivate>& context,
                                  const ServiceReferenceBase& reference) {
  if (!reference) {
    throw std::invalid_argument("Default constructed ServiceReference is not a valid input to GetService()");
  }
  const ContextSession session(context);
  return ServiceRecord::use(HandleAccess::recordOf(reference), session.client());
}

}  // namespace

namespace detail {

// Declared in GetBundleContext.h, which only a bundle's own code can include.
US_Framework_EXPORT BundleContext MakeBundleContext(BundleContextPrivate* context);

BundleContext MakeBundleContext(BundleContextPrivate* context) {
  return HandleAccess::context(context ? context->shared_from_this() : nullptr);
}

void addContextEndListener(const BundleContext& context, std::weak_ptr<ContextEndListener> listener) {
  if (const auto& state = HandleAccess::stateOf(context)) {
    state->addEndListener(std::move(listener));
  } else if (const auto alive = listener.lock()) {
    alive->onContextEnd();
  }
}

}  // namespace detail

BundleContext::BundleContext() = default;
BundleContext::BundleContext(std::shared_ptr<BundleContextPrivate> context) : context_(std::move(context)) {}

bool BundleContext::operator==(const BundleContext& other) const {
  const bool valid = static_cast<bool>(*this);
  return valid == static_cast<bool>(other) && (!valid || context_ == other.context_);
}

bool BundleContext::operator!=(const BundleContext& other) const {
  return !(*this == other);
}

bool BundleContext::operator<(const BundleContext& other) const {
  return context_ < other.context_;
}

BundleContext::operator bool() const {
  return context_ && context_->isValid();
}

BundleContext& BundleContext::operator=(std::nullptr_t) {
  context_ = nullptr;
  return *this;
}

Any BundleContext::GetProperty(const std::string& key) const {
  return ContextSession(context_).framework->properties.value(key);
}

AnyMap BundleContext::GetProperties() const {
  return ContextSession(context_).framework->properties.all();
}

Bundle BundleContext::GetBundle() const {
  const ContextSession session(context_);
  return session.framework->handles.of(session.bundle);
}

Bundle BundleContext::GetBundle(long id) const {
  const ContextSession session(context_);
  return session.framework->handles.of(session.framework->bundles.find(id));
}

std::vector<Bundle> BundleContext::GetBundles() const {
  const ContextSession session(context_);
  return handlesOf(*session.framework, session.framework->bundles.all());
}

std::vector<Bundle> BundleContext::GetBundles(const std::string& location) const {
  const ContextSession session(context_);
  return handlesOf(*session.framework, session.framework->bundles.findAt(location));
}

std::vector<Bundle> BundleContext::InstallBundles(const std::string& location, const AnyMap& bundleManifest) {
  const ContextSession session(context_);
  return handlesOf(*session.framework, session.framework->installer.install(session.bundle, location, bundleManifest));
}

std::string BundleContext::GetDataFile(const std::string& filename) const {
  const ContextSession session(context_);
  if (session.bundle->id == systemBundleId) {
    return std::string();
  }
  const auto folder = session.framework->bundles.dataFolder(*session.bundle);
  std::filesystem::create_directories(folder);
  return (folder / filename).string();
}

ServiceRegistrationU BundleContext::RegisterService(const InterfaceMapConstPtr& service,
                                                    const ServiceProperties& properties) {
  const ContextSession session(context_);
  const std::shared_ptr<ServiceRegistry> registry(session.framework, &session.framework->services);
  return HandleAccess::registration(ServiceRegistry::add(registry, *context_, session.client(), service, properties));
}

std::vector<ServiceReferenceU> BundleContext::GetServiceReferences(const std::string& clazz,
                                                                   const std::string& filter) {
  return ContextSession(context_).framework->services.find(clazz, filter);
}

ServiceReferenceU BundleContext::GetServiceReference(const std::string& clazz) {
  return ContextSession(context_).framework->services.findBest(clazz);
}

std::shared_ptr<void> BundleContext::GetService(const ServiceReferenceBase& reference) {
  return ServiceUse::object(useOf(context_, reference), HandleAccess::interfaceIdOf(reference));
}

InterfaceMapConstPtr BundleContext::GetService(const ServiceReferenceU& reference) {
  return ServiceUse::interfaces(useOf(context_, reference));
}

ListenerToken BundleContext::AddServiceListener(const ServiceListener& listener, const std::string& filter) {
  return ContextSession(context_).framework->listeners.services.list.add(
      std::make_shared<ServiceListenerEntry>(context_, listener, filter));
}

ListenerToken BundleContext::AddBundleListener(const BundleListener& listener) {
  return ContextSession(context_).framework->listeners.bundles.list.add(
      std::make_shared<BundleListeners::Entry>(context_, listener));
}

ListenerToken BundleContext::AddFrameworkListener(const FrameworkListener& listener) {
  return ContextSession(context_).framework->listeners.framework.list.add(
      std::make_shared<FrameworkListeners::Entry>(context_, listener));
}

void BundleContext::RemoveListener(ListenerToken token) {
  ContextSession(context_).framework->listeners.remove(token);
}

void BundleContext::remove(const ServiceListener& listener) {
  ContextSession(context_).framework->listeners.services.list.remove(*context_, listener);
}

void BundleContext::remove(const BundleListener& listener) {
  ContextSession(context_).framework->listeners.bundles.list.remove(*context_, listener);
}

void BundleContext::remove(const FrameworkListener& listener) {
  ContextSession(context_).framework->listeners.framework.list.remove(*context_, listener);
}

}  // namespace cppmicroservices
