#pragma once

#include <memory>

#include "ConfigurationRecord.hpp"

namespace cppmicroservices::configurationadmin {

class ConfigurationRegistry;
class Delivery;

/// A configuration of a registry. It shares ownership of the registry.
class RegisteredConfiguration : public service::cm::Configuration {
 public:
  RegisteredConfiguration(std::shared_ptr<ConfigurationRegistry> registry, RecordPtr record);

  std::string GetPid() const override;
  std::string GetFactoryPid() const override;
  AnyMap GetProperties() const override;
  unsigned long GetChangeCount() const override;
  std::shared_ptr<ThreadpoolSafeFuture> SafeUpdate(AnyMap properties) override;
  std::shared_future<void> Update(AnyMap properties) override;
  std::pair<bool, std::shared_ptr<ThreadpoolSafeFuture>> SafeUpdateIfDifferent(AnyMap properties) override;
  std::pair<bool, std::shared_future<void>> UpdateIfDifferent(AnyMap properties) override;
  std::shared_ptr<ThreadpoolSafeFuture> SafeRemove() override;
  std::shared_future<void> Remove() override;
  unsigned long GetInstanceCount() override;

 private:
  // Return the future of a delivery; a ready one for null.
  std::shared_future<void> futureOf(const std::shared_ptr<Delivery>& delivery) const;
  std::shared_ptr<ThreadpoolSafeFuture> safeFutureOf(const std::shared_ptr<Delivery>& delivery) const;

  const std::shared_ptr<ConfigurationRegistry> registry_;
  const RecordPtr record_;
};

}  // namespace cppmicroservices::configurationadmin
