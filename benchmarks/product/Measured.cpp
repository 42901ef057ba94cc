#include "Measured.hpp"

#include <utility>

namespace spf::benchmarks {

namespace {

std::chrono::nanoseconds measuredTime{0};

}  // namespace

// scripts/bench names it to callgrind, which counts between its begin and its end.
[[gnu::noinline]] void measured(const std::function<void()>& part) {
  const auto begin = std::chrono::steady_clock::now();
  part();
  measuredTime += std::chrono::steady_clock::now() - begin;
}

std::chrono::nanoseconds takeMeasuredTime() {
  return std::exchange(measuredTime, std::chrono::nanoseconds{0});
}

}  // namespace spf::benchmarks
