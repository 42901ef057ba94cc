#include "FailingAllocations.hpp"

#include <atomic>

#include "framework/memory/LiveAllocations.hpp"

namespace spf::soak {

namespace {

std::atomic<long> failed{0};
thread_local int distance = 0;  // 0: none fails
thread_local int left = 0;
thread_local bool mayFail = false;

bool fails() noexcept {
  if (!mayFail || distance == 0 || --left != 0) {
    return false;
  }
  left = distance;
  ++failed;
  return true;
}

}  // namespace

void FailingAllocations::prepare() {
  frameworktest::letAllocationsFail(fails);
}

FailingAllocations::FailingAllocations(int distanceOfFailures) {
  distance = distanceOfFailures;
  left = distanceOfFailures;
}

FailingAllocations::~FailingAllocations() {
  distance = 0;
}

FailingAllocations::Scope::Scope() {
  mayFail = true;
}

FailingAllocations::Scope::~Scope() {
  mayFail = false;
}

long FailingAllocations::count() {
  return failed;
}

}  // namespace spf::soak
