#pragma once

#include <functional>
#include <utility>

#include "bundles/Hooks.hpp"

namespace hosttest {

/// Sets, for its lifetime, the functions that the hooked bundle calls when it starts and stops.
class Hooks {
 public:
  explicit Hooks(
      std::function<void()> onStart, std::function<void()> onStop = [] {}) {
    start() = std::move(onStart);
    stop() = std::move(onStop);
  }
  ~Hooks() {
    start() = nullptr;
    stop() = nullptr;
  }
  Hooks(const Hooks&) = delete;
  Hooks& operator=(const Hooks&) = delete;

  static std::function<void()>& start();
  static std::function<void()>& stop();
};

}  // namespace hosttest
