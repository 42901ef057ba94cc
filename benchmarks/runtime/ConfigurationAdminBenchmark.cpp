#include <atomic>
#include <string>
#include <thread>

#include <cppmicroservices/cm/Configuration.hpp>
#include <cppmicroservices/cm/ConfigurationListener.hpp>
#include <cppmicroservices/cm/ManagedService.hpp>
#include <cppmicroservices/cm/ManagedServiceFactory.hpp>

#include "Rows.hpp"
#include "RunningFramework.hpp"

namespace spf::benchmarks {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;

namespace {

AnyMap propertiesOf(int entries) {
  AnyMap properties(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  for (int entry = 0; entry < entries; ++entry) {
    properties["property.number." + std::to_string(entry)] = Any(entry);
  }
  return properties;
}

// Counts its deliveries.
class Receiver : public cm::ManagedService {
 public:
  void Updated(const AnyMap&) override { deliveries.fetch_add(1, std::memory_order_release); }

  std::atomic<int> deliveries{0};
};

class Factory : public cm::ManagedServiceFactory {
 public:
  void Updated(const std::string&, const AnyMap&) override {}
  void Removed(const std::string&) override {}
};

class Listener : public cm::ConfigurationListener {
 public:
  void configurationEvent(const cm::ConfigurationEvent&) override {}
};

// Configuration Admin with one configuration, and other services of another class.
class Administered {
 public:
  explicit Administered(const benchmark::State& state) : properties(propertiesOf(static_cast<int>(state.range(0)))) {
    framework_.registerStations(static_cast<int>(state.range(1)));
    admin = framework_.startConfigurationAdmin();
    configuration = admin->GetConfiguration("benchmark");
  }
  ~Administered() {
    configuration.reset();
    admin.reset();
  }

  std::shared_ptr<Receiver> registerReceiver() {
    auto receiver = std::make_shared<Receiver>();
    framework_.context().RegisterService<cm::ManagedService>(
        receiver, {{std::string("service.pid"), Any(std::string("benchmark"))}});
    return receiver;
  }

  cppmicroservices::ServiceRegistration<cm::ManagedService> registerReceiverOfAnotherConfiguration() {
    return framework_.context().RegisterService<cm::ManagedService>(
        other_, {{std::string("service.pid"), Any(std::string("other"))}});
  }

  cppmicroservices::ServiceRegistration<cm::ConfigurationListener> registerListener() {
    return framework_.context().RegisterService<cm::ConfigurationListener>(std::make_shared<Listener>());
  }

 private:
  RunningFramework framework_;
  const std::shared_ptr<Receiver> other_ = std::make_shared<Receiver>();

 public:
  std::shared_ptr<cm::ConfigurationAdmin> admin;
  std::shared_ptr<cm::Configuration> configuration;
  const AnyMap properties;
};

// Excludes the copy of the properties and the delivery from the measurement.
void UpdateCall(benchmark::State& state) {
  Administered sut(state);
  for (auto _ : state) {
    state.PauseTiming();
    auto properties = sut.properties;
    state.ResumeTiming();
    auto delivered = sut.configuration->Update(std::move(properties));
    state.PauseTiming();
    delivered.get();
    state.ResumeTiming();
  }
}

void UpdateUntilDelivered(benchmark::State& state) {
  Administered sut(state);
  const auto receiver = sut.registerReceiver();
  for (auto _ : state) {
    const int before = receiver->deliveries.load();
    auto delivered = sut.configuration->Update(sut.properties);
    while (receiver->deliveries.load(std::memory_order_acquire) == before) {
      std::this_thread::yield();
    }
    state.PauseTiming();
    delivered.get();
    state.ResumeTiming();
  }
}

void UpdateUntilReady(benchmark::State& state) {
  Administered sut(state);
  const auto receiver = sut.registerReceiver();
  for (auto _ : state) {
    sut.configuration->Update(sut.properties).get();
  }
}

void UpdateTwoHundredInARow(benchmark::State& state) {
  Administered sut(state);
  const auto receiver = sut.registerReceiver();
  for (auto _ : state) {
    std::shared_future<void> last;
    for (int update = 0; update < 200; ++update) {
      last = sut.configuration->Update(sut.properties);
    }
    last.get();
  }
}

void UpdateIfDifferentUnchanged(benchmark::State& state) {
  Administered sut(state);
  sut.configuration->Update(sut.properties).get();
  for (auto _ : state) {
    benchmark::DoNotOptimize(sut.configuration->UpdateIfDifferent(sut.properties));
  }
}

void GetConfigurationThatExists(benchmark::State& state) {
  Administered sut(state);
  for (auto _ : state) {
    benchmark::DoNotOptimize(sut.admin->GetConfiguration("benchmark"));
  }
}

void ListConfigurations(benchmark::State& state) {
  RunningFramework framework;
  const auto admin = framework.startConfigurationAdmin();
  for (int index = 0; index < state.range(0); ++index) {
    AnyMap properties(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    properties["index"] = Any(index);
    admin->GetConfiguration("benchmark." + std::to_string(index))->Update(std::move(properties)).get();
  }
  for (auto _ : state) {
    benchmark::DoNotOptimize(admin->ListConfigurations("(index=0)"));
  }
}

void GetConfigurationProperties(benchmark::State& state) {
  Administered sut(state);
  sut.configuration->Update(sut.properties).get();
  for (auto _ : state) {
    benchmark::DoNotOptimize(sut.configuration->GetProperties());
  }
}

// From the creation of a factory configuration to its removal, each step delivered before the next.
void LifeOfFactoryConfiguration(benchmark::State& state) {
  RunningFramework framework;
  const auto admin = framework.startConfigurationAdmin();
  const auto factory = framework.context().RegisterService<cm::ManagedServiceFactory>(
      std::make_shared<Factory>(), {{"service.pid", Any(std::string("factory"))}});
  const auto properties = propertiesOf(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    const auto configuration = admin->CreateFactoryConfiguration("factory");
    configuration->Update(properties).get();
    configuration->Remove().get();
  }
}

void UpdateBesideAListener(benchmark::State& state) {
  Administered sut(state);
  const auto listener = sut.registerListener();
  for (auto _ : state) {
    sut.configuration->Update(sut.properties).get();
  }
}

void RegisterManagedService(benchmark::State& state) {
  Administered sut(state);
  for (auto _ : state) {
    sut.registerReceiverOfAnotherConfiguration().Unregister();
  }
}

void entriesAndServices(benchmark::internal::Benchmark* row) {
  row->ArgsProduct({{1, 10, 100}, {1, 1000}})->UseRealTime();
}

void entries(benchmark::internal::Benchmark* row) {
  row->ArgsProduct({{1, 10, 100}, {1}})->UseRealTime();
}

void one(benchmark::internal::Benchmark* row) {
  row->Args({1, 1})->UseRealTime();
}

void numbersOfConfigurations(benchmark::internal::Benchmark* row) {
  row->Arg(1)->Arg(100)->Arg(1000);
}

}  // namespace

void addConfigurationAdminRows(Rows& rows) {
  rows.addForTime("UpdateCall", UpdateCall, entriesAndServices);
  rows.addForTime("UpdateUntilDelivered", UpdateUntilDelivered, entriesAndServices);
  rows.add("UpdateUntilReady", UpdateUntilReady, entriesAndServices);
  rows.add("UpdateTwoHundredInARow", UpdateTwoHundredInARow, entriesAndServices);
  rows.add("UpdateIfDifferentUnchanged", UpdateIfDifferentUnchanged, entriesAndServices);
  rows.add("UpdateBesideAListener", UpdateBesideAListener, entries);
  rows.add("LifeOfFactoryConfiguration", LifeOfFactoryConfiguration, entries);
  rows.add("RegisterManagedService", RegisterManagedService, one);
  rows.add("GetConfigurationThatExists", GetConfigurationThatExists, one);
  rows.add("GetConfigurationProperties", GetConfigurationProperties, entries);
  rows.add("ListConfigurations", ListConfigurations, numbersOfConfigurations);
}

}  // namespace spf::benchmarks
