#include <atomic>
#include <string>
#include <thread>

#include <benchmark/benchmark.h>
#include <cppmicroservices/cm/Configuration.hpp>
#include <cppmicroservices/cm/ManagedService.hpp>
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

 private:
  RunningFramework framework_;

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

void entriesAndServices(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgsProduct({{1, 10, 100}, {1, 1000}})->UseRealTime();
}

}  // namespace

BENCHMARK(UpdateCall)->Apply(entriesAndServices);
BENCHMARK(UpdateUntilDelivered)->Apply(entriesAndServices);
BENCHMARK(UpdateUntilReady)->Apply(entriesAndServices);
BENCHMARK(UpdateTwoHundredInARow)->Apply(entriesAndServices);
BENCHMARK(UpdateIfDifferentUnchanged)->Apply(entriesAndServices);
BENCHMARK(GetConfigurationThatExists)->Args({1, 1});
BENCHMARK(ListConfigurations)->Arg(1)->Arg(100)->Arg(1000);

}  // namespace spf::benchmarks
