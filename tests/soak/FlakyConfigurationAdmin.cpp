#include "FlakyConfigurationAdmin.hpp"

#include <future>
#include <stdexcept>
#include <utility>

#include <cppmicroservices/AnyMap.h>

namespace spf::soak {

namespace cm = cppmicroservices::service::cm;
using cppmicroservices::AnyMap;
using cppmicroservices::ThreadpoolSafeFuture;

namespace {

void failIf(const std::function<bool()>& fail) {
  if (fail()) {
    throw std::runtime_error("Configuration Admin fails");
  }
}

class FlakyConfiguration : public cm::Configuration {
 public:
  FlakyConfiguration(std::shared_ptr<cm::Configuration> own, std::function<bool()> fail)
      : own_(std::move(own)), fail_(std::move(fail)) {}

  std::string GetPid() const override { return called().GetPid(); }
  std::string GetFactoryPid() const override { return called().GetFactoryPid(); }
  AnyMap GetProperties() const override { return called().GetProperties(); }
  unsigned long GetChangeCount() const override { return called().GetChangeCount(); }
  std::shared_ptr<ThreadpoolSafeFuture> SafeUpdate(AnyMap properties) override {
    return called().SafeUpdate(std::move(properties));
  }
  std::shared_future<void> Update(AnyMap properties) override { return called().Update(std::move(properties)); }
  std::pair<bool, std::shared_ptr<ThreadpoolSafeFuture>> SafeUpdateIfDifferent(AnyMap properties) override {
    return called().SafeUpdateIfDifferent(std::move(properties));
  }
  std::pair<bool, std::shared_future<void>> UpdateIfDifferent(AnyMap properties) override {
    return called().UpdateIfDifferent(std::move(properties));
  }
  std::shared_ptr<ThreadpoolSafeFuture> SafeRemove() override { return called().SafeRemove(); }
  std::shared_future<void> Remove() override { return called().Remove(); }
  unsigned long GetInstanceCount() override { return called().GetInstanceCount(); }

 private:
  cm::Configuration& called() const {
    failIf(fail_);
    return *own_;
  }

  const std::shared_ptr<cm::Configuration> own_;
  const std::function<bool()> fail_;
};

}  // namespace

FlakyConfigurationAdmin::FlakyConfigurationAdmin(std::shared_ptr<ConfigurationAdmin> own, std::function<bool()> fail)
    : own_(std::move(own)), fail_(std::move(fail)) {}

std::shared_ptr<cm::Configuration> FlakyConfigurationAdmin::GetConfiguration(const std::string& pid) {
  call();
  return flaky(own_->GetConfiguration(pid));
}

std::shared_ptr<cm::Configuration> FlakyConfigurationAdmin::CreateFactoryConfiguration(const std::string& factoryPid) {
  call();
  return flaky(own_->CreateFactoryConfiguration(factoryPid));
}

std::shared_ptr<cm::Configuration> FlakyConfigurationAdmin::GetFactoryConfiguration(const std::string& factoryPid,
                                                                                    const std::string& instanceName) {
  call();
  return flaky(own_->GetFactoryConfiguration(factoryPid, instanceName));
}

std::vector<std::shared_ptr<cm::Configuration>> FlakyConfigurationAdmin::ListConfigurations(const std::string& filter) {
  call();
  return own_->ListConfigurations(filter);
}

void FlakyConfigurationAdmin::call() const {
  failIf(fail_);
}

std::shared_ptr<cm::Configuration> FlakyConfigurationAdmin::flaky(
    std::shared_ptr<cm::Configuration> configuration) const {
  return configuration ? std::make_shared<FlakyConfiguration>(std::move(configuration), fail_) : nullptr;
}

}  // namespace spf::soak
