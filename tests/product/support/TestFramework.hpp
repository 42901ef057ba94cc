#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include "HostDouble.hpp"
#include "agent/spf/frameworklistener/FrameworkListener.hpp"

namespace spf::test {

namespace cm = cppmicroservices::service::cm;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using List = std::vector<Any>;

/// A running framework of the runtime that the build has, put in the place of the process-wide one.
class TestFramework {
 public:
  TestFramework();
  ~TestFramework();
  TestFramework(const TestFramework&) = delete;
  TestFramework& operator=(const TestFramework&) = delete;

  HostDouble& host() { return host_; }
  cppmicroservices::BundleContext context() const { return framework_->GetBundleContext(); }
  cppmicroservices::Framework& framework() { return *framework_; }
  /// The pointer that `getFramework` hands out copies of.
  const std::shared_ptr<cppmicroservices::Framework>& pointer() const { return framework_; }

  /// Installs and starts the runtime's own Configuration Admin.
  void startConfigurationAdmin();

  /// Stops the Configuration Admin bundle, as when it goes away after a publication.
  void stopConfigurationAdmin();

  /// Stops the framework and waits for it.
  void stop();

  /// Has something done when the test is over and the framework has stopped.
  void atEnd(std::function<void()> action) { endings_.push_back(std::move(action)); }

  /// The properties that the runtime's Configuration Admin holds for "zk.spf.framework" and this
  /// instance name; null when it holds none.
  std::unique_ptr<AnyMap> configuration(const std::string& id);

  /// The instance names of all configurations of "zk.spf.framework".
  std::vector<std::string> configurationIDs();

  /// How many listeners are registered with the framework now.
  std::size_t listeners() const;

  /// Waits until at least one is. \return false if none is for as long as the tests' patience lasts
  [[nodiscard]] bool waitForAListener();

  /// Hands an event to every registered listener, on the calling thread.
  template <class Event>
  void send(Event event) {
    deliver(std::make_shared<const Event>(std::move(event)));
  }
  void sendBound(const std::string& publisher, std::uint32_t count, Any endpoint);
  void sendConnected(const std::string& publisher, std::uint32_t count, Any endpoint);
  void sendPublished(const std::string& publisher, std::uint32_t count);
  void sendUnpublished(const std::string& publisher, std::uint32_t count);
  void sendError(const std::string& publisher, std::uint32_t count, std::exception_ptr error);

 private:
  void deliver(const std::shared_ptr<const agent::spf::frameworklistener::FrameworkEvent>& event);

  HostDouble host_;
  std::string storage_;
  std::shared_ptr<cppmicroservices::Framework> framework_;
  cppmicroservices::Bundle configurationAdmin_;
  std::vector<std::function<void()>> endings_;
};

/// A running framework with the runtime's own Configuration Admin.
class FrameworkWithConfigurationAdmin : public TestFramework {
 public:
  FrameworkWithConfigurationAdmin() { startConfigurationAdmin(); }
};

/// An endpoint that holds text.
inline Any text(const char* value) {
  return Any(std::string(value));
}

/// The texts that a list of endpoints holds.
std::vector<std::string> texts(const List& endpoints);

/// An error that a publisher may report.
template <class Error>
std::exception_ptr makeError(const char* message) {
  return std::make_exception_ptr(Error(message));
}

}  // namespace spf::test
