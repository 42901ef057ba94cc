#pragma once

#include <atomic>
#include <exception>
#include <memory>
#include <string>

#include "core/ListenerList.h"
#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/BundleEvent.h"
#include "cppmicroservices/FrameworkEvent.h"
#include "cppmicroservices/LDAPFilter.h"
#include "cppmicroservices/ListenerFunctors.h"
#include "cppmicroservices/ServiceEvent.h"

namespace cppmicroservices {

class BundlePrivate;
class FrameworkCore;
class ServiceRecord;

/// One framework's listeners of all three kinds, and how they are called: on the thread of the event, with
/// no lock held. Exceptions of service and bundle listeners become FRAMEWORK_ERROR events (two kinds of them also
/// go on, see bundleChanged), those of framework listeners are logged. Any thread may use it.
class EventListeners {
 public:
  explicit EventListeners(FrameworkCore& framework);

  /// \throws std::invalid_argument for a bad filter, IllegalStateException if the context is not valid
  ListenerToken addServiceListener(std::shared_ptr<BundleContextPrivate> context, const ServiceListener& listener,
                                   const std::string& filter);
  ListenerToken addBundleListener(std::shared_ptr<BundleContextPrivate> context, const BundleListener& listener);
  ListenerToken addFrameworkListener(std::shared_ptr<BundleContextPrivate> context, const FrameworkListener& listener);
  void remove(const ListenerToken& token);
  /// Remove the context's listeners that are the same function, the same method of the same object, or a callable
  /// object of the same type.
  void remove(const BundleContextPrivate& context, const ServiceListener& listener);
  void remove(const BundleContextPrivate& context, const BundleListener& listener);
  void remove(const BundleContextPrivate& context, const FrameworkListener& listener);
  void removeAllOf(const BundleContextPrivate& context);

  /// \param before  the service's properties before the event
  /// \param after  the service's properties now; the same map if they did not change
  void serviceChanged(ServiceEvent::Type type, const std::shared_ptr<ServiceRecord>& record, const AnyMap& before,
                      const AnyMap& after);
  /// \throws SecurityException and SharedLibraryException if a listener threw that, when all of them were told
  void bundleChanged(BundleEvent::Type type, const std::shared_ptr<BundlePrivate>& bundle);
  /// As bundleChanged(), for changes that nothing can keep from happening.
  void bundleChangedForSure(BundleEvent::Type type, const std::shared_ptr<BundlePrivate>& bundle) noexcept;
  /// \throws as bundleChanged()
  void bundleInstalled(const std::shared_ptr<BundlePrivate>& bundle, const std::shared_ptr<BundlePrivate>& origin);
  void frameworkChanged(const FrameworkEvent& event);
  /// Sends a framework event about the bundle.
  void report(FrameworkEvent::Type type, const std::shared_ptr<BundlePrivate>& bundle, const std::string& message,
              std::exception_ptr exception = nullptr);

 private:
  struct ServiceEntry : ListenerEntry<ServiceListener> {
    ServiceEntry(ListenerTokenId id, std::shared_ptr<BundleContextPrivate> context, const ServiceListener& listener,
                 const std::string& filterText);
    bool matches(const AnyMap& properties) const;

    const bool filtered;
    const LDAPFilter filter;
  };

  template <class Entries, class Call>
  static void forEach(const std::shared_ptr<Entries>& listeners, Call call);
  template <class List, class Entry>
  ListenerToken add(List& list, std::shared_ptr<Entry> entry);
  void deliver(const BundleEvent& event);
  void call(const ServiceEntry& entry, const ServiceEvent& event);
  void call(const ListenerEntry<BundleListener>& entry, const BundleEvent& event);

  FrameworkCore& framework_;

  // synchronised by themselves
  std::atomic<ListenerTokenId> lastId_{0};
  ListenerList<ServiceEntry> serviceListeners_;
  ListenerList<ListenerEntry<BundleListener>> bundleListeners_;
  ListenerList<ListenerEntry<FrameworkListener>> frameworkListeners_;
};

}  // namespace cppmicroservices
