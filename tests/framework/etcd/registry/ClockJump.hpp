#pragma once

#include <chrono>

namespace etcdtest {

/// Lets the wall clock of this process be wrong by an amount, as long as the object exists. Steady clocks stay.
class ClockJump {
 public:
  explicit ClockJump(std::chrono::seconds by);
  ~ClockJump();
  ClockJump(const ClockJump&) = delete;
  ClockJump& operator=(const ClockJump&) = delete;
};

}  // namespace etcdtest
