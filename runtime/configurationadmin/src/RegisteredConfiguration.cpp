#include "RegisteredConfiguration.hpp"

#include <utility>

#include "ConfigurationRegistry.hpp"
#include "DeliveryFutures.hpp"

namespace cppmicroservices::configurationadmin {

RegisteredConfiguration::RegisteredConfiguration(std::shared_ptr<ConfigurationRegistry> registry, RecordPtr record)
    : registry_(std::move(registry)), record_(std::move(record)) {}

// The names never change, but a removed configuration has to refuse to return them.
std::string RegisteredConfiguration::GetPid() const {
  static_cast<void>(registry_->changeCountOf(record_));
  return record_->pid;
}

std::string RegisteredConfiguration::GetFactoryPid() const {
  static_cast<void>(registry_->changeCountOf(record_));
  return record_->reportedFactoryPid;
}

AnyMap RegisteredConfiguration::GetProperties() const {
  const auto properties = registry_->propertiesOf(record_);
  return *properties;
}

unsigned long RegisteredConfiguration::GetChangeCount() const {
  return registry_->changeCountOf(record_);
}

std::shared_ptr<ThreadpoolSafeFuture> RegisteredConfiguration::SafeUpdate(AnyMap properties) {
  return safeFutureOf(registry_->update(record_, std::move(properties)));
}

std::shared_future<void> RegisteredConfiguration::Update(AnyMap properties) {
  return futureOf(registry_->update(record_, std::move(properties)));
}

std::pair<bool, std::shared_ptr<ThreadpoolSafeFuture>> RegisteredConfiguration::SafeUpdateIfDifferent(
    AnyMap properties) {
  const auto delivery = registry_->updateIfDifferent(record_, std::move(properties));
  return {delivery != nullptr, safeFutureOf(delivery)};
}

std::pair<bool, std::shared_future<void>> RegisteredConfiguration::UpdateIfDifferent(AnyMap properties) {
  const auto delivery = registry_->updateIfDifferent(record_, std::move(properties));
  return {delivery != nullptr, futureOf(delivery)};
}

std::shared_ptr<ThreadpoolSafeFuture> RegisteredConfiguration::SafeRemove() {
  return safeFutureOf(registry_->remove(record_));
}

std::shared_future<void> RegisteredConfiguration::Remove() {
  return futureOf(registry_->remove(record_));
}

unsigned long RegisteredConfiguration::GetInstanceCount() {
  return record_->instanceCount;
}

std::shared_future<void> RegisteredConfiguration::futureOf(const std::shared_ptr<Delivery>& delivery) const {
  return delivery ? registry_->queue().futureOf(delivery) : readyFuture();
}

std::shared_ptr<ThreadpoolSafeFuture> RegisteredConfiguration::safeFutureOf(
    const std::shared_ptr<Delivery>& delivery) const {
  return delivery ? registry_->queue().safeFutureOf(delivery) : readySafeFuture();
}

}  // namespace cppmicroservices::configurationadmin
