#include <memory>

#include <benchmark/benchmark.h>

#include "Pair.hpp"
#include "agent/host/logging_levels.hpp"
#include "setup/diagnosticLog.hpp"

namespace spf::benchmarks {

using cppmicroservices::Any;

namespace {

template <class Write>
Side sideOf(Write write) {
  return {[](int) {},
          [write](int rounds) {
            for (int round = 0; round < rounds; ++round) {
              write();
            }
          },
          [] { return Any(static_cast<int>(agent::host::logging::enabled_levels())); }};
}

// One call for the levels and a test of one bit.
void leastMessage() {
  constexpr std::uint32_t progress = 4;
  if ((agent::host::logging::enabled_levels() & progress) != 0) {
    benchmark::ClobberMemory();
  }
}

Side work(int) {
  return sideOf([] { agent::spf::frameworksetup::logProgress("message"); });
}

Side floor(int) {
  return sideOf([] { leastMessage(); });
}

struct MadeOnFirstUse {
  MadeOnFirstUse() { benchmark::ClobberMemory(); }
};

// The floor, and the look at whether something that is made on first use is there: no logger can do with less.
Side leastLogger(int) {
  return sideOf([] {
    static const MadeOnFirstUse logger;
    leastMessage();
  });
}

int roundsFor(int) {
  return 100000;
}

}  // namespace

Pair silentMessage() {
  return {"silent-message", {1}, &roundsFor, &work, &floor};
}

Pair silentMessageAtLeast() {
  return {"silent-message-at-least", {1}, &roundsFor, &leastLogger, &floor};
}

}  // namespace spf::benchmarks
