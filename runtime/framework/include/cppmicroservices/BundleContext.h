#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/GlobalConfig.h"
#include "cppmicroservices/IllegalStateException.h"
#include "cppmicroservices/ListenerFunctors.h"
#include "cppmicroservices/ListenerToken.h"
#include "cppmicroservices/ServiceInterface.h"
#include "cppmicroservices/ServiceRegistration.h"

namespace cppmicroservices {

class Bundle;
class BundleContextPrivate;
class ServiceFactory;

template <class S>
class ServiceObjects;

namespace detail {
struct HandleAccess;
}

/// A started bundle's access to the framework. Copies are cheap. It is valid from just before the bundle's activator is
/// started until just after it was stopped, and does not keep the framework running. Any thread may use it.
///
/// Every method but the comparisons throws IllegalStateException if the context is default constructed or no longer
/// valid. Listeners are called without any lock held, on the thread that caused the event, and may call everything; the
/// order among listeners is not specified. Their exceptions are swallowed and reported to the framework listeners as
/// FRAMEWORK_ERROR; a SecurityException or SharedLibraryException of a bundle listener is also propagated to the call
/// that installs, starts, stops or uninstalls the bundle. A listener added during an event does not get that event. One
/// removed during it is not called afterwards, but a call that is already running is not waited for.
class US_Framework_EXPORT BundleContext {
 public:
  BundleContext();

  /// Returns whether both are the same context, or both are invalid.
  bool operator==(const BundleContext& other) const;
  bool operator!=(const BundleContext& other) const;
  bool operator<(const BundleContext& other) const;
  BundleContext& operator=(std::nullptr_t);

  /// Returns whether the context is valid.
  explicit operator bool() const;

  /// Returns the framework property of exactly that name; an empty value if there is none.
  Any GetProperty(const std::string& key) const;
  AnyMap GetProperties() const;

  /// Returns the bundle to which the context belongs.
  Bundle GetBundle() const;
  /// Returns the bundle with that ID; an invalid one if there is none.
  Bundle GetBundle(long id) const;
  /// Returns all bundles, the system bundle included, ordered by location.
  std::vector<Bundle> GetBundles() const;
  std::vector<Bundle> GetBundles(const std::string& location) const;

  /// Installs the bundles of one file: a zip archive, or a shared library with one appended or in its section
  /// ".us_resources". Returns the same bundles again if the location is already installed, and installs those that were
  /// uninstalled anew.
  /// \param location  the file's path; compared as text
  /// \param bundleManifest  if not empty: the manifests by symbolic name, instead of those in the file
  /// \throws std::runtime_error naming location and reason; no bundle of the location is installed then
  std::vector<Bundle> InstallBundles(
      const std::string& location, const AnyMap& bundleManifest = AnyMap(any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS));

  /// Returns the path of a file in the bundle's own data folder, which is created; "" for the system bundle.
  std::string GetDataFile(const std::string& filename) const;

  /// Registers a service and calls the service listeners with SERVICE_REGISTERED on this thread.
  /// \throws std::invalid_argument if the map or one of its pointers is null, or a property that the framework
  ///         uses has the wrong type; std::runtime_error for keys that differ only in case. Nothing is
  ///         registered then.
  [[nodiscard]] ServiceRegistrationU RegisterService(const InterfaceMapConstPtr& service,
                                                     const ServiceProperties& properties = ServiceProperties());

  template <class I1, class... Interfaces, class Impl>
  ServiceRegistration<I1, Interfaces...> RegisterService(const std::shared_ptr<Impl>& implementation,
                                                         const ServiceProperties& properties = ServiceProperties()) {
    return RegisterService(InterfaceMapConstPtr(MakeInterfaceMap<I1, Interfaces...>(implementation)), properties);
  }

  /// Registers a service factory, otherwise as above.
  /// \throws ServiceException if the factory is null
  template <class I1, class... Interfaces>
  ServiceRegistration<I1, Interfaces...> RegisterService(const std::shared_ptr<ServiceFactory>& factory,
                                                         const ServiceProperties& properties = ServiceProperties()) {
    return RegisterService(InterfaceMapConstPtr(MakeInterfaceMap<I1, Interfaces...>(factory)), properties);
  }

  /// Finds services.
  /// \param clazz  an interface ID; an empty one means all services
  /// \param filter  an LDAP filter over the properties; an empty one matches all
  /// \return references ordered by descending ranking, then by ascending ID; without clazz by registration, unless the
  ///         filter fixes objectclass
  /// \throws std::invalid_argument for a bad filter, if there is any service of that interface or clazz is empty
  std::vector<ServiceReferenceU> GetServiceReferences(const std::string& clazz,
                                                      const std::string& filter = std::string());

  template <class S>
  std::vector<ServiceReference<S>> GetServiceReferences(const std::string& filter = std::string()) {
    const auto found = GetServiceReferences(requiredInterfaceId<S>(), filter);
    return std::vector<ServiceReference<S>>(found.begin(), found.end());
  }

  /// Returns the service with the highest ranking, among equals the one with the lowest ID; an empty reference if none
  /// matches.
  ServiceReferenceU GetServiceReference(const std::string& clazz);

  template <class S>
  ServiceReference<S> GetServiceReference() {
    return ServiceReference<S>(GetServiceReference(requiredInterfaceId<S>()));
  }

  /// Gets the service's object. The bundle counts as a user of the service until the last pointer is destroyed; until
  /// then the object lives, even if the service is unregistered.
  /// \return null if the service's factory fails, which is reported as FRAMEWORK_ERROR, or as FRAMEWORK_WARNING if its
  ///         object lacks an interface
  /// \throws std::invalid_argument if the reference refers to no registered service; SharedLibraryException or
  ///         SecurityException if the factory threw that
  std::shared_ptr<void> GetService(const ServiceReferenceBase& reference);
  InterfaceMapConstPtr GetService(const ServiceReferenceU& reference);

  template <class S>
  std::shared_ptr<S> GetService(const ServiceReference<S>& reference) {
    return std::static_pointer_cast<S>(GetService(static_cast<const ServiceReferenceBase&>(reference)));
  }

  /// Returns access to services of which each request may get an object of its own. Needs the header ServiceObjects.h.
  /// \throws std::invalid_argument if the reference refers to no registered service
  template <class S>
  ServiceObjects<S> GetServiceObjects(const ServiceReference<S>& reference) {
    if (!context_) {
      throw IllegalStateException("The bundle context is no longer valid");
    }
    return ServiceObjects<S>(context_, reference);
  }

  /// Adds a listener.
  /// \param filter  an LDAP filter; the listener is called for services that match it
  /// \throws std::invalid_argument for a bad filter
  ListenerToken AddServiceListener(const ServiceListener& listener, const std::string& filter = std::string());
  ListenerToken AddBundleListener(const BundleListener& listener);
  ListenerToken AddFrameworkListener(const FrameworkListener& listener);
  /// Removes a listener of any kind; does nothing for a token that names none.
  void RemoveListener(ListenerToken token);

  // Superseded by tokens. They remove those listeners of this context that are the same function, the same method of
  // the same object, or a callable object of the same type. Other objects cannot be compared.
  US_DEPRECATED void RemoveServiceListener(const ServiceListener& listener) { remove(listener); }
  US_DEPRECATED void RemoveBundleListener(const BundleListener& listener) { remove(listener); }
  US_DEPRECATED void RemoveFrameworkListener(const FrameworkListener& listener) { remove(listener); }

  /// The receiver has to live until the listener is removed.
  template <class R>
  US_DEPRECATED ListenerToken AddServiceListener(R* receiver, void (R::*callback)(const ServiceEvent&),
                                                 const std::string& filter = std::string()) {
    return AddServiceListener(ServiceListener(detail::ListenerMethod<ServiceEvent>(receiver, callback)), filter);
  }
  template <class R>
  US_DEPRECATED void RemoveServiceListener(R* receiver, void (R::*callback)(const ServiceEvent&)) {
    remove(ServiceListener(detail::ListenerMethod<ServiceEvent>(receiver, callback)));
  }
  template <class R>
  US_DEPRECATED ListenerToken AddBundleListener(R* receiver, void (R::*callback)(const BundleEvent&)) {
    return AddBundleListener(BundleListener(detail::ListenerMethod<BundleEvent>(receiver, callback)));
  }
  template <class R>
  US_DEPRECATED void RemoveBundleListener(R* receiver, void (R::*callback)(const BundleEvent&)) {
    remove(BundleListener(detail::ListenerMethod<BundleEvent>(receiver, callback)));
  }
  template <class R>
  US_DEPRECATED ListenerToken AddFrameworkListener(R* receiver, void (R::*callback)(const FrameworkEvent&)) {
    return AddFrameworkListener(FrameworkListener(detail::ListenerMethod<FrameworkEvent>(receiver, callback)));
  }
  template <class R>
  US_DEPRECATED void RemoveFrameworkListener(R* receiver, void (R::*callback)(const FrameworkEvent&)) {
    remove(FrameworkListener(detail::ListenerMethod<FrameworkEvent>(receiver, callback)));
  }

 private:
  friend struct detail::HandleAccess;

  explicit BundleContext(std::shared_ptr<BundleContextPrivate> context);

  template <class S>
  static const std::string& requiredInterfaceId() {
    const std::string& id = us_service_interface_iid<S>();
    if (id.empty()) {
      throw ServiceException("The service interface class has no CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE macro");
    }
    return id;
  }

  void remove(const ServiceListener& listener);
  void remove(const BundleListener& listener);
  void remove(const FrameworkListener& listener);

  std::shared_ptr<BundleContextPrivate> context_;
};

}  // namespace cppmicroservices
