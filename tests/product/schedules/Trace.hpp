#pragma once

#include <cstddef>
#include <cstdint>

namespace spf::test::schedules {

/// What threads did in one schedule: a text of numbered threads and objects, without addresses, and its hash. It lives
/// in memory that the exploring process shares with its child, so that it survives the child.
struct Trace {
  static constexpr std::size_t capacity = std::size_t{1} << 18;

  std::uint64_t seed = 0;
  std::uint64_t hash = 0;
  std::uint64_t decisions = 0;
  std::size_t length = 0;
  bool hasFailed = false;
  char text[capacity] = {};

  void begin(std::uint64_t newSeed);

  /// Appends a line. What does not fit is hashed only.
  [[gnu::format(printf, 2, 3)]] void add(const char* format, ...);
};

}  // namespace spf::test::schedules
