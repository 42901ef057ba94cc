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

/// Writes a factory configuration for every publisher of every configuration, and removes it again.
///
/// Configuration Admin calls `Updated` and `Removed` on its own thread; they read the properties, post a task and
/// return. Everything else runs on the controller's thread. Deliveries may be late, repeated or out of order: a
/// modification count lower than the current one is accepted only after a removal, or if Configuration Admin holds that
/// count at this time.
class Controller : public cppmicroservices::service::cm::ManagedServiceFactory {
 public:
  /// Starts the controller's thread.
  /// \param events  receives the errors of publishers that a configuration describes wrongly
  Controller(cppmicroservices::BundleContext context, std::shared_ptr<EventDispatcher> events);

  /// \throws std::out_of_range or cppmicroservices::BadAnyCastException if the properties are no configuration's
  void Updated(const std::string& pid, const cppmicroservices::AnyMap& properties) override;
  void Removed(const std::string& pid) override;

  /// Removes every publisher's configuration, waits a few seconds at most for the publishers' reports that their
  /// services are unpublished, and ends the thread. May be repeated.
  void stop();

 private:
  /// The publishers of one configuration whose factory configurations were written.
  struct Applied {
    std::uint32_t modificationCount = 0;
    std::map<PublisherKey, std::string> publishers;  ///< with their IDs
  };

  void update(const std::string& pid, Revision revision);
  void apply(const std::string& pid, Revision revision);
  void withdraw(const std::string& pid);
  void withdrawAll();
  void remove(const PublisherKey& key, const std::string& publisherID);
  bool isHeld(const std::string& pid, std::uint32_t modificationCount) const;
  void reportUnreadable(Revision revision);

  // Synchronised by themselves:
  const std::shared_ptr<EventDispatcher> events_;
  Withdrawals& withdrawals_;
  StopSignal stop_;

  // Used by the executor's tasks only:
  ConfigurationStore store_;
  std::map<std::string, Applied> applied_;

  // Declared last, because its tasks use the other members.
  agent::spf::frameworksupport::SerialExecutor executor_;
};

}  // namespace spf::controller
