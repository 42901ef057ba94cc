#pragma once

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/ServiceProperties.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>
#include <cppmicroservices/cm/ConfigurationListener.hpp>
#include <cppmicroservices/cm/ManagedService.hpp>
#include <cppmicroservices/cm/ManagedServiceFactory.hpp>

#include <condition_variable>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "spf/test/Gate.hpp"

namespace spf::test {

using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;
using cppmicroservices::ServiceProperties;
using cppmicroservices::service::cm::Configuration;
using cppmicroservices::service::cm::ConfigurationAdmin;
using cppmicroservices::service::cm::ConfigurationEvent;
using cppmicroservices::service::cm::ConfigurationEventType;
using cppmicroservices::service::cm::ConfigurationListener;
using cppmicroservices::service::cm::ManagedService;
using cppmicroservices::service::cm::ManagedServiceFactory;

/// A list of what happened, as text. Any thread may write and wait.
class Journal {
 public:
  void write(std::string entry);
  std::vector<std::string> entries() const;
  /// Blocks until there are that many entries, or the tests' patience has run out.
  /// \return all entries
  std::vector<std::string> waitFor(std::size_t count) const;

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable written_;
  std::vector<std::string> entries_;
};

/// Returns properties with one entry "value".
AnyMap valued(int value);
/// Returns "=<value>" for such properties, "=" for empty ones.
std::string textOf(const AnyMap& properties);

/// Records each call, then calls a function of the test.
class RecordingFactory : public ManagedServiceFactory {
 public:
  explicit RecordingFactory(Journal& journal, std::string name = "factory")
      : journal_(journal), name_(std::move(name)) {}

  void Updated(const std::string& pid, const AnyMap& properties) override;
  void Removed(const std::string& pid) override;

  std::function<void(const std::string& pid)> onUpdated = [](const std::string&) {};
  std::function<void(const std::string& pid)> onRemoved = [](const std::string&) {};

 private:
  Journal& journal_;
  const std::string name_;
};

class RecordingService : public ManagedService {
 public:
  explicit RecordingService(Journal& journal, std::string name = "service")
      : journal_(journal), name_(std::move(name)) {}

  void Updated(const AnyMap& properties) override;

  std::function<void()> onUpdated = [] {};

 private:
  Journal& journal_;
  const std::string name_;
};

class RecordingListener : public ConfigurationListener {
 public:
  explicit RecordingListener(Journal& journal) : journal_(journal) {}

  void configurationEvent(const ConfigurationEvent& event) override;

  std::function<void(const ConfigurationEvent& event)> onEvent = [](const ConfigurationEvent&) {};

 private:
  Journal& journal_;
};

/// A started framework with a started Configuration Admin.
class ConfigurationAdminFixture : public testing::Test {
 protected:
  ConfigurationAdminFixture();
  ~ConfigurationAdminFixture() override;

  cppmicroservices::BundleContext context() { return framework.GetBundleContext(); }

  template <class Service>
  auto registerWithPid(const std::shared_ptr<Service>& service, const std::string& pid) {
    return context().RegisterService<typename InterfaceOf<Service>::type>(
        service, ServiceProperties{{cppmicroservices::Constants::SERVICE_PID, pid}});
  }

  auto registerListener(const std::shared_ptr<RecordingListener>& listener) {
    return context().RegisterService<ConfigurationListener>(listener);
  }

  /// Registers a factory that stays in its first Updated() for "blocker~it" until the gate is opened.
  void blockDeliveries();
  void unblockDeliveries() { unblocked.open(); }

  void stopFramework();

  /// Starts the bundle in a framework that was started again.
  void startConfigurationAdmin();

  cppmicroservices::Framework framework;
  cppmicroservices::Bundle bundle;
  std::shared_ptr<ConfigurationAdmin> admin;
  Journal journal;
  Gate blocked;
  Gate unblocked;

 private:
  template <class Service, class = void>
  struct InterfaceOf {
    using type = ManagedService;
  };
  template <class Service>
  struct InterfaceOf<Service, std::enable_if_t<std::is_base_of_v<ManagedServiceFactory, Service>>> {
    using type = ManagedServiceFactory;
  };
};

/// Returns whether the future becomes ready before the tests' patience has run out.
template <class Future>
bool becomesReady(const Future& future) {
  return future.wait_for(patience) == std::future_status::ready;
}

}  // namespace spf::test
