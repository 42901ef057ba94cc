#pragma once

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/Constants.h"
#include "cppmicroservices/LDAPFilter.h"
#include "cppmicroservices/ServiceEvent.h"
#include "cppmicroservices/ServiceReference.h"
#include "cppmicroservices/ServiceTrackerCustomizer.h"
#include "cppmicroservices/detail/TrackedItems.h"

namespace cppmicroservices {

/// Tracks the services of one interface, the services that match a filter, or one service: while it is open, it keeps
/// an object for each of them. Services without the interface S are never tracked; S = void stands for any interface.
/// Any thread may use it. A customizer other than the tracker itself has to live until the tracker is closed. A derived
/// class has to close the tracker in its destructor.
template <class S, class T = S>
class ServiceTracker : protected ServiceTrackerCustomizer<S, T> {
 public:
  using TrackedParamType = typename ServiceTrackerCustomizer<S, T>::TrackedParamType;
  using TrackingMap = std::unordered_map<ServiceReference<S>, std::shared_ptr<TrackedParamType>>;

  /// Tracks one service, and reports it by the given reference.
  ServiceTracker(const BundleContext& context, const ServiceReference<S>& reference,
                 ServiceTrackerCustomizer<S, T>* customizer = nullptr)
      : ServiceTracker(
            context,
            "(" + Constants::SERVICE_ID + "=" + reference.GetProperty(Constants::SERVICE_ID).ToStringNoExcept() + ")",
            {}, customizer, reference) {}
  /// Tracks the services of an interface.
  ServiceTracker(const BundleContext& context, const std::string& clazz,
                 ServiceTrackerCustomizer<S, T>* customizer = nullptr)
      : ServiceTracker(context, "(" + Constants::OBJECTCLASS + "=" + escaped(clazz) + ")", clazz, customizer) {}
  /// Tracks the services that match a filter.
  ServiceTracker(const BundleContext& context, const LDAPFilter& filter,
                 ServiceTrackerCustomizer<S, T>* customizer = nullptr)
      : ServiceTracker(context, filter.ToString(), {}, customizer) {}
  /// Tracks the services of interface S.
  /// \throws ServiceException if S is void
  explicit ServiceTracker(const BundleContext& context, ServiceTrackerCustomizer<S, T>* customizer = nullptr)
      : ServiceTracker(context, requiredInterfaceId(), customizer) {}

  ~ServiceTracker() override {
    try {
      Close();
    } catch (...) {
      // A destructor cannot propagate the exceptions of the customizer.
    }
  }

  /// Begins to track. Does nothing if the tracker is open.
  /// \throws IllegalStateException if the bundle context is not valid
  virtual void Open() {
    const auto items = std::make_shared<Items>(calls());
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (items_ && !items_->isClosed()) {
        return;
      }
      token_ = context_.AddServiceListener(
          [watch = std::weak_ptr<Items>(items), only = reference_](const ServiceEvent& event) {
            if (const auto tracked = watch.lock()) {
              handle(*tracked, event, only);
            }
          },
          filter_);
      detail::addContextEndListener(context_, items);
      items_ = items;
    }
    items->trackInitial([this] { return initialReferences(); });
  }

  /// Stops tracking and removes all objects. Waits for customizer calls on other threads.
  virtual void Close() {
    std::shared_ptr<Items> items;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      items = items_;
      try {
        context_.RemoveListener(std::move(token_));
      } catch (const IllegalStateException&) {
        // The listener was removed with the context.
      }
    }
    if (items) {
      items->close();
    }
  }

  /// Waits without limit; otherwise as below.
  std::shared_ptr<TrackedParamType> WaitForService() { return WaitForService(std::chrono::milliseconds::zero()); }

  /// Blocks until there is a service.
  /// \param duration  how long to wait; zero waits without limit
  /// \return null if the time has run out or the tracker is not open
  /// \throws std::invalid_argument if the duration is negative, std::logic_error if the bundle context
  ///         becomes invalid
  template <class Rep, class Period>
  std::shared_ptr<TrackedParamType> WaitForService(const std::chrono::duration<Rep, Period>& duration) {
    if (duration < duration.zero()) {
      throw std::invalid_argument("negative timeout");
    }
    const auto deadline = deadlineIn(duration);
    auto service = GetService();
    for (auto items = currentItems(); !service && items && !items->isClosed(); service = GetService()) {
      if (!context_) {
        throw std::logic_error("The bundle context became invalid while waiting for a service");
      }
      if (!items->awaitAny(deadline)) {
        break;
      }
    }
    return service;
  }

  virtual std::vector<ServiceReference<S>> GetServiceReferences() const {
    std::vector<ServiceReference<S>> references;
    for (const auto& entry : tracked()) {
      references.push_back(entry.first);
    }
    return references;
  }

  /// Returns the service with the highest ranking, among equals the one with the lowest ID.
  /// \throws ServiceException if there is none
  virtual ServiceReference<S> GetServiceReference() const {
    const auto reference = bestReference();
    if (!reference) {
      throw ServiceException("No service is being tracked");
    }
    return *reference;
  }

  /// Returns the object that is kept for the service; null if it is not tracked.
  virtual std::shared_ptr<TrackedParamType> GetService(const ServiceReference<S>& reference) const {
    const auto items = currentItems();
    return items ? items->find(reference).value_or(nullptr) : nullptr;
  }

  virtual std::vector<std::shared_ptr<TrackedParamType>> GetServices() const {
    std::vector<std::shared_ptr<TrackedParamType>> services;
    for (const auto& entry : tracked()) {
      services.push_back(entry.second);
    }
    return services;
  }

  /// Returns the object that is kept for the service with the highest ranking; null if there is none.
  virtual std::shared_ptr<TrackedParamType> GetService() const {
    const auto reference = bestReference();
    return reference ? GetService(*reference) : nullptr;
  }

  /// Forgets a service until it changes.
  virtual void Remove(const ServiceReference<S>& reference) {
    if (const auto items = currentItems()) {
      items->untrack(reference, ServiceEvent());
    }
  }

  virtual int Size() const { return static_cast<int>(tracked().size()); }
  virtual bool IsEmpty() const { return Size() == 0; }

  /// Returns how often a service was added, modified or removed since the tracker was opened; -1 if it is not open.
  virtual int GetTrackingCount() const {
    const auto items = currentItems();
    return items && !items->isClosed() ? items->changes() : -1;
  }

  virtual void GetTracked(TrackingMap& tracked) const { tracked = this->tracked(); }

 protected:
  std::shared_ptr<TrackedParamType> AddingService(const ServiceReference<S>& reference) override {
    try {
      return ServiceTrackerCustomizer<S, T>::TypeTraits::ConvertToTrackedType(context_.GetService(reference));
    } catch (const std::invalid_argument&) {
      return nullptr;  // the service was unregistered meanwhile
    }
  }
  void ModifiedService(const ServiceReference<S>&, const std::shared_ptr<TrackedParamType>&) override {}
  void RemovedService(const ServiceReference<S>&, const std::shared_ptr<TrackedParamType>&) override {}

 private:
  using Items = detail::TrackedItems<ServiceReference<S>, std::shared_ptr<TrackedParamType>, ServiceEvent>;
  using Deadline = std::optional<std::chrono::steady_clock::time_point>;

  ServiceTracker(const BundleContext& context, std::string filter, std::string clazz,
                 ServiceTrackerCustomizer<S, T>* customizer,
                 const ServiceReference<S>& reference = ServiceReference<S>())
      : context_(context),
        filter_(std::move(filter)),
        class_(std::move(clazz)),
        reference_(reference),
        customizer_(customizer ? customizer : this) {}

  static std::string requiredInterfaceId() {
    if (us_service_interface_iid<S>().empty()) {
      throw ServiceException("The service interface class has no CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE macro");
    }
    return us_service_interface_iid<S>();
  }

  /// Returns the text with the characters escaped that are special in a filter.
  static std::string escaped(const std::string& text) {
    std::string literal;
    for (const char character : text) {
      literal += std::string("()*\\").find(character) == std::string::npos ? "" : "\\";
      literal += character;
    }
    return literal;
  }

  template <class Duration>
  static Deadline deadlineIn(const Duration& duration) {
    const auto now = std::chrono::steady_clock::now();
    using Seconds = std::chrono::duration<double>;
    if (duration == duration.zero() || Seconds(duration) >= Seconds(now.max() - now)) {
      return std::nullopt;
    }
    return now + std::chrono::duration_cast<std::chrono::steady_clock::duration>(duration);
  }

  static bool refersToNone(const ServiceReference<S>& reference) { return reference == ServiceReference<S>(); }

  static void handle(Items& items, const ServiceEvent& event, const ServiceReference<S>& only) {
    const auto reference = refersToNone(only) ? event.GetServiceReference<S>() : only;
    if (refersToNone(reference)) {
      return;  // the service matches the filter, but does not have the interface
    }
    const auto type = event.GetType();
    if (type == ServiceEvent::SERVICE_REGISTERED || type == ServiceEvent::SERVICE_MODIFIED) {
      items.track(reference, event);
    } else {
      items.untrack(reference, event);
    }
  }

  typename Items::Calls calls() {
    auto* const customizer = customizer_;
    return {[customizer](const ServiceReference<S>& reference, const ServiceEvent&) {
              auto added = customizer->AddingService(reference);
              return added ? std::make_optional(std::move(added)) : std::nullopt;
            },
            [customizer](const ServiceReference<S>& reference, const ServiceEvent&,
                         const std::shared_ptr<TrackedParamType>& service) {
              customizer->ModifiedService(reference, service);
            },
            [customizer](const ServiceReference<S>& reference, const ServiceEvent&,
                         const std::shared_ptr<TrackedParamType>& service) {
              customizer->RemovedService(reference, service);
            }};
  }

  std::vector<ServiceReference<S>> initialReferences() {
    if (!refersToNone(reference_)) {
      return reference_ ? std::vector<ServiceReference<S>>{reference_} : std::vector<ServiceReference<S>>();
    }
    const auto found = context_.GetServiceReferences(class_, class_.empty() ? filter_ : std::string());
    std::vector<ServiceReference<S>> references(found.begin(), found.end());
    references.erase(std::remove_if(references.begin(), references.end(), refersToNone), references.end());
    return references;
  }

  std::shared_ptr<Items> currentItems() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return items_;
  }

  TrackingMap tracked() const {
    const auto items = currentItems();
    return items ? items->all() : TrackingMap();
  }

  std::optional<ServiceReference<S>> bestReference() const {
    const auto map = tracked();
    const auto best = std::max_element(map.begin(), map.end(),
                                       [](const auto& left, const auto& right) { return left.first < right.first; });
    return best == map.end() ? std::nullopt : std::make_optional(best->first);
  }

  // Constant after construction, except for the context, which is synchronised by itself:
  mutable BundleContext context_;
  const std::string filter_;
  const std::string class_;
  const ServiceReference<S> reference_;  // empty unless the tracker was made for one service
  ServiceTrackerCustomizer<S, T>* const customizer_;

  mutable std::mutex mutex_;
  // Guarded by `mutex_`:
  std::shared_ptr<Items> items_;
  ListenerToken token_;
};

}  // namespace cppmicroservices
