#include <optional>
#include <string>

#include <cppmicroservices/BundleEvent.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/cm/Configuration.hpp>

#include "Rows.hpp"
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

// From making a framework to its destruction.
void LifeOfFramework(benchmark::State& state) {
  for (auto _ : state) {
    RunningFramework framework;
    framework.registerStations(static_cast<int>(state.range(0)));
    framework.stop();
  }
}

void LifeOfConfigurationAdmin(benchmark::State& state) {
  RunningFramework framework;
  auto bundle = framework.installConfigurationAdmin();
  for (auto _ : state) {
    bundle.Start();
    bundle.Stop();
  }
}

void InstallAndUninstallBundle(benchmark::State& state) {
  RunningFramework framework;
  auto context = framework.context();
  const std::string file = SPF_BENCHMARK_DATA_BUNDLE;
  for (auto _ : state) {
    context.InstallBundles(file).front().Uninstall();
  }
}

void InstallBundleAgain(benchmark::State& state) {
  RunningFramework framework;
  auto context = framework.context();
  const std::string file = SPF_BENCHMARK_DATA_BUNDLE;
  const auto installed = context.InstallBundles(file);
  for (auto _ : state) {
    benchmark::DoNotOptimize(context.InstallBundles(file));
  }
}

void startAndStop(benchmark::State& state, const std::string& file, bool withListener) {
  RunningFramework framework;
  auto context = framework.context();
  int heard = 0;
  if (withListener) {
    context.AddBundleListener([&](const cppmicroservices::BundleEvent&) { ++heard; });
  }
  auto bundle = context.InstallBundles(file).front();
  for (auto _ : state) {
    bundle.Start();
    bundle.Stop();
  }
  benchmark::DoNotOptimize(heard);
}

void StartAndStopBundle(benchmark::State& state) {
  startAndStop(state, SPF_BENCHMARK_CODE_BUNDLE, false);
}

void StartAndStopBundleWithoutCode(benchmark::State& state) {
  startAndStop(state, SPF_BENCHMARK_DATA_BUNDLE, false);
}

void StartAndStopBundleBesideAListener(benchmark::State& state) {
  startAndStop(state, SPF_BENCHMARK_CODE_BUNDLE, true);
}

void GetBundles(benchmark::State& state) {
  RunningFramework framework;
  auto context = framework.context();
  context.InstallBundles(SPF_BENCHMARK_DATA_BUNDLE);
  context.InstallBundles(SPF_BENCHMARK_CODE_BUNDLE);
  for (auto _ : state) {
    benchmark::DoNotOptimize(context.GetBundles());
  }
}

void GetBundleHeaders(benchmark::State& state) {
  RunningFramework framework;
  auto context = framework.context();
  const auto bundle = context.InstallBundles(SPF_BENCHMARK_DATA_BUNDLE).front();
  for (auto _ : state) {
    benchmark::DoNotOptimize(bundle.GetHeaders());
  }
}

void GetBundleContext(benchmark::State& state) {
  RunningFramework framework;
  const auto bundle = framework.context().GetBundle();
  for (auto _ : state) {
    benchmark::DoNotOptimize(bundle.GetBundleContext());
  }
}

void GetFrameworkProperty(benchmark::State& state) {
  RunningFramework framework;
  const auto context = framework.context();
  const std::string name = cppmicroservices::Constants::FRAMEWORK_STORAGE;
  for (auto _ : state) {
    benchmark::DoNotOptimize(context.GetProperty(name));
  }
}

}  // namespace

void addFrameworkRows(Rows& rows) {
  rows.addForTime("StopFramework", StopFramework,
                  [](auto* row) { row->Arg(1)->Arg(100)->Arg(1000)->UseRealTime()->Unit(benchmark::kMicrosecond); });
  rows.add("LifeOfFramework", LifeOfFramework, [](auto* row) { row->Arg(1)->Arg(100)->UseRealTime(); });
  rows.add("LifeOfConfigurationAdmin", LifeOfConfigurationAdmin, [](auto* row) { row->UseRealTime(); });
  rows.add("InstallAndUninstallBundle", InstallAndUninstallBundle);
  rows.add("InstallBundleAgain", InstallBundleAgain);
  rows.add("StartAndStopBundle", StartAndStopBundle);
  rows.add("StartAndStopBundleWithoutCode", StartAndStopBundleWithoutCode);
  rows.add("StartAndStopBundleBesideAListener", StartAndStopBundleBesideAListener);
  rows.add("GetBundles", GetBundles);
  rows.add("GetBundleHeaders", GetBundleHeaders);
  rows.add("GetBundleContext", GetBundleContext);
  rows.add("GetFrameworkProperty", GetFrameworkProperty);
}

}  // namespace spf::benchmarks
