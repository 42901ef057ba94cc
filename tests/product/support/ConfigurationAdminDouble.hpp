#pragma once

#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <cppmicroservices/ServiceRegistration.h>
#include <cppmicroservices/cm/Configuration.hpp>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include "TestFramework.hpp"

namespace spf::test {

/// A Configuration Admin of the test's own, registered as the service: notes every call by name, and
/// does what the test says at any of them.
class ConfigurationAdminDouble : public cm::ConfigurationAdmin,
                                 public std::enable_shared_from_this<ConfigurationAdminDouble> {
 public:
  /// Registers a new double with the framework.
  static std::shared_ptr<ConfigurationAdminDouble> registerWith(TestFramework& framework);

  void unregister();

  /// Registers the service once more, after `unregister`.
  void registerAgain(TestFramework& framework);

  /// The calls so far: "CreateFactoryConfiguration zk.spf.framework", "Update zk.spf.framework~a" ...
  std::vector<std::string> calls() const;
  void clearCalls();

  /// Called at every call, with its text, before it does anything; may throw.
  void onCall(std::function<void(const std::string&)> action);

  /// What the next created configuration answers to GetPid.
  void setNextPid(std::string pid);

  /// From now on the futures that Update and Remove return do not become ready, as when the bundle's
  /// thread is stuck. `answerAll` makes them ready, and ends this.
  void withholdAnswers();
  void answerAll();

  /// From now on Update and Remove return futures without a state, as when the bundle was stopped
  /// under somebody who still holds its service.
  void answerWithoutFutures();

  /// From now on asking for a configuration gives none.
  void answerNoConfigurations();

  /// Called when the library lets go of what it was handed from now on, with "Configuration" or, for
  /// what Update and Remove returned, "future".
  void onRelease(std::function<void(const char*)> action);

  /// The properties that were written last for a PID; null when there are none.
  std::unique_ptr<AnyMap> properties(const std::string& pid) const;

  /// The PIDs that properties are held for, in ascending order.
  std::vector<std::string> pids() const;

  std::shared_ptr<cm::Configuration> GetConfiguration(const std::string& pid) override;
  std::shared_ptr<cm::Configuration> CreateFactoryConfiguration(const std::string& factoryPid) override;
  std::shared_ptr<cm::Configuration> GetFactoryConfiguration(const std::string& factoryPid,
                                                             const std::string& instanceName) override;
  std::vector<std::shared_ptr<cm::Configuration>> ListConfigurations(const std::string& filter = {}) override;

  void note(const std::string& call);
  void store(const std::string& pid, AnyMap properties);
  void erase(const std::string& pid);
  std::shared_future<void> answer();

 private:
  std::shared_ptr<cm::Configuration> configuration(const std::string& pid);
  std::shared_ptr<void> lent(const char* what) const;

  mutable std::mutex mutex_;
  std::vector<std::string> calls_;
  std::function<void(const std::string&)> onCall_;
  std::function<void(const char*)> onRelease_;
  std::string nextPid_ = "zk.spf.framework~generated";
  std::map<std::string, AnyMap> stored_;
  bool answersAreWithheld_ = false;
  bool answersHaveNoFutures_ = false;
  bool answersNoConfigurations_ = false;
  std::vector<std::promise<void>> withheldAnswers_;
  cppmicroservices::ServiceRegistration<cm::ConfigurationAdmin> registration_;
};

}  // namespace spf::test
