#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace spf::zeromq {

/// Counts the peers that were refused, and decides when to report them: at once, but only ten times a second.
class Refusals {
 public:
  using Clock = std::chrono::steady_clock;

  void add(std::string reason) {
    ++count_;
    reason_ = std::move(reason);
    isPending_ = true;
  }

  /// Returns when they have to be reported; nothing if they were.
  std::optional<Clock::time_point> deadline() const noexcept {
    return isPending_ ? std::make_optional(next_) : std::nullopt;
  }

  /// Returns whether to report them now, and takes them for reported then.
  [[nodiscard]] bool isDue(Clock::time_point now) noexcept {
    if (!isPending_ || now < next_) {
      return false;
    }
    isPending_ = false;
    next_ = now + interval;
    return true;
  }

  std::uint32_t count() const noexcept { return count_; }

  /// Returns why the last peer was refused.
  const std::string& reason() const noexcept { return reason_; }

 private:
  static constexpr std::chrono::milliseconds interval{100};

  std::uint32_t count_ = 0;
  std::string reason_;
  bool isPending_ = false;
  Clock::time_point next_;
};

}  // namespace spf::zeromq
