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

/// Keeps the configurations and the services that want to know of them, and tells the ones of the others,
/// on the thread of a queue. Any thread may use it. The services are called without any lock held.
///
/// Each change has a number. A service that comes late is told of what there is, and of no change with a
/// number up to that moment's; so it sees every configuration's last state, whatever still was in the queue.
class ConfigurationRegistry : public std::enable_shared_from_this<ConfigurationRegistry> {
 public:
  using Configuration = service::cm::Configuration;
  using ConfigurationPtr = std::shared_ptr<Configuration>;

  /// What events name as their source.
  void setAdmin(const ServiceReference<service::cm::ConfigurationAdmin>& admin);

  ConfigurationPtr obtain(const std::string& pid);
  ConfigurationPtr create(const std::string& factoryPid);

  /// The configurations that were updated at least once, ordered by PID.
  std::vector<ConfigurationState> updated() const;
  /// The object for a record; null if it was removed.
  ConfigurationPtr objectOf(const RecordPtr& record);

  /// These throw std::runtime_error if the configuration was removed.
  Properties propertiesOf(const RecordPtr& record) const;
  unsigned long changeCountOf(const RecordPtr& record) const;
  std::shared_ptr<Delivery> update(const RecordPtr& record, AnyMap&& properties);
  /// Returns null if the properties are the ones there are.
  std::shared_ptr<Delivery> updateIfDifferent(const RecordPtr& record, AnyMap&& properties);
  /// Returns null if nobody was ever told of the configuration.
  std::shared_ptr<Delivery> remove(const RecordPtr& record);

  const DeliveryQueue& queue() const { return queue_; }

  void add(long id, const std::string& pid, const std::shared_ptr<service::cm::ManagedService>& service);
  void add(long id, const std::string& pid, const std::shared_ptr<service::cm::ManagedServiceFactory>& factory);
  void add(long id, const std::shared_ptr<service::cm::ConfigurationListener>& listener);
  void remove(long id);

  /// Tells what is still to be told, and later changes to nobody. They have no futures, see DeliveryQueue.
  void finish();
  /// Does the same, then takes every configuration away from the services that know of it, on the calling thread.
  /// The futures of later changes are ready.
  void takeAllAway();

 private:
  struct Audience {
    SubscriberList<service::cm::ConfigurationListener>::Services listeners;
    SubscriberList<service::cm::ManagedService>::Services services;
    SubscriberList<service::cm::ManagedServiceFactory>::Services factories;
  };

  // To be called with mutex_ locked.
  ConfigurationPtr objectOfLocked(const RecordPtr& record);
  std::shared_ptr<Delivery> replaceLocked(const RecordPtr& record, Properties& properties);
  std::shared_ptr<Delivery> announceLocked(const RecordPtr& record);
  Audience audienceLocked(const ConfigurationRecord& record, Revision revision) const;

  // To be called without.
  void deliver(const RecordPtr& record, Revision revision) const;
  void takeAway(const ConfigurationRecord& record) const;

  mutable std::mutex mutex_;
  // Guarded by `mutex_`:
  ConfigurationTable table_;
  Revision revision_ = 0;
  SubscriberList<service::cm::ConfigurationListener> listeners_;
  SubscriberList<service::cm::ManagedService> services_;
  SubscriberList<service::cm::ManagedServiceFactory> factories_;
  ServiceReference<service::cm::ConfigurationAdmin> admin_;

  // Synchronised by itself. Changes are posted under mutex_, so that they are told in their order.
  DeliveryQueue queue_;
};

}  // namespace cppmicroservices::configurationadmin
