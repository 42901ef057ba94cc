#include <optional>
#include <string>

#include <benchmark/benchmark.h>
#include <cppmicroservices/cm/Configuration.hpp>
#include "RunningFramework.hpp"

namespace spf::benchmarks {

namespace {

// Stops a framework with a number of services and configurations.
void StopFramework(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    std::optional<RunningFramework> framework(std::in_place);
    framework->registerStations(static_cast<int>(state.range(0)));
    {
      const auto admin = framework->startConfigurationAdmin();
      for (int index = 0; index < state.range(0); ++index) {
        admin->GetConfiguration("benchmark." + std::to_string(index))->Update({}).get();
      }
    }
    state.ResumeTiming();
    framework->stop();
    state.PauseTiming();
    framework.reset();
    state.ResumeTiming();
  }
}

}  // namespace

BENCHMARK(StopFramework)->Arg(1)->Arg(100)->Arg(1000)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace spf::benchmarks
