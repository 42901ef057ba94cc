#include "ConfigurationAdminDouble.hpp"

#include <stdexcept>

#include <cppmicroservices/ThreadpoolSafeFuture.h>

namespace spf::test {

namespace {

// The library uses GetPid, Update and Remove only; everything else is a failure of the test.
[[noreturn]] void unexpected(const char* operation) {
  throw std::logic_error(std::string("unexpected call of ") + operation);
}

class ConfigurationDouble : public cm::Configuration {
 public:
  ConfigurationDouble(std::shared_ptr<ConfigurationAdminDouble> admin, std::string pid, std::shared_ptr<void> lent)
      : admin_(std::move(admin)), pid_(std::move(pid)), lent_(std::move(lent)) {}

  std::string GetPid() const override {
    admin_->note("GetPid " + pid_);
    return pid_;
  }
  std::shared_future<void> Update(AnyMap properties) override {
    admin_->note("Update " + pid_);
    admin_->store(pid_, std::move(properties));
    return admin_->answer();
  }
  std::shared_future<void> Remove() override {
    admin_->note("Remove " + pid_);
    admin_->erase(pid_);
    return admin_->answer();
  }

  std::string GetFactoryPid() const override { unexpected("GetFactoryPid"); }
  AnyMap GetProperties() const override { unexpected("GetProperties"); }
  unsigned long GetChangeCount() const override { unexpected("GetChangeCount"); }
  std::shared_ptr<cppmicroservices::ThreadpoolSafeFuture> SafeUpdate(AnyMap) override { unexpected("SafeUpdate"); }
  std::pair<bool, std::shared_ptr<cppmicroservices::ThreadpoolSafeFuture>> SafeUpdateIfDifferent(AnyMap) override {
    unexpected("SafeUpdateIfDifferent");
  }
  std::pair<bool, std::shared_future<void>> UpdateIfDifferent(AnyMap) override { unexpected("UpdateIfDifferent"); }
  std::shared_ptr<cppmicroservices::ThreadpoolSafeFuture> SafeRemove() override { unexpected("SafeRemove"); }
  unsigned long GetInstanceCount() override { unexpected("GetInstanceCount"); }

 private:
  const std::shared_ptr<ConfigurationAdminDouble> admin_;
  const std::string pid_;
  const std::shared_ptr<void> lent_;
};

}  // namespace

std::shared_ptr<ConfigurationAdminDouble> ConfigurationAdminDouble::registerWith(TestFramework& framework) {
  auto admin = std::make_shared<ConfigurationAdminDouble>();
  admin->registration_ = framework.context().RegisterService<cm::ConfigurationAdmin>(admin);
  // A registration keeps its service, also beyond the framework in some runtimes, and this service keeps it.
  framework.atEnd([weak = std::weak_ptr<ConfigurationAdminDouble>(admin)] {
    if (const auto left = weak.lock()) {
      left->registration_ = nullptr;
    }
  });
  return admin;
}

void ConfigurationAdminDouble::unregister() {
  registration_.Unregister();
}

void ConfigurationAdminDouble::registerAgain(TestFramework& framework) {
  registration_ = framework.context().RegisterService<cm::ConfigurationAdmin>(shared_from_this());
}

std::vector<std::string> ConfigurationAdminDouble::calls() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return calls_;
}

void ConfigurationAdminDouble::clearCalls() {
  const std::lock_guard<std::mutex> lock(mutex_);
  calls_.clear();
}

void ConfigurationAdminDouble::onCall(std::function<void(const std::string&)> action) {
  const std::lock_guard<std::mutex> lock(mutex_);
  onCall_ = std::move(action);
}

void ConfigurationAdminDouble::setNextPid(std::string pid) {
  const std::lock_guard<std::mutex> lock(mutex_);
  nextPid_ = std::move(pid);
}

void ConfigurationAdminDouble::withholdAnswers() {
  const std::lock_guard<std::mutex> lock(mutex_);
  answersAreWithheld_ = true;
}

void ConfigurationAdminDouble::answerAll() {
  const std::lock_guard<std::mutex> lock(mutex_);
  answersAreWithheld_ = false;
  for (auto& promise : withheldAnswers_) {
    promise.set_value();
  }
  withheldAnswers_.clear();
}

void ConfigurationAdminDouble::answerWithoutFutures() {
  const std::lock_guard<std::mutex> lock(mutex_);
  answersHaveNoFutures_ = true;
}

void ConfigurationAdminDouble::answerNoConfigurations() {
  const std::lock_guard<std::mutex> lock(mutex_);
  answersNoConfigurations_ = true;
}

void ConfigurationAdminDouble::onRelease(std::function<void(const char*)> action) {
  const std::lock_guard<std::mutex> lock(mutex_);
  onRelease_ = std::move(action);
}

std::unique_ptr<AnyMap> ConfigurationAdminDouble::properties(const std::string& pid) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = stored_.find(pid);
  return found == stored_.end() ? nullptr : std::make_unique<AnyMap>(found->second);
}

std::vector<std::string> ConfigurationAdminDouble::pids() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  std::vector<std::string> pids;
  for (const auto& entry : stored_) {
    pids.push_back(entry.first);
  }
  return pids;
}

void ConfigurationAdminDouble::note(const std::string& call) {
  std::function<void(const std::string&)> action;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    calls_.push_back(call);
    action = onCall_;
  }
  if (action) {
    action(call);
  }
}

void ConfigurationAdminDouble::store(const std::string& pid, AnyMap properties) {
  const std::lock_guard<std::mutex> lock(mutex_);
  stored_.insert_or_assign(pid, std::move(properties));
}

void ConfigurationAdminDouble::erase(const std::string& pid) {
  const std::lock_guard<std::mutex> lock(mutex_);
  stored_.erase(pid);
}

std::shared_future<void> ConfigurationAdminDouble::answer() {
  std::promise<void> promise;
  auto future = promise.get_future().share();
  const std::lock_guard<std::mutex> lock(mutex_);
  if (answersHaveNoFutures_) {
    return {};
  }
  if (onRelease_) {
    // Its task never runs; the future keeps what the task holds.
    return std::async(std::launch::deferred, [held = lent("future")] {}).share();
  }
  if (answersAreWithheld_) {
    withheldAnswers_.push_back(std::move(promise));
  } else {
    promise.set_value();
  }
  return future;
}

std::shared_ptr<cm::Configuration> ConfigurationAdminDouble::configuration(const std::string& pid) {
  if (answersNoConfigurations_) {
    return nullptr;
  }
  return std::make_shared<ConfigurationDouble>(shared_from_this(), pid, lent("Configuration"));
}

std::shared_ptr<void> ConfigurationAdminDouble::lent(const char* what) const {
  return onRelease_ ? std::shared_ptr<void>(nullptr, [action = onRelease_, what](void*) { action(what); }) : nullptr;
}

std::shared_ptr<cm::Configuration> ConfigurationAdminDouble::GetConfiguration(const std::string&) {
  unexpected("GetConfiguration");
}

std::shared_ptr<cm::Configuration> ConfigurationAdminDouble::CreateFactoryConfiguration(const std::string& factoryPid) {
  note("CreateFactoryConfiguration " + factoryPid);
  const std::lock_guard<std::mutex> lock(mutex_);
  return configuration(nextPid_);
}

std::shared_ptr<cm::Configuration> ConfigurationAdminDouble::GetFactoryConfiguration(const std::string& factoryPid,
                                                                                     const std::string& instanceName) {
  note("GetFactoryConfiguration " + factoryPid + " " + instanceName);
  const std::lock_guard<std::mutex> lock(mutex_);
  return configuration(factoryPid + "~" + instanceName);
}

std::vector<std::shared_ptr<cm::Configuration>> ConfigurationAdminDouble::ListConfigurations(const std::string&) {
  unexpected("ListConfigurations");
}

}  // namespace spf::test
