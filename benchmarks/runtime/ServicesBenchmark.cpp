#include <string>
#include <vector>

#include <cppmicroservices/ServiceEvent.h>
#include <cppmicroservices/ServiceObjects.h>
#include <cppmicroservices/ServiceTracker.h>

#include "Rows.hpp"
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

// Ten listeners with filters, of which one matches.
void RegisterServiceBesideFilteredListeners(benchmark::State& state) {
  RunningFramework framework;
  auto context = framework.context();
  int heard = 0;
  for (int index = 0; index < 10; ++index) {
    context.AddServiceListener([&](const cppmicroservices::ServiceEvent&) { ++heard; },
                               "(index=" + std::to_string(index) + ")");
  }
  const auto station = std::make_shared<Station>();
  const ServiceProperties properties{{"index", Any(3)}};
  for (auto _ : state) {
    context.RegisterService<Station>(station, properties).Unregister();
  }
  benchmark::DoNotOptimize(heard);
}

void RegisterServiceBesideATracker(benchmark::State& state) {
  RunningFramework framework;
  auto context = framework.context();
  cppmicroservices::ServiceTracker<Station> tracker(context);
  tracker.Open();
  const auto station = std::make_shared<Station>();
  for (auto _ : state) {
    context.RegisterService<Station>(station).Unregister();
  }
  tracker.Close();
}

void SetServiceProperties(benchmark::State& state) {
  RunningFramework framework;
  auto registration = framework.context().RegisterService<Station>(std::make_shared<Station>());
  const ServiceProperties properties{{"site", Any(std::string("north"))}, {"floor", Any(3)}};
  for (auto _ : state) {
    registration.SetProperties(properties);
  }
}

void AddAndRemoveServiceListener(benchmark::State& state) {
  RunningFramework framework;
  auto context = framework.context();
  for (auto _ : state) {
    auto token = context.AddServiceListener([](const cppmicroservices::ServiceEvent&) {}, "(index=0)");
    context.RemoveListener(std::move(token));
  }
}

void GetServiceProperty(benchmark::State& state) {
  RunningFramework framework;
  framework.registerStations(1);
  const auto reference = framework.context().GetServiceReference<Station>();
  const std::string name = "index";
  for (auto _ : state) {
    benchmark::DoNotOptimize(reference.GetProperty(name));
  }
}

void GetServicePropertyKeys(benchmark::State& state) {
  RunningFramework framework;
  framework.registerStations(1);
  const auto reference = framework.context().GetServiceReference<Station>();
  for (auto _ : state) {
    benchmark::DoNotOptimize(reference.GetPropertyKeys());
  }
}

void CopyServiceReference(benchmark::State& state) {
  RunningFramework framework;
  framework.registerStations(1);
  const auto reference = framework.context().GetServiceReference<Station>();
  for (auto _ : state) {
    auto copy = reference;
    benchmark::DoNotOptimize(copy);
  }
}

void GetServiceThatIsInUse(benchmark::State& state) {
  RunningFramework framework;
  framework.registerStations(1);
  auto context = framework.context();
  const auto reference = context.GetServiceReference<Station>();
  const auto inUse = context.GetService(reference);
  for (auto _ : state) {
    benchmark::DoNotOptimize(context.GetService(reference));
  }
}

void GetServiceObjects(benchmark::State& state) {
  RunningFramework framework;
  framework.registerStations(1);
  auto context = framework.context();
  const auto reference = context.GetServiceReference<Station>();
  for (auto _ : state) {
    benchmark::DoNotOptimize(context.GetServiceObjects(reference).GetService());
  }
}

void numbersOfServices(benchmark::internal::Benchmark* row) {
  row->Arg(1)->Arg(100)->Arg(1000);
}

}  // namespace

void addServiceRows(Rows& rows) {
  rows.add("RegisterService", RegisterService, numbersOfServices);
  rows.add("RegisterServiceWithFiveProperties", RegisterServiceWithFiveProperties, numbersOfServices);
  rows.add("RegisterServiceBesideAListener", RegisterServiceBesideAListener, numbersOfServices);
  rows.add("RegisterServiceBesideFilteredListeners", RegisterServiceBesideFilteredListeners);
  rows.add("RegisterServiceBesideATracker", RegisterServiceBesideATracker);
  rows.add("SetServiceProperties", SetServiceProperties);
  rows.add("AddAndRemoveServiceListener", AddAndRemoveServiceListener);
  rows.add("GetServiceReferences", GetServiceReferences, numbersOfServices);
  rows.add("GetServiceReferencesWithFilter", GetServiceReferencesWithFilter, numbersOfServices);
  rows.add("GetServiceReference", GetServiceReference, numbersOfServices);
  rows.add("GetService", GetService, numbersOfServices);
  rows.add("GetServiceThatIsInUse", GetServiceThatIsInUse);
  rows.add("GetServiceObjects", GetServiceObjects);
  rows.add("GetServiceProperty", GetServiceProperty);
  rows.add("GetServicePropertyKeys", GetServicePropertyKeys);
  rows.add("CopyServiceReference", CopyServiceReference);
}

}  // namespace spf::benchmarks
