#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>

#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/Constants.h"
#include "cppmicroservices/ServiceEvent.h"
#include "cppmicroservices/ServiceReference.h"

namespace cppmicroservices::configurationadmin {

/// Reports the services of one interface: every existing and every new one once, and again when it is unregistered. The
/// reports are made on the thread that registers or unregisters the service, without any lock held.
template <class Service>
class ServiceWatcher {
 public:
  using Added = std::function<void(const ServiceReference<Service>&, const std::shared_ptr<Service>&)>;
  using Removed = std::function<void(long serviceId)>;

  ServiceWatcher(const BundleContext& context, Added added, Removed removed)
      : context_(context), state_(std::make_shared<State>(context, std::move(added), std::move(removed))) {
    const auto interfaceId = us_service_interface_iid<Service>();
    token_ = context_.AddServiceListener([state = state_](const ServiceEvent& event) { state->handle(event); },
                                         "(" + Constants::OBJECTCLASS + "=" + interfaceId + ")");
    for (const auto& reference : context_.template GetServiceReferences<Service>()) {
      state_->add(reference);
    }
    state_->endInitialScan();
  }

  /// Stops watching, without waiting for a running report. To be called while the context is valid.
  void close() { context_.RemoveListener(std::move(token_)); }

 private:
  class State {
   public:
    State(BundleContext context, Added added, Removed removed)
        : context_(std::move(context)), added_(std::move(added)), removed_(std::move(removed)) {}

    void handle(const ServiceEvent& event) {
      const auto reference = event.GetServiceReference();
      if (event.GetType() == ServiceEvent::SERVICE_REGISTERED) {
        add(ServiceReference<Service>(reference));
      } else if (event.GetType() == ServiceEvent::SERVICE_UNREGISTERING) {
        remove(idOf(reference));
      }
    }

    void add(const ServiceReference<Service>& reference) {
      const auto id = idOf(reference);
      if (!isNew(id)) {
        return;
      }
      if (const auto service = serviceOf(reference)) {
        added_(reference, service);
        if (!isKnown(id)) {
          removed_(id);
        }
      }
    }

    void remove(long id) {
      {
        const std::lock_guard<std::mutex> lock(mutex_);
        known_.erase(id);
        if (isScanning_) {
          gone_.insert(id);
        }
      }
      removed_(id);
    }

    void endInitialScan() {
      const std::lock_guard<std::mutex> lock(mutex_);
      isScanning_ = false;
      gone_.clear();
    }

   private:
    static long idOf(const ServiceReferenceBase& reference) {
      return any_cast<long>(reference.GetProperty(Constants::SERVICE_ID));
    }

    // Returns null for a service that is unregistered meanwhile, or whose factory fails.
    std::shared_ptr<Service> serviceOf(const ServiceReference<Service>& reference) {
      try {
        return context_.GetService(reference);
      } catch (const std::exception&) {
        return nullptr;
      }
    }

    // Both the listener and the initial scan may find a service, and the scan may find one whose end the listener has
    // already reported.
    bool isNew(long id) {
      const std::lock_guard<std::mutex> lock(mutex_);
      return gone_.count(id) == 0 && known_.insert(id).second;
    }

    bool isKnown(long id) {
      const std::lock_guard<std::mutex> lock(mutex_);
      return known_.count(id) > 0;
    }

    // Constant after construction:
    BundleContext context_;
    const Added added_;
    const Removed removed_;

    std::mutex mutex_;
    // Guarded by `mutex_`:
    std::set<long> known_;
    std::set<long> gone_;
    bool isScanning_ = true;
  };

  BundleContext context_;
  const std::shared_ptr<State> state_;
  ListenerToken token_;
};

}  // namespace cppmicroservices::configurationadmin
