#include <memory>

#include <benchmark/benchmark.h>

#include "Pair.hpp"
#include "agent/host/logging_levels.hpp"
#include "setup/diagnosticLog.hpp"

namespace spf::benchmarks {

using cppmicroservices::Any;

namespace {

Side sideOf(std::function<void(int)> run) {
  return {[](int) {}, std::move(run), [] { return Any(static_cast<int>(agent::host::logging::enabled_levels())); }};
}

Side work(int) {
  return sideOf([](int rounds) {
    for (int round = 0; round < rounds; ++round) {
      agent::spf::frameworksetup::logProgress("message");
    }
  });
}

// One call for the levels and a test of one bit.
Side floor(int) {
  return sideOf([](int rounds) {
    constexpr std::uint32_t progress = 4;
    for (int round = 0; round < rounds; ++round) {
      if ((agent::host::logging::enabled_levels() & progress) != 0) {
        benchmark::ClobberMemory();
      }
    }
  });
}

}  // namespace

Pair silentMessage() {
  return {"silent-message", {1}, [](int) { return 100000; }, &work, &floor};
}

}  // namespace spf::benchmarks
