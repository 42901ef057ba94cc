#include <benchmark/benchmark.h>
#include <cppmicroservices/ServiceEvent.h>
#include "RunningFramework.hpp"

namespace spf::benchmarks {

using cppmicroservices::Any;
using cppmicroservices::ServiceProperties;

namespace {

// Registers and unregisters one station more than those already registered.
void registerAndUnregister(benchmark::State& state, const ServiceProperties& properties, bool withListener) {
  RunningFramework framework;
  framework.registerStations(static_cast<int>(state.range(0)) - 1);
  auto context = framework.context();
  int heard = 0;
  if (withListener) {
    context.AddServiceListener([&](const cppmicroservices::ServiceEvent&) { ++heard; });
  }
  const auto station = std::make_shared<Station>();
  for (auto _ : state) {
    context.RegisterService<Station>(station, properties).Unregister();
  }
  benchmark::DoNotOptimize(heard);
}

void RegisterService(benchmark::State& state) {
  registerAndUnregister(state, {}, false);
}

void RegisterServiceWithFiveProperties(benchmark::State& state) {
  const ServiceProperties properties{{"site", Any(std::string("north"))},
                                     {"unit", Any(std::string("celsius"))},
                                     {"floor", Any(3)},
                                     {"indoors", Any(true)},
                                     {"height", Any(2.5)}};
  registerAndUnregister(state, properties, false);
}

void RegisterServiceBesideAListener(benchmark::State& state) {
  registerAndUnregister(state, {}, true);
}

void GetServiceReferences(benchmark::State& state) {
  RunningFramework framework;
  framework.registerStations(static_cast<int>(state.range(0)));
  auto context = framework.context();
  for (auto _ : state) {
    benchmark::DoNotOptimize(context.GetServiceReferences<Station>());
  }
}

void GetServiceReferencesWithFilter(benchmark::State& state) {
  RunningFramework framework;
  framework.registerStations(static_cast<int>(state.range(0)));
  auto context = framework.context();
  for (auto _ : state) {
    benchmark::DoNotOptimize(context.GetServiceReferences<Station>("(index=0)"));
  }
}

void GetServiceReference(benchmark::State& state) {
  RunningFramework framework;
  framework.registerStations(static_cast<int>(state.range(0)));
  auto context = framework.context();
  for (auto _ : state) {
    benchmark::DoNotOptimize(context.GetServiceReference<Station>());
  }
}

void GetService(benchmark::State& state) {
  RunningFramework framework;
  framework.registerStations(static_cast<int>(state.range(0)));
  auto context = framework.context();
  const auto reference = context.GetServiceReference<Station>();
  for (auto _ : state) {
    benchmark::DoNotOptimize(context.GetService(reference));
  }
}

}  // namespace

BENCHMARK(RegisterService)->Arg(1)->Arg(100)->Arg(1000);
BENCHMARK(RegisterServiceWithFiveProperties)->Arg(1)->Arg(100)->Arg(1000);
BENCHMARK(RegisterServiceBesideAListener)->Arg(1)->Arg(100)->Arg(1000);
BENCHMARK(GetServiceReferences)->Arg(1)->Arg(100)->Arg(1000);
BENCHMARK(GetServiceReferencesWithFilter)->Arg(1)->Arg(100)->Arg(1000);
BENCHMARK(GetServiceReference)->Arg(1)->Arg(100)->Arg(1000);
BENCHMARK(GetService)->Arg(1)->Arg(100)->Arg(1000);

}  // namespace spf::benchmarks
