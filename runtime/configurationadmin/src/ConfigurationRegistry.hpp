#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "ConfigurationRecord.hpp"
#include "ConfigurationTable.hpp"
#include "DeliveryQueue.hpp"
#include "SubscriberList.hpp"
#include "cppmicroservices/cm/ConfigurationListener.hpp"
#include "cppmicroservices/cm/ManagedService.hpp"
#include "cppmicroservices/cm/ManagedServiceFactory.hpp"

namespace cppmicroservices::configurationadmin {

/// Holds the configurations and the services for them, and delivers the configurations to the services on the thread of
/// a queue. Any thread may use it. The services are called without any lock held.
///
/// Each change has a revision number. A service that is added later gets the current configurations, and afterwards
/// only the changes with greater numbers. So it sees the last state of every configuration, whatever was still in the
/// queue.
class ConfigurationRegistry : public std::enable_shared_from_this<ConfigurationRegistry> {
 public:
  using Configuration = service::cm::Configuration;
  using ConfigurationPtr = std::shared_ptr<Configuration>;

  /// Sets the service that events name as their source.
  void setAdmin(const ServiceReference<service::cm::ConfigurationAdmin>& admin);

  /// Returns the configuration of that PID; creates one if there is none.
  ConfigurationPtr obtain(const std::string& pid);
  /// Creates a configuration of that factory, with a PID that was never used before.
  ConfigurationPtr create(const std::string& factoryPid);

  /// Returns the configurations that were updated at least once, ordered by PID.
  std::vector<ConfigurationState> listUpdated() const;
  /// Returns the object of a record; null if the configuration was removed.
  ConfigurationPtr objectOf(const RecordPtr& record);

  // These throw std::runtime_error if the configuration was removed:

  Properties propertiesOf(const RecordPtr& record) const;
  unsigned long changeCountOf(const RecordPtr& record) const;
  std::shared_ptr<Delivery> update(const RecordPtr& record, AnyMap&& properties);
  /// Replaces the properties unless they are equal.
  /// \return null if they are equal to the current ones
  std::shared_ptr<Delivery> updateIfDifferent(const RecordPtr& record, AnyMap&& properties);
  /// Removes the configuration.
  /// \return null if it was never updated, so that there is nothing to deliver
  std::shared_ptr<Delivery> remove(const RecordPtr& record);

  const DeliveryQueue& queue() const { return queue_; }

  void add(long id, const std::string& pid, const std::shared_ptr<service::cm::ManagedService>& service);
  void add(long id, const std::string& pid, const std::shared_ptr<service::cm::ManagedServiceFactory>& factory);
  void add(long id, const std::shared_ptr<service::cm::ConfigurationListener>& listener);
  void remove(long id);

  /// Blocks until the pending changes are delivered. Later changes are delivered to no service and have no futures, see
  /// DeliveryQueue.
  void finish();
  /// Blocks as finish(), then withdraws every configuration from its services on the calling thread. The futures of
  /// later changes are ready.
  void withdrawAll();

 private:
  /// The services to which one change is delivered.
  struct Audience {
    SubscriberList<service::cm::ConfigurationListener>::Services listeners;
    SubscriberList<service::cm::ManagedService>::Services services;
    SubscriberList<service::cm::ManagedServiceFactory>::Services factories;
  };

  // To be called with `mutex_` locked:
  ConfigurationPtr objectOfLocked(const RecordPtr& record);
  std::shared_ptr<Delivery> replaceLocked(const RecordPtr& record, Properties& properties);
  std::shared_ptr<Delivery> announceLocked(const RecordPtr& record);
  Audience audienceLocked(const ConfigurationRecord& record, Revision revision) const;

  // To be called without it:
  void deliver(const RecordPtr& record, Revision revision) const;
  void withdraw(const ConfigurationRecord& record) const;

  mutable std::mutex mutex_;
  // Guarded by `mutex_`:
  ConfigurationTable table_;
  Revision revision_ = 0;
  SubscriberList<service::cm::ConfigurationListener> listeners_;
  SubscriberList<service::cm::ManagedService> services_;
  SubscriberList<service::cm::ManagedServiceFactory> factories_;
  ServiceReference<service::cm::ConfigurationAdmin> admin_;

  // Synchronised by itself. Changes are posted under `mutex_`, so that they are delivered in their order:
  DeliveryQueue queue_;
};

}  // namespace cppmicroservices::configurationadmin
