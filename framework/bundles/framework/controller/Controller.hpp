#pragma once

#include <map>
#include <string>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/cm/ManagedServiceFactory.hpp>
#include "ConfigurationStore.hpp"
#include "EventDispatcher.hpp"
#include "Revision.hpp"
#include "StopSignal.hpp"
#include "Withdrawals.hpp"
#include "agent/spf/frameworksupport/SerialExecutor.hpp"

namespace spf::controller {

/// Gives every publisher of every configuration a factory configuration of its own, and takes it
/// away again.
///
/// Configuration Admin calls `Updated` and `Removed` from its own thread; they hand off and return.
/// Everything else happens on the controller's thread. Deliveries may come late, twice, or out of
/// order: a lower modification count than the one in force is taken only after a removal, or when
/// Configuration Admin holds that lower count now.
class Controller : public cppmicroservices::service::cm::ManagedServiceFactory {
 public:
  /// \param events  where publishers that a configuration describes wrongly are reported
  Controller(cppmicroservices::BundleContext context, std::shared_ptr<EventDispatcher> events);

  void Updated(const std::string& pid, const cppmicroservices::AnyMap& properties) override;
  void Removed(const std::string& pid) override;

  /// Removes every publisher's configuration, waits some seconds at most until the publishers have
  /// reported the end of their services, and ends the thread. May be repeated.
  void stop();

 private:
  /// What was done for one configuration.
  struct Applied {
    std::uint32_t modificationCount;
    std::map<PublisherKey, std::string> publishers;  ///< with their IDs
  };

  void update(const std::string& pid, const cppmicroservices::AnyMap& properties);
  void apply(const std::string& pid, const cppmicroservices::AnyMap& properties);
  void withdraw(const std::string& pid);
  void withdrawAll();
  void remove(const PublisherKey& key, const std::string& publisherID);
  bool holdsNow(const std::string& pid, std::uint32_t modificationCount) const;
  void reportUnreadable(Revision revision);

  // Synchronised by themselves:
  const std::shared_ptr<EventDispatcher> events_;
  Withdrawals& withdrawals_;
  StopSignal stop_;

  // Used by the executor's tasks only:
  ConfigurationStore store_;
  std::map<std::string, Applied> applied_;

  // The last member: its tasks use the others.
  agent::spf::frameworksupport::SerialExecutor executor_;
};

}  // namespace spf::controller
