#pragma once

#include <cstdint>
#include <random>

namespace spf::soak {

/// Numbers that depend on the seed alone.
class Random {
 public:
  explicit Random(std::uint32_t seed) : engine_(seed) {}

  int below(int limit) { return static_cast<int>(engine_() % static_cast<std::uint32_t>(limit)); }
  bool oneIn(int count) { return below(count) == 0; }
  std::uint32_t seed() { return engine_(); }

 private:
  std::mt19937 engine_;
};

}  // namespace spf::soak
