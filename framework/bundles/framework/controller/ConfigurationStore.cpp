#include "ConfigurationStore.hpp"

#include <algorithm>
#include <stdexcept>

#include <cppmicroservices/cm/ConfigurationAdmin.hpp>
#include <cppmicroservices/cm/ManagedServiceFactory.hpp>
#include "agent/spf/frameworksupport/findService.hpp"

namespace spf::controller {

using agent::spf::frameworksupport::findService;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;
using cppmicroservices::service::cm::ConfigurationAdmin;
using cppmicroservices::service::cm::ManagedServiceFactory;

namespace {

/// How often writing is retried: Configuration Admin can return an object whose removal is still under way.
constexpr int attempts = 200;
constexpr std::chrono::milliseconds attemptInterval{5};

/// The number of recorded removals from which on delivered ones are dropped.
constexpr std::size_t maxRemovals = 64;

bool isReady(const std::shared_future<void>& future) {
  return future.wait_for(std::chrono::seconds::zero()) == std::future_status::ready;
}

}  // namespace

ConfigurationStore::ConfigurationStore(cppmicroservices::BundleContext context, const StopSignal& stop)
    : context_(std::move(context)), stop_(stop) {}

void ConfigurationStore::write(const Publisher& publisher) {
  if (!awaitRemoval(publisher.key.pid())) {
    return;
  }
  for (int attempt = 0; attempt < attempts && !tryWrite(publisher); ++attempt) {
    if (!stop_.pause(attemptInterval)) {
      return;
    }
  }
}

bool ConfigurationStore::remove(const PublisherKey& key) {
  const auto admin = findService<ConfigurationAdmin>(context_);
  if (!admin) {
    return false;
  }
  try {
    const auto removal = admin->GetFactoryConfiguration(key.factoryPID, key.instance)->Remove();
    if (removal.valid()) {
      removals_[key.pid()] = removal;
    }
  } catch (const std::runtime_error&) {
    // It was removed already.
  }
  forgetDelivered();
  return hasFactory(key.factoryPID);
}

std::optional<AnyMap> ConfigurationStore::find(const std::string& pid) const {
  const auto admin = findService<ConfigurationAdmin>(context_);
  if (!admin) {
    return std::nullopt;
  }
  // No filter: a search with one can fail because of any configuration whose removal is under way.
  for (const auto& configuration : admin->ListConfigurations()) {
    try {
      if (configuration->GetPid() == pid) {
        return configuration->GetProperties();
      }
    } catch (const std::runtime_error&) {
      // Removed since it was listed.
    }
  }
  return std::nullopt;
}

void ConfigurationStore::awaitRemovals(std::chrono::steady_clock::time_point deadline) {
  for (const auto& [pid, removal] : removals_) {
    removal.wait_until(deadline);
  }
  removals_.clear();
}

bool ConfigurationStore::awaitRemoval(const std::string& pid) {
  const auto removal = removals_.find(pid);
  if (removal == removals_.end()) {
    return true;
  }
  if (!stop_.waitFor(removal->second)) {
    return false;
  }
  removals_.erase(removal);
  return true;
}

void ConfigurationStore::forgetDelivered() {
  if (removals_.size() <= maxRemovals) {
    return;
  }
  for (auto removal = removals_.begin(); removal != removals_.end();) {
    removal = isReady(removal->second) ? removals_.erase(removal) : std::next(removal);
  }
}

bool ConfigurationStore::hasFactory(const std::string& factoryPID) const {
  auto context = context_;
  const auto factories = context.GetServiceReferences<ManagedServiceFactory>();
  return std::any_of(factories.begin(), factories.end(), [&](const auto& factory) {
    const Any pid = factory.GetProperty("service.pid");
    const auto* text = any_cast<std::string>(&pid);
    return text != nullptr && *text == factoryPID;
  });
}

bool ConfigurationStore::tryWrite(const Publisher& publisher) {
  const auto admin = findService<ConfigurationAdmin>(context_);
  if (!admin) {
    return true;  // without Configuration Admin there are no configurations
  }
  try {
    admin->GetFactoryConfiguration(publisher.key.factoryPID, publisher.key.instance)->Update(publisher.properties);
    return true;
  } catch (const std::runtime_error&) {
    return false;
  }
}

}  // namespace spf::controller
