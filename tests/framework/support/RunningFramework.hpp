#pragma once

#include <memory>
#include <string>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceRegistration.h>
#include "Configuration.hpp"
#include "RecordingListener.hpp"
#include "agent/host/host.hpp"

namespace frameworktest {

/// A host with the bundles of the build tree, and a listener that records their events.
class RunningFramework {
 public:
  /// \param properties  further properties of the framework
  explicit RunningFramework(const cppmicroservices::AnyMap& discoveryTable = {},
                            const cppmicroservices::AnyMap& properties = {});
  ~RunningFramework();

  RecordingListener& events() { return *listener_; }

  cppmicroservices::BundleContext context();

  /// Returns a bundle by its symbolic name.
  cppmicroservices::Bundle bundle(const std::string& name);

  /// Writes a configuration of the framework, without waiting for its delivery.
  void update(const std::string& id, const Configuration& configuration);

  /// Removes a configuration, without waiting for the delivery.
  void remove(const std::string& id);

  template <class Service>
  std::shared_ptr<Service> service() {
    const auto reference = context().GetServiceReference<Service>();
    return reference ? context().GetService(reference) : nullptr;
  }

 private:
  const agent::host::services::Host host_;
  const std::shared_ptr<RecordingListener> listener_ = std::make_shared<RecordingListener>();
  cppmicroservices::ServiceRegistration<agent::spf::frameworklistener::FrameworkListener> registration_;
};

/// Returns a TCP address on the loopback network that no other test uses at the same time.
std::string freeAddress();

/// Returns a port that is free on all addresses of this machine, for use with other addresses than `freeAddress`
/// returns.
std::string freePort();

/// Holds a TCP port of the loopback network, as another process would.
class TakenPort {
 public:
  TakenPort();
  ~TakenPort();
  TakenPort(const TakenPort&) = delete;
  TakenPort& operator=(const TakenPort&) = delete;

  const std::string& address() const { return address_; }

 private:
  const std::string address_ = freeAddress();
  int socket_;
};

}  // namespace frameworktest
