#include "HookedBundle.hpp"

namespace hosttest {

std::function<void()>& Hooks::start() {
  static std::function<void()> hook;
  return hook;
}

std::function<void()>& Hooks::stop() {
  static std::function<void()> hook;
  return hook;
}

}  // namespace hosttest

void hostTestOnStart() {
  if (hosttest::Hooks::start()) {
    hosttest::Hooks::start()();
  }
}

void hostTestOnStop() {
  if (hosttest::Hooks::stop()) {
    hosttest::Hooks::stop()();
  }
}
